// Per-point work of a shot besides the steps: the source sample at an
// excitation point, a gather sample at a receiver, an arrival-time cell and a
// snapshot value. Host loops and device kernels call these same functions.
#pragma once

#include <cstddef>

#include "FDLayout.h" // FD_HD

namespace fd {

// Scale of the velocity arrays against physical velocities.
constexpr float kVelocityScale = 15000.0f;

// The wavefields of a shot (stresses other than Txx are null in the acoustic
// method, where Txx is the pressure) and the buoyancy, whose zeros mark the
// air above a free surface.
struct TWaveFields {
  float *vx, *vy, *vz;
  float *txx, *tyy, *tzz, *txy, *txz, *tyz;
  const float* b;
};

// Moment-tensor weights of source types 8, 9 and 10.
struct TMoment {
  float k11, k22, k33, k12, k13, k23;
};

// Adds the source sample s at grid index p. bFlag is bit 0 of the point's
// flags (its sign in the acoustic method), nxy the points of a plane.
FD_HD inline void InjectSource(const TWaveFields& w, bool bAcoustic, int nType, size_t p, bool bFlag, float s,
                               size_t nxy, const TMoment& k) {
  if (bAcoustic) {
    switch (nType) {
    case 1:
      if (w.vx)
        w.vx[p] += bFlag ? s : -s;
      break;
    case 2:
      if (w.vy)
        w.vy[p] += bFlag ? s : -s;
      break;
    case 3:
      if (w.vz)
        w.vz[p] -= s;
      break;
    case 7:
      if (w.txx) {
        if (bFlag)
          w.txx[p] -= s;
        else
          w.txx[p] = s;
      }
      break;
    default:
      if (w.txx)
        w.txx[p] += bFlag ? -s : s;
      break;
    }
    return;
  }
  if (!w.txx || !w.tyy || !w.tzz || !w.txy || !w.txz || !w.tyz)
    return;
  switch (nType) {
  case 0: {
    // Just below a free surface the pressure source changes sign.
    const bool bTop = p >= nxy && w.b && w.b[p - nxy] == 0.0f;
    const float v = bTop ? -s : s;
    w.txx[p] += v;
    w.tyy[p] += v;
    w.tzz[p] += v;
    break;
  }
  case 1: w.vx[p] += s; break;
  case 2: w.vy[p] += s; break;
  case 3: w.vz[p] -= s; break;
  case 4: w.txx[p] += s; break;
  case 5: w.tyy[p] += s; break;
  case 6: w.tzz[p] -= s; break;
  case 7:
    w.txx[p] += s;
    w.tyy[p] += s;
    w.tzz[p] += s;
    break;
  case 9:
  case 10:
    w.txx[p] += s * k.k11;
    w.tyy[p] += s * k.k22;
    w.tzz[p] += s * k.k33;
    // fall through
  case 8:
    w.txy[p] += s * k.k12;
    w.txz[p] += s * k.k13;
    w.tyz[p] += s * k.k23;
    break;
  default: break;
  }
}

// Gather rows of one time sample: receiver r at entry o of each row.
struct TGatherRows {
  float *x, *y, *z, *c;
};

// Records the receiver at grid index q into entry o: velocities in physical
// units, and the mean normal stress (the pressure in the acoustic method).
FD_HD inline void RecordPoint(const TWaveFields& w, size_t q, const TGatherRows& rows, size_t o) {
  rows.x[o] = w.vx[q] * kVelocityScale;
  rows.y[o] = w.vy[q] * kVelocityScale;
  rows.z[o] = w.vz[q] * kVelocityScale;
  if (w.tyy && w.tzz)
    rows.c[o] = (float)((w.txx[q] + w.tyy[q] + w.tzz[q]) / 3.0);
  else
    rows.c[o] = w.txx[q];
}

// Sampling of the arrival-time cubes on the grid.
struct TTimeGrid {
  int nx, ny;         // grid plane
  size_t m;           // grid points
  float rx, ry, rz;   // cube step over grid step
  int nFrame, nAddZ0; // grid index of cube cell 0 in x, y and in z
  int tnx, tny;       // cube plane
};

// Updates cube cell (i, j, k) of type 0 (largest kinetic energy) or 1 (largest
// divergence): where the value at its grid point beats the best so far, the
// time t becomes its arrival time.
FD_HD inline void TimeFieldCell(const TWaveFields& w, const TTimeGrid& g, int nType, float t, int i, int j, int k,
                                float* pTime, float* pMax) {
  const int z = (int)((float)k * g.rz) + g.nAddZ0;
  const int y = (int)((float)j * g.ry) + g.nFrame;
  const int x = (int)((float)i * g.rx) + g.nFrame;
  const size_t sy = g.nx, sz = (size_t)g.nx * g.ny;
  const size_t p = ((size_t)z * g.ny + y) * g.nx + x;
  if (p + sz >= g.m)
    return;
  float v;
  if (nType == 0) {
    v = w.vx[p] * w.vx[p] + w.vy[p] * w.vy[p] + w.vz[p] * w.vz[p];
  } else {
    v = w.vx[p + 1] - w.vx[p] + w.vy[p + sy] - w.vy[p] + w.vz[p + sz] - w.vz[p];
    v = v < 0 ? -v : v;
  }
  const size_t q = ((size_t)k * g.tny + j) * g.tnx + i;
  if (v > pMax[q]) {
    pMax[q] = v;
    pTime[q] = t;
  }
}

// What a snapshot of component c shows: a * f, or (a + b + c) * f where the
// mean normal stress is asked for and the method has three of them. Digits
// 0 to 5 are the six stresses, 'X' and 'Y' the horizontal velocities, 'C'
// the pressure or mean stress, anything else the vertical velocity. Null a:
// the field does not exist.
struct TSnapSource {
  const float *a, *b, *c;
  float f;

