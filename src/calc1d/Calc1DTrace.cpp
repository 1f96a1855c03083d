// Vertical-incidence modelling: the time loop of one trace on a staggered
// grid in depth, and the computation and writing of all traces on threads.
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "Calc1D.h"
#include "calc3d/Calc3D.h"
#include "run/KelvoApp.h"
#include "run/SharedPtr1.h"
#include "seisfile/SdsPC.h"
#include "seisfile/SgyCodec.h"

namespace {

// Sixth-order staggered differences.
const float c1_6 = 1.171875f, c2_6 = -0.065104164f, c3_6 = 0.0046875f;
// Traces a thread computes in one block.
const int kTracesPerThread = 10;

} // namespace

CCalc1D_Worker::~CCalc1D_Worker() {
  delete[] m_pProfiles;
  delete[] m_pTraces;
}

int CCalc1D_Worker::Init(int nz, size_t nt) {
  delete[] m_pProfiles;
  delete[] m_pTraces;
  m_pProfiles = m_pTraces = nullptr;
  const size_t n = (size_t)std::max(nz, 0);
  try {
    m_pProfiles = new float[n * 11]();
    m_pTraces = new float[nt * 2]();
  } catch (const std::bad_alloc&) {
    return -1;
  }
  float** pp[11] = {&m_pK, &m_pB, &m_pQ, &m_pU, &m_pP, &m_pA1, &m_pB1, &m_pA2, &m_pB2, &m_pPsiP, &m_pPsiU};
  for (int k = 0; k < 11; k++)
    *pp[k] = m_pProfiles + k * n;
  m_pTraceZ = m_pTraces;
  m_pTraceC = m_pTraces + nt;
  return 0;
}

int CCalc1D::InitPMLProfile(float* pK, float* pB, float* pA1, float* pB1, float* pA2, float* pB2) const {
  const size_t nz = (size_t)m_nNzAll;
  for (float* p : {pA1, pB1, pA2, pB2})
    std::fill(p, p + nz, 0.0f);
  const int n = m_nPML;
  const double f = m_Signal.m_fFrequency, h = m_fH, dt = m_fDt;
  const double c1 = dt / h / const_K_U, c2 = dt / h * const_K_U;
  const double R = 0.0002;
  for (int i = 0; i < n; i++) {
    for (int j : {3 + i, m_nNzAll - 4 - i}) {
      if (j < 0 || j >= m_nNzAll)
        continue;
      const double v = pK[j] > 0 && pB[j] > 0 ? std::sqrt(pK[j] / ((c2 / pB[j]) * c1)) : pK[j];
      const double d0 = -1.5 * v * std::log(R) / (n * h);
      auto set = [&](double t, float& a, float& b) {
        const double d = d0 * t * t;
        const double s = d + (1.1 - t) * M_PI * f;
        const float e = (float)std::exp(-s * dt);
        b = e;
        a = (float)(d * ((double)e - 1) / s);
      };
      set((n + 1.0 - i) / n, pA1[j], pB1[j]);
      set((n + 0.5 - i) / n, pA2[j], pB2[j]);
    }
  }
  return 0;
}

