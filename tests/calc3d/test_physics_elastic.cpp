// Wave physics of the elastic and viscoelastic engine in a homogeneous
// medium, against the acoustic engine and against analytic solutions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>

#include "calc3d/ViscoCalc.h"
#include "elastic_analytic.h"
#include "test_engine_fixture.h"
#include "trace_measure.h"

using engine_test::Homogeneous;

namespace {

const double kH = 10, kDt = 0.001, kVp = 3000, kVs = 1732, kRho = 2000, kF = 20;

std::vector<double> ToDouble(const std::vector<float>& t) { return std::vector<double>(t.begin(), t.end()); }

using trace_test::MidCrossing;
using trace_test::PeakAbs;

} // namespace

TEST(PhysicsElastic, ExplosionMakesTheAcousticWaveAndNoS) {
  // The same explosion in an acoustic and in an elastic medium of the same Vp
  // and density: the particle velocities agree, since an explosion radiates
  // no S wave.
  const int n = 100, c = 50;
  const std::vector<size_t> rcvAt = {0, 1, 2};
  auto receivers = [&](Homogeneous& g) {
    return std::vector<size_t>{g.Idx(c + 20, c, c), g.Idx(c + 14, c + 14, c), g.Idx(c, c + 8, c + 18)};
  };
  Homogeneous a, e;
  a.Build(n, n, n, true, kH, kDt, kVp, kRho, kF);
  a.Shot(c, c, c, 0, receivers(a), 0.15);
  ASSERT_EQ(0, a.Run());
  e.BuildElastic(n, n, n, true, kH, kDt, kVp, kVs, kRho, kF);
  e.Shot(c, c, c, 0, receivers(e), 0.15);
  ASSERT_EQ(0, e.Run());
  for (size_t r : rcvAt) {
    for (char comp : {'X', 'Y', 'Z'}) {
      const std::vector<float> ta = a.Trace(r, comp), te = e.Trace(r, comp);
      if (PeakAbs(ta) < 1e-3 * PeakAbs(a.Trace(r, 'X')) + 1e-30)
        continue; // a component the geometry leaves empty
      EXPECT_GT(trace_test::Correlation(ToDouble(ta), ToDouble(te)), 0.999) << "receiver " << r << " " << comp;
      EXPECT_NEAR(PeakAbs(te) / PeakAbs(ta), 1.0, 0.01) << "receiver " << r << " " << comp;
    }
  }
}

namespace {

// Every cell of the grid viscoelastic with quality factor Q for P and S, as
// the model preparation leaves it; with bApparent the velocities are taken
// as measured at the signal frequency and corrected to relaxed ones.
void SetVisco(Homogeneous& g, float Q, bool bApparent, double vp, double vs, double rho) {
  CCalc3D_OMP& c = g.calc;
  const int L = c.m_nViscoL;
  CViscoCalc visco;
  float tauP[10], tauS[10], tauSigma[10];
  float fVp = (float)vp, fVs = (float)vs;
  visco.InitViscoParams(c.m_Signal.m_fFrequency, L, Q, Q, tauP, tauS, tauSigma, bApparent, fVp, fVs);
  const double s = c.m_fDt / c.m_fH;
  const float k = (float)(fVp * fVp * rho * s / 15000.0), mu = (float)(fVs * fVs * rho * s / 15000.0);
  for (size_t i = 0; i < c.GetCubeSize(); i++) {
    c.m_pK[i] = k;
    c.m_pMu[i] = mu;
    for (int l = 0; l < L; l++) {
      float* r = c.m_pVisco + (i * L + l) * 3;
      r[0] = tauP[l], r[1] = tauS[l], r[2] = tauSigma[l];
    }
  }
}

// Modulus of L mechanisms at angular frequency w, relaxed modulus 1:
// 1 - L + sum (1 + i w te) / (1 + i w ts), te = ts (1 + tau).
std::complex<double> Modulus(double w, int L, const float* tau, const float* tauSigma) {
  std::complex<double> M(1.0 - L, 0);
  for (int l = 0; l < L; l++) {
    const double ts = tauSigma[l], te = ts * (1.0 + tau[l]);
    M += std::complex<double>(1, w * te) / std::complex<double>(1, w * ts);
  }
  return M;
}

// Spectrum of a trace sampled at dt at frequency f.
std::complex<double> Spectrum(const std::vector<float>& t, double dt, double f) {
  std::complex<double> s(0, 0);
  for (size_t k = 0; k < t.size(); k++)
    s += (double)t[k] * std::exp(std::complex<double>(0, -2 * M_PI * f * k * dt));
  return s;
}

} // namespace

