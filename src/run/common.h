// Chief header of the base layer: strings, value types, console, constants.
#pragma once
#include <mpi.h>

#include "CString.h"
#include "Console.h"
#include "SharedPtr1.h"
#include "Types.h"
#include "os.h"

// Coefficients of the fourth-order staggered differences.
const float fd4_beta1 = 1.125f;
const float fd4_beta2 = -0.041666668f;
// Scale between the velocity and stress arrays: moduli carry 1/15000,
// buoyancy carries 15000, velocities leave the engine multiplied by it.
const float const_K_U = 15000.0f;
