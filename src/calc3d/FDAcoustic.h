// Per-point formulas of the acoustic method: the velocity half-step from the
// pressure gradient and the pressure half-step from the velocity divergence.
// The pressure stands in Txx. K and B carry dt / h and the scale between
// velocity and stress arrays (see the model conversion).
#pragma once

#include "FDPoint.h"

namespace fd {

// Velocity half-step: V += B * (backward differences of P).
struct CAcoVelocity : TPlainDerivs<CAcoVelocity> {
  float* vx;
  float* vy;
  float* vz;
  const float* p;
  const float* b;

  static constexpr int kDer = 3;
  static constexpr bool kDeferX = true;
  FD_HD static constexpr int Mem(int j) { return j == 0 ? PML_MEM_P_X : (j == 1 ? PML_MEM_P_Y : PML_MEM_P_Z); }
  FD_HD const float* Src(int) const { return p; }

  // The taper acts on the old velocities, before the update.
  template <bool TAPER> FD_HD FD_INLINE void Update(ptrdiff_t i, const float* d, float f) const {
    float ux = vx[i], uy = vy[i], uz = vz[i];
    if (TAPER) {
      ux *= f;
      uy *= f;
      uz *= f;
    }
    const float bb = b[i];
    vx[i] = ux + bb * d[0];
    vy[i] = uy + bb * d[1];
    vz[i] = uz + bb * d[2];
  }
  FD_HD float* XTarget(int) const { return vx; }
  FD_HD const float* XWeight(int) const { return b; }
  const float* Probe() const { return nullptr; }
};

// Pressure half-step: P += K * (sum of the forward differences of V).
struct CAcoPressure : TPlainDerivs<CAcoPressure> {
  const float* vx;
  const float* vy;
  const float* vz;
  float* p;
  const float* k;

  static constexpr int kDer = 3;
  static constexpr bool kDeferX = true;
  FD_HD static constexpr int Mem(int j) { return j == 0 ? PML_MEM_VX_X : (j == 1 ? PML_MEM_VY_Y : PML_MEM_VZ_Z); }
  FD_HD const float* Src(int j) const { return j == 0 ? vx : (j == 1 ? vy : vz); }

  // The taper acts on the new pressure, after the update.
  template <bool TAPER> FD_HD FD_INLINE void Update(ptrdiff_t i, const float* d, float f) const {
    float v = p[i] + k[i] * (d[0] + d[1] + d[2]);
    if (TAPER)
      v *= f;
    p[i] = v;
  }
  FD_HD float* XTarget(int) const { return p; }
  FD_HD const float* XWeight(int) const { return k; }
  // A diverging run shows first in the pressure.
  const float* Probe() const { return p; }
};

} // namespace fd