TEST(PhysicsElastic, ViscoelasticQAndApparentVelocity) {
  // An explosion recorded at two offsets in an elastic medium and in the
  // same medium with three mechanisms for Q = 30. The ratio of the two runs
  // at each offset removes spreading, near field and grid dispersion; between
  // the offsets its amplitude decays as exp(-pi f t / Q), t the travel time
  // at frequency f, and its phase gives the change of that travel time. Both
  // must be those of the mechanisms: their quality factor and phase velocity.
  const double h = 20, dt = 0.002, f0 = 10;
  const int nx = 104, n = 60, sx = 28, c = 30, r1 = 15, r2 = 45;
  const float Q = 30;
  std::vector<float> el[2], ve[2], ap[2];
  float tauP[10], tauS[10], tauSigma[10], vpApp = (float)kVp, vsApp = (float)kVs;
  CViscoCalc mech;
  mech.InitViscoParams(f0, 3, Q, Q, tauP, tauS, tauSigma, false, vpApp, vsApp);
  mech.GetCorrectedVelocity(f0, 3, Q, Q, (float)kVp, (float)kVs, vpApp, vsApp);
  for (int run = 0; run < 3; run++) {
    Homogeneous g;
    g.BuildElastic(nx, n, n, true, h, dt, kVp, kVs, kRho, f0, run == 0 ? 0 : 3);
    if (run > 0)
      SetVisco(g, Q, run == 2, kVp, kVs, kRho);
    g.Shot(sx, c, c, 0, {g.Idx(sx + r1, c, c), g.Idx(sx + r2, c, c)}, 0.52);
    ASSERT_EQ(0, g.Run());
    std::vector<float>* out = run == 0 ? el : (run == 1 ? ve : ap);
    out[0] = g.Trace(0, 'X');
    out[1] = g.Trace(1, 'X');
  }
  const double dr = (r2 - r1) * h;
  // Spectral ratio of a run to the elastic one between the offsets.
  auto ratio = [&](const std::vector<float>* v, double f) {
    return (Spectrum(v[1], dt, f) / Spectrum(el[1], dt, f)) / (Spectrum(v[0], dt, f) / Spectrum(el[0], dt, f));
  };
  for (double f = 0.5 * f0; f <= 2.0 * f0 + 1e-9; f += 0.25 * f0) {
    // The mechanisms' modulus M (relaxed 1): quality factor Re/Im, phase
    // velocity v / Re(1 / sqrt(M)).
    const std::complex<double> M = Modulus(2 * M_PI * f, 3, tauP, tauSigma);
    const double vPhase = kVp / (1.0 / std::sqrt(M)).real();
    const std::complex<double> rv = ratio(ve, f), ra = ratio(ap, f);
    const double delay = -std::arg(rv) / (2 * M_PI * f), delayApp = -std::arg(ra) / (2 * M_PI * f);
    const double q = -M_PI * f * (dr / kVp + delay) / std::log(std::abs(rv));
    EXPECT_NEAR(q / (M.real() / M.imag()), 1.0, 0.05) << "f=" << f << " Q=" << q;
    EXPECT_NEAR(q / Q, 1.0, 0.15) << "f=" << f << " Q=" << q;
    EXPECT_NEAR(delay, dr / vPhase - dr / kVp, dt) << "f=" << f;
    EXPECT_NEAR(delayApp, dr / (vPhase * vpApp / kVp) - dr / kVp, dt) << "f=" << f;
  }
}

