// Survey geometry of a shot spread over a group of processes by depth: the
// excitation points and receivers are handed down the group, and each slab
// keeps those that lie in its part of the grid.
#include <vector>

#include "calc3d/Calc3D.h"
#include "cluster/MessageTags.h"

namespace {

// Points in transit: sources as (x, y, z), receivers as (x, y, z, inline,
// crossline, trace id, file id).
const int SRC_VALUES = 3, RCV_VALUES = 7;

void SendPoints(const std::vector<double>& src, const std::vector<double>& rcv, int nPeer) {
  int counts[2] = {(int)(src.size() / SRC_VALUES), (int)(rcv.size() / RCV_VALUES)};
  MPI_Send(counts, 2, MPI_INT, nPeer, TAG_POINTS_COUNTS, MPI_COMM_MT);
  if (counts[0] > 0)
    MPI_Send(src.data(), (int)src.size(), MPI_DOUBLE, nPeer, TAG_POINTS_SOURCES, MPI_COMM_MT);
  if (counts[1] > 0)
    MPI_Send(rcv.data(), (int)rcv.size(), MPI_DOUBLE, nPeer, TAG_POINTS_RECEIVERS, MPI_COMM_MT);
}

void RecvPoints(std::vector<double>& src, std::vector<double>& rcv, int nPeer) {
  int counts[2] = {0, 0};
  MPI_Status st;
  MPI_Recv(counts, 2, MPI_INT, nPeer, TAG_POINTS_COUNTS, MPI_COMM_MT, &st);
  src.assign((size_t)counts[0] * SRC_VALUES, 0.0);
  rcv.assign((size_t)counts[1] * RCV_VALUES, 0.0);
  if (counts[0] > 0)
    MPI_Recv(src.data(), (int)src.size(), MPI_DOUBLE, nPeer, TAG_POINTS_SOURCES, MPI_COMM_MT, &st);
  if (counts[1] > 0)
    MPI_Recv(rcv.data(), (int)rcv.size(), MPI_DOUBLE, nPeer, TAG_POINTS_RECEIVERS, MPI_COMM_MT, &st);
}

void SendBorder(const std::vector<C3DShotPoint>& pts, int nPeer, int nCountTag, int nTag) {
  int n = (int)pts.size();
  MPI_Send(&n, 1, MPI_INT, nPeer, nCountTag, MPI_COMM_MT);
  if (n > 0)
    MPI_Send(pts.data(), n * (int)sizeof(C3DShotPoint), MPI_BYTE, nPeer, nTag, MPI_COMM_MT);
}

std::vector<C3DShotPoint> RecvBorder(int nPeer, int nCountTag, int nTag, const char* szFormat, int nPeerRank) {
  int n = 0;
  MPI_Status st;
  MPI_Recv(&n, 1, MPI_INT, nPeer, nCountTag, MPI_COMM_MT, &st);
  std::vector<C3DShotPoint> pts(n > 0 ? n : 0);
  if (n > 0) {
    u_Print(szFormat, n, nPeerRank);
    MPI_Recv(pts.data(), n * (int)sizeof(C3DShotPoint), MPI_BYTE, nPeer, nTag, MPI_COMM_MT, &st);
  }
  return pts;
}

// Keeps the pending points that lie in this slab and passes on, in srcOut
// and rcvOut, those that lie below it.
void TakeOwnPoints(CCalc3D& c, const std::vector<double>& src, const std::vector<double>& rcv,
                   std::vector<double>& srcOut, std::vector<double>& rcvOut) {
  const size_t nPlane = (size_t)c.m_nNx * c.m_nNy;
  for (size_t k = 0; k + SRC_VALUES <= src.size(); k += SRC_VALUES) {
    C3DPointR pt(src[k], src[k + 1], src[k + 2]);
    const int r = c.ValidateTracePoint(pt);
    if (r == 0) {
      const size_t idx = c.GetPtShift(pt);
      if (idx == 0) {
        u_Warning("Warning! A shot point is unexpectedly is out of simulation zone (%g, %g, %g).\n", pt.x, pt.y, pt.z);
        continue;
      }
      u_Print("Shot %d: (nz=%ld, ny=%ld, nx=%ld)\n", c.m_nShot, (long)(idx / nPlane), (long)(idx % nPlane / c.m_nNx),
              (long)(idx % c.m_nNx));
      c.m_vShotPoints.push_back(C3DShotPoint{idx, 0});
      c.m_vExcitePoints.push_back(pt);
      if (pt.x == c.m_ptShot.x && pt.y == c.m_ptShot.y)
        c.m_ptShot.z = pt.z;
    } else if (r == -2) {
      srcOut.insert(srcOut.end(), {pt.x, pt.y, pt.z});
    }
  }
  for (size_t k = 0; k + RCV_VALUES <= rcv.size(); k += RCV_VALUES) {
    C3DPointR pt(rcv[k], rcv[k + 1], rcv[k + 2]);
    const int r = c.ValidateTracePoint(pt);
    if (r == 0) {
      const size_t idx = c.GetPtShift(pt);
      if (idx == 0) {
        u_Warning("Warning! A trace point is unexpectedly is out of simulation zone (%g, %g, %g).\n", pt.x, pt.y, pt.z);
        continue;
      }
      c.m_vRcvIdx.push_back(idx);
      c.m_vReceivers.push_back(pt);
      c.m_vRcvInline.push_back((int)rcv[k + 3]);
      c.m_vRcvCrossline.push_back((int)rcv[k + 4]);
      c.m_vRcvTraceId.push_back((int)rcv[k + 5]);
      c.m_vRcvFileId.push_back((int)rcv[k + 6]);
    } else if (r == -2) {
      rcvOut.insert(rcvOut.end(), {pt.x, pt.y, pt.z, rcv[k + 3], rcv[k + 4], rcv[k + 5], rcv[k + 6]});
    }
  }
}

// The excitation points in the lower (bLower) or upper border planes of the
// slab, with global indices.
std::vector<C3DShotPoint> CollectBorder(const CCalc3D& c, bool bLower) {
  const size_t nPlane = (size_t)c.m_nNx * c.m_nNy;
  const size_t nShift = (size_t)c.m_nZ0 * nPlane;
  const int s = c.m_nStart;
  std::vector<C3DShotPoint> out;
  for (const C3DShotPoint& p : c.m_vShotPoints) {
    const bool bIn = bLower ? p.nIndex > (size_t)(c.m_nNz - 2 * s) * nPlane : p.nIndex < (size_t)(2 * s) * nPlane;
    if (!bIn)
      continue;
    if (c.m_Set.m_bDebug)
      u_Print("Border src %ld ; %ld (abs = z=%d, y=%d, x=%d)\n", (long)p.nIndex, (long)(p.nIndex + nShift),
              (int)(p.nIndex / nPlane) + c.m_nZ0, (int)(p.nIndex % nPlane / c.m_nNx), (int)(p.nIndex % c.m_nNx));
    out.push_back(C3DShotPoint{p.nIndex + nShift, p.nFlags});
  }
  return out;
}

// Sources in the border planes of a slab are also the neighbour's, whose halo
// holds the same planes. Downward first: each rank sends down before it waits
// for what comes up. Indices travel as global ones.
void ExchangeBorderSources(CCalc3D& c, bool bFirst, bool bLast) {
  const int nRank = c.GetGroupRank(), nNode = c.m_Set.m_nNode;
  const size_t nShift = (size_t)c.m_nZ0 * c.m_nNx * c.m_nNy;
  std::vector<C3DShotPoint> fromAbove, fromBelow;
  if (!bFirst)
    fromAbove = RecvBorder(nNode - 1, TAG_BORDER_DOWN_COUNT, TAG_BORDER_DOWN,
                           "Receiving %d border sources from upper group worked node %d...\n", nRank - 1);
  if (!bLast) {
    const std::vector<C3DShotPoint> down = CollectBorder(c, true);
    if (!down.empty())
      u_Print("Sending %d border sources to lower group worked node %d...\n", (int)down.size(), nRank + 1);
    SendBorder(down, nNode + 1, TAG_BORDER_DOWN_COUNT, TAG_BORDER_DOWN);
    fromBelow = RecvBorder(nNode + 1, TAG_BORDER_UP_COUNT, TAG_BORDER_UP,
                           "Receiving %d border sources from lower group worked node %d...\n", nRank + 1);
  }
  if (!bFirst) {
    const std::vector<C3DShotPoint> up = CollectBorder(c, false);
    if (!up.empty())
      u_Print("Sending %d border sources to upper group worked node %d...\n", (int)up.size(), nRank - 1);
    SendBorder(up, nNode - 1, TAG_BORDER_UP_COUNT, TAG_BORDER_UP);
  }
  for (const auto* pList : {&fromAbove, &fromBelow})
    for (const C3DShotPoint& p : *pList)
      c.m_vShotPoints.push_back(C3DShotPoint{p.nIndex - nShift, p.nFlags});
}

// The group's verdict, reached by the leader: at least one source and one
// receiver in all. Result: the receivers of the group, or 0 after the error.
int GroupVerdict(const CCalc3D& c) {
  const int nRank = c.GetGroupRank(), nSize = c.GetGroupSize(), nNode = c.m_Set.m_nNode;
  int nVerdict = 0;
  MPI_Status st;
  if (nRank > 0) {
    int totals[2] = {(int)c.m_vShotPoints.size(), (int)c.m_vRcvIdx.size()};
    MPI_Send(totals, 2, MPI_INT, nNode - nRank, TAG_POINTS_TOTALS, MPI_COMM_MT);
    MPI_Recv(&nVerdict, 1, MPI_INT, nNode - nRank, TAG_POINTS_VERDICT, MPI_COMM_MT, &st);
    if (nVerdict == 0)
      u_Error("Error! Survey Geometry failure received from my group leader (node #%d).\n", nNode - nRank);
    return nVerdict;
  }
  int nSources = (int)c.m_vShotPoints.size(), nReceivers = (int)c.m_vRcvIdx.size();
  for (int r = 1; r < nSize; r++) {
    int totals[2] = {0, 0};
    MPI_Recv(totals, 2, MPI_INT, nNode + r, TAG_POINTS_TOTALS, MPI_COMM_MT, &st);
    nSources += totals[0];
    nReceivers += totals[1];
  }
  nVerdict = nSources >= 1 && nReceivers >= 1 ? nReceivers : 0;
  for (int r = 1; r < nSize; r++)
    MPI_Send(&nVerdict, 1, MPI_INT, nNode + r, TAG_POINTS_VERDICT, MPI_COMM_MT);
  if (nVerdict == 0 && nSources == 0)
    u_Error("Error! Survey Geometry failure. Not shot points inside the simulation zone.\n");
  if (nVerdict == 0 && nReceivers == 0)
    u_Error("Error! Survey Geometry failure. Not receivers inside the simulation zone.\n");
  return nVerdict;
}

} // namespace

