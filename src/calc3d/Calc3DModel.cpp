// Model building: loading model components onto the computation grid and
// turning velocities and density into the coefficients of the scheme.
#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "calc3d/Calc3D.h"
#include "calc3d/Calc3DModelCube.h"
#include "calc3d/CalcShared.h"
#include "calc3d/FDLayout.h"
#include "calc3d/ModelCorrelation.h"
#include "calc3d/ViscoCalc.h"
#include "seisfile/SdsPC.h"

namespace {

struct ComponentInfo {
  int nComponent;
  const char* szName;
  float fLimit; // lower limit of a physical value, -1 where there is none
};

const ComponentInfo s_components[] = {
    {MODEL_PVEL, "P-Wave Velocity", 100.0f},
    {MODEL_SVEL, "S-Wave Velocity", 100.0f},
    {MODEL_DENS, "Density", 100.0f},
    {MODEL_ANIS_EPSILON, "Anisotropy(Epsilon)", -1.0f},
    {MODEL_ANIS_DELTA, "Anisotropy(Delta)", -1.0f},
    {MODEL_ANIS_GAMMA, "Anisotropy(Gamma)", -1.0f},
    {MODEL_ANIS_ALPHA, "Anisotropy Tilt(Alpha)", -1.0f},
    {MODEL_ANIS_PHI, "Anisotropy Azimuth(Phi)", -1.0f},
    {MODEL_Q, "Attenuation(Q)", 3.0f},
};

const ComponentInfo* FindComponent(int nComponent) {
  for (const ComponentInfo& c : s_components)
    if (c.nComponent == nComponent)
      return &c;
  return nullptr;
}

} // namespace

