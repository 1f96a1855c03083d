// CSdsPC: the SDS trace format (.rec, .sec): 80-byte trace headers without a
// file header, samples as native floats, 16- or 32-bit integers or 8-bit
// differences.
#include <algorithm>
#include <climits>
#include <cmath>
#include <new>
#include <vector>

#include "SdsCodec.h"
#include "SdsPC.h"

static const int SDS_HEADER_BYTES = 80;

// A double as an int32, truncated toward zero and held inside the range.
static int32_t clamp_int32(double v) {
  if (!(v > INT32_MIN))
    return std::isnan(v) ? 0 : INT32_MIN;
  if (v >= INT32_MAX)
    return INT32_MAX;
  return (int32_t)v;
}

// A coordinate through a scaler, in single precision, rounded.
static int32_t scaled_coord(float v, int s) {
  float r = v;
  if (s > 1)
    r = v / (float)s;
  else if (s < -1)
    r = v * (float)std::abs(s);
  return clamp_int32(std::floor(r + 0.5f));
}

void sds_EncodeT1(const float* in, int n, unsigned char* out) {
  if (n < 1)
    return;
  double f0 = std::floor((double)in[0] + 0.5);
  if (std::isnan(f0))
    f0 = 0;
  const int16_t v0 = (int16_t)(f0 < INT16_MIN ? INT16_MIN : f0 > INT16_MAX ? INT16_MAX : f0);
  out[0] = (unsigned char)(v0 & 0xFF);
  // Each difference is taken from the value the reader will have, so that
  // the rounding of one does not carry into the next.
  int v = v0;
  for (int i = 1; i <= n - 2; i++) {
    const int32_t d = clamp_int32(std::floor((double)in[i] - v + 0.5));
    out[i] = (unsigned char)(d & 0xFF);
    v += (int8_t)out[i];
  }
  out[n - 1] = (unsigned char)((v0 >> 8) & 0xFF);
}

void sds_DecodeT1(const unsigned char* in, int n, float* out) {
  if (n < 1)
    return;
  int v = (int16_t)(uint16_t)(in[0] | (in[n - 1] << 8));
  out[0] = (float)v;
  for (int i = 1; i <= n - 2; i++) {
    v += (int8_t)in[i];
    out[i] = (float)v;
  }
  if (n >= 2)
    out[n - 1] = out[n - 2];
}

int CSdsPC::SizeOfFormat(const char* fmt, SGYDATATYPE* pType) {
  static const struct {
    char sz[3];
    int nSize;
    SGYDATATYPE type;
  } s_formats[] = {
      {"R4", 4, SGY_FLOAT}, {"I2", 2, SGY_INT2}, {"I4", 4, SGY_INT4}, {"T1", 1, SGY_T1}, {"R2", 0, SGY_NONE}};
  if (!fmt)
    return 0;
  for (const auto& f : s_formats)
    if (fmt[0] == f.sz[0] && fmt[1] == f.sz[1]) {
      if (pType)
        *pType = f.type;
      return f.nSize;
    }
  return 0;
}

int CSdsPC::SizeOfPointSDS(SDS_TRACEHEADER* h) {
  if (!h || h->GetInt32(40) >= h->GetInt32(44) || h->GetInt32(56) == 0)
    return 0;
  return SizeOfFormat(reinterpret_cast<const char*>(h->m_buf + 36));
}

int CSdsPC::GetTraceLenSDS(SDS_TRACEHEADER* h) {
  const int nSize = SizeOfPointSDS(h);
  if (nSize == 0)
    return 0;
  const int64_t q = ((int64_t)h->GetInt32(44) - h->GetInt32(40)) / h->GetInt32(56);
  const int64_t nBytes = nSize * q;
  return nBytes > 0 && nBytes <= INT_MAX ? (int)nBytes : 0;
}

