// Shared pieces of the model, signal and shot-preparation tests: a host
// backend that only holds model cubes, a temporary job directory, and
// SEG-Y writers independent of the system's own trace-file code.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "calc3d/Calc3D.h"
#include "run/KelvoApp.h"

#ifdef KELVO_HAVE_SEGYIO
#include <segyio/segy.h>
#endif

// A backend with model cubes only: enough to prepare shots and build models.
class CModelOnlyCalc3D : public CCalc3D {
public:
  bool m_bWithQ = false;
  bool m_bWithAnis = false;

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
    if (m_bWithQ)
      m_pQ = new float[n]();
    if (m_bWithAnis) {
      m_pAnisEps = new float[n]();
      m_pAnisDelta = new float[n]();
      m_pAnisGamma = new float[n]();
      m_pAnisAlpha = new float[n]();
      m_pAnisPhi = new float[n]();
    }
    return 0;
  }
  int AllocateMemorySeismogram() override { return 0; }
  int FreeMemory(bool bModel, bool, bool, bool, bool) override {
    if (bModel) {
      for (float** pp :
           {&m_pK, &m_pB, &m_pMu, &m_pQ, &m_pAnisEps, &m_pAnisDelta, &m_pAnisGamma, &m_pAnisAlpha, &m_pAnisPhi})
        FreeArray(*pp);
    }
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

// Each test runs in its own temporary directory with its own application
// object; the log of the process lands there too.
class ModelTestDir : public ::testing::Test {
protected:
  void SetUp() override {
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof(cwd)), nullptr);
    m_strOldDir = cwd;
    char tmpl[] = "/tmp/kelvo_model_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    m_strDir = tmpl;
    ASSERT_EQ(chdir(m_strDir.c_str()), 0);
    m_calc.m_pApp = &m_app;
    m_calc.m_Signal.m_pApp = &m_app;
    m_app.m_t0 = 0;
    m_app.m_dt = 0.002;
    m_app.m_t1 = 1.0;
  }

  void TearDown() override {
    m_calc.FreeMemory(true, true, true, true, true);
    if (chdir(m_strOldDir.c_str()) != 0)
      ADD_FAILURE() << "cannot return to " << m_strOldDir;
    std::string cmd = "rm -rf '" + m_strDir + "'";
    if (system(cmd.c_str()) != 0)
      ADD_FAILURE() << "cannot remove " << m_strDir;
  }

  static std::string WriteFile(const std::string& name, const std::string& text) {
    std::ofstream f(name);
    f << text;
    return name;
  }

  std::string Log() const {
    std::ifstream f("Kelvo-0.log");
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
  }
  bool LogHas(const std::string& s) const { return Log().find(s) != std::string::npos; }
  size_t LogCount(const std::string& s) const {
    const std::string log = Log();
    size_t n = 0;
    for (size_t p = log.find(s); p != std::string::npos; p = log.find(s, p + 1))
      n++;
    return n;
  }

  std::string m_strOldDir, m_strDir;
  CKelvoApp m_app;
  CModelOnlyCalc3D m_calc;
};

#ifdef KELVO_HAVE_SEGYIO
// Writes a SEG-Y file (IBM floats, big-endian) of traces at the given
// lateral positions, all with the same sample interval in microseconds.
inline bool WriteSegyTraces(const std::string& path, int nSamples, int nIntervalUs,
                            const std::vector<std::pair<double, double>>& positions,
                            const std::function<float(int trace, int sample)>& value) {
  segy_file* fp = segy_open(path.c_str(), "w+b");
  if (!fp)
    return false;
  std::vector<char> text(3200, ' ');
  bool ok = segy_write_textheader(fp, 0, text.data()) == SEGY_OK;
  char bin[400];
  memset(bin, 0, sizeof(bin));
  segy_set_bfield(bin, SEGY_BIN_INTERVAL, nIntervalUs);
  segy_set_bfield(bin, SEGY_BIN_SAMPLES, nSamples);
  segy_set_bfield(bin, SEGY_BIN_FORMAT, SEGY_IBM_FLOAT_4_BYTE);
  ok = ok && segy_write_binheader(fp, bin) == SEGY_OK;
  const long trace0 = 3600;
  const int bsize = segy_trace_bsize(nSamples);
  std::vector<float> buf(nSamples);
  for (size_t t = 0; ok && t < positions.size(); t++) {
    char th[240];
    memset(th, 0, sizeof(th));
    segy_set_field(th, SEGY_TR_SEQ_LINE, (int)t + 1);
    segy_set_field(th, SEGY_TR_SOURCE_GROUP_SCALAR, 1);
    segy_set_field(th, SEGY_TR_SOURCE_X, (int)positions[t].first);
    segy_set_field(th, SEGY_TR_SOURCE_Y, (int)positions[t].second);
    segy_set_field(th, SEGY_TR_GROUP_X, (int)positions[t].first);
    segy_set_field(th, SEGY_TR_GROUP_Y, (int)positions[t].second);
    segy_set_field(th, SEGY_TR_SAMPLE_COUNT, nSamples);
    segy_set_field(th, SEGY_TR_SAMPLE_INTER, nIntervalUs);
    ok = segy_write_traceheader(fp, (int)t, th, trace0, bsize) == SEGY_OK;
    for (int i = 0; i < nSamples; i++)
      buf[i] = value((int)t, i);
    segy_from_native(SEGY_IBM_FLOAT_4_BYTE, nSamples, buf.data());
    ok = ok && segy_writetrace(fp, (int)t, buf.data(), trace0, bsize) == SEGY_OK;
  }
  segy_close(fp);
  return ok;
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
