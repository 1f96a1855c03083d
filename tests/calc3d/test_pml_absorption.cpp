// The absorbing boundary: the level of the echoes from the sides, the bottom
// and the corners against a grid too large for any echo to arrive in the
// record, and the coefficients of each slab entry.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "calc3d/FDScheme.h"
#include "test_engine_fixture.h"

using engine_test::Homogeneous;

namespace {

const double kH = 10, kDt = 0.001, kV = 3000, kRho = 2000, kF = 20, kT1 = 0.17;

struct Offset {
  int dx, dy, dz;
  const char* what;
};

// Receivers relative to the source, each placed to catch a given echo first.
const Offset kRcv[] = {
    {12, 0, 0, "side, normal incidence"},
    {0, 0, 12, "bottom, normal incidence"},
    {12, 22, 12, "corner"},
    {12, 22, 0, "side at 45 degrees"},
    {0, 22, 12, "bottom at 45 degrees"},
    {0, -6, 0, "near side behind the source"},
};
const int kNRcv = sizeof(kRcv) / sizeof(kRcv[0]);

// Traces of all receivers for a source at (sx, sy, sz) on a grid.
std::vector<std::vector<float>> Record(int nx, int ny, int nz, bool bPml, int sx, int sy, int sz) {
  Homogeneous g;
  g.Build(nx, ny, nz, bPml, kH, kDt, kV, kRho, kF);
  std::vector<size_t> rcv;
  for (const Offset& o : kRcv)
    rcv.push_back(g.Idx(sx + o.dx, sy + o.dy, sz + o.dz));
  g.Shot(sx, sy, sz, 0, rcv, kT1);
  EXPECT_EQ(0, g.Run());
  std::vector<std::vector<float>> t;
  for (int r = 0; r < kNRcv; r++)
    t.push_back(g.Trace(r));
  return t;
}

// Largest difference of each trace to its reference, relative to the peak of
// the reference.
std::vector<double> Residuals(const std::vector<std::vector<float>>& a, const std::vector<std::vector<float>>& ref) {
  std::vector<double> res;
  for (int r = 0; r < kNRcv; r++) {
    double d = 0, peak = 0;
    for (size_t i = 0; i < ref[r].size(); i++) {
      d = std::max(d, (double)std::fabs(a[r][i] - ref[r][i]));
      peak = std::max(peak, (double)std::fabs(ref[r][i]));
    }
    res.push_back(d / peak);
  }
  return res;
}

} // namespace

TEST(PmlAbsorption, EchoesStayBelowOnePercentOfTheDirectWave) {
  // Small grid: 80^3 with PML, the source 8 points from the layer on the low
  // y side and 17 from it on the high sides. Reference: the same source and
  // receivers with every echo arriving after the record ends.
  const auto small = Record(80, 80, 80, true, 40, 30, 40);
  const auto ref = Record(119, 124, 119, true, 56, 56, 56);
  // The taper frame instead of PML, same simulation box around the source.
  const auto taper = Record(104, 104, 104, false, 52, 42, 52);
  const std::vector<double> pml = Residuals(small, ref);
  const std::vector<double> tap = Residuals(taper, ref);
  for (int r = 0; r < kNRcv; r++) {
    std::printf("%-28s PML %.3f%% (%.1f dB)   taper frame %.2f%% (%.1f dB)\n", kRcv[r].what, 100 * pml[r],
                20 * std::log10(pml[r]), 100 * tap[r], 20 * std::log10(tap[r]));
    EXPECT_LT(pml[r], 0.01) << kRcv[r].what;
    // The taper is a cruder absorber, yet it must still take most of the wave out.
    EXPECT_LT(tap[r], 0.2) << kRcv[r].what;
  }
}

TEST(PmlAbsorption, SlabsTakeTheVelocityOfTheirOwnPoint) {
  // A velocity that differs at every point: each slab entry must hold the
  // profile of the velocity at the point it stands for.
  Homogeneous g;
  float (*vp)(int, int, int) = [](int x, int y, int z) { return (float)(2000 + 7 * x + 5 * y + 3 * z); };
  const int nx = 52, ny = 54, nz = 56, N = g.nPml, s = g.nStart;
  g.Build(nx, ny, nz, true, kH, kDt, 0, kRho, kF, vp); // the profile is set up from the velocities
  auto expectEntry = [&](float* const* coef, size_t e, bool bHigh, int i, float v) {
    float a, b;
    fd::PmlProfile(v, i, N, false, kH, kDt, kF, a, b);
    ASSERT_EQ(coef[bHigh ? fd::PML_A_HIGH_A : fd::PML_A_LOW_A][e], a);
    ASSERT_EQ(coef[bHigh ? fd::PML_B_HIGH_A : fd::PML_B_LOW_A][e], b);
    fd::PmlProfile(v, i, N, true, kH, kDt, kF, a, b);
    ASSERT_EQ(coef[bHigh ? fd::PML_A_HIGH_B : fd::PML_A_LOW_B][e], a);
    ASSERT_EQ(coef[bHigh ? fd::PML_B_HIGH_B : fd::PML_B_LOW_B][e], b);
  };
  for (int i : {0, 7, N - 1}) {
    const int z = 9, y = 11, x = 13;
    expectEntry(g.calc.m_pPmlCoefX, fd::PmlSlabX(z, y, i, ny, N), false, i, vp(s + i, y, z));
    expectEntry(g.calc.m_pPmlCoefX, fd::PmlSlabX(z, y, i, ny, N), true, i, vp(nx - s - 1 - i, y, z));
    expectEntry(g.calc.m_pPmlCoefY, fd::PmlSlabY(z, x, i, nx, N), false, i, vp(x, s + i, z));
    expectEntry(g.calc.m_pPmlCoefY, fd::PmlSlabY(z, x, i, nx, N), true, i, vp(x, ny - s - 1 - i, z));
    expectEntry(g.calc.m_pPmlCoefZ, fd::PmlSlabZ(y, x, i, nx, ny), false, i, vp(x, y, s + i));
    expectEntry(g.calc.m_pPmlCoefZ, fd::PmlSlabZ(y, x, i, nx, ny), true, i, vp(x, y, nz - s - 1 - i));
  }
}