int CCalc3D::LoadModelComponent(int nComponent, const char* szFile, float* pP, float* pOut, float* pTemp) {
  const ComponentInfo* info = FindComponent(nComponent);
  if (!info) {
    u_Error("Error! LoadModelComponent() Unknown component (%d) specified.\n", nComponent);
    return -106;
  }
  const bool bFile = szFile && szFile[0];
  if (!bFile && !pP) {
    u_Error("Error! %s model file is not specified.\n", info->szName);
    return -107;
  }
  const size_t nPlane = (size_t)m_nNx * m_nNy;
  const size_t nCube = GetCubeSize();
  bool bShearFixed = false;

  if (bFile) {
    CSdsPC sds;
    if (!model_OpenFile(*this, sds, szFile)) {
      u_Error("Error! Unable to open %s model file '%s'.\n", info->szName, szFile);
      return CALC_NO_FILE;
    }
    if (int nResult = model_CheckFile(sds, info->szName))
      return nResult;
    // Below the file's last sample the cube gets no values from it.
    if (!m_cubeSim.IsEmpty() && m_cubeSim.z1 > sds.m_rT1 + 1e-3)
      u_Warning("Warning! Shot #%d: %s model file '%s' ends at %g m, above the bottom of the simulation cube at %g "
                "m; the cube below it gets no values from this file.\n",
                m_nShot, info->szName, szFile, sds.m_rT1, m_cubeSim.z1);
    const int snx = m_nNx - 2 * m_nFrame, sny = m_nNy - 2 * m_nFrame;
    int snz = m_nNz - 2 * m_nFrame;
    if (HasUpperNeighbour())
      snz += m_nFrame - m_nStart;
    if (HasLowerNeighbour())
      snz += m_nFrame - m_nStart;
    const unsigned long nVol =
        (unsigned long)std::max(snx, 0) * (unsigned long)std::max(sny, 0) * (unsigned long)std::max(snz, 0);
    u_Print("nx=%d, ny=%d, nz=%d, snx=%d, sny=%d, snz=%d, vol=%lu\n", m_nNx, m_nNy, m_nNz, snx, sny, snz, nVol);

    // The caller's scratch (another model cube not loaded yet) spares a
    // temporary cube; only the last load allocates one.
    float* pBuf = pTemp;
    std::vector<float> own;
    try {
      if (pBuf)
        std::fill(pBuf, pBuf + nCube, 0.0f);
      else
        own.assign(std::max<size_t>(nVol, 1), 0.0f);
    } catch (const std::bad_alloc&) {
      u_Error("Error! Unable to allocate a temporary buffer for loading %s model file.\n", info->szName);
      return -2;
    }
    if (!pBuf)
      pBuf = own.data();
    if (nVol == 0) {
      std::fill(pOut, pOut + nCube, 0.0f);
    } else {
      if (!sds.Get3D_buf(C3DSizeN(snx, sny, snz), GetRealUserArea(), pBuf, info->fLimit)) {
        u_Error("Error! Unable to load %s model buffer!\n", info->szName);
        return CALC_NO_FILE;
      }
      if (nComponent == MODEL_PVEL)
        m_fMaxVp = 0;
      const float fLimit = info->fLimit;
      const float fInvSqrt2 = (float)(1.0 / sqrt(2.0));
      const int nZShift = HasUpperNeighbour() ? m_nStart : m_nFrame;
      for (int z = 0; z < m_nNz; z++) {
        const int sz = std::min(std::max(z - nZShift, 0), snz - 1);
        for (int y = 0; y < m_nNy; y++) {
          const int sy = std::min(std::max(y - m_nFrame, 0), sny - 1);
          const float* pRow = pBuf + ((size_t)sz * sny + sy) * snx;
          const size_t nRow = z * nPlane + (size_t)y * m_nNx;
          for (int x = 0; x < m_nNx; x++) {
            const int sx = std::min(std::max(x - m_nFrame, 0), snx - 1);
            float v = pRow[sx];
            if (fLimit > 0 && v < fLimit)
              v = 0;
            const size_t i = nRow + x;
            if (nComponent == MODEL_SVEL && pP) {
              const float vMax = pP[i] * fInvSqrt2;
              if (v > vMax) {
                v = vMax;
                bShearFixed = true;
              }
            }
            pOut[i] = v;
            if (nComponent == MODEL_PVEL && v > m_fMaxVp)
              m_fMaxVp = v;
          }
        }
      }
    }
  } else if (nComponent == MODEL_SVEL || nComponent == MODEL_DENS) {
    const double* pTable = nComponent == MODEL_SVEL ? pCorSVel : pCorDens;
#pragma omp parallel for schedule(static)
    for (int z = 0; z < m_nNz; z++) {
      for (size_t i = z * nPlane; i < (z + 1) * nPlane; i++) {
        const double v = pP[i];
        pOut[i] = v > 0 ? (float)CorrelateByPVel(v, pTable) : 0.0f;
      }
    }
  }

  if (m_Set.m_bDebug) {
    CString strName(0, "%sDebugModel-%d(%s)(%d)-orig.sgy", m_Set.m_strOutputDir.c_str(), m_nShot, info->szName,
                    m_Set.m_nNode);
    SaveDebugCube(strName, pOut);
  }
  if (bShearFixed)
    u_Warning("Warning! Too high shear velocity found in '%s' - Fixed.\n", szFile);
  return 0;
}

