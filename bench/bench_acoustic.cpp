// Throughput of the host acoustic step against the memory bandwidth.
//
// Times one time step (velocity and pressure half-steps) with 1 and 2
// threads: the interior loop alone and the whole step with the taper frame
// on a 256^3 grid, the whole step with PML next to the interior loop on a
// 200^3 grid, and on both the one fused pass over the planes next to the two
// sweeps of the plain steps. The bandwidth is measured in the same run by a read-modify-write
// loop over arrays far larger than the caches; each step figure is then
// given as its share of the bound at 56 bytes a cell update (read P, B, Vx,
// Vy, Vz and K, write Vx, Vy, Vz and P, each 4 bytes). For the PML the
// extra memory traffic is printed as well, the least extra time where the
// step is bound by the bandwidth: a point in the slab of an axis reads a, b
// and the memory and writes the memory for one derivative in each
// half-step, 32 bytes a step.
#include <omp.h>
#include <xmmintrin.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "BenchBandwidth.h"
#include "calc3d/Calc3D_OMP.h"

namespace {

const double kBytesPerCell = 56.0;

using bench::MeasureBandwidth;
using bench::Now;

// A grid of constant coefficients with small noise in the fields, stepped
// in passes of nPass steps (0: two sweeps a step).
void Setup(CCalc3D_OMP& c, int n, bool bPml, int nFrame, int nPass) {
  bench::SetCubicGrid(c, METHOD_ACOUSTIC, n, bPml, nFrame);
  c.m_Set.m_bPlainSteps = nPass == 0;
  c.m_Set.m_nStepsPerPass = std::max(nPass, 1);
  if (c.AllocateMemory(false, true) != 0) {
    std::fprintf(stderr, "allocation failed\n");
    std::exit(1);
  }
  const size_t m = c.GetCubeSize();
  for (size_t i = 0; i < m; i++) {
    c.m_pK[i] = 3000.0f; // a velocity for the PML profile
    c.m_pB[i] = 0.3f;
  }
  if (bPml)
    c.InitPMLProfile();
  for (size_t i = 0; i < m; i++) {
    c.m_pK[i] = 0.3f;
    c.m_pTxx[i] = (float)((i * 2654435761u) % 1000) * 1e-3f;
    c.m_pVx[i] = c.m_pVy[i] = c.m_pVz[i] = 0.0f;
  }
  for (int i = 0; i < fd::kTaperWidth; i++)
    c.m_fDamp[i] = i == 0 ? 0.0f : 0.99f;
}

// Best time of one whole step (both halves) over `reps` passes.
double TimeStep(CCalc3D_OMP& c, int nThreads, int reps) {
  omp_set_num_threads(nThreads);
  bench::AdvancePass(c); // warm-up
  double best = 1e30;
  for (int r = 0; r < reps; r++) {
    const double t0 = Now();
    const int n = bench::AdvancePass(c);
    best = std::min(best, (Now() - t0) / n);
  }
  return best;
}

} // namespace

