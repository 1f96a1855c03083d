// The anisotropic stage of model building: P and S velocities, density,
// Thomsen parameters and the direction of the symmetry axis of each cell to
// the stiffness coefficients of the anisotropic steps.
#include <cmath>

#include "calc3d/AnisoStiffness.h"
#include "calc3d/Calc3D.h"

namespace {

// Inputs of FormA: vp, vs, density, epsilon, delta, gamma, tilt, azimuth.
enum { AI_VP, AI_VS, AI_DEN, AI_EPS, AI_DELTA, AI_GAMMA, AI_TILT, AI_AZIMUTH, AI_COUNT };

// Largest difference of each input at which the last stiffnesses serve again.
const float kReuseTolerance[AI_COUNT] = {1.0f, 1.0f, 1.0f, 0.0001f, 0.0001f, 0.0001f, 0.001f, 0.001f};

// The task's values of the Thomsen parameters and angles, used where no cube
// gives them: epsilon, delta, gamma, tilt, azimuth.
void TaskAnisValues(const CCalcSettings& s, float* v) {
  v[0] = s.m_fAnisEpsilon, v[1] = s.m_fAnisDelta, v[2] = s.m_fAnisGamma;
  v[3] = s.m_fAnisAzimuth, v[4] = s.m_fAnisPhi;
}

// An angle of the orthorhombic scheme, whose symmetry axis must lie on a
// grid axis: 0 or 90 degrees, whichever is nearer modulo 180.
float SnapAngle(float a) {
  while (a < 0)
    a += 180;
  while (a >= 180)
    a -= 180;
  return a < 45 || a >= 135 ? 0.0f : 90.0f;
}

// Packed entries of the nine orthorhombic stiffnesses and of the twelve
// further ones, in the order of the coefficient arrays.
const int kOrtEntries[9][2] = {{0, 0}, {0, 1}, {0, 2}, {1, 1}, {1, 2}, {2, 2}, {3, 3}, {4, 4}, {5, 5}};
const int kGenEntries[12][2] = {{0, 3}, {0, 4}, {0, 5}, {1, 3}, {1, 4}, {1, 5},
                                {2, 3}, {2, 4}, {2, 5}, {3, 4}, {3, 5}, {4, 5}};

} // namespace

int CCalc3D::ConvertAnisotropic() {
  const bool bGeneral = GetMethod() == METHOD_ANISOTROPIC;
  float* const pOrt[9] = {m_pC11, m_pC12, m_pC13, m_pC22, m_pC23, m_pC33, m_pC44, m_pC55, m_pC66};
  float* const pGen[12] = {m_pC14, m_pC15, m_pC16, m_pC24, m_pC25, m_pC26,
                           m_pC34, m_pC35, m_pC36, m_pC45, m_pC46, m_pC56};
  bool bArrays = m_pK && m_pMu && m_pB;
  for (float* p : pOrt)
    bArrays = bArrays && p;
  if (bGeneral)
    for (float* p : pGen)
      bArrays = bArrays && p;
  if (!bArrays) {
    u_Error("Error! Memory allocation error. Model cubes were not initialized.\n");
    return -2;
  }
  const double s = (1 / m_fH) * m_fDt;
  const float kc = (float)(s / const_K_U), kb = (float)(s * const_K_U);
  float fTask[5];
  TaskAnisValues(m_Set, fTask);
  const float* const pCube[5] = {m_pAnisEps, m_pAnisDelta, m_pAnisGamma, m_pAnisAlpha, m_pAnisPhi};
  const size_t nPlane = (size_t)m_nNx * m_nNy;
  const bool bDebug = m_Set.m_bDebug;
  const double fZ0 = m_cubeGrid.z0, fH = m_fH;

#pragma omp parallel
  {
    // Each thread reuses the stiffnesses of its last inputs within the
    // tolerances: blocky models call FormA once a block.
    float last[AI_COUNT] = {0}, A[kAnisPacked] = {0};
#pragma omp for schedule(static)
    for (int z = 0; z < m_nNz; z++) {
      for (size_t i = z * nPlane; i < (z + 1) * nPlane; i++) {
        const float vp = m_pK[i], rho = m_pB[i];
        if (!(vp > 0) || !(rho > 0)) {
          for (float* p : pOrt)
            p[i] = 0;
          if (bGeneral)
            for (float* p : pGen)
              p[i] = 0;
          m_pB[i] = 0;
          continue;
        }
        float in[AI_COUNT] = {vp, m_pMu[i], rho};
        for (int k = 0; k < 5; k++)
          in[AI_EPS + k] = pCube[k] ? pCube[k][i] : fTask[k];
        if (!bGeneral) {
          in[AI_TILT] = SnapAngle(in[AI_TILT]);
          in[AI_AZIMUTH] = SnapAngle(in[AI_AZIMUTH]);
        }
        bool bNew = false;
        for (int k = 0; k < AI_COUNT; k++)
          bNew = bNew || std::fabs(in[k] - last[k]) > kReuseTolerance[k];
        if (bNew) {
          FormA(in[AI_DEN], in[AI_VP], in[AI_VS], in[AI_EPS], in[AI_DELTA], in[AI_GAMMA], in[AI_TILT], in[AI_AZIMUTH],
                A);
          for (int k = 0; k < AI_COUNT; k++)
            last[k] = in[k];
          if (bDebug) {
            float g[kAnisPacked];
            for (int k = 0; k < kAnisPacked; k++)
              g[k] = A[k] / 1e9f;
            const double depth = fH * z + fZ0;
            if (bGeneral)
              u_Print("\npA=%p, z=%g, vp=%g, vs=%g, den=%g, eps=%g, del=%g, gam=%g, alp=%g, Phi=%g, \nA[]=(\n%15g, "
                      "%15g, %15g, %15g, %15g, %15g, \n%15g, %15g, %15g, %15g, %15g, \n%15g, %15g, %15g, %15g, \n%15g, "
                      "%15g, %15g, \n%15g, %15g, \n%15g) \n",
                      (void*)A, depth, in[0], in[1], in[2], in[3], in[4], in[5], in[6], in[7], g[0], g[1], g[2], g[3],
                      g[4], g[5], g[6], g[7], g[8], g[9], g[10], g[11], g[12], g[13], g[14], g[15], g[16], g[17], g[18],
                      g[19], g[20]);
            else
              u_Print("pA=%p, z=%g, vp=%g, vs=%g, den=%g, eps=%g, del=%g, gam=%g, alp=%g, Phi=%g, A[]=(%g, %g, %g, "
                      "%g, %g, %g, %g, %g, %g)\n",
                      (void*)A, depth, in[0], in[1], in[2], in[3], in[4], in[5], in[6], in[7], g[0], g[1], g[2], g[6],
                      g[7], g[11], g[15], g[18], g[20]);
          }
        }
        for (int k = 0; k < 9; k++)
          pOrt[k][i] = A[AnisPackedIndex(kOrtEntries[k][0], kOrtEntries[k][1])] * kc;
        if (bGeneral)
          for (int k = 0; k < 12; k++)
            pGen[k][i] = A[AnisPackedIndex(kGenEntries[k][0], kGenEntries[k][1])] * kc;
        // Buoyancy of the cell's own density, not of the matched one.
        m_pB[i] = kb / rho;
      }
    }
  }
  for (float** p : {&m_pK, &m_pMu, &m_pAnisEps, &m_pAnisDelta, &m_pAnisGamma, &m_pAnisAlpha, &m_pAnisPhi})
    FreeArray(*p);
  return 0;
}
