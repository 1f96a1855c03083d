// Host backend: source injection, gather recording (in memory or through the
// spill file), and the arrival-time cubes.
#include <new>

#include "Calc3D_OMP.h"

int CCalc3D_OMP::ApplySignal(int nStep) {
  const float* pSignal = m_Signal.m_pSignal;
  if (!pSignal || nStep < 0 || nStep >= m_Signal.m_nLen)
    return 0;
  const float s = pSignal[nStep];
  const int nMethod = GetMethod();
  const size_t nxy = (size_t)m_nNx * m_nNy;

  for (size_t n = 0; n < m_vShotPoints.size(); n++) {
    const size_t p = m_vShotPoints[n].nIndex;
    const bool bFlag = (m_vShotPoints[n].nFlags & 1) != 0;
    if (nMethod == METHOD_ACOUSTIC) {
      switch (m_nSourceType) {
      case 1:
        if (m_pVx)
          m_pVx[p] += bFlag ? s : -s;
        break;
      case 2:
        if (m_pVy)
          m_pVy[p] += bFlag ? s : -s;
        break;
      case 3:
        if (m_pVz)
          m_pVz[p] -= s;
        break;
      case 7:
        if (m_pTxx) {
          if (bFlag)
            m_pTxx[p] -= s;
          else
            m_pTxx[p] = s;
        }
        break;
      default:
        if (m_pTxx)
          m_pTxx[p] += bFlag ? -s : s;
        break;
      }
      continue;
    }
    if (!m_pTxx || !m_pTyy || !m_pTzz || !m_pTxy || !m_pTxz || !m_pTyz)
      continue;
    float k11 = m_fK11, k22 = m_fK22, k33 = m_fK33, k12 = m_fK12, k13 = m_fK13, k23 = m_fK23;
    switch (m_nSourceType) {
    case 0: {
      const bool bTop = p >= nxy && m_pB && m_pB[p - nxy] == 0.0f;
      const float v = bTop ? -s : s;
      m_pTxx[p] += v;
      m_pTyy[p] += v;
      m_pTzz[p] += v;
      break;
    }
    case 1: m_pVx[p] += s; break;
    case 2: m_pVy[p] += s; break;
    case 3: m_pVz[p] -= s; break;
    case 4: m_pTxx[p] += s; break;
    case 5: m_pTyy[p] += s; break;
    case 6: m_pTzz[p] -= s; break;
    case 7:
      m_pTxx[p] += s;
      m_pTyy[p] += s;
      m_pTzz[p] += s;
      break;
    case 10:
      if (n < m_vShotTauK.size()) {
        const CShotTauK& t = m_vShotTauK[n];
        k11 = t.k11, k22 = t.k22, k33 = t.k33, k12 = t.k12, k13 = t.k13, k23 = t.k23;
      }
      // fall through
    case 9:
      m_pTxx[p] += s * k11;
      m_pTyy[p] += s * k22;
      m_pTzz[p] += s * k33;
      // fall through
    case 8:
      m_pTxy[p] += s * k12;
      m_pTxz[p] += s * k13;
      m_pTyz[p] += s * k23;
      break;
    default: break;
    }
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
  const bool bMean = m_pTyy && m_pTzz;
  for (size_t r = 0; r < n; r++) {
    const size_t q = m_vRcvIdx[r];
    const size_t o = o0 + r;
    m_pSeisX[o] = m_pVx[q] * const_K_U;
    m_pSeisY[o] = m_pVy[q] * const_K_U;
    m_pSeisZ[o] = m_pVz[q] * const_K_U;
    if (bMean)
      m_pSeisC[o] = (float)((m_pTxx[q] + m_pTyy[q] + m_pTzz[q]) / 3.0);
    else
      m_pSeisC[o] = m_pTxx[q];
  }
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
  const float rx = (float)(m_fTimeDx / m_fH);
  const float ry = (float)(m_fTimeDy / m_fH);
  const float rz = (float)(m_fTimeDz / m_fH);
  const int a = (GetGroupSize() > 1 && GetGroupRank() > 0) ? m_nStart : m_nFrame;
  const int tnx = m_nTimeNx, tny = m_nTimeNy, tnz = m_nTimeNz;
  const size_t sy = m_nNx, sz = (size_t)m_nNx * m_nNy;
  const size_t m = GetCubeSize();

  for (int type = 0; type < 2; type++) {
    float* pTime = m_pTimeField[type];
    float* pMax = m_pTimeMax[type];
    if (!(m_nTimeFieldType & (1 << type)) || !pTime || !pMax)
      continue;
#pragma omp parallel for schedule(static)
    for (int k = 0; k < tnz; k++) {
      const int z = (int)((float)k * rz) + a;
      for (int j = 0; j < tny; j++) {
        const int y = (int)((float)j * ry) + m_nFrame;
        for (int i = 0; i < tnx; i++) {
          const int x = (int)((float)i * rx) + m_nFrame;
          const size_t p = ((size_t)z * m_nNy + y) * m_nNx + x;
          if (p + sz >= m)
            continue;
          float v;
          if (type == 0) {
            v = m_pVx[p] * m_pVx[p] + m_pVy[p] * m_pVy[p] + m_pVz[p] * m_pVz[p];
          } else {
            v = m_pVx[p + 1] - m_pVx[p] + m_pVy[p + sy] - m_pVy[p] + m_pVz[p + sz] - m_pVz[p];
            v = v < 0 ? -v : v;
          }
          const size_t q = ((size_t)k * tny + j) * tnx + i;
          if (v > pMax[q]) {
            pMax[q] = v;
            pTime[q] = t;
          }
        }
      }
    }
  }
  return 0;
}
