// Shot gathers written by CGatherWriter and joined by CGatherMerge, read back
// with segyio.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "output/GatherMerge.h"
#include "output/GatherWriter.h"
#include "run/KelvoApp.h"
#include "seisfile/ScratchDir.h"
#include "seisfile/SdsPC.h"
#include "seisfile/SegyTestFile.h"

namespace {

// Scalers are process-wide; each test starts from the defaults and restores them.
class GatherFileTest : public ::testing::Test {
protected:
  void SetUp() override {
#ifndef KELVO_HAVE_SEGYIO
    GTEST_SKIP() << "segyio not available";
#endif
    TearDown();
    m_strPattern = m_dir.Path("shot-%d.sgy");
  }
  void TearDown() override { CSdsPC::COOR_SCALER = CSdsPC::ELEV_SCALER = 1; }

  std::string ShotFile(int nShot) const { return m_dir.Path("shot-" + std::to_string(nShot) + ".sgy"); }

  // Writes the gather of one shot: nTraces receivers on a line, sample k of
  // trace i holding Value(shot, i, k). Numbers of -1 are absent.
  int WriteShot(int nShot, int nTraces, int nSamples, double dt, int nInline = -2, int nTraceId = -1) {
    CGatherWriter w;
    w.m_ptShot = C3DPointR(100.0 * nShot + 0.25, 50.5, 5);
    w.m_nShot = nShot, w.m_nShotId = 200 + nShot;
    w.m_t0 = 0, w.m_dt = dt;
    std::vector<C3DPointR> rcv;
    std::vector<int> inl(nTraces, nInline == -2 ? nShot : nInline), xl, tid, fid(nTraces, -1);
    for (int i = 0; i < nTraces; i++) {
      rcv.push_back(C3DPointR(10.0 * i + 0.75, 60, 2.5));
      xl.push_back(nInline == -2 ? i + 1 : 0);
      tid.push_back(nTraceId < 0 || i == 1 ? -1 : nTraceId + i); // trace 1 keeps its running number
    }
    std::vector<float> data((size_t)nTraces * nSamples);
    for (int k = 0; k < nSamples; k++)
      for (int i = 0; i < nTraces; i++)
        data[(size_t)k * nTraces + i] = Value(nShot, i, k);
    return w.Write(ShotFile(nShot).c_str(), nTraces, nSamples, data.data(), rcv, &inl, &xl, &tid, &fid);
  }
  // Exact in IBM floats.
  static float Value(int nShot, int i, int k) { return (float)nShot + 0.25f * i + 0.125f * k; }

