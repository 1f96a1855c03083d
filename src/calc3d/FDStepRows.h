// Row loops of the host steps for one instruction set. FDStep.h includes this
// file once for each set, inside a namespace of its own that defines VF, the
// float vector type of the set (float itself where the compiler has no vector
// types), and it relies on the types and helpers defined there. No include
// guard on purpose.

template <class T> constexpr int kLanes = (int)(sizeof(T) / sizeof(float));
constexpr int kW = kLanes<VF>;

// Lanes in reverse order.
template <class T> inline T Rev(T v) {
  if constexpr (kLanes<T> == 1) {
    return v;
  } else {
#if defined(__clang__)
    if constexpr (kLanes<T> == 16)
      return __builtin_shufflevector(v, v, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    else if constexpr (kLanes<T> == 8)
      return __builtin_shufflevector(v, v, 7, 6, 5, 4, 3, 2, 1, 0);
    else
      return __builtin_shufflevector(v, v, 3, 2, 1, 0);
#elif FD_VECTOR_TYPES
    VI idx;
    for (int i = 0; i < kW; i++)
      idx[i] = kW - 1 - i;
    return __builtin_shuffle(v, idx);
#endif
  }
}

// Slab entries of the points from x on: in order on the low x side (XS 1),
// in reverse on the high side (XS 2), where the entry of point x is at -x.
template <class T, int XS> inline T LdSlab(const float* q, ptrdiff_t x) {
  T v;
  if (XS == 1)
    Load(v, q + x);
  else
    Load(v, q - x - (kLanes<T> - 1));
  return XS == 1 ? v : Rev(v);
}
template <class T, int XS> inline void StSlab(float* q, ptrdiff_t x, T v) {
  if (XS == 1)
    Store(q + x, v);
  else
    Store(q - x - (kLanes<T> - 1), Rev(v));
}

// The PML corrections of the derivatives J.. of one point whose axis the row
// piece is corrected on: XS 1 or 2 the low or high x side, YP and ZP a y or a
// z side. m, a, b: each derivative's line, shifted to the row.
template <class P, int XS, bool YP, bool ZP, int J = 0>
inline void CorrectPoint(float* d, float* const* m, const float* const* a, const float* const* b, ptrdiff_t x) {
  if constexpr (J < P::kDer) {
    constexpr int ax = DerAxis<P>(J);
    if constexpr ((ax == 0 && XS != 0) || (ax == 1 && YP) || (ax == 2 && ZP)) {
      const ptrdiff_t e = ax == 0 && XS == 2 ? -x : x;
      d[J] = PmlCorrect(d[J], m[J][e], a[J][e], b[J][e]);
    }
    CorrectPoint<P, XS, YP, ZP, J + 1>(d, m, a, b, x);
  }
}

// The update of the points xs..xe of the row that begins at index `row`,
// with the corrections that hold for the whole piece (see CorrectPoint) and,
// with TAPER, the taper factors fac[x]. ln[j]: the line of derivative j.
template <class P, int XS, bool YP, bool ZP, bool TAPER>
void Row(const TFdStep<P>& c, ptrdiff_t row, ptrdiff_t xs, ptrdiff_t xe, const TPmlLine* ln,
         const float* FD_RESTRICT fac) {
  const P ph = c.ph;
  const ptrdiff_t sy = c.g.sy, sz = c.g.sz;
  float* m[P::kDer];
  const float* a[P::kDer];
  const float* b[P::kDer];
  for (int j = 0; j < P::kDer; j++) {
    const bool bOn = ln[j].m != nullptr;
    m[j] = bOn ? ln[j].m + ln[j].off : nullptr;
    a[j] = bOn ? ln[j].a + ln[j].off : nullptr;
    b[j] = bOn ? ln[j].b + ln[j].off : nullptr;
  }
  FD_SIMD
  for (ptrdiff_t x = xs; x <= xe; x++) {
    const ptrdiff_t i = row + x;
    float d[P::kDer];
    ph.Derivs(i, sy, sz, d);
    CorrectPoint<P, XS, YP, ZP>(d, m, a, b, x);
    if (TAPER)
      ph.template Update<true>(i, d, fac[x]);
    else
      ph.template Update<false>(i, d, 1.0f);
  }
}

// Selects the loop of a row piece by its y and z corrections.
template <class P, int XS>
inline void RowYZ(const TFdStep<P>& c, ptrdiff_t row, int xs, int xe, const TPmlLine* ln, bool bY, bool bZ) {
  if (xs > xe)
    return;
  if (bY && bZ)
    Row<P, XS, true, true, false>(c, row, xs, xe, ln, nullptr);
  else if (bY)
    Row<P, XS, true, false, false>(c, row, xs, xe, ln, nullptr);
  else if (bZ)
    Row<P, XS, false, true, false>(c, row, xs, xe, ln, nullptr);
  else
    Row<P, XS, false, false, false>(c, row, xs, xe, ln, nullptr);
}

// The x correction of derivative J at the kLanes<T> points from x on of a row
// already updated with the plain derivative: the memory takes the derivative
// (mn), the update its share of the memory (un, the new value of XTarget).
template <class T, class P, int J, int XS>
inline void XChunk(const P& ph, ptrdiff_t row, ptrdiff_t x, const TPmlLine& l, T& mn, T& un) {
  T d, u, w;
  DOf<P::Mem(J)>(d, ph.Src(J) + row + x, 1);
  mn = LdSlab<T, XS>(l.m + l.off, x);
  PmlMemStep(mn, LdSlab<T, XS>(l.a + l.off, x), LdSlab<T, XS>(l.b + l.off, x), d);
  Load(u, ph.XTarget(J) + row + x);
  Load(w, ph.XWeight(J) + row + x);
  un = u + w * mn;
}

// The x correction of the points xs..xe of a row in an x zone, one point at a time.
template <class P, int J, int XS> void XCorrection(const P& ph, ptrdiff_t row, ptrdiff_t xs, ptrdiff_t xe, TPmlLine l) {
  float* dst = ph.XTarget(J) + row;
  FD_SIMD
  for (ptrdiff_t x = xs; x <= xe; x++) {
    float mn, un;
    XChunk<float, P, J, XS>(ph, row, x, l, mn, un);
    StSlab<float, XS>(l.m + l.off, x, mn);
    dst[x] = un;
  }
}

// The same in whole vectors: the short x zones would otherwise spend most of
// their time in the scalar remainder. Each point's result depends only on its
// own old values and on fields the half-step does not write, so the last
// vector may overlap the one before it: it is worked out first and stored
// last.
template <class P, int J, int XS>
void XCorrectionV(const P& ph, ptrdiff_t row, ptrdiff_t xs, ptrdiff_t xe, TPmlLine l) {
  if (xe - xs + 1 < kW) {
    XCorrection<P, J, XS>(ph, row, xs, xe, l);
    return;
  }
  float* m = l.m + l.off;
  float* dst = ph.XTarget(J) + row;
  const ptrdiff_t xt = xe - (kW - 1);
  VF mt, ut;
  XChunk<VF, P, J, XS>(ph, row, xt, l, mt, ut);
  for (ptrdiff_t x = xs; x < xt; x += kW) {
    VF mn, un;
    XChunk<VF, P, J, XS>(ph, row, x, l, mn, un);
    StSlab<VF, XS>(m, x, mn);
    Store(dst + x, un);
  }
  StSlab<VF, XS>(m, xt, mt);
  Store(dst + xt, ut);
}

// The x corrections of the x derivatives J.. of one row, both sides.
template <class P, int J = 0>
void XPassRow(const TFdStep<P>& c, ptrdiff_t row, ptrdiff_t rowX, int x0, int x1, bool bLow, bool bHigh) {
  if constexpr (J < P::kDer) {
    if constexpr (DerAxis<P>(J) == 0) {
      const int N = c.g.nPml, s = c.g.nStart;
      // The slab entries of a row are few and follow those of the row before;
      // fetching them a few rows ahead keeps the pass from waiting on memory.
      const ptrdiff_t ahead = rowX + 4 * N;
      for (int h = 0; h < 2; h++) {
        const TPmlSide& sd = c.side[J][h];
        FD_PREFETCH(sd.m + ahead, 1);
        FD_PREFETCH(sd.m + ahead + N - 1, 1);
        FD_PREFETCH(sd.a + ahead, 0);
        FD_PREFETCH(sd.a + ahead + N - 1, 0);
        FD_PREFETCH(sd.b + ahead, 0);
        FD_PREFETCH(sd.b + ahead + N - 1, 0);
      }
      if (bLow) {
        const TPmlSide& sd = c.side[J][0];
        XCorrectionV<P, J, 1>(c.ph, row, x0, std::min(x1, N + s - 1), {sd.m, sd.a, sd.b, rowX - s});
      }
      if (bHigh) {
        const TPmlSide& sd = c.side[J][1];
        XCorrectionV<P, J, 2>(c.ph, row, std::max(x0, c.g.nx - N - s), x1, {sd.m, sd.a, sd.b, rowX + c.g.nx - s - 1});
      }
    }
    XPassRow<P, J + 1>(c, row, rowX, x0, x1, bLow, bHigh);
  }
}

// The x corrections of the rows y0..y1 of plane z, after all of them have
// had their row loop. Done plane by plane rather than right after each row:
// reading back the points a row loop has just stored costs more than taking
// them from the cache a little later, and the x slab of a plane is read in
// one run.
template <class P> void PmlXPass(const TFdStep<P>& c, int z, int y0, int y1, int x0, int x1) {
  const TFdGrid& g = c.g;
  const int N = g.nPml, s = g.nStart;
  const bool bLow = x0 <= N + s - 1, bHigh = x1 >= g.nx - N - s;
  if (!bLow && !bHigh)
    return;
  for (int y = y0; y <= y1; y++) {
    if (PointwisePmlRow(g, z + g.z0, y))
      continue;
    XPassRow<P>(c, g.Index(z, y, 0), ((ptrdiff_t)z * g.ny + y) * N, x0, x1, bLow, bHigh);
  }
}

// One row of a step with PML on: one loop over the row with the y and z
// corrections, and with the x corrections unless the policy leaves them to
// PmlXPass.
template <class P> void PmlRow(const TFdStep<P>& c, int z, int y, int x0, int x1) {
  const TFdGrid& g = c.g;
  const int N = g.nPml, s = g.nStart, gz = z + g.z0;
  if (PointwisePmlRow(g, gz, y)) {
    for (int x = x0; x <= x1; x++)
      StepPoint(c.ph, g, c.side, z, y, x);
    return;
  }
  const int yl = PmlLowLayer(y, N, s), yh = PmlHighLayer(y, g.ny, N, s);
  const int zl = PmlLowLayer(gz, N, s), zh = PmlHighLayer(gz, g.nzAll, N, s);
  const bool bY = yl >= 0 || yh >= 0, bZ = zl >= 0 || zh >= 0;
  TPmlLine ln[P::kDer], lnLow[P::kDer], lnHigh[P::kDer];
  const ptrdiff_t rowX = ((ptrdiff_t)z * g.ny + y) * N;
  for (int j = 0; j < P::kDer; j++) {
    const int ax = DerAxis<P>(j);
    if (ax == 1 && bY) {
      const TPmlSide& sd = c.side[j][yl >= 0 ? 0 : 1];
      ln[j] = {sd.m, sd.a, sd.b, ((ptrdiff_t)z * N + (yl >= 0 ? yl : yh)) * g.nx};
    } else if (ax == 2 && bZ) {
      const TPmlSide& sd = c.side[j][zl >= 0 ? 0 : 1];
      ln[j] = {sd.m, sd.a, sd.b, ((ptrdiff_t)(zl >= 0 ? zl : zh) * g.ny + y) * g.nx};
    }
    lnLow[j] = lnHigh[j] = ln[j];
    if (ax == 0) {
      lnLow[j] = {c.side[j][0].m, c.side[j][0].a, c.side[j][0].b, rowX - s};
      lnHigh[j] = {c.side[j][1].m, c.side[j][1].a, c.side[j][1].b, rowX + g.nx - s - 1};
    }
  }
  const ptrdiff_t row = g.Index(z, y, 0);
  if constexpr (P::kDeferX) {
    RowYZ<P, 0>(c, row, x0, x1, ln, bY, bZ);
  } else {
    const int xLowEnd = N + s - 1, xHighBeg = g.nx - N - s;
    RowYZ<P, 1>(c, row, x0, std::min(x1, xLowEnd), lnLow, bY, bZ);
    RowYZ<P, 0>(c, row, std::max(x0, xLowEnd + 1), std::min(x1, xHighBeg - 1), ln, bY, bZ);
    RowYZ<P, 2>(c, row, std::max(x0, xHighBeg), x1, lnHigh, bY, bZ);
  }
}

// One row of a step with the taper frame.
template <class P> void DampRow(const TFdStep<P>& c, const float* tables, int z, int y, int x0, int x1) {
  const TFdGrid& g = c.g;
  const int gz = z + g.z0;
  const ptrdiff_t row = g.Index(z, y, 0);
  const int ry = std::min(std::min(y, g.ny - 1 - y), std::min(gz, g.nzAll - 1 - gz));
  const TPmlLine none[P::kDer];
  if (ry < g.nFrame) {
    Row<P, 0, false, false, true>(c, row, x0, x1, none, tables + (size_t)ry * g.nx);
    return;
  }
  const float* fac = tables + (size_t)g.nFrame * g.nx;
  const int xa = g.nFrame, xb = g.nx - g.nFrame - 1;
  if (xa > xb) {
    Row<P, 0, false, false, true>(c, row, x0, x1, none, fac);
    return;
  }
  if (x0 <= std::min(x1, xa - 1))
    Row<P, 0, false, false, true>(c, row, x0, std::min(x1, xa - 1), none, fac);
  if (std::max(x0, xa) <= std::min(x1, xb))
    Row<P, 0, false, false, false>(c, row, std::max(x0, xa), std::min(x1, xb), none, nullptr);
  if (std::max(x0, xb + 1) <= x1)
    Row<P, 0, false, false, true>(c, row, std::max(x0, xb + 1), x1, none, fac);
}

// Loads the high y slab entries of the rows ya..y1, points x0..x1, of plane z
// once in ascending order. Their rows lie backwards in memory as y grows,
// which the hardware prefetch does not follow: without this the row loops
// would wait on each of them. One load a cache line is enough.
template <class P> void TouchHighYSlab(const TFdStep<P>& c, int z, int ya, int y1, int x0, int x1) {
  const TFdGrid& g = c.g;
  const int N = g.nPml, s = g.nStart;
  const int i0 = std::max(0, g.ny - 1 - s - y1), i1 = std::min(N - 1, g.ny - 1 - s - ya);
  float acc = 0.0f;
  for (int j = 0; j < P::kDer; j++) {
    if (DerAxis<P>(j) != 1)
      continue;
    const TPmlSide& sd = c.side[j][1];
    for (int i = i0; i <= i1; i++) {
      const ptrdiff_t e0 = ((ptrdiff_t)z * N + i) * g.nx;
      for (ptrdiff_t e = e0 + x0; e <= e0 + x1; e += 16)
        acc += sd.m[e] + sd.a[e] + sd.b[e];
    }
  }
  volatile float sink = acc;
  (void)sink;
}

// Rows y0..y1, points x0..x1 of plane z, whichever boundary treatment is in
// force. Returns true where the probe of the policy found a diverged value in
// the middle of a row.
template <class P> bool Plane(const TFdStep<P>& c, const float* tables, int z, int y0, int y1, int x0, int x1) {
  if (c.g.bPml) {
    const int yHighBeg = c.g.ny - c.g.nPml - c.g.nStart; // first row of the high y zone
    int y = y0;
    for (; y <= y1 && y < yHighBeg; y++)
      PmlRow(c, z, y, x0, x1);
    if (y <= y1)
      TouchHighYSlab(c, z, y, y1, x0, x1);
    for (; y <= y1; y++)
      PmlRow(c, z, y, x0, x1);
    if constexpr (P::kDeferX)
      PmlXPass(c, z, y0, y1, x0, x1);
  } else {
    for (int y = y0; y <= y1; y++)
      DampRow(c, tables, z, y, x0, x1);
  }
  bool bNaN = false;
  if (const float* pProbe = c.ph.Probe())
    for (int y = y0; y <= y1; y++)
      bNaN |= RowIsNaN(c.g, pProbe, z, y, x0, x1);
  return bNaN;
}
