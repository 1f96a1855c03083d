// Top and bottom of the model: the Invisible surface continues the medium up
// to the top of the grid, the Free surface empties the top frame, and every
// column is closed at the bottom by its deepest medium cell.
//
// Under depth decomposition a column is walked across the slabs of the group
// by a relay of per-column maps: the surface plane of each column and the
// record of its surface cell, one float map per component.
#include <algorithm>
#include <new>
#include <vector>

#include "calc3d/Calc3D.h"

namespace {

// One component of the column record with the tags of its relay messages.
struct RecordArray {
  float* pData;
  int nTagOut;
  int nTagBack;
};

// Surface map and column record of every column of a slab.
struct SurfaceMaps {
  std::vector<int> plane;                // global surface plane, -1 unknown
  std::vector<std::vector<float>> value; // record of the surface cell
};

const int TAG_PLANE_OUT = 140, TAG_PLANE_BACK = 144;

void SendMaps(SurfaceMaps& maps, const std::vector<RecordArray>& rec, int nPeer, bool bBack) {
  const int n = (int)maps.plane.size();
  MPI_Send(maps.plane.data(), n, MPI_INT, nPeer, bBack ? TAG_PLANE_BACK : TAG_PLANE_OUT, MPI_COMM_MT);
  for (size_t k = 0; k < rec.size(); k++)
    MPI_Send(maps.value[k].data(), n, MPI_FLOAT, nPeer, bBack ? rec[k].nTagBack : rec[k].nTagOut, MPI_COMM_MT);
}

void RecvMaps(SurfaceMaps& maps, const std::vector<RecordArray>& rec, int nPeer, bool bBack) {
  const int n = (int)maps.plane.size();
  MPI_Status st;
  MPI_Recv(maps.plane.data(), n, MPI_INT, nPeer, bBack ? TAG_PLANE_BACK : TAG_PLANE_OUT, MPI_COMM_MT, &st);
  for (size_t k = 0; k < rec.size(); k++)
    MPI_Recv(maps.value[k].data(), n, MPI_FLOAT, nPeer, bBack ? rec[k].nTagBack : rec[k].nTagOut, MPI_COMM_MT, &st);
}

} // namespace

// Arrays of the column record in relay order: P velocity, density, S
// velocity, the five anisotropy cubes, Q; absent ones are left out.
static std::vector<RecordArray> GetColumnRecord(CCalc3D& c) {
  const RecordArray all[] = {{c.m_pK, 141, 145},         {c.m_pB, 143, 147},         {c.m_pMu, 142, 146},
                             {c.m_pAnisEps, 245, 240},   {c.m_pAnisDelta, 246, 241}, {c.m_pAnisGamma, 247, 242},
                             {c.m_pAnisAlpha, 248, 243}, {c.m_pAnisPhi, 249, 244},   {c.m_pQ, 148, 149}};
  std::vector<RecordArray> rec;
  for (const RecordArray& r : all)
    if (r.pData)
      rec.push_back(r);
  return rec;
}

int CCalc3D::MakeSurface() {
  const std::vector<RecordArray> rec = GetColumnRecord(*this);
  const size_t nPlane = (size_t)m_nNx * m_nNy;
  const int nNz = m_nNz;

  if (m_nSurfType == 1) {
    // A free surface: vacuum above the first plane below the frame. In a
    // group the top planes keep the model and only its voids act as one.
    if (GetGroupSize() > 1)
      return 0;
    const int nTop = std::min(m_nFrame, nNz);
    for (const RecordArray& r : rec)
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
        for (const RecordArray& r : rec) {
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
  SurfaceMaps maps;
  try {
    maps.plane.assign(nPlane, -1);
    maps.value.assign(rec.size(), std::vector<float>(nPlane, 0.0f));
  } catch (const std::bad_alloc&) {
    u_Error("Error! Unable to allocate temporary memory to build model's invisible surface.\n");
    return -2;
  }
  const int nNode = m_Set.m_nNode;
  const bool bFirst = !HasUpperNeighbour(), bLast = !HasLowerNeighbour();
  if (!bFirst)
    RecvMaps(maps, rec, nNode - 1, false);
  for (size_t c = 0; c < nPlane; c++) {
    if (maps.plane[c] >= 0)
      continue;
    for (int z = m_nStart; z < nNz; z++) {
      if (m_pK[z * nPlane + c] > 0) {
        maps.plane[c] = z + m_nZ0;
        for (size_t k = 0; k < rec.size(); k++)
          maps.value[k][c] = rec[k].pData[z * nPlane + c];
        break;
      }
    }
  }
  if (!bLast) {
    SendMaps(maps, rec, nNode + 1, false);
    RecvMaps(maps, rec, nNode + 1, true);
  }
  for (size_t c = 0; c < nPlane; c++) {
    const int g = maps.plane[c];
    if (g < 0 || g < m_nZ0)
      continue;
    int l = g - m_nZ0;
    if (l >= nNz - m_nStart - 1)
      l = nNz - 1;
    for (size_t k = 0; k < rec.size(); k++)
      for (int z = 0; z <= l; z++)
        rec[k].pData[z * nPlane + c] = maps.value[k][c];
  }
  if (!bFirst)
    SendMaps(maps, rec, nNode - 1, true);
  return 0;
}

int CCalc3D::MakeSurfaceBottomDistributed() {
  u_Print("MPI Node: Applying Bottom Surface\n");
  const std::vector<RecordArray> rec = GetColumnRecord(*this);
  const size_t nPlane = (size_t)m_nNx * m_nNy;
  const int nNz = m_nNz;
  SurfaceMaps maps;
  try {
    maps.plane.assign(nPlane, -1);
    maps.value.assign(rec.size(), std::vector<float>(nPlane, 0.0f));
  } catch (const std::bad_alloc&) {
    u_Error("Error! Unable to allocate temporary memory to build model's bottom surface.\n");
    return -2;
  }
  // The walk begins at the last process of the group and goes upwards.
  const int nNode = m_Set.m_nNode;
  const bool bFirst = !HasUpperNeighbour(), bLast = !HasLowerNeighbour();
  if (!bLast)
    RecvMaps(maps, rec, nNode + 1, false);
  const float* pK = m_pK;
  std::vector<int>& plane = maps.plane;
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
            maps.value[k][c] = rec[k].pData[z * nPlane + c];
          break;
        }
      }
    }
  }
  if (!bFirst) {
    SendMaps(maps, rec, nNode - 1, false);
    RecvMaps(maps, rec, nNode - 1, true);
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
          rec[k].pData[z * nPlane + c] = maps.value[k][c];
    }
  }
  if (!bLast)
    SendMaps(maps, rec, nNode + 1, true);
  return 0;
}
