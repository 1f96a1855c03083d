// Model building: components from files and from the correlation table,
// surfaces, and the conversion to the coefficients of the scheme.
#include <cmath>

#include "calc3d/ModelCorrelation.h"
#include "test_model_helpers.h"

// ---- correlation table ------------------------------------------------------

TEST(ModelCorrelation, VoidInterpolationAndTail) {
  EXPECT_DOUBLE_EQ(GetDensityByPVel(0), 1000);
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

// ---- a model grid filled by hand ---------------------------------------

class ModelGridTest : public ModelTestDir {
protected:
  void Setup(int method, int nx, int ny, int nz, int f) {
    m_app.m_nMethod = method;
    m_calc.SetGrid(nx, ny, nz, 10, f);
    m_calc.m_fDt = 0.001;
    m_calc.m_bPML = false;
    ASSERT_EQ(m_calc.AllocateMemory(false, true), 0);
  }
  float& K(int x, int y, int z) { return m_calc.m_pK[m_calc.Idx(x, y, z)]; }
  float& B(int x, int y, int z) { return m_calc.m_pB[m_calc.Idx(x, y, z)]; }
};

TEST_F(ModelGridTest, CorrelationFillsFromVelocities) {
  Setup(102, 4, 3, 5, 1);
  const size_t n = m_calc.GetCubeSize();
  for (size_t i = 0; i < n; i++)
    m_calc.m_pK[i] = (float)(i % 7) * 1000.0f; // includes 0 (void)
  ASSERT_EQ(m_calc.LoadModelComponent(1, "", m_calc.m_pK, m_calc.m_pMu, nullptr), 0);
  ASSERT_EQ(m_calc.LoadModelComponent(2, "", m_calc.m_pK, m_calc.m_pB, nullptr), 0);
  for (size_t i = 0; i < n; i++) {
    const double v = m_calc.m_pK[i];
    EXPECT_EQ(m_calc.m_pMu[i], v > 0 ? (float)GetSVelByPVel(v) : 0.0f) << i;
    EXPECT_EQ(m_calc.m_pB[i], v > 0 ? (float)GetDensityByPVel(v) : 0.0f) << i;
  }
}

TEST_F(ModelGridTest, ComponentArgumentsChecked) {
  Setup(101, 4, 3, 5, 1);
  EXPECT_EQ(m_calc.LoadModelComponent(5, "x.sgy", nullptr, m_calc.m_pK, nullptr), -106);
  EXPECT_TRUE(LogHas("Error! LoadModelComponent() Unknown component (5) specified."));
  EXPECT_EQ(m_calc.LoadModelComponent(2, "", nullptr, m_calc.m_pB, nullptr), -107);
  EXPECT_TRUE(LogHas("Error! Density model file is not specified."));
  EXPECT_EQ(m_calc.LoadModelComponent(0, "none.sgy", nullptr, m_calc.m_pK, m_calc.m_pB), -3);
  EXPECT_TRUE(LogHas("Error! Unable to open P-Wave Velocity model file 'none.sgy'."));
  m_calc.FreeMemory(true, true, true, true, true);
  EXPECT_EQ(m_calc.InitModel(), -2);
  EXPECT_TRUE(LogHas("Error! Memory allocation error. Model cubes were not initialized."));
}

TEST_F(ModelGridTest, InvisibleSurfaceContinuesMediumUpwards) {
  Setup(102, 4, 1, 12, 0);
  // Column 0: solid from plane 0. Column 1: first solid at plane 10.
  // Column 2: all void. Column 3: void, solid, void, solid, void.
  for (int z = 0; z < 12; z++) {
    K(0, 0, z) = 1000.0f + z;
    K(1, 0, z) = z >= 10 ? 2000.0f + z : 0.0f;
    K(3, 0, z) = ((z >= 2 && z < 4) || (z >= 7 && z < 9)) ? 3000.0f + z : 0.0f;
    for (int x = 0; x < 4; x++) {
      B(x, 0, z) = K(x, 0, z) > 0 ? 2000.0f + z : 0.0f;
      m_calc.m_pMu[m_calc.Idx(x, 0, z)] = K(x, 0, z) > 0 ? 500.0f + z : 0.0f;
    }
  }
  ASSERT_EQ(m_calc.MakeSurface(), 0);
  for (int z = 0; z < 12; z++) {
    EXPECT_EQ(K(0, 0, z), 1000.0f + z);
    EXPECT_EQ(K(1, 0, z), z < 10 ? 2010.0f : 2000.0f + z) << z;
    EXPECT_EQ(B(1, 0, z), z < 10 ? 2010.0f : 2000.0f + z) << z;
    EXPECT_EQ(m_calc.m_pMu[m_calc.Idx(1, 0, z)], z < 10 ? 510.0f : 500.0f + z) << z;
    EXPECT_EQ(K(2, 0, z), 0.0f);
  }
  ASSERT_EQ(m_calc.MakeSurfaceBottomDistributed(), 0);
  // Column 3: filled from the top down to its first solid stretch and from
  // its deepest solid cell downward; the void between two stretches stays.
  std::vector<float> col3, want = {3002, 3002, 3002, 3003, 0, 0, 0, 3007, 3008, 3008, 3008, 3008};
  for (int z = 0; z < 12; z++) {
    col3.push_back(K(3, 0, z));
    EXPECT_EQ(K(2, 0, z), 0.0f);
  }
  EXPECT_EQ(col3, want);
  EXPECT_TRUE(LogHas("MPI Node: Applying Bottom Surface"));
}

TEST_F(ModelGridTest, FreeSurfaceEmptiesTopFrameOnly) {
  Setup(101, 6, 5, 10, 2);
  m_calc.m_nSurfType = 1;
  for (size_t i = 0; i < m_calc.GetCubeSize(); i++) {
    m_calc.m_pK[i] = 1800;
    m_calc.m_pB[i] = 2100;
  }
  K(3, 3, 4) = 0; // a void inside the model stays a void
  ASSERT_EQ(m_calc.MakeSurface(), 0);
  ASSERT_EQ(m_calc.MakeSurfaceBottomDistributed(), 0);
  for (int z = 0; z < 10; z++)
    for (int y = 0; y < 5; y++)
      for (int x = 0; x < 6; x++) {
        const float e = z < 2 || (x == 3 && y == 3 && z == 4) ? 0.0f : 1800.0f;
        ASSERT_EQ(K(x, y, z), e) << x << "," << y << "," << z;
        ASSERT_EQ(B(x, y, z), z < 2 ? 0.0f : 2100.0f);
      }
}

TEST_F(ModelGridTest, DampingTaperOfTheFrame) {
  Setup(101, 4, 4, 4, 0);
  m_calc.m_nFrame = 26;
  m_calc.m_fDt = 0.0015;
  m_calc.MakeDamp();
  const double dt = (float)0.0015;
  EXPECT_EQ(m_calc.m_fDamp[0], 0.0f);
  EXPECT_FLOAT_EQ(m_calc.m_fDamp[1], (float)exp(-0.18 * 625 * dt));
  EXPECT_FLOAT_EQ(m_calc.m_fDamp[25], (float)exp(-0.18 * dt));
  EXPECT_EQ(m_calc.m_fDamp[26], 0.0f);
  for (int i = 2; i < 26; i++)
    EXPECT_GT(m_calc.m_fDamp[i], m_calc.m_fDamp[i - 1]);
  m_calc.m_nFrame = 38;
  m_calc.MakeDamp();
  EXPECT_FLOAT_EQ(m_calc.m_fDamp[1], (float)exp(-0.18 * 37 * 37 * dt));
  EXPECT_FLOAT_EQ(m_calc.m_fDamp[37], (float)exp(-0.18 * dt));
}

TEST(ModelQ, PerStepFactor) {
  const double e = 2 * 0.001 * 20;
  EXPECT_EQ(CCalc3D::GetQFactor(2.99, e), 1.0);
  EXPECT_EQ(CCalc3D::GetQFactor(10000.5, e), 1.0);
  EXPECT_DOUBLE_EQ(CCalc3D::GetQFactor(10000, e), pow(1 - M_PI / 10000, e));
  EXPECT_DOUBLE_EQ(CCalc3D::GetQFactor(50, e), pow(1 - M_PI / 50, e));
  // Between 3 and pi the factor stays a finite value in [0, 1].
  const double q3 = CCalc3D::GetQFactor(3.0, e);
  EXPECT_TRUE(std::isfinite(q3));
  EXPECT_GE(q3, 0.0);
  EXPECT_LE(q3, 1.0);
}

// ---- model files through InitModel ------------------------------------

#ifdef KELVO_HAVE_SEGYIO
class ModelFileTest : public ModelTestDir {
protected:
  // Model: 11 x 7 x 11 samples at 10 m from (0, 0, 0); grid with frame 3.
  static const int NX = 11, NY = 7, NZ = 11, F = 3;
  void SetUp() override {
    ModelTestDir::SetUp();
    m_calc.SetGrid(NX + 2 * F, NY + 2 * F, NZ + 2 * F, 10, F);
    m_calc.m_fDt = 0.001;
    m_calc.m_bPML = false;
    m_app.m_nSmoothModel = 0;
    m_calc.m_nShot = 1;
  }
  static float Vp(int x, int y, int z) { return z < 3 ? 0.0f : 1500.0f + 100 * z + 10 * y + x; }
  void AddShotAndReceiver(int x, int y, int z) {
    m_calc.m_vShotPoints = {C3DShotPoint{m_calc.Idx(x + F, y + F, z + F), 0}};
    m_calc.m_vExcitePoints = {C3DPointR(x * 10.0, y * 10.0, z * 10.0)};
    m_calc.m_ptShot = m_calc.m_vExcitePoints[0];
    m_calc.m_vRcvIdx = {m_calc.Idx(x + F + 1, y + F, z + F)};
    m_calc.m_vReceivers = {C3DPointR(x * 10.0 + 10, y * 10.0, z * 10.0)};
    m_calc.m_vRcvInline = m_calc.m_vRcvCrossline = m_calc.m_vRcvTraceId = {1};
    m_calc.m_vRcvFileId = {-1};
  }
};

TEST_F(ModelFileTest, ComponentSampledOntoGridWithFrameRepeated) {
  ASSERT_TRUE(WriteSegyModel("vp.sgy", NX, NY, NZ, 0, 0, 10, Vp));
  m_app.m_nMethod = 101;
  ASSERT_EQ(m_calc.AllocateMemory(false, true), 0);
  ASSERT_EQ(m_calc.LoadModelComponent(0, "vp.sgy", nullptr, m_calc.m_pK, m_calc.m_pB), 0);
  for (int z = 0; z < m_calc.m_nNz; z++)
    for (int y = 0; y < m_calc.m_nNy; y++)
      for (int x = 0; x < m_calc.m_nNx; x++) {
        const int sx = std::min(std::max(x - F, 0), NX - 1);
        const int sy = std::min(std::max(y - F, 0), NY - 1);
        const int sz = std::min(std::max(z - F, 0), NZ - 1);
        ASSERT_EQ(m_calc.m_pK[m_calc.Idx(x, y, z)], Vp(sx, sy, sz)) << x << "," << y << "," << z;
      }
  EXPECT_EQ(m_calc.m_fMaxVp, Vp(NX - 1, NY - 1, NZ - 1));
  EXPECT_TRUE(LogHas("nx=17, ny=13, nz=17, snx=11, sny=7, snz=11, vol=847"));
}

TEST_F(ModelFileTest, LowerLimitsAndShearCheck) {
  // Density: 99.9 in one layer becomes void, 100 stays.
  ASSERT_TRUE(WriteSegyModel("rho.sgy", NX, NY, NZ, 0, 0, 10,
                             [](int, int, int z) { return z == 4 ? 99.9f : (z == 5 ? 100.0f : 2000.0f); }));
  // Shear: 0.8 Vp everywhere, too high in every cell of the medium.
  ASSERT_TRUE(WriteSegyModel("vs.sgy", NX, NY, NZ, 0, 0, 10, [](int x, int y, int z) { return 0.8f * Vp(x, y, z); }));
  m_app.m_nMethod = 102;
  ASSERT_EQ(m_calc.AllocateMemory(false, true), 0);
  for (size_t i = 0; i < m_calc.GetCubeSize(); i++)
    m_calc.m_pK[i] = 1500;
  ASSERT_EQ(m_calc.LoadModelComponent(2, "rho.sgy", nullptr, m_calc.m_pB, nullptr), 0);
  EXPECT_EQ(m_calc.m_pB[m_calc.Idx(5, 5, 4 + F)], 0.0f);
  EXPECT_EQ(m_calc.m_pB[m_calc.Idx(5, 5, 5 + F)], 100.0f);
  EXPECT_EQ(m_calc.m_pB[m_calc.Idx(5, 5, 6 + F)], 2000.0f);
  ASSERT_EQ(m_calc.LoadModelComponent(1, "vs.sgy", m_calc.m_pK, m_calc.m_pMu, m_calc.m_pB), 0);
  const float fMax = 1500.0f * (float)(1.0 / sqrt(2.0));
  EXPECT_EQ(m_calc.m_pMu[m_calc.Idx(5, 5, 8)], fMax);
  // Void in the file (below the limit) stays 0.
  EXPECT_EQ(m_calc.m_pMu[m_calc.Idx(5, 5, 1)], 0.0f);
  EXPECT_EQ(LogCount("Warning! Too high shear velocity found in 'vs.sgy' - Fixed."), 1u);
}

TEST_F(ModelFileTest, AcousticCoefficientsExact) {
  ASSERT_TRUE(WriteSegyModel("vp.sgy", NX, NY, NZ, 0, 0, 10, Vp));
  ASSERT_TRUE(WriteSegyModel("rho.sgy", NX, NY, NZ, 0, 0, 10,
                             [](int x, int, int z) { return z < 3 ? 0.0f : 1800.0f + 20 * z + x; }));
  m_app.m_nMethod = 101;
  m_app.m_strModelPW = "vp.sgy";
  m_app.m_strModelD = "rho.sgy";
  m_calc.m_nSurfType = 0;
  ASSERT_EQ(m_calc.AllocateMemory(false, true), 0);
  AddShotAndReceiver(5, 3, 0); // in the air: sinks to plane 3 of the model
  ASSERT_EQ(m_calc.InitModel(), 0);
  EXPECT_DOUBLE_EQ(m_calc.m_ptShot.z, 30);
  EXPECT_EQ(m_calc.m_vShotPoints[0].nIndex, m_calc.Idx(5 + F, 3 + F, 3 + F));

  const float kc = (float)(0.001 / 10 / 15000), kb = (float)(0.001 / 10 * 15000);
  for (int z = 0; z < m_calc.m_nNz; z++)
    for (int y = 0; y < m_calc.m_nNy; y++)
      for (int x = 0; x < m_calc.m_nNx; x++) {
        // Invisible surface: the medium continues upward from plane 3.
        const int sx = std::min(std::max(x - F, 0), NX - 1);
        const int sy = std::min(std::max(y - F, 0), NY - 1);
        const int sz = std::min(std::max(z - F, 3), NZ - 1);
        const float vp = Vp(sx, sy, sz), rho = 1800.0f + 20 * sz + sx;
        const size_t i = m_calc.Idx(x, y, z);
        ASSERT_EQ(m_calc.m_pK[i], vp * vp * rho * kc) << x << "," << y << "," << z;
        ASSERT_EQ(m_calc.m_pB[i], kb / rho);
      }
  EXPECT_EQ(m_calc.m_pMu, nullptr);
}

TEST_F(ModelFileTest, ElasticFreeSurfaceWithVoidAndFluidCells) {
  ASSERT_TRUE(WriteSegyModel("vp.sgy", NX, NY, NZ, 0, 0, 10, Vp));
  ASSERT_TRUE(WriteSegyModel("vs.sgy", NX, NY, NZ, 0, 0, 10, [](int, int, int z) { return z < 6 ? 0.0f : 800.0f; }));
  m_app.m_nMethod = 102;
  m_app.m_strModelPW = "vp.sgy";
  m_app.m_strModelSW = "vs.sgy";
  m_calc.m_nSurfType = 1;
  ASSERT_EQ(m_calc.AllocateMemory(false, true), 0);
  AddShotAndReceiver(5, 3, 5);
  ASSERT_EQ(m_calc.InitModel(), 0);
  const float kc = (float)(0.001 / 10 / 15000), kb = (float)(0.001 / 10 * 15000);
  const int x = 5 + F, y = 3 + F;
  for (int z = 0; z < m_calc.m_nNz; z++) {
    const size_t i = m_calc.Idx(x, y, z);
    const int sz = std::min(z - F, NZ - 1);
    if (z < F + 3) {
      // Top frame emptied, then the air of the model: void everywhere.
      EXPECT_EQ(m_calc.m_pK[i], 0.0f) << z;
      EXPECT_EQ(m_calc.m_pB[i], 0.0f) << z;
      EXPECT_EQ(m_calc.m_pMu[i], 0.0f) << z;
      continue;
    }
    const float vp = Vp(5, 3, sz), rho = (float)GetDensityByPVel(vp);
    EXPECT_EQ(m_calc.m_pK[i], vp * vp * rho * kc) << z;
    EXPECT_EQ(m_calc.m_pB[i], kb / rho) << z;
    // Vs = 0 keeps a fluid cell.
    EXPECT_EQ(m_calc.m_pMu[i], sz < 6 ? 0.0f : 800.0f * rho * 800.0f * kc) << z;
  }
}

TEST_F(ModelFileTest, QFactorCubeAndDebugDumps) {
  ASSERT_TRUE(WriteSegyModel("vp.sgy", NX, NY, NZ, 0, 0, 10, [](int, int, int) { return 2000.0f; }));
  ASSERT_TRUE(WriteSegyModel("q.sgy", NX, NY, NZ, 0, 0, 10, [](int x, int, int) { return x < 5 ? 2.9f : 80.0f; }));
  m_app.m_nMethod = 101;
  m_app.m_strModelPW = "vp.sgy";
  m_app.m_strModelQ = "q.sgy";
  m_app.m_bDebug = true;
  m_calc.m_bWithQ = true;
  m_calc.m_Signal.m_fFrequency = 25;
  ASSERT_EQ(m_calc.AllocateMemory(false, true), 0);
  AddShotAndReceiver(5, 3, 5);
  ASSERT_EQ(m_calc.InitModel(), 0);
  const float q80 = (float)pow(1 - M_PI / 80, 2 * 0.001 * 25);
  EXPECT_EQ(m_calc.m_pQ[m_calc.Idx(F + 2, F, F + 5)], 1.0f);
  EXPECT_EQ(m_calc.m_pQ[m_calc.Idx(F + 8, F, F + 5)], q80);
  EXPECT_EQ(m_calc.m_pQ[m_calc.Idx(0, 0, 0)], 1.0f); // frame repeats the 2.9
  for (const char* name : {"DebugModel-1(P-Wave Velocity)(0)-orig.sgy", "DebugModel-1(Attenuation(Q))(0)-orig.sgy",
                           "DebugModel-1(Density)(0)-orig.sgy", "DebugModel(P-Wave Velocity)(0)-calc.sgy",
                           "DebugModel(Quality)(0)-calc.sgy"}) {
    EXPECT_EQ(CSegyTestFile::Read(name).m_nSamples, m_calc.m_nNz) << name;
  }
  EXPECT_EQ(access("DebugModel(S-Wave Velocity)(0)-calc.sgy", 0), -1);
}

TEST_F(ModelFileTest, MissingDensityFileStopsModel) {
  ASSERT_TRUE(WriteSegyModel("vp.sgy", NX, NY, NZ, 0, 0, 10, Vp));
  m_app.m_nMethod = 101;
  m_app.m_strModelPW = "vp.sgy";
  m_app.m_strModelD = "rho-missing.sgy";
  ASSERT_EQ(m_calc.AllocateMemory(false, true), 0);
  AddShotAndReceiver(5, 3, 5);
  EXPECT_EQ(m_calc.InitModel(), -3);
  EXPECT_TRUE(LogHas("Error! Unable to open Density model file 'rho-missing.sgy'."));
}
#endif
