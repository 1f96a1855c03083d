// Gathers written here, read back by segyio and by CSdsPC.
#include <unistd.h>

#include <cmath>

#include "SeisTestUtil.h"

class SdsPCWrite : public ScratchDirTest {
protected:
  void TearDown() override {
    CSdsPC::COOR_SCALER = 1;
    CSdsPC::ELEV_SCALER = 1;
  }
};

#ifdef KELVO_HAVE_SEGYIO
TEST_F(SdsPCWrite, GatherIsReadableByOtherSoftware) {
  const int cx = 4, cy = 60;
  std::vector<float> data(cx * cy);
  for (int k = 0; k < cy; k++)
    for (int i = 0; i < cx; i++)
      data[k * cx + i] = (k == 3) ? 5e-7f : (float)std::sin(0.1 * k + i) * (i + 1) * 100.0f;
  std::vector<SDS_TRACEINFO> info(cx);
  for (int i = 0; i < cx; i++) {
    info[i] = SDS_TRACEINFO{};
    info[i].m_fXs = 500.0f, info[i].m_fYs = 50.0f;
    info[i].m_fXr = 100.0f * i + 0.25f, info[i].m_fYr = 20.0f, info[i].m_fZr = 12.5f;
  }
  CSdsPC::COOR_SCALER = -100;
  std::string path = Path("gather.sgy");
  CSdsPC sds;
  ASSERT_TRUE(sds.OnSave(path.c_str(), data.data(), CRectR(0, 0, 300, 0.118), CSizeN(cx, cy), 0, 0, false, info.data(),
                         DU_SEC));
  CSegyTestFile rb = CSegyTestFile::Read(path);
  ASSERT_EQ(rb.m_nTraces, cx);
  EXPECT_EQ(rb.m_nSamples, cy);
  EXPECT_EQ(rb.m_nFormat, 1);
  EXPECT_EQ((int)rb.m_fDtUs, 2000);
  for (int i = 0; i < cx; i++) {
    EXPECT_EQ(rb.Field(i, SEGY_TR_OFFSET), (int)std::floor(100.0 * i + 0.25 - 500.0)) << "signed X offset";
    EXPECT_EQ(rb.Field(i, SEGY_TR_SOURCE_X), 50000);
    EXPECT_EQ(rb.Field(i, SEGY_TR_GROUP_X), 10000 * i + 25);
    EXPECT_EQ(rb.Field(i, SEGY_TR_SOURCE_GROUP_SCALAR), -100);
    EXPECT_EQ(rb.Field(i, SEGY_TR_RECV_GROUP_ELEV), -12) << "elevation is -Z, rounded up at .5";
    EXPECT_EQ(rb.Field(i, SEGY_TR_INLINE), i + 1);
    for (int k = 0; k < cy; k++) {
      float want = data[k * cx + i];
      if (k == 3)
        ASSERT_EQ(rb.m_vData[i][k], 0.0f) << "tiny values become 0";
      else
        ASSERT_NEAR(rb.m_vData[i][k], want, std::fabs(want) * 1e-6 + 1e-6) << i << "," << k;
    }
  }
  // And back through the object: the vendor header gives unit and axis.
  ASSERT_TRUE(sds.OnOpen(path.c_str(), 0, 0, 0, 0));
  EXPECT_EQ(sds.m_nTraceCount, cx);
  EXPECT_NEAR(sds.m_rT1, 118.0, 1e-9);
  EXPECT_NEAR(sds.m_rDT, 2.0, 1e-9);
  EXPECT_FLOAT_EQ(sds.m_pSR[2].m_fXr, 200.25f);
  EXPECT_FLOAT_EQ(sds.m_pSR[2].m_fZr, 12.0f);
  std::vector<float> t(cy);
  ASSERT_TRUE(sds.GetTrace(1, t.data(), cy));
  EXPECT_NEAR(t[10], data[10 * cx + 1], std::fabs(data[10 * cx + 1]) * 1e-6);
}
#endif

TEST_F(SdsPCWrite, CubeOnAFullDiskIsReportedNotTakenAsWritten) {
  // /dev/full takes the open and fails every write; the last buffered bytes
  // fail only at the close. A cube small enough to sit in the buffer until
  // then, and one large enough to fail on the way, are both refused.
  const std::string path = Path("cube.sgy");
  if (access("/dev/full", W_OK) != 0 || symlink("/dev/full", path.c_str()) != 0)
    GTEST_SKIP() << "no /dev/full here";
  for (int n : {2, 60}) {
    CSdsPC sds;
    EXPECT_FALSE(
        sds.Create3D_file(path.c_str(), C3DSizeN(n, n, n), CCubeR(0, 0, 0, 100, 100, 100), 0, DU_M, 0, nullptr))
        << n << "^3";
  }
}
