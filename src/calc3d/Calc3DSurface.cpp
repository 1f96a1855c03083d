// Top and bottom of the model: the Invisible surface continues the medium up
// to the top of the grid, the Free surface empties the top frame, and every
// column is closed at the bottom by its deepest medium cell.
//
// Under depth decomposition a column is walked across the slabs of the group
// by a relay of per-column maps: the surface plane of each column and the
// record of its surface cell, one float map per component.
#include <algorithm>
#include <vector>

#include "calc3d/Calc3D.h"
#include "cluster/SurfaceRelay.h"

// Arrays of the column record in relay order: P velocity, density, S
// velocity, the five anisotropy cubes, Q; absent ones are left out.
static std::vector<CColumnArray> GetColumnRecord(CCalc3D& c) {
  const CColumnArray all[] = {{c.m_pK, MODEL_PVEL},
                              {c.m_pB, MODEL_DENS},
                              {c.m_pMu, MODEL_SVEL},
                              {c.m_pAnisEps, MODEL_ANIS_EPSILON},
                              {c.m_pAnisDelta, MODEL_ANIS_DELTA},
                              {c.m_pAnisGamma, MODEL_ANIS_GAMMA},
                              {c.m_pAnisAlpha, MODEL_ANIS_ALPHA},
                              {c.m_pAnisPhi, MODEL_ANIS_PHI},
                              {c.m_pQ, MODEL_Q}};
  std::vector<CColumnArray> rec;
  for (const CColumnArray& r : all)
    if (r.pData)
      rec.push_back(r);
  return rec;
}

int CCalc3D::MakeSurface() {
  const std::vector<CColumnArray> rec = GetColumnRecord(*this);
  const size_t nPlane = (size_t)m_nNx * m_nNy;
  const int nNz = m_nNz;

  if (m_nSurfType == 1) {
    // A free surface: vacuum above the first plane below the frame. In a
    // group the top planes keep the model and only its voids act as one.
    if (GetGroupSize() > 1)
      return 0;
    const int nTop = std::min(m_nFrame, nNz);
    for (const CColumnArray& r : rec)
      std::fill(r.pData, r.pData + nTop * nPlane, 0.0f);
    return 0;
  }

  if (GetGroupSize() < 2) {
    const float* pK = m_pK;
#pragma omp parallel for schedule(static)
    for (int y = 0; y < m_nNy; y++) {
      for (int x = 0; x < m_nNx; x++) {
        const size_t c = (size_t)y * m_nNx + x;
        int zs = 0;
        while (zs < nNz - 1 && !(pK[zs * nPlane + c] > 0))
          zs++;
        if (zs == 0 || zs >= nNz - 1 || !(pK[zs * nPlane + c] > 0))
          continue;
        for (const CColumnArray& r : rec) {
          const float v = r.pData[zs * nPlane + c];
          for (int z = 0; z < zs; z++)
            r.pData[z * nPlane + c] = v;
        }
      }
    }
    return 0;
  }

  // Decomposed: the walk begins at the first process of the group.
  u_Print("MPI Node: Applying Invisible Surface\n");
  CSurfaceRelay relay(rec);
  if (!relay.Allocate(nPlane)) {
    u_Error("Error! Unable to allocate temporary memory to build model's invisible surface.\n");
    return -2;
  }
  const int nNode = m_Set.m_nNode;
  const bool bFirst = !HasUpperNeighbour(), bLast = !HasLowerNeighbour();
  if (!bFirst)
    relay.Receive(nNode - 1, false);
  for (size_t c = 0; c < nPlane; c++) {
    if (relay.m_vPlane[c] >= 0)
      continue;
    for (int z = m_nStart; z < nNz; z++) {
      if (m_pK[z * nPlane + c] > 0) {
        relay.m_vPlane[c] = z + m_nZ0;
        for (size_t k = 0; k < rec.size(); k++)
          relay.m_vValue[k][c] = rec[k].pData[z * nPlane + c];
        break;
      }
    }
  }
  if (!bLast) {
    relay.Send(nNode + 1, false);
    relay.Receive(nNode + 1, true);
  }
  for (size_t c = 0; c < nPlane; c++) {
    const int g = relay.m_vPlane[c];
    if (g < 0 || g < m_nZ0)
      continue;
    int l = g - m_nZ0;
    if (l >= nNz - m_nStart - 1)
      l = nNz - 1;
    for (size_t k = 0; k < rec.size(); k++)
      for (int z = 0; z <= l; z++)
        rec[k].pData[z * nPlane + c] = relay.m_vValue[k][c];
  }
  if (!bFirst)
    relay.Send(nNode - 1, true);
  return 0;
}

int CCalc3D::MakeSurfaceBottomDistributed() {
  u_Print("MPI Node: Applying Bottom Surface\n");
  const std::vector<CColumnArray> rec = GetColumnRecord(*this);
  const size_t nPlane = (size_t)m_nNx * m_nNy;
  const int nNz = m_nNz;
  CSurfaceRelay relay(rec);
  if (!relay.Allocate(nPlane)) {
    u_Error("Error! Unable to allocate temporary memory to build model's bottom surface.\n");
    return -2;
  }
  // The walk begins at the last process of the group and goes upwards.
  const int nNode = m_Set.m_nNode;
  const bool bFirst = !HasUpperNeighbour(), bLast = !HasLowerNeighbour();
  if (!bLast)
    relay.Receive(nNode + 1, false);
  const float* pK = m_pK;
  std::vector<int>& plane = relay.m_vPlane;
#pragma omp parallel for schedule(static)
  for (int y = 0; y < m_nNy; y++) {
    for (int x = 0; x < m_nNx; x++) {
      const size_t c = (size_t)y * m_nNx + x;
      if (plane[c] >= 0)
        continue;
      for (int z = nNz - 1; z >= m_nStart; z--) {
        if (pK[z * nPlane + c] > 0) {
          plane[c] = z + m_nZ0;
          for (size_t k = 0; k < rec.size(); k++)
            relay.m_vValue[k][c] = rec[k].pData[z * nPlane + c];
          break;
        }
      }
    }
  }
  if (!bFirst) {
    relay.Send(nNode - 1, false);
    relay.Receive(nNode - 1, true);
  }
#pragma omp parallel for schedule(static)
  for (int y = 0; y < m_nNy; y++) {
    for (int x = 0; x < m_nNx; x++) {
      const size_t c = (size_t)y * m_nNx + x;
      const int g = plane[c];
      if (g < 0 || g > m_nZ1)
        continue;
      int l = g - m_nZ0;
      if (l <= m_nStart + 1)
        l = 0;
      for (size_t k = 0; k < rec.size(); k++)
        for (int z = l; z < nNz; z++)
          rec[k].pData[z * nPlane + c] = relay.m_vValue[k][c];
    }
  }
  if (!bLast)
    relay.Send(nNode + 1, true);
  return 0;
}
