// Per-point formulas of the anisotropic stress half-steps. The velocity
// half-step is the elastic one (FDElastic.h).
//
// Orthorhombic medium: nine stiffnesses, each stress from the strains at its
// own node. General medium: 21 stiffnesses; the strains that live at other
// nodes of the staggered cell reach a stress as averages over four cells.
#pragma once

#include "FDElastic.h"

namespace fd {

// The nine orthorhombic stiffnesses of a point, in the order of the
// coefficient arrays: C11, C12, C13, C22, C23, C33, C44, C55, C66.
struct TOrtCoef {
  float c11, c12, c13, c22, c23, c33, c44, c55, c66;

  FD_HD FD_INLINE void Load(const float* const* p, ptrdiff_t i) {
    c11 = p[0][i], c12 = p[1][i], c13 = p[2][i], c22 = p[3][i], c23 = p[4][i];
    c33 = p[5][i], c44 = p[6][i], c55 = p[7][i], c66 = p[8][i];
  }

  // S-wave suppression by s: the upper block tends to C33 and the shear
  // stiffnesses to 0 (at s = 0 a fluid of the vertical P velocity).
  FD_HD FD_INLINE void Suppress(float s) {
    const float t = c33 * (1 - s);
    c11 = c11 * s + t, c12 = c12 * s + t, c13 = c13 * s + t;
    c22 = c22 * s + t, c23 = c23 * s + t, c33 = c33 * s + t;
    c44 *= s, c55 *= s, c66 *= s;
  }

