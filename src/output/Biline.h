// Sampling of a plane of values at fractional indices.
#pragma once

#include "common.h"

// Sample of a plane of size.cx x size.cy values, (i, j) at pData[j * cx + i],
// at fractional indices (x, y): bilinear between neighbours that are both
// above 1e-5, else the nearer neighbour (a tie goes to the lower index).
// Outside the plane: -9999.25.
double biline(const CSizeN& size, const float* pData, double x, double y);
