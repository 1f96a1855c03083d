// Correlation of S-wave velocity and density with P-wave velocity, for
// model components that have no file of their own.
#pragma once

// Knots of the correlation table.
extern const double pCorPVel[]; // P-wave velocity, m/s
extern const double pCorSVel[]; // S-wave velocity, m/s
extern const double pCorDens[]; // density, kg/m^3
extern const int nCorSize;

// Value of the table column pTable for P-wave velocity v: constant below the
// first knot, linear between knots, proportional to v above the last but one.
double CorrelateByPVel(double v, const double* pTable);

double GetDensityByPVel(double v);
double GetSVelByPVel(double v);