  CScratchDir m_dir;
  std::string m_strPattern;
};

TEST_F(GatherFileTest, WriterFillsNumbersGeometryAndScalers) {
  CSdsPC::COOR_SCALER = CSdsPC::ELEV_SCALER = -100;
  ASSERT_EQ(0, WriteShot(3, 4, 51, 0.002, 7, 500));
  CSegyTestFile f = CSegyTestFile::Read(ShotFile(3));
  ASSERT_TRUE(f.m_bOk);
  ASSERT_EQ(4, f.m_nTraces);
  for (int i = 0; i < 4; i++) {
    EXPECT_EQ(i == 1 ? 2 : 500 + i, f.Field(i, SEGY_TR_NUMBER_ORIG_FIELD)) << i;
    EXPECT_EQ(3, f.Field(i, SEGY_TR_FIELD_RECORD)) << "no file id: the shot number";
    EXPECT_EQ(203, f.Field(i, SEGY_TR_ENERGY_SOURCE_POINT));
    EXPECT_EQ(i + 1, f.Field(i, SEGY_TR_INLINE)) << "an inline without crossline is not written";
    EXPECT_EQ(-100, f.Field(i, SEGY_TR_SOURCE_GROUP_SCALAR));
    EXPECT_EQ(-100, f.Field(i, SEGY_TR_ELEV_SCALAR));
    EXPECT_EQ(30025, f.Field(i, SEGY_TR_SOURCE_X));
    EXPECT_EQ(5050, f.Field(i, SEGY_TR_SOURCE_Y));
    EXPECT_EQ(1000 * i + 75, f.Field(i, SEGY_TR_GROUP_X));
    EXPECT_EQ(-250, f.Field(i, SEGY_TR_RECV_GROUP_ELEV)) << "elevation points up";
    EXPECT_EQ(-500, f.Field(i, SEGY_TR_SOURCE_SURF_ELEV));
  }
  // Bad input is refused; a file that cannot be written says so.
  float v = 0;
  CGatherWriter w;
  EXPECT_EQ(-1, w.Write(m_dir.Path("x.sgy").c_str(), 0, 1, &v, {}, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(1, w.Write(m_dir.Path("no/x.sgy").c_str(), 1, 1, &v, {{}}, nullptr, nullptr, nullptr, nullptr));
}

TEST_F(GatherFileTest, MergeJoinsShotsInOrderSkipsGapsResamplesAndRemovesTheShotFiles) {
  ASSERT_EQ(0, WriteShot(1, 3, 26, 0.004));
  ASSERT_EQ(0, WriteShot(3, 2, 26, 0.004));
  ASSERT_EQ(0, WriteShot(4, 4, 51, 0.002)); // same span, twice the samples
  // Bad result names fail and keep the shot files; a name ending in .rec
  // still receives SEG-Y.
  const char* szPattern = m_strPattern.c_str();
  EXPECT_EQ(-1, CGatherMerge::MergeSgy(m_dir.Path("missing-dir/all.sgy").c_str(), szPattern, 1, 5, true));
  EXPECT_EQ(-10, m_job.MergeResults("a.sg", szPattern, 1, 5, true));
  EXPECT_EQ(-11, m_job.MergeResults(m_dir.Path("all.txt").c_str(), szPattern, 1, 5, true));
  EXPECT_FALSE(file_exists(m_dir.Path("all.txt")));
  const std::string merged = m_dir.Path("all.rec");
  ASSERT_EQ(0, m_job.MergeResults(merged.c_str(), szPattern, 1, 5, true));
  CSegyTestFile f = CSegyTestFile::Read(merged);
  ASSERT_TRUE(f.m_bOk);
  ASSERT_EQ(9, f.m_nTraces);
  EXPECT_EQ(26, f.m_nSamples);
  EXPECT_FLOAT_EQ(4000.0f, f.m_fDtUs);
  const int shotOf[9] = {1, 1, 1, 3, 3, 4, 4, 4, 4};
  const int traceOf[9] = {0, 1, 2, 0, 1, 0, 1, 2, 3};
  for (int t = 0; t < 9; t++) {
    const int s = shotOf[t], i = traceOf[t];
    EXPECT_EQ(t + 1, f.Field(t, SEGY_TR_SEQ_LINE)) << t;          // running over the whole merge
    EXPECT_EQ(i + 1, f.Field(t, SEGY_TR_NUMBER_ORIG_FIELD)) << t; // number within its file
    EXPECT_EQ(200 + s, f.Field(t, SEGY_TR_ENERGY_SOURCE_POINT)) << t;
    EXPECT_EQ(s, f.Field(t, SEGY_TR_INLINE)) << t;
    EXPECT_EQ(i + 1, f.Field(t, SEGY_TR_CROSSLINE)) << t;
    EXPECT_EQ(100 * s, f.Field(t, SEGY_TR_SOURCE_X)) << t;
    EXPECT_EQ(10 * i + 1, f.Field(t, SEGY_TR_GROUP_X)) << t;
    // The finer shot is resampled onto the first file's axis.
    for (int k = 0; k < 25; k++)
      EXPECT_FLOAT_EQ(Value(s, i, s == 4 ? 2 * k : k), f.m_vData[t][k]) << t << "," << k;
  }
  for (int s : {1, 3, 4})
    EXPECT_FALSE(file_exists(ShotFile(s)));
  EXPECT_FALSE(file_exists(ShotFile(1) + ".cr2"));

  // Nothing left to merge: a complete header-only file.
  ASSERT_EQ(0, CGatherMerge::MergeSgy(merged.c_str(), szPattern, 1, 4, true));
  ASSERT_EQ(3600, file_size(merged));
  const std::string h = read_text(merged);
  EXPECT_EQ(1, ((unsigned char)h[3224] << 8) | (unsigned char)h[3225]) << "format code";
}

} // namespace
