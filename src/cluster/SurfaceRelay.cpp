#include "cluster/SurfaceRelay.h"

#include <mpi.h>

#include <new>

#include "calc3d/Calc3D.h"
#include "cluster/MessageTags.h"

namespace {

// Tag of the map of a model component in the first pass or the return pass.
int ComponentTag(int nComponent, bool bBack) {
  switch (nComponent) {
  case MODEL_PVEL: return bBack ? TAG_SURF_PVEL_BACK : TAG_SURF_PVEL_OUT;
  case MODEL_SVEL: return bBack ? TAG_SURF_SVEL_BACK : TAG_SURF_SVEL_OUT;
  case MODEL_DENS: return bBack ? TAG_SURF_DENS_BACK : TAG_SURF_DENS_OUT;
  case MODEL_ANIS_EPSILON: return bBack ? TAG_SURF_EPSILON_BACK : TAG_SURF_EPSILON_OUT;
  case MODEL_ANIS_DELTA: return bBack ? TAG_SURF_DELTA_BACK : TAG_SURF_DELTA_OUT;
  case MODEL_ANIS_GAMMA: return bBack ? TAG_SURF_GAMMA_BACK : TAG_SURF_GAMMA_OUT;
  case MODEL_ANIS_ALPHA: return bBack ? TAG_SURF_ALPHA_BACK : TAG_SURF_ALPHA_OUT;
  case MODEL_ANIS_PHI: return bBack ? TAG_SURF_PHI_BACK : TAG_SURF_PHI_OUT;
  default: return bBack ? TAG_SURF_Q_BACK : TAG_SURF_Q_OUT;
  }
}

} // namespace

bool CSurfaceRelay::Allocate(size_t nColumns) {
  try {
    m_vPlane.assign(nColumns, -1);
    m_vValue.assign(m_vRecord.size(), std::vector<float>(nColumns, 0.0f));
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

void CSurfaceRelay::Send(int nPeer, bool bBack) {
  const int n = (int)m_vPlane.size();
  MPI_Send(m_vPlane.data(), n, MPI_INT, nPeer, bBack ? TAG_SURF_PLANE_BACK : TAG_SURF_PLANE_OUT, MPI_COMM_MT);
  for (size_t k = 0; k < m_vRecord.size(); k++)
    MPI_Send(m_vValue[k].data(), n, MPI_FLOAT, nPeer, ComponentTag(m_vRecord[k].nComponent, bBack), MPI_COMM_MT);
}

void CSurfaceRelay::Receive(int nPeer, bool bBack) {
  const int n = (int)m_vPlane.size();
  MPI_Status st;
  MPI_Recv(m_vPlane.data(), n, MPI_INT, nPeer, bBack ? TAG_SURF_PLANE_BACK : TAG_SURF_PLANE_OUT, MPI_COMM_MT, &st);
  for (size_t k = 0; k < m_vRecord.size(); k++)
    MPI_Recv(m_vValue[k].data(), n, MPI_FLOAT, nPeer, ComponentTag(m_vRecord[k].nComponent, bBack), MPI_COMM_MT, &st);
}