namespace {

// Offset of the point where component c (0 x, 1 y, 2 z) of the velocity at
// node d stands from that of the vertical velocity at the node 0: each
// velocity sits half a cell before its node on its own axis.
void StaggeredOffset(const int d[3], int c, double o[3]) {
  for (int a = 0; a < 3; a++)
    o[a] = d[a] - (a == c ? 0.5 : 0.0) + (a == 2 ? 0.5 : 0.0);
}

} // namespace

TEST(PhysicsElastic, PointForceGivesTheWholeSpaceSolution) {
  // A vertical force (type 3) recorded at 0, 45 and 90 degrees from its
  // axis: P alone, P and S, S alone in the far field, with the near field
  // between them. Each component that carries energy must have the shape of
  // the analytic solution for the engine's source samples, time axis and
  // staggered positions, the P and S pulses must arrive as there, and the
  // amplitudes must be the analytic ones. A wavelet of 12 Hz keeps the S
  // wave at 14 points a wavelength, where the scheme's dispersion is small.
  const double f0 = 12;
  const int sx = 30, sy = 30, sz = 30;
  Homogeneous g;
  g.BuildElastic(90, 60, 90, true, kH, kDt, kVp, kVs, kRho, f0);
  struct Rcv {
    int d[3];
    int comp;
    const char* what;
    bool bP, bS; // the pulses to pick
  };
  const Rcv rcv[] = {{{0, 0, 30}, 2, "0 deg, Vz", true, false},
                     {{21, 0, 21}, 2, "45 deg, Vz", true, true},
                     {{21, 0, 21}, 0, "45 deg, Vx", true, true},
                     {{30, 0, 0}, 2, "90 deg, Vz", false, true}};
  std::vector<size_t> idx;
  for (const Rcv& r : rcv)
    idx.push_back(g.Idx(sx + r.d[0], sy + r.d[1], sz + r.d[2]));
  g.Shot(sx, sy, sz, 3, idx, 0.26);
  ASSERT_EQ(0, g.Run());

  // The engine adds -s to Vz: a force of -s along +z.
  std::vector<double> f = g.Wavelet();
  for (double& v : f)
    v = -v;
  // The array Vz takes s as 15000 times a velocity, and leaves the engine
  // multiplied by 15000: a force density of rho h^3 s / (15000 dt) gives
  // traces 15000^2 times the particle velocity.
  const double kScale = 15000.0 * kRho * kH * kH * kH / kDt;
  const std::vector<double> times = g.VelocityTimes();
  for (int k = 0; k < 4; k++) {
    const Rcv& r = rcv[k];
    double o[3];
    StaggeredOffset(r.d, r.comp, o);
    const std::vector<double> a = elastic_test::PointForceVelocityAt(r.comp, 2, o[0] * kH, o[1] * kH, o[2] * kH, kVp,
                                                                     kVs, kRho, f, g.calc.m_fT0, kDt, times);
    const std::vector<double> e = ToDouble(g.Trace(k, "XYZ"[r.comp]));
    const double corr = trace_test::Correlation(a, e);
    // Least-squares amplitude of the engine trace against the analytic one.
    double ea = 0, aa = 0;
    for (size_t i = 0; i < a.size(); i++)
      ea += e[i] * a[i], aa += a[i] * a[i];
    const double amp = ea / aa / kScale;
    EXPECT_GE(corr, 0.995) << r.what;
    EXPECT_NEAR(amp, 1.0, 0.05) << r.what;
    // Each pulse picked in a window of 50 ms about its arrival.
    for (int w = 0; w < 2; w++) {
      if (!(w == 0 ? r.bP : r.bS))
        continue;
      const double dist = std::sqrt(o[0] * o[0] + o[1] * o[1] + o[2] * o[2]) * kH;
      const double tArr = dist / (w == 0 ? kVp : kVs);
      const int k0 = (int)((tArr - times[0]) / kDt);
      const double pa = MidCrossing(a, k0 - 25, k0 + 25), pe = MidCrossing(e, k0 - 25, k0 + 25);
      const double ta = times[0] + pa * kDt, te = times[0] + pe * kDt;
      EXPECT_NEAR(te, ta, kDt) << r.what << (w == 0 ? " P" : " S");
    }
  }
}

