// Host stress steps of the anisotropic media: orthorhombic (nine
// stiffnesses) and general (21 stiffnesses), elastic or viscoelastic. The
// formulas are those of FDAnisotropic.h, the traversal that of FDStep.h; the
// velocity half-step is the elastic one.
#include "FDAnisotropic.h"
#include "StressSteps.h"

namespace {

template <class P> void SetBase(P& ph, const CCalc3D_OMP& o) {
  fd::FillStressFields(ph, o);
  const float* c[9] = {o.m_pC11, o.m_pC12, o.m_pC13, o.m_pC22, o.m_pC23, o.m_pC33, o.m_pC44, o.m_pC55, o.m_pC66};
  for (int k = 0; k < 9; k++)
    ph.c[k] = c[k];
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
  bool b = fd::HasElasticFields(o);
  for (const float* p : {o.m_pC11, o.m_pC12, o.m_pC13, o.m_pC22, o.m_pC23, o.m_pC33, o.m_pC44, o.m_pC55, o.m_pC66})
    b = b && p;
  if (bGeneral)
    for (const float* p : {o.m_pC14, o.m_pC15, o.m_pC16, o.m_pC24, o.m_pC25, o.m_pC26, o.m_pC34, o.m_pC35, o.m_pC36,
                           o.m_pC45, o.m_pC46, o.m_pC56})
      b = b && p;
  return b;
}

} // namespace

int CCalc3D_OMP::PropagateOrtWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!HasFields(*this, false))
    return CALC_NO_FIELD;
  return fd::RunStressModes<TOrtMaker>(*this, nZ0, nY0, nX0, nZ1, nY1, nX1);
}

int CCalc3D_OMP::PropagateAniWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (!HasFields(*this, true))
    return CALC_NO_FIELD;
  return fd::RunStressModes<TAniMaker>(*this, nZ0, nY0, nX0, nZ1, nY1, nX1);
}
