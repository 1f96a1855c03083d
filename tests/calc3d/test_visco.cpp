// Relaxation mechanisms from Q: the centre values of the search, the quality
// factor the mechanisms really give over the band, the neutral cases and the
// velocity correction.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>

#include "calc3d/ViscoCalc.h"

namespace {

// Quality factor of a set of L mechanisms at angular frequency w: the
// modulus goes as 1 - L + sum (1 + i w te) / (1 + i w ts), te = ts (1 + tau).
double QualityAt(double w, int L, const float* tau, const float* tauSigma) {
  std::complex<double> M(1.0 - L, 0);
  for (int l = 0; l < L; l++) {
    const double ts = tauSigma[l], te = ts * (1.0 + tau[l]);
    M += std::complex<double>(1, w * te) / std::complex<double>(1, w * ts);
  }
  return M.real() / M.imag();
}

} // namespace

TEST(Visco, CentreValuesOfTheSearch) {
  EXPECT_NEAR(CViscoCalc::GetMinQ0(20, 50, 2, false), 54.25, 1e-9);
  EXPECT_NEAR(CViscoCalc::GetMinQ0(20, 50, 3, false), 70.0, 1e-9);
  EXPECT_NEAR(CViscoCalc::GetMinQ0(20, 50, 4, false), 99.25, 1e-9);
  EXPECT_NEAR(CViscoCalc::GetMinQ0(20, 100, 3, false), 141.5, 1e-9);
  // The frequency scales out of the search.
  EXPECT_EQ(CViscoCalc::GetMinQ0(5, 100, 3, true), CViscoCalc::GetMinQ0(40, 100, 3, true));
  double F[4];
  CViscoCalc::Frequencies(4, F);
  EXPECT_NEAR(F[0], 0.125, 1e-12);
  EXPECT_NEAR(F[1], 0.5, 1e-12);
  EXPECT_NEAR(F[2], 2, 1e-12);
  EXPECT_NEAR(F[3], 8, 1e-12);
}

TEST(Visco, MechanismsGiveTheirQualityFactorOverTheBand) {
  const double f = 20;
  // (The search for the centre value stops at 2 Q, which five or more
  // mechanisms would need to pass: they come out low.)
  for (int L : {2, 3, 4}) {
    for (float Q : {30.0f, 100.0f}) {
      CViscoCalc v;
      float tauP[10], tauS[10], tauSigma[10], vp = 3000, vs = 1700;
      ASSERT_EQ(1, v.InitViscoParams(f, L, Q, Q, tauP, tauS, tauSigma, false, vp, vs));
      EXPECT_EQ(vp, 3000.0f); // no correction asked for
      for (double k = 0.5; k <= 2.0; k *= 1.25) {
        const double q = QualityAt(2 * M_PI * f * k, L, tauP, tauSigma);
        EXPECT_NEAR(q / Q, 1.0, 0.15) << "L=" << L << " Q=" << Q << " f=" << f * k;
      }
      // With one Q for both waves the P and S mechanisms coincide.
      for (int l = 0; l < L; l++)
        EXPECT_NEAR(tauP[l], tauS[l], 1e-5 * std::fabs(tauP[l]) + 1e-9);
    }
  }
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
  // A fluid stays a fluid; S never exceeds P / sqrt(2).
  v.GetCorrectedVelocity(20, 3, 30, 30, 3000, 0, vpOut, vsOut);
  EXPECT_EQ(vsOut, 0.0f);
  v.GetCorrectedVelocity(20, 3, 30, 10, 2000, 1414, vpOut, vsOut);
  EXPECT_LE(vsOut, vpOut / std::sqrt(2.0f) * (1 + 1e-6f));
}
