#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "output/GatherMerge.h"
#include "output/GatherWriter.h"
#include "run/KelvoApp.h"
#include "seisfile/ScratchDir.h"
#include "seisfile/SdsPC.h"
#include "seisfile/SegyTestFile.h"

namespace {

class GatherMergeTest : public ::testing::Test {
protected:
  void SetUp() override {
#ifndef KELVO_HAVE_SEGYIO
    GTEST_SKIP() << "segyio not available";
#endif
    CSdsPC::COOR_SCALER = 1;
    CSdsPC::ELEV_SCALER = 1;
    m_strPattern = m_dir.Path("shot-%d.sgy");
  }

  std::string ShotFile(int nShot) const {
    char sz[4096];
    snprintf(sz, sizeof(sz), m_strPattern.c_str(), nShot);
    return sz;
  }

  // Writes the gather of one shot: nTraces receivers on a line, the value
  // of sample k of trace i is shot + i / 4 + k / 8 (exact in IBM floats).
  void WriteShot(int nShot, int nTraces, int nSamples, double dt) {
    CGatherWriter w;
    w.m_ptShot = C3DPointR(100.0 * nShot, 50, 5);
    w.m_nShot = nShot;
    w.m_nShotId = 200 + nShot;
    w.m_t0 = 0;
    w.m_dt = dt;
    std::vector<C3DPointR> rcv;
    std::vector<int> inl, xl, tid, fid;
    for (int i = 0; i < nTraces; i++) {
      rcv.push_back(C3DPointR(10.0 * i, 60, 5));
      inl.push_back(nShot);
      xl.push_back(i + 1);
      tid.push_back(-1);
      fid.push_back(-1);
    }
    std::vector<float> data((size_t)nTraces * nSamples);
    for (int k = 0; k < nSamples; k++)
      for (int i = 0; i < nTraces; i++)
        data[(size_t)k * nTraces + i] = Value(nShot, i, k);
    ASSERT_EQ(0, w.Write(ShotFile(nShot).c_str(), nTraces, nSamples, data.data(), rcv, &inl, &xl, &tid, &fid));
  }
  static float Value(int nShot, int i, int k) { return (float)nShot + 0.25f * i + 0.125f * k; }

