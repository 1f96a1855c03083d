// Model shapes of the example-job generator beyond flat layers: a dipping
// normal fault that throws the layers down on its hanging wall, and a
// salt-like body (an ellipsoid of rock salt), and the cube writer that puts
// any such model on the grid of the job. Included by kelvo_make_job.cpp only.
#pragma once

#include <cmath>
#include <cstdio>
#include <functional>
#include <vector>

#include "common.h"
#include "output/ExampleJob.h"
#include "seisfile/SdsPC.h"

struct CModelShapes {
  // Fault: its trace at the top of the model at x = m_fFaultX, striking along
  // y and dipping towards +x at m_fFaultDip degrees; the block above it (the
  // hanging wall) lies m_fFaultThrow metres deeper.
  bool m_bFault = false;
  double m_fFaultX = 0, m_fFaultDip = 60, m_fFaultThrow = 50;
  // Salt: an ellipsoid centred at (X, Y, Z), of horizontal radius m_fSaltR and
  // vertical half-height m_fSaltH, with the properties of rock salt.
  bool m_bSalt = false;
  double m_fSaltX = 0, m_fSaltY = 0, m_fSaltZ = 0, m_fSaltR = 0, m_fSaltH = 0;
  double m_fSaltVp = 4500, m_fSaltDensity = 2150, m_fSaltQ = 200;

  bool Any() const { return m_bFault || m_bSalt; }

  // Depth at which the layering of the job is looked up for a point: the
  // hanging wall of the fault takes the layers from m_fFaultThrow higher up.
  double LayerDepth(double x, double z) const {
    if (!m_bFault)
      return z;
    const double xFault = m_fFaultX + z / std::tan(m_fFaultDip * std::acos(-1.0) / 180.0);
    return x > xFault ? z - m_fFaultThrow : z;
  }

  bool InSalt(double x, double y, double z) const {
    if (!m_bSalt)
      return false;
    const double u = (x - m_fSaltX) / m_fSaltR, v = (y - m_fSaltY) / m_fSaltR, w = (z - m_fSaltZ) / m_fSaltH;
    return u * u + v * v + w * w <= 1.0;
  }
};

// Components of a model cube.
enum { EXAMPLE_VP = 0, EXAMPLE_VS, EXAMPLE_DENSITY, EXAMPLE_Q };

// Value of a component at a point of the shaped model. S velocity and
// density follow P velocity as in the layered cubes of CExampleJob.
inline double ShapedValue(const CExampleJob& job, const CModelShapes& sh, int nComponent, double x, double y,
                          double z) {
  const bool bSalt = sh.InSalt(x, y, z);
  const double depth = sh.LayerDepth(x, z);
  const double vp = bSalt ? sh.m_fSaltVp : job.VelocityAt(depth);
  switch (nComponent) {
  case EXAMPLE_VS: return vp / std::sqrt(3.0);
  case EXAMPLE_DENSITY: return bSalt ? sh.m_fSaltDensity : 310.0 * std::pow(vp, 0.25);
  case EXAMPLE_Q: return bSalt ? sh.m_fSaltQ : job.QualityAt(depth);
  default: return vp;
  }
}

inline CString JobPath(const CExampleJob& job, const char* szName) {
  return job.m_strDir.IsEmpty() ? CString(szName) : CString(0, "%s/%s", (const char*)job.m_strDir, szName);
}

// Writes a model cube over the job's model extent, sampled every model step,
// with the value of each point from fValue(x, y, z). 0 on success.
inline int WriteModelCube(const CExampleJob& job, const char* szName,
                          const std::function<double(double, double, double)>& fValue) {
  const double step = job.m_fModelStep;
  const int nx = (int)std::floor((job.m_fX1 - job.m_fX0) / step + 0.5) + 1;
  const int ny = (int)std::floor((job.m_fY1 - job.m_fY0) / step + 0.5) + 1;
  const int nz = (int)std::floor((job.m_fZ1 - job.m_fZ0) / step + 0.5) + 1;
  const CCubeR cube(job.m_fX0, job.m_fY0, job.m_fZ0, job.m_fX0 + (nx - 1) * step, job.m_fY0 + (ny - 1) * step,
                    job.m_fZ0 + (nz - 1) * step);
  const CString strPath = JobPath(job, szName);
  CSdsPC sds;
  if (!sds.Create3D_file(strPath, C3DSizeN(nx, ny, nz), cube, 0, DU_M, 0, nullptr) ||
      !sds.OnOpen(strPath, 1, 1, 0, 0) || sds.m_nTraceCount != nx * ny) {
    fprintf(stderr, "kelvo_make_job: unable to write '%s'\n", (const char*)strPath);
    return 1;
  }
  // Traces run x fastest, then y, as Create3D_file lays them out.
  std::vector<float> trace(nz);
  for (int j = 0; j < ny; j++) {
    for (int i = 0; i < nx; i++) {
      for (int k = 0; k < nz; k++)
        trace[k] = (float)fValue(cube.x0 + i * step, cube.y0 + j * step, cube.z0 + k * step);
      sds.SetTrace(j * nx + i, trace.data(), nz); // encodes its buffer in place
    }
  }
  return 0;
}

// Writes the model cubes of the job again with the fault and salt body in
// them (the layered ones of CExampleJob are replaced).
inline int WriteShapedModel(const CExampleJob& job, const CModelShapes& sh) {
  struct {
    bool bWanted;
    const char* szName;
    int nComponent;
  } cubes[] = {{true, CExampleJob::VP_FILE, EXAMPLE_VP},
               {job.m_bVs, CExampleJob::VS_FILE, EXAMPLE_VS},
               {job.m_bDensity, CExampleJob::DENSITY_FILE, EXAMPLE_DENSITY},
               {job.m_bQ, CExampleJob::Q_FILE, EXAMPLE_Q}};
  for (const auto& c : cubes) {
    if (!c.bWanted)
      continue;
    const int nComponent = c.nComponent;
    if (WriteModelCube(job, c.szName,
                       [&](double x, double y, double z) { return ShapedValue(job, sh, nComponent, x, y, z); }) != 0)
      return 1;
  }
  return 0;
}
