// Throughput of the host elastic step against the memory bandwidth, the cost
// of the viscoelastic step, and the memory plan of elastic shots.
//
// Times one velocity and one stress half-step with 1 and 2 threads: the
// interior loop alone and the whole step with the taper frame on a 256^3
// grid, the whole step with PML next to the interior loop on a 200^3 grid,
// and on 200^3 the interior loop with L = 3 relaxation mechanisms (Q = 50
// everywhere, and every record neutral) next to the plain elastic one. The
// bandwidth is measured in the same run by a read-modify-write loop over
// arrays far larger than the caches; each step figure is given as its share
// of the bound at 120 bytes a cell update: the velocity half reads the six
// stresses, B and the three velocities and writes the velocities (52 bytes),
// the stress half reads the velocities, the two moduli and the six stresses
// and writes the stresses (68 bytes). A viscoelastic cell adds its L records
// of three floats read and its 6 L memory variables read and written, 60 L
// bytes; a neutral cell reads its records only, 12 L bytes. For the PML the
// extra memory traffic is printed as well, the least extra time where the
// step is bound by the bandwidth: a point in the slab of an axis reads and
// writes the memories of three derivatives and reads a and b of the forward
// and the backward differences in each half-step, 80 bytes a step. The memory
// table calls the estimate of the allocation, which allocates nothing.
//
// Usage: bench_elastic [REPS] [--grid N] [--small N] [--plan]
//   REPS     timed steps per configuration and thread count (default 3)
//   --grid   edge of the grid of the interior and taper case (default 256)
//   --small  edge of the grid of the PML and viscoelastic cases (default 200)
//   --plan   also print the memory plan of each shot of the table
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
#include "calc3d/ViscoCalc.h"

