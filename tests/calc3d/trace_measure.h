// Measures of recorded traces shared by the physics tests.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

namespace trace_test {

template <class T> double PeakAbs(const std::vector<T>& t) {
  double m = 0;
  for (T v : t)
    m = std::max(m, (double)std::fabs(v));
  return m;
}

// Zero crossing between the largest positive and negative lobes of a trace
// within samples [k0, k1), linear between samples, in samples; -1 if none.
template <class T> double MidCrossing(const std::vector<T>& t, int k0 = 0, int k1 = 1 << 30) {
  k0 = std::max(k0, 0);
  k1 = std::min(k1, (int)t.size());
  int iMax = k0, iMin = k0;
  for (int i = k0; i < k1; i++) {
    if (t[i] > t[iMax])
      iMax = i;
    if (t[i] < t[iMin])
      iMin = i;
  }
  for (int i = std::min(iMax, iMin); i < std::max(iMax, iMin); i++)
    if ((t[i] > 0) != (t[i + 1] > 0))
      return i + t[i] / (double)(t[i] - t[i + 1]);
  return -1;
}

// Normalised correlation of two traces (over the shorter length).
template <class T, class U> double Correlation(const std::vector<T>& p, const std::vector<U>& q) {
  double sxy = 0, sxx = 0, syy = 0;
  for (size_t k = 0; k < p.size() && k < q.size(); k++) {
    sxy += (double)p[k] * q[k];
    sxx += (double)p[k] * p[k];
    syy += (double)q[k] * q[k];
  }
  return sxx > 0 && syy > 0 ? sxy / std::sqrt(sxx * syy) : 0.0;
}

// Lag in samples, parabolic between samples, at which q best matches p: the
// maximum over lags of sum p[k] q[k + lag].
template <class T> double Lag(const std::vector<T>& p, const std::vector<T>& q) {
  const int n = (int)p.size();
  std::vector<double> c(2 * n - 1, 0.0);
  for (int lag = -(n - 1); lag < n; lag++)
    for (int k = std::max(0, -lag); k < n && k + lag < n; k++)
      c[lag + n - 1] += (double)p[k] * q[k + lag];
  const int m = (int)(std::max_element(c.begin(), c.end()) - c.begin());
  double d = 0;
  if (m > 0 && m + 1 < (int)c.size()) {
    const double den = c[m - 1] - 2 * c[m] + c[m + 1];
    if (den != 0)
      d = 0.5 * (c[m - 1] - c[m + 1]) / den;
  }
  return m - (n - 1) + d;
}

} // namespace trace_test
