// File types, the record table and its queries, header-field maps.
#include <cmath>

#include "SeisTestUtil.h"

TEST(SdsPCTypes, ExtensionsInAnyCaseAndComponentLetters) {
  const struct {
    const char* name;
    bool ok;
    TYPEFILE type;
  } cases[] = {{"a.sgy", true, SGY},  {"dir/B.SeGy", true, SGY}, {"x.REC", true, REC},   {"x.Sec", true, REC},
               {"x.zpl", true, ZPL},  {".rec", false, ZPL},      {"abc.sg", false, ZPL}, {"abc.kti", false, ZPL},
               {".segy", false, ZPL}, {nullptr, false, ZPL}};
  for (const auto& c : cases) {
    TYPEFILE t = REC;
    EXPECT_EQ(CSdsPC::GetTypeFromFileName(c.name, t), c.ok) << (c.name ? c.name : "null");
    EXPECT_EQ(t, c.type) << (c.name ? c.name : "null") << ": a refused name leaves ZPL";
  }
  EXPECT_EQ(CSdsPC::ComponentLetter(1), 'P');
  EXPECT_EQ(CSdsPC::ComponentLetter(0), '?');
  EXPECT_EQ(CSdsPC::ComponentLetter(15), '?');
  for (int i = 1; i <= 14; i++)
    EXPECT_EQ(CSdsPC::ComponentIndex(CSdsPC::ComponentLetter(i)), i);
  EXPECT_EQ(CSdsPC::ComponentIndex('?'), 0);
}

// An object with a hand-made table, as an open file would have.
class SdsPCTable : public ::testing::Test {
protected:
  CSdsPC m_sds;
  FILE* m_fpDummy = nullptr;
  void SetTable(const std::vector<SDS_TRACEINFO>& v) {
    m_sds.m_pSR = new SDS_TRACEINFO[v.size()];
    std::copy(v.begin(), v.end(), m_sds.m_pSR);
    m_sds.m_nTraceCount = (int)v.size();
    m_fpDummy = tmpfile();
    m_sds.m_fp = m_fpDummy; // closed by the object
  }
  static SDS_TRACEINFO Rec(float xs, float ys, float xr, float yr) {
    SDS_TRACEINFO r{};
    r.m_fXs = xs, r.m_fYs = ys, r.m_fXr = xr, r.m_fYr = yr;
    return r;
  }
};

TEST_F(SdsPCTable, CoordinateQueriesStayInRange) {
  SetTable({Rec(1, 2, 3, 4), Rec(5, 6, 7, 8)});
  m_sds.m_pSR[1].m_fZs = 9, m_sds.m_pSR[1].m_fZr = 10;
  C3DPointR s(-1, -1, -1), r(-1, -1, -1);
  EXPECT_FALSE(m_sds.GetCoord(-1, s, r));
  EXPECT_FALSE(m_sds.GetCoord(2, s, r));
  EXPECT_EQ(s, C3DPointR(-1, -1, -1)) << "points are left alone";
  ASSERT_TRUE(m_sds.GetCoord(1, s, r));
  EXPECT_EQ(s, C3DPointR(5, 6, 9));
  EXPECT_EQ(r, C3DPointR(7, 8, 10));
  EXPECT_EQ(m_sds.GetSrc(2).x, 0.0);
  EXPECT_EQ(m_sds.GetRec(-1).y, 0.0);
  EXPECT_EQ(m_sds.GetRec(0).y, 4.0);
  SDS_TRACEINFO out{};
  ASSERT_TRUE(m_sds.Set_pSR(1, &out));
  EXPECT_EQ(out.m_fYr, 8.0f);
  EXPECT_EQ(m_sds.GetTraceInfoAll(), m_sds.m_pSR);
  CSdsPC closed;
  EXPECT_FALSE(closed.Set_pSR(0, &out));
}

