// Host elastic steps: the velocity half-step of the elastic and anisotropic
// methods and the stress half-step of the isotropic medium, elastic or
// viscoelastic. The formulas are those of FDElastic.h, the traversal that of
// FDStep.h.
#include "StressSteps.h"

namespace {

fd::TFdStep<fd::CElaVelocity> VelocityStep(const CCalc3D_OMP& o) {
  fd::TFdStep<fd::CElaVelocity> c;
  fd::InitStep(c, o, fd::ElaVelocityOf(o.Fields(), (ptrdiff_t)o.m_nNx * o.m_nNy, !o.m_bSuppressSV));
  return c;
}

template <int MODE> fd::TFdStep<fd::TElaStress<MODE>> StressStep(const CCalc3D_OMP& o) {
  fd::TElaStress<MODE> ph;
  fd::FillStressFields(ph, o);
  ph.k = o.m_pK;
  ph.mu = o.m_pMu;
  fd::TFdStep<fd::TElaStress<MODE>> c;
  fd::InitStep(c, o, ph);
  return c;
}

// The isotropic stress step of a mode, for fd::RunStressModes.
template <int MODE> struct TElaMaker {
  static fd::TFdStep<fd::TElaStress<MODE>> Make(const CCalc3D_OMP& o) { return StressStep<MODE>(o); }
};

bool HasModuli(const CCalc3D_OMP& o) { return fd::HasElasticFields(o) && o.m_pK && o.m_pMu; }

} // namespace

int CCalc3D_OMP::PropagateElaWaveU(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!fd::HasElasticFields(*this))
    return CALC_NO_FIELD;
  fd::RunStep(VelocityStep(*this), nZ0, nY0, nX0, nZ1, nY1, nX1);
  return 0;
}

int CCalc3D_OMP::PropagateElaWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!HasModuli(*this))
    return CALC_NO_FIELD;
  return fd::RunStressModes<TElaMaker>(*this, nZ0, nY0, nX0, nZ1, nY1, nX1);
}

int CCalc3D_OMP::PropagateElaStep(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!HasModuli(*this))
    return CALC_NO_FIELD;
  if (nY0 > nY1 || nX0 > nX1)
    return 0;
  const fd::TFdStep<fd::CElaVelocity> cu = VelocityStep(*this);
  const fd::TPlaneStep<fd::CElaVelocity> u(cu, nY0, nY1, nX0, nX1);
  const int nMode = fd::StressMode(*this);
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
  return fd::RunFused(nZ0, nZ1, u, [&](int z) { return fd::ViscoPlane(*this, z) ? tv(z) : tp(z); });
}

int CCalc3D_OMP::PropagateElaSteps(int nZ0, int nZ1, const TStepBox* box, int n) {
  if (!HasModuli(*this))
    return CALC_NO_FIELD;
  const fd::TFdStep<fd::CElaVelocity> cu = VelocityStep(*this);
  const fd::TLevelPlanes<fd::CElaVelocity> u(cu, box, n);
  const int nMode = fd::StressMode(*this);
  if (nMode == fd::ELA_QFACTOR) {
    const fd::TFdStep<fd::TElaStress<fd::ELA_QFACTOR>> ct = StressStep<fd::ELA_QFACTOR>(*this);
    return fd::RunBlocked(nZ0, nZ1, n, u, fd::TLevelPlanes<fd::TElaStress<fd::ELA_QFACTOR>>(ct, box, n));
  }
  const fd::TFdStep<fd::TElaStress<fd::ELA_PLAIN>> cp = StressStep<fd::ELA_PLAIN>(*this);
  const fd::TLevelPlanes<fd::TElaStress<fd::ELA_PLAIN>> tp(cp, box, n);
  if (nMode == fd::ELA_PLAIN)
    return fd::RunBlocked(nZ0, nZ1, n, u, tp);
  const fd::TFdStep<fd::TElaStress<fd::ELA_VISCO>> cv = StressStep<fd::ELA_VISCO>(*this);
  const fd::TLevelPlanes<fd::TElaStress<fd::ELA_VISCO>> tv(cv, box, n);
  return fd::RunBlocked(nZ0, nZ1, n, u, [&](int s, int z, int part, int parts) {
    return fd::ViscoPlane(*this, z) ? tv(s, z, part, parts) : tp(s, z, part, parts);
  });
}