void CSdsPC::SetSDSTraceFields(SDS_TRACEHEADER& h, const int* ids, const SDS_TRACEINFO& info) const {
  const float k = bFOOT ? 0.3048f : 1.0f;
  const int32_t xs = scaled_coord(info.m_fXs * k, COOR_SCALER), xr = scaled_coord(info.m_fXr * k, COOR_SCALER);
  h.SetInt32(0, ids[0]);
  h.SetInt32(4, ids[1]);
  h.SetInt32(8, ids[0]);
  h.SetInt32(12, COOR_SCALER);
  h.SetInt32(16, ids[0]);
  h.SetInt32(20, xs);
  h.SetInt32(24, (int32_t)(((int64_t)xs + xr) / 2));
  h.SetInt32(28, xr);
  h.SetInt32(72, scaled_coord(info.m_fYs * k, COOR_SCALER));
  h.SetInt32(76, scaled_coord(info.m_fYr * k, COOR_SCALER));
}

SDS_TRACEHEADER CSdsPC::CreateSDSHeaderTrace(int* ids, SDS_TRACEINFO info, double* param, DATAUNIT unit, int nFormat) {
  SDS_TRACEHEADER h;
  memset(h.m_buf, 0, sizeof(h.m_buf));
  double t0 = param[0], t1 = param[1], dt = param[2];
  if (bFOOT && unit == DU_M) {
    t0 *= 0.3048;
    t1 *= 0.3048;
    dt *= 0.3048;
  }
  // The axis in whole units: seconds become milliseconds, or microseconds
  // when the step is shorter than a millisecond.
  double mult = dt >= 1 ? 1.0 : 1000.0;
  if (mult * dt < 1)
    mult = 1000000.0;
  const int32_t nStart = clamp_int32(mult * t0 + 0.5);
  const int32_t nStep = clamp_int32(mult * dt + 0.5);
  const int32_t nEnd = clamp_int32((double)nStep + clamp_int32(mult * t1 + 0.5));
  SetSDSTraceFields(h, ids, info);
  memcpy(h.m_buf + 36, nFormat == 0 ? "R4  " : nFormat == 1 ? "I2  " : "T1  ", 4);
  h.SetInt32(40, nStart);
  h.SetInt32(44, nEnd);
  h.SetInt32(48, nStart);
  h.SetInt32(52, std::min(nEnd, clamp_int32((double)nStart + clamp_int32(0.5 + (t1 - t0) / dt))));
  h.SetInt32(56, nStep);
  h.SetInt32(60, 100);
  memcpy(h.m_buf + 64, "SP01", 4);
  memcpy(h.m_buf + 68, "    ", 4);
  return h;
}

// Where the header keeps other positions than this system writes: elevations
// after -100 at offset 60, or a whole position set marked by 'V' or 'Z'.
static void apply_sds_variants(SDS_TRACEINFO& r, const SDS_TRACEHEADER& h) {
  auto i2f = [&h](int off) { return (float)h.GetInt32(off); };
  auto bits = [&h](int off) { return h.GetFloat(off); };
  if (h.GetInt32(60) == -100) {
    r.m_fZs = i2f(48);
    r.m_fZr = i2f(52);
  }
  if (h.m_buf[66] == 'V') {
    r.m_fXr = bits(32), r.m_fYr = i2f(24), r.m_fZr = i2f(20);
    r.m_fXs = bits(68), r.m_fYs = bits(72), r.m_fZs = bits(76);
  } else if (h.m_buf[66] == 'Z') {
    r.m_fXr = i2f(20), r.m_fYr = i2f(24), r.m_fZr = bits(32);
    r.m_fXs = bits(68), r.m_fYs = bits(72), r.m_fZs = bits(76);
  }
}

