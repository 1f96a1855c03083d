// The update of one grid point by a step of any method, over a small view of
// the grid: the step's own formulas come from a physics policy, the boundary
// treatment (PML recursion or taper) is the same for all.
//
// A physics policy P describes one half-step of one method:
//   static constexpr int kDer;             derivatives a point takes
//   FD_HD static constexpr int Mem(int j); PML memory array (low side) of
//                                          derivative j; its axis and operator
//                                          are those of that array (FDLayout.h)
//   FD_HD const float* Src(int j) const;   field derivative j is taken of
//   FD_HD void Derivs(ptrdiff_t i, ptrdiff_t sy, ptrdiff_t sz, float* d) const;
//                                          the derivatives of point i: the base
//                                          TPlainDerivs gives the differences
//                                          of Src (averages over a cell need a
//                                          Derivs of their own)
//   template <bool TAPER> FD_HD void Update(ptrdiff_t i, const float* d, float f) const;
//                                          the update of point i from the
//                                          corrected derivatives d, with the
//                                          taper factor f where TAPER is set
//   const float* Probe() const;            field whose divergence is tested
//                                          after each row, or null (host)
//   static constexpr bool kDeferX;         the update is linear in every x
//                                          derivative j: it adds XWeight(j) * d
//                                          to XTarget(j), so the host may add
//                                          the x corrections in a pass of
//                                          their own; then also
//   FD_HD float* XTarget(int j) const;  FD_HD const float* XWeight(int j) const;
#pragma once

#include "FDScheme.h"

namespace fd {

// What a step needs to know of the grid. Index of (x, y, z): z * sz + y * sy + x.
struct TFdGrid {
  int nx, ny, nz;   // local array
  int nzAll, z0;    // planes of the whole grid, global plane of local plane 0
  ptrdiff_t sy, sz; // strides of y and z
  bool bPml;        // PML recursion (else the taper of the frame)
  int nPml, nStart; // PML layers, first updated index of an axis
  int nFrame;       // taper entries in force (0: none)
  const float* pDamp;

