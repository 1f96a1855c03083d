#include "calc3d/Calc3D.h"

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

void CCalc3D::AllocateModelArrays(float* (*pfnNew)(size_t), size_t m) {
  const int nMethod = GetMethod();
  m_pK = pfnNew(m);
  m_pB = pfnNew(m);
  if (m_nViscoL > 0)
    m_pVisco = pfnNew(3 * (size_t)m_nViscoL * m);
  if (!m_Set.m_strModelQ.IsEmpty())
    m_pQ = pfnNew(m);
  if (nMethod > METHOD_ACOUSTIC)
    m_pMu = pfnNew(m);
  if (nMethod > METHOD_ELASTIC) {
    const struct {
      const CString& strFile;
      float** pp;
    } thomsen[] = {{m_Set.m_strAnisEpsilon, &m_pAnisEps},
                   {m_Set.m_strAnisDelta, &m_pAnisDelta},
                   {m_Set.m_strAnisGamma, &m_pAnisGamma},
                   {m_Set.m_strAnisAzimuth, &m_pAnisAlpha},
                   {m_Set.m_strAnisPhi, &m_pAnisPhi}};
    for (const auto& t : thomsen)
      if (!t.strFile.IsEmpty())
        *t.pp = pfnNew(m);
    for (float** p : {&m_pC11, &m_pC12, &m_pC13, &m_pC22, &m_pC23, &m_pC33, &m_pC44, &m_pC55, &m_pC66})
      *p = pfnNew(m);
  }
  if (nMethod == METHOD_ANISOTROPIC)
    for (float** p :
         {&m_pC14, &m_pC15, &m_pC16, &m_pC24, &m_pC25, &m_pC26, &m_pC34, &m_pC35, &m_pC36, &m_pC45, &m_pC46, &m_pC56})
      *p = pfnNew(m);
}

void CCalc3D::FreeModelArrays() {
  float** model[] = {&m_pK,       &m_pMu,  &m_pB,   &m_pQ,   &m_pAnisEps, &m_pAnisDelta, &m_pAnisGamma, &m_pAnisAlpha,
                     &m_pAnisPhi, &m_pC11, &m_pC12, &m_pC13, &m_pC22,     &m_pC23,       &m_pC33,       &m_pC44,
                     &m_pC55,     &m_pC66, &m_pC14, &m_pC15, &m_pC16,     &m_pC24,       &m_pC25,       &m_pC26,
                     &m_pC34,     &m_pC35, &m_pC36, &m_pC45, &m_pC46,     &m_pC56,       &m_pVisco};
  for (float** p : model)
    FreeArray(*p);
}

int CCalc3D::ModelGridCount() const {
  const int nMethod = GetMethod();
  int G = 2 + (m_Set.m_strModelQ.IsEmpty() ? 0 : 1);
  if (nMethod == METHOD_ELASTIC)
    G += 1;
  else if (nMethod == METHOD_ORTHORHOMBIC)
    G += 8;
  else if (nMethod == METHOD_ANISOTROPIC)
    G += 20;
  return m_nViscoL > 0 ? G - 1 : G;
}

fd::TTimeGrid CCalc3D::TimeFieldGrid() const {
  fd::TTimeGrid g;
  g.nx = m_nNx;
  g.ny = m_nNy;
  g.m = GetCubeSize();
  g.rx = (float)(m_fTimeDx / m_fH);
  g.ry = (float)(m_fTimeDy / m_fH);
  g.rz = (float)(m_fTimeDz / m_fH);
  g.nFrame = m_nFrame;
  // Below the top slab of a depth split the cube starts at the halo.
  g.nAddZ0 = (GetGroupSize() > 1 && GetGroupRank() > 0) ? m_nStart : m_nFrame;
  g.tnx = m_nTimeNx;
  g.tny = m_nTimeNy;
  return g;
}
