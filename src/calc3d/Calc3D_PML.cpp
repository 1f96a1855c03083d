// Coefficient slabs of the PML, worked out once a shot from the P velocity.
#include "Calc3D.h"
#include <algorithm>

#include "FDScheme.h"

namespace {

// Both sets of one slab entry into the eight arrays of its axis.
void FillEntry(float* const coef[fd::kPmlCoefPerAxis], size_t e, bool bHigh, double c, int i, int N, double h,
               double dt, double f) {
  float a, b;
  fd::PmlProfile(c, i, N, false, h, dt, f, a, b);
  coef[bHigh ? fd::PML_A_HIGH_A : fd::PML_A_LOW_A][e] = a;
  coef[bHigh ? fd::PML_B_HIGH_A : fd::PML_B_LOW_A][e] = b;
  fd::PmlProfile(c, i, N, true, h, dt, f, a, b);
  coef[bHigh ? fd::PML_A_HIGH_B : fd::PML_A_LOW_B][e] = a;
  coef[bHigh ? fd::PML_B_HIGH_B : fd::PML_B_LOW_B][e] = b;
}

bool AllPresent(float* const coef[fd::kPmlCoefPerAxis]) {
  for (int k = 0; k < fd::kPmlCoefPerAxis; k++)
    if (!coef[k])
      return false;
  return true;
}

} // namespace

int CCalc3D::InitPMLProfile() {
  if (!m_pK)
    return 0;
  const int N = m_nPML, s = m_nStart;
  const int nx = m_nNx, ny = m_nNy, nz = m_nNz;
  // Without a decomposition set up the process holds the whole depth.
  const bool bWhole = m_nNzAll <= 0;
  const int nzAll = bWhole ? m_nNz : m_nNzAll;
  const int z0 = bWhole ? 0 : m_nZ0, z1 = bWhole ? m_nNz - 1 : m_nZ1;
  const double h = m_fH, dt = m_fDt, f = m_Signal.m_fFrequency;
  auto K = [&](int z, int y, int x) { return (double)m_pK[((size_t)z * ny + y) * nx + x]; };

  if (AllPresent(m_pPmlCoefX) && nx >= N + s) {
    for (int z = 0; z < nz; z++)
      for (int y = 0; y < ny; y++)
        for (int i = 0; i < N; i++) {
          const size_t e = fd::PmlSlabX(z, y, i, ny, N);
          FillEntry(m_pPmlCoefX, e, false, K(z, y, s + i), i, N, h, dt, f);
          FillEntry(m_pPmlCoefX, e, true, K(z, y, nx - s - 1 - i), i, N, h, dt, f);
        }
  }
  if (AllPresent(m_pPmlCoefY) && ny >= N + s) {
    for (int z = 0; z < nz; z++)
      for (int i = 0; i < N; i++)
        for (int x = 0; x < nx; x++) {
          const size_t e = fd::PmlSlabY(z, x, i, nx, N);
          FillEntry(m_pPmlCoefY, e, false, K(z, s + i, x), i, N, h, dt, f);
          FillEntry(m_pPmlCoefY, e, true, K(z, ny - s - 1 - i, x), i, N, h, dt, f);
        }
  }
  if (AllPresent(m_pPmlCoefZ)) {
    // Only the layers of the whole grid's top and bottom that this process holds.
    if (z0 < N) {
      const int iEnd = std::min(N, nz - s);
      for (int i = 0; i < iEnd; i++)
        for (int y = 0; y < ny; y++)
          for (int x = 0; x < nx; x++)
            FillEntry(m_pPmlCoefZ, fd::PmlSlabZ(y, x, i, nx, ny), false, K(s + i, y, x), i, N, h, dt, f);
    }
    if (nzAll - z1 <= N) {
      const int i0 = nzAll - z1 - 1;
      const int iEnd = std::min(N, nzAll - 1 - z0 - s);
      for (int i = std::max(i0, 0); i < iEnd; i++) {
        const int zl = nz - 1 - s - (i - i0);
        if (zl < 0 || zl >= nz)
          continue;
        for (int y = 0; y < ny; y++)
          for (int x = 0; x < nx; x++)
            FillEntry(m_pPmlCoefZ, fd::PmlSlabZ(y, x, i, nx, ny), true, K(zl, y, x), i, N, h, dt, f);
      }
    }
  }
  return 0;
}