namespace {

const double kBytesPerCell = 120.0;
const double kViscoBytesPerMechanism = 60.0, kNeutralBytesPerMechanism = 12.0;

using bench::MeasureBandwidth;
using bench::Now;

// One configuration of the timed grids.
struct CConfig {
  const char* szName;
  bool bPml;
  int nFrame;
  int L;     // relaxation mechanisms, 0 for none
  double fQ; // quality factor of every cell; 0 gives the neutral records
  int nPass; // steps in one pass over the planes (timed as one); 0: two sweeps a step
  // Bytes of a cell update: the records of neutral cells are read only.
  double Bytes() const { return kBytesPerCell + (fQ >= 3 ? kViscoBytesPerMechanism : kNeutralBytesPerMechanism) * L; }
};

// The grid settings common to the timed shots and the memory table.
void SetGrid(CCalc3D_OMP& c, int n, bool bPml, int nFrame, int L) {
  bench::SetCubicGrid(c, METHOD_ELASTIC, n, bPml, nFrame);
  c.m_Set.m_strModelQ = L > 0 ? "q.sgy" : "";
  c.m_nViscoL = L;
}

// A homogeneous grid (Vp 3000, Vs 1700, density 2000) with small noise in
// the stresses, the coefficients as the model conversion makes them.
void Setup(CCalc3D_OMP& c, int n, const CConfig& cfg) {
  SetGrid(c, n, cfg.bPml, cfg.nFrame, cfg.L);
  c.m_Set.m_bPlainSteps = cfg.nPass == 0;
  c.m_Set.m_nStepsPerPass = std::max(cfg.nPass, 1);
  if (c.AllocateMemory(false, true) != 0) {
    std::fprintf(stderr, "allocation failed\n");
    std::exit(1);
  }
  const size_t m = c.GetCubeSize();
  for (size_t i = 0; i < m; i++) {
    c.m_pK[i] = 3000.0f;
    c.m_pMu[i] = 1700.0f;
    c.m_pB[i] = 2000.0f;
  }
  if (cfg.bPml)
    c.InitPMLProfile();
  c.ConvertIsotropic();
  if (cfg.L > 0) {
    // All cells alike: the records of one cell, copied.
    const int L = cfg.L;
    std::vector<float> tp(L), ts(L), tsig(L);
    float vp = 3000.0f, vs = 1700.0f;
    CViscoCalc vc;
    vc.InitViscoParams(c.m_Signal.m_fFrequency, L, (float)cfg.fQ, (float)cfg.fQ, tp.data(), ts.data(), tsig.data(),
                       false, vp, vs);
    for (size_t i = 0; i < m; i++)
      for (int l = 0; l < L; l++) {
        float* r = c.m_pVisco + (i * L + l) * 3;
        r[0] = tp[l], r[1] = ts[l], r[2] = tsig[l];
      }
    // As the model preparation marks them: planes with a cell of mechanisms.
    c.m_vViscoPlanes.assign(c.m_nNz, tsig[0] < 1.0f ? 1 : 0);
  }
  float* stress[6] = {c.m_pTxx, c.m_pTyy, c.m_pTzz, c.m_pTxy, c.m_pTxz, c.m_pTyz};
  for (int k = 0; k < 6; k++)
    for (size_t i = 0; i < m; i++)
      stress[k][i] = (float)(((i + 977 * k) * 2654435761u) % 1000) * 1e-3f;
  for (int i = 0; i < fd::kTaperWidth; i++)
    c.m_fDamp[i] = i == 0 ? 0.0f : 0.99f;
}

// Time of one whole step and of its halves.
struct CTimes {
  double fU = 1e30, fTau = 1e30;
  double Total() const { return fU + fTau; }
};

// One step; false when a half-step fails (a step not built).
bool Step(CCalc3D_OMP& c, CTimes& t) {
  const int s = c.m_nStart;
  const int z1 = c.m_nNz - s - 1, y1 = c.m_nNy - s - 1, x1 = c.m_nNx - s - 1;
  const double t0 = Now();
  if (!c.m_Set.m_bPlainSteps) {
    const int n = bench::AdvancePass(c);
    t.fU = (Now() - t0) / n, t.fTau = 0;
    return true;
  }
  const int nU = c.PropagateElaWaveU(s, s, s, z1, y1, x1);
  const double t1 = Now();
  const int nTau = c.PropagateElaWaveTau(s, s, s, z1, y1, x1);
  const double t2 = Now();
  t.fU = t1 - t0, t.fTau = t2 - t1;
  return nU == 0 && nTau == 0;
}

void PrintTimes(const char* szName, int nThreads, const CTimes& t, double fCells, double fBytes, double fBw,
                const CTimes* pBase) {
  const double mc = fCells / t.Total() / 1e6, bound = fBw * 1e3 / fBytes;
  std::printf("%-32s %d thr: %8.2f ms/step (U %7.2f + T %7.2f) %7.1f Mcell/s %5.1f%% of bound at %3.0f B", szName,
              nThreads, t.Total() * 1e3, t.fU * 1e3, t.fTau * 1e3, mc, 100.0 * mc / bound, fBytes);
  if (pBase)
    std::printf("  %+6.1f%% time", 100.0 * (t.Total() / pBase->Total() - 1.0));
  std::printf("\n");
  std::fflush(stdout);
}

// Pairs of configurations on grids of one size are timed in alternation, so
// that a change in the load of the machine affects both alike; of each the
// step of the least total time counts.
void TimePair(int n, const CConfig& a, const CConfig& b, const double* bw, int reps) {
  CCalc3D_OMP ca, cb;
  Setup(ca, n, a);
  Setup(cb, n, b);
  const int s = ca.m_nStart;
  const double cells = (double)(n - 2 * s) * (n - 2 * s) * (n - 2 * s);
  for (int t = 1; t <= 2; t++) {
    omp_set_num_threads(t);
    CTimes ta, tb, x;
    if (!Step(ca, x) || !Step(cb, x)) { // warm-up
      std::printf("%d^3: a half-step of the elastic method failed (not built?)\n", n);
      return;
    }
    for (int r = 0; r < reps; r++) {
      Step(ca, x);
      if (x.Total() < ta.Total())
        ta = x;
      Step(cb, x);
      if (x.Total() < tb.Total())
        tb = x;
    }
    PrintTimes(a.szName, t, ta, cells, a.Bytes(), bw[t], nullptr);
    PrintTimes(b.szName, t, tb, cells, b.Bytes(), bw[t], &ta);
  }
}

// MB the shot of an n^3 grid with PML would need, by the allocation's
// estimate; with bPlan its plan is printed as a run prints it.
double MemoryRequired(int n, int L, bool bPlan) {
  CCalc3D_OMP c;
  SetGrid(c, n, true, fd::FrameWidth(fd::FD_ELASTIC, true), L);
  c.AllocateMemory(true, !bPlan);
  return c.m_fMemRequired;
}

} // namespace