int CCalc1D::CalculateTrace(int i, CCalc1D_Worker& w) const {
  if (!m_pTraces || i < 0 || i >= (int)m_pTraces->size())
    return -1;
  w.m_nTrace = i;
  const int nz = m_nNzAll;
  for (float* p : {w.m_pU, w.m_pP, w.m_pPsiP, w.m_pPsiU})
    std::fill(p, p + nz, 0.0f);
  std::fill(w.m_pTraceZ, w.m_pTraceZ + m_nSeisLen, 0.0f);
  std::fill(w.m_pTraceC, w.m_pTraceC + m_nSeisLen, 0.0f);

  const C3DPointR& r = (*m_pTraces)[i];
  const CPointR pt(r.x, r.y);
  int nFirst = 0, nOther = 0;
  if (Get1DModel(MODEL_PVEL, pt, w.m_pK, nFirst) != 0 || Get1DModel(MODEL_DENS, pt, w.m_pB, nOther) != 0)
    return -1;
  if (m_bPML)
    InitPMLProfile(w.m_pK, w.m_pB, w.m_pA1, w.m_pB1, w.m_pA2, w.m_pB2);
  const bool bQ = m_pQ != nullptr;
  if (bQ && Get1DModel(MODEL_Q, pt, w.m_pQ, nOther) != 0)
    return -1;

  // Source and receiver: the receiver's depth, not above the first solid
  // point, inside the model, never in a void.
  int s = std::max(nFirst, (int)((r.z - m_cubeSim.z0) / m_fH + 0.1) + m_nFrame);
  if (s < m_nFrame || s > nz - m_nFrame)
    s = m_nFrame;
  while (s < nz - m_nFrame && w.m_pK[s] == 0)
    s++;
  // A column without any solid point gives a silent trace.
  if (w.m_pK[s] == 0)
    return 0;

  const float* K = w.m_pK;
  const float* B = w.m_pB;
  const float* Q = w.m_pQ;
  const float *A1 = w.m_pA1, *B1 = w.m_pB1, *A2 = w.m_pA2, *B2 = w.m_pB2;
  float *U = w.m_pU, *P = w.m_pP, *psiP = w.m_pPsiP, *psiU = w.m_pPsiU;
  const float* pSignal = m_Signal.m_pSignal;
  const int nSignal = pSignal ? m_Signal.m_nLen : 0;
  const bool bHard = m_nSourceType != 3 && m_nSurfType == 0 && m_Signal.m_nSignalMode == 0;
  const int nPml = m_nPML + 3;
  // Points outside both layers: k and nz - 1 - k at least nPml.
  const int nInner0 = std::max(nPml, 3), nInner1 = std::min(nz - 1 - nPml, nz - 4);
  const int nSteps = (int)((m_fT1 - m_fT0) / m_fDt);
  double tRec = m_pApp->m_t0, t = m_fT0;
  size_t nRec = 0;
  for (int j = 0; j <= nSteps; j++) {
    if (j < nSignal) {
      const float g = pSignal[j];
      if (m_nSourceType == 3)
        U[s] -= g;
      else if (bHard)
        P[s] = g;
      else
        P[s] += g;
    }
    // Pressure, then velocity. With PML the points between the two layers
    // take a plain loop that vectorises; without it the damping of U in the
    // pressure pass feeds the next points, so the pass stays in order.
    bool bNaN = false;
    auto pressure = [&](int k) {
      const int m = nz - 1 - k;
      float d = c1_6 * (U[k + 1] - U[k]) + c2_6 * (U[k + 2] - U[k - 1]) + c3_6 * (U[k + 3] - U[k - 2]);
      if (m_bPML) {
        if (k < nPml) {
          const float f = B2[k] * psiP[k] + A2[k] * d;
          psiP[k] = f;
          d += f;
        }
        if (m < nPml) {
          const float f = B1[k] * psiP[k] + A1[k] * d;
          psiP[k] = f;
          d += f;
        }
      }
      float v = d * K[k] + P[k];
      if (!m_bPML) {
        const int e = std::min(k, m);
        if (e < m_nFrame) {
          v *= m_fDamp[e];
          U[k] *= m_fDamp[e];
        }
      }
      if (bQ && Q[k] < 1)
        v *= Q[k];
      P[k] = v;
      bNaN |= std::isnan(v);
    };
    auto velocity = [&](int k) {
      const int m = nz - 1 - k;
      float d = c1_6 * (P[k] - P[k - 1]) + c2_6 * (P[k + 1] - P[k - 2]) + c3_6 * (P[k + 2] - P[k - 3]);
      if (m_bPML) {
        if (k < nPml) {
          const float f = B1[k] * psiU[k] + A1[k] * d;
          psiU[k] = f;
          d += f;
        }
        if (m < nPml) {
          const float f = B2[k] * psiU[k] + A2[k] * d;
          psiU[k] = f;
          d += f;
        }
      }
      U[k] = d * B[k] + U[k];
    };
    if (m_bPML && nInner0 <= nInner1) {
      for (int k = 3; k < nInner0; k++)
        pressure(k);
      int nBad = 0;
      for (int k = nInner0; k <= nInner1; k++) {
        const float d = c1_6 * (U[k + 1] - U[k]) + c2_6 * (U[k + 2] - U[k - 1]) + c3_6 * (U[k + 3] - U[k - 2]);
        float v = d * K[k] + P[k];
        if (bQ)
          v = Q[k] < 1 ? v * Q[k] : v;
        P[k] = v;
        nBad |= v != v;
      }
      bNaN |= nBad != 0;
      for (int k = nInner1 + 1; k <= nz - 4; k++)
        pressure(k);
      if (bNaN)
        return -150;
      for (int k = 3; k < nInner0; k++)
        velocity(k);
      for (int k = nInner0; k <= nInner1; k++) {
        const float d = c1_6 * (P[k] - P[k - 1]) + c2_6 * (P[k + 1] - P[k - 2]) + c3_6 * (P[k + 2] - P[k - 3]);
        U[k] = d * B[k] + U[k];
      }
      for (int k = nInner1 + 1; k <= nz - 4; k++)
        velocity(k);
    } else {
      for (int k = 3; k <= nz - 4; k++)
        pressure(k);
      if (bNaN)
        return -150;
      for (int k = 3; k <= nz - 4; k++)
        velocity(k);
    }
    if (t >= tRec && nRec < m_nSeisLen) {
      w.m_pTraceC[nRec] = P[s];
      w.m_pTraceZ[nRec] = U[s];
      tRec += m_pApp->m_dt;
      nRec++;
    }
    t += m_fDt;
  }
  return 0;
}

