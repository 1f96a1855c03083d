// Results of a finished shot: the shot gathers of all components and the
// arrival-time cubes, with the collection of a gather over a depth group.
#include <cstring>
#include <new>
#include <vector>

#include "calc3d/Calc3D.h"
#include "output/GatherWriter.h"
#include "seisfile/SdsPC.h"

namespace {

// Message tags of the gather collection inside a group.
enum {
  TAG_GATHER_COUNT = 150,
  TAG_GATHER_RECEIVERS = 151,
  TAG_GATHER_INLINE = 152,
  TAG_GATHER_CROSSLINE = 153,
  TAG_GATHER_SAMPLES = 154,
  TAG_GATHER_TRACEID = 155,
  TAG_GATHER_FILEID = 156,
};

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

} // namespace

int CCalc3D::SaveResults() {
  CString strName = GetFileName(FILE_GATHER, 'Z', false, false, 0);
  int nResult = SaveShotgather(strName, 'Z');
  if (nResult != 0)
    return nResult;

  nResult = 0;
  const char szOthers[] = {'X', 'Y', 'C'};
  for (char c : szOthers) {
    strName = GetFileName(FILE_GATHER, c, false, false, 0);
    nResult |= SaveShotgather(strName, c);
  }
  if (nResult != 0)
    return nResult;

  for (int i = 0; i < 2; i++) {
    if (m_nTimeFieldType & (1 << i)) {
      strName = GetFileName(FILE_TIME, ' ', false, false, i);
      SaveTimeField(strName, i);
    }
  }
  return 0;
}

