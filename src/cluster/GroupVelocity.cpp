// The largest P velocity of a shot split by depth: the leader takes that of
// each member's slab and hands the group's back, so that every process checks
// the time step against the same value.
#include <mpi.h>

#include <algorithm>

#include "calc3d/Calc3D.h"
#include "cluster/MessageTags.h"

float CCalc3D::GroupMaxVp() {
  float fMax = m_fMaxVp;
  if (GetGroupSize() < 2)
    return fMax;
  const int nRank = GetGroupRank(), nSize = GetGroupSize(), nNode = m_Set.m_nNode;
  MPI_Status st;
  if (nRank == 0) {
    for (int r = 1; r < nSize; r++) {
      float f = 0;
      MPI_Recv(&f, 1, MPI_FLOAT, nNode + r, TAG_VMAX_UP, MPI_COMM_MT, &st);
      fMax = std::max(fMax, f);
    }
    for (int r = 1; r < nSize; r++)
      MPI_Send(&fMax, 1, MPI_FLOAT, nNode + r, TAG_VMAX_DOWN, MPI_COMM_MT);
  } else {
    MPI_Send(&fMax, 1, MPI_FLOAT, nNode - nRank, TAG_VMAX_UP, MPI_COMM_MT);
    MPI_Recv(&fMax, 1, MPI_FLOAT, nNode - nRank, TAG_VMAX_DOWN, MPI_COMM_MT, &st);
  }
  return fMax;
}