bool CSdsPC::ScanREC(CString& strError) {
  SDS_TRACEHEADER h;
  if (fread(h.m_buf, 1, SDS_HEADER_BYTES, m_fp) != (size_t)SDS_HEADER_BYTES) {
    strError = "!fread(sds) Trace #1\n";
    return false;
  }
  const int nBytes = GetTraceLenSDS(&h);
  if (nBytes < 2) {
    strError = "Trace #1 is not read!\n";
    return false;
  }
  // The axis of the file is that of its first trace.
  SizeOfFormat(reinterpret_cast<const char*>(h.m_buf + 36), &m_DataType);
  const int32_t nStart = h.GetInt32(40), nEnd = h.GetInt32(44), nStep = h.GetInt32(56);
  m_rT0 = nStart;
  m_rDT = nStep;
  m_rT1 = (double)nEnd - nStep;
  m_nTraceLen = (int)(((int64_t)nEnd - nStart) / nStep);

  int64_t nEstimate = m_nFileLen / ((int64_t)nBytes + SDS_HEADER_BYTES);
  nEstimate = std::max<int64_t>(1, std::min<int64_t>(nEstimate, 0x3FFFFFFF));
  if (!SeekTo(m_fp, 0)) {
    strError = "Error: !FSETPOS (0)\n";
    return false;
  }
  m_pSR = new (std::nothrow) SDS_TRACEINFO[nEstimate];
  if (!m_pSR) {
    strError.Format("Memory allocation error (new SDS_TRACEINFO[%d])\n", (int)nEstimate);
    return false;
  }
  int nCapacity = (int)nEstimate;
  m_nTraceCount = -nCapacity;
  int nRead = 0;
  int64_t nPos = 0;
  for (;;) {
    if (nRead == nCapacity) {
      // The estimate assumes every trace as long as the first: a file of
      // shorter traces holds more, and the table grows while data remain.
      if ((m_nFileLen > 0 && nPos + SDS_HEADER_BYTES > m_nFileLen) || nCapacity >= 0x3FFFFFFF)
        break;
      SDS_TRACEINFO* pMore = new (std::nothrow) SDS_TRACEINFO[(size_t)nCapacity * 2];
      if (!pMore)
        break;
      memcpy(pMore, m_pSR, sizeof(SDS_TRACEINFO) * nCapacity);
      delete[] m_pSR;
      m_pSR = pMore;
      nCapacity *= 2;
      m_nTraceCount = -nCapacity;
    }
    if (fread(h.m_buf, 1, SDS_HEADER_BYTES, m_fp) != (size_t)SDS_HEADER_BYTES)
      break;
    const int nLen = GetTraceLenSDS(&h);
    if (nLen < 2)
      break;
    // A trace that runs past the end of the file is a truncated last trace.
    if (m_nFileLen > 0 && nPos + SDS_HEADER_BYTES + nLen > m_nFileLen)
      break;
    m_nTraceBytes = nLen;
    if (h.GetInt32(12) != 0) { // 0: a dead trace, which takes no record
      SDS_TRACEINFO& r = m_pSR[nRead++];
      memset(&r, 0, sizeof(r));
      SetTraceInfo(r, h.m_buf, nullptr);
      apply_sds_variants(r, h);
      r.m_nPos = nPos;
    }
    nPos += SDS_HEADER_BYTES + nLen;
    if (!SeekTo(m_fp, nPos)) {
      strError.Format("Error! File '%s': cannot skip the samples of the trace at byte %lld.\n", m_szFileName,
                      (long long)(nPos - nLen));
      m_nTraceCount = 0;
      return false;
    }
  }
  m_nTraceCount = nRead;
  if (nRead <= 0) {
    strError = "CSdsPC::OnOpen failed: m_nTraceCount<=0\n";
    return false;
  }
  return true;
}

