// The shared-memory time loop: step count, signal steps, recording times,
// time-field steps, failures and the active region.
#include <gtest/gtest.h>

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
  int failAt = -1, failCode = 0;

  int ApplySignal(int nStep) override {
    signalSteps.push_back(nStep);
    return 0;
  }
  // The two half-steps as separate calls, so that each step's box is seen.
  int PropagateStep(int z0, int y0, int x0, int z1, int y1, int x1) override {
    return CCalc3D::PropagateStep(z0, y0, x0, z1, y1, x1);
  }
  int PropagateAcoWaveU(int, int, int, int, int, int) override { return 0; }
  int PropagateAcoWaveTau(int z0, int y0, int x0, int z1, int y1, int x1) override {
    boxes.push_back({z0, y0, x0, z1, y1, x1, m_fTime});
    return (int)boxes.size() - 1 == failAt ? failCode : 0;
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
    c.m_Set.m_nMethod = METHOD_ACOUSTIC;
    c.m_Set.m_nFirstPoint = c.m_Set.m_nLastPoint = 1;
    c.m_Set.m_t0 = 0, c.m_Set.m_dt = 0.004, c.m_Set.m_t1 = t1;
    c.m_nShot = 1;
    c.m_nNx = c.m_nNy = c.m_nNz = c.m_nNzAll = n;
    c.m_nZ1 = n - 1;
    c.m_fT0 = c.m_fTime = t0;
    c.m_fT1 = t1;
    c.m_fDt = dt;
    c.m_Signal.m_nLen = nSignal;
    c.m_Signal.m_fFrequency = 20;
  }
};

} // namespace

TEST(EngineLoop, StepsSignalRecordsTimeFieldAndFailures) {
  LoopSetup s(30, -0.1, 1.0, 0.001, 201);
  s.c.m_nTimeFieldType = 1;
  ASSERT_EQ(0, s.c.CalculateShared());
  const int n = 1101;
  ASSERT_EQ((int)s.c.boxes.size(), n);
  // The signal goes in on steps 0 .. 200 only.
  ASSERT_EQ(s.c.signalSteps.size(), 201u);
  EXPECT_EQ(s.c.signalSteps.back(), 200);
  // Time field on steps 0, 5, 10, ...: after the step, at t0 + (i + 1) dt.
  ASSERT_EQ(s.c.timeFieldTimes.size(), (size_t)(n + 4) / 5);
  EXPECT_NEAR(s.c.timeFieldTimes[1], -0.094, 1e-9);
  // Records every 4 ms from the step whose end time reaches 0.
  ASSERT_EQ(s.c.recordTimes.size(), 251u);
  for (size_t k = 0; k < s.c.recordTimes.size(); k++)
    EXPECT_NEAR(s.c.recordTimes[k], 0.004 * k, 1e-9) << k;
  // A record interval that is no multiple of the step: each record at the
  // first step whose end time reaches its time, without interpolation.
  LoopSetup r(30, -0.002, 0.02, 0.001, 0);
  r.c.m_Set.m_dt = 0.0025;
  ASSERT_EQ(0, r.c.CalculateShared());
  const std::vector<double> expected = {0.0, 0.003, 0.005, 0.008, 0.010, 0.013, 0.015, 0.018, 0.020};
  ASSERT_EQ(r.c.recordTimes.size(), expected.size());
  for (size_t k = 0; k < expected.size(); k++)
    EXPECT_NEAR(r.c.recordTimes[k], expected[k], 1e-9) << k;
  // A failing step ends the loop with its code.
  LoopSetup f(30, -0.1, 1.0, 0.001, 201);
  f.c.failAt = 17;
  f.c.failCode = CALC_UNSTABLE;
  EXPECT_EQ(CALC_UNSTABLE, f.c.CalculateShared());
  EXPECT_EQ(f.c.boxes.size(), 18u);
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
  EXPECT_EQ(b[10].x0, 89);
  EXPECT_EQ(b[10].y1, 61);
  EXPECT_EQ(b[10].z0, 2);
  EXPECT_EQ(b[10].z1, n - 3);
  // Held at 60 points while the time is negative (steps 61 .. 99), growing
  // again from t = 0, kept inside the grid on the side it reached first.
  EXPECT_EQ(b[60].x0, 39);
  EXPECT_EQ(b[99].x0, 39);
  EXPECT_EQ(b[100].t, 0.0);
  EXPECT_EQ(b[101].x0, 99 - 62);
  EXPECT_EQ(b[101].y0, 2);
  EXPECT_EQ(b[101].y1, 51 + 62);
  // Once the region covers the grid it is switched off for good.
  EXPECT_EQ(s.c.m_nActiveX1, 0);
  EXPECT_EQ(b.back().x0, 2);
  EXPECT_EQ(b.back().x1, n - 3);
}
