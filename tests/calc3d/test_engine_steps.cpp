// The host acoustic steps: stencil, staggering, edge taper, and the split
// interior/border loops against the per-point reference path.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "test_engine_fixture.h"

using engine_test::Homogeneous;

namespace {

// Fills all fields and PML memories of an object with reproducible noise.
void FillState(CCalc3D_OMP& c) {
  std::mt19937 gen(7);
  std::uniform_real_distribution<float> d(-1.0f, 1.0f);
  auto fill = [&](float* p, size_t n) { std::generate(p, p + n, [&] { return d(gen); }); };
  for (float* f : {c.m_pVx, c.m_pVy, c.m_pVz, c.m_pTxx})
    fill(f, c.GetCubeSize());
  for (int k = 0; k < PML_MEM_ACOUSTIC; k++)
    if (c.m_pPmlMem[k])
      fill(c.m_pPmlMem[k], c.GetPmlMemSize(k));
}

// Largest difference relative to the magnitude (at least 1) of the values.
float MaxDiff(const float* a, const float* b, size_t n) {
  float d = 0;
  for (size_t i = 0; i < n; i++)
    d = std::max(d, std::fabs(a[i] - b[i]) / std::max(1.0f, std::fabs(b[i])));
  return d;
}

struct StepCase {
  int nx, ny, nz;
  bool pml;
  int frame; // 0: the default of the setting
  int z0;    // global plane of local plane 0 (a depth slab of a larger grid)
};

// Runs a velocity and a pressure step with the fast loops on one object and
// the per-point path on a twin, over the whole box and over a partial box,
// and compares all fields and memories.
void CompareFastAndGeneric(const StepCase& sc) {
  Homogeneous a, b;
  auto vp = [](int x, int y, int z) { return (float)(1500 + 10 * x + 7 * y + 3 * z); };
  a.Build(sc.nx, sc.ny, sc.nz, sc.pml, 10, 0.001, 0, 2000, 20, vp);
  b.Build(sc.nx, sc.ny, sc.nz, sc.pml, 10, 0.001, 0, 2000, 20, vp);
  for (Homogeneous* h : {&a, &b}) {
    if (sc.frame)
      h->calc.m_nFrame = sc.frame;
    h->calc.m_nZ0 = sc.z0;
    h->calc.m_nNzAll = sc.nz + 2 * sc.z0;
    h->calc.m_nZ1 = sc.z0 + sc.nz - 1;
    for (int i = 1; i < 38; i++)
      h->calc.m_fDamp[i] = 0.5f + 0.01f * i;
  }
  const int s = 2;
  // The whole box, one cutting the zones, and one that leaves only a few
  // points of each x zone (shorter than a vector).
  const int boxes[3][6] = {{s, s, s, sc.nz - s - 1, sc.ny - s - 1, sc.nx - s - 1},
                           {s + 1, 5, 7, sc.nz - s - 4, sc.ny - 9, sc.nx - 4},
                           {s, s + 3, 18, sc.nz - s - 2, sc.ny - s - 1, sc.nx - 19}};
  for (const auto& bx : boxes) {
    FillState(a.calc);
    FillState(b.calc);
    ASSERT_EQ(0, a.calc.PropagateAcoWaveU(bx[0], bx[1], bx[2], bx[3], bx[4], bx[5]));
    ASSERT_EQ(0, b.calc.PropagateAcoWaveUGeneric(bx[0], bx[1], bx[2], bx[3], bx[4], bx[5]));
    ASSERT_EQ(0, a.calc.PropagateAcoWaveTau(bx[0], bx[1], bx[2], bx[3], bx[4], bx[5]));
    ASSERT_EQ(0, b.calc.PropagateAcoWaveTauGeneric(bx[0], bx[1], bx[2], bx[3], bx[4], bx[5]));
    const size_t m = a.calc.GetCubeSize();
    EXPECT_LE(MaxDiff(a.calc.m_pVx, b.calc.m_pVx, m), 1e-4f);
    EXPECT_LE(MaxDiff(a.calc.m_pVy, b.calc.m_pVy, m), 1e-4f);
    EXPECT_LE(MaxDiff(a.calc.m_pVz, b.calc.m_pVz, m), 1e-4f);
    EXPECT_LE(MaxDiff(a.calc.m_pTxx, b.calc.m_pTxx, m), 1e-4f);
    for (int k = 0; k < PML_MEM_ACOUSTIC; k++)
      if (a.calc.m_pPmlMem[k]) {
        EXPECT_LE(MaxDiff(a.calc.m_pPmlMem[k], b.calc.m_pPmlMem[k], a.calc.GetPmlMemSize(k)), 1e-4f) << "k=" << k;
      }
  }
}

} // namespace

