#include "ViscoCalc.h"

#include <cmath>
#include <complex>

namespace {

// T(q) = sqrt(1/q^2 + 1) - 1/q.
double TauOf(double q) { return std::sqrt(1.0 / (q * q) + 1.0) - 1.0 / q; }

const int kMaxL = 10;

} // namespace

void CViscoCalc::Frequencies(int L, double* F) {
  if (L == 1) {
    F[0] = 1;
  } else if (L == 2) {
    F[0] = 2.0 / 7.0;
    F[1] = 3.5;
  } else {
    for (int l = 0; l < L; l++)
      F[l] = std::pow(8.0, 2.0 * l / (L - 1) - 1.0);
  }
}

double CViscoCalc::GetMinQ0(double f, double Q, int L, bool bShear) {
  if (L < 1 || L > kMaxL)
    return 0;
  double F[kMaxL];
  Frequencies(L, F);
  const double w = 3.14159265 * f * 2;
  const double wlo = 0.25 * w, dw = (2 * w - wlo) / 100;
  const double qlo = 0.5 * Q, dq = (2 * Q - qlo) / 100;
  double best = 1e11, result = 0;
  for (int i = 0; i < 100; i++) {
    const double Q0 = i * dq + qlo;
    const double t = (std::sqrt(Q0 * Q0 + 1) - 1) / Q0;
    double ts[kMaxL], te[kMaxL];
    for (int l = 0; l < L; l++) {
      const double wl = F[l] * w;
      ts[l] = t / wl;
      te[l] = bShear ? ((t * Q0 + 1) / (Q0 - t)) / wl : (1 / t) / wl;
    }
    double err = 0;
    for (int j = 0; j <= 100; j++) {
      // The first frequency lies one step below wlo.
      const double v = (j - 1) * dw + wlo;
      std::complex<double> S(0, 0);
      for (int l = 0; l < L; l++)
        S += std::complex<double>(1, -v * te[l]) / std::complex<double>(1, -v * ts[l]);
      const double q = -(S.real() - (L - 1)) / S.imag();
      err += (q - Q) * (q - Q);
    }
    if (err < best) {
      best = err;
      result = Q0;
    }
  }
  return result;
}

double CViscoCalc::CentreQ(double f, int L, double Q, bool bShear) {
  double& fLast = bShear ? m_fQs : m_fQp;
  double& fKept = bShear ? m_fQ0sKept : m_fQ0pKept;
  if (Q != fLast) {
    fKept = GetMinQ0(f, Q, L, bShear);
    fLast = Q;
  }
  return fKept;
}

int CViscoCalc::InitViscoParams(double f, int L, float Qp, float Qs, float* pTauP, float* pTauS, float* pTauSigma,
                                bool bCorrectVelocity, float& Vp, float& Vs) {
  for (int l = 0; l < L; l++) {
    pTauP[l] = 0;
    pTauS[l] = 0;
    pTauSigma[l] = 1;
  }
  if (!(Qp > 3) && !(Qs > 3))
    return 0;
  if (Qp < 3)
    Qp = 1000;
  if (Qs < 3)
    Qs = 1000;
  if (bCorrectVelocity)
    GetCorrectedVelocity(f, L, Qp, Qs, Vp, Vs, Vp, Vs);

  double F[kMaxL];
  Frequencies(L, F);
  const double w = f * 6.2831853;
  if (L == 1) {
    m_fQ0p = Qp;
    m_fQ0s = Qs;
  } else {
    m_fQ0p = CentreQ(f, L, Qp, false);
    m_fQ0s = CentreQ(f, L, Qs, true);
  }
  for (int l = 0; l < L; l++) {
    // The middle of three mechanisms sits on slightly higher centre values.
    const double k = L == 3 && l == 1 ? 1.176 : 1.0;
    const double q0p = m_fQ0p * k, qs = m_fQ0s * k;
    const double t = TauOf(q0p);
    const double wl = F[l] * w;
    const double tauSigma = t / wl;
    pTauSigma[l] = (float)tauSigma;
    pTauP[l] = (float)((1 / (t * wl)) / tauSigma - 1);
    pTauS[l] = (float)(((qs * t + 1) / (wl * (qs - t))) / tauSigma - 1);
  }
  return 1;
}

int CViscoCalc::GetCorrectedVelocity(double f, int L, float Qp, float Qs, float Vp, float Vs, float& VpOut,
                                     float& VsOut) {
  if (std::fabs(Vp - m_fVp) <= 0.001 && std::fabs(Vs - m_fVs) <= 0.001 && std::fabs(Qp - m_fQp) <= 0.001 &&
      std::fabs(Qs - m_fQs) <= 0.001) {
    VpOut = (float)m_fVpOut;
    VsOut = (float)m_fVsOut;
    return 0;
  }
  m_fVp = Vp;
  m_fVs = Vs;
  for (int s = 0; s < 2; s++) {
    const double Q = s ? Qs : Qp;
    double& fLast = s ? m_fQs : m_fQp;
    double& fKept = s ? m_fQ0sKept : m_fQ0pKept;
    double& fNow = s ? m_fQ0s : m_fQ0p;
    if (Q != fLast) {
      fKept = L == 1 ? Q : (Q > 3 ? GetMinQ0(f, Q, L, s == 1) : 0.0);
      fLast = Q;
    }
    fNow = fKept;
  }
  const double w = f * 2 * M_PI;
  const double lo = std::log(w / 8), hi = std::log(8 * w);
  std::complex<double> Mp(1.0 - L, 0), Ms(1.0 - L, 0);
  const std::complex<double> I(0, 1);
  for (int l = 0; l < L; l++) {
    // The divisor is L, not L - 1: the frequencies never reach 8 w.
    const double wl = std::exp(((double)(L - 1 - l) / L) * lo + ((double)l / L) * hi);
    const double ts = TauOf(m_fQ0p) / wl;
    const double tep = 1 / (wl * ts * wl);
    const double tes = (m_fQ0s * ts * wl + 1) / (wl * m_fQ0s - wl * wl * ts);
    Mp += (1.0 + I * w * tep) / (1.0 + I * w * ts);
    Ms += (1.0 + I * w * tes) / (1.0 + I * w * ts);
  }
  double vp = Vp / std::sqrt(Mp).real();
  double vs = Vs / std::sqrt(Ms).real();
  if (vs > vp / std::sqrt(2.0))
    vs = vp / std::sqrt(2.0);
  m_fVpOut = vp;
  m_fVsOut = vs;
  VpOut = (float)vp;
  VsOut = (float)vs;
  return 0;
}