TEST(PhysicsElastic, FreeSurfaceCarriesTheRayleighWave) {
  // Void above plane 26, as a free top leaves the model, and the surface
  // form of the steps (SuppressSV off). A vertical force just below the
  // surface, and two receivers just below it 200 m and 600 m away. On the
  // vertical component at the surface the Rayleigh wave dominates; between
  // the two receivers it must travel at 0.9194 Vs, the root of the Rayleigh
  // equation for Vp / Vs = sqrt(3). A wavelet of 10 Hz gives it 16 points a
  // wavelength; the surface form is of first order in h, and the velocity
  // comes out 1.7% slow here (0.7% with half the h).
  const int zs = 26, sx = 30, sy = 32, z = zs + 1, x1 = 20, x2 = 60;
  Homogeneous g;
  g.BuildElastic(120, 64, 82, true, kH, kDt, kVp, kVs, kRho, 10);
  g.VoidAbove(zs);
  g.Shot(sx, sy, z, 3, {g.Idx(sx + x1, sy, z), g.Idx(sx + x2, sy, z)}, 0.5);
  ASSERT_EQ(0, g.Run());
  const double lag = trace_test::Lag(g.Trace(0, 'Z'), g.Trace(1, 'Z'));
  const double v = (x2 - x1) * kH / (lag * kDt);
  EXPECT_NEAR(v / (0.9194 * kVs), 1.0, 0.02);
}

namespace {

// Receivers of the absorbing-boundary test, relative to the source, each
// placed to catch a given echo first.
struct PmlRcv {
  int dx, dy, dz;
  const char* what;
};
const PmlRcv kPmlRcv[] = {
    {6, 0, 0, "x side, normal"},  {0, 6, 0, "y side, normal"}, {0, 0, 6, "bottom, normal"},
    {6, 0, 6, "side and bottom"}, {6, 6, 6, "corner"},         {-6, 0, 0, "behind the source"},
};
const int kNPmlRcv = sizeof(kPmlRcv) / sizeof(kPmlRcv[0]);

// Three components of every receiver, one trace each, for a force of the
// given type at (s, s, s) of an n^3 grid with PML.
std::vector<std::vector<float>> PmlRecord(int n, int s, int nType, double t1) {
  Homogeneous g;
  g.BuildElastic(n, n, n, true, kH, kDt, kVp, kVs, kRho, kF);
  std::vector<size_t> rcv;
  for (const PmlRcv& r : kPmlRcv)
    rcv.push_back(g.Idx(s + r.dx, s + r.dy, s + r.dz));
  g.Shot(s, s, s, nType, rcv, t1);
  EXPECT_EQ(0, g.Run());
  return g.Traces();
}

} // namespace

TEST(PhysicsElastic, PmlEchoesOfPAndSStayBelowOnePercent) {
  // A horizontal force (x) sends P to the x sides and S to the bottom and
  // the y sides; a vertical one sends P to the bottom and S to the sides.
  // Small grid: 63^3, the source 9 points from the layers. Reference: the
  // source 24 points from them, so that no echo of either wave comes back
  // to a receiver before 0.1 s, a time that holds the S echo of the nearest
  // side and the P echoes of the corners: the largest difference of the two
  // runs on any component of a receiver must stay below 1% (-40 dB) of the
  // peak of the direct wave there. The small grid runs on to 0.4 s, long
  // enough for P and S to cross the layers and come back from the edge of
  // the grid; once the direct waves have passed (0.12 s) the receivers must
  // stay below 1% as well.
  const double t1 = 0.1, tEnd = 0.4, tLate = 0.12;
  const size_t kLate = (size_t)(tLate / kDt);
  for (int nType : {1, 3}) {
    const auto small = PmlRecord(63, 31, nType, tEnd);
    const auto ref = PmlRecord(95, 47, nType, t1);
    for (int r = 0; r < kNPmlRcv; r++) {
      double d = 0, late = 0, peak = 0;
      for (int c = 0; c < 3; c++) {
        const std::vector<float>&a = small[3 * r + c], &b = ref[3 * r + c];
        for (size_t i = 0; i < b.size(); i++) {
          d = std::max(d, (double)std::fabs(a[i] - b[i]));
          peak = std::max(peak, (double)std::fabs(b[i]));
        }
        for (size_t i = kLate; i < a.size(); i++)
          late = std::max(late, (double)std::fabs(a[i]));
      }
      const double e = d / peak, l = late / peak;
      EXPECT_LT(e, 0.01) << "force type " << nType << ", " << kPmlRcv[r].what;
      EXPECT_LT(l, 0.01) << "force type " << nType << ", " << kPmlRcv[r].what;
    }
  }
}

