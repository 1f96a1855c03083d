// Host acoustic step: velocity and pressure half-steps of the 4th-order
// staggered scheme, with the PML recursion or the taper of the frame.
//
// Each row (one z, one y) of a box runs loops generated for its exact set of
// corrections, so that the interior loop has no branch and the border loops
// test nothing per point: the taper cuts a row into its x zones and the
// interior; with PML a row gets its y and z corrections in one loop, and the
// x corrections of a plane follow once all its rows are done. Rows that a
// small grid puts into both zones of one axis take the general per-point path.
#include <algorithm>
#include <cstddef>
#include <vector>

#include "Calc3D_OMP.h"
#include "FDScheme.h"
#include "KelvoApp.h"

namespace {

// One side of one derivative's PML: memory and the (a, b) coefficients.
struct PmlSide {
  float* m = nullptr;
  const float* a = nullptr;
  const float* b = nullptr;
};

// A side as seen from one row: entry of point x at off + x (dir 1) or
// off - x (dir -1).
struct PmlLine {
  float* m = nullptr;
  const float* a = nullptr;
  const float* b = nullptr;
  ptrdiff_t off = 0;
};

// Everything a step needs, gathered once per call.
struct AcoCtx {
  float* vx;
  float* vy;
  float* vz;
  float* p;
  const float* k;
  const float* b;
  int nx, ny, nz, nzAll, z0;
  size_t sy, sz;
  bool pml;
  int nPml, s;
  PmlSide side[3][2]; // axis x, y, z; low, high
  int frame;
  const float* damp;
};

void FillCtx(AcoCtx& c, CCalc3D_OMP& o, bool bForward) {
  c.vx = o.m_pVx;
  c.vy = o.m_pVy;
  c.vz = o.m_pVz;
  c.p = o.m_pTxx;
  c.k = o.m_pK;
  c.b = o.m_pB;
  c.nx = o.m_nNx;
  c.ny = o.m_nNy;
  c.nz = o.m_nNz;
  c.nzAll = o.m_nNzAll > 0 ? o.m_nNzAll : o.m_nNz;
  c.z0 = o.m_nZ0;
  c.sy = (size_t)o.m_nNx;
  c.sz = (size_t)o.m_nNx * o.m_nNy;
  c.nPml = o.m_nPML;
  c.s = o.m_nStart;
  c.frame = std::min(o.m_nFrame, 38);
  c.damp = o.m_fDamp;
  float** coef[3] = {o.m_pPmlCoefX, o.m_pPmlCoefY, o.m_pPmlCoefZ};
  // Memory of the derivative along x, y, z: D+ of the velocities in the
  // pressure step, D- of the pressure in the velocity step.
  const int mem[3] = {bForward ? fd::PML_MEM_VX_X : fd::PML_MEM_P_X, bForward ? fd::PML_MEM_VY_Y : fd::PML_MEM_P_Y,
                      bForward ? fd::PML_MEM_VZ_Z : fd::PML_MEM_P_Z};
  c.pml = o.m_bPML;
  for (int ax = 0; ax < 3; ax++) {
    for (int h = 0; h < 2; h++) {
      c.side[ax][h].m = o.m_pPmlMem[mem[ax] + h];
      c.side[ax][h].a = coef[ax][fd::PmlCoefA(bForward, h == 1)];
      c.side[ax][h].b = coef[ax][fd::PmlCoefB(bForward, h == 1)];
      if (!c.side[ax][h].m || !c.side[ax][h].a || !c.side[ax][h].b)
        c.pml = false;
    }
  }
  // PML asked for but not allocated: plain steps, and no taper either.
  if (o.m_bPML && !c.pml)
    c.frame = 0;
}

// The PML corrections of the three derivatives at one point, by per-point tests.
inline void PmlPoint(const AcoCtx& c, int z, int y, int x, float& dx, float& dy, float& dz) {
  const int g = z + c.z0;
  const int N = c.nPml, s = c.s;
  int i;
  if ((i = fd::PmlLowLayer(g, N, s)) >= 0) {
    const size_t e = fd::PmlSlabZ(y, x, i, c.nx, c.ny);
    dz = fd::PmlCorrect(dz, c.side[2][0].m[e], c.side[2][0].a[e], c.side[2][0].b[e]);
  }
  if ((i = fd::PmlHighLayer(g, c.nzAll, N, s)) >= 0) {
    const size_t e = fd::PmlSlabZ(y, x, i, c.nx, c.ny);
    dz = fd::PmlCorrect(dz, c.side[2][1].m[e], c.side[2][1].a[e], c.side[2][1].b[e]);
  }
  if ((i = fd::PmlLowLayer(y, N, s)) >= 0) {
    const size_t e = fd::PmlSlabY(z, x, i, c.nx, N);
    dy = fd::PmlCorrect(dy, c.side[1][0].m[e], c.side[1][0].a[e], c.side[1][0].b[e]);
  }
  if ((i = fd::PmlHighLayer(y, c.ny, N, s)) >= 0) {
    const size_t e = fd::PmlSlabY(z, x, i, c.nx, N);
    dy = fd::PmlCorrect(dy, c.side[1][1].m[e], c.side[1][1].a[e], c.side[1][1].b[e]);
  }
  if ((i = fd::PmlLowLayer(x, N, s)) >= 0) {
    const size_t e = fd::PmlSlabX(z, y, i, c.ny, N);
    dx = fd::PmlCorrect(dx, c.side[0][0].m[e], c.side[0][0].a[e], c.side[0][0].b[e]);
  }
  if ((i = fd::PmlHighLayer(x, c.nx, N, s)) >= 0) {
    const size_t e = fd::PmlSlabX(z, y, i, c.ny, N);
    dx = fd::PmlCorrect(dx, c.side[0][1].m[e], c.side[0][1].a[e], c.side[0][1].b[e]);
  }
}

// General velocity update of one point.
inline void UPoint(const AcoCtx& c, int z, int y, int x) {
  const size_t idx = ((size_t)z * c.ny + y) * c.nx + x;
  float dx = fd::DMinus(c.p + idx, (ptrdiff_t)1);
  float dy = fd::DMinus(c.p + idx, (ptrdiff_t)c.sy);
  float dz = fd::DMinus(c.p + idx, (ptrdiff_t)c.sz);
  if (c.pml) {
    PmlPoint(c, z, y, x, dx, dy, dz);
  } else {
    const int r = fd::EdgeDistance(x, y, z + c.z0, c.nx, c.ny, c.nzAll);
    if (r < c.frame) {
      const float f = c.damp[r];
      c.vx[idx] *= f;
      c.vy[idx] *= f;
      c.vz[idx] *= f;
    }
  }
  c.vx[idx] += c.b[idx] * dx;
  c.vy[idx] += c.b[idx] * dy;
  c.vz[idx] += c.b[idx] * dz;
}

// General pressure update of one point.
inline void TauPoint(const AcoCtx& c, int z, int y, int x) {
  const size_t idx = ((size_t)z * c.ny + y) * c.nx + x;
  float dx = fd::DPlus(c.vx + idx, (ptrdiff_t)1);
  float dy = fd::DPlus(c.vy + idx, (ptrdiff_t)c.sy);
  float dz = fd::DPlus(c.vz + idx, (ptrdiff_t)c.sz);
  if (c.pml)
    PmlPoint(c, z, y, x, dx, dy, dz);
  c.p[idx] += c.k[idx] * (dx + dy + dz);
  if (!c.pml) {
    const int r = fd::EdgeDistance(x, y, z + c.z0, c.nx, c.ny, c.nzAll);
    if (r < c.frame)
      c.p[idx] *= c.damp[r];
  }
}

// Taper factors by x for each distance ry of a row (ry < frame), and in the
// last table for rows inside the frame in y and z. Entry 1 where no taper acts.
std::vector<float> MakeDampTables(const AcoCtx& c) {
  std::vector<float> t((size_t)(c.frame + 1) * c.nx, 1.0f);
  for (int ry = 0; ry <= c.frame; ry++) {
    float* row = &t[(size_t)ry * c.nx];
    for (int x = 0; x < c.nx; x++) {
      const int r = std::min(std::min(x, c.nx - 1 - x), ry);
      if (r < c.frame)
        row[x] = c.damp[r];
    }
  }
  return t;
}

// The divergence probe of the pressure step: one point in the middle of each row.
inline bool RowIsNaN(const AcoCtx& c, int z, int y, int x0, int x1) {
  const int xm = x0 + (x1 - x0) / 2;
  return fd::IsDivergedBits(c.p[((size_t)z * c.ny + y) * c.nx + xm]);
}

namespace base {
#ifdef __AVX__
typedef float VF __attribute__((vector_size(32)));
typedef int VI __attribute__((vector_size(32)));
#else
typedef float VF __attribute__((vector_size(16)));
typedef int VI __attribute__((vector_size(16)));
#endif
#include "AcoRowKernels.h"
} // namespace base

// The same loops for processors with AVX2, chosen at run time: the steps are
// partly bound by arithmetic, and the wider vectors shorten them. A build for
// the native processor has no need of it.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__AVX2__)
#define KELVO_ACO_AVX2 1
#pragma GCC push_options
#pragma GCC target("avx2")
namespace avx2 {
typedef float VF __attribute__((vector_size(32)));
typedef int VI __attribute__((vector_size(32)));
#include "AcoRowKernels.h"
} // namespace avx2
#pragma GCC pop_options
#endif

template <bool TAU> using PlaneFn = bool (*)(const AcoCtx&, const float*, int, int, int, int, int);

template <bool TAU> PlaneFn<TAU> SelectPlane() {
#ifdef KELVO_ACO_AVX2
  if (__builtin_cpu_supports("avx2"))
    return avx2::Plane<TAU>;
#endif
  return base::Plane<TAU>;
}

template <bool TAU> int RunStep(const AcoCtx& c, int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  bool bNaN = false;
  if (nZ0 > nZ1 || nY0 > nY1 || nX0 > nX1)
    return 0;
  std::vector<float> tables;
  if (!c.pml)
    tables = MakeDampTables(c);
  const float* pTables = tables.empty() ? nullptr : tables.data();
  const PlaneFn<TAU> plane = SelectPlane<TAU>();
#pragma omp parallel for schedule(static) reduction(|| : bNaN)
  for (int z = nZ0; z <= nZ1; z++) {
    if (plane(c, pTables, z, nY0, nY1, nX0, nX1))
      bNaN = true;
  }
  return bNaN ? CALC_UNSTABLE : 0;
}

template <bool TAU> int RunStepGeneric(const AcoCtx& c, int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  bool bNaN = false;
  if (nZ0 > nZ1 || nY0 > nY1 || nX0 > nX1)
    return 0;
#pragma omp parallel for schedule(static) reduction(|| : bNaN)
  for (int z = nZ0; z <= nZ1; z++) {
    for (int y = nY0; y <= nY1; y++) {
      for (int x = nX0; x <= nX1; x++) {
        if (TAU)
          TauPoint(c, z, y, x);
        else
          UPoint(c, z, y, x);
      }
      if (TAU && RowIsNaN(c, z, y, nX0, nX1))
        bNaN = true;
    }
  }
  return bNaN ? CALC_UNSTABLE : 0;
}

} // namespace

