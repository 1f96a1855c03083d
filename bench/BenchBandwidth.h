// The reference of the step benchmarks: the machine's memory bandwidth,
// measured in the same run as the steps, since the machines are shared.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>

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

} // namespace bench
