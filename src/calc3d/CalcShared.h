// Pieces of the model set-up and of the output that the 3-D and the 1-D
// calculation objects share.
#pragma once

#include <cstddef>

#include "common.h"

// Output base of a job: the output directory, then the P-velocity model file
// name without directory and extension ("Model" when there is none).
CString calc_OutputBase(const CString& strModel, const CString& strOutputDir);

// Coordinate and elevation scalers of written SEG-Y files for the grid step
// fH and the gather sample interval dt; printed when not 1.
void calc_SetOutputScalers(double fH, double dt);

// Damping of the plain absorbing frame by distance from the edge: entry 0
// and entries from nFrame on are 0, entry i below nFrame is
// exp(-0.18 (nFrame - i)^2 dt) with dt in single precision.
void calc_FillDamp(float* pDamp, int nSize, int nFrame, double dt);

// Velocities in pK and densities in pB, nPlanes planes of nPlane values,
// become the coefficients dt/h/15000 V^2 rho and dt/h*15000/rho, 0 where V
// or rho is not positive; with pMu, its S velocities become dt/h/15000
// Vs^2 rho. Parallel over planes.
void calc_ConvertIsotropic(float* pK, float* pB, float* pMu, size_t nPlane, int nPlanes, double fH, double fDt);
