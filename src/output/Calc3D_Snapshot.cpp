// Wavefield snapshots: vertical sections through the shot appended as
// frames to one file per shot, and 3-D cubes at listed times.
#include <sys/time.h>

#include <cstring>
#include <new>
#include <vector>

#include "calc3d/Calc3D.h"
#include "output/Biline.h"
#include "seisfile/SdsPC.h"

namespace {

// Blend of a at p and b at p + 1 for the target t.
double Blend(double a, double b, double p, double t) {
  if (a > 1e-05 && b > 1e-05)
    return a * (p + 1 - t) + b * (t - p);
  return (t - p <= p + 1 - t) ? a : b;
}

double WallSeconds() {
  timeval tv;
  gettimeofday(&tv, nullptr);
  return tv.tv_sec + tv.tv_usec * 1e-6;
}

// Adds a dense cube (x fastest, then y, then z over `box`) into the traces
// of a 3-D file open for update.
bool Save3D_data(CSdsPC& sds, const CCubeN& box, const float* pData, int nFileNx) {
  const double t0 = WallSeconds();
  const int nLen = sds.m_nTraceLen;
  std::vector<float> trace(nLen > 0 ? nLen : 1);
  const size_t w = (size_t)(box.x1 - box.x0 + 1);
  const size_t h = (size_t)(box.y1 - box.y0 + 1);
  for (int y = box.y0; y <= box.y1; y++) {
    for (int x = box.x0; x <= box.x1; x++) {
      const int nTrace = y * nFileNx + x;
      if (!sds.GetTrace(nTrace, trace.data(), nLen)) {
        u_Print("!GetTrace(nx=%d, ny=%d)\n", x, y);
        continue;
      }
      for (int z = box.z0; z <= box.z1 && z < nLen; z++)
        trace[z] += pData[((size_t)(z - box.z0) * h + (y - box.y0)) * w + (x - box.x0)];
      if (sds.m_fp == nullptr || nTrace >= sds.m_nTraceCount) {
        u_Print("!SetTrace(nx=%d, ny=%d)\n", x, y);
        u_Print("Save3D_data returns false\n");
        return false;
      }
      sds.SetTrace(nTrace, trace.data(), nLen);
    }
  }
  u_Print("Save3D_data(%s) elapsed time %6.0f seconds.\n\n", sds.m_szFileName, WallSeconds() - t0);
  return true;
}

} // namespace

double biline(const CSizeN& size, const float* pData, double x, double y) {
  const int nx = size.cx, ny = size.cy;
  if (x < 0 || x > nx - 1 || y < 0 || y > ny - 1)
    return UNSET_VALUE;
  int i = (int)x, j = (int)y;
  if (i > nx - 2)
    i = nx - 2;
  if (j > ny - 2)
    j = ny - 2;
  if (i < 0)
    i = 0;
  if (j < 0)
    j = 0;
  // A plane one sample wide blends along the other direction only.
  auto at = [&](int ii, int jj) -> double {
    if (ii >= nx)
      ii = nx - 1;
    if (jj >= ny)
      jj = ny - 1;
    return pData[(size_t)jj * nx + ii];
  };
  const double r0 = nx > 1 ? Blend(at(i, j), at(i + 1, j), i, x) : at(i, j);
  if (ny < 2)
    return r0;
  const double r1 = nx > 1 ? Blend(at(i, j + 1), at(i + 1, j + 1), i, x) : at(i, j + 1);
  return Blend(r0, r1, j, y);
}

