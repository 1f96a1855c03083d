// Source injection, gather recording in memory and through the spill file,
// and the arrival-time cubes of the host backend.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <unistd.h>

#include "test_engine_fixture.h"

using engine_test::Homogeneous;

namespace {

// A small acoustic object with a one-sample signal of value 2.
struct SourceSetup {
  Homogeneous h;
  size_t p;
  explicit SourceSetup(int method = METHOD_ACOUSTIC) {
    h.app.m_nMethod = method;
    h.Build(10, 10, 10, false, 10, 0.001, 2000, 2000);
    h.app.m_nMethod = method;
    if (method != METHOD_ACOUSTIC) {
      h.calc.AllocateMemory(false, true);
      std::fill(h.calc.m_pB, h.calc.m_pB + h.calc.GetCubeSize(), 1.0f);
    }
    p = h.Idx(5, 5, 5);
    delete[] h.calc.m_Signal.m_pSignal;
    h.calc.m_Signal.m_pSignal = new float[1]{2.0f};
    h.calc.m_Signal.m_nLen = 1;
    h.calc.m_vShotPoints = {{p, 0}};
  }
  CCalc3D_OMP& c() { return h.calc; }
  // Applies sample 0 with a source type and surface flag after seeding the
  // fields with 1; gives the value of the named array at the point.
  float Apply(int type, int flag, float* CCalc3D_OMP::*field) {
    CCalc3D_OMP& o = h.calc;
    o.m_nSourceType = type;
    o.m_vShotPoints[0].nFlags = flag;
    for (float* f : {o.m_pVx, o.m_pVy, o.m_pVz, o.m_pTxx, o.m_pTyy, o.m_pTzz, o.m_pTxy, o.m_pTxz, o.m_pTyz})
      if (f)
        f[p] = 1.0f;
    EXPECT_EQ(0, o.ApplySignal(0));
    return (o.*field)[p];
  }
};

} // namespace

TEST(EngineSource, AcousticSourceTypes) {
  SourceSetup s;
  using C = CCalc3D_OMP;
  EXPECT_EQ(s.Apply(0, 0, &C::m_pTxx), 3.0f);
  EXPECT_EQ(s.Apply(0, 1, &C::m_pTxx), -1.0f);
  EXPECT_EQ(s.Apply(1, 0, &C::m_pVx), -1.0f);
  EXPECT_EQ(s.Apply(1, 1, &C::m_pVx), 3.0f);
  EXPECT_EQ(s.Apply(2, 0, &C::m_pVy), -1.0f);
  EXPECT_EQ(s.Apply(2, 1, &C::m_pVy), 3.0f);
  EXPECT_EQ(s.Apply(3, 0, &C::m_pVz), -1.0f);
  EXPECT_EQ(s.Apply(3, 1, &C::m_pVz), -1.0f);
  EXPECT_EQ(s.Apply(7, 0, &C::m_pTxx), 2.0f); // replaces the pressure
  EXPECT_EQ(s.Apply(7, 1, &C::m_pTxx), -1.0f);
  EXPECT_EQ(s.Apply(5, 0, &C::m_pTxx), 3.0f);
  // Type 1 leaves the pressure alone.
  EXPECT_EQ(s.Apply(1, 0, &C::m_pTxx), 1.0f);
  // No signal past its end.
  s.c().m_nSourceType = 0;
  s.c().m_pTxx[s.p] = 1.0f;
  EXPECT_EQ(0, s.c().ApplySignal(1));
  EXPECT_EQ(s.c().m_pTxx[s.p], 1.0f);
}

TEST(EngineSource, ElasticSourceTypes) {
  SourceSetup s(METHOD_ELASTIC);
  using C = CCalc3D_OMP;
  CCalc3D_OMP& c = s.c();
  ASSERT_NE(c.m_pTyz, nullptr);
  // Type 0 adds to the three normal stresses, and subtracts below a void.
  EXPECT_EQ(s.Apply(0, 0, &C::m_pTzz), 3.0f);
  c.m_pB[s.p - 100] = 0.0f;
  EXPECT_EQ(s.Apply(0, 0, &C::m_pTyy), -1.0f);
  c.m_pB[s.p - 100] = 1.0f;
  EXPECT_EQ(s.Apply(1, 1, &C::m_pVx), 3.0f);
  EXPECT_EQ(s.Apply(3, 0, &C::m_pVz), -1.0f);
  EXPECT_EQ(s.Apply(6, 0, &C::m_pTzz), -1.0f);
  EXPECT_EQ(s.Apply(7, 0, &C::m_pTxx), 3.0f);
  c.m_fK11 = 1, c.m_fK22 = 2, c.m_fK33 = 3, c.m_fK12 = 4, c.m_fK13 = 5, c.m_fK23 = 6;
  EXPECT_EQ(s.Apply(8, 0, &C::m_pTxz), 11.0f);
  EXPECT_EQ(c.m_pTxx[s.p], 1.0f); // type 8: shear stresses only
  EXPECT_EQ(s.Apply(9, 0, &C::m_pTzz), 7.0f);
  EXPECT_EQ(c.m_pTyz[s.p], 13.0f);
  // Type 10 takes the weights of its own point.
  c.m_vShotTauK = {CShotTauK{-1, -2, -3, -4, -5, -6}};
  EXPECT_EQ(s.Apply(10, 0, &C::m_pTyy), -3.0f);
  EXPECT_EQ(c.m_pTxy[s.p], -7.0f);
}

