// Host acoustic step: velocity and pressure half-steps of the 4th-order
// staggered scheme, with the PML recursion or the taper of the frame.
//
// Each row (one z, one y) of a box is cut into the x zones of the PML or
// taper and the interior between them. Every piece runs a loop generated for
// its exact set of corrections, so that the interior loop has no branch and
// the border loops test nothing per point. Rows that a small grid puts into
// both zones of one axis take the general per-point path.
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

// Velocity update of the points xs..xe of a row starting at index `row`.
// XS: 0 no x correction, 1 the low x side, 2 the high x side. YP, ZP: one
// y or z side applies to the whole row. DAMP: taper by fac[x] before the update.
template <int XS, bool YP, bool ZP, bool DAMP>
void URow(float* __restrict vx, float* __restrict vy, float* __restrict vz, const float* __restrict p,
          const float* __restrict b, size_t row, ptrdiff_t sy, ptrdiff_t sz, ptrdiff_t xs, ptrdiff_t xe, PmlLine lx,
          PmlLine ly, PmlLine lz, const float* __restrict fac) {
  vx += row, vy += row, vz += row, p += row, b += row;
  float* __restrict mx = lx.m + lx.off;
  const float* __restrict ax = lx.a + lx.off;
  const float* __restrict bx = lx.b + lx.off;
  float* __restrict my = ly.m + ly.off;
  const float* __restrict ay = ly.a + ly.off;
  const float* __restrict by = ly.b + ly.off;
  float* __restrict mz = lz.m + lz.off;
  const float* __restrict az = lz.a + lz.off;
  const float* __restrict bz = lz.b + lz.off;
#pragma omp simd
  for (ptrdiff_t x = xs; x <= xe; x++) {
    float dx = fd::DMinus(p + x, 1);
    float dy = fd::DMinus(p + x, sy);
    float dz = fd::DMinus(p + x, sz);
    if (XS != 0) {
      const ptrdiff_t e = XS == 1 ? x : -x;
      dx = fd::PmlCorrect(dx, mx[e], ax[e], bx[e]);
    }
    if (YP)
      dy = fd::PmlCorrect(dy, my[x], ay[x], by[x]);
    if (ZP)
      dz = fd::PmlCorrect(dz, mz[x], az[x], bz[x]);
    float ux = vx[x], uy = vy[x], uz = vz[x];
    if (DAMP) {
      const float f = fac[x];
      ux *= f;
      uy *= f;
      uz *= f;
    }
    const float bb = b[x];
    vx[x] = ux + bb * dx;
    vy[x] = uy + bb * dy;
    vz[x] = uz + bb * dz;
  }
}

// Pressure update of a row piece; as URow, with the taper after the update.
template <int XS, bool YP, bool ZP, bool DAMP>
void TauRow(const float* __restrict vx, const float* __restrict vy, const float* __restrict vz, float* __restrict p,
            const float* __restrict k, size_t row, ptrdiff_t sy, ptrdiff_t sz, ptrdiff_t xs, ptrdiff_t xe, PmlLine lx,
            PmlLine ly, PmlLine lz, const float* __restrict fac) {
  vx += row, vy += row, vz += row, p += row, k += row;
  float* __restrict mx = lx.m + lx.off;
  const float* __restrict ax = lx.a + lx.off;
  const float* __restrict bx = lx.b + lx.off;
  float* __restrict my = ly.m + ly.off;
  const float* __restrict ay = ly.a + ly.off;
  const float* __restrict by = ly.b + ly.off;
  float* __restrict mz = lz.m + lz.off;
  const float* __restrict az = lz.a + lz.off;
  const float* __restrict bz = lz.b + lz.off;
#pragma omp simd
  for (ptrdiff_t x = xs; x <= xe; x++) {
    float dx = fd::DPlus(vx + x, 1);
    float dy = fd::DPlus(vy + x, sy);
    float dz = fd::DPlus(vz + x, sz);
    if (XS != 0) {
      const ptrdiff_t e = XS == 1 ? x : -x;
      dx = fd::PmlCorrect(dx, mx[e], ax[e], bx[e]);
    }
    if (YP)
      dy = fd::PmlCorrect(dy, my[x], ay[x], by[x]);
    if (ZP)
      dz = fd::PmlCorrect(dz, mz[x], az[x], bz[x]);
    float v = p[x] + k[x] * (dx + dy + dz);
    if (DAMP)
      v *= fac[x];
    p[x] = v;
  }
}

