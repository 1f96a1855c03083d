// Host traversal of the box of a half-step, the same for every method: the
// step brings its physics policy (FDPoint.h) and this file runs it over the
// interior rows, the PML zones of each axis or the taper frame.
//
// Each row (one z, one y) runs a loop generated for its exact set of
// corrections, so that the interior loop has no branch and the border loops
// test nothing per point: the taper cuts a row into its x zones and the
// interior; with PML a row gets its y and z corrections in one loop, and its
// x corrections either in the same loop, cut into the x zones, or, for a
// policy whose update is linear in the x derivatives, in a pass over the
// whole plane once all its rows are done. Rows that a small grid puts into
// both zones of one axis take the per-point path of FDPoint.h.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <omp.h>

#include "Calc3D_OMP.h"
#include "FDPoint.h"

namespace fd {

// A side as seen from one row: entry of point x at off + x (off - x on the
// high x side).
struct TPmlLine {
  float* m = nullptr;
  const float* a = nullptr;
  const float* b = nullptr;
  ptrdiff_t off = 0;
};

// Fills the grid view and the PML sides of a step from the backend.
template <class P> void InitStep(TFdStep<P>& c, const CCalc3D_OMP& o, const P& ph) {
  c.ph = ph;
  c.g =
      MakeFdGrid(o.m_nNx, o.m_nNy, o.m_nNz, o.m_nNzAll, o.m_nZ0, o.m_bPML, o.m_nPML, o.m_nStart, o.m_nFrame, o.m_fDamp);
  float* const* const coef[3] = {o.m_pPmlCoefX, o.m_pPmlCoefY, o.m_pPmlCoefZ};
  SetPmlSides(c, o.m_pPmlMem, coef);
}

// Taper factors by x for each distance ry of a row (ry < frame), and in the
// last table for rows inside the frame in y and z. Entry 1 where no taper acts.
inline std::vector<float> MakeDampTables(const TFdGrid& g) {
  std::vector<float> t((size_t)(g.nFrame + 1) * g.nx, 1.0f);
  for (int ry = 0; ry <= g.nFrame; ry++) {
    float* row = &t[(size_t)ry * g.nx];
    for (int x = 0; x < g.nx; x++) {
      const int r = std::min(std::min(x, g.nx - 1 - x), ry);
      if (r < g.nFrame)
        row[x] = g.pDamp[r];
    }
  }
  return t;
}

// The divergence probe: one point in the middle of each row.
inline bool RowIsNaN(const TFdGrid& g, const float* pProbe, int z, int y, int x0, int x1) {
  return IsDivergedBits(pProbe[g.Index(z, y, x0 + (x1 - x0) / 2)]);
}

// Rows that a small grid puts into both zones of one axis, or every row when
// the two x zones meet, take the per-point path. gz: global plane.
inline bool PointwisePmlRow(const TFdGrid& g, int gz, int y) {
  const int N = g.nPml, s = g.nStart;
  return (PmlLowLayer(y, N, s) >= 0 && PmlHighLayer(y, g.ny, N, s) >= 0) ||
         (PmlLowLayer(gz, N, s) >= 0 && PmlHighLayer(gz, g.nzAll, N, s) >= 0) || N + s - 1 >= g.nx - N - s;
}

} // namespace fd

// A loop whose iterations are independent, to be vectorised without alias
// checks. Not an OpenMP simd loop under GCC: its lowering gives every local of
// the body whose address is taken (the derivatives a policy fills) an array
// per lane in memory, which defeats the vectorisation.
#if defined(__clang__)
#define FD_SIMD _Pragma("clang loop vectorize(assume_safety)")
#elif defined(__GNUC__)
#define FD_SIMD _Pragma("GCC ivdep")
#else
#define FD_SIMD _Pragma("omp simd")
#endif

#if defined(__GNUC__)
#define FD_PREFETCH(p, rw) __builtin_prefetch((p), (rw))
#define FD_VECTOR_TYPES 1 // vector types of the vector_size attribute (GCC, Clang)
#else
#define FD_PREFETCH(p, rw) ((void)(p))
#define FD_VECTOR_TYPES 0
#endif

// The hint of the row loops cannot be followed by a policy with a loop of its
// own per point (viscoelastic mechanisms); Clang would warn of each such row.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wpass-failed"
#endif
namespace fd {
namespace rows_base {
#if FD_VECTOR_TYPES && defined(__AVX__)
typedef float VF __attribute__((vector_size(32)));
typedef int VI __attribute__((vector_size(32)));
#elif FD_VECTOR_TYPES
typedef float VF __attribute__((vector_size(16)));
typedef int VI __attribute__((vector_size(16)));
#else
typedef float VF;
#endif
#include "FDStepRows.h"
} // namespace rows_base
} // namespace fd

