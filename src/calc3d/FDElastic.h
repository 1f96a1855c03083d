// Per-point formulas of the elastic methods. The velocity half-step serves
// the isotropic and both anisotropic methods: each velocity takes the
// divergence of its row of the stress tensor.
#pragma once

#include "FDPoint.h"

namespace fd {

// Velocity half-step from the six stresses. Under a free surface (B of the
// plane above not positive) with the S wave of the source not suppressed, Vz
// takes twice Tzz instead of its differences: the surface form.
struct CElaVelocity : TPlainDerivs<CElaVelocity> {
  float* vx;
  float* vy;
  float* vz;
  const float* txx;
  const float* tyy;
  const float* tzz;
  const float* txy;
  const float* txz;
  const float* tyz;
  const float* b;
  ptrdiff_t sz;  // stride of z, for B of the plane above
  bool bSurface; // the surface form applies where the plane above is void

  // Vx: Dx- Txx, Dy+ Txy, Dz+ Txz; Vy: Dx+ Txy, Dy- Tyy, Dz+ Tyz; Vz: Dx+ Txz, Dy+ Tyz, Dz- Tzz.
  static constexpr int kDer = 9;
  static constexpr bool kDeferX = false;
  FD_HD static constexpr int Mem(int j) {
    constexpr int k[kDer] = {PML_MEM_TXX_X, PML_MEM_TXY_Y, PML_MEM_TXZ_Z, PML_MEM_TXY_X, PML_MEM_TYY_Y,
                             PML_MEM_TYZ_Z, PML_MEM_TXZ_X, PML_MEM_TYZ_Y, PML_MEM_TZZ_Z};
    return k[j];
  }
  FD_HD const float* Src(int j) const {
    const float* f[kDer] = {txx, txy, txz, txy, tyy, tyz, txz, tyz, tzz};
    return f[j];
  }

  // The taper acts on the old velocities, before the update.
  template <bool TAPER> FD_HD FD_INLINE void Update(ptrdiff_t i, const float* d, float f) const {
    float ux = vx[i], uy = vy[i], uz = vz[i];
    if (TAPER) {
      ux *= f;
      uy *= f;
      uz *= f;
    }
    // Both forms are worked out, so that a row loop has no branch.
    const float bb = b[i], bAbove = b[i - sz];
    const float fFree = tzz[i] + tzz[i], fFull = d[6] + d[7] + d[8];
    const bool bFree = bSurface & !(bAbove > 0.0f);
    const float dz = Select(bFree, fFree, fFull);
    vx[i] = ux + bb * (d[0] + d[1] + d[2]);
    vy[i] = uy + bb * (d[3] + d[4] + d[5]);
    vz[i] = uz + bb * dz;
  }
  const float* Probe() const { return nullptr; }
};

} // namespace fd
