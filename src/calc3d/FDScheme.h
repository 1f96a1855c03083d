// Per-point formulas of the 4th-order staggered-grid scheme.
//
// Everything here is a small inline function of plain pointers and indices, so
// that the host loops and a CUDA kernel share one definition of the stencil,
// the PML recursion and the stability test. The header has no dependency on
// the rest of the engine for the same reason.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__CUDACC__)
#define FD_HD __host__ __device__
#else
#define FD_HD
#endif

#if defined(__CUDACC__) || defined(__GNUC__)
#define FD_RESTRICT __restrict__
#else
#define FD_RESTRICT
#endif

namespace fd {

// Weights of the 4th-order staggered difference: 9/8 and -1/24 in float.
constexpr float kBeta1 = 1.125f;
constexpr float kBeta2 = -0.041666668f;

// Backward difference at the element f points to, with stride st: the result
// sits half a cell before it.
FD_HD inline float DMinus(const float* FD_RESTRICT f, ptrdiff_t st) {
  return kBeta1 * (f[0] - f[-st]) + kBeta2 * (f[st] - f[-2 * st]);
}

// Forward difference: the result sits half a cell after the element.
FD_HD inline float DPlus(const float* FD_RESTRICT f, ptrdiff_t st) {
  return kBeta1 * (f[st] - f[0]) + kBeta2 * (f[2 * st] - f[-st]);
}

// Convolutional PML recursion on one derivative: the memory variable follows
// m = b m + a d, and the corrected derivative is d + m.
FD_HD inline float PmlCorrect(float d, float& m, float a, float b) {
  m = b * m + a * d;
  return d + m;
}

// A diverged value by its bits: NaN, an infinity, or a magnitude of 1e20 or
// more, which no stable run reaches (a short record of an unstable scheme
// ends in huge amplitudes before any NaN). Written on the bits so that
// -ffast-math cannot remove the test.
FD_HD inline bool IsDivergedBits(float v) {
  uint32_t u;
#if defined(__CUDA_ARCH__)
  u = __float_as_uint(v);
#else
  std::memcpy(&u, &v, sizeof(u));
#endif
  return (u & 0x7fffffffu) >= 0x60ad78ecu; // |v| >= 1e20f, infinities and NaN included
}

// Distance in cells of a point to the nearest outer face of the whole grid;
// g is the global plane, nzAll the planes of the whole grid.
FD_HD inline int EdgeDistance(int x, int y, int g, int nx, int ny, int nzAll) {
  int r = x;
  if (y < r)
    r = y;
  if (nx - 1 - x < r)
    r = nx - 1 - x;
  if (ny - 1 - y < r)
    r = ny - 1 - y;
  if (g < r)
    r = g;
  if (nzAll - 1 - g < r)
    r = nzAll - 1 - g;
  return r;
}

// Layer index of a point in the low or high PML zone of an axis of n points
// (pos is the global position on that axis); -1 outside the zone.
FD_HD inline int PmlLowLayer(int pos, int nPml, int nStart) { return pos < nPml + nStart ? pos - nStart : -1; }
FD_HD inline int PmlHighLayer(int pos, int n, int nPml, int nStart) {
  return n - pos <= nPml + nStart ? n - pos - nStart - 1 : -1;
}

// Slab indices of the three slab forms (nPml layers of one side).
FD_HD inline size_t PmlSlabX(int z, int y, int i, int ny, int nPml) { return ((size_t)z * ny + y) * nPml + i; }
FD_HD inline size_t PmlSlabY(int z, int x, int i, int nx, int nPml) { return ((size_t)z * nPml + i) * nx + x; }
FD_HD inline size_t PmlSlabZ(int y, int x, int i, int nx, int ny) { return ((size_t)i * ny + y) * nx + x; }

} // namespace fd

namespace fd {

// Positions of the eight coefficient slabs of one axis.
enum {
  PML_A_LOW_A = 0,
  PML_A_HIGH_A = 1,
  PML_B_LOW_A = 2,
  PML_B_HIGH_A = 3,
  PML_A_LOW_B = 4,
  PML_A_HIGH_B = 5,
  PML_B_LOW_B = 6,
  PML_B_HIGH_B = 7,
};

// Coefficient slabs (a, b) used by a derivative: a backward difference takes
// set A on the low side and set B on the high side, a forward one the reverse.
FD_HD inline int PmlCoefA(bool bForward, bool bHigh) {
  if (bForward)
    return bHigh ? PML_A_HIGH_A : PML_A_LOW_B;
  return bHigh ? PML_A_HIGH_B : PML_A_LOW_A;
}
FD_HD inline int PmlCoefB(bool bForward, bool bHigh) {
  if (bForward)
    return bHigh ? PML_B_HIGH_A : PML_B_LOW_B;
  return bHigh ? PML_B_HIGH_B : PML_B_LOW_A;
}

// Memory arrays of the acoustic step (low side; the high side is the next).
enum {
  PML_MEM_VX_X = 0, // D+ of Vx along x, pressure step
  PML_MEM_P_X = 2,  // D- of P along x, velocity step
  PML_MEM_VY_Y = 4, // D+ of Vy along y
  PML_MEM_P_Y = 6,  // D- of P along y
  PML_MEM_VZ_Z = 8, // D+ of Vz along z
  PML_MEM_P_Z = 10, // D- of P along z
};

} // namespace fd

#include <cmath>

namespace fd {

// PML profile of one slab entry: layer i (0 outermost) of nPml layers, c the
// P velocity there, set B half a cell further in than set A. Gives the
// recursion coefficients a and b.
FD_HD inline void PmlProfile(double c, int i, int nPml, bool bSetB, double h, double dt, double f, float& a, float& b) {
  const double d0 = c * (-1.5) * log(0.0002) / (h * nPml);
  const double q = bSetB ? (nPml + 0.5 - i) / nPml : (nPml + 1.0 - i) / nPml;
  const double d = d0 * q * q;
  const double alpha = (1.1 - q) * 3.141592653589793 * f;
  const float bf = (float)exp(-(d + alpha) * dt);
  const float bm1 = bf - 1.0f;
  const double den = d + alpha;
  a = den != 0.0 ? (float)(d * bm1 / den) : 0.0f;
  b = bf;
}

} // namespace fd
