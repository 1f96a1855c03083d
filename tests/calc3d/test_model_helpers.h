// Shared pieces of the model, signal and shot-preparation tests: a host
// backend that only holds model cubes, a scratch job directory, and SEG-Y
// model writers independent of the system's own trace-file code.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "calc3d/Calc3D.h"
#include "run/KelvoApp.h"
#include "seisfile/ScratchDir.h"
#include "seisfile/SegyTestFile.h"

// A backend with model cubes only: enough to prepare shots and build models.
class CModelOnlyCalc3D : public CCalc3D {
public:
  ~CModelOnlyCalc3D() override { FreeMemory(true, true, true, true, true); }

  int AllocateMemory(bool bEstimate, bool) override {
    if (bEstimate)
      return 0;
    FreeMemory(true, true, true, true, true);
    const size_t n = GetCubeSize();
    m_pK = new float[n]();
    m_pB = new float[n]();
    if (GetMethod() > METHOD_ACOUSTIC)
      m_pMu = new float[n]();
    return 0;
  }
  int AllocateMemorySeismogram() override { return 0; }
  int FreeMemory(bool bModel, bool, bool, bool, bool) override {
    if (bModel)
      for (float** pp : {&m_pK, &m_pB, &m_pMu})
        FreeArray(*pp);
    return 0;
  }
  int LoadModel() override { return 0; }
  int ApplySignal(int) override { return 0; }
  int PropagateAcoWaveU(int, int, int, int, int, int) override { return 0; }
  int PropagateAcoWaveTau(int, int, int, int, int, int) override { return 0; }
  int PropagateElaWaveU(int, int, int, int, int, int) override { return 0; }
  int PropagateElaWaveTau(int, int, int, int, int, int) override { return 0; }
  int PropagateOrtWaveTau(int, int, int, int, int, int) override { return 0; }
  int PropagateAniWaveTau(int, int, int, int, int, int) override { return 0; }
  int PropagateTimeField() override { return 0; }
  int RecordSeismogram() override { return 0; }
  float* GrabShotgather(char) override { return nullptr; }
  float* Grab2DSnapshot(char, char) override { return nullptr; }
  float* Grab3DSnapshot(CCubeN&, C3DSizeN&, char) override { return nullptr; }
  float* GrabTimeField(int) override { return nullptr; }
  int GetCalcPlane(int, int, int, float**, bool) override { return -1; }
  int SetCalcPlane(int, int, int, float*) override { return -1; }
  void FreeCalcPlane(float**) override {}

  // Sets up a bare grid of nx x ny x nz points at step h, frame f, whose
  // simulation box starts at the origin.
  void SetGrid(int nx, int ny, int nz, double h, int f) {
    m_nNx = nx;
    m_nNy = ny;
    m_nNz = nz;
    m_fH = h;
    m_nFrame = f;
    m_nZ0 = 0;
    m_nZ1 = nz - 1;
    m_nNzAll = nz;
    m_cubeGrid = CCubeR(-f * h, -f * h, -f * h, (nx - 1 - f) * h, (ny - 1 - f) * h, (nz - 1 - f) * h);
  }
  size_t Idx(int x, int y, int z) const { return ((size_t)z * m_nNy + y) * m_nNx + x; }
};

// Each test runs in its own scratch directory with its own application
// object; the log of the process lands there too.
class ModelTestDir : public ScratchDirTest {
protected:
  void SetUp() override {
    m_calc.m_Set.m_t0 = 0;
    m_calc.m_Set.m_dt = 0.002;
    m_calc.m_Set.m_t1 = 1.0;
  }
  void TearDown() override { m_calc.FreeMemory(true, true, true, true, true); }

  static std::string WriteFile(const std::string& name, const std::string& text) { return write_text(name, text); }

  CKelvoApp m_app;
  CModelOnlyCalc3D m_calc;
};

#ifdef KELVO_HAVE_SEGYIO
// Writes a SEG-Y file (IBM floats, big-endian) of traces at the given
// lateral positions, all with the same sample interval in microseconds.
inline bool WriteSegyTraces(const std::string& path, int nSamples, int nIntervalUs,
                            const std::vector<std::pair<double, double>>& positions,
                            const std::function<float(int trace, int sample)>& value) {
  std::vector<STestTrace> traces(positions.size());
  for (size_t t = 0; t < positions.size(); t++) {
    traces[t].sx = traces[t].gx = (int)positions[t].first;
    traces[t].sy = traces[t].gy = (int)positions[t].second;
    for (int i = 0; i < nSamples; i++)
      traces[t].samples.push_back(value((int)t, i));
  }
  return segyio_write(path, 1, false, nSamples, nIntervalUs, traces);
}

// A model cube of nx x ny traces at step h from (x0, y0), nz samples from
// depth 0 at step h (the sample interval holds the step in millimetres, read
// back as metres); value(x, y, z) in grid indices.
inline bool WriteSegyModel(const std::string& path, int nx, int ny, int nz, double x0, double y0, double h,
                           const std::function<float(int, int, int)>& value) {
  std::vector<std::pair<double, double>> pos;
  for (int y = 0; y < ny; y++)
    for (int x = 0; x < nx; x++)
      pos.push_back({x0 + x * h, y0 + y * h});
  return WriteSegyTraces(path, nz, (int)(h * 1000 + 0.5), pos, [&](int t, int z) { return value(t % nx, t / nx, z); });
}
#endif
