// Seven-point mean passes over a model cube, shared by the 3-D and 1-D paths.
#pragma once

#include <cstddef>

// Runs nPasses passes over the cube pData of nx * ny * nz floats, index
// (z * ny + y) * nx + x. A cell that is not 0 and whose six face neighbours
// are all positive takes the mean of itself and them; every other cell, and
// the outermost planes, keep their values. pPlane is a work plane of at
// least nx * nz floats, index z * nx + x. Nothing changes when an axis has
// fewer than 3 cells.
void calc_SmoothCube(float* pData, int nx, int ny, int nz, int nPasses, float* pPlane);