  FD_HD float Value(size_t q) const { return b ? (a[q] + b[q] + c[q]) * f : a[q] * f; }
};

FD_HD inline TSnapSource SnapSource(const TWaveFields& w, char cComponent) {
  TSnapSource s{nullptr, nullptr, nullptr, 1.0f};
  switch (cComponent) {
  case '0': s.a = w.txx; break;
  case '1': s.a = w.tyy; break;
  case '2': s.a = w.tzz; break;
  case '3': s.a = w.txy; break;
  case '4': s.a = w.txz; break;
  case '5': s.a = w.tyz; break;
  case 'C':
    s.a = w.txx;
    if (w.tyy && w.tzz) {
      s.b = w.tyy;
      s.c = w.tzz;
      s.f = 0.33333334f;
    }
    break;
  case 'X':
    s.a = w.vx;
    s.f = kVelocityScale;
    break;
  case 'Y':
    s.a = w.vy;
    s.f = kVelocityScale;
    break;
  default:
    s.a = w.vz;
    s.f = kVelocityScale;
    break;
  }
  return s;
}

// A resampled sub-cube: cell (i, j, k) of an sx x sy x sz cube over the grid
// box from (x0, y0, z0), r the box extent over the cube size on each axis.
struct TSnapCube {
  int x0, y0, z0;
  double rx, ry, rz;
  int nx, ny;
  size_t m;
  size_t sx, sy;
};

FD_HD inline float Snap3DCell(const TSnapSource& s, const TSnapCube& c, size_t i, size_t j, size_t k) {
  const int z = (int)(k * c.rz + 0.5) + c.z0;
  const int y = (int)(j * c.ry + 0.5) + c.y0;
  const int x = (int)(i * c.rx + 0.5) + c.x0;
  const long long q = ((long long)z * c.ny + y) * c.nx + x;
  if (q < 0 || (size_t)q >= c.m)
    return 0.0f;
  return s.Value((size_t)q);
}

} // namespace fd
