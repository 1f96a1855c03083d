// The acoustic step on a CUDA device: Gcells/s of the interior and of the
// whole step with PML, against the device's copy bandwidth measured in the
// same run (56 bytes move per cell-update: the roofline).
//   bench_cuda [N [STEPS]]   (default 512, 20)
//   bench_cuda --probe       exit 0 with a device, 77 without
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "calc3d/FDLayout.h"
#include "cuda/kelvo_cuda.h"
#include "survey/ShotPoint.h"

namespace {

// Both half-steps of nSteps steps over the box inside the halo; seconds a step.
double TimeStep(int n, int nSteps) { return CUDA_3DFD_TimeSteps(nSteps, 2, 2, 2, n - 3, n - 3, n - 3); }

// Allocates and loads an n^3 acoustic grid; nPml 0 runs without PML and
// without taper, so that every point takes the interior path.
bool Prepare(int n, int nPml) {
  if (CUDA_3DFD_AllocateMemory(fd::FD_ACOUSTIC, nPml > 0 ? fd::FrameWidth(fd::FD_ACOUSTIC, true) : 0, n, n, n, 0, n, 0,
                               false, false) != 0)
    return false;
  const size_t m = (size_t)n * n * n;
  std::vector<float> k(m, 0.1f), b(m, 0.2f);
  const float damp[fd::kTaperWidth] = {1.0f};
  C3DShotPoint pt{(size_t)(n / 2) * n * n + (size_t)(n / 2) * n + n / 2, 0};
  if (CUDA_3DFD_AllocateMemorySeismogram(1, 0, 0) != 0 ||
      CUDA_3DFD_LoadData(10, 0.001f, fd::TMoment{}, k.data(), nullptr, b.data(), nullptr, 0, 1, &pt, nullptr, nullptr,
                         damp, nullptr) != 0)
    return false;
  const size_t nCount[3] = {(size_t)n * n * nPml, (size_t)n * n * nPml, (size_t)n * n * nPml};
  std::vector<float> coef(nCount[0], 0.5f);
  float* const c[3][8] = {
      {coef.data(), coef.data(), coef.data(), coef.data(), coef.data(), coef.data(), coef.data(), coef.data()},
      {coef.data(), coef.data(), coef.data(), coef.data(), coef.data(), coef.data(), coef.data(), coef.data()},
      {coef.data(), coef.data(), coef.data(), coef.data(), coef.data(), coef.data(), coef.data(), coef.data()}};
  return CUDA_3DFD_LoadPML(fd::FD_ACOUSTIC, nPml, 2, c, nCount) == 0;
}

} // namespace

int main(int argc, char** argv) {
  const bool bProbe = argc > 1 && strcmp(argv[1], "--probe") == 0;
  if (CUDA_GetDeviceCount() < 1 || CUDA_SetDevice(0) != 0) {
    printf("No CUDA device: %s\n", CUDA_GetDeviceName(0));
    return bProbe ? 77 : 0;
  }
  if (bProbe)
    return CUDA_IsCalcTestOK() == 0 ? 0 : 77;
  const int n = argc > 1 ? atoi(argv[1]) : 512;
  const int nSteps = argc > 2 ? atoi(argv[2]) : 20;
  printf("Device: %s, capability %.1f, runtime %.1f\n", CUDA_GetDeviceName(0), CUDA_GetDeviceCapability(0),
         CUDA_GetRuntimeVersion(0));
  const double bw = CUDA_3DFD_CopyBandwidth((size_t)1 << 30, 10);
  const double roof = bw / 56.0; // Gcells/s
  printf("Copy bandwidth: %.0f GB/s; acoustic roofline %.2f Gcells/s at 56 bytes a cell-update\n", bw, roof);
  const double cells = (double)(n - 4) * (n - 4) * (n - 4);
  double tInner = -1, tPml = -1;
  if (Prepare(n, 0)) {
    TimeStep(n, 2);
    tInner = TimeStep(n, nSteps);
  }
  if (Prepare(n, 21)) {
    TimeStep(n, 2);
    tPml = TimeStep(n, nSteps);
  }
  CUDA_3DFD_FreeMemory(true, true, true, true, true);
  if (tInner <= 0 || tPml <= 0) {
    printf("FAILED: the steps did not run\n");
    return 1;
  }
  const double gInner = cells / tInner / 1e9, gPml = cells / tPml / 1e9;
  printf("%d^3, %d steps: interior %.2f Gcells/s = %.0f%% of roofline; whole step with PML %.2f Gcells/s = %.0f%%; "
         "PML overhead %+.0f%%\n",
         n, nSteps, gInner, 100 * gInner / roof, gPml, 100 * gPml / roof, 100 * (tPml / tInner - 1));
  return 0;
}
