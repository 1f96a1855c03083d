#include "calc3d/Calc3D.h"

#include <algorithm>
#include <vector>

#include "seisfile/SdsPC.h"

CCalc3D::CCalc3D() {}

// The arrays belong to the backend's allocation scheme: a backend frees them
// with FreeMemory(true, true, true, true, true) in its own destructor.
CCalc3D::~CCalc3D() {}

int CCalc3D::GetMethod() const { return m_Set.m_nMethod; }

int CCalc3D::GetGroupSize() const {
  if (m_Set.m_nGroupSize < 1)
    return 1;
  return m_Set.m_nGroupSize;
}

int CCalc3D::GetGroupRank() const { return m_Set.m_nGroupRank; }

int CCalc3D::GenerateSignal() {
  m_Signal.m_bDumpDebug = m_Set.m_bDebug;
  m_Signal.m_nNode = m_Set.m_nNode;
  m_Signal.m_strDumpDir = m_Set.m_strOutputDir;
  return m_Signal.Generate(m_fDt, m_fH, m_fT0);
}

float** CCalc3D::GetComponentArray(int nComponent) {
  switch (nComponent) {
  case MODEL_PVEL: return &m_pK;
  case MODEL_SVEL: return &m_pMu;
  case MODEL_DENS: return &m_pB;
  case MODEL_ANIS_EPSILON: return &m_pAnisEps;
  case MODEL_ANIS_DELTA: return &m_pAnisDelta;
  case MODEL_ANIS_GAMMA: return &m_pAnisGamma;
  case MODEL_ANIS_ALPHA: return &m_pAnisAlpha;
  case MODEL_ANIS_PHI: return &m_pAnisPhi;
  case MODEL_Q: return &m_pQ;
  default: return nullptr;
  }
}

void CCalc3D::SaveDebugCube(const char* szFile, const float* pData) {
  if (!pData || m_nNx < 1 || m_nNy < 1 || m_nNz < 1)
    return;
  CSdsPC sds;
  if (!sds.Create3D_file(szFile, C3DSizeN(m_nNx, m_nNy, m_nNz), m_cubeGrid, 0, DU_MSEC, 0, nullptr))
    return;
  if (!sds.OnOpen(szFile, 1, 1, 0, 0))
    return;
  std::vector<float> trace(m_nNz);
  const size_t nPlane = (size_t)m_nNx * m_nNy;
  for (int y = 0; y < m_nNy; y++) {
    for (int x = 0; x < m_nNx; x++) {
      const size_t i0 = (size_t)y * m_nNx + x;
      for (int z = 0; z < m_nNz; z++)
        trace[z] = pData[z * nPlane + i0];
      sds.SetTrace(y * m_nNx + x, trace.data(), m_nNz);
    }
  }
}

int CCalc3D::InitDecomposition() {
  m_nZ0 = 0;
  m_nZ1 = m_nNz - 1;
  m_nNzAll = m_nNz;
  const int p = GetGroupSize();
  if (p < 2)
    return 0;
  const int r = GetGroupRank(), s = m_nStart, n = m_nNzAll;
  u_LinePrint(" MPI Depth Partitioning (params)");
  const int q = n / p, e = n % p;
  if (m_bPML && q < m_nPML)
    u_Warning("Warning! PML grid does not fit node decomposition, to be safe please turn it off "
              "by setting PML=0 in runtask.ini.\n");
  const int z0 = std::min(r * q + std::min(e, r), n - 1);
  const int z1 = std::min(r * q + std::min(r + 1, e) + q - 1, n - 1);
  m_nZ0 = z0;
  m_nZ1 = z1;
  m_nNz = z1 - z0 + 1;
  u_Print("nza = %d, prcs=%d, nz = %d, z0=%d, z1=%d\n", m_nNzAll, p, m_nNz, m_nZ0, m_nZ1);
  if (r > 0) {
    m_nZ0 -= s;
    m_nNz += s;
  }
  if (r < p - 1) {
    m_nZ1 += s;
    m_nNz += s;
  }
  u_Print("nza = %d, prcs=%d, nz = %d, z0=%d, z1=%d\n", m_nNzAll, p, m_nNz, m_nZ0, m_nZ1);
  if (m_nNz < 5 * s)
    u_Error("Error! The depth partition is too narrow (%g m with minimum of %g m), need less "
            "nodes with more memory.\n",
            (m_nNz - 2 * s) * m_fH, 3 * s * m_fH);
  const double fFrame = m_nFrame * m_fH;
  const double fWholeZ0 = m_cubeGrid.z0 + fFrame, fWholeZ1 = m_cubeGrid.z1 - fFrame;
  m_cubeGrid.z0 += m_nZ0 * m_fH;
  m_cubeGrid.z1 = m_cubeGrid.z0 + (m_nNz - 1) * m_fH;
  const CCubeR area = GetRealUserArea();
  u_LinePrint(" MPI Depth Partitioning ");
  u_Print("   First       |    Last       |      Step     |\n%14.0f |%14.0f |%14g |  whole      "
          "\n%14.0f |%14.0f |%14g |  partial    \n",
          fWholeZ0, fWholeZ1, m_fH, area.z0, area.z1, m_fH);
  u_Line();
  if (m_nTimeFieldType != 0) {
    int nCount = 0;
    for (int i = 0; i < m_nTimeNz; i++) {
      const double z = fWholeZ0 + i * m_fTimeDz;
      if (area.z0 <= z && z <= area.z1)
        nCount++;
    }
    m_nTimeNz = nCount;
  }
  return 0;
}
