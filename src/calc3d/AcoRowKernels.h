// Row loops of the host acoustic step. Included twice by Calc3D_OMP_Aco.cpp,
// inside two namespaces compiled for different instruction sets; it relies on
// the types and helpers defined there and has no include guard on purpose.

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

// Whole-vector helpers of the x corrections: VF and VI are the float and int
// vector types of the instruction set (defined by the includer), kW floats wide.
constexpr int kW = (int)(sizeof(VF) / sizeof(float));
inline VF Ld(const float* p) {
  VF v;
  __builtin_memcpy(&v, p, sizeof(v));
  return v;
}
inline void St(float* p, VF v) { __builtin_memcpy(p, &v, sizeof(v)); }
inline VF Rev(VF v) {
  VI idx;
  for (int i = 0; i < kW; i++)
    idx[i] = kW - 1 - i;
  return __builtin_shuffle(v, idx);
}
// kW slab entries of the points from x on: in order on the low side, in
// reverse on the high side (entry of point x at -x).
template <int XS> inline VF LdSlab(const float* q, ptrdiff_t x) {
  return XS == 1 ? Ld(q + x) : Rev(Ld(q - x - (kW - 1)));
}
template <int XS> inline void StSlab(float* q, ptrdiff_t x, VF v) {
  if (XS == 1)
    St(q + x, v);
  else
    St(q - x - (kW - 1), Rev(v));
}
// XCorrection in whole vectors: the short x zones would otherwise spend
// most of their time in the scalar remainder. Each point's result depends
// only on its own old values and on fields the half-step does not write, so
// the last vector may overlap the one before it: it is worked out first and
// stored last. Same operations in the same order as XCorrection.
template <bool TAU, int XS>
void XCorrectionV(const AcoCtx& c, size_t row, ptrdiff_t xs, ptrdiff_t xe, const PmlLine& l) {
  if (xe - xs + 1 < kW) {
    XCorrection<TAU, XS>(c, row, xs, xe, l);
    return;
  }
  float* m = l.m + l.off;
  const float* a = l.a + l.off;
  const float* b = l.b + l.off;
  const float* src = TAU ? c.vx + row : c.p + row;
  const float* w = TAU ? c.k + row : c.b + row;
  float* dst = TAU ? c.p + row : c.vx + row;
  const VF b1 = VF{} + fd::kBeta1, b2 = VF{} + fd::kBeta2;
  auto chunk = [&](ptrdiff_t x, VF& mn, VF& un) {
    VF d;
    if (TAU)
      d = b1 * (Ld(src + x + 1) - Ld(src + x)) + b2 * (Ld(src + x + 2) - Ld(src + x - 1));
    else
      d = b1 * (Ld(src + x) - Ld(src + x - 1)) + b2 * (Ld(src + x + 1) - Ld(src + x - 2));
    mn = LdSlab<XS>(b, x) * LdSlab<XS>(m, x) + LdSlab<XS>(a, x) * d;
    un = Ld(dst + x) + Ld(w + x) * mn;
  };
  const ptrdiff_t xt = xe - (kW - 1);
  VF mt, ut;
  chunk(xt, mt, ut);
  for (ptrdiff_t x = xs; x < xt; x += kW) {
    VF mn, un;
    chunk(x, mn, un);
    StSlab<XS>(m, x, mn);
    St(dst + x, un);
  }
  StSlab<XS>(m, xt, mt);
  St(dst + xt, ut);
}

// Rows that a small grid puts into both zones of one axis, or every row when
// the two x zones meet, take the general per-point path. g: global plane.
inline bool PointwisePmlRow(const AcoCtx& c, int g, int y) {
  const int N = c.nPml, s = c.s;
  return (fd::PmlLowLayer(y, N, s) >= 0 && fd::PmlHighLayer(y, c.ny, N, s) >= 0) ||
         (fd::PmlLowLayer(g, N, s) >= 0 && fd::PmlHighLayer(g, c.nzAll, N, s) >= 0) || N + s - 1 >= c.nx - N - s;
}

// One row of a step with PML on: one loop over the row with the plain x
// derivative and the y and z corrections. The x corrections follow for the
// whole plane in PmlXPass.
template <bool TAU> void PmlRow(const AcoCtx& c, int z, int y, int x0, int x1) {
  const int N = c.nPml, s = c.s;
  const int g = z + c.z0;
  const size_t row = ((size_t)z * c.ny + y) * c.nx;
  if (PointwisePmlRow(c, g, y)) {
    for (int x = x0; x <= x1; x++) {
      if (TAU)
        TauPoint(c, z, y, x);
      else
        UPoint(c, z, y, x);
    }
    return;
  }
  const int yl = fd::PmlLowLayer(y, N, s), yh = fd::PmlHighLayer(y, c.ny, N, s);
  const int zl = fd::PmlLowLayer(g, N, s), zh = fd::PmlHighLayer(g, c.nzAll, N, s);
  const PmlLine none;
  PmlLine ly, lz;
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
    RowPiece<TAU, 0, true, true, false>(c, row, x0, x1, none, ly, lz, nullptr);
  else if (bY)
    RowPiece<TAU, 0, true, false, false>(c, row, x0, x1, none, ly, lz, nullptr);
  else if (bZ)
    RowPiece<TAU, 0, false, true, false>(c, row, x0, x1, none, ly, lz, nullptr);
  else
    RowPiece<TAU, 0, false, false, false>(c, row, x0, x1, none, none, none, nullptr);
}

