// The reference of the step benchmarks (the machine's memory bandwidth,
// measured in the same run as the steps, since the machines are shared) and
// the grid they time.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>

#include <omp.h>

#include "calc3d/Calc3D_OMP.h"
#include "calc3d/FDLayout.h"

namespace bench {

inline double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// GB/s of b[i] += s * a[i], counted as 12 bytes an element, best of `reps`.
inline double MeasureBandwidth(int nThreads, size_t n, int reps) {
  float* a = new float[n];
  float* b = new float[n];
#pragma omp parallel for schedule(static) num_threads(nThreads)
  for (long long i = 0; i < (long long)n; i++) {
    a[i] = 1.0f;
    b[i] = 0.0f;
  }
  double best = 1e30;
  for (int r = 0; r < reps; r++) {
    const float s = 1e-6f * (r + 1);
    const double t0 = Now();
#pragma omp parallel for schedule(static) num_threads(nThreads)
    for (long long i = 0; i < (long long)n; i++)
      b[i] += s * a[i];
    best = std::min(best, Now() - t0);
  }
  volatile float sink = b[n / 2];
  (void)sink;
  delete[] a;
  delete[] b;
  return 12.0 * n / best / 1e9;
}

// An n^3 grid of one process for method nMethod, 10 m and 1 ms steps.
inline void SetCubicGrid(CCalc3D_OMP& c, int nMethod, int n, bool bPml, int nFrame) {
  c.m_Set.m_nMethod = nMethod;
  c.m_bPML = bPml;
  c.m_nFrame = nFrame;
  c.m_nPML = fd::FdMethod(nMethod).nPml;
  c.m_nStart = fd::FdMethod(nMethod).nStart;
  c.m_nNx = c.m_nNy = c.m_nNz = c.m_nNzAll = n;
  c.m_nZ0 = 0;
  c.m_nZ1 = n - 1;
  c.m_fH = 10;
  c.m_fDt = 0.001;
  c.m_Signal.m_fFrequency = 20;
}

// One pass of whole time steps over the updated box: as many steps as the
// grid's settings put in a pass. Returns the steps.
inline int AdvancePass(CCalc3D_OMP& c) {
  const int s = c.m_nStart, n = c.MaxStepsPerPass();
  const int z1 = c.m_nNz - s - 1, y1 = c.m_nNy - s - 1, x1 = c.m_nNx - s - 1;
  if (n <= 1) {
    c.PropagateStep(s, s, s, z1, y1, x1);
    return 1;
  }
  TStepBox box[kMaxStepsPerPass];
  std::fill(box, box + n, TStepBox{s, y1, s, x1});
  c.PropagateSteps(s, z1, box, n);
  return n;
}

// Points a second of `steps` whole time steps of a grid set up for a run
// (PML or taper as set), every point of the n^3 grid counted: the figure a
// peer framework reports for its own grid. Prints it as the peer script
// reads it.
inline double RunPeerSteps(CCalc3D_OMP& c, const char* szMethod, int steps, int nThreads) {
  omp_set_num_threads(nThreads);
  AdvancePass(c); // warm-up
  const double t0 = Now();
  int done = 0;
  while (done < steps)
    done += AdvancePass(c);
  steps = done;
  const double t = Now() - t0;
  const double pts = (double)c.m_nNx * c.m_nNy * c.m_nNz * steps / t;
  std::printf("kelvo %s %d^3 steps %d threads %d (%d a pass): %.3f s, %.1f Mpoints/s\n", szMethod, c.m_nNx, steps,
              nThreads, c.MaxStepsPerPass(), t, pts / 1e6);
  return pts;
}

} // namespace bench
