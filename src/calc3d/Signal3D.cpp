#include "calc3d/Signal3D.h"

#include <cmath>
#include <cstdio>
#include <new>

#include "run/TaskFile.h"
#include "seisfile/SdsPC.h"

namespace {

const char* const s_szSourceNames[] = {
    "Omnidirectional",       "Horizontal (X)",        "Horizontal (Y)",      "Vertical (Z)",
    "Horizontal (X) Dipole", "Horizontal (Y) Dipole", "Vertical (Z) Dipole", "Unknown",
    "Double Couple",         "Arbitrary Directed",    "Fault slip"};

} // namespace

const char* GetSourceTypeName(int nType) {
  if (nType < 0 || nType > SOURCE_FAULT_SLIP)
    return "Unknown";
  return s_szSourceNames[nType];
}

CSignal3D::CSignal3D() {}

CSignal3D::~CSignal3D() { Free(); }

void CSignal3D::Free() {
  delete[] m_pSignal;
  m_pSignal = nullptr;
  m_nLen = 0;
}

int CSignal3D::LoadParamsFromIniFile(std::vector<CString>& ini) {
  char szFile[1024] = "";
  get_parameter_string(ini, "[Source]", "File", szFile, sizeof(szFile));
  m_strFile = szFile;
  m_fFrequency = 0;
  get_parameter_double(ini, "[Source]", "Frequency", &m_fFrequency);
  if (m_strFile.IsEmpty() && !(m_fFrequency >= 1.0)) { // NaN included
    u_Error("Error! No signal file specified and incorrect signal frequency parameter in "
            "tuntask.ini.\n");
    return 1;
  }
  m_nSignalMode = 0;
  if (m_strFile.IsEmpty())
    get_parameter_int(ini, "[Source]", "Signal", &m_nSignalMode);
  m_fDelay = 0;
  get_parameter_double(ini, "[Source]", "t0", &m_fDelay);
  return 0;
}

int CSignal3D::Generate(double dt, double h, double& fT0) {
  Free();
  // The signal is made before the shot's checks run: refuse steps that would
  // give no finite number of samples.
  if (!(h > 0)) {
    u_Error("Error! Incorrect spacial steps dx=dy=dz=%g specified!\n", h);
    return -100;
  }
  if (!(dt > 0)) {
    u_Error("Error! Incorrect time tact dt=%g specified!\n", dt);
    return -101;
  }
  // Scale for direct injection of the samples into the grid.
  const float fAmp = (float)(dt * 1e9 / (h * h * h));
  int nResult = m_strFile.IsEmpty() ? GenerateRicker(dt, fAmp, fT0) : GenerateFromFile(dt, fAmp, fT0);
  if (nResult == 0)
    DumpDebug(dt, fT0);
  return nResult;
}

int CSignal3D::GenerateRicker(double dt, float fAmp, double& fT0) {
  const double f = m_fFrequency;
  fT0 = -2.0 / f;
  // Four periods of samples; a frequency or a step that would make more than
  // a grid could use is refused rather than allocated.
  const double fLen = (0 - fT0) * 2 / dt + 1.0;
  if (!(fLen >= 1.0 && fLen < 1e8)) {
    u_Error("Error! The source signal of %g Hz at dt=%g would have %g samples.\n", f, dt, fLen);
    return -105;
  }
  m_nLen = (int)fLen;
  m_pSignal = new float[m_nLen];
  double t = fT0;
  for (int i = 0; i < m_nLen; i++) {
    double v = f * M_PI * t;
    v = -v * v;
    m_pSignal[i] = (float)((1 + 2 * v) * exp(v)) * fAmp;
    t += dt;
  }
  // The delay moves the time axis, not the samples.
  if (m_fDelay != 0)
    fT0 -= m_fDelay;
  return 0;
}

int CSignal3D::GenerateFromFile(double dt, float fAmp, double& fT0) {
  CSdsPC sds;
  if (!sds.OnOpen(m_strFile, 0, 0, 0, 0)) {
    u_Error("Error! Unable to open file %s containing signal shape.\n", m_strFile.c_str());
    return -3;
  }
  const int L = sds.m_nTraceLen;
  if (sds.m_nTraceCount < 1 || L < 1) {
    u_Error("Error! Unexpected trace len (%d) in file %s containing signal shape.\n", L, m_strFile.c_str());
    return -3;
  }
  // The trace axis of a signal file is taken as milliseconds.
  const double t0f = sds.m_rT0 * 0.001, t1f = sds.m_rT1 * 0.001, dtf = sds.m_rDT * 0.001;
  fT0 = t0f;
  if (t1f < t0f || t1f - t0f > 1.0) {
    u_Error("Error! Unexpected signal length %g..%g.\n", t0f, t1f);
    return -105;
  }
  std::vector<float> trace(L);
  if (!sds.GetTrace(sds.m_nTraceCount / 2, trace.data(), L)) {
    u_Error("Error! Unexpected trace len (%d) in file %s containing signal shape.\n", L, m_strFile.c_str());
    return -3;
  }
  m_nLen = (int)((t1f - t0f) / dt) + 10;
  m_pSignal = new float[m_nLen];

  float fMin = 0, fMax = 0, fPeak = 0;
  int nMin = 0, nMax = 0, nPeak = 0;
  for (int i = 0; i < m_nLen; i++) {
    const double u = dtf > 0 ? i * dt / dtf : 0;
    if (u <= 0) {
      m_pSignal[i] = trace[0];
      fMin = fMax = trace[0];
      fPeak = fabsf(trace[0]);
      nMin = nMax = nPeak = 0;
    } else if (u < L - 1) {
      const double a = floor(u), b = ceil(u), w = u - a;
      double v = trace[(int)b] * w + (1 - w) * trace[(int)a];
      if (fabs(v) < 1e-20)
        v = 0;
      const float s = (float)v;
      m_pSignal[i] = s;
      if (s < fMin) {
        fMin = s;
        nMin = i;
      }
      if (s > fMax) {
        fMax = s;
        nMax = i;
      }
      if (fabsf(s) > fPeak) {
        fPeak = fabsf(s);
        nPeak = i;
      }
    } else {
      m_pSignal[i] = 0;
    }
  }
  // Dominant frequency from the distance between the two extremes.
  if (m_fFrequency < 1.0)
    m_fFrequency = 1.0 / ((std::abs(nMax - nMin) + 1) * dt * 3.0);
  // Without a delay the peak of the signal falls on time 0.
  if (m_fDelay > 0)
    fT0 = t0f - m_fDelay;
  else
    fT0 = -nPeak * dt;
  while (m_nLen > 1 && fabsf(m_pSignal[m_nLen - 1]) < 1e-06 * fPeak)
    m_nLen--;
  if (fPeak > 0) {
    for (int i = 0; i < m_nLen; i++)
      m_pSignal[i] = m_pSignal[i] / fPeak * fAmp;
  }
  return 0;
}

void CSignal3D::DumpDebug(double dt, double fT0) {
  if (!m_bDumpDebug || m_nNode != 1)
    return;
  CString strName(0, "%ssignal3d.txt", m_strDumpDir.c_str());
  FILE* fp = fopen(strName, "wt");
  if (!fp)
    return;
  double t = fT0;
  for (int i = 0; i < m_nLen; i++, t += dt)
    fprintf(fp, "%g\t%g\n", t, m_pSignal[i]);
  fclose(fp);
}
