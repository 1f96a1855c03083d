// Helpers of the engine tests: a host calculation object set up in code on a
// homogeneous acoustic model, without job files.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "calc3d/Calc3D_OMP.h"
#include "run/KelvoApp.h"

namespace engine_test {

// Ricker wavelet of frequency f sampled at dt from -2/f, scaled by a, as the
// built-in source signal is.
inline std::vector<float> Ricker(double f, double dt, float a) {
  const double t0 = -2.0 / f;
  const int n = (int)((0 - t0) * 2 / dt + 1.0);
  std::vector<float> v(n);
  double t = t0;
  for (int i = 0; i < n; i++, t += dt) {
    const double u = -(f * M_PI * t) * (f * M_PI * t);
    v[i] = (float)((1 + 2 * u) * std::exp(u)) * a;
  }
  return v;
}

// A calculation object on an nx x ny x nz grid (frame included) of one
// velocity and density, with coefficients ready for stepping.
struct Homogeneous {
  CKelvoApp app;
  CCalc3D_OMP calc;
  // Layers and frame of the PML that Build sets up: the engine's defaults,
  // unless a test asks for a thinner one before building.
  int nPml = 21, nPmlFrame = 26;
  // Halo of the grid: the first updated index on the low side of an axis.
  int nStart = 2;

  // Allocates and builds the model; vpAt(x, y, z), when given, sets the P
  // velocity of each point.
  void Build(int nx, int ny, int nz, bool bPml, double h, double dt, double vp, double rho, double f = 20.0,
             float (*vpAt)(int, int, int) = nullptr) {
    if (calc.m_Set.m_nMethod < METHOD_ACOUSTIC)
      calc.m_Set.m_nMethod = METHOD_ACOUSTIC;
    calc.m_Set.m_nFirstPoint = calc.m_Set.m_nLastPoint = 1;
    calc.m_nShot = 1;
    calc.m_bPML = bPml;
    calc.m_nFrame = bPml ? nPmlFrame : 38;
    calc.m_nPML = nPml;
    calc.m_nStart = nStart;
    calc.m_nNx = nx;
    calc.m_nNy = ny;
    calc.m_nNz = nz;
    calc.m_nNzAll = nz;
    calc.m_nZ0 = 0;
    calc.m_nZ1 = nz - 1;
    calc.m_fH = h;
    calc.m_fDt = dt;
    calc.m_Signal.m_fFrequency = f;
    calc.AllocateMemory(false, true);
    const size_t m = calc.GetCubeSize();
    for (int z = 0; z < nz; z++)
      for (int y = 0; y < ny; y++)
        for (int x = 0; x < nx; x++) {
          const size_t i = ((size_t)z * ny + y) * nx + x;
          calc.m_pK[i] = vpAt ? vpAt(x, y, z) : (float)vp;
          calc.m_pB[i] = (float)rho;
        }
    if (bPml)
      calc.InitPMLProfile();
    const float fdt = (float)dt;
    calc.m_fDamp[0] = 0;
    for (int i = 1; i < calc.m_nFrame; i++)
      calc.m_fDamp[i] = (float)std::exp(-0.18 * (calc.m_nFrame - i) * (calc.m_nFrame - i) * (double)fdt);
    const double s = dt / h;
    const float kc = (float)(s / 15000.0), kb = (float)(s * 15000.0);
    for (size_t i = 0; i < m; i++) {
      const float v = calc.m_pK[i], r = calc.m_pB[i];
      calc.m_pK[i] = v * v * r * kc;
      calc.m_pB[i] = kb / r;
    }
  }

  // The same grid as an isotropic elastic medium: Vs and density uniform,
  // the S wave of the source not suppressed (a physical source).
  void BuildElastic(int nx, int ny, int nz, bool bPml, double h, double dt, double vp, double vs, double rho,
                    double f = 20.0, int nViscoL = 0) {
    calc.m_Set.m_nMethod = METHOD_ELASTIC;
    calc.m_nViscoL = nViscoL;
    Build(nx, ny, nz, bPml, h, dt, vp, rho, f);
    const double s = dt / h;
    const float mu = (float)(vs * vs * rho * s / 15000.0);
    for (size_t i = 0; i < calc.GetCubeSize(); i++)
      calc.m_pMu[i] = mu;
    calc.m_bSuppressSV = false;
    calc.m_fSuppress = 1;
  }

  // PML layers, frame and halo of a method's own grid, for the next Build.
  void UseGridOf(int nMethod) {
    const fd::TFdMethod m = fd::FdMethod(nMethod);
    nPml = m.nPml;
    nPmlFrame = m.nFrame;
    nStart = m.nStart;
  }

