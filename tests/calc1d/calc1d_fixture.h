// A vertical-incidence calculation object on cubes built in memory: columns
// of velocity and density on a small lateral grid, receivers, and the
// analytic trace of a layered column.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "calc1d/Calc1D.h"
#include "calc3d/CalcShared.h"
#include "run/KelvoApp.h"

struct CLayer1D {
  double fBottom; // depth of the base, metres; the last layer runs on
  double fVp;
  double fRho;
};

class Calc1DFixture : public ::testing::Test {
protected:
  static constexpr double kH = 2, kDt = 0.0002, kTdt = 0.001, kT1 = 0.3, kFreq = 30;
  CKelvoApp app;
  CCalc1D* pCalc = nullptr;
  std::vector<C3DPointR> receivers;

  void TearDown() override { delete pCalc; }

  // nx x ny columns 10 m apart from (0, 0), nz samples of kH; column (x, y)
  // takes the layers of pick(x, y) (an empty list makes a void column).
  template <class F> void Build(int nx, int ny, int nz, F pick) {
    app.m_t0 = 0;
    app.m_t1 = kT1;
    app.m_dt = kTdt;
    pCalc = new CCalc1D(app);
    CCalc1D& c = *pCalc;
    c.m_fH = kH;
    c.m_fDt = kDt;
    c.m_Signal.m_fFrequency = kFreq;
    ASSERT_EQ(c.GenerateSignal(), 0);
    c.m_fT1 = kT1;
    c.m_nSeisLen = (size_t)app.GetSeismogramTraceLen();
    c.m_nFrame = 26;
    c.m_nNx = nx, c.m_nNy = ny, c.m_nNz = nz;
    c.m_fModelDx = c.m_fModelDy = 10;
    c.m_fModelDz = kH;
    c.m_cubeModel = CCubeR(0, 0, 0, (nx - 1) * 10.0, (ny - 1) * 10.0, (nz - 1) * kH);
    c.m_cubeSim = c.m_cubeModel;
    c.m_nNzAll = nz + 2 * c.m_nFrame;
    const size_t n = (size_t)nx * ny * nz;
    c.m_pK = new float[n]();
    c.m_pB = new float[n]();
    for (int y = 0; y < ny; y++)
      for (int x = 0; x < nx; x++) {
        const std::vector<CLayer1D> layers = pick(x, y);
        for (int z = 0; z < nz && !layers.empty(); z++) {
          size_t k = 0;
          while (k + 1 < layers.size() && z * kH >= layers[k].fBottom)
            k++;
          const size_t i = ((size_t)z * ny + y) * nx + x;
          c.m_pK[i] = (float)layers[k].fVp;
          c.m_pB[i] = (float)layers[k].fRho;
        }
      }
    calc_FillDamp(c.m_fDamp, fd::kTaperWidth, c.m_nFrame, c.m_fDt);
    calc_ConvertIsotropic(c.m_pK, c.m_pB, nullptr, (size_t)nx * ny, nz, kH, kDt);
    c.m_pTraces = &receivers;
  }

  // Pressure trace of receiver i.
  std::vector<float> Trace(int i, bool bPressure = true) {
    CCalc1D_Worker w;
    EXPECT_EQ(w.Init(pCalc->m_nNzAll, pCalc->m_nSeisLen), 0);
    EXPECT_EQ(pCalc->CalculateTrace(i, w), 0);
    const float* p = bPressure ? w.m_pTraceC : w.m_pTraceZ;
    return std::vector<float>(p, p + pCalc->m_nSeisLen);
  }
};

// Primary reflections of a layered column seen at its top: for each
// interface its two-way time and its amplitude, the reflection coefficient
// (Z2 - Z1) / (Z2 + Z1) times the two-way transmission through the
// interfaces above.
struct CPrimary {
  double fTime;
  double fAmp;
};
inline std::vector<CPrimary> primaries(const std::vector<CLayer1D>& layers) {
  std::vector<CPrimary> out;
  double t = 0, fTrans = 1, fTop = 0;
  for (size_t k = 0; k + 1 < layers.size(); k++) {
    t += 2 * (layers[k].fBottom - fTop) / layers[k].fVp;
    fTop = layers[k].fBottom;
    const double z1 = layers[k].fVp * layers[k].fRho, z2 = layers[k + 1].fVp * layers[k + 1].fRho;
    const double r = (z2 - z1) / (z2 + z1);
    out.push_back({t, r * fTrans});
    fTrans *= 1 - r * r;
  }
  return out;
}

// The primaries convolved with a Ricker pulse of frequency f centred on
// each time, sampled at k * dt.
inline std::vector<double> analytic_trace(const std::vector<CPrimary>& p, double f, double dt, size_t n) {
  std::vector<double> out(n, 0.0);
  for (size_t k = 0; k < n; k++)
    for (const CPrimary& e : p) {
      const double a = M_PI * f * (k * dt - e.fTime);
      out[k] += e.fAmp * (1 - 2 * a * a) * std::exp(-a * a);
    }
  return out;
}

// Index of the largest magnitude within +-w samples of sample c.
template <class T> size_t peak_near(const std::vector<T>& v, size_t c, size_t w) {
  size_t best = c;
  for (size_t k = c > w ? c - w : 0; k < v.size() && k <= c + w; k++)
    if (std::fabs((double)v[k]) > std::fabs((double)v[best]))
      best = k;
  return best;
}
