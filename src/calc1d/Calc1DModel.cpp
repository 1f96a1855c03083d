// Vertical-incidence modelling: the model cubes under the survey, their
// smoothing, and the profile of one column.
#include <algorithm>
#include <cmath>
#include <vector>

#include "Calc1D.h"
#include "calc3d/Calc3D.h"
#include "calc3d/Calc3DModelCube.h"
#include "calc3d/CalcShared.h"
#include "calc3d/ModelCorrelation.h"
#include "calc3d/ModelSmoothing.h"
#include "run/KelvoApp.h"
#include "seisfile/SdsPC.h"

namespace {

struct Component1D {
  int nComponent;
  const char* szName;
  float fLimit; // values below it are void; -1 for none
};

const Component1D s_components1D[] = {
    {MODEL_PVEL, "P-Wave Velocity", 100.0f},
    {MODEL_DENS, "Density", 100.0f},
    {MODEL_Q, "Attenuation(Q)", -1.0f},
};

} // namespace

int CCalc1D::LoadModelComponent(int nComponent, const char* szFile, float* pP, float* pOut) {
  const Component1D* info = nullptr;
  for (const Component1D& c : s_components1D)
    if (c.nComponent == nComponent)
      info = &c;
  if (!info) {
    u_Error("Error! LoadModelComponent() Unknown component (%d) specified.\n", nComponent);
    return -106;
  }
  const bool bFile = szFile && szFile[0];
  if (!bFile && !pP) {
    u_Error("Error! %s model file is not specified.\n", info->szName);
    return -107;
  }
  const size_t nPlane = (size_t)m_nNx * m_nNy;
  const int nz = m_nNz;
  if (!bFile) {
#pragma omp parallel for schedule(static)
    for (int z = 0; z < nz; z++)
      for (size_t i = z * nPlane; i < (z + 1) * nPlane; i++)
        pOut[i] = pP[i] > 0 ? (float)GetDensityByPVel(pP[i]) : 0.0f;
    return 0;
  }
  CSdsPC sds;
  if (!model_OpenFile(sds, szFile, m_cubeModel, m_fH, m_pApp->m_bModelUseElevation)) {
    u_Error("Error! Unable to open %s model file '%s'.\n", info->szName, szFile);
    return CALC_NO_FILE;
  }
  if (int rc = model_CheckFile(sds, info->szName))
    return rc;
  const CCubeR cube(m_cubeSim.x0, m_cubeSim.y0, m_cubeModel.z0, m_cubeSim.x1, m_cubeSim.y1, m_cubeModel.z1);
  if (!sds.Get3D_buf(C3DSizeN(m_nNx, m_nNy, m_nNz), cube, pOut, info->fLimit)) {
    u_Error("Error! Unable to load %s model buffer!\n", info->szName);
    return CALC_NO_FILE;
  }
  const float fLimit = info->fLimit;
  const double fExp = 2 * m_fDt * m_Signal.m_fFrequency;
#pragma omp parallel for schedule(static)
  for (int z = 0; z < nz; z++) {
    for (size_t i = z * nPlane; i < (z + 1) * nPlane; i++) {
      float v = pOut[i];
      if (fLimit > 0 && v < fLimit)
        v = 0;
      if (nComponent == MODEL_Q)
        v = (float)CCalc3D::GetQFactor(v, fExp);
      pOut[i] = v;
    }
  }
  return 0;
}

int CCalc1D::InitModel() {
  if (!m_pK || !m_pB || (HasQ() && !m_pQ)) {
    u_Error("Error! Memory allocation error. Model cubes were not initialized.\n");
    return -2;
  }
  const CKelvoApp& app = *m_pApp;
  int rc = LoadModelComponent(MODEL_PVEL, app.m_strModelPW, nullptr, m_pK);
  if (rc == 0 && HasQ())
    rc = LoadModelComponent(MODEL_Q, app.m_strModelQ, nullptr, m_pQ);
  if (rc == 0)
    rc = LoadModelComponent(MODEL_DENS, app.m_strModelD, m_pK, m_pB);
  if (rc != 0)
    return rc;
  calc_FillDamp(m_fDamp, fd::kTaperWidth, m_nFrame, m_fDt);
  calc_ConvertIsotropic(m_pK, m_pB, nullptr, (size_t)m_nNx * m_nNy, m_nNz, m_fH, m_fDt);
  return SmoothModel();
}

