// Per-point formulas of the elastic methods. The velocity half-step serves
// the isotropic and both anisotropic methods: each velocity takes the
// divergence of its row of the stress tensor.
#pragma once

#include "FDPoint.h"
#include "FDPointOps.h"

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

// The velocity step over a set of wavefields (sz: the points of a plane).
inline CElaVelocity ElaVelocityOf(const TWaveFields& w, ptrdiff_t sz, bool bSurface) {
  CElaVelocity ph;
  ph.vx = w.vx, ph.vy = w.vy, ph.vz = w.vz;
  ph.txx = w.txx, ph.tyy = w.tyy, ph.tzz = w.tzz, ph.txy = w.txy, ph.txz = w.txz, ph.tyz = w.tyz;
  ph.b = w.b;
  ph.sz = sz;
  ph.bSurface = bSurface;
  return ph;
}

// How the stresses of the isotropic step end: plain, multiplied by the
// per-point factor of Q, or with the relaxation mechanisms of a
// viscoelastic medium.
enum : int { ELA_PLAIN = 0, ELA_QFACTOR = 1, ELA_VISCO = 2 };

// What every stress step of the elastic media reads besides its moduli:
// fields, buoyancy (for the plane above), the Q factor or the mechanisms, and
// the settings of the step.
struct CStressFields {
  const float* vx;
  const float* vy;
  const float* vz;
  float* txx;
  float* tyy;
  float* tzz;
  float* txy;
  float* txz;
  float* tyz;
  const float* b;     // buoyancy, for the plane above
  const float* q;     // ELA_QFACTOR: the stress factor of a point
  const float* visco; // ELA_VISCO: L records (tauP, tauS, tauSigma) a point
  float* viscoG;      // ELA_VISCO: L records of six memories a point
  int L;
  float dt;
  float s;       // S-wave suppression factor of this step
  ptrdiff_t sz;  // stride of z, for B of the plane above
  bool bSurface; // the surface form applies where the plane above is void

  // The fields, buoyancy and plane stride of a set of wavefields.
  void SetFields(const TWaveFields& w, ptrdiff_t nPlane) {
    vx = w.vx, vy = w.vy, vz = w.vz;
    txx = w.txx, tyy = w.tyy, tzz = w.tzz, txy = w.txy, txz = w.txz, tyz = w.tyz;
    b = w.b;
    sz = nPlane;
  }
};

// Stress half-step of the isotropic medium, all six stresses in one pass from
// the nine velocity differences. s scales the shear modulus and keeps the P
// velocity (s = 0 is a fluid of the same sound speed). Under a free surface
// with the S wave of the source not suppressed, Txz and Tyz keep their values:
// the surface form.
template <int MODE> struct TElaStress : TPlainDerivs<TElaStress<MODE>>, CStressFields {
  const float* k;  // lambda + 2 mu, scaled
  const float* mu; // mu, scaled

  // dxx = Dx+ Vx, dyy = Dy+ Vy, dzz = Dz+ Vz; exy = Dy- Vx + Dx- Vy;
  // exz = Dz- Vx + Dx- Vz; eyz = Dz- Vy + Dy- Vz.
  static constexpr int kDer = 9;
  static constexpr bool kDeferX = false;
  FD_HD static constexpr int Mem(int j) {
    constexpr int m[kDer] = {PML_MEM_VX_X, PML_MEM_VY_Y, PML_MEM_VZ_Z, PML_MEM_VX_Y, PML_MEM_VY_X,
                             PML_MEM_VX_Z, PML_MEM_VZ_X, PML_MEM_VY_Z, PML_MEM_VZ_Y};
    return m[j];
  }
  FD_HD const float* Src(int j) const {
    const float* f[kDer] = {vx, vy, vz, vx, vy, vx, vz, vy, vz};
    return f[j];
  }

  // The memories of the L mechanisms of point i advance one step; their
  // stress terms go to R (xx, yy, zz, yz, xz, xy), and the moduli take the
  // relaxed-to-unrelaxed sums. Only where the first record is not neutral.
  FD_HD FD_INLINE void Relax(ptrdiff_t i, const float* d, float K, float& lam, float& m, float& Kp, float* R) const {
    const float* rec = visco + i * L * 3;
    float* g = viscoG + i * L * 6;
    float Sp = 1, Ss = 1;
    const float exy = d[3] + d[4], exz = d[5] + d[6], eyz = d[7] + d[8];
    for (int l = 0; l < L; l++, rec += 3, g += 6) {
      Sp += rec[0];
      Ss += rec[1];
      // c1 = 2t / (t + 2), c2 = (2 - t) / (t + 2) with t = dt / tauSigma,
      // by one division.
      const float tt = rec[2] + rec[2], inv = 1.0f / (dt + tt);
      const float c1 = (dt + dt) * inv, c2 = (tt - dt) * inv;
      const float kp = K * rec[0], ks = m * rec[1], w = kp - ks - ks;
      const float nw[6] = {g[0] * c2 - (kp * d[0] + w * d[1] + w * d[2]) * c1,
                           g[1] * c2 - (w * d[0] + kp * d[1] + w * d[2]) * c1,
                           g[2] * c2 - (w * d[0] + w * d[1] + kp * d[2]) * c1,
                           g[3] * c2 - eyz * ks * c1,
                           g[4] * c2 - exz * ks * c1,
                           g[5] * c2 - exy * ks * c1};
      for (int c = 0; c < 6; c++) {
        R[c] += (nw[c] + g[c]) * 0.5f;
        g[c] = nw[c];
      }
    }
    lam *= Sp;
    m *= Ss;
    Kp = lam + m + m;
  }

  // The taper and the Q factor act on the new stresses.
  template <bool TAPER> FD_HD FD_INLINE void Update(ptrdiff_t i, const float* d, float f) const {
    const float K = k[i];
    float m = mu[i] * s;
    float lam = K - m - m;
    float Kp = K;
    float R[6] = {0, 0, 0, 0, 0, 0};
    if (MODE == ELA_VISCO && visco[i * L * 3 + 2] < 1.0f)
      Relax(i, d, K, lam, m, Kp, R);
    float sxx = txx[i] + Kp * d[0] + lam * d[1] + lam * d[2] + R[0];
    float syy = tyy[i] + lam * d[0] + Kp * d[1] + lam * d[2] + R[1];
    float szz = tzz[i] + lam * d[0] + lam * d[1] + Kp * d[2] + R[2];
    float sxy = txy[i] + m * (d[3] + d[4]) + R[5];
    // Under a free surface the shear stresses across it keep their values.
    const bool bFree = bSurface & !(b[i - sz] > 0.0f);
    float sxz = txz[i] + Select(bFree, 0.0f, m * (d[5] + d[6]) + R[4]);
    float syz = tyz[i] + Select(bFree, 0.0f, m * (d[7] + d[8]) + R[3]);
    float fac = TAPER ? f : 1.0f;
    if (MODE == ELA_QFACTOR)
      fac *= q[i];
    if (TAPER || MODE == ELA_QFACTOR) {
      sxx *= fac, syy *= fac, szz *= fac, sxy *= fac, sxz *= fac, syz *= fac;
    }
    txx[i] = sxx, tyy[i] = syy, tzz[i] = szz, txy[i] = sxy, txz[i] = sxz, tyz[i] = syz;
  }
  // A diverging run shows in the normal stresses.
  const float* Probe() const { return txx; }
};

} // namespace fd
