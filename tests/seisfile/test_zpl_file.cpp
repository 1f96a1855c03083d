// ZPL grid files: sections of 1 to 4 axes and 1 to 8 components written and
// read back through the trace-file object, snapshot files growing frame by
// frame, per-shot files joined into one, and damaged files.
#include <string>
#include <vector>

#include "ScratchDir.h"
#include "seisfile/SdsPC.h"

namespace {

const char kLetters[] = "PQRZXCST";

// A distinct value for each element: component j, first-axis index i,
// second-axis index u, frame s.
float value_of(int j, int i, int u, int s) { return (float)(j + 10 * i + 1000 * u + 100000 * s) + 0.25f; }

struct SGrid {
  int nAxes, n1, n2, n3, n4, nc;
};

// A section of the grid g at x positions 100 + 5 i, written as a file.
std::vector<float> make_section(const SGrid& g, ZPL_FILEHEADER& h) {
  zpl_InitHeader(h, "section.zpl", "XZTY", "Modl");
  h.m_nAxes = g.nAxes;
  h.m_n[0] = g.n1, h.m_n[1] = g.n2, h.m_n[2] = g.n3, h.m_n[3] = g.n4;
  h.m_nComps = g.nc;
  memcpy(h.m_szComps, kLetters, g.nc);
  h.m_fX0 = 100, h.m_fDX = 5, h.m_fX1 = 100 + 5.0f * (g.n1 - 1);
  h.m_fT0 = 20, h.m_fDT = 2, h.m_fT1 = 20 + 2.0f * (g.n2 - 1);
  h.m_fY0 = 0.5f, h.m_fY1 = 0.5f + 0.25f * (g.n3 - 1), h.m_fDY = 0.25f;
  std::vector<float> v;
  for (int s = 0; s < g.n3 * g.n4; s++)
    for (int u = 0; u < g.n2; u++)
      for (int i = 0; i < g.n1; i++)
        for (int j = 0; j < g.nc; j++)
          v.push_back(value_of(j, i, u, s));
  return v;
}

class ZplRoundTrip : public ScratchDirTest, public ::testing::WithParamInterface<SGrid> {};

TEST_P(ZplRoundTrip, EveryComponentTraceAndFrameReadsBackAsWritten) {
  const SGrid g = GetParam();
  ZPL_FILEHEADER h;
  const std::vector<float> data = make_section(g, h);
  const std::string name = Path("grid.zpl");
  ASSERT_TRUE(zpl_WriteFile(name.c_str(), h, data.data()));
  ASSERT_EQ(296 + 4 * (long)data.size(), file_size(name));

  // Frames as the format reads them.
  FILE* fp = fopen(name.c_str(), "rb");
  ASSERT_NE(nullptr, fp);
  ZPL_FILEHEADER r;
  ASSERT_TRUE(zpl_ReadHeader(fp, 0, r));
  const int64_t nFrame = zpl_FrameFloats(r);
  std::vector<float> frame(nFrame);
  for (int s = 0; s < g.n3 * g.n4; s++) {
    ASSERT_TRUE(zpl_ReadFrame(fp, 0, r, s, frame.data())) << s;
    EXPECT_TRUE(std::equal(frame.begin(), frame.end(), data.begin() + s * nFrame)) << "frame " << s;
  }
  EXPECT_FALSE(zpl_ReadFrame(fp, 0, r, g.n3 * g.n4, frame.data()));
  fclose(fp);

  // Traces as the trace-file object reads them: one a first-axis index.
  CSdsPC sds;
  ASSERT_TRUE(sds.OnOpen(name.c_str()));
  ASSERT_EQ(g.n1, sds.m_nTraceCount);
  ASSERT_EQ(g.n2, sds.m_nTraceLen);
  EXPECT_EQ(DU_M, sds.m_nUnit);
  EXPECT_EQ(std::string(kLetters, g.nc), std::string(sds.m_szComponents, strnlen(sds.m_szComponents, 8)));
  EXPECT_DOUBLE_EQ(20.0, sds.m_rT0);
  EXPECT_DOUBLE_EQ(20.0 + 2 * (g.n2 - 1), sds.m_rT1);
  EXPECT_FLOAT_EQ(100 + 5.0f * (g.n1 - 1), sds.GetRec(g.n1 - 1).x);
  std::vector<float> trace(g.n2);
  for (int j = 0; j < g.nc; j++) {
    sds.m_cComponent = kLetters[j];
    for (int s = 0; s < g.n3 * g.n4; s++) {
      sds.m_nSlice = s;
      for (int i = 0; i < g.n1; i++) {
        ASSERT_TRUE(sds.GetTrace(i, trace.data(), g.n2));
        for (int u = 0; u < g.n2; u++)
          ASSERT_EQ(value_of(j, i, u, s), trace[u]) << "component " << j << " frame " << s << " trace " << i;
      }
    }
  }
  // A frame past the last reads the last, and the object keeps that frame.
  sds.m_cComponent = kLetters[0];
  sds.m_nSlice = g.n3 * g.n4 + 5;
  ASSERT_TRUE(sds.GetTrace(0, trace.data(), g.n2));
  EXPECT_EQ(g.n3 * g.n4 - 1, sds.m_nSlice);
  EXPECT_EQ(value_of(0, 0, 0, g.n3 * g.n4 - 1), trace[0]);
}

INSTANTIATE_TEST_SUITE_P(AxesAndComponents, ZplRoundTrip,
                         ::testing::Values(SGrid{1, 7, 1, 1, 1, 1}, SGrid{2, 6, 9, 1, 1, 2}, SGrid{3, 5, 4, 3, 1, 4},
                                           SGrid{3, 1, 3, 2, 1, 3}, SGrid{4, 4, 5, 2, 3, 8}, SGrid{4, 3, 2, 1, 2, 5}),
                         [](const ::testing::TestParamInfo<SGrid>& i) {
                           const SGrid& g = i.param;
                           return "Axes" + std::to_string(g.nAxes) + "_" + std::to_string(g.n1) + "x" +
                                  std::to_string(g.n2) + "x" + std::to_string(g.n3) + "x" + std::to_string(g.n4) +
                                  "_Components" + std::to_string(g.nc);
                         });

using ZplSnapshot = ScratchDirTest;

// Two planes of size.cx x size.cy x size.cz frames, the first of value v0 +
// index, the second its negative.
struct SFrames {
  std::vector<float> a, b;
  SFrames(int n, float v0) {
    for (int k = 0; k < n; k++) {
      a.push_back(v0 + k);
      b.push_back(-(v0 + k));
    }
  }
};

TEST_F(ZplSnapshot, FramesGrowTheFileAndAnotherGridReplacesIt) {
  const std::string name = Path("snap.zpl");
  char szComps[] = "ZXYC";
  CPointR src(85, 20);
  C3DSizeN size(4, 3, 1);
  SFrames f1(12, 1), f2(12, 101);
  CCubeR cube(10, 0, 0.05, 40, 20, 0.05);
  // The second plane is null: it is skipped with its letter.
  ASSERT_TRUE(
      CSdsPC().OnAddToZPL_SNAP(name.c_str(), size, cube, szComps, src, f1.a.data(), nullptr, f1.b.data(), nullptr));
  FILE* fp = fopen(name.c_str(), "rb");
  ZPL_FILEHEADER h;
  ASSERT_TRUE(zpl_ReadHeader(fp, 0, h));
  fclose(fp);
  EXPECT_EQ(std::string("ZY"), std::string(h.m_szComps, 2));
  EXPECT_EQ(0, h.m_szComps[2]);
  EXPECT_EQ(std::string("XZTY"), std::string(h.m_szAxes, 4));
  EXPECT_STREQ("Snap", h.m_szClass);
  EXPECT_STREQ("Binary. FD-Grid ___", h.m_szFormat);
  EXPECT_EQ(0, memcmp(h.m_szName, name.c_str(), 16)) << "the first 16 characters of the name";
  EXPECT_EQ(3, h.m_nAxes);
  EXPECT_FLOAT_EQ(85, h.m_fXs);
  EXPECT_FLOAT_EQ(0.05f, h.m_fZs);
  EXPECT_FLOAT_EQ(10, h.m_fDX);
  EXPECT_FLOAT_EQ(10, h.m_fDT);
  EXPECT_FLOAT_EQ(0, h.m_fDY) << "one frame: the step is Z1 - Z0";

  cube.z0 = cube.z1 = 0.08;
  ASSERT_TRUE(
      CSdsPC().OnAddToZPL_SNAP(name.c_str(), size, cube, szComps, src, f2.a.data(), nullptr, f2.b.data(), nullptr));
  // Two frames of one header.
  ASSERT_EQ(296 + 2 * 2 * 12 * 4, file_size(name));
  fp = fopen(name.c_str(), "rb");
  ASSERT_TRUE(zpl_ReadHeader(fp, 0, h));
  EXPECT_EQ(2, h.m_n[2]);
  EXPECT_FLOAT_EQ(0.05f, h.m_fY0);
  EXPECT_FLOAT_EQ(0.08f, h.m_fY1);
  EXPECT_NEAR(0.03, h.m_fDY, 1e-7);
  std::vector<float> frame(24);
  ASSERT_TRUE(zpl_ReadFrame(fp, 0, h, 1, frame.data()));
  fclose(fp);
  for (int p = 0; p < 12; p++) {
    EXPECT_EQ(f2.a[p], frame[2 * p]);
    EXPECT_EQ(f2.b[p], frame[2 * p + 1]);
  }

  // The reader sees a snapshot: depth traces of the first frame by default.
  CSdsPC sds;
  ASSERT_TRUE(sds.OnOpen(name.c_str()));
  EXPECT_EQ(4, sds.m_nTraceCount);
  EXPECT_EQ(3.0, (double)sds.m_arInfo[INFO_NTYPE].m_rValue); // a copy: the row is packed
  sds.m_cComponent = 'Y';
  std::vector<float> trace(3);
  ASSERT_TRUE(sds.GetTrace(2, trace.data(), 3));
  EXPECT_EQ((std::vector<float>{-3, -7, -11}), trace);
  sds.Close();

  // Two frames in one call, of another grid: the file holds only them.
  C3DSizeN other(3, 2, 2);
  SFrames f3(12, 500);
  cube = CCubeR(10, 0, 0.1, 30, 10, 0.2);
  ASSERT_TRUE(
      CSdsPC().OnAddToZPL_SNAP(name.c_str(), other, cube, szComps, src, f3.a.data(), f3.b.data(), nullptr, nullptr));
  EXPECT_TRUE(LogHas("File header is not supported addition new data\n"));
  ASSERT_EQ(296 + 2 * 12 * 4, file_size(name));
  fp = fopen(name.c_str(), "rb");
  ASSERT_TRUE(zpl_ReadHeader(fp, 0, h));
  fclose(fp);
  EXPECT_EQ(2, h.m_n[2]);
  EXPECT_EQ(std::string("ZX"), std::string(h.m_szComps, 2));
  EXPECT_FLOAT_EQ(0.1f, h.m_fDY);

  // Refused without a word: too few samples, no planes, other types.
  C3DSizeN flat(4, 1, 1);
  EXPECT_FALSE(CSdsPC().OnAddToZPL_SNAP(name.c_str(), flat, cube, szComps, src, f1.a.data(), 0, 0, 0));
  EXPECT_FALSE(CSdsPC().OnAddToZPL_SNAP(name.c_str(), size, cube, szComps, src, 0, 0, 0, f1.a.data()));
  EXPECT_FALSE(CSdsPC().OnAddToZPL_SNAP(Path("snap.sgy").c_str(), size, cube, szComps, src, f1.a.data(), 0, 0, 0));
  EXPECT_FALSE(file_exists(Path("snap.sgy")));
}

} // namespace

