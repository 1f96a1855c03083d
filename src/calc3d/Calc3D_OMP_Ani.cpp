// Host stress steps of the anisotropic media: orthorhombic (nine
// stiffnesses) and general (21 stiffnesses), elastic or viscoelastic. The
// formulas are those of FDAnisotropic.h, the traversal that of FDStep.h; the
// velocity half-step is the elastic one.
#include "Calc3D_OMP.h"
#include "FDAnisotropic.h"
#include "FDStep.h"

namespace {

template <class P> void SetBase(P& ph, const CCalc3D_OMP& o) {
  ph.vx = o.m_pVx;
  ph.vy = o.m_pVy;
  ph.vz = o.m_pVz;
  ph.txx = o.m_pTxx;
  ph.tyy = o.m_pTyy;
  ph.tzz = o.m_pTzz;
  ph.txy = o.m_pTxy;
  ph.txz = o.m_pTxz;
  ph.tyz = o.m_pTyz;
  const float* c[9] = {o.m_pC11, o.m_pC12, o.m_pC13, o.m_pC22, o.m_pC23, o.m_pC33, o.m_pC44, o.m_pC55, o.m_pC66};
  for (int k = 0; k < 9; k++)
    ph.c[k] = c[k];
  ph.b = o.m_pB;
  ph.q = o.m_pQ;
  ph.visco = o.m_pVisco;
  ph.viscoG = o.m_pViscoG;
  ph.L = o.m_nViscoL;
  ph.dt = (float)o.m_fDt;
  ph.s = o.m_fSuppress;
  ph.sz = (ptrdiff_t)o.m_nNx * o.m_nNy;
  ph.bSurface = !o.m_bSuppressSV;
}

// The orthorhombic and the general step of a mode, set up for a call.
template <int MODE> struct TOrtMaker {
  static fd::TFdStep<fd::TOrtStress<MODE>> Make(const CCalc3D_OMP& o) {
    fd::TOrtStress<MODE> ph;
    SetBase(ph, o);
    fd::TFdStep<fd::TOrtStress<MODE>> c;
    fd::InitStep(c, o, ph);
    return c;
  }
};

template <int MODE> struct TAniMaker {
  static fd::TFdStep<fd::TAniStress<MODE>> Make(const CCalc3D_OMP& o) {
    using P = fd::TAniStress<MODE>;
    P ph;
    SetBase(ph, o);
    const float* cg[12] = {o.m_pC14, o.m_pC15, o.m_pC16, o.m_pC24, o.m_pC25, o.m_pC26,
                           o.m_pC34, o.m_pC35, o.m_pC36, o.m_pC45, o.m_pC46, o.m_pC56};
    for (int k = 0; k < 12; k++)
      ph.cg[k] = cg[k];
    fd::TFdStep<P> c;
    fd::InitStep(c, o, ph);
    // The memories of the averages lie in groups of three low sides followed
    // by the same three high ones, not in low-high pairs.
    if (c.g.bPml)
      for (int j = 0; j < P::kDer; j++)
        c.side[j][1].m = o.m_pPmlMem[P::Mem(j) + P::HighMemStep(j)];
    return c;
  }
};

bool HasFields(const CCalc3D_OMP& o, bool bGeneral) {
  bool b =
      o.m_pVx && o.m_pVy && o.m_pVz && o.m_pTxx && o.m_pTyy && o.m_pTzz && o.m_pTxy && o.m_pTxz && o.m_pTyz && o.m_pB;
  for (const float* p : {o.m_pC11, o.m_pC12, o.m_pC13, o.m_pC22, o.m_pC23, o.m_pC33, o.m_pC44, o.m_pC55, o.m_pC66})
    b = b && p;
  if (bGeneral)
    for (const float* p : {o.m_pC14, o.m_pC15, o.m_pC16, o.m_pC24, o.m_pC25, o.m_pC26, o.m_pC34, o.m_pC35, o.m_pC36,
                           o.m_pC45, o.m_pC46, o.m_pC56})
      b = b && p;
  return b;
}

// Relaxation mechanisms where there are any, otherwise Q as a stress
// factor, or plain; the same rule as the isotropic step.
int StressMode(const CCalc3D_OMP& o) {
  if (o.m_nViscoL > 0 && o.m_pVisco && o.m_pViscoG)
    return fd::ELA_VISCO;
  return o.m_pQ ? fd::ELA_QFACTOR : fd::ELA_PLAIN;
}

bool ViscoPlane(const CCalc3D_OMP& o, int z) {
  return o.m_vViscoPlanes.size() != (size_t)o.m_nNz || o.m_vViscoPlanes[z] != 0;
}

// The step made by S (TOrtMaker or TAniMaker) over the box in the mode
// of the medium; with mechanisms, runs of planes without any take the plain
// step.
template <template <int> class S>
int RunMode(const CCalc3D_OMP& o, int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  const int nMode = StressMode(o);
  if (nMode == fd::ELA_QFACTOR)
    return fd::RunStep(S<fd::ELA_QFACTOR>::Make(o), nZ0, nY0, nX0, nZ1, nY1, nX1);
  if (nMode == fd::ELA_PLAIN)
    return fd::RunStep(S<fd::ELA_PLAIN>::Make(o), nZ0, nY0, nX0, nZ1, nY1, nX1);
  int rc = 0;
  for (int z = nZ0; z <= nZ1;) {
    const bool v = ViscoPlane(o, z);
    int e = z;
    while (e < nZ1 && ViscoPlane(o, e + 1) == v)
      e++;
    rc |= v ? fd::RunStep(S<fd::ELA_VISCO>::Make(o), z, nY0, nX0, e, nY1, nX1)
            : fd::RunStep(S<fd::ELA_PLAIN>::Make(o), z, nY0, nX0, e, nY1, nX1);
    z = e + 1;
  }
  return rc ? CALC_UNSTABLE : 0;
}

} // namespace

int CCalc3D_OMP::PropagateOrtWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!HasFields(*this, false))
    return CALC_NO_FIELD;
  return RunMode<TOrtMaker>(*this, nZ0, nY0, nX0, nZ1, nY1, nX1);
}

int CCalc3D_OMP::PropagateAniWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!HasFields(*this, true))
    return CALC_NO_FIELD;
  return RunMode<TAniMaker>(*this, nZ0, nY0, nX0, nZ1, nY1, nX1);
}
