// Wave physics of the acoustic engine in a homogeneous medium: travel time,
// geometric spreading and wavelet shape of the direct wave, the hard source,
// and the end of an unstable run.
#include <gtest/gtest.h>

#include <cmath>

#include "calc3d/FDScheme.h"
#include "test_engine_fixture.h"
#include "trace_measure.h"

using engine_test::Homogeneous;

namespace {

const double kH = 10, kDt = 0.001, kV = 3000, kRho = 2000, kF = 20;

// Time derivative of the Ricker wavelet of frequency f at time t.
double RickerDot(double f, double t) {
  const double a = (M_PI * f * t) * (M_PI * f * t);
  return -2 * M_PI * M_PI * f * f * t * (3 - 2 * a) * std::exp(-a);
}

// Zero crossing between the two main lobes of a trace, in seconds.
double MidCrossing(const std::vector<float>& t, double dt) { return trace_test::MidCrossing(t) * dt; }

// Normalised correlation of a trace with the model trace w(t).
template <class F> double Correlation(const std::vector<float>& t, double dt, F w) {
  std::vector<double> m(t.size());
  for (size_t i = 0; i < t.size(); i++)
    m[i] = w(i * dt);
  return trace_test::Correlation(t, m);
}

using trace_test::PeakAbs;

} // namespace

TEST(PhysicsAcoustic, DirectWaveFromASoftPressureSource) {
  Homogeneous g;
  g.Build(96, 74, 74, true, kH, kDt, kV, kRho, kF);
  const int sx = 36, sy = 37, sz = 37;
  // Receivers on the x axis at 150 m and 300 m, and on a diagonal.
  const std::vector<size_t> rcv = {g.Idx(sx + 15, sy, sz), g.Idx(sx + 30, sy, sz), g.Idx(sx + 10, sy + 10, sz + 10)};
  const double dist[3] = {150, 300, 10 * kH * std::sqrt(3.0)};
  g.Shot(sx, sy, sz, 0, rcv, 0.2);
  ASSERT_EQ(0, g.Run());

  double peak[3];
  for (int r = 0; r < 3; r++) {
    const std::vector<float> tr = g.Trace(r);
    const double t0 = dist[r] / kV;
    EXPECT_NEAR(MidCrossing(tr, kDt), t0, kDt) << "receiver " << r;
    EXPECT_GE(Correlation(tr, kDt, [&](double t) { return RickerDot(kF, t - t0); }), 0.98) << "receiver " << r;
    peak[r] = PeakAbs(tr);
  }
  // Amplitude falls as 1 / distance.
  EXPECT_NEAR((peak[0] * dist[0]) / (peak[1] * dist[1]), 1.0, 0.05);
  // The particle velocity is recorded too.
  EXPECT_GT(PeakAbs(g.Trace(1, 'X')), 0.0);
}

TEST(PhysicsAcoustic, HardSourcePinsThePressureWhileTheWaveletLasts) {
  // The built-in default of the acoustic method (type 7): at every step of
  // the wavelet the pressure at the source point is set to the sample, and a
  // receiver there records the field that follows from it; afterwards the
  // point is free.
  Homogeneous g;
  g.Build(60, 60, 60, true, kH, kDt, kV, kRho, kF);
  const size_t p = g.Idx(30, 30, 30);
  g.Shot(30, 30, 30, 7, {p, g.Idx(38, 30, 30)}, 0.15);
  CCalc3D_OMP& c = g.calc;
  c.LoadModel();
  const float* w = c.m_Signal.m_pSignal;
  const int nLen = c.m_Signal.m_nLen;
  for (int i = 0; i < nLen + 60; i++) {
    const float before = c.m_pTxx[p];
    ASSERT_EQ(0, c.ApplySignal(i));
    if (i < nLen) {
      ASSERT_EQ(c.m_pTxx[p], w[i]) << i;
    } else {
      ASSERT_EQ(c.m_pTxx[p], before) << i;
    }
    c.PropagateAcoWaveU(2, 2, 2, 57, 57, 57);
    c.PropagateAcoWaveTau(2, 2, 2, 57, 57, 57);
    ASSERT_EQ(0, c.RecordSeismogram());
    if (i > 0 && i < nLen) {
      ASSERT_NE(c.m_pTxx[p], w[i]); // the step moves it on
    }
  }
  // The record of the co-located receiver is the pressure at the point.
  const std::vector<float> tr = g.Trace(0);
  EXPECT_GT(PeakAbs(tr), 0.5 * PeakAbs(std::vector<float>(w, w + nLen)));
  EXPECT_GT(PeakAbs(g.Trace(1)), 0.0);
}

TEST(PhysicsAcoustic, UnstableTimeStepEndsTheShot) {
  Homogeneous g;
  // Courant number 0.9: beyond the limit of the scheme.
  g.Build(60, 60, 60, true, kH, 0.003, kV, kRho, kF);
  g.Shot(30, 30, 30, 0, {g.Idx(40, 30, 30)}, 2.0);
  EXPECT_EQ(CALC_UNSTABLE, g.Run());
  // The loop stopped short of its end.
  EXPECT_LT(g.calc.m_fTime, g.calc.m_fT1);
}

TEST(PhysicsAcoustic, DivergenceProbeTakesInfinitiesAndHugeValues) {
  // An unstable scheme on a short record ends in huge values or infinities
  // before any NaN; values of a stable run stay far below 1e20.
  for (float v : {std::nanf(""), INFINITY, -INFINITY, 1e20f, -3e25f})
    EXPECT_TRUE(fd::IsDivergedBits(v)) << v;
  for (float v : {0.0f, 1e19f, -5e5f, 1e-30f})
    EXPECT_FALSE(fd::IsDivergedBits(v)) << v;
}