// Selects the loop of a row piece by its corrections.
template <bool TAU, int XS, bool YP, bool ZP, bool DAMP>
inline void RowPiece(const AcoCtx& c, size_t row, int xs, int xe, const PmlLine& lx, const PmlLine& ly,
                     const PmlLine& lz, const float* fac) {
  if (xs > xe)
    return;
  if (TAU)
    TauRow<XS, YP, ZP, DAMP>(c.vx, c.vy, c.vz, c.p, c.k, row, c.sy, c.sz, xs, xe, lx, ly, lz, fac);
  else
    URow<XS, YP, ZP, DAMP>(c.vx, c.vy, c.vz, c.p, c.b, row, c.sy, c.sz, xs, xe, lx, ly, lz, fac);
}

// The x correction of the points xs..xe of a row in an x zone, after the row
// has been updated with the plain x derivative: the memory takes the
// derivative, and the update gets its share of the memory. XS 1: low side,
// 2: high side.
template <bool TAU, int XS>
void XCorrection(const AcoCtx& c, size_t row, ptrdiff_t xs, ptrdiff_t xe, const PmlLine& l) {
  float* __restrict m = l.m + l.off;
  const float* __restrict a = l.a + l.off;
  const float* __restrict b = l.b + l.off;
  if (TAU) {
    const float* __restrict vx = c.vx + row;
    const float* __restrict k = c.k + row;
    float* __restrict p = c.p + row;
#pragma omp simd
    for (ptrdiff_t x = xs; x <= xe; x++) {
      const ptrdiff_t e = XS == 1 ? x : -x;
      const float d = fd::DPlus(vx + x, 1);
      m[e] = b[e] * m[e] + a[e] * d;
      p[x] += k[x] * m[e];
    }
  } else {
    const float* __restrict p = c.p + row;
    const float* __restrict bb = c.b + row;
    float* __restrict vx = c.vx + row;
#pragma omp simd
    for (ptrdiff_t x = xs; x <= xe; x++) {
      const ptrdiff_t e = XS == 1 ? x : -x;
      const float d = fd::DMinus(p + x, 1);
      m[e] = b[e] * m[e] + a[e] * d;
      vx[x] += bb[x] * m[e];
    }
  }
}

// A PML row: one loop over the whole row with the y and z corrections, then
// the x corrections of the points in the x zones.
template <bool TAU, bool YP, bool ZP>
inline void PmlRowPieces(const AcoCtx& c, size_t row, int x0, int x1, int xLowEnd, int xHighBeg, const PmlLine& lxLow,
                         const PmlLine& lxHigh, const PmlLine& ly, const PmlLine& lz) {
  RowPiece<TAU, 0, YP, ZP, false>(c, row, x0, x1, lxLow, ly, lz, nullptr);
  if (x0 <= xLowEnd)
    XCorrection<TAU, 1>(c, row, x0, std::min(x1, xLowEnd), lxLow);
  if (x1 >= xHighBeg)
    XCorrection<TAU, 2>(c, row, std::max(x0, xHighBeg), x1, lxHigh);
}

