// Wave physics of the anisotropic engine in homogeneous media: against the
// isotropic engine, the velocities of a vertical and of a tilted
// transversely isotropic medium, the absorbing layer and the stability test.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "calc3d/AnisoStiffness.h"
#include "test_engine_fixture.h"
#include "trace_measure.h"

using engine_test::Homogeneous;

namespace {

const double kRho = 2000;

// Epsilon, delta, gamma, tilt, azimuth.
struct Thomsen {
  float v[5];
};

// Traces of the three components of every receiver.
typedef std::vector<std::vector<float>> Record;

// Relative RMS difference of two records.
double RelativeRms(const Record& a, const Record& b) {
  double d = 0, s = 0;
  for (size_t k = 0; k < a.size(); k++)
    for (size_t i = 0; i < a[k].size(); i++) {
      d += ((double)a[k][i] - b[k][i]) * ((double)a[k][i] - b[k][i]);
      s += (double)b[k][i] * b[k][i];
    }
  return std::sqrt(d / s);
}

} // namespace

TEST(PhysicsAnisotropic, DegenerateMediaGiveTheSimplerMethodsRecords) {
  // Method 103 with epsilon = delta = gamma = 0 records what the elastic
  // method records on the same model; method 104 without tilt what method
  // 103 records on the same anisotropic model. A horizontal force sends P
  // and S in all directions; receivers off the axes see both. The same thin
  // PML and halo in all runs, so that only the stress steps differ.
  const double h = 10, dt = 0.001, f = 20, vp = 3000, vs = 1700;
  const int n = 36, c = 18;
  struct Run {
    int nMethod;
    Thomsen t;
  };
  const Run pairs[2][2] = {
      {{METHOD_ELASTIC, {}}, {METHOD_ORTHORHOMBIC, {{0, 0, 0, 0, 0}}}},
      {{METHOD_ORTHORHOMBIC, {{0.2f, 0.1f, 0.15f, 0, 0}}}, {METHOD_ANISOTROPIC, {{0.2f, 0.1f, 0.15f, 0, 0}}}}};
  for (const auto& pair : pairs) {
    Record rec[2];
    for (int k = 0; k < 2; k++) {
      Homogeneous g;
      g.nPml = 8, g.nPmlFrame = 12, g.nStart = 3;
      if (pair[k].nMethod == METHOD_ELASTIC)
        g.BuildElastic(n, n, n, true, h, dt, vp, vs, kRho, f);
      else
        g.BuildAnisotropic(pair[k].nMethod, n, n, n, true, h, dt, vp, vs, kRho, f, pair[k].t.v);
      g.Shot(c, c, c, 1, {g.Idx(c + 5, c, c), g.Idx(c + 4, c + 4, c + 4), g.Idx(c - 2, c + 3, c + 5)}, 0.1);
      ASSERT_EQ(0, g.Run()) << "method " << pair[k].nMethod;
      rec[k] = g.Traces();
    }
    EXPECT_LT(RelativeRms(rec[1], rec[0]), 1e-5) << "method " << pair[1].nMethod << " against " << pair[0].nMethod;
  }
}

namespace {

// A plane wave along grid axis a (0 x, 2 z): a source of the given type at
// every point of the plane a = 20 of a grid long along a and narrow across
// it. The layers on the narrow sides see a field that does not change
// across them, and leave it as it is: the wave stays plane, without near
// field or spreading. Receivers on the axis at planes 28 and 48 record
// component comp; returns the moveout of the pulse between them, up to
// sample kEnd of the records.
double PlaneWaveMoveout(int nMethod, const Thomsen& t, int a, int nType, char comp, double t1, double vp, double vs,
                        int kEnd) {
  const double h = 10, dt = 0.001, f = 15;
  const int nLong = 68, nWide = 36, c = nWide / 2;
  const int nx = a == 0 ? nLong : nWide, nz = a == 2 ? nLong : nWide;
  Homogeneous g;
  g.nPml = 12, g.nPmlFrame = 16, g.nStart = fd::FdMethod(nMethod).nStart;
  g.BuildAnisotropic(nMethod, nx, nWide, nz, true, h, dt, vp, vs, kRho, f, t.v);
  auto at = [&](int p) { return a == 0 ? g.Idx(p, c, c) : g.Idx(c, c, p); };
  g.Shot(c, c, c, nType, {at(28), at(48)}, t1);
  g.calc.m_vShotPoints.clear();
  for (int u = 0; u < nWide; u++)
    for (int v = 0; v < nWide; v++)
      g.calc.m_vShotPoints.push_back({a == 0 ? g.Idx(20, u, v) : g.Idx(u, v, 20), 0});
  g.calc.m_nActiveX0 = g.calc.m_nActiveX1 = g.calc.m_nActiveY0 = g.calc.m_nActiveY1 = 0; // whole planes
  EXPECT_EQ(0, g.Run());
  std::vector<float> p = g.Trace(0, comp), q = g.Trace(1, comp);
  p.resize(std::min<size_t>(p.size(), kEnd));
  q.resize(p.size());
  return trace_test::Lag(p, q) * dt;
}

// Largest eigenvalue of the Christoffel matrix of the medium for a plane
// wave along grid axis a, over the density: the square of the qP phase
// velocity.
double QPVelocity(const Thomsen& t, double vp, double vs, int a) {
  float A[kAnisPacked];
  FormA((float)kRho, (float)vp, (float)vs, t.v[0], t.v[1], t.v[2], t.v[3], t.v[4], A);
  // Gamma(i, k) = C(i a k a): Voigt indices of the pairs (i, a).
  double G[3][3];
  for (int i = 0; i < 3; i++)
    for (int k = 0; k < 3; k++)
      G[i][k] = A[AnisPackedIndex(imas(i, a), imas(k, a))] / kRho;
  // Power iteration: the qP eigenvalue is well apart from the others.
  double v[3] = {a == 0 ? 1.0 : 0.1, 0.1, a == 2 ? 1.0 : 0.1}, lambda = 0;
  for (int it = 0; it < 200; it++) {
    double w[3] = {0, 0, 0};
    for (int i = 0; i < 3; i++)
      for (int k = 0; k < 3; k++)
        w[i] += G[i][k] * v[k];
    lambda = std::sqrt(w[0] * w[0] + w[1] * w[1] + w[2] * w[2]);
    for (int i = 0; i < 3; i++)
      v[i] = w[i] / lambda;
  }
  return std::sqrt(lambda);
}

} // namespace

