// Host acoustic step: velocity and pressure half-steps of the 4th-order
// staggered scheme, with the PML recursion or the taper of the frame. The
// formulas are those of FDAcoustic.h, the traversal that of FDStep.h.
#include "Calc3D_OMP.h"
#include "FDAcoustic.h"
#include "FDStep.h"

namespace {

bool HasFields(const CCalc3D_OMP& o, const float* pCoef) { return o.m_pVx && o.m_pVy && o.m_pVz && o.m_pTxx && pCoef; }

fd::TFdStep<fd::CAcoVelocity> VelocityStep(const CCalc3D_OMP& o) {
  fd::CAcoVelocity ph;
  ph.vx = o.m_pVx;
  ph.vy = o.m_pVy;
  ph.vz = o.m_pVz;
  ph.p = o.m_pTxx;
  ph.b = o.m_pB;
  fd::TFdStep<fd::CAcoVelocity> c;
  fd::InitStep(c, o, ph);
  return c;
}

fd::TFdStep<fd::CAcoPressure> PressureStep(const CCalc3D_OMP& o) {
  fd::CAcoPressure ph;
  ph.vx = o.m_pVx;
  ph.vy = o.m_pVy;
  ph.vz = o.m_pVz;
  ph.p = o.m_pTxx;
  ph.k = o.m_pK;
  fd::TFdStep<fd::CAcoPressure> c;
  fd::InitStep(c, o, ph);
  return c;
}

} // namespace

int CCalc3D_OMP::PropagateAcoWaveU(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!HasFields(*this, m_pB))
    return CALC_NO_FIELD;
  fd::RunStep(VelocityStep(*this), nZ0, nY0, nX0, nZ1, nY1, nX1);
  return 0;
}

int CCalc3D_OMP::PropagateAcoWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!HasFields(*this, m_pK))
    return CALC_NO_FIELD;
  return fd::RunStep(PressureStep(*this), nZ0, nY0, nX0, nZ1, nY1, nX1);
}

int CCalc3D_OMP::PropagateAcoStep(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!HasFields(*this, m_pB) || !m_pK)
    return CALC_NO_FIELD;
  if (nY0 > nY1 || nX0 > nX1)
    return 0;
  const fd::TFdStep<fd::CAcoVelocity> cu = VelocityStep(*this);
  const fd::TFdStep<fd::CAcoPressure> ct = PressureStep(*this);
  const fd::TPlaneStep<fd::CAcoVelocity> u(cu, nY0, nY1, nX0, nX1);
  const fd::TPlaneStep<fd::CAcoPressure> t(ct, nY0, nY1, nX0, nX1);
  return fd::RunFused(nZ0, nZ1, u, t);
}

int CCalc3D_OMP::PropagateAcoSteps(int nZ0, int nZ1, const TStepBox* box, int n) {
  if (!HasFields(*this, m_pB) || !m_pK)
    return CALC_NO_FIELD;
  const fd::TFdStep<fd::CAcoVelocity> cu = VelocityStep(*this);
  const fd::TFdStep<fd::CAcoPressure> ct = PressureStep(*this);
  const fd::TLevelPlanes<fd::CAcoVelocity> u(cu, box, n);
  const fd::TLevelPlanes<fd::CAcoPressure> t(ct, box, n);
  return fd::RunBlocked(nZ0, nZ1, n, u, t);
}

// Planes of fewer points stay in the cache from one step to the next anyway,
// and the threads' meetings after each plane of a pass would cost more than
// a pass saves (measured: 64^3 a quarter slower, 100^3 even).
constexpr size_t kMinPassPlane = 128 * 128;

int CCalc3D_OMP::MaxStepsPerPass() const {
  const int m = GetMethod();
  if (m_Set.m_bPlainSteps || (m != METHOD_ACOUSTIC && m != METHOD_ELASTIC) || (size_t)m_nNx * m_nNy < kMinPassPlane)
    return 1;
  return m_Set.m_nStepsPerPass;
}

int CCalc3D_OMP::PropagateSteps(int nZ0, int nZ1, const TStepBox* box, int n) {
  const int m = GetMethod();
  if (n <= 1 || m_Set.m_bPlainSteps || (m != METHOD_ACOUSTIC && m != METHOD_ELASTIC) || nZ0 > nZ1)
    return CCalc3D::PropagateSteps(nZ0, nZ1, box, n);
  return GetMethod() == METHOD_ACOUSTIC ? PropagateAcoSteps(nZ0, nZ1, box, n) : PropagateElaSteps(nZ0, nZ1, box, n);
}

int CCalc3D_OMP::PropagateStep(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (m_Set.m_bPlainSteps || nZ0 > nZ1)
    return CCalc3D::PropagateStep(nZ0, nY0, nX0, nZ1, nY1, nX1);
  switch (GetMethod()) {
  case METHOD_ACOUSTIC: return PropagateAcoStep(nZ0, nY0, nX0, nZ1, nY1, nX1);
  case METHOD_ELASTIC: return PropagateElaStep(nZ0, nY0, nX0, nZ1, nY1, nX1);
  default: return CCalc3D::PropagateStep(nZ0, nY0, nX0, nZ1, nY1, nX1);
  }
}

int CCalc3D_OMP::PropagateAcoWaveUGeneric(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!HasFields(*this, m_pB))
    return CALC_NO_FIELD;
  fd::RunStepPointwise(VelocityStep(*this), nZ0, nY0, nX0, nZ1, nY1, nX1);
  return 0;
}

int CCalc3D_OMP::PropagateAcoWaveTauGeneric(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!HasFields(*this, m_pK))
    return CALC_NO_FIELD;
  return fd::RunStepPointwise(PressureStep(*this), nZ0, nY0, nX0, nZ1, nY1, nX1);
}