TEST(PhysicsElastic, LongRunWithPmlFreeTopAndHighVpVsStaysStable) {
  // 20000 steps of a vertical force under a free top with Vp / Vs = 3, PML
  // on the other five sides. A grid of 34^3 with a PML of 10 layers (frame
  // 15) keeps the run short; every receiver but one sits in the layers, two
  // of them at the surface, where a PML is most prone to grow. The run must
  // end normally with every field finite, and what is left must be small and
  // dying out: below 1% of the peak of the direct wave, and less in the last
  // 2000 rows than in rows 8000 to 10000.
  const int n = 34, c = n / 2;
  Homogeneous g;
  g.nPml = 10;
  g.nPmlFrame = 15;
  g.BuildElastic(n, n, n, true, kH, kDt, 3000, 1000, kRho, kF);
  const int zs = g.nPmlFrame;
  g.VoidAbove(zs);
  const std::vector<size_t> rcv = {g.Idx(c, c, zs),     g.Idx(4, c, zs + 1),    g.Idx(4, 4, zs + 1),
                                   g.Idx(c, 4, zs + 8), g.Idx(n - 6, c, n - 6), g.Idx(n - 5, n - 5, n - 5)};
  // The loop runs (int)((t1 - t0) / dt) + 1 steps from t0 = -2 / f.
  g.Shot(c, c, zs + 1, 3, rcv, 19999.5 * kDt - 2.0 / kF);
  ASSERT_EQ(20000, (int)((g.calc.m_fT1 - g.calc.m_fT0) / kDt) + 1);
  ASSERT_EQ(0, g.Run());
  ASSERT_EQ(g.calc.m_nSeisLen, g.calc.m_nSeisStep); // every row recorded

  const CCalc3D_OMP& k = g.calc;
  double vEnd = 0; // largest velocity left on the grid, as the traces scale it
  bool bFinite = true;
  for (const float* f : {k.m_pVx, k.m_pVy, k.m_pVz, k.m_pTxx, k.m_pTyy, k.m_pTzz, k.m_pTxy, k.m_pTxz, k.m_pTyz})
    for (size_t i = 0; i < k.GetCubeSize(); i++) {
      bFinite = bFinite && std::isfinite(f[i]);
      if (f == k.m_pVx || f == k.m_pVy || f == k.m_pVz)
        vEnd = std::max(vEnd, (double)std::fabs(f[i]) * 15000);
    }
  EXPECT_TRUE(bFinite);
  // Largest recorded value over all receivers and components in rows [a, b).
  const std::vector<std::vector<float>> traces = g.Traces();
  auto largest = [&](size_t a, size_t b) {
    double m = 0;
    for (const std::vector<float>& t : traces)
      for (size_t i = a; i < b && i < t.size(); i++)
        m = std::max(m, (double)std::fabs(t[i]));
    return m;
  };
  const size_t nRows = k.m_nSeisLen;
  const double peak = largest(0, nRows), mid = largest(8000, 10000), late = largest(nRows - 2000, nRows);
  EXPECT_LT(late, 0.01 * peak);
  EXPECT_LT(vEnd, 0.01 * peak);
  EXPECT_LT(late, mid);
}
