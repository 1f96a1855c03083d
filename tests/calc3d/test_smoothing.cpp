// Smoothing of the model coefficients: the seven-point mean pass on small
// cubes, the stage of the calculation object over all its cubes, and its
// effect on waves.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <functional>
#include <vector>

#include "calc3d/ModelSmoothing.h"
#include "test_engine_fixture.h"
#include "trace_measure.h"

using engine_test::Homogeneous;

namespace {

struct Cube {
  int nx, ny, nz;
  std::vector<float> v;
  Cube(int x, int y, int z, const std::function<float(int, int, int)>& f) : nx(x), ny(y), nz(z), v((size_t)x * y * z) {
    for (int k = 0; k < nz; k++)
      for (int j = 0; j < ny; j++)
        for (int i = 0; i < nx; i++)
          at(i, j, k) = f(i, j, k);
  }
  float& at(int x, int y, int z) { return v[((size_t)z * ny + y) * nx + x]; }
  void Smooth(int nPasses) {
    std::vector<float> plane((size_t)nx * nz, -1.0f);
    calc_SmoothCube(v.data(), nx, ny, nz, nPasses, plane.data());
  }
};

const int kFace[6][3] = {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}};

} // namespace

TEST(SmoothCube, UniformAndDegenerateCubesStayBitForBit) {
  const struct {
    int nx, ny, nz, nPasses;
    bool bUniform;
  } cases[] = {
      {7, 6, 5, 4, true},   // any number of passes over a constant (exact sums)
      {6, 2, 6, 3, false},  // two planes along y: nothing is inner
      {2, 6, 6, 3, false},  // two along x
      {6, 6, 2, 3, false},  // two along z
      {6, 6, 6, 0, false},  // no pass
      {6, 6, 6, -2, false}, // a negative count is none
  };
  for (const auto& c : cases) {
    Cube cube(c.nx, c.ny, c.nz, [&](int x, int y, int z) { return c.bUniform ? 0.375f : 1.0f + x * y + z * z; });
    const std::vector<float> before = cube.v;
    cube.Smooth(c.nPasses);
    EXPECT_EQ(0, std::memcmp(before.data(), cube.v.data(), before.size() * sizeof(float)))
        << c.nx << "x" << c.ny << "x" << c.nz << " passes " << c.nPasses;
  }
}

TEST(SmoothCube, OddCellSpreadsASeventhToEachFaceNeighbour) {
  // 1 everywhere and 8 at one cell: after one pass the cell and its six
  // neighbours hold 2, every other cell 1. The same wherever the cell lies
  // off the outer planes and away from the last y plane of the pass.
  const int n = 7;
  const int cells[][3] = {{3, 3, 3}, {1, 1, 1}, {5, 2, 4}, {2, 3, 5}, {4, 1, 5}};
  for (const auto& p : cells) {
    Cube cube(n, n, n, [&](int x, int y, int z) { return x == p[0] && y == p[1] && z == p[2] ? 8.0f : 1.0f; });
    cube.Smooth(1);
    std::vector<float> expect((size_t)n * n * n, 1.0f);
    auto set = [&](int x, int y, int z) {
      if (x > 0 && y > 0 && z > 0 && x < n - 1 && y < n - 1 && z < n - 1)
        expect[((size_t)z * n + y) * n + x] = 2.0f;
    };
    set(p[0], p[1], p[2]);
    for (const auto& d : kFace)
      set(p[0] + d[0], p[1] + d[1], p[2] + d[2]);
    for (size_t i = 0; i < expect.size(); i++)
      ASSERT_FLOAT_EQ(expect[i], cube.v[i]) << "cell " << p[0] << "," << p[1] << "," << p[2] << " index " << i;
  }
}

