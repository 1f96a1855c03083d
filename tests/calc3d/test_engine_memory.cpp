// Host backend memory plan, allocation and release, and the read-out of
// fields for snapshots and plane exchange.
#include <gtest/gtest.h>

#include <cstdio>

#include "test_engine_fixture.h"

using engine_test::Homogeneous;

namespace {

void SetGrid(CCalc3D_OMP& c, CKelvoApp& app, int nx, int ny, int nz, bool bPml) {
  app.m_nMethod = METHOD_ACOUSTIC;
  c.m_pApp = &app;
  c.m_bPML = bPml;
  c.m_nFrame = bPml ? 26 : 38;
  c.m_nNx = nx, c.m_nNy = ny, c.m_nNz = nz, c.m_nNzAll = nz, c.m_nZ0 = 0, c.m_nZ1 = nz - 1;
  c.m_fH = 10, c.m_fDt = 0.001;
}

double MB(double floats) { return floats * 4 / 1048576; }

} // namespace

TEST(EngineMemory, EstimateOfTheMemoryPlan) {
  // The estimate allocates nothing, sets the slab counts, and gives the need
  // of the method: PML grows with the surface of the grid, the rest with its
  // volume.
  double need[2], pml[2];
  const int sizes[2] = {200, 400};
  for (int k = 0; k < 2; k++) {
    CKelvoApp app;
    CCalc3D_OMP c;
    const int n = sizes[k];
    SetGrid(c, app, n, n, n, true);
    c.m_vRcvIdx.assign(100, 0);
    c.m_nSeisLen = 1001;
    std::printf("Memory plan of an acoustic shot on %d^3 points with PML:\n", n);
    ASSERT_EQ(0, c.AllocateMemory(true, false));
    EXPECT_EQ(c.m_pK, nullptr);
    EXPECT_EQ(c.m_pVx, nullptr);
    EXPECT_EQ(c.m_pPmlMem[0], nullptr);
    EXPECT_EQ(c.m_pPmlCoefX[0], nullptr);
    const size_t slab = (size_t)n * n * 21;
    EXPECT_EQ(c.m_nPmlCountX, slab);
    EXPECT_EQ(c.m_nPmlCountY, slab);
    EXPECT_EQ(c.m_nPmlCountZ, slab);
    const double m = (double)n * n * n;
    pml[k] = MB(12.0 * 3 * slab);
    need[k] = app.m_fMemRequired;
    EXPECT_NEAR(need[k], MB(2 * m) + MB(4 * m) + 4 * MB(100 * 1001.0) + pml[k], 1e-6);
    EXPECT_GT(app.m_fMemAvailable, 0);
  }
  EXPECT_NEAR(pml[1] / pml[0], 4.0, 1e-9);
  const double seis = 4 * MB(100 * 1001.0);
  EXPECT_NEAR((need[1] - pml[1] - seis) / (need[0] - pml[0] - seis), 8.0, 1e-9);

  // The spill file keeps one row of the gather in memory.
  CKelvoApp app;
  CCalc3D_OMP c;
  SetGrid(c, app, 50, 50, 50, false);
  c.m_vRcvIdx.assign(1000, 0);
  c.m_nSeisLen = 5000;
  c.AllocateMemory(true, true);
  const double full = app.m_fMemRequired;
  app.m_bBigSeismogram = true;
  c.AllocateMemory(true, true);
  EXPECT_NEAR(full - app.m_fMemRequired, 4 * MB(1000.0 * 5000) - 4 * MB(1000.0), 1e-6);
}

