// Model building: the correlation table, model files sampled onto the grid,
// the surface treatment and the coefficients of the scheme.
#include <cmath>

#include "calc3d/ModelCorrelation.h"
#include "test_model_helpers.h"

TEST(ModelCorrelation, VoidInterpolationAndTail) {
  EXPECT_DOUBLE_EQ(GetDensityByPVel(300), 1000);
  EXPECT_DOUBLE_EQ(GetSVelByPVel(300), 0);
  // Linear between the knots at 1500, 2000 and 2500 m/s.
  EXPECT_DOUBLE_EQ(GetSVelByPVel(1750), (900 + 1150) / 2.0);
  EXPECT_DOUBLE_EQ(GetDensityByPVel(2250), (2010 + 2200) / 2.0);
  // Above the last but one knot both grow in proportion to the velocity.
  EXPECT_DOUBLE_EQ(GetDensityByPVel(9000), 3500);
  EXPECT_DOUBLE_EQ(GetDensityByPVel(9001), 0.38 * 9001);
  EXPECT_DOUBLE_EQ(GetSVelByPVel(9500), 0.6 * 9500);
}

#ifdef KELVO_HAVE_SEGYIO
// Model: 11 x 7 x 11 samples at 10 m from (0, 0, 0), air in the top three
// planes; grid with frame 3. A shot in the air sinks to plane 3.
TEST_F(ModelTestDir, AcousticCoefficientsExactOnBothSurfaces) {
  const int NX = 11, NY = 7, NZ = 11, F = 3;
  auto vp = [](int x, int y, int z) { return z < 3 ? 0.0f : 1500.0f + 100 * z + 10 * y + x; };
  auto rho = [](int x, int, int z) { return z < 3 ? 0.0f : 1800.0f + 20 * z + x; };
  ASSERT_TRUE(WriteSegyModel("vp.sgy", NX, NY, NZ, 0, 0, 10, vp));
  ASSERT_TRUE(WriteSegyModel("rho.sgy", NX, NY, NZ, 0, 0, 10, rho));
  m_calc.m_Set.m_nMethod = 101;
  m_calc.m_Set.m_strModelPW = "vp.sgy";
  m_calc.m_Set.m_strModelD = "rho.sgy";
  const float kc = (float)(0.001 / 10 / 15000), kb = (float)(0.001 / 10 * 15000);
  for (int surf = 0; surf < 2; surf++) {
    m_calc.SetGrid(NX + 2 * F, NY + 2 * F, NZ + 2 * F, 10, F);
    m_calc.m_fDt = 0.001;
    m_calc.m_bPML = false;
    m_calc.m_nShot = 1;
    m_calc.m_nSurfType = surf;
    ASSERT_EQ(m_calc.AllocateMemory(false, true), 0);
    m_calc.m_vShotPoints = {C3DShotPoint{m_calc.Idx(5 + F, 3 + F, F), 0}};
    m_calc.m_vExcitePoints = {C3DPointR(50, 30, 0)};
    m_calc.m_ptShot = m_calc.m_vExcitePoints[0];
    m_calc.m_vRcvIdx = {m_calc.Idx(6 + F, 3 + F, 5 + F)};
    m_calc.m_vReceivers = {C3DPointR(60, 30, 50)};
    m_calc.m_vRcvInline = m_calc.m_vRcvCrossline = m_calc.m_vRcvTraceId = {1};
    m_calc.m_vRcvFileId = {-1};
    ASSERT_EQ(m_calc.InitModel(), 0);
    EXPECT_DOUBLE_EQ(m_calc.m_ptShot.z, 30);
    EXPECT_EQ(m_calc.m_vShotPoints[0].nIndex, m_calc.Idx(5 + F, 3 + F, 3 + F));
    for (int z = 0; z < m_calc.m_nNz; z++)
      for (int y = 0; y < m_calc.m_nNy; y++)
        for (int x = 0; x < m_calc.m_nNx; x++) {
          // The frame repeats the edge of the model; an invisible surface
          // continues the medium upward from plane 3, a free one keeps the
          // air void.
          const int sx = std::min(std::max(x - F, 0), NX - 1), sy = std::min(std::max(y - F, 0), NY - 1);
          const int sz = std::min(std::max(z - F, surf ? 0 : 3), NZ - 1);
          const float v = vp(sx, sy, sz), r = rho(sx, sy, sz);
          const size_t i = m_calc.Idx(x, y, z);
          ASSERT_EQ(m_calc.m_pK[i], v * v * r * kc) << surf << ": " << x << "," << y << "," << z;
          ASSERT_EQ(m_calc.m_pB[i], r > 0 ? kb / r : 0.0f) << surf << ": " << x << "," << y << "," << z;
        }
  }
}
#endif

TEST_F(ModelTestDir, InvisibleSurfaceContinuesMediumUpwards) {
  m_calc.m_Set.m_nMethod = 102;
  m_calc.SetGrid(4, 1, 12, 10, 0);
  m_calc.m_bPML = false;
  ASSERT_EQ(m_calc.AllocateMemory(false, true), 0);
  auto K = [&](int x, int z) -> float& { return m_calc.m_pK[m_calc.Idx(x, 0, z)]; };
  // Column 0: solid from plane 0. Column 1: first solid at plane 10.
  // Column 2: all void. Column 3: void, solid, void, solid, void.
  for (int z = 0; z < 12; z++) {
    K(0, z) = 1000.0f + z;
    K(1, z) = z >= 10 ? 2000.0f + z : 0.0f;
    K(3, z) = ((z >= 2 && z < 4) || (z >= 7 && z < 9)) ? 3000.0f + z : 0.0f;
    for (int x = 0; x < 4; x++) {
      m_calc.m_pB[m_calc.Idx(x, 0, z)] = K(x, z) > 0 ? 2000.0f + z : 0.0f;
      m_calc.m_pMu[m_calc.Idx(x, 0, z)] = K(x, z) > 0 ? 500.0f + z : 0.0f;
    }
  }
  ASSERT_EQ(m_calc.MakeSurface(), 0);
  ASSERT_EQ(m_calc.MakeSurfaceBottomDistributed(), 0);
  // Column 3: filled from the top down to its first solid stretch and from
  // its deepest solid cell downward; the void between two stretches stays.
  const std::vector<float> want3 = {3002, 3002, 3002, 3003, 0, 0, 0, 3007, 3008, 3008, 3008, 3008};
  for (int z = 0; z < 12; z++) {
    EXPECT_EQ(K(0, z), 1000.0f + z);
    EXPECT_EQ(K(1, z), z < 10 ? 2010.0f : 2000.0f + z) << z;
    EXPECT_EQ(m_calc.m_pB[m_calc.Idx(1, 0, z)], z < 10 ? 2010.0f : 2000.0f + z) << z;
    EXPECT_EQ(m_calc.m_pMu[m_calc.Idx(1, 0, z)], z < 10 ? 510.0f : 500.0f + z) << z;
    EXPECT_EQ(K(2, z), 0.0f);
    EXPECT_EQ(K(3, z), want3[z]) << z;
  }
}