int main(int argc, char** argv) {
  // Flush denormals to zero as the program does at start.
  _mm_setcsr(_mm_getcsr() | 0x8040);
  // --peer N STEPS THREADS: whole steps with PML on N^3, for bench/peer_devito.py.
  // --peer N STEPS THREADS PASS: the same in passes of PASS steps.
  if ((argc == 5 || argc == 6) && !std::strcmp(argv[1], "--peer")) {
    CCalc3D_OMP c;
    Setup(c, std::atoi(argv[2]), true, fd::FrameWidth(fd::FD_ACOUSTIC, true), argc == 6 ? std::atoi(argv[5]) : 1);
    bench::RunPeerSteps(c, "acoustic", std::atoi(argv[3]), std::atoi(argv[4]));
    return 0;
  }
  const int reps = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
  const size_t nStream = 48u << 20; // 2 x 192 MB

  std::printf("Host acoustic step benchmark (%d repetitions, best taken)\n\n", reps);
  double bw[3] = {0, 0, 0};
  for (int t = 1; t <= 2; t++) {
    bw[t] = MeasureBandwidth(t, nStream, reps + 2);
    std::printf("Bandwidth b[i] += s*a[i], %d thread(s): %.2f GB/s -> bound %.0f Mcell/s at %.0f B/cell\n", t, bw[t],
                bw[t] * 1e3 / kBytesPerCell, kBytesPerCell);
  }
  std::printf("\n");

  // Pairs of configurations on grids of one size are timed in alternation,
  // so that a change in the load of the machine affects both alike.
  struct CConfig {
    const char* szName;
    bool bPml;
    int nFrame;
    int nPass; // steps a pass, 0 for two sweeps a step
  };
  auto pair = [&](int n, const CConfig& ca, const CConfig& cb) {
    const char *nameA = ca.szName, *nameB = cb.szName;
    CCalc3D_OMP a, b;
    Setup(a, n, ca.bPml, ca.nFrame, ca.nPass);
    Setup(b, n, cb.bPml, cb.nFrame, cb.nPass);
    const double cells = (double)(n - 4) * (n - 4) * (n - 4);
    for (int t = 1; t <= 2; t++) {
      double ta = 1e30, tb = 1e30;
      for (int r = 0; r < reps; r++) {
        ta = std::min(ta, TimeStep(a, t, 1));
        tb = std::min(tb, TimeStep(b, t, 1));
      }
      const double bound = bw[t] * 1e3 / kBytesPerCell;
      const double ma = cells / ta / 1e6, mb = cells / tb / 1e6;
      std::printf("%-34s %d thread(s): %8.2f ms/step %8.1f Mcell/s  %5.1f%% of bound\n", nameA, t, ta * 1e3, ma,
                  100.0 * ma / bound);
      std::printf("%-34s %d thread(s): %8.2f ms/step %8.1f Mcell/s  %5.1f%% of bound  (%+.1f%% time)\n", nameB, t,
                  tb * 1e3, mb, 100.0 * mb / bound, 100.0 * (tb / ta - 1.0));
      std::fflush(stdout);
    }
  };
  // Extra bytes of the PML against the interior: slab points of each axis
  // (the zones of nPml layers at both ends of the updated range) times 32.
  auto pmlFloor = [](int n, int nPml) {
    const double inner = n - 4, slab = std::min(2.0 * nPml, inner);
    return 3.0 * slab / inner * 32.0 / kBytesPerCell;
  };
  const int nPml = fd::FdMethod(fd::FD_ACOUSTIC).nPml;
  const int nTaper = fd::FrameWidth(fd::FD_ACOUSTIC, false), nPmlFrame = fd::FrameWidth(fd::FD_ACOUSTIC, true);
  pair(256, {"256^3 interior, two sweeps", false, 0, 0}, {"256^3 interior, fused pass", false, 0, 1});
  pair(256, {"256^3 interior, fused pass", false, 0, 1}, {"256^3 interior, passes of 2 steps", false, 0, 2});
  pair(256, {"256^3 interior, passes of 2 steps", false, 0, 2}, {"256^3 interior, passes of 3 steps", false, 0, 3});
  pair(256, {"256^3 interior, fused pass", false, 0, 1}, {"256^3 whole step, taper frame 38", false, nTaper, 1});
  pair(256, {"256^3 whole step PML, fused pass", true, nPmlFrame, 1},
       {"256^3 whole step PML, passes of 2", true, nPmlFrame, 2});
  pair(200, {"200^3 whole step PML, two sweeps", true, nPmlFrame, 0},
       {"200^3 whole step PML, fused pass", true, nPmlFrame, 1});
  pair(200, {"200^3 interior, fused pass", false, 0, 1}, {"200^3 whole step, PML 21", true, nPmlFrame, 1});
  std::printf("PML %d at 200^3: memory traffic +%.1f%% against the interior loop\n", nPml, 100.0 * pmlFloor(200, nPml));
  return 0;
}