TEST_F(SdsPCTable, RectangleOfASourceOrOfAll) {
  SetTable({Rec(0, 0, 10, 20), Rec(0, 0, 30, -5), Rec(100, 50, 300, 400), Rec(100.9f, 51, 250, 60)});
  auto rect = [&](int nMode, CPointR src) {
    const CRectR rc = m_sds.GetXYRect(nMode, src);
    return std::vector<double>{rc.x0, rc.x1, rc.y0, rc.y1};
  };
  EXPECT_EQ(rect(1, CPointR(0, 0)), (std::vector<double>{10, 30, -5, 20}));
  EXPECT_EQ(rect(0, CPointR(0, 0)), (std::vector<double>{0, 30, -5, 20})) << "sources widen the rectangle";
  // |dx| < 1 strictly, |dy| <= 1 inclusively.
  EXPECT_EQ(rect(1, CPointR(100, 50)), (std::vector<double>{250, 300, 60, 400}));
  EXPECT_EQ(rect(1, CPointR(101, 50)), (std::vector<double>{250, 250, 60, 60})) << "only the second within 1 in X";
  // A source that no trace has: the rectangle of all traces.
  EXPECT_EQ(rect(1, CPointR(7777, 7777)), (std::vector<double>{10, 300, -5, 400}));
}

TEST_F(SdsPCTable, GridSizeOfRegularAndIrregularLayouts) {
  // A 4 x 3 grid, 25 m by 50 m, plus one trace more (the last is ignored).
  std::vector<SDS_TRACEINFO> v;
  for (int y = 0; y < 3; y++)
    for (int x = 0; x < 4; x++)
      v.push_back(Rec(0, 0, 1000 + 25 * x, 2000 + 50 * y));
  v.push_back(Rec(0, 0, 1000, 2000));
  SetTable(v);
  const CPointR all(UNSET_VALUE, UNSET_VALUE);
  auto size = [&](CSdsPC& sds, CPointR src) {
    const C3DSizeN n = sds.GetXYSize(src);
    return std::vector<int>{n.cx, n.cy, n.cz};
  };
  EXPECT_EQ(size(m_sds, all), (std::vector<int>{4, 3, 12}));
  // A line along X: steps of 10 over 90 give 10 columns.
  std::vector<SDS_TRACEINFO> line;
  for (int i = 0; i < 10; i++)
    line.push_back(Rec(0, 0, 10.0f * i, 0));
  line.push_back(Rec(0, 0, 0, 0));
  CSdsPC other;
  other.m_pSR = new SDS_TRACEINFO[line.size()];
  std::copy(line.begin(), line.end(), other.m_pSR);
  other.m_nTraceCount = (int)line.size();
  EXPECT_EQ(size(other, all), (std::vector<int>{10, 1, 10}));
  // Traces along Y only, with repeated positions: n underestimates, so
  // nx becomes kept / ny.
  for (int i = 0; i < 10; i++)
    other.m_pSR[i] = Rec(0, 0, 5, 100.0f * (i / 5));
  EXPECT_EQ(size(other, all), (std::vector<int>{5, 2, 2})) << "n stays as first computed";
  // Fewer than 4 traces of a real source: all traces count.
  EXPECT_EQ(size(m_sds, CPointR(0.5, 0)), (std::vector<int>{4, 3, 12}));
}

using SdsPCInf = ScratchDirTest;

