// The excitation points of a shot as the engine and the device layer see them.
#pragma once

#include <cstddef>

// Moment tensor of one excitation point. k11 == UNSET_VALUE means no tensor.
struct CShotTauK {
  float k11, k22, k33, k12, k13, k23;
};

// An excitation point on the computation grid (built by the calculation object).
struct C3DShotPoint {
  size_t nIndex; // grid index (z * ny + y) * nx + x
  int nFlags;    // bit 0: the point lies on a free surface
};
