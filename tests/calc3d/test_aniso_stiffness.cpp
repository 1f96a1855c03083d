// Stiffness of tilted transversely isotropic media, and the model stage that
// turns Thomsen parameters into the coefficient cubes of the anisotropic
// steps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "calc3d/AnisoStiffness.h"
#include "calc3d/Calc3D_OMP.h"

namespace {

typedef double Mat6[6][6];

// The packed result of FormA as a full symmetric matrix in GPa.
void Unpack(const float* A, Mat6& C) {
  for (int i = 0; i < 6; i++)
    for (int j = 0; j < 6; j++)
      C[i][j] = A[AnisPackedIndex(i, j)] / 1e9;
}

void Stiffness(float den, float vp, float vs, float eps, float del, float gam, float tilt, float azi, Mat6& C) {
  float A[kAnisPacked];
  FormA(den, vp, vs, eps, del, gam, tilt, azi, A);
  Unpack(A, C);
}

// Eigenvalues, ascending, of a symmetric 6 x 6 matrix (cyclic Jacobi).
std::vector<double> Eigenvalues(Mat6 a) {
  for (int sweep = 0; sweep < 50; sweep++) {
    double off = 0;
    for (int p = 0; p < 6; p++)
      for (int q = p + 1; q < 6; q++)
        off += a[p][q] * a[p][q];
    if (off < 1e-24)
      break;
    for (int p = 0; p < 6; p++)
      for (int q = p + 1; q < 6; q++) {
        if (a[p][q] == 0)
          continue;
        const double th = 0.5 * std::atan2(2 * a[p][q], a[q][q] - a[p][p]);
        const double c = std::cos(th), s = std::sin(th);
        for (int k = 0; k < 6; k++) {
          const double akp = a[k][p], akq = a[k][q];
          a[k][p] = c * akp - s * akq;
          a[k][q] = s * akp + c * akq;
        }
        for (int k = 0; k < 6; k++) {
          const double apk = a[p][k], aqk = a[q][k];
          a[p][k] = c * apk - s * aqk;
          a[q][k] = s * apk + c * aqk;
        }
      }
  }
  std::vector<double> e(6);
  for (int i = 0; i < 6; i++)
    e[i] = a[i][i];
  std::sort(e.begin(), e.end());
  return e;
}

// The Kelvin form of a Voigt stiffness matrix (shear rows and columns times
// sqrt 2): its eigenvalues, unlike those of the Voigt matrix, are invariant
// under rotation.
std::vector<double> KelvinEigenvalues(const Mat6& C) {
  Mat6 k;
  for (int i = 0; i < 6; i++)
    for (int j = 0; j < 6; j++)
      k[i][j] = C[i][j] * (i >= 3 ? std::sqrt(2.0) : 1.0) * (j >= 3 ? std::sqrt(2.0) : 1.0);
  return Eigenvalues(k);
}

} // namespace