int CCalc3D_OMP::PropagateAcoWaveU(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!m_pVx || !m_pVy || !m_pVz || !m_pTxx || !m_pB)
    return CALC_NO_FIELD;
  AcoCtx c;
  FillCtx(c, *this, false);
  RunStep<false>(c, nZ0, nY0, nX0, nZ1, nY1, nX1);
  return 0;
}

int CCalc3D_OMP::PropagateAcoWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!m_pVx || !m_pVy || !m_pVz || !m_pTxx || !m_pK)
    return CALC_NO_FIELD;
  AcoCtx c;
  FillCtx(c, *this, true);
  return RunStep<true>(c, nZ0, nY0, nX0, nZ1, nY1, nX1);
}

int CCalc3D_OMP::PropagateAcoWaveUGeneric(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!m_pVx || !m_pVy || !m_pVz || !m_pTxx || !m_pB)
    return CALC_NO_FIELD;
  AcoCtx c;
  FillCtx(c, *this, false);
  RunStepGeneric<false>(c, nZ0, nY0, nX0, nZ1, nY1, nX1);
  return 0;
}

int CCalc3D_OMP::PropagateAcoWaveTauGeneric(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!m_pVx || !m_pVy || !m_pVz || !m_pTxx || !m_pK)
    return CALC_NO_FIELD;
  AcoCtx c;
  FillCtx(c, *this, true);
  return RunStepGeneric<true>(c, nZ0, nY0, nX0, nZ1, nY1, nX1);
}
