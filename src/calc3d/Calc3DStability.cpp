// The stability limit of the scheme, checked for each shot before its time
// loop: a time step above it gives no NaN in a short record, only amplitudes
// that grow without bound.
#include <cmath>

#include "Calc3D.h"
#include "FDScheme.h"

double CCalc3D::CourantLimit() {
  // The staggered fourth-order operator in three dimensions is stable while
  // v dt / h * sqrt(3) * (|beta1| + |beta2|) stays at or below 1.
  return 1.0 / (std::sqrt(3.0) * (std::fabs((double)fd::kBeta1) + std::fabs((double)fd::kBeta2)));
}

int CCalc3D::CheckCourant() {
  const double fVmax = GroupMaxVp();
  if (fVmax <= 0 || m_fH <= 0)
    return 0;
  const double fLimit = CourantLimit();
  const double fCourant = fVmax * m_fDt / m_fH;
  if (fCourant <= fLimit)
    return 0;
  u_Error("Error! The time step dt=%g s is above the stability limit of the scheme for shot #%d: the largest "
          "P-wave velocity %g m/s at dx=%g m gives a Courant number of %.4f, above %.4f. The largest stable dt is "
          "%g s.\n",
          m_fDt, m_nShot, fVmax, m_fH, fCourant, fLimit, fLimit * m_fH / fVmax);
  u_Print("The computation is stopped.\n");
  return CALC_UNSTABLE;
}