int CCalc1D::WriteTrace(FILE* fp, const char* szName, CSdsPC& sds, int i, C3DPointR pt, double* pTimes,
                        const float* pData) {
  SDS_TRACEINFO rec;
  memset(&rec, 0, sizeof(rec));
  rec.m_fXs = rec.m_fXr = (float)pt.x;
  rec.m_fYs = rec.m_fYr = (float)pt.y;
  rec.m_fZs = rec.m_fZr = (float)pt.z;
  rec.m_nTraceNo = i;
  int ids[2] = {i + 1, i + 1};
  SGY_TRACEHEADER th = sds.CreateSGYHeaderTrace(ids, rec, pTimes, DU_SEC);
  // The start time also goes to the delay field, as in the 3-D gathers.
  CSdsPC::SetDelayTime(th, pTimes[0], DU_SEC);
  m_vIbm.resize(m_nSeisLen * 4);
  for (size_t k = 0; k < m_nSeisLen; k++)
    sgy_float_to_ibm(pData[k], &m_vIbm[k * 4]);
  if (fwrite(th.m_buf, 1, 240, fp) != 240 || fwrite(m_vIbm.data(), 1, m_vIbm.size(), fp) != m_vIbm.size()) {
    u_Error("Error! Unable to write to '%s'.\n", szName);
    return -1;
  }
  return 0;
}