TEST(EngineMemory, AllocationAndRelease) {
  CKelvoApp app;
  CCalc3D_OMP c;
  EXPECT_EQ(0, c.FreeMemory(true, true, true, true, true)); // fresh object
  SetGrid(c, app, 60, 50, 40, true);
  c.m_nTimeFieldType = 2;
  c.m_nTimeNx = c.m_nTimeNy = c.m_nTimeNz = 4;
  ASSERT_EQ(0, c.AllocateMemory(false, true));
  const size_t m = c.GetCubeSize();
  for (float* p : {c.m_pK, c.m_pB, c.m_pVx, c.m_pVy, c.m_pVz, c.m_pTxx}) {
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p[0], 0.0f);
    EXPECT_EQ(p[m / 2], 0.0f);
  }
  ASSERT_NE(c.m_pPlane, nullptr);
  c.m_pPlane[60 * 40 - 1] = 1.0f; // the plane holds max(nx, ny) * nz
  EXPECT_EQ(c.m_pMu, nullptr);
  EXPECT_EQ(c.m_pTyy, nullptr);
  EXPECT_EQ(c.m_pTimeField[0], nullptr);
  ASSERT_NE(c.m_pTimeField[1], nullptr);
  for (int k = 0; k < PML_MEM_COUNT; k++)
    EXPECT_EQ(c.m_pPmlMem[k] != nullptr, k < PML_MEM_ACOUSTIC) << k;
  // The whole slab of each array can be written.
  for (int k = 0; k < PML_MEM_ACOUSTIC; k++)
    c.m_pPmlMem[k][c.GetPmlMemSize(k) - 1] = 1.0f;
  EXPECT_EQ(c.GetPmlMemSize(2), c.m_nPmlCountX);
  EXPECT_EQ(c.GetPmlMemSize(7), c.m_nPmlCountY);
  EXPECT_EQ(c.GetPmlMemSize(10), c.m_nPmlCountZ);

  // Groups are released apart; a second release does nothing.
  c.FreeMemory(true, true, false, false, false);
  EXPECT_EQ(c.m_pK, nullptr);
  EXPECT_EQ(c.m_pVx, nullptr);
  EXPECT_EQ(c.m_pPmlMem[0], nullptr);
  EXPECT_EQ(c.m_pPmlCoefZ[7], nullptr);
  EXPECT_NE(c.m_pTimeField[1], nullptr);
  EXPECT_NE(c.m_pPlane, nullptr);
  EXPECT_EQ(0, c.FreeMemory(true, true, false, false, false));
  EXPECT_EQ(0, c.FreeMemory(true, true, true, true, true));
  EXPECT_EQ(c.m_pTimeField[1], nullptr);
  EXPECT_EQ(c.m_pPlane, nullptr);

  // A new shot of another size gets new arrays.
  SetGrid(c, app, 30, 30, 30, false);
  ASSERT_EQ(0, c.AllocateMemory(false, true));
  EXPECT_EQ(c.m_pPmlMem[0], nullptr);
  c.m_pTxx[c.GetCubeSize() - 1] = 1.0f;
}

TEST(EngineMemory, LimitAndShortage) {
  CKelvoApp app;
  CCalc3D_OMP c;
  SetGrid(c, app, 100, 100, 100, true);
  app.m_nMemoryLimit = 10; // MB
  EXPECT_EQ(CALC_MEMORY_LIMIT, c.AllocateMemory(false, true));
  EXPECT_NE(c.m_pVx, nullptr); // kept until released
  app.m_nMemoryLimit = 0;
  app.m_nHostMemoryGB = 1; // configured: the table says so, the need fits
  EXPECT_EQ(0, c.AllocateMemory(false, false));
  // A need beyond what the machine has fails cleanly.
  SetGrid(c, app, 100000, 100000, 1000, false);
  app.m_nHostMemoryGB = 0;
  EXPECT_EQ(CALC_NO_MEMORY, c.AllocateMemory(false, true));
  EXPECT_EQ(0, c.FreeMemory(true, true, true, true, true));
}

TEST(EngineMemory, LoadModelClearsTheStateOfAShot) {
  Homogeneous h;
  h.Build(50, 50, 50, true, 10, 0.001, 2000, 2000);
  CCalc3D_OMP& c = h.calc;
  h.Shot(25, 25, 25, 0, {h.Idx(30, 25, 25)}, 0.1);
  const size_t m = c.GetCubeSize();
  const float k0 = c.m_pK[m / 2];
  for (float* p : {c.m_pVx, c.m_pVy, c.m_pVz, c.m_pTxx})
    p[m / 3] = 1;
  c.m_pPmlMem[11][5] = 1;
  c.m_pSeisC[c.m_nSeisLen - 1] = 1;
  EXPECT_EQ(0, c.LoadModel());
  for (float* p : {c.m_pVx, c.m_pVy, c.m_pVz, c.m_pTxx})
    EXPECT_EQ(p[m / 3], 0.0f);
  EXPECT_EQ(c.m_pPmlMem[11][5], 0.0f);
  EXPECT_EQ(c.m_pSeisC[c.m_nSeisLen - 1], 0.0f);
  EXPECT_EQ(c.m_pK[m / 2], k0); // the model stays
}

