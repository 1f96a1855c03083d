// The shared-memory time loop: step count, signal steps, recording times,
// time-field steps, the active region and the S-wave suppression ramp.
#include <gtest/gtest.h>

#include <cmath>

#include "test_engine_fixture.h"

namespace {

// A host object that logs what the loop asks of it and does no stepping.
class CLoggingCalc : public CCalc3D_OMP {
public:
  struct Box {
    int z0, y0, x0, z1, y1, x1;
    double t;
  };
  std::vector<int> signalSteps;
  std::vector<Box> boxes;
  std::vector<double> recordTimes, timeFieldTimes;
  std::vector<float> suppress;
  int failAt = -1, failCode = 0;

  int ApplySignal(int nStep) override {
    signalSteps.push_back(nStep);
    return 0;
  }
  int Step(int z0, int y0, int x0, int z1, int y1, int x1) {
    boxes.push_back({z0, y0, x0, z1, y1, x1, m_fTime});
    return (int)boxes.size() - 1 == failAt ? failCode : 0;
  }
  int PropagateAcoWaveU(int, int, int, int, int, int) override { return 0; }
  int PropagateAcoWaveTau(int z0, int y0, int x0, int z1, int y1, int x1) override {
    return Step(z0, y0, x0, z1, y1, x1);
  }
  int PropagateElaWaveU(int, int, int, int, int, int) override { return 0; }
  int PropagateElaWaveTau(int z0, int y0, int x0, int z1, int y1, int x1) override {
    suppress.push_back(m_fSuppress);
    return Step(z0, y0, x0, z1, y1, x1);
  }
  int RecordSeismogram() override {
    recordTimes.push_back(m_fTime);
    return 0;
  }
  int PropagateTimeField() override {
    timeFieldTimes.push_back(m_fTime);
    return 0;
  }
};

struct LoopSetup {
  CKelvoApp app;
  CLoggingCalc c;
  LoopSetup(int n, double t0, double t1, double dt, int nSignal) {
    app.m_nMethod = METHOD_ACOUSTIC;
    app.m_nFirstPoint = app.m_nLastPoint = 1;
    app.m_t0 = 0;
    app.m_dt = 0.004;
    app.m_t1 = t1;
    c.m_pApp = &app;
    c.m_nShot = 1;
    c.m_nNx = c.m_nNy = c.m_nNz = c.m_nNzAll = n;
    c.m_nZ1 = n - 1;
    c.m_fT0 = t0;
    c.m_fTime = t0;
    c.m_fT1 = t1;
    c.m_fDt = dt;
    c.m_Signal.m_nLen = nSignal;
    c.m_Signal.m_fFrequency = 20;
  }
};

} // namespace

TEST(EngineLoop, StepsSignalRecordsAndTimeField) {
  LoopSetup s(30, -0.1, 1.0, 0.001, 201);
  s.c.m_nTimeFieldType = 1;
  ASSERT_EQ(0, s.c.CalculateShared());
  const int n = 1101;
  ASSERT_EQ((int)s.c.boxes.size(), n);
  // The signal goes in on steps 0 .. 200 only.
  ASSERT_EQ(s.c.signalSteps.size(), 201u);
  EXPECT_EQ(s.c.signalSteps.front(), 0);
  EXPECT_EQ(s.c.signalSteps.back(), 200);
  // Time field on steps 0, 5, 10, ...: after the step, at t0 + (i + 1) dt.
  ASSERT_EQ(s.c.timeFieldTimes.size(), (size_t)(n + 4) / 5);
  EXPECT_NEAR(s.c.timeFieldTimes[0], -0.099, 1e-9);
  EXPECT_NEAR(s.c.timeFieldTimes[1], -0.094, 1e-9);
  // Records every 4 ms from the step whose end time reaches 0; one a step.
  ASSERT_EQ(s.c.recordTimes.size(), 251u);
  EXPECT_NEAR(s.c.recordTimes[0], 0.0, 1e-9);
  for (size_t k = 1; k < s.c.recordTimes.size(); k++)
    EXPECT_NEAR(s.c.recordTimes[k] - s.c.recordTimes[k - 1], 0.004, 1e-9) << k;
  EXPECT_NEAR(s.c.m_fTime, -0.1 + n * 0.001, 1e-9);
}