  // The L relaxation mechanisms of a point (records rec, memories g): the
  // memories advance one step with the own strains e (dxx, dyy, dzz, exy,
  // exz, eyz), their stress terms go to R (xx, yy, zz, yz, xz, xy), and the
  // stiffnesses become the unrelaxed ones.
  FD_HD FD_INLINE void Relax(const float* rec, float* g, int L, float dt, const float* e, float* R) {
    float Sp = 1, Ss = 1;
    for (int l = 0; l < L; l++, rec += 3, g += 6) {
      const float m0 = rec[0], m1 = rec[1];
      Sp += m0;
      Ss += m1;
      // c1 = 2t / (t + 2), c2 = (2 - t) / (t + 2) with t = dt / tauSigma.
      const float tt = rec[2] + rec[2], inv = 1.0f / (dt + tt);
      const float k1 = (dt + dt) * inv, k2 = (tt - dt) * inv;
      const float g1 = (c12 + 2 * c66) * m0 - 2 * m1 * c66;
      const float g2 = (c13 + 2 * c55) * m0 - 2 * m1 * c55;
      const float g3 = (c23 + 2 * c44) * m0 - 2 * m1 * c44;
      const float nw[6] = {g[0] * k2 - (c11 * m0 * e[0] + g1 * e[1] + g2 * e[2]) * k1,
                           g[1] * k2 - (g1 * e[0] + c22 * m0 * e[1] + g3 * e[2]) * k1,
                           g[2] * k2 - (g2 * e[0] + g3 * e[1] + c33 * m0 * e[2]) * k1,
                           g[3] * k2 - c44 * m1 * e[5] * k1,
                           g[4] * k2 - c55 * m1 * e[4] * k1,
                           g[5] * k2 - c66 * m1 * e[3] * k1};
      for (int c = 0; c < 6; c++) {
        R[c] += (nw[c] + g[c]) * 0.5f;
        g[c] = nw[c];
      }
    }
    c11 *= Sp, c22 *= Sp, c33 *= Sp;
    c44 *= Ss, c55 *= Ss, c66 *= Ss;
    c12 = (c12 + 2 * c66) * Sp - 2 * Ss * c66;
    c13 = (c13 + 2 * c55) * Sp - 2 * Ss * c55;
    c23 = (c23 + 2 * c44) * Sp - 2 * Ss * c44;
  }
};

// What the two anisotropic stress steps share: fields, the nine
// stiffnesses, and how the new stresses end (ELA_PLAIN, ELA_QFACTOR,
// ELA_VISCO as in the isotropic step).
template <int MODE> struct TAniBase : CStressFields {
  const float* c[9]; // C11, C12, C13, C22, C23, C33, C44, C55, C66, scaled

  // The own strains of a cell: dxx = Dx+ Vx, dyy = Dy+ Vy, dzz = Dz+ Vz;
  // exy = Dy- Vx + Dx- Vy; exz = Dz- Vx + Dx- Vz; eyz = Dz- Vy + Dy- Vz.
  static constexpr int kOwn = 9;
  FD_HD static constexpr int OwnMem(int j) {
    constexpr int m[kOwn] = {PML_MEM_VX_X, PML_MEM_VY_Y, PML_MEM_VZ_Z, PML_MEM_VX_Y, PML_MEM_VY_X,
                             PML_MEM_VX_Z, PML_MEM_VZ_X, PML_MEM_VY_Z, PML_MEM_VZ_Y};
    return m[j];
  }
  FD_HD const float* OwnSrc(int j) const {
    const float* f[kOwn] = {vx, vy, vz, vx, vy, vx, vz, vy, vz};
    return f[j];
  }

  // The suppressed and, where the point has mechanisms, unrelaxed
  // stiffnesses of point i, and the relaxation terms R (zero elsewhere).
  FD_HD FD_INLINE TOrtCoef Stiffness(ptrdiff_t i, const float* d, float* R) const {
    TOrtCoef k;
    k.Load(c, i);
    k.Suppress(s);
    for (int n = 0; n < 6; n++)
      R[n] = 0;
    if (MODE == ELA_VISCO && visco[i * L * 3 + 2] < 1.0f) {
      const float e[6] = {d[0], d[1], d[2], d[3] + d[4], d[5] + d[6], d[7] + d[8]};
      k.Relax(visco + i * L * 3, viscoG + i * L * 6, L, dt, e, R);
    }
    return k;
  }

  // Stores the new stresses (xx, yy, zz, xy, xz, yz) of point i: under a free
  // surface Txz and Tyz keep their values; the taper (f with TAPER) and the Q
  // factor act on the new values.
  template <bool TAPER> FD_HD FD_INLINE void Store(ptrdiff_t i, const float* inc, float f) const {
    const bool bFree = bSurface & !(b[i - sz] > 0.0f);
    float sxx = txx[i] + inc[0], syy = tyy[i] + inc[1], szz = tzz[i] + inc[2], sxy = txy[i] + inc[3];
    float sxz = txz[i] + Select(bFree, 0.0f, inc[4]);
    float syz = tyz[i] + Select(bFree, 0.0f, inc[5]);
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

// Stress half-step of the orthorhombic medium.
template <int MODE> struct TOrtStress : TAniBase<MODE>, TPlainDerivs<TOrtStress<MODE>> {
  using Base = TAniBase<MODE>;
  static constexpr int kDer = Base::kOwn;
  static constexpr bool kDeferX = false;
  FD_HD static constexpr int Mem(int j) { return Base::OwnMem(j); }
  FD_HD const float* Src(int j) const { return Base::OwnSrc(j); }

  template <bool TAPER> FD_HD FD_INLINE void Update(ptrdiff_t i, const float* d, float f) const {
    float R[6];
    const TOrtCoef k = Base::Stiffness(i, d, R);
    const float exy = d[3] + d[4], exz = d[5] + d[6], eyz = d[7] + d[8];
    const float inc[6] = {k.c11 * d[0] + k.c12 * d[1] + k.c13 * d[2] + R[0],
                          k.c12 * d[0] + k.c22 * d[1] + k.c23 * d[2] + R[1],
                          k.c13 * d[0] + k.c23 * d[1] + k.c33 * d[2] + R[2],
                          k.c66 * exy + R[5],
                          k.c55 * exz + R[4],
                          k.c44 * eyz + R[3]};
    Base::template Store<TAPER>(i, inc, f);
  }
};

// Four-point averages of the general medium. Nodes of a cell: 0 normal
// (x, y, z), 1 xy (x - 1/2, y - 1/2, z), 2 xz (x - 1/2, y, z - 1/2), 3 yz
// (x, y - 1/2, z - 1/2). Strains: 0 dxx, 1 dyy, 2 dzz, 3 exy, 4 exz, 5 eyz.
enum : int { ANI_NODE_N = 0, ANI_NODE_XY = 1, ANI_NODE_XZ = 2, ANI_NODE_YZ = 3 };

// Each single derivative is averaged to three nodes: nine groups of three,
// in the order of the PML memories of the averages (group g, average n has
// the low-side memory PML_MEM_AVG + 6 g + n, its high side 3 further on).
// Strain a group belongs to, and the node of its average n.
FD_HD constexpr int AniGroupStrain(int g) {
  constexpr int st[9] = {2, 4, 5, 1, 3, 5, 0, 3, 4};
  return st[g];
}
FD_HD constexpr int AniGroupNode(int g, int n) {
  constexpr int nd[9][3] = {{1, 2, 3}, {3, 0, 1}, {2, 1, 0}, {1, 2, 3}, {0, 3, 2},
                            {2, 1, 0}, {1, 2, 3}, {0, 3, 2}, {3, 0, 1}};
  return nd[g][n];
}
// Offset (axis a: 0 x, 1 y, 2 z) of cell q (0..3) of the average of strain
// st to node nd, from the updated cell.
FD_HD constexpr int AniAvgOffset(int st, int nd, int q, int a) {
  // Rows: the normal strains (all alike), exy, exz, eyz; then the node.
  constexpr signed char off[4][4][4][3] = {{{{0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}},
                                            {{0, 0, 0}, {-1, 0, 0}, {0, -1, 0}, {-1, -1, 0}},
                                            {{0, 0, 0}, {-1, 0, 0}, {0, 0, -1}, {-1, 0, -1}},
                                            {{0, 0, 0}, {0, -1, 0}, {0, 0, -1}, {0, -1, -1}}},
                                           {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}},
                                            {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}},
                                            {{0, 0, 0}, {0, -1, 0}, {0, 0, -1}, {0, -1, -1}},
                                            {{0, 0, 0}, {1, 0, 0}, {0, 0, -1}, {1, 0, -1}}},
                                           {{{0, 0, 0}, {1, 0, 0}, {0, 0, 1}, {1, 0, 1}},
                                            {{0, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 1, 1}},
                                            {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}},
                                            {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}},
                                           {{{0, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 1, 1}},
                                            {{0, 0, 0}, {-1, 0, 0}, {0, 0, 1}, {-1, 0, 1}},
                                            {{0, 0, 0}, {-1, 0, 0}, {0, -1, 0}, {-1, -1, 0}},
                                            {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}}}};
  return off[st < 3 ? 0 : st - 2][nd][q][a];
}

