// A shot gather split by depth: each process of the group holds the traces
// of the receivers in its slab. The members send theirs to the leader, which
// writes one file with all traces, its own first and then the members' in
// rank order.
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "calc3d/Calc3D.h"
#include "cluster/MessageTags.h"

namespace {

// A receiver travels as 32 bytes: one unused word, then X, Y, Z.
struct CReceiverWire {
  double reserved;
  double x, y, z;
};
static_assert(sizeof(CReceiverWire) == 32, "receiver record must be 32 bytes");

std::vector<CReceiverWire> PackReceivers(const std::vector<C3DPointR>& v, size_t n) {
  std::vector<CReceiverWire> out(n);
  for (size_t i = 0; i < n && i < v.size(); i++)
    out[i] = CReceiverWire{0.0, v[i].x, v[i].y, v[i].z};
  return out;
}

// A list of n ints to send, padded with `def` where the source list is short.
std::vector<int> PadList(const std::vector<int>& v, size_t n, int def) {
  std::vector<int> out(n, def);
  for (size_t i = 0; i < n && i < v.size(); i++)
    out[i] = v[i];
  return out;
}

// Member: the count first, then the traces of its slab. -1000 when its own
// gather could not be had (the count -1 tells the leader).
int SendShotgather(CCalc3D& c, char cComponent, int nLeader) {
  int n = (int)c.m_vRcvIdx.size();
  float* pData = nullptr;
  if (n > 0) {
    pData = c.GrabShotgather(cComponent);
    if (!pData)
      n = -1;
  }
  MPI_Send(&n, 1, MPI_INT, nLeader, TAG_GATHER_COUNT, MPI_COMM_MT);
  if (n == 0)
    return 0;
  if (n < 0) {
    u_Error("Error! MPI Node: Merge gather: unexpected trace count (%d)!\n", n);
    return -1000;
  }
  std::vector<CReceiverWire> rcv = PackReceivers(c.m_vReceivers, n);
  std::vector<int> inl = PadList(c.m_vRcvInline, n, 0);
  std::vector<int> xl = PadList(c.m_vRcvCrossline, n, 0);
  std::vector<int> tid = PadList(c.m_vRcvTraceId, n, -1);
  std::vector<int> fid = PadList(c.m_vRcvFileId, n, -1);
  MPI_Send(rcv.data(), n * (int)sizeof(CReceiverWire), MPI_BYTE, nLeader, TAG_GATHER_RECEIVERS, MPI_COMM_MT);
  MPI_Send(inl.data(), n, MPI_INT, nLeader, TAG_GATHER_INLINE, MPI_COMM_MT);
  MPI_Send(xl.data(), n, MPI_INT, nLeader, TAG_GATHER_CROSSLINE, MPI_COMM_MT);
  MPI_Send(tid.data(), n, MPI_INT, nLeader, TAG_GATHER_TRACEID, MPI_COMM_MT);
  MPI_Send(fid.data(), n, MPI_INT, nLeader, TAG_GATHER_FILEID, MPI_COMM_MT);
  MPI_Send(pData, (int)(n * c.m_nSeisLen), MPI_FLOAT, nLeader, TAG_GATHER_SAMPLES, MPI_COMM_MT);
  return 0;
}

// The gather of the whole group as the leader assembles it.
struct CGroupGather {
  size_t m_nTraces = 0, m_nLen = 0;
  std::vector<float> m_vData; // sample k of trace i at [k * m_nTraces + i]
  std::vector<C3DPointR> m_vRcv;
  std::vector<int> m_vInline, m_vCrossline, m_vTraceId, m_vFileId;
  std::unique_ptr<float[]> m_pWork; // the samples of one member

  // False, with the error printed, when memory ran out.
  bool Allocate(size_t nTraces, size_t nLen, int nMaxCount) {
    m_nTraces = nTraces;
    m_nLen = nLen;
    try {
      m_vData.assign(nTraces * nLen, 0.0f);
      m_pWork.reset(new float[(size_t)nMaxCount * nLen]);
      m_vRcv.resize(nTraces);
      m_vInline.assign(nTraces, 0);
      m_vCrossline.assign(nTraces, 0);
      m_vTraceId.assign(nTraces, -1);
      m_vFileId.assign(nTraces, -1);
    } catch (std::bad_alloc&) {
      u_Error("Error! Memory allocation error saving seismogram (additional %g MB requested).\n",
              (double)(nTraces + (size_t)nMaxCount) * nLen * sizeof(float) / 1048576.0);
      return false;
    }
    return true;
  }

  // The receivers and numbers of the leader's own traces, at the front.
  void TakeOwnNumbers(const CCalc3D& c) {
    const size_t nOwn = c.m_vRcvIdx.size() < m_nTraces ? c.m_vRcvIdx.size() : m_nTraces;
    for (size_t i = 0; i < nOwn && i < c.m_vReceivers.size(); i++) {
      m_vRcv[i] = c.m_vReceivers[i];
      if (i < c.m_vRcvInline.size())
        m_vInline[i] = c.m_vRcvInline[i];
      if (i < c.m_vRcvCrossline.size())
        m_vCrossline[i] = c.m_vRcvCrossline[i];
      if (i < c.m_vRcvTraceId.size())
        m_vTraceId[i] = c.m_vRcvTraceId[i];
      if (i < c.m_vRcvFileId.size())
        m_vFileId[i] = c.m_vRcvFileId[i];
    }
  }

