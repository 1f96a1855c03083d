// Wave physics of the elastic and viscoelastic engine in a homogeneous
// medium, against the acoustic engine and against analytic solutions.
#include <gtest/gtest.h>

#include <cmath>

#include "elastic_analytic.h"
#include "test_engine_fixture.h"

using engine_test::Homogeneous;

namespace {

const double kH = 10, kDt = 0.001, kVp = 3000, kVs = 1732, kRho = 2000, kF = 20;

std::vector<double> ToDouble(const std::vector<float>& t) { return std::vector<double>(t.begin(), t.end()); }

double PeakAbs(const std::vector<float>& t) {
  double m = 0;
  for (float v : t)
    m = std::max(m, (double)std::fabs(v));
  return m;
}

} // namespace

TEST(PhysicsElastic, ExplosionMakesTheAcousticWaveAndNoS) {
  // The same explosion in an acoustic and in an elastic medium of the same Vp
  // and density: the particle velocities agree, since an explosion radiates
  // no S wave.
  const int n = 100, c = 50;
  const std::vector<size_t> rcvAt = {0, 1, 2};
  auto receivers = [&](Homogeneous& g) {
    return std::vector<size_t>{g.Idx(c + 20, c, c), g.Idx(c + 14, c + 14, c), g.Idx(c, c + 8, c + 18)};
  };
  Homogeneous a, e;
  a.Build(n, n, n, true, kH, kDt, kVp, kRho, kF);
  a.Shot(c, c, c, 0, receivers(a), 0.15);
  ASSERT_EQ(0, a.Run());
  e.BuildElastic(n, n, n, true, kH, kDt, kVp, kVs, kRho, kF);
  e.Shot(c, c, c, 0, receivers(e), 0.15);
  ASSERT_EQ(0, e.Run());
  for (size_t r : rcvAt) {
    for (char comp : {'X', 'Y', 'Z'}) {
      const std::vector<float> ta = a.Trace(r, comp), te = e.Trace(r, comp);
      if (PeakAbs(ta) < 1e-3 * PeakAbs(a.Trace(r, 'X')) + 1e-30)
        continue; // a component the geometry leaves empty
      EXPECT_GT(elastic_test::Correlation(ToDouble(ta), ToDouble(te)), 0.999) << "receiver " << r << " " << comp;
      EXPECT_NEAR(PeakAbs(te) / PeakAbs(ta), 1.0, 0.01) << "receiver " << r << " " << comp;
    }
  }
}