int CCalc3D::InitModel() {
  const int nMethod = GetMethod();
  if (!m_pK || !m_pB || (nMethod > METHOD_ACOUSTIC && !m_pMu)) {
    u_Error("Error! Memory allocation error. Model cubes were not initialized.\n");
    return -2;
  }
  int nResult = LoadModelComponent(MODEL_PVEL, m_Set.m_strModelPW, nullptr, m_pK, m_pB);
  if (nResult)
    return nResult;
  if (nMethod > METHOD_ACOUSTIC) {
    nResult = LoadModelComponent(MODEL_SVEL, m_Set.m_strModelSW, m_pK, m_pMu, m_pB);
    if (nResult)
      return nResult;
  }
  if (nMethod > METHOD_ELASTIC) {
    const struct {
      int nComponent;
      const CString& strFile;
      float* pArray;
    } anis[] = {{MODEL_ANIS_EPSILON, m_Set.m_strAnisEpsilon, m_pAnisEps},
                {MODEL_ANIS_DELTA, m_Set.m_strAnisDelta, m_pAnisDelta},
                {MODEL_ANIS_GAMMA, m_Set.m_strAnisGamma, m_pAnisGamma},
                {MODEL_ANIS_ALPHA, m_Set.m_strAnisAzimuth, m_pAnisAlpha},
                {MODEL_ANIS_PHI, m_Set.m_strAnisPhi, m_pAnisPhi}};
    for (const auto& a : anis) {
      if (a.strFile.IsEmpty() || !a.pArray)
        continue;
      nResult = LoadModelComponent(a.nComponent, a.strFile, nullptr, a.pArray, m_pB);
      if (nResult)
        return nResult;
    }
  }
  if (!m_Set.m_strModelQ.IsEmpty() && m_pQ) {
    nResult = LoadModelComponent(MODEL_Q, m_Set.m_strModelQ, nullptr, m_pQ, m_pB);
    if (nResult)
      return nResult;
  }
  // Density last: its array was the scratch of all loads before.
  nResult = LoadModelComponent(MODEL_DENS, m_Set.m_strModelD, m_pK, m_pB, nullptr);
  if (nResult)
    return nResult;

  nResult = GetGroupSize() < 2 ? ValidateSurveyGeometryShared() : ValidateSurveyGeometryDistributed();
  if (nResult)
    return nResult;
  if ((nResult = MakeSurface()) != 0)
    return nResult;
  if ((nResult = MakeSurfaceBottomDistributed()) != 0)
    return nResult;

  if (m_nViscoL > 0) {
    if ((nResult = PrepareViscoElasticModel()) != 0)
      return nResult;
    FreeArray(m_pQ);
  } else if (m_pQ) {
    MakeQFactor();
  }

  if ((nResult = CheckCourant()) != 0)
    return nResult;

  // The PML profile reads P velocities, so it comes before the conversion.
  if (m_bPML && (nResult = InitPMLProfile()) != 0)
    return nResult;
  MakeDamp();

  if (nMethod < METHOD_ORTHORHOMBIC)
    ConvertIsotropic();
  else if ((nResult = ConvertAnisotropic()) != 0)
    return nResult;

  if ((nResult = SmoothModel()) != 0)
    return nResult;

  if (m_Set.m_bDebug) {
    const char* szDir = m_Set.m_strOutputDir.c_str();
    const int nNode = m_Set.m_nNode;
    const struct {
      const float* p;
      const char* szFormat;
    } dumps[] = {{m_pK, "%sDebugModel(P-Wave Velocity)(%d)-calc.sgy"},
                 {m_pB, "%sDebugModel(Density)(%d)-calc.sgy"},
                 {m_pMu, "%sDebugModel(S-Wave Velocity)(%d)-calc.sgy"},
                 {m_pQ, "%sDebugModel(Quality)(%d)-calc.sgy"}};
    for (const auto& d : dumps)
      if (d.p)
        SaveDebugCube(CString(0, d.szFormat, szDir, nNode), d.p);
  }
  return 0;
}

void CCalc3D::MakeQFactor() {
  const double fExp = 2 * m_fDt * m_Signal.m_fFrequency;
  const size_t nPlane = (size_t)m_nNx * m_nNy;
  float* pQ = m_pQ;
#pragma omp parallel for schedule(static)
  for (int z = 0; z < m_nNz; z++) {
    for (size_t i = z * nPlane; i < (z + 1) * nPlane; i++)
      pQ[i] = (float)GetQFactor(pQ[i], fExp);
  }
}

double CCalc3D::GetQFactor(double q, double fExp) {
  if (q < 3 || q > 10000)
    return 1.0;
  // Below Q = pi the base is not positive: such a cell is damped fully.
  const double fBase = 1 - M_PI / q;
  return fBase > 0 ? pow(fBase, fExp) : 0.0;
}

