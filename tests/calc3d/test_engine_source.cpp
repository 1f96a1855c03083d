// Source injection of the host backend by source type and surface flag, and
// the gather rows it records.
#include <gtest/gtest.h>

#include "test_engine_fixture.h"

using engine_test::Homogeneous;

TEST(EngineSource, AcousticSourceTypesAndGatherRows) {
  Homogeneous h;
  h.Build(10, 10, 10, false, 10, 0.001, 2000, 2000);
  CCalc3D_OMP& c = h.calc;
  const size_t p = h.Idx(5, 5, 5);
  delete[] c.m_Signal.m_pSignal;
  c.m_Signal.m_pSignal = new float[1]{2.0f}; // one sample of value 2
  c.m_Signal.m_nLen = 1;
  c.m_vShotPoints = {{p, 0}};
  using C = CCalc3D_OMP;
  // Type, surface flag, the field it drives, its value from 1 after sample 0.
  const struct {
    int type, flag;
    float* C::*field;
    float want;
  } cases[] = {{0, 0, &C::m_pTxx, 3}, {0, 1, &C::m_pTxx, -1}, {1, 0, &C::m_pVx, -1}, {1, 1, &C::m_pVx, 3},
               {2, 0, &C::m_pVy, -1}, {2, 1, &C::m_pVy, 3},   {3, 0, &C::m_pVz, -1}, {3, 1, &C::m_pVz, -1},
               {7, 0, &C::m_pTxx, 2}, {7, 1, &C::m_pTxx, -1}, {5, 0, &C::m_pTxx, 3}, {1, 0, &C::m_pTxx, 1}};
  for (const auto& k : cases) {
    c.m_nSourceType = k.type;
    c.m_vShotPoints[0].nFlags = k.flag;
    for (float* f : {c.m_pVx, c.m_pVy, c.m_pVz, c.m_pTxx})
      f[p] = 1.0f;
    ASSERT_EQ(0, c.ApplySignal(0));
    EXPECT_EQ((c.*k.field)[p], k.want) << "type " << k.type << " flag " << k.flag;
  }
  // No signal past its end.
  c.m_nSourceType = 0;
  c.m_pTxx[p] = 1.0f;
  EXPECT_EQ(0, c.ApplySignal(1));
  EXPECT_EQ(c.m_pTxx[p], 1.0f);

  // Gather rows: velocities scaled, pressure not; a full gather takes no more.
  const std::vector<size_t> rcv = {h.Idx(2, 3, 4), h.Idx(7, 7, 7)};
  h.Shot(5, 5, 5, 0, rcv, 0.002); // three samples
  ASSERT_EQ(c.m_nSeisLen, 3u);
  c.LoadModel();
  for (int s = 0; s < 5; s++) {
    c.m_pVx[rcv[1]] = 0.001f * s;
    c.m_pVz[rcv[0]] = -0.002f * s;
    c.m_pTxx[rcv[1]] = 10.0f * s;
    ASSERT_EQ(0, c.RecordSeismogram());
  }
  EXPECT_EQ(c.m_nSeisStep, 3u);
  EXPECT_FLOAT_EQ(c.GrabShotgather('X')[2 * 2 + 1], 0.002f * 15000.0f);
  EXPECT_FLOAT_EQ(c.GrabShotgather('Z')[1 * 2 + 0], -0.002f * 15000.0f);
  EXPECT_EQ(c.GrabShotgather('C')[2 * 2 + 1], 20.0f);
  EXPECT_EQ(c.GrabShotgather('Y')[5], 0.0f);
}