TEST(AnisoStiffness, VerticalAxisGivesTheClosedForm) {
  // Untilted: C33 = rho Vp^2, C44 = C55 = rho Vs^2, C11 = C22 = C33 (1 + 2
  // epsilon), C66 = C44 (1 + 2 gamma), C12 = C11 - 2 C66 and C13 = C23 from
  // (C13 + C44)^2 = (C33 - C44)^2 + 2 delta C33 (C33 - C44); a negative
  // radicand counts as 0. Nothing else is set.
  struct Case {
    float den, vp, vs, eps, del, gam;
  };
  const Case cases[] = {{2000, 3000, 1500, 0.1f, 0.05f, 0.1f},
                        {2400, 4000, 2300, 0.25f, -0.1f, 0.15f},
                        {1000, 1500, 0, 0.2f, 0.1f, 0.3f},
                        {2200, 3500, 2000, 0, 0, 0},
                        {2000, 3000, 1500, 0.1f, -5.0f, 0.1f}};
  for (const Case& k : cases) {
    Mat6 C;
    Stiffness(k.den, k.vp, k.vs, k.eps, k.del, k.gam, 0, 0, C);
    const double c33 = k.den * 1e-3 * k.vp * k.vp * 1e-6, c44 = k.den * 1e-3 * k.vs * k.vs * 1e-6;
    const double c11 = c33 * (1 + 2 * k.eps), c66 = c44 * (1 + 2 * k.gam);
    const double r = (c33 - c44) * (c33 - c44) + 2 * k.del * c33 * (c33 - c44);
    const double c13 = std::sqrt(std::max(r, 0.0)) - c44;
    Mat6 E = {};
    E[0][0] = E[1][1] = c11, E[2][2] = c33, E[3][3] = E[4][4] = c44, E[5][5] = c66;
    E[0][1] = E[1][0] = c11 - 2 * c66;
    E[0][2] = E[2][0] = E[1][2] = E[2][1] = c13;
    for (int i = 0; i < 6; i++)
      for (int j = 0; j < 6; j++)
        EXPECT_NEAR(C[i][j], E[i][j], 2e-6 * c11) << "vp " << k.vp << " delta " << k.del << " C" << i + 1 << j + 1;
  }
  // The worked example, in GPa.
  Mat6 C;
  Stiffness(2000, 3000, 1500, 0.1f, 0.05f, 0.1f, 0, 0, C);
  EXPECT_NEAR(C[0][2], 9.8718, 5e-5);
  EXPECT_NEAR(C[0][0], 21.6, 1e-5);
  EXPECT_NEAR(C[5][5], 5.4, 1e-5);
  // No density, no medium.
  float A[kAnisPacked];
  FormA(0, 3000, 1500, 0.1f, 0.05f, 0.1f, 30, 45, A);
  for (float a : A)
    EXPECT_EQ(0.0f, a);
}

TEST(AnisoStiffness, RotationKeepsTheInvariantsAndMovesTheAxis) {
  // Any tilt and azimuth: the Kelvin eigenvalues of the matrix are those of
  // the vertical medium, and the stiffness along the symmetry axis, n C n in
  // tensor form for n = (cos phi sin a, sin phi sin a, cos a), is C33 of the
  // vertical medium.
  Mat6 V;
  Stiffness(2300, 3200, 1700, 0.22f, 0.08f, 0.12f, 0, 0, V);
  const std::vector<double> ev = KelvinEigenvalues(V);
  const float angles[][2] = {{30, 45}, {90, 0}, {60, 200}, {-20, 10}, {0, 73}, {135, -60}, {179, 359}};
  for (const auto& an : angles) {
    Mat6 C;
    Stiffness(2300, 3200, 1700, 0.22f, 0.08f, 0.12f, an[0], an[1], C);
    const std::vector<double> e = KelvinEigenvalues(C);
    for (int i = 0; i < 6; i++)
      EXPECT_NEAR(e[i], ev[i], 1e-5 * ev[5]) << "tilt " << an[0] << " azimuth " << an[1] << " eigenvalue " << i;
    const double a = an[0] * M_PI / 180, p = an[1] * M_PI / 180;
    const double n[3] = {std::cos(p) * std::sin(a), std::sin(p) * std::sin(a), std::cos(a)};
    double along = 0;
    for (int i = 0; i < 3; i++)
      for (int j = 0; j < 3; j++)
        for (int k = 0; k < 3; k++)
          for (int l = 0; l < 3; l++)
            along += n[i] * n[j] * n[k] * n[l] * C[imas(i, j)][imas(k, l)];
    EXPECT_NEAR(along, V[2][2], 1e-5 * V[2][2]) << "tilt " << an[0] << " azimuth " << an[1];
  }
}

