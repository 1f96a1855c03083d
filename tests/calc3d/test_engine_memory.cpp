// Host backend memory plan: what a shot needs, and the limits it meets.
#include <gtest/gtest.h>

#include "test_engine_fixture.h"

namespace {

void SetGrid(CCalc3D_OMP& c, int n, bool bPml) {
  c.m_Set.m_nMethod = METHOD_ACOUSTIC;
  c.m_bPML = bPml;
  c.m_nFrame = bPml ? 26 : 38;
  c.m_nNx = c.m_nNy = c.m_nNz = c.m_nNzAll = n, c.m_nZ0 = 0, c.m_nZ1 = n - 1;
  c.m_fH = 10, c.m_fDt = 0.001;
}

double MB(double floats) { return floats * 4 / 1048576; }

} // namespace

TEST(EngineMemory, EstimateOfTheMemoryPlan) {
  // The estimate allocates nothing and gives the need of the method: PML
  // grows with the surface of the grid, the rest with its volume.
  double need[2], pml[2];
  const int sizes[2] = {200, 400};
  const double seis = 4 * MB(100 * 1001.0);
  for (int k = 0; k < 2; k++) {
    CKelvoApp app;
    CCalc3D_OMP c;
    const int n = sizes[k];
    SetGrid(c, n, true);
    c.m_vRcvIdx.assign(100, 0);
    c.m_nSeisLen = 1001;
    ASSERT_EQ(0, c.AllocateMemory(true, false));
    EXPECT_EQ(c.m_pK, nullptr);
    EXPECT_EQ(c.m_pPmlMem[0], nullptr);
    const size_t slab = (size_t)n * n * 21;
    EXPECT_EQ(c.m_nPmlCountX, slab);
    EXPECT_EQ(c.m_nPmlCountZ, slab);
    const double m = (double)n * n * n;
    pml[k] = MB(12.0 * 3 * slab);
    need[k] = c.m_fMemRequired;
    EXPECT_NEAR(need[k], MB(2 * m) + MB(4 * m) + seis + pml[k], 1e-6);
  }
  EXPECT_NEAR(pml[1] / pml[0], 4.0, 1e-9);
  EXPECT_NEAR((need[1] - pml[1] - seis) / (need[0] - pml[0] - seis), 8.0, 1e-9);

  // The spill file keeps one row of the gather in memory.
  CKelvoApp app;
  CCalc3D_OMP c;
  SetGrid(c, 50, false);
  c.m_vRcvIdx.assign(1000, 0);
  c.m_nSeisLen = 5000;
  c.AllocateMemory(true, true);
  const double full = c.m_fMemRequired;
  c.m_Set.m_bBigSeismogram = true;
  c.AllocateMemory(true, true);
  EXPECT_NEAR(full - c.m_fMemRequired, 4 * MB(1000.0 * 5000) - 4 * MB(1000.0), 1e-6);
}

TEST(EngineMemory, LimitAndShortage) {
  CKelvoApp app;
  CCalc3D_OMP c;
  SetGrid(c, 100, true);
  c.m_Set.m_nMemoryLimit = 10; // MB
  EXPECT_EQ(CALC_MEMORY_LIMIT, c.AllocateMemory(false, true));
  c.m_Set.m_nMemoryLimit = 0;
  ASSERT_EQ(0, c.AllocateMemory(false, true));
  // Every array of the method is there and writable to its end.
  const size_t m = c.GetCubeSize();
  for (float* p : {c.m_pK, c.m_pB, c.m_pVx, c.m_pVy, c.m_pVz, c.m_pTxx})
    p[m - 1] = 1.0f;
  for (int k = 0; k < PML_MEM_COUNT; k++) {
    ASSERT_EQ(c.m_pPmlMem[k] != nullptr, k < PML_MEM_ACOUSTIC) << k;
    if (c.m_pPmlMem[k])
      c.m_pPmlMem[k][c.GetPmlMemSize(k) - 1] = 1.0f;
  }
  // A need beyond what the machine has fails cleanly.
  SetGrid(c, 100000, false);
  c.m_nNz = c.m_nNzAll = 1000, c.m_nZ1 = 999;
  EXPECT_EQ(CALC_NO_MEMORY, c.AllocateMemory(false, true));
  EXPECT_EQ(0, c.FreeMemory(true, true, true, true, true));
}