void calc_FillDamp(float* pDamp, int nSize, int nFrame, double dt) {
  const float fDt = (float)dt;
  for (int i = 0; i < nSize; i++) {
    const double d = nFrame - i;
    pDamp[i] = i > 0 && i < nFrame ? (float)exp(-0.18 * d * d * (double)fDt) : 0.0f;
  }
}

void CCalc3D::MakeDamp() { calc_FillDamp(m_fDamp, fd::kTaperWidth, m_nFrame, m_fDt); }

void calc_ConvertIsotropic(float* pK, float* pB, float* pMu, size_t nPlane, int nPlanes, double fH, double fDt) {
  const double s = (1 / fH) * fDt;
  const float kc = (float)(s / const_K_U), kb = (float)(s * const_K_U);
#pragma omp parallel for schedule(static)
  for (int z = 0; z < nPlanes; z++) {
    for (size_t i = z * nPlane; i < (z + 1) * nPlane; i++) {
      const float vp = pK[i], rho = pB[i];
      float a = 0, b = 0;
      if (vp > 0 && rho > 0) {
        a = vp * vp * rho * kc;
        b = kb / rho;
      }
      if (pMu) {
        const float vs = pMu[i];
        if (vs > 0)
          pMu[i] = vs * rho * vs * kc;
      }
      pK[i] = a;
      pB[i] = b;
    }
  }
}

void CCalc3D::ConvertIsotropic() {
  calc_ConvertIsotropic(m_pK, m_pB, m_pMu, (size_t)m_nNx * m_nNy, m_nNz, m_fH, m_fDt);
}

int CCalc3D::PrepareViscoElasticModel() {
  if (m_nViscoL < 1)
    return 0;
  u_Print("Preparing viscoelastic mesh...\n");
  if (!m_pVisco) {
    u_Error("Error! Internal error creating visco-elastic mesh.\n");
    return -1;
  }
  if (!m_pQ || !m_pK || !m_pMu) {
    u_Error("Error! Insufficient data to generate visco-elastic mesh.\n");
    return -1;
  }
  const int L = std::min(m_nViscoL, 10);
  const double f = m_Signal.m_fFrequency;
  const size_t nPlane = (size_t)m_nNx * m_nNy;
  m_vViscoPlanes.assign(m_nNz, 0);
#pragma omp parallel
  {
    // Each thread keeps its own calculator and the mechanisms of its last Q:
    // blocky models compute them once per block.
    CViscoCalc visco;
    float tauP[10], tauS[10], tauSigma[10];
    float fLastQ = UNSET_VALUE;
#pragma omp for schedule(static)
    for (int z = 0; z < m_nNz; z++) {
      for (size_t i = z * nPlane; i < (z + 1) * nPlane; i++) {
        float* pRec = m_pVisco + i * L * 3;
        const float q = m_pQ[i];
        float vp = m_pK[i], vs = m_pMu[i];
        if (q < 3 || q > 10000) {
          for (int l = 0; l < L; l++)
            pRec[3 * l] = 0, pRec[3 * l + 1] = 0, pRec[3 * l + 2] = 1;
          continue;
        }
        if (std::fabs(q - fLastQ) > 0.01f) {
          visco.InitViscoParams(f, L, q, q, tauP, tauS, tauSigma, m_bApparentVelocity, vp, vs);
          fLastQ = q;
        } else if (m_bApparentVelocity && q > 3) {
          visco.GetCorrectedVelocity(f, L, q, q, vp, vs, vp, vs);
        }
        m_pK[i] = vp;
        m_pMu[i] = vs;
        if (tauSigma[0] < 1.0f)
          m_vViscoPlanes[z] = 1;
        for (int l = 0; l < L; l++)
          pRec[3 * l] = tauP[l], pRec[3 * l + 1] = tauS[l], pRec[3 * l + 2] = tauSigma[l];
      }
    }
  }
  return 0;
}