TEST(EngineSteps, FastLoopsMatchPointwiseReference) {
  // PML on a grid with an interior in all axes, on a slab of a deeper grid,
  // on a grid so small that the two zones of an axis overlap; taper frames.
  CompareFastAndGeneric({60, 54, 50, true, 0, 0});
  CompareFastAndGeneric({60, 54, 30, true, 0, 10});
  CompareFastAndGeneric({40, 44, 36, true, 0, 0});
  CompareFastAndGeneric({50, 46, 40, false, 12, 0});
  CompareFastAndGeneric({30, 30, 30, false, 20, 0});
}

TEST(EngineSteps, StencilIsFourthOrderOnTheStaggeredPositions) {
  // A cubic pressure field along each axis: the velocity step must give the
  // exact derivative at the half-cell position before the node.
  Homogeneous h;
  h.Build(20, 20, 20, false, 1, 1, 1, 1);
  CCalc3D_OMP& c = h.calc;
  c.m_nFrame = 0; // no taper
  const size_t m = c.GetCubeSize();
  std::fill(c.m_pB, c.m_pB + m, 1.0f);
  auto cubic = [](double u) { return 0.001 * u * u * u - 0.02 * u * u + 0.5 * u; };
  auto slope = [](double u) { return 0.003 * u * u - 0.04 * u + 0.5; };
  auto fill = [&](float* f, int axis) {
    for (int z = 0; z < 20; z++)
      for (int y = 0; y < 20; y++)
        for (int x = 0; x < 20; x++)
          f[h.Idx(x, y, z)] = (float)cubic(axis == 0 ? x : (axis == 1 ? y : z));
  };
  for (int axis = 0; axis < 3; axis++) {
    fill(c.m_pTxx, axis);
    for (float* f : {c.m_pVx, c.m_pVy, c.m_pVz})
      std::fill(f, f + m, 0.0f);
    c.PropagateAcoWaveU(2, 2, 2, 17, 17, 17);
    float* v[3] = {c.m_pVx, c.m_pVy, c.m_pVz};
    for (int u = 2; u <= 17; u++) {
      const int x = axis == 0 ? u : 9, y = axis == 1 ? u : 9, z = axis == 2 ? u : 9;
      EXPECT_NEAR(v[axis][h.Idx(x, y, z)], slope(u - 0.5), 2e-5) << "axis " << axis << " u " << u;
      EXPECT_EQ(v[(axis + 1) % 3][h.Idx(x, y, z)], 0.0f);
    }
  }
  // The pressure step takes the forward difference: a cubic Vz gives the
  // derivative half a cell after the node.
  for (float* f : {c.m_pTxx, c.m_pVx, c.m_pVy})
    std::fill(f, f + m, 0.0f);
  fill(c.m_pVz, 2);
  std::fill(c.m_pK, c.m_pK + m, 2.0f);
  c.PropagateAcoWaveTau(2, 2, 2, 17, 17, 17);
  for (int z = 2; z <= 17; z++)
    EXPECT_NEAR(c.m_pTxx[h.Idx(6, 11, z)], 2 * slope(z + 0.5), 4e-5) << z;
}

TEST(EngineSteps, TaperActsByDistanceToTheWholeGridEdge) {
  // Without PML a pressure step in void multiplies P by the taper of its
  // distance to the nearest face of the whole grid, depth slabs included.
  Homogeneous h;
  h.Build(50, 50, 30, false, 10, 0.001, 2000, 2000);
  CCalc3D_OMP& c = h.calc;
  const size_t m = c.GetCubeSize();
  std::fill(c.m_pK, c.m_pK + m, 0.0f);
  for (int i = 0; i < 38; i++)
    c.m_fDamp[i] = 1.0f - 0.01f * (i + 1);
  c.m_nFrame = 10;
  c.m_nZ0 = 3; // planes 3 .. 32 of a grid of 40
  c.m_nNzAll = 40;
  std::fill(c.m_pTxx, c.m_pTxx + m, 1.0f);
  c.PropagateAcoWaveTau(2, 2, 2, 27, 47, 47);
  auto expect = [&](int x, int y, int z) {
    const int g = z + 3;
    const int r = std::min({x, y, 49 - x, 49 - y, g, 39 - g});
    return r < 10 ? c.m_fDamp[r] : 1.0f;
  };
  for (int z = 2; z <= 27; z += 5)
    for (int y = 2; y <= 47; y += 3)
      for (int x = 2; x <= 47; x++)
        ASSERT_EQ(c.m_pTxx[h.Idx(x, y, z)], expect(x, y, z)) << x << "," << y << "," << z;
  // The velocity step applies it before the update: with B = 0 the same factors.
  std::fill(c.m_pB, c.m_pB + m, 0.0f);
  std::fill(c.m_pVy, c.m_pVy + m, 1.0f);
  c.PropagateAcoWaveU(2, 2, 2, 27, 47, 47);
  for (int x = 2; x <= 47; x++)
    ASSERT_EQ(c.m_pVy[h.Idx(x, 4, 26)], expect(x, 4, 26)) << x;
}
