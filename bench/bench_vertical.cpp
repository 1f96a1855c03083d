// Throughput of vertical-incidence modelling: T zero-offset traces (default
// 10000) of 2000 samples, each through a profile of 500 model samples (plus
// the frames), computed and written to the two trace files by Calculate on
// 1 and on 2 threads. Reports traces per second.
//
// Usage: bench_vertical [traces] [work directory]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "calc1d/Calc1D.h"
#include "calc3d/CalcShared.h"
#include "run/KelvoApp.h"

int main(int argc, char** argv) {
  const int nTraces = argc > 1 ? atoi(argv[1]) : 10000;
  const std::string strDir = argc > 2 ? argv[2] : "/tmp";
  const int nx = 10, ny = 10, nz = 500;
  const double fH = 4, fDt = 0.0005;

  CKelvoApp app;
  app.m_t0 = 0;
  app.m_dt = 0.001;
  app.m_t1 = 1.999; // 2000 samples
  app.m_strOutputDir = (strDir + "/").c_str();
  app.m_strModelPW = "bench_vertical.sgy";
  CCalc1D c(app);
  c.m_fH = fH;
  c.m_fDt = fDt;
  c.m_Signal.m_fFrequency = 25;
  if (c.GenerateSignal() != 0)
    return 1;
  c.m_fT1 = app.m_t1;
  c.m_nSeisLen = (size_t)app.GetSeismogramTraceLen();
  c.m_nFrame = 26;
  c.m_nNx = nx, c.m_nNy = ny, c.m_nNz = nz;
  c.m_fModelDx = c.m_fModelDy = 25;
  c.m_fModelDz = fH;
  c.m_cubeModel = CCubeR(0, 0, 0, (nx - 1) * 25.0, (ny - 1) * 25.0, (nz - 1) * fH);
  c.m_cubeSim = c.m_cubeModel;
  c.m_nNzAll = nz + 2 * c.m_nFrame;
  const size_t n = (size_t)nx * ny * nz;
  c.m_pK = new float[n];
  c.m_pB = new float[n];
  // Velocity rising with depth in steps of 40 m, varying laterally.
  for (int z = 0; z < nz; z++)
    for (size_t i = 0; i < (size_t)nx * ny; i++) {
      c.m_pK[z * (size_t)nx * ny + i] = (float)(1800 + 40 * (z / 10) + 5 * (i % 7));
      c.m_pB[z * (size_t)nx * ny + i] = (float)(2000 + 2 * (z / 10));
    }
  calc_FillDamp(c.m_fDamp, fd::kTaperWidth, c.m_nFrame, c.m_fDt);
  calc_ConvertIsotropic(c.m_pK, c.m_pB, nullptr, (size_t)nx * ny, nz, fH, fDt);
  std::vector<C3DPointR> receivers;
  for (int i = 0; i < nTraces; i++)
    receivers.push_back(C3DPointR(i % 97 * 2.3, i % 89 * 2.5, 0));
  c.m_pTraces = &receivers;

  printf("vertical incidence: %d traces of %zu samples, profile of %d points, %d time steps\n", nTraces, c.m_nSeisLen,
         c.m_nNzAll, (int)((c.m_fT1 - c.m_fT0) / c.m_fDt) + 1);
  for (int nThreads = 1; nThreads <= 2; nThreads++) {
    app.m_nThreads = nThreads;
    const auto t0 = std::chrono::steady_clock::now();
    if (c.Calculate() != 0)
      return 1;
    const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    printf("\n%d thread(s): %.2f s, %.0f traces/s\n", nThreads, s, nTraces / s);
  }
  for (char comp : {'Z', 'C'})
    remove(c.GetFileName(0, comp, false, false, 0));
  return 0;
}
