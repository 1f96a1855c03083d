// Rows of a vertical section through a shot split by depth: each process
// sends the rows of the planes it owns (its slab less the halo), and the
// leader stacks the members' rows below its own, in rank order, into the
// section of the whole grid.
#include <cstring>
#include <new>
#include <vector>

#include "calc3d/Calc3D.h"
#include "cluster/MessageTags.h"

namespace {

// Copies the nRows rows of each component received from a member below the
// nRowsSoFar rows already in the section of nAll floats per component.
void StackRows(float* pWhole, size_t nAll, const std::vector<float>& recv, int nComp, int nRowLen, int nRows,
               int nRowsSoFar, int nRowsAll) {
  for (int k = 0; k < nComp; k++) {
    for (int j = 0; j < nRows && nRowsSoFar + j < nRowsAll; j++) {
      for (int i = 0; i < nRowLen; i++) {
        const size_t idx = (size_t)(nRowsSoFar + j) * nRowLen + i;
        if (idx >= nAll) {
          u_Warning("Warning! Array out of bounds (%d, %d>%d)!\n", k, (int)idx, (int)nAll);
          continue;
        }
        pWhole[k * nAll + idx] = recv[((size_t)k * nRows + j) * nRowLen + i];
      }
    }
  }
}

} // namespace

float* CCalc3D::MergeDistributedRows(const CCalcSettings& set, const float* pLocal, int nComp, int nRowLen, int nRows,
                                     int nRowsAll) {
  const int nNode = set.m_nNode;
  const int nRank = set.m_nGroupRank;
  if (nRank > 0) {
    int nCount = nRows;
    MPI_Send(&nCount, 1, MPI_INT, nNode - nRank, TAG_ROWS_COUNT, MPI_COMM_MT);
    if (nCount > 0)
      MPI_Send(pLocal, (int)((size_t)nComp * nRows * nRowLen), MPI_FLOAT, nNode - nRank, TAG_ROWS_DATA, MPI_COMM_MT);
    return nullptr;
  }

  // Without a section the members' rows are still taken, so that no member
  // is left waiting on its send.
  const size_t nAll = (size_t)nRowLen * nRowsAll;
  float* pWhole = new (std::nothrow) float[nAll * (nComp > 0 ? nComp : 1)]();
  if (!pWhole)
    u_Error("Error! Memory Allocation Error in CCalc2D::AppendZpl2DSnapshot\n");
  int nRowsSoFar = nRows < nRowsAll ? nRows : nRowsAll;
  for (int k = 0; pWhole && k < nComp; k++)
    memcpy(pWhole + k * nAll, pLocal + (size_t)k * nRowLen * nRows, (size_t)nRowsSoFar * nRowLen * sizeof(float));

  std::vector<float> recv;
  for (int r = 1; r < set.m_nGroupSize; r++) {
    int nCount = 0;
    MPI_Status st;
    MPI_Recv(&nCount, 1, MPI_INT, nNode + r, TAG_ROWS_COUNT, MPI_COMM_MT, &st);
    if (nCount <= 0)
      continue;
    const size_t nMsg = (size_t)nComp * nCount * nRowLen;
    try {
      if (recv.size() < nMsg)
        recv.resize(nMsg);
    } catch (std::bad_alloc&) {
      u_Error("Error! Memory Allocation Error in CCalc2D::AppendZpl2DSnapshot\n");
      delete[] pWhole;
      return nullptr;
    }
    MPI_Recv(recv.data(), (int)nMsg, MPI_FLOAT, nNode + r, TAG_ROWS_DATA, MPI_COMM_MT, &st);
    if (pWhole)
      StackRows(pWhole, nAll, recv, nComp, nRowLen, nCount, nRowsSoFar, nRowsAll);
    nRowsSoFar += nCount;
    if (nRowsSoFar > nRowsAll)
      nRowsSoFar = nRowsAll;
  }
  return pWhole;
}
