// Host elastic steps: the velocity half-step of the elastic and anisotropic
// methods and the stress half-step of the isotropic medium, elastic or
// viscoelastic. The formulas are those of FDElastic.h, the traversal that of
// FDStep.h.
#include "Calc3D_OMP.h"
#include "FDElastic.h"
#include "FDStep.h"

namespace {

fd::TFdStep<fd::CElaVelocity> VelocityStep(const CCalc3D_OMP& o) {
  fd::CElaVelocity ph;
  ph.vx = o.m_pVx;
  ph.vy = o.m_pVy;
  ph.vz = o.m_pVz;
  ph.txx = o.m_pTxx;
  ph.tyy = o.m_pTyy;
  ph.tzz = o.m_pTzz;
  ph.txy = o.m_pTxy;
  ph.txz = o.m_pTxz;
  ph.tyz = o.m_pTyz;
  ph.b = o.m_pB;
  ph.sz = (ptrdiff_t)o.m_nNx * o.m_nNy;
  ph.bSurface = !o.m_bSuppressSV;
  fd::TFdStep<fd::CElaVelocity> c;
  fd::InitStep(c, o, ph);
  return c;
}

template <int MODE> fd::TFdStep<fd::TElaStress<MODE>> StressStep(const CCalc3D_OMP& o) {
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
  return c;
}

// The fields of the velocity half-step, which the anisotropic methods share
// (their model stage frees K and mu), and those of the isotropic stresses.
bool HasFields(const CCalc3D_OMP& o) {
  return o.m_pVx && o.m_pVy && o.m_pVz && o.m_pTxx && o.m_pTyy && o.m_pTzz && o.m_pTxy && o.m_pTxz && o.m_pTyz &&
         o.m_pB;
}
bool HasModuli(const CCalc3D_OMP& o) { return HasFields(o) && o.m_pK && o.m_pMu; }

// The stress formulas of the medium: relaxation mechanisms where there are
// any, otherwise Q as a stress factor, or plain.
int StressMode(const CCalc3D_OMP& o) {
  if (o.m_nViscoL > 0 && o.m_pVisco && o.m_pViscoG)
    return fd::ELA_VISCO;
  return o.m_pQ ? fd::ELA_QFACTOR : fd::ELA_PLAIN;
}

// Whether plane z has a cell with mechanisms; all planes where the preparation
// did not mark them.
bool ViscoPlane(const CCalc3D_OMP& o, int z) {
  return o.m_vViscoPlanes.size() != (size_t)o.m_nNz || o.m_vViscoPlanes[z] != 0;
}

} // namespace

int CCalc3D_OMP::PropagateElaWaveU(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!HasFields(*this))
    return CALC_NO_FIELD;
  fd::RunStep(VelocityStep(*this), nZ0, nY0, nX0, nZ1, nY1, nX1);
  return 0;
}

int CCalc3D_OMP::PropagateElaWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!HasModuli(*this))
    return CALC_NO_FIELD;
  const int nMode = StressMode(*this);
  if (nMode == fd::ELA_QFACTOR)
    return fd::RunStep(StressStep<fd::ELA_QFACTOR>(*this), nZ0, nY0, nX0, nZ1, nY1, nX1);
  if (nMode == fd::ELA_PLAIN)
    return fd::RunStep(StressStep<fd::ELA_PLAIN>(*this), nZ0, nY0, nX0, nZ1, nY1, nX1);
  // Runs of planes without mechanisms take the plain (vectorised) step.
  int rc = 0;
  for (int z = nZ0; z <= nZ1;) {
    const bool v = ViscoPlane(*this, z);
    int e = z;
    while (e < nZ1 && ViscoPlane(*this, e + 1) == v)
      e++;
    rc |= v ? fd::RunStep(StressStep<fd::ELA_VISCO>(*this), z, nY0, nX0, e, nY1, nX1)
            : fd::RunStep(StressStep<fd::ELA_PLAIN>(*this), z, nY0, nX0, e, nY1, nX1);
    z = e + 1;
  }
  return rc ? CALC_UNSTABLE : 0;
}

int CCalc3D_OMP::PropagateElaStep(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!HasModuli(*this))
    return CALC_NO_FIELD;
  if (nY0 > nY1 || nX0 > nX1)
    return 0;
  const fd::TFdStep<fd::CElaVelocity> cu = VelocityStep(*this);
  const fd::TPlaneStep<fd::CElaVelocity> u(cu, nY0, nY1, nX0, nX1);
  const int nMode = StressMode(*this);
  if (nMode == fd::ELA_QFACTOR) {
    const fd::TFdStep<fd::TElaStress<fd::ELA_QFACTOR>> ct = StressStep<fd::ELA_QFACTOR>(*this);
    return fd::RunFused(nZ0, nZ1, u, fd::TPlaneStep<fd::TElaStress<fd::ELA_QFACTOR>>(ct, nY0, nY1, nX0, nX1));
  }
  const fd::TFdStep<fd::TElaStress<fd::ELA_PLAIN>> cp = StressStep<fd::ELA_PLAIN>(*this);
  const fd::TPlaneStep<fd::TElaStress<fd::ELA_PLAIN>> tp(cp, nY0, nY1, nX0, nX1);
  if (nMode == fd::ELA_PLAIN)
    return fd::RunFused(nZ0, nZ1, u, tp);
  const fd::TFdStep<fd::TElaStress<fd::ELA_VISCO>> cv = StressStep<fd::ELA_VISCO>(*this);
  const fd::TPlaneStep<fd::TElaStress<fd::ELA_VISCO>> tv(cv, nY0, nY1, nX0, nX1);
  return fd::RunFused(nZ0, nZ1, u, [&](int z) { return ViscoPlane(*this, z) ? tv(z) : tp(z); });
}
