// Depth decomposition of a shot over a group: each process holds a slab of
// consecutive z planes, widened by the halo of m_nStart planes toward each
// neighbour, whose planes it receives in every half-step.
#include <algorithm>

#include "calc3d/Calc3D.h"

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
