// The steps of every method on a CUDA device: Gcells/s of the interior and
// of the whole step with PML, against the device's copy bandwidth measured in
// the same run; the roofline of a method is that bandwidth over the bytes a
// cell-update moves (both half-steps: each field read once and the updated
// ones written once, each coefficient read once).
//   bench_cuda [N [STEPS]]   (default 512, 20)
//   bench_cuda --probe       exit 0 with a working device, 77 without
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "calc3d/FDLayout.h"
#include "cuda/kelvo_cuda.h"
#include "survey/ShotPoint.h"

namespace {

struct TMethod {
  const char* szName;
  int nMethod, nViscoL;
  int nBytes; // per cell-update
};

// Both half-steps of nSteps steps over the box inside the halo; seconds a step.
double TimeStep(int n, int s, int nSteps) {
  return CUDA_3DFD_TimeSteps(nSteps, s, s, s, n - s - 1, n - s - 1, n - s - 1);
}

// Allocates and loads an n^3 grid of a homogeneous medium; nPml 0 runs
// without PML and without taper, so that every point takes the interior path.
bool Prepare(const TMethod& t, int n, int nPml) {
  const int s = fd::FdMethod(t.nMethod).nStart;
  if (CUDA_3DFD_AllocateMemory(t.nMethod, nPml > 0 ? fd::FrameWidth(t.nMethod, true) : 0, n, n, n, 0, n, t.nViscoL,
                               false, false) != 0)
    return false;
  const size_t m = (size_t)n * n * n;
  std::vector<float> k(m, 0.1f), mu(m, 0.03f), b(m, 0.2f), visco(3 * (size_t)t.nViscoL * m, 0.01f);
  const float damp[fd::kTaperWidth] = {1.0f};
  C3DShotPoint pt{(size_t)(n / 2) * n * n + (size_t)(n / 2) * n + n / 2, 0};
  if (CUDA_3DFD_AllocateMemorySeismogram(1, 0, 0) != 0 ||
      CUDA_3DFD_LoadData(10, 0.001f, fd::TMoment{}, k.data(), mu.data(), b.data(), nullptr,
                         t.nViscoL ? visco.data() : nullptr, 0, 1, &pt, nullptr, nullptr, damp, nullptr) != 0)
    return false;
  if (t.nMethod >= fd::FD_ORTHORHOMBIC) {
    const float* pC[21];
    for (int c = 0; c < 21; c++)
      pC[c] = c < 6 || c > 8 ? k.data() : mu.data();
    if (CUDA_3DFD_LoadAnisotropicModel(t.nMethod == fd::FD_ANISOTROPIC ? 21 : 9, pC) != 0)
      return false;
  }
  const size_t nCount[3] = {(size_t)n * n * nPml, (size_t)n * n * nPml, (size_t)n * n * nPml};
  std::vector<float> coef(nCount[0], 0.5f);
  float* const p = coef.data();
  float* const c[3][8] = {{p, p, p, p, p, p, p, p}, {p, p, p, p, p, p, p, p}, {p, p, p, p, p, p, p, p}};
  return CUDA_3DFD_LoadPML(t.nMethod, nPml, s, c, nCount) == 0;
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
  printf("Copy bandwidth (read + write): %.0f GB/s\n", bw);
  const TMethod methods[] = {{"acoustic", fd::FD_ACOUSTIC, 0, 56},
                             {"elastic", fd::FD_ELASTIC, 0, 120},
                             {"viscoelastic L=3", fd::FD_ELASTIC, 3, 120 + 3 * 3 * 4 + 3 * 6 * 8},
                             {"orthorhombic", fd::FD_ORTHORHOMBIC, 0, 148},
                             {"general anisotropic", fd::FD_ANISOTROPIC, 0, 196}};
  int nFailed = 0;
  for (const TMethod& t : methods) {
    const int s = fd::FdMethod(t.nMethod).nStart;
    const double cells = (double)(n - 2 * s) * (n - 2 * s) * (n - 2 * s);
    double tInner = -1, tPml = -1;
    if (Prepare(t, n, 0) && TimeStep(n, s, 2) > 0)
      tInner = TimeStep(n, s, nSteps);
    if (Prepare(t, n, fd::FdMethod(t.nMethod).nPml) && TimeStep(n, s, 2) > 0)
      tPml = TimeStep(n, s, nSteps);
    CUDA_3DFD_FreeMemory(true, true, true, true, true);
    if (tInner <= 0 || tPml <= 0) {
      printf("%-20s FAILED: the steps did not run (out of memory at %d^3?)\n", t.szName, n);
      nFailed++;
      continue;
    }
    const double roof = bw / t.nBytes, gInner = cells / tInner / 1e9, gPml = cells / tPml / 1e9;
    printf("%-20s %d^3: roofline %.2f Gcells/s at %d bytes; interior %.2f Gcells/s = %.0f%%; with PML %.2f "
           "Gcells/s = %.0f%%, PML overhead %+.0f%%\n",
           t.szName, n, roof, t.nBytes, gInner, 100 * gInner / roof, gPml, 100 * gPml / roof,
           100 * (tPml / tInner - 1));
  }
  return nFailed ? 1 : 0;
}
