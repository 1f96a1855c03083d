// Relaxation mechanisms of a generalized standard linear solid from one
// quality factor (the tau method): each of L mechanisms gets a stress
// relaxation time and strain relaxation times for P and S, so that the whole
// set has a quality factor close to Q over a band around the signal
// frequency. Also the correction of velocities measured at that frequency to
// the relaxed velocities the scheme needs.
#pragma once

class CViscoCalc {
public:
  // Writes L values to each array (strain over stress relaxation time minus 1
  // for P and S, stress relaxation time in seconds). 1 when the mechanisms
  // were computed, 0 when the neutral values (0, 0, 1) stand. With
  // bCorrectVelocity, Vp and Vs are turned from apparent into relaxed ones.
  int InitViscoParams(double f, int L, float Qp, float Qs, float* pTauP, float* pTauS, float* pTauSigma,
                      bool bCorrectVelocity, float& Vp, float& Vs);
  // The centre quality factor whose mechanisms fit Q best over the band.
  static double GetMinQ0(double f, double Q, int L, bool bShear);
  // Relaxed velocities for velocities measured at frequency f. Always 0.
  int GetCorrectedVelocity(double f, int L, float Qp, float Qs, float Vp, float Vs, float& VpOut, float& VsOut);

  // Cache of the last call: a run of equal cells costs nothing.
  double m_fVp = 0, m_fVs = 0;
  double m_fVpOut = 0, m_fVsOut = 0;
  double m_fQp = 0, m_fQs = 0;
  double m_fQ0pKept = 0, m_fQ0sKept = 0;
  double m_fQ0p = 0, m_fQ0s = 0;

  // Relative relaxation frequencies of L mechanisms (F[l] times the signal's).
  static void Frequencies(int L, double* F);

private:
  // The centre value of one wave type, through the cache.
  double CentreQ(double f, int L, double Q, bool bShear);
};