TEST(EngineLoop, RecordIntervalNotAMultipleOfTheStep) {
  // A 2.5 ms record interval on 1 ms steps: each record at the first step
  // whose end time reaches its time, without interpolation.
  LoopSetup s(30, -0.002, 0.02, 0.001, 0);
  s.app.m_dt = 0.0025;
  ASSERT_EQ(0, s.c.CalculateShared());
  const double expected[] = {0.0, 0.003, 0.005, 0.008, 0.010, 0.013, 0.015, 0.018, 0.020};
  ASSERT_EQ(s.c.recordTimes.size(), sizeof(expected) / sizeof(expected[0]));
  for (size_t k = 0; k < s.c.recordTimes.size(); k++)
    EXPECT_NEAR(s.c.recordTimes[k], expected[k], 1e-9) << k;
}

TEST(EngineLoop, ActiveRegionGrowsAroundTheSource) {
  // Binary step and start time so that t = 0 falls exactly on step 100.
  const int n = 200;
  const double dt = 1.0 / 1024;
  LoopSetup s(n, -100 * dt, 0.2, dt, 0);
  s.c.m_nActiveX0 = 99, s.c.m_nActiveX1 = 101;
  s.c.m_nActiveY0 = 49, s.c.m_nActiveY1 = 51;
  ASSERT_EQ(0, s.c.CalculateShared());
  const auto& b = s.c.boxes;
  // One point a step in x and y; z is never narrowed.
  EXPECT_EQ(b[0].x0, 99);
  EXPECT_EQ(b[0].x1, 101);
  EXPECT_EQ(b[10].x0, 89);
  EXPECT_EQ(b[10].y1, 61);
  EXPECT_EQ(b[10].z0, 2);
  EXPECT_EQ(b[10].z1, n - 3);
  // Held at 60 points while the time is negative (steps 61 .. 99).
  EXPECT_EQ(b[60].x0, 39);
  EXPECT_EQ(b[90].x0, 39);
  EXPECT_EQ(b[99].x0, 39);
  // Growing again from t = 0, less the 39 held steps.
  EXPECT_EQ(b[100].t, 0.0);
  EXPECT_EQ(b[100].x0, 99 - 61);
  EXPECT_EQ(b[101].x0, 99 - 62);
  // Kept inside the grid on the side it reached first.
  EXPECT_EQ(b[101].y0, 2);
  EXPECT_EQ(b[101].y1, 51 + 62);
  // Once the region covers the grid it is switched off for good.
  EXPECT_EQ(s.c.m_nActiveX1, 0);
  EXPECT_EQ(b.back().x0, 2);
  EXPECT_EQ(b.back().x1, n - 3);
  EXPECT_EQ(b.back().y1, n - 3);
}

TEST(EngineLoop, FailuresEndTheLoop) {
  LoopSetup s(30, -0.1, 1.0, 0.001, 201);
  s.c.failAt = 17;
  s.c.failCode = CALC_UNSTABLE;
  EXPECT_EQ(CALC_UNSTABLE, s.c.CalculateShared());
  EXPECT_EQ(s.c.boxes.size(), 18u);
  EXPECT_NEAR(s.c.m_fTime, -0.1 + 18 * 0.001, 1e-9);
  LoopSetup e(30, -0.1, 1.0, 0.001, 201);
  e.c.failAt = 3;
  e.c.failCode = -7;
  EXPECT_EQ(-7, e.c.CalculateShared());
  EXPECT_EQ(e.c.boxes.size(), 4u);
}

TEST(EngineLoop, SuppressionRampOfTheShearModuli) {
  // f = 16 Hz: T = 1/16 s; off up to t = T, full from t = 4 T. Binary times.
  const double dt = 1.0 / 1024, f = 16;
  LoopSetup s(30, -128 * dt, 0.3, dt, 0);
  s.app.m_nMethod = METHOD_ELASTIC;
  s.c.m_Signal.m_fFrequency = f;
  s.c.m_bSuppressSV = true;
  ASSERT_EQ(0, s.c.CalculateShared());
  auto at = [&](int k) { return s.c.suppress[(size_t)(128 + k)]; }; // t = k dt
  EXPECT_EQ(at(0), 0.0f);
  EXPECT_EQ(at(64), 0.0f); // t = T
  EXPECT_GT(at(65), 0.0f);
  const double u = (128 * dt - 1 / f) / 3;
  EXPECT_NEAR(at(128), std::pow(std::sin(f * M_PI / 2 * u), 2), 1e-6);
  EXPECT_LT(at(255), 1.0f);
  EXPECT_EQ(at(256), 1.0f); // t = 4 T
  EXPECT_EQ(at(290), 1.0f);
  // Without suppression the moduli act from the start.
  LoopSetup o(30, -128 * dt, 0.3, dt, 0);
  o.app.m_nMethod = METHOD_ELASTIC;
  o.c.m_bSuppressSV = false;
  ASSERT_EQ(0, o.c.CalculateShared());
  EXPECT_EQ(o.c.suppress.front(), 1.0f);
}
