#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "output/GatherWriter.h"
#include "seisfile/ScratchDir.h"
#include "seisfile/SdsPC.h"
#include "seisfile/SegyTestFile.h"

namespace {

// Scalers are process-wide; each test starts from the defaults and restores them.
class GatherWriterTest : public ::testing::Test {
protected:
  void SetUp() override {
#ifndef KELVO_HAVE_SEGYIO
    GTEST_SKIP() << "segyio not available";
#endif
    CSdsPC::COOR_SCALER = 1;
    CSdsPC::ELEV_SCALER = 1;
    m_writer.m_ptShot = C3DPointR(150, 200, 10);
    m_writer.m_nShot = 3;
    m_writer.m_nShotId = 103;
    m_writer.m_t0 = 0;
    m_writer.m_dt = 0.002;
    for (int i = 0; i < kTraces; i++)
      m_rcv.push_back(C3DPointR(100 + 20 * i, 210, 15));
    // Values exact in IBM floats: quarters of small integers.
    m_data.resize(kTraces * kSamples);
    for (int k = 0; k < kSamples; k++)
      for (int i = 0; i < kTraces; i++)
        m_data[k * kTraces + i] = 0.25f * (k + 1) - 2.0f * i;
  }
  void TearDown() override {
    CSdsPC::COOR_SCALER = 1;
    CSdsPC::ELEV_SCALER = 1;
  }

  static constexpr int kTraces = 5;
  static constexpr int kSamples = 51;
  CScratchDir m_dir;
  CGatherWriter m_writer;
  std::vector<C3DPointR> m_rcv;
  std::vector<float> m_data;
};

// Receiver numbers and the shot id go to their header fields; absent numbers
// (0 or -1) leave the running numbers or the shot number in their place.
TEST_F(GatherWriterTest, ReceiverNumbersAndShotIdGoToTheirHeaderFields) {
  const std::string path = m_dir.Path("g.sgy");
  std::vector<int> inl(kTraces, 7), xl, tid, fid, none(kTraces, -1), zero(kTraces, 0);
  for (int i = 0; i < kTraces; i++) {
    xl.push_back(11 + i);
    tid.push_back(i == 2 ? -1 : 500 + i); // a trace without id keeps its running number
    fid.push_back(9000 + i);
  }
  ASSERT_EQ(0, m_writer.Write(path.c_str(), kTraces, kSamples, m_data.data(), m_rcv, &inl, &xl, &tid, &fid));
  CSegyTestFile f = CSegyTestFile::Read(path);
  ASSERT_TRUE(f.m_bOk);
  ASSERT_EQ(kTraces, f.m_nTraces);
  EXPECT_EQ(kSamples, f.m_nSamples);
  EXPECT_FLOAT_EQ(2000.0f, f.m_fDtUs);
  for (int i = 0; i < kTraces; i++) {
    EXPECT_EQ(7, f.Field(i, SEGY_TR_INLINE));
    EXPECT_EQ(11 + i, f.Field(i, SEGY_TR_CROSSLINE));
    EXPECT_EQ(i == 2 ? 3 : 500 + i, f.Field(i, SEGY_TR_NUMBER_ORIG_FIELD));
    EXPECT_EQ(9000 + i, f.Field(i, SEGY_TR_FIELD_RECORD));
    EXPECT_EQ(103, f.Field(i, SEGY_TR_ENERGY_SOURCE_POINT));
    EXPECT_EQ(i + 1, f.Field(i, SEGY_TR_SEQ_LINE));
    // Geometry: z down, elevation up; signed X offset.
    EXPECT_EQ(100 + 20 * i, f.Field(i, SEGY_TR_GROUP_X));
    EXPECT_EQ(-15, f.Field(i, SEGY_TR_RECV_GROUP_ELEV));
    EXPECT_EQ(-10, f.Field(i, SEGY_TR_SOURCE_SURF_ELEV));
    EXPECT_EQ(100 + 20 * i - 150, f.Field(i, SEGY_TR_OFFSET));
    // Completing the headers leaves the samples alone.
    for (int k = 0; k < kSamples; k++)
      EXPECT_FLOAT_EQ(m_data[k * kTraces + i], f.m_vData[i][k]) << i << "," << k;
  }
  // Without numbers the shot number stands in the file and shot fields; an
  // inline without crossline is not written (the running number stays).
  ASSERT_EQ(0, m_writer.Write(path.c_str(), kTraces, kSamples, m_data.data(), m_rcv, &inl, &zero, &none, &none));
  f = CSegyTestFile::Read(path);
  ASSERT_TRUE(f.m_bOk);
  for (int i = 0; i < kTraces; i++) {
    EXPECT_EQ(3, f.Field(i, SEGY_TR_FIELD_RECORD));
    EXPECT_EQ(3, f.Field(i, SEGY_TR_ENERGY_SOURCE_POINT));
    EXPECT_EQ(i + 1, f.Field(i, SEGY_TR_NUMBER_ORIG_FIELD));
    EXPECT_EQ(i + 1, f.Field(i, SEGY_TR_INLINE));
  }
}

TEST_F(GatherWriterTest, NegativeScalersKeepCentimetres) {
  CSdsPC::COOR_SCALER = -100;
  CSdsPC::ELEV_SCALER = -100;
  m_writer.m_ptShot = C3DPointR(12.5, 3.25, 1.5);
  for (int i = 0; i < kTraces; i++)
    m_rcv[i] = C3DPointR(0.75 * i, 2.5, 0.25);
  const std::string path = m_dir.Path("g.sgy");
  ASSERT_EQ(0,
            m_writer.Write(path.c_str(), kTraces, kSamples, m_data.data(), m_rcv, nullptr, nullptr, nullptr, nullptr));
  CSegyTestFile f = CSegyTestFile::Read(path);
  ASSERT_TRUE(f.m_bOk);
  for (int i = 0; i < kTraces; i++) {
    EXPECT_EQ(-100, f.Field(i, SEGY_TR_SOURCE_GROUP_SCALAR));
    EXPECT_EQ(-100, f.Field(i, SEGY_TR_ELEV_SCALAR));
    EXPECT_EQ(1250, f.Field(i, SEGY_TR_SOURCE_X));
    EXPECT_EQ(325, f.Field(i, SEGY_TR_SOURCE_Y));
    EXPECT_EQ(75 * i, f.Field(i, SEGY_TR_GROUP_X));
    EXPECT_EQ(-25, f.Field(i, SEGY_TR_RECV_GROUP_ELEV));
    EXPECT_EQ(-150, f.Field(i, SEGY_TR_SOURCE_SURF_ELEV));
  }
}

TEST_F(GatherWriterTest, RefusesBadInputAndReportsWriteFailure) {
  const std::string path = m_dir.Path("g.sgy");
  EXPECT_EQ(-1, m_writer.Write(path.c_str(), 0, kSamples, m_data.data(), m_rcv, nullptr, nullptr, nullptr, nullptr));
  EXPECT_FALSE(file_exists(path));
  std::vector<C3DPointR> few(m_rcv.begin(), m_rcv.begin() + 2);
  EXPECT_EQ(-1,
            m_writer.Write(path.c_str(), kTraces, kSamples, m_data.data(), few, nullptr, nullptr, nullptr, nullptr));
  const std::string bad = m_dir.Path("no-such-dir/g.sgy");
  EXPECT_EQ(1,
            m_writer.Write(bad.c_str(), kTraces, kSamples, m_data.data(), m_rcv, nullptr, nullptr, nullptr, nullptr));
}

} // namespace