// Sizes whose byte count passes 2^60, wrapped round 64 bits or not, make a
// header invalid; such a file is refused before anything is allocated for it.
TEST_F(ScratchDirTest, ZplSizesBeyondTheLimitAreRefusedEvenWhenTheProductWraps) {
  const int32_t nMax = 0x7FFFFFFF;
  struct {
    int nc, n1, n2, n3, n4;
    bool bValid;
  } cases[] = {
      {1, 1, 1, 1, 1, true},
      {1, 1 << 29, 1 << 29, 1, 1, true}, // 2^60 bytes: the limit itself
      {1, 1 << 29, 1 << 29, 2, 1, false},
      {8, nMax, nMax, 1, 1, false}, // 32 * nMax^2 wraps to below zero
      {2, nMax, nMax, nMax, nMax, false},
      {4, 65536, 65536, 65536, 4096, false}, // 2^64: wraps to exactly zero
      {1, 1, 1, 1, 0, false},
  };
  for (const auto& c : cases) {
    ZPL_FILEHEADER h;
    zpl_InitHeader(h, "big.zpl", "XZTY", "Modl");
    h.m_nComps = c.nc;
    h.m_n[0] = c.n1, h.m_n[1] = c.n2, h.m_n[2] = c.n3, h.m_n[3] = c.n4;
    EXPECT_EQ(c.bValid, zpl_IsValid(h)) << c.nc << " x " << c.n1 << " x " << c.n2 << " x " << c.n3 << " x " << c.n4;
    if (c.bValid)
      continue;
    const std::string name = Path("big.zpl");
    FILE* fp = fopen(name.c_str(), "wb");
    ASSERT_TRUE(fp);
    const std::vector<char> tail(4096, 0);
    ASSERT_EQ(1u, fwrite(&h, sizeof(h), 1, fp));
    ASSERT_EQ(1u, fwrite(tail.data(), tail.size(), 1, fp));
    fclose(fp);
    CSdsPC sds;
    EXPECT_FALSE(sds.OnOpen(name.c_str(), 0, 0, 0, 0)) << c.nc << " x " << c.n1 << " x " << c.n2;
  }
}
