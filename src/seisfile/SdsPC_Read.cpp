// CSdsPC: reading trace samples, resampling a trace onto another axis, and
// assembling scattered traces into a regular cube.
#include <sys/time.h>

#include <cmath>
#include <limits>
#include <new>
#include <vector>

#include "SdsPC.h"

static double now_seconds() {
  timeval tv;
  gettimeofday(&tv, nullptr);
  return tv.tv_sec + tv.tv_usec * 1e-6;
}

bool CSdsPC::GetTrace(int nTrace, float* out, int n) {
  if (n > 0)
    memset(out, 0, sizeof(float) * n);
  if (!m_pSR || nTrace < 0 || nTrace >= m_nTraceCount || !m_fp) {
    u_Print("GetTrace error: isError (%s), %d\n", m_szFileName, nTrace);
    return false;
  }
  int m = 0;
  const SDS_TRACEINFO& r = m_pSR[nTrace];
  const bool bOk = m_Type == ZPL   ? GetTraceZPL(r, out, n, m)
                   : m_Type == REC ? GetTraceREC(r, out, n, m)
                                   : GetTraceSGY(r, out, n, m);
  if (!bOk)
    return false;
  // A short trace is continued with its last sample.
  for (int i = m; i < n; i++)
    out[i] = i <= 1 ? 0.0f : out[i - 1];
  if (m_rValueScale != 1.0 && m_rValueScale != 0.0) {
    float k = (float)m_rValueScale;
    for (int i = 0; i < n; i++)
      out[i] *= k;
  }
  for (int i = 0; i < n; i++)
    if (std::isnan(out[i]))
      out[i] = 0.0f;
  return true;
}

bool CSdsPC::GetTraceSGY(const SDS_TRACEINFO& r, float* out, int n, int& m) {
  if (!SeekTo(m_fp, r.m_nPos)) {
    u_Print("GetTrace SGY file reading error: !FSETPOS\n");
    return false;
  }
  SGY_TRACEHEADER h;
  if (fread(h.m_buf, 1, 240, m_fp) != 240) {
    u_Print("GetTrace SGY file reading error: !fread\n");
    return false;
  }
  int nSize = SizeOfPointSDS(&h);
  if (ProverkaHederaSEGY(&h, m_bSwap) == 0 || nSize == 0) {
    u_Print("GetTrace SGY file reading error: wrong trace header\n");
    return false;
  }
  int nBytes = GetTraceLenSDS(&h);
  if (m_nFileLen > 0 && r.m_nPos + 240 + nBytes > m_nFileLen) {
    u_Print("GetTrace SGY file reading error: !fread\n");
    return false;
  }
  std::vector<unsigned char> buf;
  try {
    buf.resize(nBytes);
  } catch (const std::bad_alloc&) {
    u_Print("GetTrace SGY: memory allocation error! (new buf==NULL)\n");
    return false;
  }
  if (nBytes <= 0 || fread(buf.data(), 1, nBytes, m_fp) != (size_t)nBytes) {
    u_Print("GetTrace SGY file reading error: !fread\n");
    return false;
  }
  m = nBytes / nSize;
  if (m > n)
    m = n;
  DecodeSamples(buf.data(), out, m);
  return true;
}

