// ZPL files joined from numbered per-shot files, gathers and models saved as
// ZPL, and damaged files, which fail with a message and never crash.
#include <functional>
#include <string>
#include <vector>

#include "SeisTestUtil.h"

namespace {

// A snapshot file of nFrames frames of n1 x n2 with two components: Z of
// value base + frame * 100 + index, C its negative.
void write_snapshot(const std::string& name, int n1, int n2, int nFrames, float base, float x0) {
  char szComps[] = "ZC";
  CPointR src(x0 + 5, 0);
  for (int s = 0; s < nFrames; s++) {
    std::vector<float> z, c;
    for (int k = 0; k < n1 * n2; k++) {
      z.push_back(base + s * 100 + k);
      c.push_back(-(base + s * 100 + k));
    }
    C3DSizeN size(n1, n2, 1);
    CCubeR cube(x0, 0, 0.01 * (s + 1), x0 + 10 * (n1 - 1), 10 * (n2 - 1), 0.01 * (s + 1));
    ASSERT_TRUE(CSdsPC().OnAddToZPL_SNAP(name.c_str(), size, cube, szComps, src, z.data(), c.data(), 0, 0));
  }
}

using ZplJoin = ScratchDirTest;

TEST_F(ZplJoin, PerShotSnapshotsBecomeSectionsThatReadBackOneByOne) {
  // Shots 1 and 3 of different widths; shot 2 is missing, shot 4 is cut short.
  write_snapshot(Path("m+Snap-1.zpl"), 3, 4, 2, 1000, 0);
  write_snapshot(Path("m+Snap-3.zpl"), 5, 4, 3, 3000, 200);
  write_snapshot(Path("m+Snap-4.zpl"), 2, 4, 2, 4000, 400);
  write_text(Path("m+Snap-1.zpl.inf"), "[Reform]\n");
  std::vector<unsigned char> cut = read_file(Path("m+Snap-4.zpl"));
  cut.resize(cut.size() - 8);
  write_file(Path("m+Snap-4.zpl"), cut);
  const std::string joined = Path("m+Snap.zpl");
  ASSERT_TRUE(CSdsPC().OnSaveNZpl2ZPL(joined.c_str(), 5, 1));
  EXPECT_TRUE(LogHas("m+Snap-4.zpl' is shorter than its header says"));
  for (int i : {1, 3, 4})
    EXPECT_FALSE(file_exists(Path("m+Snap-" + std::to_string(i) + ".zpl"))) << i;
  EXPECT_FALSE(file_exists(Path("m+Snap-1.zpl.inf")));
  ASSERT_EQ(2 * 296 + 4 * (2 * 3 * 4 * 2 + 2 * 5 * 4 * 3), file_size(joined));

  // Section headers: the count of files found, indexes by file number.
  FILE* fp = fopen(joined.c_str(), "rb");
  ZPL_FILEHEADER h0, h1;
  ASSERT_TRUE(zpl_ReadHeader(fp, 0, h0));
  ASSERT_TRUE(zpl_ReadHeader(fp, 296 + 4 * zpl_SectionFloats(h0), h1));
  fclose(fp);
  EXPECT_EQ(3, h0.m_nSections);
  EXPECT_EQ(0, h0.m_nSection);
  EXPECT_EQ(2, h1.m_nSection);

  CSdsPC sds;
  ASSERT_TRUE(sds.OnOpen(joined.c_str()));
  ASSERT_EQ(2, sds.m_nParts);
  ASSERT_EQ(8, sds.m_nTraceCount);
  EXPECT_DOUBLE_EQ(0, sds.m_rX0);
  EXPECT_DOUBLE_EQ(240, sds.m_rX1);
  std::vector<float> trace(4);
  for (int t = 0; t < 8; t++) {
    const bool bFirst = t < 3;
    const int i = bFirst ? t : t - 3, n1 = bFirst ? 3 : 5;
    const float base = bFirst ? 1000 : 3000;
    EXPECT_EQ(bFirst ? 0 : 1, sds.m_pSR[t].m_nPart) << t;
    EXPECT_FLOAT_EQ((bFirst ? 0 : 200) + 10.0f * i, sds.m_pSR[t].m_fXr) << t;
    EXPECT_FLOAT_EQ((bFirst ? 5 : 205), sds.m_pSR[t].m_fXs) << t;
    for (char c : {'Z', 'C'}) {
      sds.m_cComponent = c;
      sds.m_nSlice = 1;
      ASSERT_TRUE(sds.GetTrace(t, trace.data(), 4));
      for (int u = 0; u < 4; u++)
        EXPECT_EQ((c == 'Z' ? 1 : -1) * (base + 100 + u * n1 + i), trace[u]) << t << c << u;
    }
  }
}

TEST_F(ZplJoin, SingleTracesBecomeOneModelAndNothingToJoinFails) {
  // Three columns of one model, each a file of one trace: P, then P and Q.
  CSdsPC sds;
  sds.m_cComponent = 'P';
  for (int i = 1; i <= 3; i++) {
    std::vector<float> col = {1.0f * i, 2.0f * i, 3.0f * i};
    SDS_TRACEINFO rec = {};
    rec.m_fXs = rec.m_fXr = 50.0f * i;
    ASSERT_TRUE(sds.OnSave(Path("col-" + std::to_string(i) + ".zpl").c_str(), col.data(), CRectR(0, 0, 0, 4),
                           CSizeN(1, 3), 0, 0, false, &rec, DU_MSEC));
  }
  const std::string model = Path("col.zpl");
  ASSERT_TRUE(CSdsPC().OnSaveNZpl2ZPL(model.c_str(), 3, 1));
  CSdsPC m;
  ASSERT_TRUE(m.OnOpen(model.c_str()));
  ASSERT_EQ(3, m.m_nTraceCount);
  EXPECT_EQ(DU_MSEC, m.m_nUnit);
  EXPECT_NEAR(4.0, m.m_rT1, 1e-4);
  std::vector<float> trace(3);
  for (int i = 0; i < 3; i++) {
    ASSERT_TRUE(m.GetTrace(i, trace.data(), 3));
    EXPECT_EQ((std::vector<float>{1.0f + i, 2.0f * (i + 1), 3.0f * (i + 1)}), trace) << i;
  }
  EXPECT_FALSE(file_exists(Path("col-2.zpl")));

  // No numbered file: nothing joined, no file made; wrong names refused.
  EXPECT_FALSE(CSdsPC().OnSaveNZpl2ZPL(Path("none.zpl").c_str(), 3, 1));
  EXPECT_FALSE(file_exists(Path("none.zpl")));
  EXPECT_FALSE(CSdsPC().OnSaveNZpl2ZPL(Path("none.sgy").c_str(), 3, 1));
  EXPECT_TRUE(LogHas("none.sgy' has incorrect extension. It have to be from the set '.zpl'!\n"));
}

// A damaged copy of a good file of two sections, and what opening it gives.
struct SDamage {
  const char* szName;
  std::function<void(std::vector<unsigned char>&)> damage;
  int nTraces; // 0: the open fails
  const char* szMessage;
};

void set_int(std::vector<unsigned char>& v, size_t nOffset, int32_t n) { memcpy(&v[nOffset], &n, 4); }

TEST_F(ZplJoin, DamagedFilesFailWithTheirMessageOrOpenWhatIsWhole) {
  write_snapshot(Path("g-1.zpl"), 3, 4, 1, 0, 0);
  write_snapshot(Path("g-2.zpl"), 2, 4, 1, 0, 0);
  ASSERT_TRUE(CSdsPC().OnSaveNZpl2ZPL(Path("g.zpl").c_str(), 2, 1));
  const std::vector<unsigned char> good = read_file(Path("g.zpl"));
  const size_t nSecond = 296 + 4 * 2 * 3 * 4;
  ASSERT_EQ(nSecond + 296 + 4 * 2 * 2 * 4, good.size());
  const SDamage cases[] = {
      {"empty", [](std::vector<unsigned char>& v) { v.clear(); }, 0, "Error (non-stop): !fread(&zpl_file)\n"},
      {"header cut", [](std::vector<unsigned char>& v) { v.resize(200); }, 0, "Error (non-stop): !fread(&zpl_file)\n"},
      {"no data", [](std::vector<unsigned char>& v) { v.resize(296); }, 0, "Only 0 traces were read!\n"},
      {"no components", [](std::vector<unsigned char>& v) { set_int(v, 244, 0); }, 0, "Only 0 traces were read!\n"},
      {"nine components", [](std::vector<unsigned char>& v) { set_int(v, 244, 9); }, 0, "Only 0 traces were read!\n"},
      {"negative n1", [](std::vector<unsigned char>& v) { set_int(v, 196, -3); }, 0, "Only 0 traces were read!\n"},
      {"zero n2", [](std::vector<unsigned char>& v) { set_int(v, 200, 0); }, 0, "Only 0 traces were read!\n"},
      {"huge n3", [](std::vector<unsigned char>& v) { set_int(v, 204, 0x7fffffff); }, 0, "is cut short"},
      {"huge n4", [](std::vector<unsigned char>& v) { set_int(v, 208, 0x7fffffff); }, 0, "is cut short"},
      {"second cut", [](std::vector<unsigned char>& v) { v.resize(v.size() - 1); }, 3, "is cut short"},
      {"second header bad", [=](std::vector<unsigned char>& v) { set_int(v, nSecond + 244, -1); }, 3, ""},
      {"count too large", [](std::vector<unsigned char>& v) { set_int(v, 236, 1000); }, 5, ""},
      {"count negative", [](std::vector<unsigned char>& v) { set_int(v, 236, -7); }, 3, ""},
  };
  for (const SDamage& c : cases) {
    std::vector<unsigned char> v = good;
    c.damage(v);
    const std::string name = Path(std::string(c.szName) + ".zpl");
    write_file(name, v);
    CSdsPC sds;
    EXPECT_EQ(c.nTraces > 0, sds.OnOpen(name.c_str())) << c.szName;
    EXPECT_EQ(c.nTraces, sds.m_nTraceCount) << c.szName;
    EXPECT_TRUE(LogHas(c.szMessage)) << c.szName;
    EXPECT_EQ(c.nTraces > 0, sds.m_fp != nullptr) << c.szName;
    std::vector<float> trace(4);
    for (int t = 0; t < c.nTraces; t++)
      EXPECT_TRUE(sds.GetTrace(t, trace.data(), 4)) << c.szName << " " << t;
    EXPECT_FALSE(sds.GetTrace(c.nTraces, trace.data(), 4)) << c.szName;
  }
}

TEST_F(ZplJoin, GathersSavedAsZplKeepTheirAxisAndPositions) {
  // Three traces of five samples, time in milliseconds on the object's side.
  std::vector<float> data(15);
  for (int k = 0; k < 15; k++)
    data[k] = 0.5f * k;
  CSdsPC sds;
  sds.m_cComponent = 'X';
  ASSERT_TRUE(sds.OnSave(Path("gath.zpl").c_str(), data.data(), CRectR(100, 0, 140, 8), CSizeN(3, 5), 0, 0, false,
                         nullptr, DU_MSEC));
  EXPECT_FALSE(
      sds.OnSave(Path("null.zpl").c_str(), nullptr, CRectR(0, 0, 1, 1), CSizeN(3, 5), 0, 0, false, nullptr, DU_MSEC));
  CSdsPC r;
  ASSERT_TRUE(r.OnOpen(Path("gath.zpl").c_str()));
  EXPECT_EQ(DU_MSEC, r.m_nUnit);
  EXPECT_NEAR(8.0, r.m_rT1, 1e-4) << "stored in seconds, read in milliseconds";
  EXPECT_NEAR(2.0, r.m_rDT, 1e-4);
  EXPECT_EQ('X', r.m_cComponent);
  EXPECT_EQ(2.0, (double)r.m_arInfo[INFO_NTYPE].m_rValue); // a copy: the row is packed
  EXPECT_FLOAT_EQ(120, r.GetRec(1).x);
  std::vector<float> trace(5);
  ASSERT_TRUE(r.GetTrace(2, trace.data(), 5));
  EXPECT_EQ((std::vector<float>{1, 2.5f, 4, 5.5f, 7}), trace);
}

} // namespace
