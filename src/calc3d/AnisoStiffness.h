// Stiffness of a transversely isotropic medium from its engineering
// parameters (velocities along the symmetry axis, density, Thomsen's
// epsilon, delta and gamma) and the direction of its symmetry axis, in the
// axes of the grid.
//
// Voigt order of all matrices: 1 xx, 2 yy, 3 zz, 4 yz, 5 xz, 6 xy.
#pragma once

// Symmetric 6 x 6 stiffness matrix, zero-based Voigt indices, in GPa.
typedef float matr6[6][6];

// Number of independent entries of a stiffness matrix, and the position of
// C(i, j) (zero-based, any order) in the packed upper triangle that FormA
// writes: C11 .. C16, C22 .. C26, C33 .. C36, C44 .. C46, C55, C56, C66.
constexpr int kAnisPacked = 21;
constexpr int AnisPackedIndex(int i, int j) {
  return i > j ? AnisPackedIndex(j, i) : i * 6 - i * (i - 1) / 2 + (j - i);
}

// Voigt index (zero-based) of the pair (i, j) of tensor indices 0 x, 1 y, 2 z.
int imas(int i, int j);

// The stiffness matrix of the vertical medium: density in g/cm^3,
// velocities in m/s, the result in GPa.
void FormUprVti(float fDen, float fVp, float fVs, float fEpsilon, float fDelta, float fGamma, matr6& C);

// Rotates a 4-index stiffness tensor in place: by fAlpha about y, then by
// fPhi about z (radians), so that the z axis goes to
// (cos fPhi sin fAlpha, sin fPhi sin fAlpha, cos fAlpha).
void POVTENZ(double fAlpha, double fPhi, float (&C)[3][3][3][3]);

// The 21 stiffnesses in pascal of a medium of density fDen (kg/m^3),
// velocities fVp and fVs (m/s) along its symmetry axis, Thomsen parameters,
// tilt fAlpha and azimuth fPhi of the axis (degrees), packed as described at
// AnisPackedIndex. All zero where the density is not positive.
void FormA(float fDen, float fVp, float fVs, float fEpsilon, float fDelta, float fGamma, float fAlpha, float fPhi,
           float* pA);
