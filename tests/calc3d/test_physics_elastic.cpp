// Wave physics of the elastic and viscoelastic engine in a homogeneous
// medium, against the acoustic engine and against analytic solutions.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>

#include "calc3d/ViscoCalc.h"
#include "elastic_analytic.h"
#include "test_engine_fixture.h"

using engine_test::Homogeneous;

namespace {

const double kH = 10, kDt = 0.001, kVp = 3000, kVs = 1732, kRho = 2000, kF = 20;

std::vector<double> ToDouble(const std::vector<float>& t) { return std::vector<double>(t.begin(), t.end()); }

double PeakAbs(const std::vector<float>& t) {
  double m = 0;
  for (float v : t)
    m = std::max(m, (double)std::fabs(v));
  return m;
}

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
      EXPECT_GT(elastic_test::Correlation(ToDouble(ta), ToDouble(te)), 0.999) << "receiver " << r << " " << comp;
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