TEST(EngineMemory, PlaneAccessGivesTheArrayItself) {
  Homogeneous h;
  h.Build(20, 20, 20, false, 10, 0.001, 2000, 2000);
  CCalc3D_OMP& c = h.calc;
  float* p = nullptr;
  ASSERT_EQ(0, c.GetCalcPlane(FIELD_VZ, 7, 9, &p, false));
  EXPECT_EQ(p, c.m_pVz + 7 * 400);
  p[3] = 2.5f;
  EXPECT_EQ(c.m_pVz[h.Idx(3, 0, 7)], 2.5f);
  EXPECT_EQ(0, c.SetCalcPlane(FIELD_VZ, 7, 9, p));
  c.FreeCalcPlane(&p);
  ASSERT_EQ(0, c.GetCalcPlane(FIELD_TXX, 0, 0, &p, true));
  EXPECT_EQ(p, c.m_pTxx);
  // No shear stress in the acoustic method, and no field 10.
  EXPECT_EQ(CALC_NO_FIELD, c.GetCalcPlane(FIELD_TXY, 0, 0, &p, false));
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(CALC_NO_FIELD, c.GetCalcPlane(10, 0, 0, &p, false));
}

TEST(EngineMemory, SnapshotGrabs) {
  Homogeneous h;
  h.Build(12, 10, 8, false, 10, 0.001, 2000, 2000);
  CCalc3D_OMP& c = h.calc;
  const size_t m = c.GetCubeSize();
  for (size_t i = 0; i < m; i++) {
    c.m_pTxx[i] = (float)i;
    c.m_pVx[i] = (float)i * 1e-3f;
    c.m_pVz[i] = -(float)i;
  }
  // Full size: every point once; velocities carry the scale.
  CCubeN box;
  box.x0 = 1, box.y0 = 2, box.z0 = 3, box.x1 = 10, box.y1 = 8, box.z1 = 6;
  C3DSizeN size;
  size.cx = 10, size.cy = 7, size.cz = 4;
  float* s = c.Grab3DSnapshot(box, size, 'C');
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(s[0], c.m_pTxx[h.Idx(1, 2, 3)]);
  EXPECT_EQ(s[3 * 70 + 6 * 10 + 9], c.m_pTxx[h.Idx(10, 8, 6)]);
  delete[] s;
  s = c.Grab3DSnapshot(box, size, 'X');
  EXPECT_FLOAT_EQ(s[1], c.m_pVx[h.Idx(2, 2, 3)] * 15000.0f);
  delete[] s;
  // Coarser: nearest points, the last at or before the high corner.
  size.cx = 4, size.cy = 3, size.cz = 2;
  s = c.Grab3DSnapshot(box, size, 'W'); // any other letter: Vz
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(s[1], c.m_pVz[h.Idx(1 + 3, 2, 3)] * 15000.0f); // i = 1: 1 * 2.5 + 0.5 -> 3
  EXPECT_EQ(s[1 * 12 + 2 * 4 + 3], c.m_pVz[h.Idx(1 + 8, 2 + 5, 3 + 2)] * 15000.0f);
  delete[] s;
  // No shear stresses in the acoustic method.
  EXPECT_EQ(c.Grab3DSnapshot(box, size, '3'), nullptr);

  // A vertical plane through the shot: 'Y' fixes x, others fix y.
  c.m_cubeGrid.x0 = 1000, c.m_cubeGrid.y0 = 2000, c.m_cubeGrid.z0 = 0;
  c.m_ptShot.x = 1052, c.m_ptShot.y = 2031;
  float* pl = c.Grab2DSnapshot('Y', 'C');
  ASSERT_EQ(pl, c.m_pPlane);
  EXPECT_EQ(pl[4 + 10 * 6], c.m_pTxx[h.Idx(5, 4, 6)]);
  pl = c.Grab2DSnapshot('X', 'Z');
  EXPECT_EQ(pl[7 + 12 * 2], c.m_pVz[h.Idx(7, 3, 2)] * 15000.0f);
  c.m_fSnapYOffset = 20;
  pl = c.Grab2DSnapshot('X', 'X');
  EXPECT_EQ(pl[7 + 12 * 2], c.m_pVx[h.Idx(7, 5, 2)] * 15000.0f);
}

TEST(EngineMemory, StepsOfOtherMethodsReportAnError) {
  CKelvoApp app;
  CCalc3D_OMP c;
  SetGrid(c, app, 20, 20, 20, false);
  app.m_nMethod = METHOD_ELASTIC;
  ASSERT_EQ(0, c.AllocateMemory(false, true));
  EXPECT_NE(c.m_pTyz, nullptr);
  EXPECT_NE(c.m_pMu, nullptr);
  EXPECT_NE(0, c.PropagateElaWaveU(2, 2, 2, 17, 17, 17));
  EXPECT_NE(0, c.PropagateElaWaveTau(2, 2, 2, 17, 17, 17));
  EXPECT_NE(0, c.PropagateOrtWaveTau(2, 2, 2, 17, 17, 17));
  EXPECT_NE(0, c.PropagateAniWaveTau(2, 2, 2, 17, 17, 17));
}
