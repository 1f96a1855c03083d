// Resampling traces onto another axis and assembling model cubes.
#include <cmath>
#include <limits>

#include "SeisTestUtil.h"

class SdsPCGrid : public ScratchDirTest {
protected:
  // A depth model of one trace per (x, y) column, written by OnSave.
  void WriteModel(const std::string& path, const std::vector<CPointR>& pos, double z0, double z1, int nz,
                  float (*f)(double x, double y, double z)) {
    const int n = (int)pos.size();
    std::vector<float> data((size_t)n * nz);
    std::vector<SDS_TRACEINFO> info(n);
    const double dz = (z1 - z0) / (nz - 1);
    for (int i = 0; i < n; i++) {
      info[i] = SDS_TRACEINFO{};
      info[i].m_fXs = info[i].m_fXr = (float)pos[i].x;
      info[i].m_fYs = info[i].m_fYr = (float)pos[i].y;
      for (int k = 0; k < nz; k++)
        data[(size_t)k * n + i] = f(pos[i].x, pos[i].y, z0 + k * dz);
    }
    CSdsPC sds;
    ASSERT_TRUE(
        sds.OnSave(path.c_str(), data.data(), CRectR(0, z0, 1, z1), CSizeN(n, nz), 0, 0, false, info.data(), DU_M));
  }
  // Writes a model of nz samples over 0..100 m and samples it onto a grid.
  std::vector<float> Sample(const std::vector<CPointR>& pos, int nz, float (*f)(double, double, double), C3DSizeN n,
                            const CCubeR& cube) {
    const std::string p = Path("model.sgy");
    WriteModel(p, pos, 0, 100, nz, f);
    CSdsPC sds;
    std::vector<float> buf((size_t)n.cx * n.cy * n.cz, -1.0f);
    testing::internal::CaptureStdout();
    const bool ok = sds.OnOpen(p.c_str(), 0, 1, 0, 0) && sds.Get3D_buf(n, cube, buf.data(), nullptr, 0, -1.0f);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(ok);
    return buf;
  }
};

static float linear_field(double x, double y, double z) { return (float)(1000 + x + 2 * y + z); }

TEST_F(SdsPCGrid, ResamplingOntoAnotherAxis) {
  std::string p = Path("m.sgy");
  WriteModel(p, {CPointR(0, 0), CPointR(10, 0)}, 0, 100, 11, linear_field);
  CSdsPC sds;
  ASSERT_TRUE(sds.OnOpen(p.c_str(), 0, 1, 0, 0));
  std::vector<float> out(64, -1.0f);
  double same[3] = {0, 100, 10};
  ASSERT_TRUE(sds.GetTrace(1, out.data(), same, nullptr, 0));
  EXPECT_FLOAT_EQ(out[10], 1110.0f);
  // Finer step, starting inside, running past the end of the file.
  double fine[3] = {52.5, 120, 2.5};
  ASSERT_TRUE(sds.GetTrace(0, out.data(), fine, nullptr, 0));
  EXPECT_FLOAT_EQ(out[0], 1052.5f);
  EXPECT_FLOAT_EQ(out[3], 1060.0f);
  EXPECT_FLOAT_EQ(out[19], 1100.0f) << "the last sample itself";
  EXPECT_FLOAT_EQ(out[22], 1100.0f) << "the last sample covers its whole step";
  EXPECT_EQ(out[23], 0.0f) << "beyond the file's axis";
  EXPECT_EQ(out[27], 0.0f);
  EXPECT_EQ(out[28], -1.0f) << "nothing written past the requested length";
  // Before the file's start: zeros, with a caller's scratch buffer.
  std::vector<float> scratch(11);
  double before[3] = {-20, 20, 10};
  ASSERT_TRUE(sds.GetTrace(0, out.data(), before, scratch.data(), 0));
  EXPECT_EQ(out[0], 0.0f);
  EXPECT_EQ(out[1], 0.0f);
  EXPECT_FLOAT_EQ(out[2], 1000.0f);
  EXPECT_FLOAT_EQ(out[4], 1020.0f);
  // A threshold keeps void samples from blending into their neighbours.
  ASSERT_TRUE(sds.GetTrace(0, out.data(), fine, nullptr, 1.0e9f));
  EXPECT_EQ(out[0], 0.0f) << "between two samples below the threshold";
  EXPECT_FLOAT_EQ(out[3], 1060.0f) << "a sample hit exactly is kept";
  testing::internal::CaptureStdout();
  double bad[3] = {10, 0, 1};
  EXPECT_FALSE(sds.GetTrace(0, out.data(), bad, nullptr, 0));
  EXPECT_FALSE(sds.GetTrace(7, out.data(), fine, nullptr, 0));
  std::string msg = testing::internal::GetCapturedStdout();
  EXPECT_NE(msg.find("----- GetTrace failed: tracelenR=-8 <= 0."), std::string::npos) << msg;
  EXPECT_NE(msg.find("GetTrace error: isError (" + p + "), 7"), std::string::npos) << msg;
}

TEST_F(SdsPCGrid, CubeOnAFinerGridReproducesALinearModel) {
  std::vector<CPointR> pos;
  for (int y = 0; y < 3; y++)
    for (int x = 0; x < 3; x++)
      pos.push_back(CPointR(100.0 * x, 100.0 * y));
  const int nx = 5, ny = 5, nz = 21;
  std::vector<float> buf = Sample(pos, 11, linear_field, C3DSizeN(nx, ny, nz), CCubeR(0, 0, 0, 200, 200, 100));
  for (int z = 0; z < nz; z++)
    for (int y = 0; y < ny; y++)
      for (int x = 0; x < nx; x++)
        ASSERT_NEAR(buf[(z * ny + y) * nx + x], linear_field(50.0 * x, 50.0 * y, 5.0 * z), 1e-2)
            << x << "," << y << "," << z;
}