TEST(SmoothCube, CellsBesideAVoidKeepTheirValues) {
  // A curved field (x^2 + ...) changes by 6/7 at every inner cell that is
  // smoothed; cells beside the odd cell must not change at all.
  const int n = 8, c = 4;
  for (float odd : {0.0f, -5.0f}) {
    Cube cube(n, n, n, [&](int x, int y, int z) {
      return x == c && y == c && z == c ? odd : 10.0f + (float)(x * x + y * y + z * z);
    });
    Cube b = cube;
    cube.Smooth(1);
    if (odd == 0.0f) {
      EXPECT_EQ(0.0f, cube.at(c, c, c));
    }
    for (const auto& d : kFace) {
      const int x = c + d[0], y = c + d[1], z = c + d[2];
      EXPECT_EQ(b.at(x, y, z), cube.at(x, y, z)) << "beside " << odd << " at " << x << "," << y << "," << z;
    }
    // A cell two steps away is smoothed as usual.
    EXPECT_NEAR(b.at(c + 2, c, c) + 6.0f / 7.0f, cube.at(c + 2, c, c), 1e-4) << odd;
  }
}

namespace {

const double kH = 10, kDt = 0.001, kRho = 2000, kF = 20;
const int kInterface = 40; // first plane of the fast layer

float TwoLayers(int, int, int z) { return z < kInterface ? 2000.0f : 4000.0f; }

// An acoustic model of two layers, its coefficients smoothed nPasses times.
void BuildTwoLayers(Homogeneous& g, int nPasses) {
  g.nPml = 10, g.nPmlFrame = 12;
  g.Build(44, 44, 56, true, kH, kDt, 2000, kRho, kF, TwoLayers);
  g.calc.m_Set.m_nSmoothModel = nPasses;
  ASSERT_EQ(0, g.calc.SmoothModel());
}

// Share of the energy of t[k0, k1) above frequency f (Hz), sample step dt.
double HighShare(const std::vector<float>& t, int k0, int k1, double dt, double f) {
  const int n = k1 - k0;
  double hi = 0, all = 0;
  for (int m = 1; m < n / 2; m++) {
    std::complex<double> s = 0;
    for (int k = 0; k < n; k++)
      s += (double)t[k0 + k] * std::polar(1.0, -2 * M_PI * m * k / n);
    const double e = std::norm(s);
    all += e;
    if (m / (n * dt) > f)
      hi += e;
  }
  return all > 0 ? hi / all : 0;
}

} // namespace

namespace {

// Every coefficient cube of the calculation object that exists; the visco
// cube is not smoothed and not listed.
std::vector<float*> ExistingCubes(CCalc3D& c) {
  std::vector<float*> v;
  for (float* p : {c.m_pK,   c.m_pB,   c.m_pMu,  c.m_pQ,   c.m_pC11, c.m_pC12, c.m_pC13, c.m_pC22, c.m_pC23,
                   c.m_pC33, c.m_pC44, c.m_pC55, c.m_pC66, c.m_pC14, c.m_pC15, c.m_pC16, c.m_pC24, c.m_pC25,
                   c.m_pC26, c.m_pC34, c.m_pC35, c.m_pC36, c.m_pC45, c.m_pC46, c.m_pC56})
    if (p)
      v.push_back(p);
  return v;
}

} // namespace