int CCalc1D::SmoothModel() {
  const int nPasses = m_pApp->m_nSmoothModel;
  if (nPasses <= 0)
    return 0;
  std::vector<float> buf;
  try {
    buf.assign((size_t)m_nNx * m_nNz, 0.0f);
  } catch (const std::bad_alloc&) {
    u_Error("Error! Unable to allocate memory for calculations!\n");
    return -1;
  }
  for (float* p : {m_pK, m_pB, m_pQ})
    if (p)
      SmoothModelComponent(p, nPasses, buf.data());
  return 0;
}

int CCalc1D::SmoothModelComponent(float* pData, int nPasses, float* pBuf) {
  calc_SmoothCube(pData, m_nNx, m_nNy, m_nNz, nPasses, pBuf);
  return 0;
}

int CCalc1D::Get1DModel(int nComponent, CPointR pt, float* pOut, int& nFirst) const {
  const float* pCube = nComponent == MODEL_PVEL ? m_pK : nComponent == MODEL_DENS ? m_pB : m_pQ;
  std::fill(pOut, pOut + m_nNzAll, 0.0f);
  nFirst = m_nFrame;
  if (!pCube || m_nNx < 1 || m_nNy < 1 || m_nNz < 1)
    return 0;
  auto lateral = [](double p, double p0, double d, int n) {
    double f = d > 0 ? (p - p0) / d : 0;
    if (f < 0)
      f = 0;
    if (f >= n)
      f = n - 1;
    return f;
  };
  const double fx = lateral(pt.x, m_cubeSim.x0, m_fModelDx, m_nNx);
  const double fy = lateral(pt.y, m_cubeSim.y0, m_fModelDy, m_nNy);
  const int ix = std::min((int)(fx + 0.01), m_nNx - 1), iy = std::min((int)(fy + 0.01), m_nNy - 1);
  const float wx = (float)std::fabs(fx - ix), wy = (float)std::fabs(fy - iy);
  const size_t nPlane = (size_t)m_nNx * m_nNy;
  auto at = [&](int x, int y, int z) { return pCube[z * nPlane + (size_t)y * m_nNx + x]; };

  int top = 0;
  while (top < m_nNz && at(ix, iy, top) == 0)
    top++;
  if (top == m_nNz)
    return 0;

  const bool bWx = wx > 0.02f && ix + 1 < m_nNx, bWy = wy > 0.02f && iy + 1 < m_nNy;
  const float fStep = (float)(m_fH / m_fModelDz);
  float last = at(ix, iy, top);
  bool bSeen = false;
  for (int i = 0; i < m_nNzAll; i++) {
    const float fz = (float)(i - m_nFrame) * fStep;
    if (fz < 0) {
      pOut[i] = m_nSurfType == 0 ? last : 0.0f;
      continue;
    }
    if (fz >= (float)m_nNz) {
      pOut[i] = last;
      continue;
    }
    const int iz = std::min((int)(fz + 0.01f), m_nNz - 1);
    const float wz = std::fabs(fz - (float)iz);
    const float v = at(ix, iy, iz);
    if (v == 0) {
      pOut[i] = m_nSurfType == 0 && !bSeen ? last : 0.0f;
      continue;
    }
    if (!bSeen) {
      bSeen = true;
      nFirst = i;
    }
    const bool bWz = wz > 0.02f && iz + 1 < m_nNz;
    float vz = v;
    if (bWz && at(ix, iy, iz + 1) != 0)
      vz = (1 - wz) * v + wz * at(ix, iy, iz + 1);
    // Toward the next column along one axis: linear at the last sample or
    // without a depth weight, bilinear where both lower neighbours exist.
    auto side = [&](bool bW, float w, int x1, int y1) {
      if (!bW)
        return vz;
      const float n = at(x1, y1, iz);
      if (n == 0)
        return vz;
      if (!bWz)
        return (1 - w) * vz + w * n;
      const float s1 = at(ix, iy, iz + 1), s2 = at(x1, y1, iz + 1);
      if (s1 == 0 || s2 == 0)
        return vz;
      return (vz * (1 - wz) + s1 * wz) * (1 - w) + (n * (1 - wz) + s2 * wz) * w;
    };
    const float a = side(bWx, wx, ix + 1, iy), b = side(bWy, wy, ix, iy + 1);
    pOut[i] = last = (a + b) / 2;
  }
  return bSeen ? 0 : -1;
}