TEST(EngineSource, GatherRows) {
  Homogeneous h;
  h.Build(10, 10, 10, false, 10, 0.001, 2000, 2000);
  CCalc3D_OMP& c = h.calc;
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
  EXPECT_EQ(c.m_nSeisStep, 3u); // full: further rows are not taken
  EXPECT_FLOAT_EQ(c.GrabShotgather('X')[2 * 2 + 1], 0.002f * 15000.0f);
  EXPECT_FLOAT_EQ(c.GrabShotgather('Z')[1 * 2 + 0], -0.002f * 15000.0f);
  EXPECT_EQ(c.GrabShotgather('C')[2 * 2 + 1], 20.0f); // pressure unscaled
  EXPECT_EQ(c.GrabShotgather('Q'), c.GrabShotgather('Z'));
  EXPECT_EQ(c.GrabShotgather('Y')[5], 0.0f);
  // No receiver: nothing to allocate or record.
  c.FreeMemory(false, false, true, false, false);
  c.m_vRcvIdx.clear();
  EXPECT_EQ(0, c.AllocateMemorySeismogram());
  EXPECT_EQ(c.m_pSeisX, nullptr);
  c.m_nSeisStep = 0;
  EXPECT_EQ(0, c.RecordSeismogram());
  EXPECT_EQ(c.m_nSeisStep, 0u);
}

TEST(EngineSource, SpillFileGivesTheSameGather) {
  char dir[] = "/tmp/kelvo_bigseisXXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof(cwd)), nullptr);
  ASSERT_EQ(0, chdir(dir));

  std::vector<float> mem[4];
  const char comps[4] = {'X', 'Y', 'Z', 'C'};
  for (int big = 0; big < 2; big++) {
    Homogeneous h;
    h.app.m_bBigSeismogram = big == 1;
    h.app.m_nNode = 3;
    h.app.m_nCurShot = 12;
    h.Build(50, 50, 50, true, 10, 0.001, 2000, 2000);
    const std::vector<size_t> rcv = {h.Idx(30, 25, 25), h.Idx(25, 32, 25), h.Idx(25, 25, 35)};
    h.Shot(25, 25, 25, 0, rcv, 0.02);
    ASSERT_EQ(0, h.Run());
    for (int k = 0; k < 4; k++) {
      const float* g = h.calc.GrabShotgather(comps[k]);
      ASSERT_NE(g, nullptr);
      std::vector<float> v(g, g + rcv.size() * h.calc.m_nSeisLen);
      if (big == 0) {
        mem[k] = v;
      } else {
        EXPECT_EQ(v, mem[k]) << comps[k];
      }
    }
    if (big == 1) {
      // Header: magic 821222, the node, the receiver count; rows of 4 n floats.
      FILE* f = fopen("BigSeis-3(12).bin", "rb");
      ASSERT_NE(f, nullptr);
      int32_t head[2];
      int64_t count;
      ASSERT_EQ(fread(head, 4, 2, f), 2u);
      ASSERT_EQ(fread(&count, 8, 1, f), 1u);
      EXPECT_EQ(head[0], 821222);
      EXPECT_EQ(head[1], 3);
      EXPECT_EQ(count, 3);
      fseek(f, 0, SEEK_END);
      EXPECT_EQ(ftell(f), 16 + (long)(h.calc.m_nSeisLen * 4 * 3 * 4));
      fclose(f);
      // Another node's file is refused.
      h.app.m_nNode = 4;
      rename("BigSeis-3(12).bin", "BigSeis-4(12).bin");
      EXPECT_EQ(h.calc.GrabShotgather('Z'), nullptr);
      remove("BigSeis-4(12).bin");
      EXPECT_EQ(h.calc.GrabShotgather('Z'), nullptr);
    }
  }
  ASSERT_EQ(0, chdir(cwd));
  rmdir(dir);
}

TEST(EngineSource, ArrivalTimeCubes) {
  Homogeneous h;
  h.calc.m_nTimeFieldType = 3;
  h.calc.m_nTimeNx = h.calc.m_nTimeNy = h.calc.m_nTimeNz = 3;
  h.calc.m_fTimeDx = h.calc.m_fTimeDy = h.calc.m_fTimeDz = 20;
  h.Build(80, 80, 80, false, 10, 0.001, 2000, 2000);
  CCalc3D_OMP& c = h.calc;
  // Cube point (1, 2, 0) is grid point (38 + 2, 38 + 4, 38).
  const size_t q = h.Idx(40, 42, 38);
  const size_t k = (0 * 3 + 2) * 3 + 1;
  const float vx[] = {0.1f, 0.3f, 0.3f, 0.2f};
  for (int s = 0; s < 4; s++) {
    c.m_fTime = 0.01 * s;
    c.m_pVx[q] = vx[s];
    ASSERT_EQ(0, c.PropagateTimeField());
  }
  // Energy: the strongest value and its time; an equal value keeps the earlier.
  EXPECT_FLOAT_EQ(c.m_pTimeMax[0][k], 0.09f);
  EXPECT_FLOAT_EQ(c.GrabTimeField(0)[k], 0.01f);
  // Divergence: |Vx[p + 1] - Vx[p]|, the same history.
  EXPECT_FLOAT_EQ(c.GrabTimeField(1)[k], 0.01f);
  // Points that never moved keep 0.
  EXPECT_EQ(c.GrabTimeField(0)[0], 0.0f);
  EXPECT_EQ(c.GrabTimeField(2), nullptr);
}