int CCalc3D::ValidateSurveyGeometryDistributed() {
  const int nRank = GetGroupRank(), nSize = GetGroupSize(), nNode = m_Set.m_nNode;
  const bool bFirst = nRank == 0, bLast = nRank == nSize - 1;

  std::vector<double> src, rcv;
  if (bFirst) {
    for (const C3DPointR& p : m_vExcitePoints)
      src.insert(src.end(), {p.x, p.y, p.z});
    for (size_t i = 0; i < m_vReceivers.size(); i++) {
      const C3DPointR& p = m_vReceivers[i];
      auto at = [](const std::vector<int>& v, size_t k) { return k < v.size() ? v[k] : -1; };
      rcv.insert(rcv.end(), {p.x, p.y, p.z, (double)at(m_vRcvInline, i), (double)at(m_vRcvCrossline, i),
                             (double)at(m_vRcvTraceId, i), (double)at(m_vRcvFileId, i)});
    }
  } else {
    RecvPoints(src, rcv, nNode - 1);
  }

  m_vExcitePoints.clear();
  m_vShotPoints.clear();
  m_vReceivers.clear();
  m_vRcvIdx.clear();
  m_vRcvInline.clear();
  m_vRcvCrossline.clear();
  m_vRcvTraceId.clear();
  m_vRcvFileId.clear();

  std::vector<double> srcOut, rcvOut;
  TakeOwnPoints(*this, src, rcv, srcOut, rcvOut);
  if (!bLast)
    SendPoints(srcOut, rcvOut, nNode + 1);
  ExchangeBorderSources(*this, bFirst, bLast);

  const int nVerdict = GroupVerdict(*this);
  if (nVerdict == 0)
    return CALC_EMPTY_INTERSECTION;
  m_nTraces = nVerdict;
  u_Print("MPI Node: %d sources, %d receivers (%d traces across all worker nodes)\n", (int)m_vShotPoints.size(),
          (int)m_vRcvIdx.size(), nVerdict);
  return 0;
}