bool CSdsPC::GetTrace(int nTrace, float* out, double* axis, float* scratch, float fThreshold) {
  const double t0 = axis[0], t1 = axis[1], dt = axis[2];
  int m = dt == 0 ? 1 : (int)((t1 - t0) / dt + 1.5);
  if (m < 1) {
    u_Print("----- GetTrace failed: tracelenR=%d <= 0.\n\n", m);
    return false;
  }
  memset(out, 0, sizeof(float) * m);
  int nNative = 0;
  if (m_pSR && m_nTraceCount > 0 && m_rDT > 0 && m_rT1 >= m_rT0)
    nNative = (int)((m_rT1 - m_rT0) / m_rDT + 1.5);
  if (t0 == m_rT0 && t1 == m_rT1 && dt == m_rDT)
    return GetTrace(nTrace, out, m);

  std::vector<float> own;
  float* src = scratch;
  if (!src) {
    if (nNative < 1) {
      u_Print("----- GetTrace failed: tracelen=%d <= 0.\n\n", nNative);
      return false;
    }
    try {
      own.resize(nNative);
    } catch (const std::bad_alloc&) {
      u_Print("----- Memory allocation error in GetTrace: new float[%d].\n\n", nNative);
      return false;
    }
    src = own.data();
  }
  if (nNative < 1 || !GetTrace(nTrace, src, nNative))
    return false;

  int nOut = dt == 0 ? 1 : (int)((t1 - t0) / dt + 1.1);
  if (nOut > m)
    nOut = m;
  double t = t0;
  for (int j = 0; j < nOut; j++, t += dt) {
    double f = (t - m_rT0) / m_rDT;
    int i = (int)f;
    if (f < -0.01 || i < 0 || i >= nNative)
      continue;
    if (f == i || std::fabs(f - i) < 0.01 || i == nNative - 1) {
      out[j] = src[i];
    } else if (fThreshold > 0 && (src[i] < fThreshold || src[i + 1] < fThreshold)) {
      out[j] = 0.0f;
    } else {
      double w = f - i;
      out[j] = (float)(src[i] * (1.0 - w) + src[i + 1] * w);
    }
    if (dt == 0)
      break;
  }
  return true;
}