int CCalc1D::CalculateBlocks(int n, FILE* fpZ, FILE* fpC, const CString& strZ, const CString& strC, double* pTimes) {
  const int nTraces = (int)m_pTraces->size();
  const int nBlock = n * kTracesPerThread;
  std::vector<std::unique_ptr<CCalc1D_Worker>> workers;
  try {
    for (int k = 0; k < nBlock; k++) {
      workers.emplace_back(new CCalc1D_Worker);
      if (workers.back()->Init(m_nNzAll, m_nSeisLen) != 0)
        throw std::bad_alloc();
    }
  } catch (const std::bad_alloc&) {
    u_Error("Error! Unable to allocate memory for calculations!\n");
    return -1;
  }
  CSdsPC sds;
  const int nBlocks = (nTraces + nBlock - 1) / nBlock;
  for (int b = 0; b < nBlocks; b++) {
    const int nBase = b * nBlock;
    int nError = 0;
#pragma omp parallel num_threads(n)
    {
      const int t = omp_get_thread_num();
      for (int k = 0; k < kTracesPerThread; k++) {
        const int i = nBase + t * kTracesPerThread + k;
        if (i >= nTraces)
          break;
        const int rc = CalculateTrace(i, *workers[t * kTracesPerThread + k]);
#pragma omp atomic
        nError |= rc;
      }
    }
    for (int k = 0; k < nBlock && nBase + k < nTraces && nError == 0; k++) {
      const int i = nBase + k;
      const CCalc1D_Worker& w = *workers[k];
      nError |= WriteTrace(fpZ, strZ, sds, i, (*m_pTraces)[i], pTimes, w.m_pTraceZ);
      nError |= WriteTrace(fpC, strC, sds, i, (*m_pTraces)[i], pTimes, w.m_pTraceC);
    }
    const int p = (int)((float)(b + 1) / (float)nBlocks * 100);
    u_Percent(p, p, 1, 1);
    if (nError != 0)
      return nError;
  }
  return 0;
}

int CCalc1D::Calculate() {
  const CString strZ = GetFileName(0, 'Z', false, false, 0), strC = GetFileName(0, 'C', false, false, 0);
  shared_ptr1<FILE> fpZ(fopen(strZ, "wb"), file_deleter), fpC(fopen(strC, "wb"), file_deleter);
  for (const auto* p : {&fpZ, &fpC}) {
    if (!p->get()) {
      u_Error("Error! Unable to open file '%s' for writing! Unable to save the result!\n",
              (p == &fpZ ? strZ : strC).c_str());
      return -1;
    }
  }
  const int nTraces = m_pTraces ? (int)m_pTraces->size() : 0;
  double pTimes[3] = {m_pApp->m_t0, m_pApp->m_t1, m_pApp->m_dt};
  CSdsPC sds;
  SGY_FILEHEADER fh = sds.CreateSGYHeaderFile(nTraces, pTimes, DU_SEC, 0);
  for (const auto* p : {&fpZ, &fpC}) {
    if (fwrite(fh.m_buf, 1, 3600, p->get()) != 3600) {
      u_Error("Error! Unable to write to the output file '%s'!\n", (p == &fpZ ? strZ : strC).c_str());
      return -1;
    }
  }
  if (m_nSeisLen <= 1) {
    u_Error("Error! Unable to open file '%s' for writing! Unable to save the result!\n", strZ.c_str());
    return -1;
  }
  int n = std::max(m_pApp->m_nThreads, 1);
  omp_set_num_threads(n);
#pragma omp parallel
  {
#pragma omp single
    n = omp_get_num_threads();
  }
  int rc = 0;
  if (n > 1) {
    rc = CalculateBlocks(n, fpZ.get(), fpC.get(), strZ, strC, pTimes);
  } else {
    CCalc1D_Worker w;
    if (w.Init(m_nNzAll, m_nSeisLen) != 0) {
      u_Error("Error! Unable to allocate memory for calculations!\n");
      return -1;
    }
    for (int i = 0; i < nTraces && rc == 0; i++) {
      rc = CalculateTrace(i, w);
      if (rc == 0)
        rc = WriteTrace(fpZ.get(), strZ, sds, i, (*m_pTraces)[i], pTimes, w.m_pTraceZ);
      if (rc == 0)
        rc = WriteTrace(fpC.get(), strC, sds, i, (*m_pTraces)[i], pTimes, w.m_pTraceC);
      const int p = (int)((float)(i + 1) / (float)nTraces * 100);
      u_Percent(p, p, 1, 1);
    }
  }
  if (rc == -150)
    u_Error("!!!WARNING: The calculation scheme is unstable: further calculations are impossible! Please decrease "
            "dt.\n");
  return rc;
}
