// Peak memory of building a model: an acoustic shot on an N x N x N grid
// (default 300, frame included) loads P velocity and density from SEG-Y
// files and converts them to coefficients. The coefficient cubes that the
// shot keeps are allocated first; the benchmark reports how far the peak
// resident size rises above them while InitModel runs.
//
// Usage: bench_model_memory [N] [work directory]
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "calc3d/Calc3D.h"
#include "run/KelvoApp.h"
#include "seisfile/SdsPC.h"

namespace {

// Model cubes only: what an acoustic shot keeps of the model.
class CModelCubes : public CCalc3D {
public:
  ~CModelCubes() override { FreeMemory(true, true, true, true, true); }
  int AllocateMemory(bool bEstimate, bool) override {
    if (bEstimate)
      return 0;
    const size_t n = GetCubeSize();
    m_pK = new float[n]();
    m_pB = new float[n]();
    return 0;
  }
  int AllocateMemorySeismogram() override { return 0; }
  int FreeMemory(bool bModel, bool, bool, bool, bool) override {
    if (bModel) {
      FreeArray(m_pK);
      FreeArray(m_pB);
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
};

// Peak and current resident size of this process in MB.
double ReadStatusMB(const char* key) {
  FILE* fp = fopen("/proc/self/status", "r");
  if (!fp)
    return -1;
  char line[256];
  double v = -1;
  const size_t n = strlen(key);
  while (fgets(line, sizeof(line), fp))
    if (strncmp(line, key, n) == 0)
      v = atof(line + n + 1) / 1024.0;
  fclose(fp);
  return v;
}

bool WriteModel(const char* name, int n, double h, float (*value)(int, int, int)) {
  CSdsPC sds;
  if (!sds.Create3D_file(name, C3DSizeN(n, n, n), CCubeR(0, 0, 0, (n - 1) * h, (n - 1) * h, (n - 1) * h), 0, DU_M, 0,
                         nullptr))
    return false;
  if (!sds.OnOpen(name, 1, 1, 0, 0))
    return false;
  std::vector<float> trace(n);
  for (int y = 0; y < n; y++)
    for (int x = 0; x < n; x++) {
      for (int z = 0; z < n; z++)
        trace[z] = value(x, y, z);
      sds.SetTrace(y * n + x, trace.data(), n);
    }
  return true;
}

float Velocity(int x, int, int z) { return z < 10 ? 0.0f : 1500.0f + 3.0f * z + 0.5f * x; }
float Density(int, int, int z) { return z < 10 ? 0.0f : 1900.0f + 2.0f * z; }

} // namespace

int main(int argc, char** argv) {
  const int N = argc > 1 ? atoi(argv[1]) : 300;
  const std::string dir = argc > 2 ? argv[2] : "/tmp";
  const int F = 26;
  const int nInner = N - 2 * F;
  const double h = 10;
  if (nInner < 4) {
    fprintf(stderr, "grid too small\n");
    return 1;
  }
  MPI_Init(&argc, &argv);
  const std::string vp = dir + "/bench_model_vp.sgy", rho = dir + "/bench_model_rho.sgy";
  if (!WriteModel(vp.c_str(), nInner, h, Velocity) || !WriteModel(rho.c_str(), nInner, h, Density)) {
    fprintf(stderr, "cannot write the model files in %s\n", dir.c_str());
    return 1;
  }

  CModelCubes calc;
  calc.m_Set.m_nMethod = METHOD_ACOUSTIC;
  calc.m_Set.m_strModelPW = vp.c_str();
  calc.m_Set.m_strModelD = rho.c_str();
  calc.m_bPML = false;
  calc.m_nFrame = F;
  calc.m_fH = h;
  calc.m_fDt = 0.001;
  calc.m_nNx = calc.m_nNy = calc.m_nNz = N;
  calc.m_cubeGrid = CCubeR(-F * h, -F * h, -F * h, (N - 1 - F) * h, (N - 1 - F) * h, (N - 1 - F) * h);
  calc.InitDecomposition();
  const size_t nCube = calc.GetCubeSize();
  const double fCubeMB = nCube * sizeof(float) / 1048576.0;
  const size_t i0 = ((size_t)(F + 20) * N + N / 2) * N + N / 2;
  calc.m_vShotPoints = {C3DShotPoint{i0, 0}};
  calc.m_vExcitePoints = {C3DPointR(N / 2 * h, N / 2 * h, 20 * h)};
  calc.m_vRcvIdx = {i0 + 1};
  calc.m_vReceivers = {C3DPointR(N / 2 * h + h, N / 2 * h, 20 * h)};
  calc.m_vRcvInline = calc.m_vRcvCrossline = calc.m_vRcvTraceId = calc.m_vRcvFileId = {0};

  calc.AllocateMemory(false, true);
  const double fBefore = ReadStatusMB("VmHWM:");
  const auto t0 = std::chrono::steady_clock::now();
  const int nResult = calc.InitModel();
  const double fSec = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  const double fPeak = ReadStatusMB("VmHWM:");
  struct rusage ru;
  getrusage(RUSAGE_SELF, &ru);

  printf("grid %d^3 (%zu points), one cube %.1f MB, model files %d^3\n", N, nCube, fCubeMB, nInner);
  printf("InitModel result %d in %.2f s\n", nResult, fSec);
  printf("peak RSS with the kept cubes allocated: %.1f MB\n", fBefore);
  printf("peak RSS after InitModel:               %.1f MB (getrusage maxrss %.1f MB)\n", fPeak, ru.ru_maxrss / 1024.0);
  printf("rise during InitModel:                  %.1f MB = %.2f cubes\n", fPeak - fBefore,
         (fPeak - fBefore) / fCubeMB);
  remove(vp.c_str());
  remove(rho.c_str());
  calc.FreeMemory(true, true, true, true, true);
  MPI_Finalize();
  return nResult == 0 ? 0 : 1;
}
