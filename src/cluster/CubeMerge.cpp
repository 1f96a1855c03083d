// Collection of a cube split by depth over a group at the group's leader.
#include <cstring>
#include <new>
#include <vector>

#include "calc3d/Calc3D.h"
#include "cluster/MessageTags.h"

int CCalc3D::MergeDistributedCube(const CCalcSettings& set, const CCubeN& box, int* pnOut, float* pLocal,
                                  float** ppMerged) {
  *pnOut = 0;
  // The first axis of the box (x slots) counts planes; a plane is b x c floats.
  const int a = box.x1 - box.x0 + 1;
  const size_t nPlane = (size_t)(box.y1 - box.y0 + 1) * (size_t)(box.z1 - box.z0 + 1);
  const int nNode = set.m_nNode;

  if (set.m_nGroupRank > 0) {
    const int nLeader = nNode - set.m_nGroupRank;
    if (!pLocal) {
      u_Warning("Warning! MergeDistributedCube(): Unable to acquire a cube from compute device.\n");
      int zero = 0;
      MPI_Send(&zero, 1, MPI_INT, nLeader, TAG_CUBE_COUNT, MPI_COMM_MT);
      return 0;
    }
    int n = a;
    MPI_Send(&n, 1, MPI_INT, nLeader, TAG_CUBE_COUNT, MPI_COMM_MT);
    MPI_Send(pLocal, (int)(a * nPlane), MPI_FLOAT, nLeader, TAG_CUBE_DATA, MPI_COMM_MT);
    return 0;
  }

  const int nGroupSize = set.m_nGroupSize;
  if (nGroupSize < 2)
    return 0;
  std::vector<int> vCounts(nGroupSize, 0);
  int nTotal = 0, nLargest = a;
  for (int r = 1; r < nGroupSize; r++) {
    MPI_Status st;
    MPI_Recv(&vCounts[r], 1, MPI_INT, nNode + r, TAG_CUBE_COUNT, MPI_COMM_MT, &st);
    nTotal += vCounts[r];
    if (vCounts[r] > nLargest)
      nLargest = vCounts[r];
    if (vCounts[r] == 0)
      u_Warning("Warning! MergeDistributedCube(): Unable to acquire a cube from compute device (Node #%d).\n",
                nNode + r);
  }
  if (nTotal == 0)
    return 0;
  if (pLocal)
    nTotal += a;

  float* pMerged = new (std::nothrow) float[(size_t)nTotal * nPlane]();
  float* pWork = new (std::nothrow) float[(size_t)nLargest * nPlane]();
  if (!pMerged || !pWork) {
    delete[] pMerged;
    delete[] pWork;
    u_Error("Error! Memory allocation error merging a cube (additional %g MB requested).\n",
            (double)(nTotal + nLargest) * 4.0 * nPlane / 1048576.0);
    return -1;
  }
  int nOffset = 0;
  if (pLocal) {
    memcpy(pMerged, pLocal, (size_t)a * nPlane * sizeof(float));
    nOffset = a;
  }
  for (int r = 1; r < nGroupSize; r++) {
    int n = vCounts[r];
    if (n <= 0)
      continue;
    MPI_Status st;
    MPI_Recv(pWork, (int)(n * nPlane), MPI_FLOAT, nNode + r, TAG_CUBE_DATA, MPI_COMM_MT, &st);
    if (nOffset + n > nTotal)
      n = nTotal - nOffset;
    if (n > 0)
      memcpy(pMerged + (size_t)nOffset * nPlane, pWork, (size_t)n * nPlane * sizeof(float));
    nOffset += vCounts[r];
  }
  delete[] pWork;
  if (nTotal < 3) {
    delete[] pMerged;
    return 0;
  }
  *ppMerged = pMerged;
  *pnOut = nTotal;
  return 0;
}
