// Wavefield snapshots: vertical sections through the shot appended as
// frames to one file per shot, and 3-D cubes at listed times.
#include <sys/time.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
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

namespace {

// The snapshot file of the shot whose frame could not be written: the later
// frames of that shot are not tried again.
std::string s_strFailedSection;

// Samples the x-z section of the whole grid (n components of c.m_nNx x
// c.m_nNzAll values) on the output grid of step fStep and adds it as a frame
// to the shot's file. A frame that cannot be written is warned about, and
// the shot goes on: its gathers matter more than its pictures.
int WriteSectionFrame(CCalc3D& c, const char* szFile, const float* pWhole, int n, const char* szComponents,
                      double fStep) {
  // The whole grid and its user area; the grid of a group's leader starts
  // where the whole grid does.
  const double h = c.m_fH, fFrame = c.m_nFrame * h;
  const double gx0 = c.m_cubeGrid.x0, gx1 = c.m_cubeGrid.x1;
  const double gz0 = c.m_cubeGrid.z0 - c.m_nZ0 * h, gz1 = gz0 + (c.m_nNzAll - 1) * h;
  const CCubeR ua = c.GetRealUserArea();
  const double ux0 = ua.x0, ux1 = ua.x1, uz0 = gz0 + fFrame, uz1 = gz1 - fFrame;
  const int nxs = (int)((ux1 - ux0) / fStep + 1.5);
  const int nzs = (int)((uz1 - uz0) / fStep + 1.5);
  const size_t nPlane = (size_t)nxs * nzs;
  float* pPlanes = new (std::nothrow) float[nPlane * std::max(n, 1)];
  if (!pPlanes) {
    u_Error("Error! Memory Allocation Error in CCalc2D::AppendZpl2DSnapshot\n");
    return -1;
  }
  // Frame and absorbing layers stay out of the picture.
  const CSizeN grid(c.m_nNx, c.m_nNzAll);
  const size_t nGrid = (size_t)c.m_nNx * c.m_nNzAll;
  for (int k = 0; k < n; k++) {
    float* pOut = pPlanes + k * nPlane;
    for (int j = 0; j < nzs; j++) {
      const double y = (j * (uz1 - uz0) / (nzs > 1 ? nzs - 1 : 1) + (uz0 - gz0)) * (c.m_nNzAll - 1) / (gz1 - gz0);
      for (int i = 0; i < nxs; i++) {
        const double x = (i * (ux1 - ux0) / (nxs > 1 ? nxs - 1 : 1) + (ux0 - gx0)) * (c.m_nNx - 1) / (gx1 - gx0);
        pOut[(size_t)j * nxs + i] = (float)biline(grid, pWhole + k * nGrid, x, y);
      }
    }
  }

  if (s_strFailedSection != szFile) {
    CPointR ptSrc(c.m_ptShot.x, c.m_ptShot.z);
    char szComps[9] = {0};
    strncpy(szComps, szComponents, 8);
    C3DSizeN size(nxs, nzs, 1);
    CCubeR cube(ux0, uz0, c.m_fSnapNext, ux1, uz1, c.m_fSnapNext);
    float* p[4];
    for (int k = 0; k < 4; k++)
      p[k] = k < n ? pPlanes + k * nPlane : nullptr;
    CSdsPC sds;
    if (!sds.OnAddToZPL_SNAP(szFile, size, cube, szComps, ptSrc, p[0], p[1], p[2], p[3])) {
      u_Warning("Warning! Unable to write the 2D snapshot (t=%g) to '%s': no further snapshots of shot #%d are "
                "written; its gathers are saved as usual.\n",
                c.m_fSnapNext, szFile, c.m_nShot);
      s_strFailedSection = szFile;
    }
  }
  delete[] pPlanes;
  return 0;
}

} // namespace

int CCalc3D::AppendZpl2DSnapshot(const char* szFile, char /*cPlane*/, const char* szComponents, double fStep,
                                 bool /*bFlag*/) {
  if (m_fSnapNext <= m_fSnapT0)
    s_strFailedSection.clear(); // the first frame of a shot
  const int n = std::min((int)strlen(szComponents), 8);
  // Planes of the x-z section that this process owns: all of them, or in a
  // depth group its slab without the halo planes of its neighbours.
  const int nZLo = HasUpperNeighbour() ? m_nStart : 0;
  const int nZHi = HasLowerNeighbour() ? m_nNz - m_nStart - 1 : m_nNz - 1;
  const int nRows = std::max(nZHi - nZLo + 1, 0);
  const size_t nRowLen = (size_t)m_nNx;
  float* pOwn = new (std::nothrow) float[(size_t)std::max(n, 1) * nRows * nRowLen];
  if (!pOwn) {
    u_Error("Error! Memory Allocation Error in CCalc2D::AppendZpl2DSnapshot\n");
    return -1;
  }
  int nResult = 0;
  for (int k = 0; k < n && nResult == 0; k++) {
    const float* pSrc = Grab2DSnapshot('X', szComponents[k]);
    if (!pSrc) {
      u_Error("Error! Unable to acquire 2D snapshot from compute device.\n");
      nResult = -1;
      break;
    }
    memcpy(pOwn + (size_t)k * nRows * nRowLen, pSrc + (size_t)nZLo * nRowLen, sizeof(float) * nRows * nRowLen);
  }

  // A depth group stacks the owned planes of its processes, in rank order,
  // into the section of the whole grid on its leader, which then samples it
  // as a lone process samples its own: the file does not depend on how the
  // shot is split.
  float* pWhole = pOwn;
  if (GetGroupSize() > 1) {
    pWhole = MergeDistributedRows(m_Set, pOwn, n, m_nNx, nResult == 0 ? nRows : 0, m_nNzAll);
    delete[] pOwn;
    if (!pWhole || nResult != 0) {
      delete[] pWhole;
      return nResult;
    }
  } else if (nResult != 0) {
    delete[] pOwn;
    return nResult;
  }
  nResult = WriteSectionFrame(*this, szFile, pWhole, n, szComponents, fStep);
  delete[] pWhole;
  return nResult;
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

int CCalc3D::Snap2DPosition(char cPlane) const {
  const int s = (int)(m_fSnapYOffset / m_fH + 0.5);
  if (cPlane == 'Y') {
    const int x = (int)((m_ptShot.x - m_cubeGrid.x0) / m_fH + 0.5) + s;
    return std::min(std::max(x, 0), m_nNx - 1);
  }
  const int y = (int)((m_ptShot.y - m_cubeGrid.y0) / m_fH + 0.5) + s;
  return std::min(std::max(y, 0), m_nNy - 1);
}

fd::TSnapCube CCalc3D::SnapCube(const CCubeN& box, const C3DSizeN& size) const {
  fd::TSnapCube c;
  c.x0 = box.x0;
  c.y0 = box.y0;
  c.z0 = box.z0;
  c.rx = (double)(box.x1 - box.x0 + 1) / size.cx;
  c.ry = (double)(box.y1 - box.y0 + 1) / size.cy;
  c.rz = (double)(box.z1 - box.z0 + 1) / size.cz;
  c.nx = m_nNx;
  c.ny = m_nNy;
  c.m = GetCubeSize();
  c.sx = size.cx;
  c.sy = size.cy;
  return c;
}