TEST_F(SdsPCInf, InfFileMovesAndDropsFields) {
  std::string p = Path("m.sgy");
  FILE* f = fopen((p + ".inf").c_str(), "w");
  ASSERT_NE(f, nullptr);
  fputs("[Reform]\n", f);
  fputs("RecvX=short,181 ; comment\n", f);
  fputs("RecvY=nouse\n", f);
  fputs("ShotX=85\n", f);        // no type: skipped
  fputs("ShotY=double,81\n", f); // unknown type: skipped
  fputs("CoorScaler=short,115\n", f);
  fputs("kmCrd=0\n", f); // not above 0: stays 1
  fputs("kmVal=2.5\n", f);
  fputs("Part1=INT32,9\n", f);
  fclose(f);
  CSdsPC s;
  s.GetInfoTraceFromFile(p.c_str());
  EXPECT_EQ(s.m_arInfo[INFO_RECVX].m_nType, 0);
  EXPECT_EQ((double)s.m_arInfo[INFO_RECVX].m_rValue, 181);
  EXPECT_EQ(s.m_arInfo[INFO_RECVY].m_nType, -1);
  EXPECT_EQ((double)s.m_arInfo[INFO_SHOTX].m_rValue, 73);
  EXPECT_EQ((double)s.m_arInfo[INFO_SHOTY].m_rValue, 77);
  EXPECT_EQ((double)s.m_arInfo[INFO_COORSCALER].m_rValue, 115);
  EXPECT_EQ((double)s.m_arInfo[INFO_KMCRD].m_rValue, 1.0);
  EXPECT_EQ((double)s.m_arInfo[INFO_KMVAL].m_rValue, 2.5);
  EXPECT_EQ((double)s.m_arInfo[INFO_PART].m_rValue, 9);
  EXPECT_EQ(s.m_arInfo[INFO_PART].m_nAux, 1);

  unsigned char h[240] = {};
  int16_t xr = 321, sc = -10;
  int32_t yr = 555, part = 31;
  memcpy(h + 180, &xr, 2);
  memcpy(h + 84, &yr, 4);
  memcpy(h + 114, &sc, 2);
  memcpy(h + 8, &part, 4);
  SDS_TRACEINFO r{};
  s.SetTraceInfo(r, h, nullptr);
  EXPECT_FLOAT_EQ(r.m_fXr, 32.1f);
  EXPECT_EQ(r.m_fYr, 0.0f) << "a dropped field keeps the cleared value";
  EXPECT_EQ(r.m_nPart, 31);
}

TEST(SdsPCRotate, LocalFrameAndGridSnapping) {
  CSdsPC s;
  s.m_pSR = new SDS_TRACEINFO[1];
  s.m_nTraceCount = 1;
  s.m_pSR[0] = SDS_TRACEINFO{};
  s.m_pSR[0].m_fXs = 110, s.m_pSR[0].m_fYs = 210, s.m_pSR[0].m_fXr = 100, s.m_pSR[0].m_fYr = 220;
  CSdsPC::bRotate = true;
  CSdsPC::rX00 = 100, CSdsPC::rY00 = 200, CSdsPC::rXx0 = 100, CSdsPC::rYx0 = 300; // X axis along +Y
  testing::internal::CaptureStdout();
  s.Rotate();
  CSdsPC::bRotate = false;
  CSdsPC::nGridStep = 25;
  s.Rotate();
  CSdsPC::nGridStep = 0;
  CSdsPC::rX00 = 0, CSdsPC::rY00 = 0, CSdsPC::rXx0 = 1, CSdsPC::rYx0 = 0;
  std::string out = testing::internal::GetCapturedStdout();
  // (110, 210) -> dx 10, dy 10 -> x' = 10, y' = -10, then snapped to 0 and 0;
  // (100, 220) -> x' = 20, y' = 0 -> 25 and 0.
  EXPECT_FLOAT_EQ(s.m_pSR[0].m_fXs, 0.0f);
  EXPECT_FLOAT_EQ(s.m_pSR[0].m_fYs, 0.0f);
  EXPECT_FLOAT_EQ(s.m_pSR[0].m_fXr, 25.0f);
  EXPECT_FLOAT_EQ(s.m_pSR[0].m_fYr, 0.0f);
  EXPECT_NE(out.find("Rotate: coordinates have been converted."), std::string::npos);
  EXPECT_NE(out.find("(with step=25)"), std::string::npos);
}
