// Host elastic steps: the velocity half-step of the elastic and anisotropic
// methods and the stress half-step of the isotropic medium, elastic or
// viscoelastic. The formulas are those of FDElastic.h, the traversal that of
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

namespace {

template <int MODE> int RunStress(const CCalc3D_OMP& o, int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  fd::TElaStress<MODE> ph;
  ph.vx = o.m_pVx;
  ph.vy = o.m_pVy;
  ph.vz = o.m_pVz;
  ph.txx = o.m_pTxx;
  ph.tyy = o.m_pTyy;
  ph.tzz = o.m_pTzz;
  ph.txy = o.m_pTxy;
  ph.txz = o.m_pTxz;
  ph.tyz = o.m_pTyz;
  ph.k = o.m_pK;
  ph.mu = o.m_pMu;
  ph.b = o.m_pB;
  ph.q = o.m_pQ;
  ph.visco = o.m_pVisco;
  ph.viscoG = o.m_pViscoG;
  ph.L = o.m_nViscoL;
  ph.dt = (float)o.m_fDt;
  ph.s = o.m_fSuppress;
  ph.sz = (ptrdiff_t)o.m_nNx * o.m_nNy;
  ph.bSurface = !o.m_bSuppressSV;
  fd::TFdStep<fd::TElaStress<MODE>> c;
  fd::InitStep(c, o, ph);
  return fd::RunStep(c, nZ0, nY0, nX0, nZ1, nY1, nX1);
}

} // namespace

int CCalc3D_OMP::PropagateElaWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!m_pVx || !m_pVy || !m_pVz || !m_pTxx || !m_pTyy || !m_pTzz || !m_pTxy || !m_pTxz || !m_pTyz || !m_pK || !m_pMu ||
      !m_pB)
    return CALC_NO_FIELD;
  // Relaxation mechanisms where there are any; otherwise Q as a stress factor.
  if (m_nViscoL > 0 && m_pVisco && m_pViscoG) {
    if (m_vViscoPlanes.size() != (size_t)m_nNz)
      return RunStress<fd::ELA_VISCO>(*this, nZ0, nY0, nX0, nZ1, nY1, nX1);
    // Runs of planes without mechanisms take the plain (vectorised) step.
    int rc = 0;
    for (int z = nZ0; z <= nZ1;) {
      const unsigned char v = m_vViscoPlanes[z];
      int e = z;
      while (e < nZ1 && m_vViscoPlanes[e + 1] == v)
        e++;
      rc |= v ? RunStress<fd::ELA_VISCO>(*this, z, nY0, nX0, e, nY1, nX1)
              : RunStress<fd::ELA_PLAIN>(*this, z, nY0, nX0, e, nY1, nX1);
      z = e + 1;
    }
    return rc ? CALC_UNSTABLE : 0;
  }
  if (m_pQ)
    return RunStress<fd::ELA_QFACTOR>(*this, nZ0, nY0, nX0, nZ1, nY1, nX1);
  return RunStress<fd::ELA_PLAIN>(*this, nZ0, nY0, nX0, nZ1, nY1, nX1);
}
