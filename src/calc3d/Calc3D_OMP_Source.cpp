// Host backend: source injection, gather recording (in memory or through the
// spill file), and the arrival-time cubes.
#include <new>

#include "Calc3D_OMP.h"

fd::TWaveFields CCalc3D_OMP::Fields() const {
  return fd::TWaveFields{m_pVx, m_pVy, m_pVz, m_pTxx, m_pTyy, m_pTzz, m_pTxy, m_pTxz, m_pTyz, m_pB};
}

int CCalc3D_OMP::ApplySignal(int nStep) {
  const float* pSignal = m_Signal.m_pSignal;
  if (!pSignal || nStep < 0 || nStep >= m_Signal.m_nLen)
    return 0;
  const float s = pSignal[nStep];
  const bool bAcoustic = GetMethod() == METHOD_ACOUSTIC;
  const size_t nxy = (size_t)m_nNx * m_nNy;
  const fd::TWaveFields w = Fields();
  const fd::TMoment k0{m_fK11, m_fK22, m_fK33, m_fK12, m_fK13, m_fK23};
  for (size_t n = 0; n < m_vShotPoints.size(); n++) {
    fd::TMoment k = k0;
    if (m_nSourceType == 10 && n < m_vShotTauK.size()) {
      const CShotTauK& t = m_vShotTauK[n];
      k = fd::TMoment{t.k11, t.k22, t.k33, t.k12, t.k13, t.k23};
    }
    fd::InjectSource(w, bAcoustic, m_nSourceType, m_vShotPoints[n].nIndex, (m_vShotPoints[n].nFlags & 1) != 0, s, nxy,
                     k);
  }
  return 0;
}

int CCalc3D_OMP::AllocateMemorySeismogram() {
  const size_t n = m_vRcvIdx.size();
  size_t c = n * m_nSeisLen;
  m_Spill.Close();
  if (c == 0)
    return 0;
  if (m_Set.m_bBigSeismogram) {
    const CString strFile = m_Set.GetBigSeisFileName(m_nShot);
    if (m_Spill.Create(strFile, m_Set.m_nNode, n)) {
      c = n;
    } else {
      u_Error("Error! Unable to open file %s for writing. Using normal seismogram mode\n", (const char*)strFile);
      m_Set.m_bBigSeismogram = false;
    }
  }
  u_Print("Allocating memory for seismogram (%g MB)...\n", 16.0 * c / 1048576.0);
  FreeArray(m_pSeisX);
  FreeArray(m_pSeisY);
  FreeArray(m_pSeisZ);
  FreeArray(m_pSeisC);
  try {
    m_pSeisX = new float[c]();
    m_pSeisY = new float[c]();
    m_pSeisZ = new float[c]();
    m_pSeisC = new float[c]();
  } catch (const std::bad_alloc&) {
    u_Error("Error! Not enough memory. Please, try to increase spatial steps.\n");
    return CALC_NO_MEMORY;
  }
  return 0;
}

int CCalc3D_OMP::RecordSeismogram() {
  const size_t n = m_vRcvIdx.size();
  if (m_nSeisStep >= m_nSeisLen || n == 0)
    return 0;
  if (!m_pSeisX || !m_pVx || !m_pTxx)
    return 0;
  const bool bFile = m_Spill.IsWriting();
  const size_t o0 = bFile ? 0 : n * m_nSeisStep;
  const fd::TWaveFields w = Fields();
  const fd::TGatherRows rows{m_pSeisX, m_pSeisY, m_pSeisZ, m_pSeisC};
  for (size_t r = 0; r < n; r++)
    fd::RecordPoint(w, m_vRcvIdx[r], rows, o0 + r);
  if (bFile && m_Spill.Append(m_pSeisX, m_pSeisY, m_pSeisZ, m_pSeisC) != 0)
    return 1;
  m_nSeisStep++;
  return 0;
}

float* CCalc3D_OMP::GrabShotgather(char cComponent) {
  const bool bFile =
      m_Set.m_bBigSeismogram && (m_Spill.IsWriting() || m_Spill.HasRead() || !m_pSeisZ || m_nSeisLen > 1);
  if (!bFile) {
    switch (cComponent) {
    case 'X': return m_pSeisX;
    case 'Y': return m_pSeisY;
    case 'C': return m_pSeisC;
    default: return m_pSeisZ;
    }
  }
  const CString strFile = m_Set.GetBigSeisFileName(m_nShot);
  return m_Spill.Read(strFile, m_Set.m_nNode, m_vRcvIdx.size(), m_nSeisLen, cComponent);
}

int CCalc3D_OMP::PropagateTimeField() {
  if (!m_pVx || !m_pVy || !m_pVz)
    return 0;
  const float t = (float)m_fTime;
  const fd::TTimeGrid g = TimeFieldGrid();
  const int tnz = m_nTimeNz;
  const fd::TWaveFields w = Fields();
  for (int type = 0; type < 2; type++) {
    float* pTime = m_pTimeField[type];
    float* pMax = m_pTimeMax[type];
    if (!(m_nTimeFieldType & (1 << type)) || !pTime || !pMax)
      continue;
#pragma omp parallel for schedule(static)
    for (int k = 0; k < tnz; k++)
      for (int j = 0; j < g.tny; j++)
        for (int i = 0; i < g.tnx; i++)
          fd::TimeFieldCell(w, g, type, t, i, j, k, pTime, pMax);
  }
  return 0;
}
