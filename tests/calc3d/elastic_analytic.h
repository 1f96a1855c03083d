// Analytic wavefields of a homogeneous elastic whole space, for comparing
// traces of the engine: the particle velocity of a point force (near and far
// field) with any source time function given as samples.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

namespace elastic_test {

// Particle velocity v_i(t) at offset (x, y, z) from a point force along axis j
// (0 x, 1 y, 2 z) whose time function is f(t), sampled as f[k] at t0 + k dt
// (0 outside). The displacement is the whole-space solution of a point force:
//   u_i = 1/(4 pi rho) [ (3 gi gj - dij) / r^3 int_{r/a}^{r/b} tau f(t - tau) dtau
//                        + gi gj / (a^2 r) f(t - r/a) - (gi gj - dij) / (b^2 r) f(t - r/b) ],
// g the direction cosines; v_i is its time derivative, taken by central
// differences over dt / nRefine. Returned at each of the given times.
inline std::vector<double> PointForceVelocityAt(int i, int j, double x, double y, double z, double a, double b,
                                                double rho, const std::vector<double>& f, double t0, double dt,
                                                const std::vector<double>& times, int nRefine = 8) {
  const double r = std::sqrt(x * x + y * y + z * z);
  const double g[3] = {x / r, y / r, z / r};
  const double dij = i == j ? 1.0 : 0.0;
  const double gg = g[i] * g[j];
  // f at any time, linear between samples.
  auto F = [&](double t) {
    const double s = (t - t0) / dt;
    if (s < 0 || s >= (double)f.size() - 1)
      return 0.0;
    const int k = (int)s;
    return f[k] + (s - k) * (f[k + 1] - f[k]);
  };
  const double h = dt / nRefine;
  // Displacement at time t; the near-field integral by the midpoint rule.
  auto U = [&](double t) {
    double near = 0;
    const int m = std::max(1, (int)std::ceil((r / b - r / a) / h));
    const double dtau = (r / b - r / a) / m;
    for (int k = 0; k < m; k++) {
      const double tau = r / a + (k + 0.5) * dtau;
      near += tau * F(t - tau) * dtau;
    }
    return ((3 * gg - dij) / (r * r * r) * near + gg / (a * a * r) * F(t - r / a) -
            (gg - dij) / (b * b * r) * F(t - r / b)) /
           (4 * M_PI * rho);
  };
  std::vector<double> v(times.size());
  for (size_t k = 0; k < times.size(); k++)
    v[k] = (U(times[k] + h) - U(times[k] - h)) / (2 * h);
  return v;
}

} // namespace elastic_test
