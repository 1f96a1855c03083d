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

#include "FDLayout.h" // also defines FD_HD

#if defined(__CUDACC__) || defined(__GNUC__)
#define FD_RESTRICT __restrict__
#else
#define FD_RESTRICT
#endif

// Inlined whatever the caller's instruction set: the host compiles the row
// loops once more for wider vectors, and the formulas must become part of them.
#if defined(__CUDACC__)
#define FD_INLINE __forceinline__
#elif defined(__GNUC__)
#define FD_INLINE inline __attribute__((always_inline))
#else
#define FD_INLINE inline
#endif

namespace fd {

// Weights of the 4th-order staggered difference: 9/8 and -1/24 in float.
constexpr float kBeta1 = 1.125f;
constexpr float kBeta2 = -0.041666668f;

// The formulas below are written for a value type T: float, or on the host a
// vector of floats for the vector form of a loop. Vector values pass by
// reference only, since the host compiles its vector loops for a wider
// instruction set than these functions, which are always inlined there.

// The values of type T at p.
template <typename T> FD_HD FD_INLINE void Load(T& v, const float* p) { memcpy(&v, p, sizeof(T)); }
FD_HD FD_INLINE void Load(float& v, const float* p) { v = *p; }
template <typename T> FD_HD FD_INLINE void Store(float* p, const T& v) { memcpy(p, &v, sizeof(T)); }
FD_HD FD_INLINE void Store(float* p, const float& v) { *p = v; }

// Backward difference at the element f points to, with stride st: the result
// sits half a cell before it.
template <typename T> FD_HD FD_INLINE void DMinus(T& r, const float* FD_RESTRICT f, ptrdiff_t st) {
  T f0, f1, fm1, fm2;
  Load(f0, f);
  Load(f1, f + st);
  Load(fm1, f - st);
  Load(fm2, f - 2 * st);
  r = (T{} + kBeta1) * (f0 - fm1) + (T{} + kBeta2) * (f1 - fm2);
}

// Forward difference: the result sits half a cell after the element.
template <typename T> FD_HD FD_INLINE void DPlus(T& r, const float* FD_RESTRICT f, ptrdiff_t st) {
  T f0, f1, f2, fm1;
  Load(f0, f);
  Load(f1, f + st);
  Load(f2, f + 2 * st);
  Load(fm1, f - st);
  r = (T{} + kBeta1) * (f1 - f0) + (T{} + kBeta2) * (f2 - fm1);
}

// The difference that memory array K of the PML belongs to.
template <int K, typename T> FD_HD FD_INLINE void DOf(T& r, const float* FD_RESTRICT f, ptrdiff_t st) {
  if (PmlMem(K).bForward)
    DPlus(r, f, st);
  else
    DMinus(r, f, st);
}

// The same three of a float.
FD_HD FD_INLINE float DMinus(const float* FD_RESTRICT f, ptrdiff_t st) {
  float r;
  DMinus(r, f, st);
  return r;
}
FD_HD FD_INLINE float DPlus(const float* FD_RESTRICT f, ptrdiff_t st) {
  float r;
  DPlus(r, f, st);
  return r;
}
template <int K> FD_HD FD_INLINE float DOf(const float* FD_RESTRICT f, ptrdiff_t st) {
  float r;
  DOf<K>(r, f, st);
  return r;
}

// Convolutional PML recursion on one derivative d: the memory variable m
// follows m = b m + a d, and the corrected derivative is d + m.
template <typename T> FD_HD FD_INLINE void PmlMemStep(T& m, const T& a, const T& b, const T& d) { m = b * m + a * d; }
FD_HD FD_INLINE float PmlCorrect(float d, float& m, float a, float b) {
  PmlMemStep(m, a, b, d);
  return d + m;
}

// a where c holds, else b, without a branch: a loop that chooses per point
// stays a vector loop (a float operation in a branch may trap, so a compiler
// does not turn the branch into a choice by itself).
FD_HD FD_INLINE float Select(bool c, float a, float b) {
  uint32_t ua, ub;
  memcpy(&ua, &a, sizeof(ua));
  memcpy(&ub, &b, sizeof(ub));
  const uint32_t mask = 0u - (uint32_t)c;
  const uint32_t u = (ua & mask) | (ub & ~mask);
  float r;
  memcpy(&r, &u, sizeof(r));
  return r;
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