int main(int argc, char** argv) {
  // Flush denormals to zero as the program does at start.
  _mm_setcsr(_mm_getcsr() | 0x8040);
  // --peer N STEPS THREADS [PASS]: whole steps with PML on N^3, in passes of
  // PASS steps (default 1), for bench/peer_devito.py.
  if ((argc == 5 || argc == 6) && !std::strcmp(argv[1], "--peer")) {
    CCalc3D_OMP c;
    const int nPass = argc == 6 ? std::max(1, std::atoi(argv[5])) : 1;
    Setup(c, std::atoi(argv[2]), CConfig{"peer", true, fd::FrameWidth(fd::FD_ELASTIC, true), 0, 0, nPass});
    bench::RunPeerSteps(c, "elastic", std::atoi(argv[3]), std::atoi(argv[4]));
    return 0;
  }
  int reps = 3, nGrid = 256, nSmall = 200;
  bool bPlan = false;
  for (int i = 1; i < argc; i++) {
    if (!std::strcmp(argv[i], "--grid") && i + 1 < argc)
      nGrid = std::max(16, std::atoi(argv[++i]));
    else if (!std::strcmp(argv[i], "--small") && i + 1 < argc)
      nSmall = std::max(16, std::atoi(argv[++i]));
    else if (!std::strcmp(argv[i], "--plan"))
      bPlan = true;
    else if (argv[i][0] != '-')
      reps = std::max(1, std::atoi(argv[i]));
    else {
      std::fprintf(stderr, "Usage: bench_elastic [REPS] [--grid N] [--small N] [--plan]\n");
      return 2;
    }
  }
  const size_t nStream = 48u << 20; // 2 x 192 MB

  std::printf("Host elastic step benchmark (%d repetitions, best taken)\n\n", reps);
  double bw[3] = {0, 0, 0};
  for (int t = 1; t <= 2; t++) {
    bw[t] = MeasureBandwidth(t, nStream, reps + 2);
    std::printf("Bandwidth b[i] += s*a[i], %d thread(s): %.2f GB/s -> bound %.0f Mcell/s at %.0f B/cell\n", t, bw[t],
                bw[t] * 1e3 / kBytesPerCell, kBytesPerCell);
  }
  std::printf("\n");

  const int nFrameTaper = fd::FrameWidth(fd::FD_ELASTIC, false), nFramePml = fd::FrameWidth(fd::FD_ELASTIC, true);
  const int nPml = fd::FdMethod(fd::FD_ELASTIC).nPml;
  const CConfig interior{"interior loop alone", false, 0, 0, 0, false};
  const CConfig fused{"interior, fused pass", false, 0, 0, 0, true};
  char szTaper[64], szPml[64];
  std::snprintf(szTaper, sizeof(szTaper), "whole step, taper frame %d", nFrameTaper);
  std::snprintf(szPml, sizeof(szPml), "whole step, PML %d", nPml);
  std::printf("-- %d^3, interior and taper frame\n", nGrid);
  TimePair(nGrid, interior, CConfig{szTaper, false, nFrameTaper, 0, 0, false}, bw, reps);
  TimePair(nGrid, interior, fused, bw, reps);
  TimePair(nGrid, fused, CConfig{"interior, passes of 2 steps", false, 0, 0, 0, 2}, bw, reps);
  std::printf("-- %d^3, interior and PML\n", nSmall);
  TimePair(nSmall, interior, CConfig{szPml, true, nFramePml, 0, 0, false}, bw, reps);
  TimePair(nSmall, CConfig{szPml, true, nFramePml, 0, 0, false},
           CConfig{"whole step PML, fused pass", true, nFramePml, 0, 0, true}, bw, reps);
  TimePair(nSmall, CConfig{"whole step PML, fused pass", true, nFramePml, 0, 0, 1},
           CConfig{"whole step PML, passes of 2", true, nFramePml, 0, 0, 2}, bw, reps);
  // Extra bytes of the PML against the interior: slab points of each axis
  // (the zones of nPml layers at both ends of the updated range) times 80.
  const double inner = nSmall - 2.0 * fd::FdMethod(fd::FD_ELASTIC).nStart, slab = std::min(2.0 * nPml, inner);
  std::printf("PML %d at %d^3: memory traffic +%.1f%% against the interior loop\n", nPml, nSmall,
              100.0 * 3.0 * slab / inner * 80.0 / kBytesPerCell);
  std::printf("-- %d^3, interior, elastic and viscoelastic L = 3\n", nSmall);
  TimePair(nSmall, CConfig{"elastic, L = 0", false, 0, 0, 0, false},
           CConfig{"viscoelastic L = 3, Q = 50", false, 0, 3, 50, false}, bw, reps);
  std::printf("-- %d^3, interior, elastic and L = 3 with every record neutral\n", nSmall);
  TimePair(nSmall, CConfig{"elastic, L = 0", false, 0, 0, 0, false},
           CConfig{"L = 3, records (0, 0, 1)", false, 0, 3, 0, false}, bw, reps);

  std::printf("\nMemory of a shot (elastic, PML, no receivers), MB by the allocation's estimate\n");
  std::printf("%8s %12s %12s\n", "grid", "L = 0", "L = 3");
  for (int n : {200, 400}) {
    const double f0 = MemoryRequired(n, 0, bPlan), f3 = MemoryRequired(n, 3, bPlan);
    std::printf("%5d^3 %12.0f %12.0f\n", n, f0, f3);
  }
  return 0;
}