// The same loops for processors with AVX2, chosen at run time: the steps are
// partly bound by arithmetic, and the wider vectors shorten them. A build for
// the native processor has no need of it.
#if defined(__x86_64__) && FD_VECTOR_TYPES && !defined(__AVX2__)
#define FD_ROWS_AVX2 1
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif
namespace fd {
namespace rows_avx2 {
typedef float VF __attribute__((vector_size(32)));
typedef int VI __attribute__((vector_size(32)));
#include "FDStepRows.h"
} // namespace rows_avx2
} // namespace fd
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif
#endif
// And for processors with AVX-512: twice the points an instruction again,
// which matters for the steps with many differences a point (elastic).
#if defined(__x86_64__) && FD_VECTOR_TYPES && !defined(__AVX512F__)
#define FD_ROWS_AVX512 1
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx512f,avx512vl,avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx512f,avx512vl,avx2")
#endif
namespace fd {
namespace rows_avx512 {
typedef float VF __attribute__((vector_size(64)));
typedef int VI __attribute__((vector_size(64)));
#include "FDStepRows.h"
} // namespace rows_avx512
} // namespace fd
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif
#endif
#if defined(__clang__)
#pragma clang diagnostic pop
#endif

namespace fd {

template <class P> using TPlaneFn = bool (*)(const TFdStep<P>&, const float*, int, int, int, int, int);

// The widest row loops the processor runs: 2 AVX-512, 1 AVX2, 0 the base
// set. KELVO_ROWS=base, avx2 or avx512 in the environment caps the choice
// (for comparisons).
inline int RowsLevel() {
  static const int nLevel = [] {
    int n = 0;
#ifdef FD_ROWS_AVX2
    if (__builtin_cpu_supports("avx2"))
      n = 1;
#endif
#ifdef FD_ROWS_AVX512
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl"))
      n = 2;
#endif
    const char* sz = std::getenv("KELVO_ROWS");
    if (sz && !std::strcmp(sz, "base"))
      n = 0;
    else if (sz && !std::strcmp(sz, "avx2"))
      n = std::min(n, 1);
    return n;
  }();
  return nLevel;
}

template <class P> TPlaneFn<P> SelectPlane() {
  switch (RowsLevel()) {
#ifdef FD_ROWS_AVX512
  case 2: return rows_avx512::Plane<P>;
#endif
#ifdef FD_ROWS_AVX2
  case 1: return rows_avx2::Plane<P>;
#endif
  default: return rows_base::Plane<P>;
  }
}

// One half-step over the rows y0..y1, points x0..x1 of any plane: the row
// loops of the processor and the taper tables, set up once.
template <class P> class TPlaneStep {
public:
  TPlaneStep(const TFdStep<P>& c, int nY0, int nY1, int nX0, int nX1)
      : m_c(c), m_fn(SelectPlane<P>()), m_nY0(nY0), m_nY1(nY1), m_nX0(nX0), m_nX1(nX1) {
    if (!c.g.bPml)
      m_vTables = MakeDampTables(c.g);
  }
  // Plane z; true where the probe found a diverged value.
  bool operator()(int z) const {
    return m_fn(m_c, m_vTables.empty() ? nullptr : m_vTables.data(), z, m_nY0, m_nY1, m_nX0, m_nX1);
  }
  // Share `part` of `parts` of the rows of plane z.
  bool Part(int z, int part, int parts) const {
    const long n = m_nY1 - m_nY0 + 1;
    const int ya = m_nY0 + (int)(n * part / parts), yb = m_nY0 + (int)(n * (part + 1) / parts) - 1;
    if (ya > yb || m_nX0 > m_nX1)
      return false;
    return m_fn(m_c, m_vTables.empty() ? nullptr : m_vTables.data(), z, ya, yb, m_nX0, m_nX1);
  }

private:
  const TFdStep<P>& m_c;
  TPlaneFn<P> m_fn;
  std::vector<float> m_vTables;
  int m_nY0, m_nY1, m_nX0, m_nX1;
};

// The planes of one half-step at each level of a pass (RunBlocked): level j
// over the bounds of box[j]. Called as u(s, z, part, parts).
template <class P> class TLevelPlanes {
public:
  TLevelPlanes(const TFdStep<P>& c, const TStepBox* box, int n) {
    m_v.reserve(n);
    for (int j = 0; j < n; j++)
      m_v.emplace_back(c, box[j].nY0, box[j].nY1, box[j].nX0, box[j].nX1);
  }
  bool operator()(int s, int z, int part, int parts) const { return m_v[s].Part(z, part, parts); }

private:
  std::vector<TPlaneStep<P>> m_v;
};

// One half-step over the inclusive box; CALC_UNSTABLE where the probe found
// a diverged value, else 0.
template <class P> int RunStep(const TFdStep<P>& c, int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  bool bNaN = false;
  if (nZ0 > nZ1 || nY0 > nY1 || nX0 > nX1)
    return 0;
  const TPlaneStep<P> plane(c, nY0, nY1, nX0, nX1);
#pragma omp parallel for schedule(static) reduction(|| : bNaN)
  for (int z = nZ0; z <= nZ1; z++) {
    if (plane(z))
      bNaN = true;
  }
  return bNaN ? CALC_UNSTABLE : 0;
}

// Both half-steps of a time step in one pass over the planes. Each thread
// takes a run of planes [a, b) and follows the velocity update of plane k
// with the stress update of plane k - kFuseLag, whose new velocities (up to
// two planes away) are then all done and still in the cache, and whose old
// stresses no later velocity update of the run reads: every array streams
// through memory once a step instead of twice. The stresses of the two
// planes at each end of a run need the velocities of the neighbouring run;
// they are done after all threads have met. The arithmetic of each point is
// that of the two separate half-steps. u(z) and t(z) run one plane and return
// true where their probe found a diverged value.
constexpr int kFuseLag = 3;

template <class FU, class FT> int RunFused(int nZ0, int nZ1, const FU& u, const FT& t) {
  bool bNaN = false;
  if (nZ0 > nZ1)
    return 0;
  const long n = nZ1 - nZ0 + 1;
#pragma omp parallel reduction(|| : bNaN)
  {
    const int nt = omp_get_num_threads(), id = omp_get_thread_num();
    const int a = nZ0 + (int)(n * id / nt), b = nZ0 + (int)(n * (id + 1) / nt);
    // Inner planes, both of whose neighbours of the stress stencil are in the run.
    const int ia = a + 2, ib = b - 2;
    for (int k = a; k < b; k++) {
      if (u(k))
        bNaN = true;
      const int j = k - kFuseLag;
      if (j >= ia && j < ib && t(j))
        bNaN = true;
    }
    for (int j = std::max(ia, b - kFuseLag); j < ib; j++)
      if (t(j))
        bNaN = true;
#pragma omp barrier
    for (int j = a; j < b; j++) {
      if (j >= ia && j < ib)
        j = ib;
      if (j < b && t(j))
        bNaN = true;
    }
  }
  return bNaN ? CALC_UNSTABLE : 0;
}

// Several time steps in one pass over the planes (temporal blocking): level
// s of nLevels advances the fields from the end of step s - 1 to the end of
// step s. In iteration k level s takes the velocity update of plane
// k - s * kLevelLag and the stress update of the plane kFuseLag behind it;
// the threads share the rows of each plane and meet after each iteration.
// Both updates of a plane read the other half-step's fields up to two planes
// away, so within an iteration no update reads what another writes, and a
// level trails the one before it by the planes those reads need: the planes
// between the first and the last level (a few dozen) stay in the cache, and
// the arrays stream through memory once for all levels. The arithmetic of
// each point is that of separate steps. u(s, z, part, parts) and
// t(s, z, part, parts) run part `part` of `parts` of the rows of plane z at
// level s and return true where their probe found a diverged value.
constexpr int kLevelLag = 2 * kFuseLag;

template <class FU, class FT> int RunBlocked(int nZ0, int nZ1, int nLevels, const FU& u, const FT& t) {
  bool bNaN = false;
  if (nZ0 > nZ1 || nLevels < 1)
    return 0;
  const int kEnd = nZ1 + (nLevels - 1) * kLevelLag + kFuseLag;
#pragma omp parallel reduction(|| : bNaN)
  {
    const int nt = omp_get_num_threads(), id = omp_get_thread_num();
    for (int k = nZ0; k <= kEnd; k++) {
      for (int s = 0; s < nLevels; s++) {
        const int zu = k - s * kLevelLag, zt = zu - kFuseLag;
        if (zu >= nZ0 && zu <= nZ1 && u(s, zu, id, nt))
          bNaN = true;
        if (zt >= nZ0 && zt <= nZ1 && t(s, zt, id, nt))
          bNaN = true;
      }
#pragma omp barrier
    }
  }
  return bNaN ? CALC_UNSTABLE : 0;
}

// The same with every point on the per-point path: slow, the reference of
// the row loops.
template <class P> int RunStepPointwise(const TFdStep<P>& c, int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  bool bNaN = false;
  if (nZ0 > nZ1 || nY0 > nY1 || nX0 > nX1)
    return 0;
  const float* pProbe = c.ph.Probe();
#pragma omp parallel for schedule(static) reduction(|| : bNaN)
  for (int z = nZ0; z <= nZ1; z++) {
    for (int y = nY0; y <= nY1; y++) {
      for (int x = nX0; x <= nX1; x++)
        StepPoint(c.ph, c.g, c.side, z, y, x);
      if (pProbe && RowIsNaN(c.g, pProbe, z, y, nX0, nX1))
        bNaN = true;
    }
  }
  return bNaN ? CALC_UNSTABLE : 0;
}

} // namespace fd
