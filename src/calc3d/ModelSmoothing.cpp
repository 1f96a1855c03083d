#include "calc3d/ModelSmoothing.h"

#include "calc3d/Calc3D.h"

namespace {

// New value of one inner cell; neighbours in the order z+1, z-1, y+1, y-1,
// x+1, x-1, summed in single precision.
inline float smooth_Cell(const float* p, size_t sy, size_t sz) {
  const float c = *p;
  if (c == 0)
    return c;
  const float n[6] = {p[sz], p[-(ptrdiff_t)sz], p[sy], p[-(ptrdiff_t)sy], p[1], p[-1]};
  float sum = c;
  int count = 1;
  for (float v : n)
    if (v > 0) {
      sum += v;
      count++;
    }
  return count == 7 ? sum / (float)count : c;
}

void smooth_Pass(float* pData, int nx, int ny, int nz, float* pPlane) {
  const size_t sy = (size_t)nx, sz = (size_t)nx * ny;
  for (int y = 1; y < ny - 1; y++) {
    const bool bLast = y == ny - 2;
    for (int z = 1; z < nz - 1; z++) {
      float* pRow = pData + z * sz + (size_t)y * sy;
      float* pPrev = pRow - sy; // same z row of plane y - 1
      float* pWork = pPlane + (size_t)z * nx;
      for (int x = 1; x < nx - 1; x++) {
        const float v = smooth_Cell(pRow + x, sy, sz);
        // Plane y - 1 is written only now, after plane y has read it.
        if (y > 1)
          pPrev[x] = pWork[x];
        pWork[x] = v;
        if (bLast)
          pRow[x] = v;
      }
    }
  }
}

} // namespace

void calc_SmoothCube(float* pData, int nx, int ny, int nz, int nPasses, float* pPlane) {
  if (!pData || !pPlane || nx < 3 || ny < 3 || nz < 3)
    return;
  for (int pass = 0; pass < nPasses; pass++)
    smooth_Pass(pData, nx, ny, nz, pPlane);
}

int CCalc3D::SmoothModel() {
  const int nPasses = m_Set.m_nSmoothModel;
  if (nPasses <= 0)
    return 0;
  float* const cubes[] = {m_pK,   m_pB,   m_pMu,  m_pQ,   m_pC11, m_pC12, m_pC13, m_pC22, m_pC23,
                          m_pC33, m_pC44, m_pC55, m_pC66, m_pC14, m_pC15, m_pC16, m_pC24, m_pC25,
                          m_pC26, m_pC34, m_pC35, m_pC36, m_pC45, m_pC46, m_pC56};
  // A cube left unsmoothed for want of the work plane does not stop the shot.
  for (float* p : cubes)
    if (p)
      SmoothModelComponent(p, nPasses);
  return 0;
}

int CCalc3D::SmoothModelComponent(float* pData, int nPasses) {
  if (!m_pPlane)
    return -4;
  calc_SmoothCube(pData, m_nNx, m_nNy, m_nNz, nPasses, m_pPlane);
  return 0;
}