int CCalc3D::SaveShotgather(const char* path, char cComponent) {
  const int nGroupSize = GetGroupSize();
  if (nGroupSize < 2 || (size_t)m_nTraces * m_nSeisLen == 0) {
    float* pData = nullptr;
    // Without receivers there is nothing to grab; the writer reports it.
    if (!m_vReceivers.empty()) {
      pData = GrabShotgather(cComponent);
      if (!pData) {
        u_Error("Error! Unable to acquire a seismogram from compute device!\n");
        return -1;
      }
    }
    return SaveShotgatherBuf(path, m_vReceivers.size(), m_nSeisLen, pData, m_vReceivers, &m_vRcvInline,
                             &m_vRcvCrossline, &m_vRcvTraceId, &m_vRcvFileId);
  }

  const int nNode = m_Set.m_nNode;
  const int nGroupRank = GetGroupRank();
  const int nLeader = nNode - nGroupRank;
  const size_t nLen = m_nSeisLen;

  if (nGroupRank > 0) {
    // Member: count first, then the traces of its slab.
    u_Print("MPI Node: Merging the distributed Shotgather (%c-Component)\n", cComponent);
    int n = (int)m_vRcvIdx.size();
    float* pData = nullptr;
    if (n > 0) {
      pData = GrabShotgather(cComponent);
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
    std::vector<CReceiverWire> rcv = PackReceivers(m_vReceivers, n);
    std::vector<int> inl = PadList(m_vRcvInline, n, 0);
    std::vector<int> xl = PadList(m_vRcvCrossline, n, 0);
    std::vector<int> tid = PadList(m_vRcvTraceId, n, -1);
    std::vector<int> fid = PadList(m_vRcvFileId, n, -1);
    MPI_Send(rcv.data(), n * (int)sizeof(CReceiverWire), MPI_BYTE, nLeader, TAG_GATHER_RECEIVERS, MPI_COMM_MT);
    MPI_Send(inl.data(), n, MPI_INT, nLeader, TAG_GATHER_INLINE, MPI_COMM_MT);
    MPI_Send(xl.data(), n, MPI_INT, nLeader, TAG_GATHER_CROSSLINE, MPI_COMM_MT);
    MPI_Send(tid.data(), n, MPI_INT, nLeader, TAG_GATHER_TRACEID, MPI_COMM_MT);
    MPI_Send(fid.data(), n, MPI_INT, nLeader, TAG_GATHER_FILEID, MPI_COMM_MT);
    MPI_Send(pData, (int)(n * nLen), MPI_FLOAT, nLeader, TAG_GATHER_SAMPLES, MPI_COMM_MT);
    return 0;
  }

  // Leader: collects the slabs in rank order behind its own traces.
  u_Print("MPI Group Leader: Merging the distributed Shotgather (%c-Component)\n", cComponent);
  std::vector<int> vCounts(nGroupSize, 0);
  int nMaxCount = 0;
  for (int r = 1; r < nGroupSize; r++) {
    MPI_Status st;
    MPI_Recv(&vCounts[r], 1, MPI_INT, nNode + r, TAG_GATHER_COUNT, MPI_COMM_MT, &st);
    if (vCounts[r] > nMaxCount)
      nMaxCount = vCounts[r];
  }

  const size_t nTraces = (size_t)m_nTraces;
  float* pResult = nullptr;
  float* pWork = nullptr;
  std::vector<C3DPointR> vRcv;
  std::vector<int> vInline, vCrossline, vTraceId, vFileId;
  try {
    pResult = new float[nTraces * nLen]();
    pWork = new float[(size_t)nMaxCount * nLen];
    vRcv.resize(nTraces);
    vInline.assign(nTraces, 0);
    vCrossline.assign(nTraces, 0);
    vTraceId.assign(nTraces, -1);
    vFileId.assign(nTraces, -1);
  } catch (std::bad_alloc&) {
    delete[] pResult;
    delete[] pWork;
    u_Error("Error! Memory allocation error saving seismogram (additional %g MB requested).\n",
            (double)(nTraces + (size_t)nMaxCount) * nLen * sizeof(float) / 1048576.0);
    return -1;
  }

  // Own traces first.
  const size_t nOwn = m_vRcvIdx.size() < nTraces ? m_vRcvIdx.size() : nTraces;
  for (size_t i = 0; i < nOwn && i < m_vReceivers.size(); i++) {
    vRcv[i] = m_vReceivers[i];
    if (i < m_vRcvInline.size())
      vInline[i] = m_vRcvInline[i];
    if (i < m_vRcvCrossline.size())
      vCrossline[i] = m_vRcvCrossline[i];
    if (i < m_vRcvTraceId.size())
      vTraceId[i] = m_vRcvTraceId[i];
    if (i < m_vRcvFileId.size())
      vFileId[i] = m_vRcvFileId[i];
  }
  if (!m_vRcvIdx.empty()) {
    const float* pOwn = GrabShotgather(cComponent);
    if (!pOwn) {
      delete[] pResult;
      delete[] pWork;
      return -1;
    }
    const size_t nHeld = m_vRcvIdx.size();
    for (size_t k = 0; k < nLen; k++)
      memcpy(pResult + k * nTraces, pOwn + k * nHeld, nOwn * sizeof(float));
  }

  bool bFailure = false;
  size_t c = m_vRcvIdx.size();
  for (int r = 1; r < nGroupSize; r++) {
    const int m = vCounts[r];
    if (m < 0) {
      bFailure = true;
      continue;
    }
    if (m == 0)
      continue;
    if (c + m > nTraces)
      u_Warning("Warning! Received an unexpected trace #%d (maximum #%d expected).\n", (int)(c + m), (int)nTraces);
    std::vector<CReceiverWire> rcv(m);
    std::vector<int> inl(m), xl(m), tid(m), fid(m);
    MPI_Status st;
    MPI_Recv(rcv.data(), m * (int)sizeof(CReceiverWire), MPI_BYTE, nNode + r, TAG_GATHER_RECEIVERS, MPI_COMM_MT, &st);
    MPI_Recv(inl.data(), m, MPI_INT, nNode + r, TAG_GATHER_INLINE, MPI_COMM_MT, &st);
    MPI_Recv(xl.data(), m, MPI_INT, nNode + r, TAG_GATHER_CROSSLINE, MPI_COMM_MT, &st);
    MPI_Recv(tid.data(), m, MPI_INT, nNode + r, TAG_GATHER_TRACEID, MPI_COMM_MT, &st);
    MPI_Recv(fid.data(), m, MPI_INT, nNode + r, TAG_GATHER_FILEID, MPI_COMM_MT, &st);
    MPI_Recv(pWork, (int)(m * nLen), MPI_FLOAT, nNode + r, TAG_GATHER_SAMPLES, MPI_COMM_MT, &st);
    for (int i = 0; i < m && c + i < nTraces; i++) {
      vRcv[c + i] = C3DPointR(rcv[i].x, rcv[i].y, rcv[i].z);
      vInline[c + i] = inl[i];
      vCrossline[c + i] = xl[i];
      vTraceId[c + i] = tid[i];
      vFileId[c + i] = fid[i];
    }
    for (size_t k = 0; k < nLen; k++) {
      for (int i = 0; i < m; i++) {
        if (c + i >= nTraces) {
          u_Warning("Warning! Received an unexpected trace #%d (maximum #%d expected).\n", (int)(c + i), (int)nTraces);
          break;
        }
        pResult[k * nTraces + c + i] = pWork[k * m + i];
      }
    }
    c += m;
  }

  int nResult = -1;
  if (!bFailure)
    nResult = SaveShotgatherBuf(path, nTraces, nLen, pResult, vRcv, &vInline, &vCrossline, &vTraceId, &vFileId);
  delete[] pResult;
  delete[] pWork;
  return nResult;
}

int CCalc3D::SaveShotgatherBuf(const char* path, size_t nTraces, size_t nSamples, float* pData,
                               std::vector<C3DPointR>& receivers, std::vector<int>* pInline,
                               std::vector<int>* pCrossline, std::vector<int>* pTraceId, std::vector<int>* pFileId) {
  CGatherWriter writer;
  writer.m_ptShot = m_ptShot;
  writer.m_nShot = m_nShot;
  writer.m_nShotId = m_nShotId;
  writer.m_t0 = m_Set.m_t0;
  writer.m_dt = m_Set.m_dt;
  return writer.Write(path, nTraces, nSamples, pData, receivers, pInline, pCrossline, pTraceId, pFileId);
}

int CCalc3D::SaveTimeField(const char* szFile, int nType) {
  const CCubeR area = GetRealUserArea();
  const int ntr = m_nTimeNx * m_nTimeNy;
  int nz = m_nTimeNz;
  if (ntr < 1) {
    u_Error("Invalid Trace Count in CCalc2D::SaveTimeField\n");
    return -1;
  }
  float* pData = nullptr;
  float* pMerged = nullptr;
  if (GetGroupSize() > 1) {
    float* pLocal = GrabTimeField(nType);
    if (!pLocal)
      u_Warning("Warning! SaveTimeField(): Unable to acquire time field from compute device.\n");
    // The planes (depth) go on the first axis of the box.
    CCubeN box(0, 0, 0, nz - 1, m_nTimeNy - 1, m_nTimeNx - 1);
    int nOut = 0;
    const int nMerge = MergeDistributedCube(m_Set, box, &nOut, pLocal, &pMerged);
    if (nMerge != 0)
      return nMerge;
    if (nOut <= 0 || !pMerged) {
      delete[] pMerged;
      return 0;
    }
    nz = nOut;
    pData = pMerged;
  } else {
    pData = GrabTimeField(nType);
  }
  if (!pData)
    return 0;

  SDS_TRACEINFO* pInfo = new (std::nothrow) SDS_TRACEINFO[ntr];
  if (!pInfo) {
    u_Error("Error! Memory Allocation Error in CCalc2D::SaveTimeField\n");
    delete[] pMerged;
    return -1;
  }
  for (int y = 0; y < m_nTimeNy; y++) {
    for (int x = 0; x < m_nTimeNx; x++) {
      SDS_TRACEINFO& r = pInfo[y * m_nTimeNx + x];
      memset(&r, 0, sizeof(r));
      r.m_fXs = (float)m_ptShot.x;
      r.m_fYs = (float)m_ptShot.y;
      r.m_fZs = (float)m_ptShot.z;
      r.m_fXr = (float)x * (float)m_fTimeDx + (float)area.x0;
      r.m_fYr = (float)y * (float)m_fTimeDy + (float)area.y0;
      r.m_fZr = (float)area.z0;
      r.m_nPart = m_nShot;
    }
  }
  CRectR rect(1.0, area.z0, (double)ntr, area.z0 + (nz - 1) * m_fTimeDz);
  CSdsPC sds;
  const bool bSaved = sds.OnSave(szFile, pData, rect, CSizeN(ntr, nz), 0, 0, false, pInfo, DU_SEC);
  delete[] pInfo;
  delete[] pMerged;
  return bSaved ? 1 : 0;
}