  CScratchDir m_dir;
  std::string m_strPattern;
};

TEST_F(GatherMergeTest, JoinsShotsInOrderAndKeepsShotIdsAndLineNumbers) {
  WriteShot(1, 3, 26, 0.004);
  WriteShot(2, 4, 26, 0.004);
  WriteShot(3, 2, 26, 0.004);
  const std::string merged = m_dir.Path("all.sgy");
  ASSERT_EQ(0, CGatherMerge::MergeSgy(merged.c_str(), m_strPattern.c_str(), 1, 3, false));

  CSegyTestFile f = CSegyTestFile::Read(merged);
  ASSERT_TRUE(f.m_bOk);
  ASSERT_EQ(9, f.m_nTraces);
  EXPECT_EQ(26, f.m_nSamples);
  EXPECT_FLOAT_EQ(4000.0f, f.m_fDtUs);
  const int shotOf[9] = {1, 1, 1, 2, 2, 2, 2, 3, 3};
  const int traceOf[9] = {0, 1, 2, 0, 1, 2, 3, 0, 1};
  for (int t = 0; t < 9; t++) {
    const int s = shotOf[t], i = traceOf[t];
    EXPECT_EQ(t + 1, f.Field(t, SEGY_TR_SEQ_LINE)) << t;              // running over the whole merge
    EXPECT_EQ(i + 1, f.Field(t, SEGY_TR_NUMBER_ORIG_FIELD)) << t;     // number within its file
    EXPECT_EQ(200 + s, f.Field(t, SEGY_TR_ENERGY_SOURCE_POINT)) << t; // shot id carried over
    EXPECT_EQ(s, f.Field(t, SEGY_TR_INLINE)) << t;
    EXPECT_EQ(i + 1, f.Field(t, SEGY_TR_CROSSLINE)) << t;
    EXPECT_EQ(100 * s, f.Field(t, SEGY_TR_SOURCE_X)) << t;
    EXPECT_EQ(10 * i, f.Field(t, SEGY_TR_GROUP_X)) << t;
    for (int k = 0; k < 26; k += 5)
      EXPECT_FLOAT_EQ(Value(s, i, k), f.m_vData[t][k]) << t << "," << k;
  }
  // Without removal the shot files stay.
  for (int s = 1; s <= 3; s++)
    EXPECT_TRUE(file_exists(ShotFile(s)));
}

TEST_F(GatherMergeTest, GapsAreSkippedAndRemovalDeletesTheShotFiles) {
  WriteShot(1, 2, 11, 0.002);
  WriteShot(3, 3, 11, 0.002);
  const std::string merged = m_dir.Path("all.sgy");
  ASSERT_EQ(0, CGatherMerge::MergeSgy(merged.c_str(), m_strPattern.c_str(), 1, 4, true));
  CSegyTestFile f = CSegyTestFile::Read(merged);
  ASSERT_TRUE(f.m_bOk);
  ASSERT_EQ(5, f.m_nTraces);
  EXPECT_EQ(203, f.Field(4, SEGY_TR_ENERGY_SOURCE_POINT));
  EXPECT_FALSE(file_exists(ShotFile(1)));
  EXPECT_FALSE(file_exists(ShotFile(3)));
  EXPECT_FALSE(file_exists(ShotFile(1) + ".cr2"));

  // A second merge finds nothing and leaves a complete header-only file.
  ASSERT_EQ(0, CGatherMerge::MergeSgy(merged.c_str(), m_strPattern.c_str(), 1, 4, true));
  ASSERT_EQ(3600, file_size(merged));
  const std::string h = read_text(merged);
  EXPECT_EQ(1, ((unsigned char)h[3224] << 8) | (unsigned char)h[3225]) << "format code";
  EXPECT_EQ(0, ((unsigned char)h[3212] << 8) | (unsigned char)h[3213]) << "no traces";
  // An empty range gives the same.
  ASSERT_EQ(0, CGatherMerge::MergeSgy(merged.c_str(), m_strPattern.c_str(), 2, 1, false));
  EXPECT_EQ(3600, file_size(merged));
}

TEST_F(GatherMergeTest, AnotherSampleIntervalIsResampledOntoTheFirstAxis) {
  WriteShot(1, 2, 21, 0.004); // 0 .. 80 ms
  WriteShot(2, 2, 41, 0.002); // same span, twice the samples
  const std::string merged = m_dir.Path("all.sgy");
  ASSERT_EQ(0, CGatherMerge::MergeSgy(merged.c_str(), m_strPattern.c_str(), 1, 2, false));
  CSegyTestFile f = CSegyTestFile::Read(merged);
  ASSERT_TRUE(f.m_bOk);
  ASSERT_EQ(4, f.m_nTraces);
  EXPECT_EQ(21, f.m_nSamples);
  EXPECT_FLOAT_EQ(4000.0f, f.m_fDtUs);
  // Sample k of the result is sample 2k of the finer file: shot 2 values.
  for (int k = 0; k < 20; k++)
    EXPECT_NEAR(Value(2, 1, 2 * k), f.m_vData[3][k], 1e-3) << k;
}

TEST_F(GatherMergeTest, BadResultNamesFailAndKeepTheShotFiles) {
  WriteShot(1, 2, 11, 0.002);
  EXPECT_EQ(-1, CGatherMerge::MergeSgy(m_dir.Path("missing-dir/all.sgy").c_str(), m_strPattern.c_str(), 1, 1, true));
  EXPECT_TRUE(file_exists(ShotFile(1)));
  EXPECT_EQ(-10, m_job.MergeResults("a.sg", m_strPattern.c_str(), 1, 1, false));
  EXPECT_EQ(-11, m_job.MergeResults(m_dir.Path("all.txt").c_str(), m_strPattern.c_str(), 1, 1, false));
  EXPECT_FALSE(file_exists(m_dir.Path("all.txt")));
  // A name ending in .rec still receives SEG-Y.
  const std::string rec = m_dir.Path("all.rec");
  ASSERT_EQ(0, m_job.MergeResults(rec.c_str(), m_strPattern.c_str(), 1, 1, false));
  CSegyTestFile f = CSegyTestFile::Read(rec);
  ASSERT_TRUE(f.m_bOk);
  EXPECT_EQ(2, f.m_nTraces);
}

} // namespace