bool CSdsPC::Get3D_buf(C3DSizeN size, CCubeR cube, float* buf, SDS_TRACEINFO_ALL* /*pAll*/, int /*nReserved*/,
                       float fThreshold) {
  const double tStart = now_seconds();
  const int nx = size.cx, ny = size.cy, nz = size.cz;
  if (nx < 1 || ny < 1 || nz < 1 || !buf) {
    u_Print("Get3D_buf step error: X=%g, Y=%g, Z=%g", 0.0, 0.0, 0.0);
    return false;
  }
  const size_t nPlane = (size_t)nx * ny;
  memset(buf, 0, sizeof(float) * nPlane * nz);
  double dz = nz == 1 ? 0.0 : (cube.z1 - cube.z0) / (nz - 1);
  double dx = nx < 2 ? 0.0 : (cube.x1 - cube.x0) / (nx - 1);
  double dy = ny < 2 ? 0.0 : (cube.y1 - cube.y0) / (ny - 1);
  if (!(dx > 0))
    dx = dy;
  if (!(dy > 0))
    dy = dx;
  if (!(dx > 0) || !(dy > 0)) {
    u_Print("Get3D_buf step error: X=%g, Y=%g, Z=%g", dx, dy, dz);
    return false;
  }
  std::vector<float> weight, trace, scratch;
  try {
    weight.assign(nPlane, 0.0f);
    trace.assign(nz, 0.0f);
    int nNative = m_rDT > 0 ? (int)((m_rT1 - m_rT0) / m_rDT + 1.5) : 0;
    if (nNative > 0)
      scratch.assign(nNative, 0.0f);
  } catch (const std::bad_alloc&) {
    u_Print("Get3D_buf memory allocation error!\n");
    return false;
  }
  const float fNaN = std::numeric_limits<float>::quiet_NaN();
  double axis[3] = {cube.z0, cube.z1, dz};

  // Distribute each trace to its four neighbouring columns.
  for (int t = 0; t < m_nTraceCount; t++) {
    const SDS_TRACEINFO& r = m_pSR[t];
    if (!GetTrace(t, trace.data(), axis, scratch.empty() ? nullptr : scratch.data(), fThreshold))
      continue;
    double fx = (r.m_fXr - cube.x0) / dx, fy = (r.m_fYr - cube.y0) / dy;
    if (!(std::fabs(fx) < 1e9) || !(std::fabs(fy) < 1e9))
      continue;
    int ix = (int)std::floor(fx), iy = (int)std::floor(fy);
    double wx = fx - ix, wy = fy - iy;
    const int cx[4] = {ix, ix + 1, ix, ix + 1};
    const int cy[4] = {iy, iy, iy + 1, iy + 1};
    const double w[4] = {(1 - wx) * (1 - wy), wx * (1 - wy), (1 - wx) * wy, wx * wy};
    for (int k = 0; k < 4; k++) {
      if (cx[k] < 0 || cx[k] >= nx || cy[k] < 0 || cy[k] >= ny || !(w[k] > 0))
        continue;
      size_t cell = (size_t)cy[k] * nx + cx[k];
      float fw = (float)w[k];
      for (int z = 0; z < nz; z++) {
        float v = trace[z];
        if (fThreshold > 0 && v < fThreshold)
          v = fNaN;
        buf[z * nPlane + cell] += v * fw;
      }
      weight[cell] += fw;
    }
  }
  bool bAny = false;
  for (size_t c = 0; c < nPlane; c++) {
    if (weight[c] > 0) {
      bAny = true;
      for (int z = 0; z < nz; z++)
        buf[z * nPlane + c] /= weight[c];
    }
  }
  if (!bAny) {
    u_Print("Get3D_buf(%s): no trace lies inside the requested area.\n", m_szFileName);
    return false;
  }

  // Fill the columns that no trace reached from their nearest filled
  // neighbours along x and y; cells filled in this pass are marked -99 so
  // that they are not used before the next pass.
  bool bAgain = true;
  while (bAgain) {
    bAgain = false;
    for (int y = 0; y < ny; y++) {
      for (int x = 0; x < nx; x++) {
        size_t c = (size_t)y * nx + x;
        if (weight[c] != 0.0f)
          continue;
        int dist[4] = {0, 0, 0, 0};
        size_t cell[4] = {0, 0, 0, 0};
        for (int k = x + 1; k < nx; k++)
          if (weight[(size_t)y * nx + k] > 0) {
            dist[0] = k - x;
            cell[0] = (size_t)y * nx + k;
            break;
          }
        for (int k = x - 1; k >= 0; k--)
          if (weight[(size_t)y * nx + k] > 0) {
            dist[1] = x - k;
            cell[1] = (size_t)y * nx + k;
            break;
          }
        for (int k = y + 1; k < ny; k++)
          if (weight[(size_t)k * nx + x] > 0) {
            dist[2] = k - y;
            cell[2] = (size_t)k * nx + x;
            break;
          }
        for (int k = y - 1; k >= 0; k--)
          if (weight[(size_t)k * nx + x] > 0) {
            dist[3] = y - k;
            cell[3] = (size_t)k * nx + x;
            break;
          }
        double S = dist[0] + dist[1] + dist[2] + dist[3];
        if (S == 0) {
          bAgain = true;
          continue;
        }
        double w[4], wSum = 0.0;
        for (int k = 0; k < 4; k++) {
          w[k] = dist[k] ? (S - dist[k]) / S : 0.0;
          if (dist[k] && w[k] == 0.0)
            w[k] = 1.0;
          wSum += w[k];
        }
        for (int z = 0; z < nz; z++) {
          double v = 0.0;
          for (int k = 0; k < 4; k++)
            if (w[k] > 0)
              v += w[k] * buf[z * nPlane + cell[k]];
          buf[z * nPlane + c] = (float)(v / wSum);
        }
        weight[c] = -99.0f;
      }
    }
    if (bAgain)
      for (size_t c = 0; c < nPlane; c++)
        if (weight[c] == -99.0f)
          weight[c] = 99.0f;
  }
  if (fThreshold > 0)
    for (size_t i = 0; i < nPlane * nz; i++)
      if (std::isnan(buf[i]))
        buf[i] = 0.0f;
  u_Print("Get3D_buf(%s) elapsed time %6.0f seconds.\n\n", m_szFileName, now_seconds() - tStart);
  return true;
}
