// Model cubes assembled from depth traces onto another grid.
#include <cmath>

#include "SeisTestUtil.h"

class SdsPCGrid : public ScratchDirTest {
protected:
  // Writes a depth model of nz samples over 0..100 m, one trace per (x, y)
  // column, and samples it onto a grid of n cells over the cube.
  std::vector<float> Sample(const std::vector<CPointR>& pos, int nz, float (*f)(double, double, double), C3DSizeN n,
                            const CCubeR& cube, float fThreshold = -1.0f) {
    const int nt = (int)pos.size();
    std::vector<float> data((size_t)nt * nz);
    std::vector<SDS_TRACEINFO> info(nt, SDS_TRACEINFO{});
    for (int i = 0; i < nt; i++) {
      info[i].m_fXs = info[i].m_fXr = (float)pos[i].x;
      info[i].m_fYs = info[i].m_fYr = (float)pos[i].y;
      for (int k = 0; k < nz; k++)
        data[(size_t)k * nt + i] = f(pos[i].x, pos[i].y, k * 100.0 / (nz - 1));
    }
    const std::string p = Path("model.sgy");
    CSdsPC sds;
    EXPECT_TRUE(
        sds.OnSave(p.c_str(), data.data(), CRectR(0, 0, 1, 100), CSizeN(nt, nz), 0, 0, false, info.data(), DU_M));
    std::vector<float> buf((size_t)n.cx * n.cy * n.cz, -1.0f);
    testing::internal::CaptureStdout();
    const bool ok = sds.OnOpen(p.c_str(), 0, 1, 0, 0) && sds.Get3D_buf(n, cube, buf.data(), nullptr, 0, fThreshold);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(ok);
    return buf;
  }
};

static float linear_field(double x, double y, double z) { return (float)(1000 + x + 2 * y + z); }

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
  // Both columns fall into cell 0; their upper sample is void (0).
  auto depth = [](double, double, double z) { return (float)z; };
  std::vector<float> buf =
      Sample({CPointR(0, 0), CPointR(0, 0)}, 3, depth, C3DSizeN(2, 2, 3), CCubeR(0, 0, 0, 10, 10, 100), 1.0f);
  EXPECT_EQ(buf[0], 0.0f) << "void stays void";
  EXPECT_FLOAT_EQ(buf[4 + 0], 50.0f);
  EXPECT_FLOAT_EQ(buf[8 + 1], 100.0f);
  for (float v : buf)
    EXPECT_FALSE(std::isnan(v));
}
