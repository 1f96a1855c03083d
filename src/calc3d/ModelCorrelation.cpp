#include "calc3d/ModelCorrelation.h"

const double pCorPVel[] = {300, 1500, 2000, 2500, 3000, 4000, 5000, 6000, 6500, 7000, 7500, 8000, 8500, 9000, 10000};
const double pCorSVel[] = {0, 900, 1150, 1450, 1730, 2310, 2900, 3510, 3750, 4050, 4350, 4650, 4800, 5000, 6000};
const double pCorDens[] = {1000, 1970, 2010, 2200, 2200, 2350, 2500, 2650, 2810, 2970, 3130, 3300, 3400, 3500, 3800};
const int nCorSize = sizeof(pCorPVel) / sizeof(pCorPVel[0]);

double CorrelateByPVel(double v, const double* T) {
  const int n = nCorSize;
  int i = 0;
  while (i <= n - 2 && !(v <= pCorPVel[i]))
    i++;
  if (i > n - 2)
    i = n - 1;
  if (i == 0)
    return T[0];
  if (i == n - 1)
    return v * T[n - 1] / pCorPVel[n - 1];
  if (pCorPVel[i] <= v || pCorPVel[i] == pCorPVel[i - 1])
    return T[i];
  const double t = (v - pCorPVel[i - 1]) / (pCorPVel[i] - pCorPVel[i - 1]);
  return T[i] * t + (1 - t) * T[i - 1];
}

double GetDensityByPVel(double v) { return CorrelateByPVel(v, pCorDens); }

double GetSVelByPVel(double v) { return CorrelateByPVel(v, pCorSVel); }