// Stress half-step of the general medium. Derivatives 0..8 are the own
// strains' differences, 9 + 3 g + n the average n of group g; each passes
// the PML corrections by itself, and the shear strains are summed after.
template <int MODE> struct TAniStress : TAniBase<MODE> {
  using Base = TAniBase<MODE>;
  const float* cg[12]; // C14, C15, C16, C24, C25, C26, C34, C35, C36, C45, C46, C56, scaled

  static constexpr int kGroups = 9;
  static constexpr int kDer = Base::kOwn + 3 * kGroups;
  static constexpr bool kDeferX = false;
  FD_HD static constexpr int Mem(int j) {
    return j < Base::kOwn ? Base::OwnMem(j) : PML_MEM_AVG + 6 * ((j - Base::kOwn) / 3) + (j - Base::kOwn) % 3;
  }
  // Low-side memory of derivative j and the distance to its high side.
  FD_HD static constexpr int HighMemStep(int j) { return j < Base::kOwn ? 1 : 3; }
  FD_HD const float* Src(int j) const {
    if (j < Base::kOwn)
      return Base::OwnSrc(j);
    const float* f[kGroups] = {this->vz, this->vx, this->vy, this->vy, this->vx,
                               this->vz, this->vx, this->vy, this->vz};
    return f[(j - Base::kOwn) / 3];
  }

  // Derivative J at cell Q of its four-point average (J >= kOwn), or at the
  // cell itself (Q < 0). The offsets are constants of the instance, so that
  // the differences that recur among the averages are worked out once.
  template <int J, int Q> FD_HD FD_INLINE float DerivAt(ptrdiff_t i, ptrdiff_t sy, ptrdiff_t sz) const {
    constexpr int ax = DerAxis<TAniStress>(J);
    constexpr int g = J < Base::kOwn ? 0 : (J - Base::kOwn) / 3;
    constexpr int st = AniGroupStrain(g), nd = AniGroupNode(g, J < Base::kOwn ? 0 : (J - Base::kOwn) % 3);
    constexpr int ox = Q < 0 ? 0 : AniAvgOffset(st, nd, Q, 0);
    constexpr int oy = Q < 0 ? 0 : AniAvgOffset(st, nd, Q, 1);
    constexpr int oz = Q < 0 ? 0 : AniAvgOffset(st, nd, Q, 2);
    return DOf<Mem(J)>(Src(J) + i + ox + oy * sy + oz * sz, ax == 0 ? 1 : (ax == 1 ? sy : sz));
  }

  template <int J = 0> FD_HD FD_INLINE void Derivs(ptrdiff_t i, ptrdiff_t sy, ptrdiff_t sz, float* d) const {
    if constexpr (J < kDer) {
      if constexpr (J < Base::kOwn)
        d[J] = DerivAt<J, -1>(i, sy, sz);
      else
        d[J] = 0.25f * (DerivAt<J, 0>(i, sy, sz) + DerivAt<J, 1>(i, sy, sz) + DerivAt<J, 2>(i, sy, sz) +
                        DerivAt<J, 3>(i, sy, sz));
      Derivs<J + 1>(i, sy, sz, d);
    }
  }

  template <bool TAPER> FD_HD FD_INLINE void Update(ptrdiff_t i, const float* d, float f) const {
    float R[6];
    const TOrtCoef k = Base::Stiffness(i, d, R);
    const float s = this->s;
    const float c14 = cg[0][i] * s, c15 = cg[1][i] * s, c16 = cg[2][i] * s, c24 = cg[3][i] * s, c25 = cg[4][i] * s,
                c26 = cg[5][i] * s, c34 = cg[6][i] * s, c35 = cg[7][i] * s, c36 = cg[8][i] * s, c45 = cg[9][i] * s,
                c46 = cg[10][i] * s, c56 = cg[11][i] * s;
    const float* a = d + Base::kOwn; // a[3 g + n]: average n of group g
    const float exy = d[3] + d[4], exz = d[5] + d[6], eyz = d[7] + d[8];
    // Averages by strain and node.
    const float dxxXY = a[18], dxxXZ = a[19], dxxYZ = a[20];
    const float dyyXY = a[9], dyyXZ = a[10], dyyYZ = a[11];
    const float dzzXY = a[0], dzzXZ = a[1], dzzYZ = a[2];
    const float exyN = a[12] + a[21], exyYZ = a[13] + a[22], exyXZ = a[14] + a[23];
    const float exzYZ = a[3] + a[24], exzN = a[4] + a[25], exzXY = a[5] + a[26];
    const float eyzXZ = a[6] + a[15], eyzXY = a[7] + a[16], eyzN = a[8] + a[17];
    const float inc[6] = {k.c11 * d[0] + k.c12 * d[1] + k.c13 * d[2] + c14 * eyzN + c15 * exzN + c16 * exyN + R[0],
                          k.c12 * d[0] + k.c22 * d[1] + k.c23 * d[2] + c24 * eyzN + c25 * exzN + c26 * exyN + R[1],
                          k.c13 * d[0] + k.c23 * d[1] + k.c33 * d[2] + c34 * eyzN + c35 * exzN + c36 * exyN + R[2],
                          c16 * dxxXY + c26 * dyyXY + c36 * dzzXY + c46 * eyzXY + c56 * exzXY + k.c66 * exy + R[5],
                          c15 * dxxXZ + c25 * dyyXZ + c35 * dzzXZ + c45 * eyzXZ + k.c55 * exz + c56 * exyXZ + R[4],
                          c14 * dxxYZ + c24 * dyyYZ + c34 * dzzYZ + k.c44 * eyz + c45 * exzYZ + c46 * exyYZ + R[3]};
    Base::template Store<TAPER>(i, inc, f);
  }
};

// The groups' strains and nodes match the memories of the PML table: an
// average of a derivative along x, y or z reaches the three nodes other than
// its own strain's.
static_assert(AniGroupStrain(0) == 2 && AniGroupStrain(3) == 1 && AniGroupStrain(6) == 0, "normal strains");
static_assert(PmlMem(TAniStress<ELA_PLAIN>::Mem(9)).nAxis == 2 && PmlMem(TAniStress<ELA_PLAIN>::Mem(35)).nAxis == 0 &&
                  TAniStress<ELA_PLAIN>::Mem(35) + 3 == kPmlMemMax - 1,
              "the averages use the memories from PML_MEM_AVG on");

} // namespace fd