// One row of a step with PML on, cut into its x zones.
template <bool TAU> void PmlRow(const AcoCtx& c, int z, int y, int x0, int x1) {
  const int N = c.nPml, s = c.s;
  const int g = z + c.z0;
  const size_t row = ((size_t)z * c.ny + y) * c.nx;
  const int yl = fd::PmlLowLayer(y, N, s), yh = fd::PmlHighLayer(y, c.ny, N, s);
  const int zl = fd::PmlLowLayer(g, N, s), zh = fd::PmlHighLayer(g, c.nzAll, N, s);
  const int xLowEnd = N + s - 1;     // last x of the low zone
  const int xHighBeg = c.nx - N - s; // first x of the high zone
  if ((yl >= 0 && yh >= 0) || (zl >= 0 && zh >= 0) || xLowEnd >= xHighBeg) {
    for (int x = x0; x <= x1; x++) {
      if (TAU)
        TauPoint(c, z, y, x);
      else
        UPoint(c, z, y, x);
    }
    return;
  }
  PmlLine lxLow, lxHigh, ly, lz;
  const ptrdiff_t rowX = ((ptrdiff_t)z * c.ny + y) * N;
  lxLow = {c.side[0][0].m, c.side[0][0].a, c.side[0][0].b, rowX - s};
  lxHigh = {c.side[0][1].m, c.side[0][1].a, c.side[0][1].b, rowX + c.nx - s - 1};
  const bool bY = yl >= 0 || yh >= 0;
  const bool bZ = zl >= 0 || zh >= 0;
  if (bY) {
    const PmlSide& sd = c.side[1][yl >= 0 ? 0 : 1];
    ly = {sd.m, sd.a, sd.b, ((ptrdiff_t)z * N + (yl >= 0 ? yl : yh)) * c.nx};
  }
  if (bZ) {
    const PmlSide& sd = c.side[2][zl >= 0 ? 0 : 1];
    lz = {sd.m, sd.a, sd.b, ((ptrdiff_t)(zl >= 0 ? zl : zh) * c.ny + y) * c.nx};
  }
  if (bY && bZ)
    PmlRowPieces<TAU, true, true>(c, row, x0, x1, xLowEnd, xHighBeg, lxLow, lxHigh, ly, lz);
  else if (bY)
    PmlRowPieces<TAU, true, false>(c, row, x0, x1, xLowEnd, xHighBeg, lxLow, lxHigh, ly, lz);
  else if (bZ)
    PmlRowPieces<TAU, false, true>(c, row, x0, x1, xLowEnd, xHighBeg, lxLow, lxHigh, ly, lz);
  else
    PmlRowPieces<TAU, false, false>(c, row, x0, x1, xLowEnd, xHighBeg, lxLow, lxHigh, ly, lz);
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

// One row of a step with the taper frame.
template <bool TAU> void DampRow(const AcoCtx& c, const float* tables, int z, int y, int x0, int x1) {
  const int g = z + c.z0;
  const size_t row = ((size_t)z * c.ny + y) * c.nx;
  const int ry = std::min(std::min(y, c.ny - 1 - y), std::min(g, c.nzAll - 1 - g));
  const PmlLine none;
  if (ry < c.frame) {
    RowPiece<TAU, 0, false, false, true>(c, row, x0, x1, none, none, none, tables + (size_t)ry * c.nx);
    return;
  }
  const float* fac = tables + (size_t)c.frame * c.nx;
  const int xa = c.frame, xb = c.nx - c.frame - 1;
  if (xa > xb) {
    RowPiece<TAU, 0, false, false, true>(c, row, x0, x1, none, none, none, fac);
    return;
  }
  RowPiece<TAU, 0, false, false, true>(c, row, x0, std::min(x1, xa - 1), none, none, none, fac);
  RowPiece<TAU, 0, false, false, false>(c, row, std::max(x0, xa), std::min(x1, xb), none, none, none, nullptr);
  RowPiece<TAU, 0, false, false, true>(c, row, std::max(x0, xb + 1), x1, none, none, none, fac);
}

// The NaN probe of the pressure step: one point in the middle of each row.
inline bool RowIsNaN(const AcoCtx& c, int z, int y, int x0, int x1) {
  const int xm = x0 + (x1 - x0) / 2;
  return fd::IsNaNBits(c.p[((size_t)z * c.ny + y) * c.nx + xm]);
}

template <bool TAU> int RunStep(const AcoCtx& c, int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  bool bNaN = false;
  if (nZ0 > nZ1 || nY0 > nY1 || nX0 > nX1)
    return 0;
  std::vector<float> tables;
  if (!c.pml)
    tables = MakeDampTables(c);
  const float* pTables = tables.empty() ? nullptr : tables.data();
#pragma omp parallel for schedule(static) reduction(|| : bNaN)
  for (int z = nZ0; z <= nZ1; z++) {
    for (int y = nY0; y <= nY1; y++) {
      if (c.pml)
        PmlRow<TAU>(c, z, y, nX0, nX1);
      else
        DampRow<TAU>(c, pTables, z, y, nX0, nX1);
      if (TAU && RowIsNaN(c, z, y, nX0, nX1))
        bNaN = true;
    }
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