  FD_HD ptrdiff_t Index(int z, int y, int x) const { return (ptrdiff_t)z * sz + (ptrdiff_t)y * sy + x; }
};

// One side of one derivative's PML: memory and the (a, b) coefficients, all
// on the slab of the derivative's axis.
struct TPmlSide {
  float* m;
  const float* a;
  const float* b;
};

// Everything a half-step needs, gathered once per call: passed by
// value to a device kernel as well.
template <class P> struct TFdStep {
  P ph;                      // fields and formulas
  TFdGrid g;                 // sizes and boundary treatment
  TPmlSide side[P::kDer][2]; // PML of each derivative: low, high side
};

// The grid view of a local array of nx x ny x nz points (x fastest) whose
// plane 0 is global plane z0 of nzAll. nFrame is cut to the taper table.
inline TFdGrid MakeFdGrid(int nx, int ny, int nz, int nzAll, int z0, bool bPml, int nPml, int nStart, int nFrame,
                          const float* pDamp) {
  TFdGrid g;
  g.nx = nx;
  g.ny = ny;
  g.nz = nz;
  g.nzAll = nzAll > 0 ? nzAll : nz;
  g.z0 = z0;
  g.sy = nx;
  g.sz = (ptrdiff_t)nx * ny;
  g.bPml = bPml;
  g.nPml = nPml;
  g.nStart = nStart;
  g.nFrame = nFrame < kTaperWidth ? nFrame : kTaperWidth;
  g.pDamp = pDamp;
  return g;
}

// Points the PML sides of each derivative at its memory arrays (mem, by
// index) and at the coefficient slabs of its axis (coef[axis][8]). Where one
// is missing the step runs without PML, and without the taper either.
template <class P> void SetPmlSides(TFdStep<P>& c, float* const* mem, float* const* const coef[3]) {
  if (!c.g.bPml)
    return;
  for (int j = 0; j < P::kDer; j++) {
    const TPmlMemInfo mi = PmlMem(P::Mem(j));
    for (int h = 0; h < 2; h++) {
      TPmlSide& sd = c.side[j][h];
      sd.m = mem[P::Mem(j) + h];
      sd.a = coef[mi.nAxis][PmlCoefA(mi.bForward, h == 1)];
      sd.b = coef[mi.nAxis][PmlCoefB(mi.bForward, h == 1)];
      if (!sd.m || !sd.a || !sd.b)
        c.g.bPml = false;
    }
  }
  if (!c.g.bPml)
    c.g.nFrame = 0;
}

// Axis of derivative j of policy P.
template <class P> FD_HD constexpr int DerAxis(int j) { return PmlMem(P::Mem(j)).nAxis; }

// The plain differences of a point: derivative J of field Src(J) along its
// axis, for J = 0 .. kDer - 1 (one instance per derivative, so that axis and
// operator are known when the loop is compiled).
template <class P, int J = 0>
FD_HD FD_INLINE void PlainDerivs(const P& ph, ptrdiff_t i, ptrdiff_t sy, ptrdiff_t sz, float* d) {
  if constexpr (J < P::kDer) {
    constexpr int ax = DerAxis<P>(J);
    d[J] = DOf<P::Mem(J)>(ph.Src(J) + i, ax == 0 ? 1 : (ax == 1 ? sy : sz));
    PlainDerivs<P, J + 1>(ph, i, sy, sz, d);
  }
}

// Slab entry of a point in layer l of the slab normal to an axis.
FD_HD inline size_t PmlSlabEntry(const TFdGrid& g, int nAxis, int z, int y, int x, int l) {
  if (nAxis == 0)
    return PmlSlabX(z, y, l, g.ny, g.nPml);
  if (nAxis == 1)
    return PmlSlabY(z, x, l, g.nx, g.nPml);
  return PmlSlabZ(y, x, l, g.nx, g.ny);
}

// The side corrections of all derivatives of a point, by per-point tests: a
// derivative is corrected by the low and then the high side of its own axis.
template <class P>
FD_HD inline void PmlPoint(const TFdGrid& g, const TPmlSide (*side)[2], int z, int y, int x, float* d) {
  const int gz = z + g.z0, N = g.nPml, s = g.nStart;
  const int lo[3] = {PmlLowLayer(x, N, s), PmlLowLayer(y, N, s), PmlLowLayer(gz, N, s)};
  const int hi[3] = {PmlHighLayer(x, g.nx, N, s), PmlHighLayer(y, g.ny, N, s), PmlHighLayer(gz, g.nzAll, N, s)};
  for (int j = 0; j < P::kDer; j++) {
    const int ax = DerAxis<P>(j);
    for (int h = 0; h < 2; h++) {
      const int l = h == 0 ? lo[ax] : hi[ax];
      if (l < 0)
        continue;
      const size_t e = PmlSlabEntry(g, ax, z, y, x, l);
      const TPmlSide& sd = side[j][h];
      d[j] = PmlCorrect(d[j], sd.m[e], sd.a[e], sd.b[e]);
    }
  }
}

// The whole update of one point (z is the local plane): differences, then
// the PML corrections or the taper of the frame, then the policy's update.
template <class P>
FD_HD inline void StepPoint(const P& ph, const TFdGrid& g, const TPmlSide (*side)[2], int z, int y, int x) {
  const ptrdiff_t i = g.Index(z, y, x);
  float d[P::kDer];
  ph.Derivs(i, g.sy, g.sz, d);
  if (g.bPml) {
    PmlPoint<P>(g, side, z, y, x, d);
  } else {
    const int r = EdgeDistance(x, y, z + g.z0, g.nx, g.ny, g.nzAll);
    if (r < g.nFrame) {
      ph.template Update<true>(i, d, g.pDamp[r]);
      return;
    }
  }
  ph.template Update<false>(i, d, 1.0f);
}

// Base of the policies whose derivatives are plain differences of Src.
template <class P> struct TPlainDerivs {
  FD_HD FD_INLINE void Derivs(ptrdiff_t i, ptrdiff_t sy, ptrdiff_t sz, float* d) const {
    PlainDerivs(static_cast<const P&>(*this), i, sy, sz, d);
  }
};

} // namespace fd