// The x corrections of the rows y0..y1 of plane z, after all of them have
// had their row loop. Done plane by plane rather than right after each row:
// reading back the points a row loop has just stored costs more than taking
// them from the cache a little later, and the x slab of a plane is read in
// one run.
template <bool TAU> void PmlXPass(const AcoCtx& c, int z, int y0, int y1, int x0, int x1) {
  const int N = c.nPml, s = c.s;
  const int g = z + c.z0;
  const int xLowEnd = N + s - 1;     // last x of the low zone
  const int xHighBeg = c.nx - N - s; // first x of the high zone
  const bool bLow = x0 <= xLowEnd, bHigh = x1 >= xHighBeg;
  if (!bLow && !bHigh)
    return;
  for (int y = y0; y <= y1; y++) {
    if (PointwisePmlRow(c, g, y))
      continue;
    const size_t row = ((size_t)z * c.ny + y) * c.nx;
    const ptrdiff_t rowX = ((ptrdiff_t)z * c.ny + y) * N;
    // The slab entries of a row are few and follow those of the row before;
    // fetching them a few rows ahead keeps the pass from waiting on memory.
    const ptrdiff_t ahead = rowX + 4 * N;
    for (int h = 0; h < 2; h++) {
      __builtin_prefetch(c.side[0][h].m + ahead, 1);
      __builtin_prefetch(c.side[0][h].m + ahead + N - 1, 1);
      __builtin_prefetch(c.side[0][h].a + ahead);
      __builtin_prefetch(c.side[0][h].a + ahead + N - 1);
      __builtin_prefetch(c.side[0][h].b + ahead);
      __builtin_prefetch(c.side[0][h].b + ahead + N - 1);
    }
    if (bLow) {
      const PmlLine l = {c.side[0][0].m, c.side[0][0].a, c.side[0][0].b, rowX - s};
      XCorrectionV<TAU, 1>(c, row, x0, std::min(x1, xLowEnd), l);
    }
    if (bHigh) {
      const PmlLine l = {c.side[0][1].m, c.side[0][1].a, c.side[0][1].b, rowX + c.nx - s - 1};
      XCorrectionV<TAU, 2>(c, row, std::max(x0, xHighBeg), x1, l);
    }
  }
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

// Loads the high y slab entries of the rows ya..y1, points x0..x1, of plane z
// once in ascending order. Their rows lie backwards in memory as y grows,
// which the hardware prefetch does not follow: without this the row loops
// would wait on each of them. One load a cache line is enough.
inline void TouchHighYSlab(const AcoCtx& c, int z, int ya, int y1, int x0, int x1) {
  const int N = c.nPml, s = c.s;
  const int i0 = std::max(0, c.ny - 1 - s - y1), i1 = std::min(N - 1, c.ny - 1 - s - ya);
  const PmlSide& sd = c.side[1][1];
  float acc = 0.0f;
  for (int i = i0; i <= i1; i++) {
    const ptrdiff_t e0 = ((ptrdiff_t)z * N + i) * c.nx;
    for (ptrdiff_t e = e0 + x0; e <= e0 + x1; e += 16)
      acc += sd.m[e] + sd.a[e] + sd.b[e];
  }
  volatile float sink = acc;
  (void)sink;
}

// Rows y0..y1, points x0..x1 of plane z, whichever boundary treatment is in
// force. Returns true where the pressure step left a NaN at the probe point in
// the middle of a row.
template <bool TAU> bool Plane(const AcoCtx& c, const float* tables, int z, int y0, int y1, int x0, int x1) {
  if (c.pml) {
    const int yHighBeg = c.ny - c.nPml - c.s; // first row of the high y zone
    int y = y0;
    for (; y <= y1 && y < yHighBeg; y++)
      PmlRow<TAU>(c, z, y, x0, x1);
    if (y <= y1)
      TouchHighYSlab(c, z, y, y1, x0, x1);
    for (; y <= y1; y++)
      PmlRow<TAU>(c, z, y, x0, x1);
    PmlXPass<TAU>(c, z, y0, y1, x0, x1);
  } else {
    for (int y = y0; y <= y1; y++)
      DampRow<TAU>(c, tables, z, y, x0, x1);
  }
  bool bNaN = false;
  if (TAU)
    for (int y = y0; y <= y1; y++)
      bNaN |= RowIsNaN(c, z, y, x0, x1);
  return bNaN;
}