  // The samples of the leader's own nHeld traces, of which the first nOwn fit.
  void TakeOwnSamples(const float* pOwn, size_t nHeld) {
    const size_t nOwn = nHeld < m_nTraces ? nHeld : m_nTraces;
    for (size_t k = 0; k < m_nLen; k++)
      memcpy(m_vData.data() + k * m_nTraces, pOwn + k * nHeld, nOwn * sizeof(float));
  }

  // Receives the m traces of the member at nPeer and puts them behind the
  // first c traces; traces beyond the group's count are dropped with a warning.
  void Receive(int nPeer, int m, size_t c) {
    if (c + m > m_nTraces)
      u_Warning("Warning! Received an unexpected trace #%d (maximum #%d expected).\n", (int)(c + m), (int)m_nTraces);
    std::vector<CReceiverWire> rcv(m);
    std::vector<int> inl(m), xl(m), tid(m), fid(m);
    float* pWork = m_pWork.get();
    MPI_Status st;
    MPI_Recv(rcv.data(), m * (int)sizeof(CReceiverWire), MPI_BYTE, nPeer, TAG_GATHER_RECEIVERS, MPI_COMM_MT, &st);
    MPI_Recv(inl.data(), m, MPI_INT, nPeer, TAG_GATHER_INLINE, MPI_COMM_MT, &st);
    MPI_Recv(xl.data(), m, MPI_INT, nPeer, TAG_GATHER_CROSSLINE, MPI_COMM_MT, &st);
    MPI_Recv(tid.data(), m, MPI_INT, nPeer, TAG_GATHER_TRACEID, MPI_COMM_MT, &st);
    MPI_Recv(fid.data(), m, MPI_INT, nPeer, TAG_GATHER_FILEID, MPI_COMM_MT, &st);
    MPI_Recv(pWork, (int)(m * m_nLen), MPI_FLOAT, nPeer, TAG_GATHER_SAMPLES, MPI_COMM_MT, &st);
    for (int i = 0; i < m && c + i < m_nTraces; i++) {
      m_vRcv[c + i] = C3DPointR(rcv[i].x, rcv[i].y, rcv[i].z);
      m_vInline[c + i] = inl[i];
      m_vCrossline[c + i] = xl[i];
      m_vTraceId[c + i] = tid[i];
      m_vFileId[c + i] = fid[i];
    }
    for (size_t k = 0; k < m_nLen; k++) {
      for (int i = 0; i < m; i++) {
        if (c + i >= m_nTraces) {
          u_Warning("Warning! Received an unexpected trace #%d (maximum #%d expected).\n", (int)(c + i),
                    (int)m_nTraces);
          break;
        }
        m_vData[k * m_nTraces + c + i] = pWork[k * m + i];
      }
    }
  }
};

} // namespace

int CCalc3D::SaveShotgatherDistributed(const char* path, char cComponent) {
  const int nNode = m_Set.m_nNode;
  const int nGroupSize = GetGroupSize();
  const int nGroupRank = GetGroupRank();
  if (nGroupRank > 0) {
    u_Print("MPI Node: Merging the distributed Shotgather (%c-Component)\n", cComponent);
    return SendShotgather(*this, cComponent, nNode - nGroupRank);
  }

  // Leader: all counts first, then the members' traces in rank order.
  u_Print("MPI Group Leader: Merging the distributed Shotgather (%c-Component)\n", cComponent);
  std::vector<int> vCounts(nGroupSize, 0);
  int nMaxCount = 0;
  for (int r = 1; r < nGroupSize; r++) {
    MPI_Status st;
    MPI_Recv(&vCounts[r], 1, MPI_INT, nNode + r, TAG_GATHER_COUNT, MPI_COMM_MT, &st);
    if (vCounts[r] > nMaxCount)
      nMaxCount = vCounts[r];
  }

  CGroupGather g;
  if (!g.Allocate((size_t)m_nTraces, m_nSeisLen, nMaxCount))
    return -1;
  g.TakeOwnNumbers(*this);
  if (!m_vRcvIdx.empty()) {
    const float* pOwn = GrabShotgather(cComponent);
    if (!pOwn)
      return -1;
    g.TakeOwnSamples(pOwn, m_vRcvIdx.size());
  }

  bool bFailure = false;
  size_t c = m_vRcvIdx.size();
  for (int r = 1; r < nGroupSize; r++) {
    const int m = vCounts[r];
    if (m < 0)
      bFailure = true;
    if (m <= 0)
      continue;
    g.Receive(nNode + r, m, c);
    c += m;
  }
  if (bFailure)
    return -1;
  return SaveShotgatherBuf(path, g.m_nTraces, g.m_nLen, g.m_vData.data(), g.m_vRcv, &g.m_vInline, &g.m_vCrossline,
                           &g.m_vTraceId, &g.m_vFileId);
}