TEST_F(SdsPCGrid, OffGridTracesShareBilinearWeights) {
  std::vector<float> buf = Sample(
      {CPointR(25, 0), CPointR(75, 0)}, 3, [](double x, double, double) { return x < 50 ? 10.0f : 20.0f; },
      C3DSizeN(2, 1, 3), CCubeR(0, 0, 0, 100, 0, 100));
  for (int z = 0; z < 3; z++) {
    EXPECT_FLOAT_EQ(buf[z * 2 + 0], 12.5f);
    EXPECT_FLOAT_EQ(buf[z * 2 + 1], 17.5f);
  }
}

TEST_F(SdsPCGrid, HolesTakeTheWeightedMeanOfTheirNearestNeighbours) {
  // Two columns on a row of 5 cells: at x index 0 (value 10) and 3 (value 40).
  std::vector<float> buf = Sample(
      {CPointR(0, 0), CPointR(30, 0)}, 2, [](double x, double, double) { return x < 15 ? 10.0f : 40.0f; },
      C3DSizeN(5, 2, 2), CCubeR(0, 0, 0, 40, 10, 100));
  // Cell 1: left at 1, right at 2 -> weights 2/3 and 1/3 -> 20.
  EXPECT_FLOAT_EQ(buf[1], 20.0f);
  EXPECT_FLOAT_EQ(buf[2], 30.0f);
  EXPECT_FLOAT_EQ(buf[4], 40.0f) << "one neighbour only";
  // Row y = 1 has no trace. The first pass fills the cells above a trace;
  // cells filled in the same pass are not used until the next one.
  EXPECT_FLOAT_EQ(buf[5 + 0], 10.0f);
  EXPECT_FLOAT_EQ(buf[5 + 3], 40.0f);
  // Second pass, cell (1,1): right (3,1) at 2, left and back at 1:
  // weights 1/2, 3/4, 3/4 -> (20 + 7.5 + 15) / 2.
  EXPECT_FLOAT_EQ(buf[5 + 1], 21.25f);
  // Cell (2,1): (1,1) was just filled, so left is (0,1) at 2.
  EXPECT_FLOAT_EQ(buf[5 + 2], 28.75f);
  EXPECT_FLOAT_EQ(buf[5 + 4], 40.0f);
  EXPECT_FLOAT_EQ(buf[10 + 2], 30.0f) << "second layer too";
}

TEST_F(SdsPCGrid, ThresholdKeepsVoidApart) {
  std::string p = Path("void.sgy");
  // Both columns fall into cell 0; the first is void (0) in its upper half.
  WriteModel(p, {CPointR(0, 0), CPointR(0, 0.0)}, 0, 100, 3, [](double, double, double z) { return (float)z; });
  CSdsPC sds;
  ASSERT_TRUE(sds.OnOpen(p.c_str(), 0, 1, 0, 0));
  std::vector<float> buf(2 * 2 * 3);
  testing::internal::CaptureStdout();
  ASSERT_TRUE(sds.Get3D_buf(C3DSizeN(2, 2, 3), CCubeR(0, 0, 0, 10, 10, 100), buf.data(), 1.0f));
  EXPECT_EQ(buf[0], 0.0f) << "void stays void";
  EXPECT_FLOAT_EQ(buf[4 + 0], 50.0f);
  EXPECT_FLOAT_EQ(buf[4 + 3], 50.0f);
  ASSERT_TRUE(sds.Get3D_buf(C3DSizeN(2, 2, 3), CCubeR(0, 0, 0, 10, 10, 100), buf.data(), -1.0f));
  EXPECT_FLOAT_EQ(buf[8 + 1], 100.0f);
  for (float v : buf)
    EXPECT_FALSE(std::isnan(v));
  // No trace in the requested area; degenerate steps.
  EXPECT_FALSE(sds.Get3D_buf(C3DSizeN(2, 2, 3), CCubeR(500, 500, 0, 600, 600, 100), buf.data(), -1.0f));
  EXPECT_FALSE(sds.Get3D_buf(C3DSizeN(1, 1, 3), CCubeR(0, 0, 0, 0, 0, 100), buf.data(), -1.0f));
  std::string msg = testing::internal::GetCapturedStdout();
  EXPECT_NE(msg.find("Get3D_buf step error"), std::string::npos);
}

TEST_F(SdsPCGrid, NotANumberReachesTheCallerAsZero) {
  // Native floats (format 6) keep their bit patterns, not-a-numbers included.
  std::vector<unsigned char> b(3600, 0);
  b[3221] = 60, b[3217] = 0xE8, b[3216] = 0x03, b[3225] = 6;
  std::vector<unsigned char> th(240, 0);
  th[29] = 1;
  b.insert(b.end(), th.begin(), th.end());
  for (int k = 0; k < 60; k++) {
    float v = k == 5 ? std::numeric_limits<float>::quiet_NaN() : (float)k;
    unsigned char s[4];
    memcpy(s, &v, 4);
    b.insert(b.end(), s, s + 4);
  }
  std::string p = Path("nan.sgy");
  write_file(p, b);
  CSdsPC sds;
  ASSERT_TRUE(sds.OnOpen(p.c_str(), 0, 0, 0, 0));
  std::vector<float> out(60);
  ASSERT_TRUE(sds.GetTrace(0, out.data(), 60));
  EXPECT_EQ(out[5], 0.0f);
  EXPECT_EQ(out[6], 6.0f);
  sds.m_rValueScale = 3.0;
  ASSERT_TRUE(sds.GetTrace(0, out.data(), 60));
  EXPECT_EQ(out[5], 0.0f) << "also after scaling";
  EXPECT_EQ(out[6], 18.0f);
}
