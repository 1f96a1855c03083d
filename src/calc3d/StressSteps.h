// Host set-up shared by the stress half-steps of the elastic media
// (isotropic, orthorhombic, general): the fields they read, the form of
// their stresses, and the run of a step over a box whose planes may or may
// not hold relaxation mechanisms.
#pragma once

#include "Calc3D_OMP.h"
#include "FDElastic.h"
#include "FDStep.h"

namespace fd {

// The wavefields and buoyancy every elastic half-step needs.
inline bool HasElasticFields(const CCalc3D_OMP& o) {
  return o.m_pVx && o.m_pVy && o.m_pVz && o.m_pTxx && o.m_pTyy && o.m_pTzz && o.m_pTxy && o.m_pTxz && o.m_pTyz &&
         o.m_pB;
}

inline void FillStressFields(CStressFields& f, const CCalc3D_OMP& o) {
  f.SetFields(o.Fields(), (ptrdiff_t)o.m_nNx * o.m_nNy);
  f.q = o.m_pQ;
  f.visco = o.m_pVisco;
  f.viscoG = o.m_pViscoG;
  f.L = o.m_nViscoL;
  f.dt = (float)o.m_fDt;
  f.s = o.m_fSuppress;
  f.bSurface = !o.m_bSuppressSV;
}

// How the stresses end: relaxation mechanisms where there are any,
// otherwise Q as a stress factor, or plain.
inline int StressMode(const CCalc3D_OMP& o) {
  if (o.m_nViscoL > 0 && o.m_pVisco && o.m_pViscoG)
    return ELA_VISCO;
  return o.m_pQ ? ELA_QFACTOR : ELA_PLAIN;
}

// Whether plane z has a cell with mechanisms; all planes where the model
// preparation did not mark them.
inline bool ViscoPlane(const CCalc3D_OMP& o, int z) {
  return o.m_vViscoPlanes.size() != (size_t)o.m_nNz || o.m_vViscoPlanes[z] != 0;
}

// The stress step that S<MODE>::Make(o) sets up, over the box in the mode of
// the medium; with mechanisms, runs of planes without any take the plain
// (vectorised) step.
template <template <int> class S>
int RunStressModes(const CCalc3D_OMP& o, int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  const int nMode = StressMode(o);
  if (nMode == ELA_QFACTOR)
    return RunStep(S<ELA_QFACTOR>::Make(o), nZ0, nY0, nX0, nZ1, nY1, nX1);
  if (nMode == ELA_PLAIN)
    return RunStep(S<ELA_PLAIN>::Make(o), nZ0, nY0, nX0, nZ1, nY1, nX1);
  int rc = 0;
  for (int z = nZ0; z <= nZ1;) {
    const bool v = ViscoPlane(o, z);
    int e = z;
    while (e < nZ1 && ViscoPlane(o, e + 1) == v)
      e++;
    rc |= v ? RunStep(S<ELA_VISCO>::Make(o), z, nY0, nX0, e, nY1, nX1)
            : RunStep(S<ELA_PLAIN>::Make(o), z, nY0, nX0, e, nY1, nX1);
    z = e + 1;
  }
  return rc ? CALC_UNSTABLE : 0;
}

} // namespace fd
