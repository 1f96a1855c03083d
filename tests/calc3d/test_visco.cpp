// Relaxation mechanisms from Q: the centre values of the search, the neutral
// cases and the velocity correction. (The quality factor the mechanisms give
// is measured on whole runs in the elastic physics tests.)
#include <gtest/gtest.h>

#include <cmath>
#include <complex>

#include "calc3d/ViscoCalc.h"

TEST(Visco, CentreValuesOfTheSearch) {
  EXPECT_NEAR(CViscoCalc::GetMinQ0(20, 50, 2, false), 54.25, 1e-9);
  EXPECT_NEAR(CViscoCalc::GetMinQ0(20, 50, 3, false), 70.0, 1e-9);
  EXPECT_NEAR(CViscoCalc::GetMinQ0(20, 50, 4, false), 99.25, 1e-9);
  EXPECT_NEAR(CViscoCalc::GetMinQ0(20, 100, 3, false), 141.5, 1e-9);
  // The frequency scales out of the search.
  EXPECT_EQ(CViscoCalc::GetMinQ0(5, 100, 3, true), CViscoCalc::GetMinQ0(40, 100, 3, true));
}

TEST(Visco, NeutralCasesAndVelocityCorrection) {
  CViscoCalc v;
  float tauP[3], tauS[3], tauSigma[3], vp = 3000, vs = 1500;
  // A quality factor of 3 or less on both waves leaves the neutral record.
  EXPECT_EQ(0, v.InitViscoParams(20, 3, 3, 3, tauP, tauS, tauSigma, true, vp, vs));
  for (int l = 0; l < 3; l++)
    EXPECT_EQ((std::vector<float>{0, 0, 1}), (std::vector<float>{tauP[l], tauS[l], tauSigma[l]}));
  EXPECT_EQ(vp, 3000.0f);
  // Velocities measured at the signal frequency are above the relaxed ones.
  float vpOut = 0, vsOut = 0;
  v.GetCorrectedVelocity(20, 3, 30, 30, 3000, 1500, vpOut, vsOut);
  EXPECT_LT(vpOut, 3000.0f);
  EXPECT_GT(vpOut, 2700.0f);
  EXPECT_LT(vsOut, 1500.0f);
  // A fluid stays a fluid.
  v.GetCorrectedVelocity(20, 3, 30, 30, 3000, 0, vpOut, vsOut);
  EXPECT_EQ(vsOut, 0.0f);
}
