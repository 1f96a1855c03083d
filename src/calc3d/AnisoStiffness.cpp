// Stiffness of tilted transversely isotropic media (see AnisoStiffness.h).
#include "AnisoStiffness.h"

#include <cmath>
#include <cstring>

namespace {

// Voigt index of the tensor index pair (i, j), at 3 * i + j.
const int imag[9] = {0, 5, 4, 5, 1, 3, 4, 3, 2};

} // namespace

int imas(int i, int j) { return imag[3 * i + j]; }

void FormUprVti(float fDen, float fVp, float fVs, float fEpsilon, float fDelta, float fGamma, matr6& C) {
  const float vp = fVp * 0.001f, vs = fVs * 0.001f, rho = fDen;
  std::memset(C, 0, sizeof(matr6));
  const float c33 = rho * vp * vp;
  const float c44 = rho * vs * vs;
  const float c11 = (1 + 2 * fEpsilon) * c33;
  const float c66 = (1 + 2 * fGamma) * c44;
  const float c12 = c11 - 2 * c66;
  // (C13 + C44)^2 = (C33 - C44)^2 + 2 delta C33 (C33 - C44), the positive root.
  const float a = c33 - c44;
  const float r = a * a + a * (2 * fDelta * c33);
  const float c13 = (r > 0 ? std::sqrt(r) : 0.0f) - c44;
  C[0][0] = C[1][1] = c11;
  C[2][2] = c33;
  C[3][3] = C[4][4] = c44;
  C[5][5] = c66;
  C[0][1] = C[1][0] = c12;
  C[0][2] = C[2][0] = C[1][2] = C[2][1] = c13;
}

void POVTENZ(double fAlpha, double fPhi, float (&C)[3][3][3][3]) {
  const double ca = cos(fAlpha), sa = sin(fAlpha), cb = cos(fPhi), sb = sin(fPhi);
  const float M[3][3] = {{(float)(cb * ca), (float)-sb, (float)(cb * sa)},
                         {(float)(sb * ca), (float)cb, (float)(sb * sa)},
                         {(float)-sa, 0.0f, (float)ca}};
  float T[3][3][3][3];
  for (int i = 0; i < 3; i++)
    for (int j = 0; j < 3; j++)
      for (int k = 0; k < 3; k++)
        for (int l = 0; l < 3; l++) {
          float s = 0;
          for (int p = 0; p < 3; p++)
            for (int q = 0; q < 3; q++) {
              const float mpq = M[i][p] * M[j][q];
              if (mpq == 0.0f)
                continue;
              for (int r = 0; r < 3; r++)
                for (int t = 0; t < 3; t++)
                  s += mpq * M[k][r] * M[l][t] * C[p][q][r][t];
            }
          T[i][j][k][l] = s;
        }
  std::memcpy(C, T, sizeof(T));
}

void FormA(float fDen, float fVp, float fVs, float fEpsilon, float fDelta, float fGamma, float fAlpha, float fPhi,
           float* pA) {
  if (!(fDen > 0)) {
    for (int k = 0; k < kAnisPacked; k++)
      pA[k] = 0;
    return;
  }
  matr6 C;
  FormUprVti((float)(fDen * 0.001), fVp, fVs, fEpsilon, fDelta, fGamma, C);
  if (fAlpha != 0 || fPhi != 0) {
    const double rad = acos(-1.0) / 180;
    float T[3][3][3][3];
    for (int i = 0; i < 3; i++)
      for (int j = 0; j < 3; j++)
        for (int k = 0; k < 3; k++)
          for (int l = 0; l < 3; l++)
            T[i][j][k][l] = C[imas(i, j)][imas(k, l)];
    POVTENZ(fAlpha * rad, fPhi * rad, T);
    for (int i = 0; i < 3; i++)
      for (int j = 0; j < 3; j++)
        for (int k = 0; k < 3; k++)
          for (int l = 0; l < 3; l++)
            C[imas(i, j)][imas(k, l)] = T[i][j][k][l];
  }
  for (int i = 0; i < 6; i++)
    for (int j = i; j < 6; j++)
      pA[AnisPackedIndex(i, j)] = C[i][j] * 1e9f;
}