TEST(PhysicsAnisotropic, VerticalMediumVelocities) {
  // Vertical symmetry axis (method 103), plane waves: qP travels along x at
  // Vp0 sqrt(1 + 2 epsilon) and along z at Vp0; SH (forces along y,
  // recorded on y) along x at Vs0 sqrt(1 + 2 gamma). Each pulse takes its
  // distance (20 cells) over that velocity from one receiver to the next,
  // within one sample.
  const double vp = 3000, vs = 1700, dt = 0.001, d = 200;
  const Thomsen t = {{0.2f, 0.1f, 0.15f, 0, 0}};
  const double vx = vp * std::sqrt(1 + 2 * 0.2), vsh = vs * std::sqrt(1 + 2 * 0.15);
  EXPECT_NEAR(PlaneWaveMoveout(METHOD_ORTHORHOMBIC, t, 0, 0, 'X', 0.2, vp, vs, 1 << 30), d / vx, dt) << "qP along x";
  EXPECT_NEAR(PlaneWaveMoveout(METHOD_ORTHORHOMBIC, t, 2, 0, 'Z', 0.2, vp, vs, 1 << 30), d / vp, dt) << "qP along z";
  EXPECT_NEAR(PlaneWaveMoveout(METHOD_ORTHORHOMBIC, t, 0, 2, 'Y', 0.3, vp, vs, 1 << 30), d / vsh, dt) << "SH along x";
}

TEST(PhysicsAnisotropic, TiltedMediumVelocities) {
  // Axis tilted by 30 degrees towards azimuth 45 (method 104): plane qP
  // waves along z (30 degrees from the axis) and along x (69 degrees) take
  // the phase velocity of the tilted stiffness matrix, which every one of
  // its 21 entries shapes. The records end before the slower qSV reaches the
  // far receiver.
  const double vp = 3000, vs = 1700, dt = 0.001, d = 200;
  const Thomsen t = {{0.2f, 0.1f, 0.15f, 30, 45}};
  for (int a : {0, 2}) {
    const double v = QPVelocity(t, vp, vs, a);
    const int kEnd = (int)((280 / v + 1.5 / 15) / dt);
    EXPECT_NEAR(PlaneWaveMoveout(METHOD_ANISOTROPIC, t, a, 0, "XYZ"[a], 0.2, vp, vs, kEnd), d / v, dt)
        << "qP along axis " << a << " at " << v << " m/s";
  }
}

TEST(PhysicsAnisotropic, PmlLeavesNoEchoAndUnstableStepsStop) {
  // With the PML of each method on a small grid, an explosion in a tilted
  // medium: once the direct qP and qS waves have passed, receivers 6 cells
  // from the source towards a side, the bottom and a corner stay below 1% of
  // the direct wave's peak until P and S have crossed the layers twice and
  // come back from the edge of the grid. Then the same grids with a time
  // step far above the stability limit: the run stops with the unstable
  // result and its warning.
  const double h = 20, dt = 0.002, f = 10, vp = 3000, vs = 1700, tLate = 0.25, tEnd = 0.6;
  const Thomsen t = {{0.2f, 0.1f, 0.15f, 30, 45}};
  for (int nMethod : {METHOD_ORTHORHOMBIC, METHOD_ANISOTROPIC}) {
    const int n = 2 * fd::FdMethod(nMethod).nFrame + 16, c = n / 2;
    for (bool bStable : {true, false}) {
      Homogeneous g;
      g.UseGridOf(nMethod);
      g.BuildAnisotropic(nMethod, n, n, n, true, h, bStable ? dt : 4 * dt, vp, vs, kRho, f, t.v);
      g.Shot(c, c, c, 0, {g.Idx(c + 6, c, c), g.Idx(c, c, c + 6), g.Idx(c + 6, c + 6, c + 6)}, tEnd);
      if (!bStable) {
        testing::internal::CaptureStdout();
        const int rc = g.Run();
        const std::string out = testing::internal::GetCapturedStdout();
        EXPECT_EQ(-150, rc) << "method " << nMethod;
        EXPECT_NE(std::string::npos, out.find("!!!WARNING: The calculation scheme is unstable")) << out;
        continue;
      }
      ASSERT_EQ(0, g.Run()) << "method " << nMethod;
      const size_t kLate = (size_t)(tLate / dt);
      for (size_t r = 0; r < 3; r++) {
        double peak = 0, late = 0;
        for (char comp : {'X', 'Y', 'Z'}) {
          const std::vector<float> tr = g.Trace(r, comp);
          for (size_t k = 0; k < tr.size(); k++)
            (k < kLate ? peak : late) = std::max(k < kLate ? peak : late, (double)std::fabs(tr[k]));
        }
        EXPECT_LT(late, 0.01 * peak) << "method " << nMethod << " receiver " << r;
      }
    }
  }
}