  // The same grid as an anisotropic medium of method 103 or 104 (method 104
  // needs the halo of its grid, UseGridOf): velocities along the symmetry
  // axis, density, Thomsen parameters and axis direction (degrees) uniform,
  // converted by the model's own anisotropic stage; the S wave of the source
  // not suppressed.
  void BuildAnisotropic(int nMethod, int nx, int ny, int nz, bool bPml, double h, double dt, double vp, double vs,
                        double rho, double f, const float thomsen[5]) {
    calc.m_Set.m_nMethod = nMethod;
    Build(nx, ny, nz, bPml, h, dt, vp, rho, f);
    const size_t n = calc.GetCubeSize();
    float** cubes[5] = {&calc.m_pAnisEps, &calc.m_pAnisDelta, &calc.m_pAnisGamma, &calc.m_pAnisAlpha, &calc.m_pAnisPhi};
    for (int k = 0; k < 5; k++) {
      if (!*cubes[k])
        *cubes[k] = new float[n];
      std::fill(*cubes[k], *cubes[k] + n, thomsen[k]);
    }
    std::fill(calc.m_pK, calc.m_pK + n, (float)vp);
    std::fill(calc.m_pMu, calc.m_pMu + n, (float)vs);
    std::fill(calc.m_pB, calc.m_pB + n, (float)rho);
    calc.ConvertAnisotropic();
    calc.m_bSuppressSV = false;
    calc.m_fSuppress = 1;
  }

  // A free top as the model's surface handling leaves it: planes above z
  // (z itself excluded) void, K = Mu = B = 0.
  void VoidAbove(int z) {
    const size_t n = (size_t)z * calc.m_nNx * calc.m_nNy;
    for (float* p : {calc.m_pK, calc.m_pMu, calc.m_pB, calc.m_pQ})
      if (p)
        std::fill(p, p + n, 0.0f);
  }

  size_t Idx(int x, int y, int z) const { return ((size_t)z * calc.m_nNy + y) * calc.m_nNx + x; }

  // Source at (x, y, z) of the given type, the built-in wavelet, receivers at
  // the listed points, records from t = 0 every dt up to t1.
  void Shot(int x, int y, int z, int nType, const std::vector<size_t>& rcv, double t1) {
    const double f = calc.m_Signal.m_fFrequency, dt = calc.m_fDt, h = calc.m_fH;
    std::vector<float> w = Ricker(f, dt, (float)(dt * 1e9 / (h * h * h)));
    delete[] calc.m_Signal.m_pSignal;
    calc.m_Signal.m_pSignal = new float[w.size()];
    std::copy(w.begin(), w.end(), calc.m_Signal.m_pSignal);
    calc.m_Signal.m_nLen = (int)w.size();
    calc.m_fT0 = -2.0 / f;
    calc.m_fT1 = t1;
    calc.m_nSourceType = nType;
    calc.m_vShotPoints.clear();
    calc.m_vShotPoints.push_back({Idx(x, y, z), 0});
    // Active region around the source, as shot preparation sets it.
    calc.m_nActiveX0 = x - 1;
    calc.m_nActiveX1 = x + 1;
    calc.m_nActiveY0 = y - 1;
    calc.m_nActiveY1 = y + 1;
    calc.m_nActiveDelay = 0;
    calc.m_vRcvIdx = rcv;
    calc.m_Set.m_t0 = 0;
    calc.m_Set.m_dt = dt;
    calc.m_Set.m_t1 = t1;
    calc.m_nSeisLen = (size_t)(t1 / dt + 0.5) + 1;
    calc.m_nSeisStep = 0;
    calc.AllocateMemorySeismogram();
  }

  int Run() {
    calc.m_fTime = calc.m_fT0;
    calc.LoadModel();
    return calc.CalculateShared();
  }

  // Source samples of the shot, step i at calc.m_fT0 + i dt.
  std::vector<double> Wavelet() const {
    const float* w = calc.m_Signal.m_pSignal;
    return std::vector<double>(w, w + calc.m_Signal.m_nLen);
  }

  // Time at which the velocities of each recorded row stand: a row is taken
  // after the step that brings the clock to its recording time, and the
  // velocities of step i stand half a step before its end, at t0 + (i + 1/2) dt.
  std::vector<double> VelocityTimes() const {
    std::vector<double> t;
    double clock = calc.m_fT0, next = calc.m_Set.m_t0;
    const int n = (int)((calc.m_fT1 - calc.m_fT0) / calc.m_fDt) + 1;
    for (int i = 0; i < n && t.size() < calc.m_nSeisLen; i++) {
      clock += calc.m_fDt;
      for (; next <= clock && t.size() < calc.m_nSeisLen; next += calc.m_Set.m_dt)
        t.push_back(calc.m_fT0 + (i + 0.5) * calc.m_fDt);
    }
    return t;
  }

  // Trace of receiver r of component 'C', one value a recorded sample.
  std::vector<float> Trace(size_t r, char c = 'C') {
    const float* g = calc.GrabShotgather(c);
    const size_t n = calc.m_vRcvIdx.size();
    std::vector<float> t(calc.m_nSeisLen);
    for (size_t s = 0; s < t.size(); s++)
      t[s] = g[s * n + r];
    return t;
  }

  // Traces of the X, Y and Z components of every receiver, in that order.
  std::vector<std::vector<float>> Traces() {
    std::vector<std::vector<float>> t;
    for (size_t r = 0; r < calc.m_vRcvIdx.size(); r++)
      for (char c : {'X', 'Y', 'Z'})
        t.push_back(Trace(r, c));
    return t;
  }
};

} // namespace engine_test