TEST(AnisoStiffness, AxisOnXAndAzimuthAlone) {
  // Tilt 90, azimuth 0 puts the axis on x: C11' = C33, C22' = C33' = C11,
  // C55' = C66' = C44, C44' = C66, C12' = C13' = C13, C23' = C12. An
  // azimuth alone leaves the vertical medium as it is.
  Mat6 V, X, Z;
  Stiffness(2000, 3000, 1500, 0.1f, 0.05f, 0.1f, 0, 0, V);
  Stiffness(2000, 3000, 1500, 0.1f, 0.05f, 0.1f, 90, 0, X);
  Stiffness(2000, 3000, 1500, 0.1f, 0.05f, 0.1f, 0, 37, Z);
  const struct {
    int i, j, vi, vj;
  } moved[] = {{0, 0, 2, 2}, {1, 1, 0, 0}, {2, 2, 0, 0}, {4, 4, 3, 3}, {5, 5, 3, 3},
               {3, 3, 5, 5}, {0, 1, 0, 2}, {0, 2, 0, 2}, {1, 2, 0, 1}};
  for (const auto& m : moved)
    EXPECT_NEAR(X[m.i][m.j], V[m.vi][m.vj], 1e-5 * V[0][0]) << "C" << m.i + 1 << m.j + 1;
  for (int i = 0; i < 6; i++)
    for (int j = 0; j < 6; j++) {
      EXPECT_NEAR(Z[i][j], V[i][j], 1e-5 * V[0][0]) << "azimuth alone, C" << i + 1 << j + 1;
      const bool bMoved = std::any_of(std::begin(moved), std::end(moved),
                                      [&](const auto& m) { return (m.i == i && m.j == j) || (m.i == j && m.j == i); });
      if (!bMoved) {
        EXPECT_NEAR(X[i][j], 0.0, 1e-5 * V[0][0]) << "axis on x, C" << i + 1 << j + 1;
      }
    }
}

namespace {

// A grid of n cells in x (one row) of method nMethod, velocities and
// density in m_pK, m_pMu, m_pB and the Thomsen cubes allocated, as the
// model loads leave them before the conversion.
struct ConvertGrid {
  CCalc3D_OMP calc;
  explicit ConvertGrid(int nMethod, int n) {
    calc.m_Set.m_nMethod = nMethod;
    calc.m_nNx = n, calc.m_nNy = 1, calc.m_nNz = 1, calc.m_nNzAll = 1, calc.m_nZ1 = 0;
    calc.m_fH = 10, calc.m_fDt = 0.001;
    calc.m_bPML = false;
    calc.AllocateMemory(false, true);
    for (float** p : {&calc.m_pAnisEps, &calc.m_pAnisDelta, &calc.m_pAnisGamma, &calc.m_pAnisAlpha, &calc.m_pAnisPhi})
      *p = new float[n]();
    for (int i = 0; i < n; i++)
      calc.m_pK[i] = 3000, calc.m_pMu[i] = 1500, calc.m_pB[i] = 2000, calc.m_pAnisEps[i] = 0.2f;
  }
  float Kc() const { return (float)(calc.m_fDt / calc.m_fH / 15000.0); }
};

} // namespace

TEST(AnisoModel, OrthorhombicAnglesSnapToTheGridAxes) {
  // The orthorhombic scheme holds only an axis along a grid axis: its
  // angles snap to 0 or 90 modulo 180; the general one keeps them. The
  // tilted axis shows in C11 against C33.
  const float tilt[] = {44.9f, 45, 134.9f, 135, -30, 200, 260};
  const bool bOnX[] = {false, true, true, false, false, false, true};
  const int n = sizeof(tilt) / sizeof(tilt[0]);
  for (int nMethod : {METHOD_ORTHORHOMBIC, METHOD_ANISOTROPIC}) {
    ConvertGrid g(nMethod, n);
    for (int i = 0; i < n; i++)
      g.calc.m_pAnisAlpha[i] = tilt[i];
    ASSERT_EQ(0, g.calc.ConvertAnisotropic());
    for (int i = 0; i < n; i++) {
      float A[kAnisPacked];
      const float t = nMethod == METHOD_ORTHORHOMBIC ? (bOnX[i] ? 90.0f : 0.0f) : tilt[i];
      FormA(2000, 3000, 1500, 0.2f, 0, 0, t, 0, A);
      EXPECT_FLOAT_EQ(g.calc.m_pC11[i], A[0] * g.Kc()) << "method " << nMethod << " tilt " << tilt[i];
      EXPECT_FLOAT_EQ(g.calc.m_pC33[i], A[11] * g.Kc()) << "method " << nMethod << " tilt " << tilt[i];
      if (nMethod == METHOD_ORTHORHOMBIC)
        EXPECT_EQ(bOnX[i], g.calc.m_pC11[i] < g.calc.m_pC33[i]) << "tilt " << tilt[i];
      else
        EXPECT_FLOAT_EQ(g.calc.m_pC15[i], A[4] * g.Kc()) << "tilt " << tilt[i];
    }
  }
}