TEST(SmoothModel, EveryExistingCubeTakesTheSamePassAndZeroPassesKeepBits) {
  const float thomsen[5] = {0.2f, 0.1f, 0.1f, 0.0f, 0.0f};
  for (int nMethod : {METHOD_ELASTIC, METHOD_ORTHORHOMBIC}) {
    Homogeneous g;
    if (nMethod == METHOD_ELASTIC)
      g.BuildElastic(12, 10, 11, false, kH, kDt, 3000, 1700, kRho, kF);
    else
      g.BuildAnisotropic(nMethod, 12, 10, 11, false, kH, kDt, 3000, 1700, kRho, kF, thomsen);
    CCalc3D_OMP& c = g.calc;
    const size_t m = c.GetCubeSize();
    const std::vector<float*> cubes = ExistingCubes(c);
    ASSERT_GE(cubes.size(), 3u) << nMethod;
    // Cubes that vary from cell to cell, each in its own way.
    std::vector<std::vector<float>> before;
    for (size_t k = 0; k < cubes.size(); k++) {
      for (size_t i = 0; i < m; i++)
        cubes[k][i] *= 1.0f + 0.01f * (float)((i + k) % (k + 3));
      before.emplace_back(cubes[k], cubes[k] + m);
    }
    auto same = [&](size_t k, const std::vector<float>& v) {
      return std::memcmp(v.data(), cubes[k], m * sizeof(float)) == 0;
    };

    for (int nPasses : {0, -1}) {
      c.m_Set.m_nSmoothModel = nPasses;
      ASSERT_EQ(0, c.SmoothModel());
      for (size_t k = 0; k < cubes.size(); k++)
        EXPECT_TRUE(same(k, before[k])) << nMethod << " cube " << k << " passes " << nPasses;
    }

    c.m_Set.m_nSmoothModel = 3;
    ASSERT_EQ(0, c.SmoothModel());
    for (size_t k = 0; k < cubes.size(); k++) {
      std::vector<float> expect = before[k], plane((size_t)c.m_nNx * c.m_nNz);
      calc_SmoothCube(expect.data(), c.m_nNx, c.m_nNy, c.m_nNz, 3, plane.data());
      EXPECT_FALSE(same(k, before[k])) << nMethod << " cube " << k;
      EXPECT_TRUE(same(k, expect)) << nMethod << " cube " << k;
    }

    // Without its work plane a cube is left as it is.
    float* pPlane = c.m_pPlane;
    c.m_pPlane = nullptr;
    const std::vector<float> k0(cubes[0], cubes[0] + m);
    EXPECT_EQ(-4, c.SmoothModelComponent(cubes[0], 2));
    EXPECT_EQ(0, c.SmoothModel());
    EXPECT_TRUE(same(0, k0));
    c.m_pPlane = pPlane;
  }
}

TEST(SmoothModel, DirectWaveKeepsItsTimeAndReflectionLosesHighFrequencies) {
  // Source and receiver 215 m above a sharp interface; the direct wave
  // travels in the homogeneous layer, the reflection comes back from the
  // interface that the passes soften.
  const int sx = 20, sy = 22, sz = 18, off = 8;
  const double t1 = 0.3, tDirect = off * kH / 2000.0;
  const double tRefl = std::sqrt(std::pow(off * kH, 2) + std::pow(2 * (kInterface - sz - 0.5) * kH, 2)) / 2000.0;
  const int k0 = (int)((tRefl - 0.05) / kDt), k1 = (int)((tRefl + 0.05) / kDt);
  double prevShare = 2, prevPeak = 0;
  std::vector<float> direct0;
  for (int nPasses : {0, 2, 8}) {
    Homogeneous g;
    BuildTwoLayers(g, nPasses);
    g.Shot(sx, sy, sz, 0, {g.Idx(sx + off, sy, sz)}, t1);
    ASSERT_EQ(0, g.Run());
    const std::vector<float> tr = g.Trace(0);
    // Direct wave: its arrival as in a homogeneous medium, its shape as
    // without smoothing.
    const std::vector<float> direct(tr.begin(), tr.begin() + (int)((tDirect + 0.05) / kDt));
    EXPECT_NEAR(trace_test::MidCrossing(direct) * kDt, tDirect, kDt) << nPasses;
    if (nPasses == 0)
      direct0 = direct;
    EXPECT_GT(trace_test::Correlation(direct, direct0), 0.999) << nPasses;
    // A softer interface reflects less, and the short wavelengths markedly less.
    const double share = HighShare(tr, k0, k1, kDt, 1.5 * kF);
    const double peak = trace_test::PeakAbs(std::vector<float>(tr.begin() + k0, tr.begin() + k1));
    EXPECT_GT(peak, 0.0) << nPasses;
    EXPECT_LT(share, 0.7 * prevShare) << nPasses;
    if (nPasses > 0) {
      EXPECT_LT(peak, 0.9 * prevPeak) << nPasses;
    }
    prevShare = share;
    prevPeak = peak;
  }
}