bool CSdsPC::GetTraceREC(const SDS_TRACEINFO& r, float* out, int n, int& m) {
  m = 0;
  if (!SeekTo(m_fp, r.m_nPos)) {
    u_Print("GetTrace SDS file reading error: !FSETPOS\n");
    return false;
  }
  SDS_TRACEHEADER h;
  if (fread(h.m_buf, 1, SDS_HEADER_BYTES, m_fp) != (size_t)SDS_HEADER_BYTES || h.GetInt32(12) == 0) {
    u_Print("GetTrace SDS file reading error: !fread\n");
    return false;
  }
  const int nSize = SizeOfPointSDS(&h);
  if (nSize < 1) {
    u_Print("GetTrace SDS file reading error: wrong SizeOfPointSDS\n");
    return false;
  }
  const int nLen = (int)(GetTraceLenSDS(&h) / (double)nSize + 0.5);
  const bool bT1 = h.m_buf[36] == 'T' && h.m_buf[37] == '1';
  m = std::max(0, std::min(nLen, n));
  // A difference-coded trace is decoded whole: the high byte of its first
  // sample is its last byte, whatever count is asked for.
  const int nRead = bT1 ? nLen : m;
  const int64_t nBytes = (int64_t)nRead * nSize;
  if (m_nFileLen > 0 && r.m_nPos + SDS_HEADER_BYTES + nBytes > m_nFileLen) {
    u_Print("GetTrace SDS file reading error: !fread\n");
    return false;
  }
  std::vector<unsigned char> buf;
  std::vector<float> whole;
  try {
    buf.resize(nBytes);
    if (bT1)
      whole.resize(nLen);
  } catch (const std::bad_alloc&) {
    u_Print("GetTrace SDS: memory allocation error! (new buf==NULL)\n");
    return false;
  }
  if (nBytes > 0 && fread(buf.data(), 1, nBytes, m_fp) != (size_t)nBytes) {
    u_Print("GetTrace SDS file reading error: !fread\n");
    return false;
  }
  const unsigned char* p = buf.data();
  switch (h.m_buf[36]) {
  case 'R': memcpy(out, p, sizeof(float) * m); break;
  case 'I':
    for (int i = 0; i < m; i++) {
      if (nSize == 2) {
        int16_t v;
        memcpy(&v, p + 2 * i, 2);
        out[i] = v;
      } else {
        int32_t v;
        memcpy(&v, p + 4 * i, 4);
        out[i] = (float)v;
      }
    }
    break;
  default: sds_DecodeT1(p, nLen, whole.data()); memcpy(out, whole.data(), sizeof(float) * m);
  }
  return true;
}

void CSdsPC::SetTraceREC(int nTrace, float* data, int n) {
  const int64_t nTarget = m_pSR[nTrace].m_nPos + SDS_HEADER_BYTES;
  std::vector<unsigned char> coded;
  const unsigned char* p = reinterpret_cast<unsigned char*>(data);
  size_t nBytes;
  switch (m_DataType) {
  case SGY_FLOAT: nBytes = (size_t)n * 4; break;
  case SGY_INT2:
    for (int i = 0; i < n; i++) {
      const double v = std::floor((double)data[i] + 0.5);
      const int16_t s = (int16_t)(v < INT16_MIN ? INT16_MIN : v > INT16_MAX ? INT16_MAX : std::isnan(v) ? 0 : v);
      memcpy(reinterpret_cast<unsigned char*>(data) + 2 * i, &s, 2); // never overtakes the floats still to be read
    }
    nBytes = (size_t)n * 2;
    break;
  case SGY_T1: {
    // Always the whole trace: the last byte holds the high byte of the
    // first sample. A shorter input goes on with its last value.
    const int nLen = std::max(n, m_nTraceLen);
    std::vector<float> v(data, data + n);
    v.resize(nLen, data[n - 1]);
    coded.resize(nLen);
    sds_EncodeT1(v.data(), nLen, coded.data());
    p = coded.data();
    nBytes = coded.size();
    break;
  }
  default:
    u_Print(
        "SetTrace SDS: the data type saving is not supported. (Only FLOAT, SHORT and BYTE values are supported.)\n");
    return;
  }
  if (!SeekTo(m_fp, nTarget)) {
    u_Print("SetTrace SDS file writing error: !fseek (%lld from %lld, #id=%d)\n", (long long)nTarget,
            (long long)m_nFileLen, nTrace);
    return;
  }
  if (fwrite(p, 1, nBytes, m_fp) != nBytes)
    u_Print("SetTrace SDS file writing error: !fwrite\n");
}