int CCalc3D::AppendZpl2DSnapshot(const char* szFile, char /*cPlane*/, const char* szComponents, double fStep,
                                 bool /*bFlag*/) {
  const int n = (int)strlen(szComponents);
  const CCubeR ua = GetRealUserArea();
  const double gx0 = m_cubeGrid.x0, gx1 = m_cubeGrid.x1, gz0 = m_cubeGrid.z0, gz1 = m_cubeGrid.z1;
  const int nxs = (int)((ua.x1 - ua.x0) / fStep + 1.5);
  const int nzs = (int)((ua.z1 - ua.z0) / fStep + 1.5);
  const size_t nPlane = (size_t)nxs * nzs;

  float* pPlanes = new (std::nothrow) float[nPlane * (n > 0 ? n : 1)];
  if (!pPlanes) {
    u_Error("Error! Memory Allocation Error in CCalc2D::AppendZpl2DSnapshot\n");
    return -1;
  }
  const CSizeN grid(m_nNx, m_nNz);
  for (int k = 0; k < n; k++) {
    const float* pSrc = Grab2DSnapshot('X', szComponents[k]);
    if (!pSrc) {
      delete[] pPlanes;
      u_Error("Error! Unable to acquire 2D snapshot from compute device.\n");
      return -1;
    }
    float* pOut = pPlanes + k * nPlane;
    for (int j = 0; j < nzs; j++) {
      const double y = (j * (ua.z1 - ua.z0) / (nzs > 1 ? nzs - 1 : 1) + (ua.z0 - gz0)) * (m_nNz - 1) / (gz1 - gz0);
      for (int i = 0; i < nxs; i++) {
        const double x = (i * (ua.x1 - ua.x0) / (nxs > 1 ? nxs - 1 : 1) + (ua.x0 - gx0)) * (m_nNx - 1) / (gx1 - gx0);
        pOut[(size_t)j * nxs + i] = (float)biline(grid, pSrc, x, y);
      }
    }
  }

  CPointR ptSrc(m_ptShot.x, m_ptShot.z);
  char szComps[9] = {0};
  strncpy(szComps, szComponents, 8);
  auto plane = [&](float* p, int nRows, int k) -> float* { return k < n ? p + (size_t)k * nxs * nRows : nullptr; };

  if (GetGroupSize() < 2) {
    C3DSizeN size(nxs, nzs, 1);
    CCubeR cube(ua.x0, ua.z0, m_fSnapNext, ua.x1, ua.z1, m_fSnapNext);
    CSdsPC sds;
    const bool bOk = sds.OnAddToZPL_SNAP(szFile, size, cube, szComps, ptSrc, plane(pPlanes, nzs, 0),
                                         plane(pPlanes, nzs, 1), plane(pPlanes, nzs, 2), plane(pPlanes, nzs, 3));
    delete[] pPlanes;
    return bOk ? 0 : 1;
  }

  // Depth group: the leader writes the section of the whole grid.
  const double z1All = ua.z0 + (m_nNzAll - 2 * m_nFrame) * m_fH;
  const int nzAll = (int)((z1All - ua.z0) / fStep + 1.5);
  float* pWhole = MergeDistributedRows(m_Set, pPlanes, n, nxs, nzs, nzAll);
  delete[] pPlanes;
  if (!pWhole)
    return 0;
  C3DSizeN size(nxs, nzAll, 1);
  CCubeR cube(ua.x0, ua.z0, m_fSnapNext, ua.x1, z1All, m_fSnapNext);
  CSdsPC sds;
  const bool bOk = sds.OnAddToZPL_SNAP(szFile, size, cube, szComps, ptSrc, plane(pWhole, nzAll, 0),
                                       plane(pWhole, nzAll, 1), plane(pWhole, nzAll, 2), plane(pWhole, nzAll, 3));
  delete[] pWhole;
  return bOk ? 0 : 1;
}

namespace {

// One 3-D snapshot of a component into its own trace file.
void Save3DSnapshot(CCalc3D& calc, const char* szFile, char cComponent, double fDx, double fDy, double fDz,
                    bool bWhole) {
  CCubeR real = calc.GetRealUserArea();
  CCubeN index = calc.GetSampleUserArea();
  if (bWhole) {
    real.x0 = calc.m_cubeGrid.x0;
    real.y0 = calc.m_cubeGrid.y0;
    real.z0 = calc.m_cubeGrid.z0;
    index = CCubeN(0, 0, 0, calc.m_nNx - 1, calc.m_nNy - 1, calc.m_nNz - 1);
  }
  const int nxs = (int)((index.x1 - index.x0 + 1) * (calc.m_fH / fDx));
  const int nys = (int)((index.y1 - index.y0 + 1) * (calc.m_fH / fDy));
  int nzs = calc.m_nSnap3DNz;
  CCubeR out(real.x0, real.y0, real.z0, real.x0 + (nxs - 1) * fDx, real.y0 + (nys - 1) * fDy,
             real.z0 + (nzs - 1) * fDz);
  float* pBuf = nullptr;
  if ((size_t)nxs * nys * nzs != 0) {
    C3DSizeN size(nxs, nys, nzs);
    pBuf = calc.Grab3DSnapshot(index, size, cComponent);
  }
  if (calc.GetGroupSize() > 1) {
    float* pMerged = nullptr;
    int nOut = 0;
    CCubeN box(0, 0, 0, nzs - 1, nys - 1, nxs - 1);
    CCalc3D::MergeDistributedCube(calc.m_Set, box, &nOut, pBuf, &pMerged);
    delete[] pBuf;
    pBuf = pMerged;
    if (calc.GetGroupRank() > 0 || nOut <= 0 || !pBuf) {
      delete[] pBuf;
      return;
    }
    nzs = nOut;
    out.z1 = out.z0 + (nzs - 1) * fDz;
  }
  if (pBuf) {
    CSdsPC sds;
    C3DPointR ptSrc = calc.m_ptShot;
    if (sds.Create3D_file(szFile, C3DSizeN(nxs, nys, nzs), out, 0, DU_M, 0, &ptSrc) && sds.OnOpen(szFile, 1, 1, 0, 0))
      Save3D_data(sds, CCubeN(0, 0, 0, nxs - 1, nys - 1, nzs - 1), pBuf, nxs);
  }
  delete[] pBuf;
}

} // namespace

int CCalc3D::Save3DSnapshots() {
  if (!m_bSnap3DActive)
    return 0;
  double t = 0;
  bool bFound = false;
  for (double v : m_vSnap3DTimes) {
    if (m_fSnap3DLast < v && v <= m_fTime) {
      t = v;
      bFound = true;
      break;
    }
  }
  if (!bFound)
    return 0;
  m_fSnap3DLast = m_fTime;
  for (const char* p = m_szSnap3DComponents; *p; p++) {
    CString strName = GetFileName(FILE_SNAP3D, *p, false, false, t);
    Save3DSnapshot(*this, strName, *p, m_fSnap3DDx, m_fSnap3DDy, m_fSnap3DDz, m_Set.m_bDebug);
  }
  return 0;
}
