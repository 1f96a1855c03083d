// Throughput of the host stress steps of the anisotropic media against the
// memory bandwidth.
//
// Times the orthorhombic (method 103) and the general (method 104) stress
// half-step with 1 and 2 threads on the interior of a 200^3 grid, without
// PML or taper, in a tilted medium (the general step then has all 21
// stiffnesses non-zero). The velocity half-step is the elastic one
// (bench_elastic). The bandwidth is measured in the same run; each figure is
// given as its share of the bound at its bytes a cell update:
//   orthorhombic: the three velocities and B of the plane above read (16 B),
//   nine stiffnesses read (36 B), six stresses read and written (48 B):
//   100 bytes;
//   general: the same and twelve further stiffnesses read (48 B): 148 bytes.
// The general step's 36 differences a point (108 of them inside the 27
// four-point averages) make it bound by arithmetic rather than memory.
//
// Usage: bench_aniso [REPS] [--grid N]
//   REPS     timed steps per method and thread count (default 3)
//   --grid   edge of the grid (default 200)
#include <omp.h>
#include <xmmintrin.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "BenchBandwidth.h"
#include "calc3d/Calc3D_OMP.h"

namespace {

const double kBytesOrt = 100.0, kBytesAni = 148.0;

using bench::MeasureBandwidth;
using bench::Now;

// A homogeneous tilted medium (Vp 3000, Vs 1700, density 2000, epsilon
// 0.2, delta 0.1, gamma 0.15, tilt 30, azimuth 45; method 103 snaps the
// angles) with small noise in the velocities and stresses.
bool Setup(CCalc3D_OMP& c, int nMethod, int n) {
  bench::SetCubicGrid(c, nMethod, n, false, 0);
  if (c.AllocateMemory(false, true) != 0)
    return false;
  const size_t m = c.GetCubeSize();
  const float thomsen[5] = {0.2f, 0.1f, 0.15f, 30, 45};
  float** cubes[5] = {&c.m_pAnisEps, &c.m_pAnisDelta, &c.m_pAnisGamma, &c.m_pAnisAlpha, &c.m_pAnisPhi};
  for (int k = 0; k < 5; k++) {
    *cubes[k] = new float[m];
    for (size_t i = 0; i < m; i++)
      (*cubes[k])[i] = thomsen[k];
  }
  for (size_t i = 0; i < m; i++) {
    c.m_pK[i] = 3000.0f;
    c.m_pMu[i] = 1700.0f;
    c.m_pB[i] = 2000.0f;
  }
  if (c.ConvertAnisotropic() != 0)
    return false;
  float* f[9] = {c.m_pVx, c.m_pVy, c.m_pVz, c.m_pTxx, c.m_pTyy, c.m_pTzz, c.m_pTxy, c.m_pTxz, c.m_pTyz};
  for (int k = 0; k < 9; k++)
    for (size_t i = 0; i < m; i++)
      f[k][i] = (float)(((i + 977 * k) * 2654435761u) % 1000) * 1e-3f;
  c.m_bSuppressSV = false;
  c.m_fSuppress = 1;
  return true;
}

// Seconds of the best of reps stress half-steps over the interior, or a
// negative number when the step fails.
double TimeStress(CCalc3D_OMP& c, int reps) {
  const int s = c.m_nStart;
  const int z1 = c.m_nNz - s - 1, y1 = c.m_nNy - s - 1, x1 = c.m_nNx - s - 1;
  const bool bGeneral = c.GetMethod() == METHOD_ANISOTROPIC;
  double best = 1e30;
  for (int r = 0; r <= reps; r++) { // the first is a warm-up
    const double t0 = Now();
    const int rc = bGeneral ? c.PropagateAniWaveTau(s, s, s, z1, y1, x1) : c.PropagateOrtWaveTau(s, s, s, z1, y1, x1);
    const double t = Now() - t0;
    if (rc != 0)
      return -1;
    if (r > 0 && t < best)
      best = t;
  }
  return best;
}

} // namespace

int main(int argc, char** argv) {
  // Flush denormals to zero as the program does at start.
  _mm_setcsr(_mm_getcsr() | 0x8040);
  int reps = 3, n = 200;
  for (int i = 1; i < argc; i++) {
    if (!std::strcmp(argv[i], "--grid") && i + 1 < argc)
      n = std::max(16, std::atoi(argv[++i]));
    else if (argv[i][0] != '-')
      reps = std::max(1, std::atoi(argv[i]));
    else {
      std::fprintf(stderr, "Usage: bench_aniso [REPS] [--grid N]\n");
      return 2;
    }
  }
  std::printf("Host anisotropic stress step benchmark, %d^3 interior (%d repetitions, best taken)\n\n", n, reps);
  double bw[3] = {0, 0, 0};
  for (int t = 1; t <= 2; t++) {
    bw[t] = MeasureBandwidth(t, 48u << 20, reps + 2);
    std::printf("Bandwidth b[i] += s*a[i], %d thread(s): %.2f GB/s\n", t, bw[t]);
  }
  std::printf("\n");
  const struct {
    int nMethod;
    const char* szName;
    double fBytes;
  } steps[] = {{METHOD_ORTHORHOMBIC, "orthorhombic stress (103)", kBytesOrt},
               {METHOD_ANISOTROPIC, "general stress (104)", kBytesAni}};
  for (const auto& st : steps) {
    CCalc3D_OMP c;
    if (!Setup(c, st.nMethod, n)) {
      std::fprintf(stderr, "%s: setup failed\n", st.szName);
      return 1;
    }
    const double cells = (double)(n - 2 * c.m_nStart) * (n - 2 * c.m_nStart) * (n - 2 * c.m_nStart);
    for (int t = 1; t <= 2; t++) {
      omp_set_num_threads(t);
      const double sec = TimeStress(c, reps);
      if (sec < 0) {
        std::printf("%s: the step failed\n", st.szName);
        return 1;
      }
      const double mc = cells / sec / 1e6, bound = bw[t] * 1e3 / st.fBytes;
      std::printf("%-28s %d thr: %8.2f ms/step %7.1f Mcell/s %5.1f%% of bound at %3.0f B\n", st.szName, t, sec * 1e3,
                  mc, 100.0 * mc / bound, st.fBytes);
      std::fflush(stdout);
    }
  }
  return 0;
}
