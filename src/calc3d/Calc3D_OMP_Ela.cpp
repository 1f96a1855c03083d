// Host elastic steps: the velocity half-step of the elastic and anisotropic
// methods. The formulas are those of FDElastic.h, the traversal that of
// FDStep.h.
#include "Calc3D_OMP.h"
#include "FDElastic.h"
#include "FDStep.h"

int CCalc3D_OMP::PropagateElaWaveU(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!m_pVx || !m_pVy || !m_pVz || !m_pTxx || !m_pTyy || !m_pTzz || !m_pTxy || !m_pTxz || !m_pTyz || !m_pB)
    return CALC_NO_FIELD;
  fd::CElaVelocity ph;
  ph.vx = m_pVx;
  ph.vy = m_pVy;
  ph.vz = m_pVz;
  ph.txx = m_pTxx;
  ph.tyy = m_pTyy;
  ph.tzz = m_pTzz;
  ph.txy = m_pTxy;
  ph.txz = m_pTxz;
  ph.tyz = m_pTyz;
  ph.b = m_pB;
  ph.sz = (ptrdiff_t)m_nNx * m_nNy;
  ph.bSurface = !m_bSuppressSV;
  fd::TFdStep<fd::CElaVelocity> c;
  fd::InitStep(c, *this, ph);
  fd::RunStep(c, nZ0, nY0, nX0, nZ1, nY1, nX1);
  return 0;
}
