// CSdsPC: SEG-Y headers (building, byte order, validation) and samples.
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>

#include "SdsPC.h"
#include "SgyCodec.h"

// Programming errors of callers stop the process with the condition named.
// A caller that breaks a precondition is a programming error: name the
// condition and stop.
static void sds_assert_failed(const char* szCond, int nLine) {
  fprintf(stderr, "Assertion failed: %s, file %s, line %d\n", szCond, "SdsPC", nLine);
  u_Error("Assertion failed: %s, file %s, line %d\n", szCond, "SdsPC", nLine);
  abort();
}
#define SDS_ASSERT(cond, text)                                                                                         \
  do {                                                                                                                 \
    if (!(cond))                                                                                                       \
      sds_assert_failed(text, __LINE__);                                                                               \
  } while (0)

static const int s_traceSwap32[] = {0,  4,  8,  12, 16, 20, 24, 36,  40,  44,  48, 52,
                                    56, 60, 64, 72, 76, 80, 84, 180, 184, 188, 192};
static const int s_traceSwap16[] = {28, 32, 34, 68, 70, 88, 102, 114, 116};
static const int s_fileSwap32[] = {3200, 3204, 3208, 3592};
static const int s_fileSwap16[] = {3212, 3214, 3216, 3218, 3220, 3222, 3224, 3226, 3254, 3590, 3596, 3598};

static const char* unit_text(DATAUNIT unit) {
  switch (unit) {
  case DU_SEC: return "sec";
  case DU_MSEC: return "msec";
  case DU_M: return CSdsPC::bFOOT ? "foot" : "m";
  default: return " ";
  }
}

// Sample interval field and the divisor d of the axis (see CreateSGYHeaderFile).
static int interval_field(double dt, DATAUNIT unit, double& d) {
  d = unit == DU_SEC ? 0.001 : 1.0;
  double v = dt / d * 1000.0;
  if (v > 32000) {
    d = 1.0;
    v = dt * 1000.0;
    if (v > 32000) {
      d = 1000.0;
      v = dt;
    }
  }
  return (int)(v + 0.5);
}

static int samples_field(const double* param) {
  if (!(param[2] > 0))
    return 0;
  return (int)((param[1] - param[0]) / param[2] + 1.5);
}

SGY_FILEHEADER CSdsPC::CreateSGYHeaderFile(int nTraces, double* param, DATAUNIT unit, int nFormat) {
  SGY_FILEHEADER h;
  memset(h.m_buf, 0, sizeof(h.m_buf));
  memset(h.m_buf, ' ', 3200);
  const bool bDepth = unit == DU_M;
  const char* szUnit = unit_text(unit);
  static const char* s_formats[3] = {"16 bit IBM floating point", "32 bit IBM short", "byte"};
  char line[512];
  for (int i = 1; i <= 40; i++) {
    switch (i) {
    case 1: snprintf(line, sizeof(line), "C 1 %-76s", "__ Quarzine Technologies Inc. __"); break;
    case 2:
      snprintf(line, sizeof(line), "C 2 %-76s", bDepth ? "__ SEGY in Depth Format __" : "__ SEGY in Time Format __");
      break;
    case 3:
      snprintf(line, sizeof(line), "C 3 %30s%10.2f%-36s", bDepth ? "__ Start Depth:" : "__ Start Time:", param[0],
               szUnit);
      break;
    case 4:
      snprintf(line, sizeof(line), "C 4 %30s%10.2f%-36s", bDepth ? "__ Stop Depth:" : "__ Stop Time:", param[1],
               szUnit);
      break;
    case 5: snprintf(line, sizeof(line), "C 5 %30s%10.2f%-36s", "__ Sampling Step:", param[2], szUnit); break;
    case 6: snprintf(line, sizeof(line), "C 6 %-30s%-46s", "__ Format:", s_formats[((nFormat % 3) + 3) % 3]); break;
    default: snprintf(line, sizeof(line), "C%2d %-76s", i, "");
    }
    size_t n = strlen(line);
    memcpy(h.m_buf + (i - 1) * 80, line, n < 80 ? n : 80);
  }
  for (int i = 0; i < 3200; i++)
    h.m_buf[i] = sgy_ascii_to_ebcdic(h.m_buf[i]);

  double d;
  int nInterval = interval_field(param[2], unit, d);
  int ns = samples_field(param);
  h.SetInt32(3200, 1);
  h.SetInt32(3204, 1);
  h.SetInt32(3208, 1);
  h.SetInt16(3212, (int16_t)(nTraces > 64000 ? 64000 : nTraces));
  h.SetInt16(3216, (int16_t)nInterval);
  h.SetInt16(3218, (int16_t)nInterval);
  h.SetInt16(3220, (int16_t)ns);
  h.SetInt16(3222, (int16_t)ns);
  h.SetInt16(3224, (int16_t)(nFormat == 0 ? SGY_IBM : SGY_INT2));
  h.SetInt16(3226, 32);
  h.SetInt16(3254, (int16_t)(bFOOT ? 2 : 1));
  h.SetInt16(3590, COMPONENT_SAVE);
  h.SetFloat(3592, VALUE_SCALE_SAVE);
  h.SetInt16(3596, (int16_t)(unit == DU_MSEC ? 1 : unit == DU_M ? 2 : 0));
  h.SetInt16(3598, (int16_t)(int)(param[0] / d));
  for (int off : s_fileSwap32)
    sgy_swap32(h.m_buf + off);
  for (int off : s_fileSwap16)
    sgy_swap16(h.m_buf + off);
  return h;
}

// A coordinate through a SEG-Y scaler, in single precision, rounded.
static int32_t scaled_coord(float v, int s) {
  float r = v;
  if (s > 1)
    r = v / (float)s;
  else if (s < -1)
    r = v * (float)std::abs(s);
  return (int32_t)std::floor(r + 0.5f);
}

SGY_TRACEHEADER CSdsPC::CreateSGYHeaderTrace(int* ids, SDS_TRACEINFO info, double* param, DATAUNIT unit) {
  SGY_TRACEHEADER h;
  memset(h.m_buf, 0, sizeof(h.m_buf));
  double d;
  int nInterval = interval_field(param[2], unit, d);
  int ns = samples_field(param);
  h.SetInt32(0, ids[0]);
  h.SetInt32(4, ids[0]);
  h.SetInt32(8, info.m_nPart);
  h.SetInt32(12, ids[1]);
  h.SetInt32(16, info.m_nPart);
  h.SetInt32(20, ids[0]);
  h.SetInt32(24, ids[0]);
  h.SetInt16(28, 1);
  h.SetInt16(34, 1);
  double dx = (double)info.m_fXs - info.m_fXr, dy = (double)info.m_fYs - info.m_fYr;
  h.SetInt32(36, (int32_t)std::floor(std::sqrt(dx * dx + dy * dy) + 0.5));
  h.SetInt32(40, scaled_coord(-info.m_fZr, ELEV_SCALER));
  h.SetInt32(44, scaled_coord(-info.m_fZs, ELEV_SCALER));
  h.SetInt16(68, (int16_t)ELEV_SCALER);
  h.SetInt16(70, (int16_t)COOR_SCALER);
  h.SetInt32(72, scaled_coord(info.m_fXs, COOR_SCALER));
  h.SetInt32(76, scaled_coord(info.m_fYs, COOR_SCALER));
  h.SetInt32(80, scaled_coord(info.m_fXr, COOR_SCALER));
  h.SetInt32(84, scaled_coord(info.m_fYr, COOR_SCALER));
  h.SetInt16(88, 1);
  h.SetInt16(114, (int16_t)ns);
  h.SetInt16(116, (int16_t)nInterval);
  h.SetInt32(180, (int32_t)(info.m_fXr + 0.5));
  h.SetInt32(184, (int32_t)(info.m_fYr + 0.5));
  if (!PROMAX) {
    h.SetInt32(188, ids[1]);
    h.SetInt32(192, ids[0]);
  } else if (!LINES_ALONG_Y) {
    h.SetInt32(188, info.m_nPart * INLINE_STEP + INLINE_START);
    h.SetInt32(192, (ids[1] - 1) * CROSSLINE_STEP + CROSSLINE_START);
  } else {
    h.SetInt32(188, (ids[1] - 1) * INLINE_STEP + INLINE_START);
    h.SetInt32(192, info.m_nPart * CROSSLINE_STEP + CROSSLINE_START);
  }
  ProverkaHederaSEGY(&h, 1);
  return h;
}

int CSdsPC::ProverkaHederaSEGY(SGY_FILEHEADER* h, int& nSwap) {
  int16_t ns = h->GetInt16(3220);
  int16_t f = h->GetInt16(3224);
  bool bBig = (f < 1 || f > 7) || ns < 0;
  nSwap = bBig ? 1 : 0;
  if (bBig) {
    for (int off : s_fileSwap32)
      sgy_swap32(h->m_buf + off);
    for (int off : s_fileSwap16)
      sgy_swap16(h->m_buf + off);
    ns = h->GetInt16(3220);
    f = h->GetInt16(3224);
  }
  if (f < 1 || f > 7 || ns <= 1)
    return 0;
  if (h->GetInt16(3254) != 2)
    h->SetInt16(3254, 1);
  if (h->GetInt16(3216) == 0)
    h->SetInt16(3216, 1);
  return f;
}

int CSdsPC::ProverkaHederaSEGY(SGY_TRACEHEADER* h, int nSwap) {
  if (nSwap) {
    for (int off : s_traceSwap32)
      sgy_swap32(h->m_buf + off);
    for (int off : s_traceSwap16)
      sgy_swap16(h->m_buf + off);
  }
  return m_DataType;
}

int CSdsPC::SampleSize(SGYDATATYPE t) const {
  switch (t) {
  case SGY_IBM:
  case SGY_INT4:
  case SGY_GAIN4:
  case SGY_IEEE:
  case SGY_FLOAT: return 4;
  case SGY_INT2: return 2;
  default: return 0; // unknown, or a format without a SEG-Y sample size
  }
}

int CSdsPC::SizeOfPointSDS(SGY_TRACEHEADER* /*h*/, SGYDATATYPE* pType) {
  return SampleSize(pType ? *pType : m_DataType);
}

int CSdsPC::GetTraceLenSDS(SGY_TRACEHEADER* h) {
  if (!h)
    return 0;
  int ns = h->GetInt16(114);
  if (ns <= 0)
    ns = m_nTraceLen;
  const int64_t nBytes = (int64_t)SizeOfPointSDS(h) * ns;
  return nBytes <= 0x7FFFFFFF ? (int)nBytes : 0;
}

bool CSdsPC::GetTraceHeader(int nTrace, SGY_TRACEHEADER& h, int bCheck) {
  SDS_ASSERT(m_Type == SGY, "m_Type==SGY");
  SDS_ASSERT(m_fp != nullptr, "m_fp!=(__null)");
  if (!m_pSR || nTrace < 0 || nTrace >= m_nTraceCount)
    return false;
  if (!SeekTo(m_fp, m_pSR[nTrace].m_nPos))
    return false;
  if (fread(h.m_buf, 1, 240, m_fp) != 240)
    return false;
  if (!bCheck)
    return true;
  ProverkaHederaSEGY(&h, m_bSwap);
  return SizeOfPointSDS(&h) > 0;
}

bool CSdsPC::SetTraceHeader(int nTrace, SGY_TRACEHEADER& h, int /*bCheck*/) {
  SDS_ASSERT(m_Type == SGY, "m_Type==SGY");
  SDS_ASSERT(m_fp != nullptr, "m_fp!=(__null)");
  if (SizeOfPointSDS(&h) <= 0)
    return false;
  if (!m_pSR || nTrace < 0 || nTrace >= m_nTraceCount)
    return false;
  ProverkaHederaSEGY(&h, m_bSwap);
  if (!SeekTo(m_fp, m_pSR[nTrace].m_nPos))
    return false;
  if (fwrite(h.m_buf, 1, 240, m_fp) != 240)
    return false;
  return fflush(m_fp) == 0;
}

void CSdsPC::SetDelayTime(SGY_TRACEHEADER& h, double t0, DATAUNIT unit) {
  if (unit == DU_M)
    return;
  const double ms = unit == DU_SEC ? t0 * 1000.0 : t0;
  const long v = std::lround(std::max(-32768.0, std::min(32767.0, ms)));
  h.m_buf[108] = (unsigned char)((v >> 8) & 0xFF);
  h.m_buf[109] = (unsigned char)(v & 0xFF);
}

int CSdsPC::GetDelayTime(const SGY_TRACEHEADER& h) { return (int16_t)((h.m_buf[108] << 8) | h.m_buf[109]); }

bool CSdsPC::IsSgyComplete(const char* name, int& nFound, int& nExpected) {
  nFound = 0;
  nExpected = -1;
  struct stat st;
  if (!name || stat(name, &st) != 0)
    return false;
  SGY_FILEHEADER fh;
  FILE* fp = fopen(name, "rb");
  if (!fp)
    return false;
  const bool bRead = fread(fh.m_buf, 1, 3600, fp) == 3600;
  fclose(fp);
  int nSwap = 0;
  const int nFormat = bRead ? ProverkaHederaSEGY(&fh, nSwap) : 0;
  const int nSample = nFormat ? SampleSize((SGYDATATYPE)nFormat) : 0;
  if (nSample <= 0)
    return false;
  // The count field holds at most 64000 (and is read unsigned): a file that
  // announces 64000 traces may hold more.
  nExpected = (uint16_t)fh.GetInt16(3212);
  const int64_t nTraceBytes = 240 + (int64_t)fh.GetInt16(3220) * nSample;
  const int64_t nData = (int64_t)st.st_size - 3600;
  nFound = (int)std::min<int64_t>(nData / nTraceBytes, INT_MAX);
  if (nData % nTraceBytes != 0)
    return false;
  return nExpected < 64000 ? nFound == nExpected : nFound >= nExpected;
}

void CSdsPC::DecodeSamples(const unsigned char* src, float* out, int n) const {
  // Samples of a little-endian file are stored byte-reversed, floats too.
  unsigned char b[4];
  auto sample_be = [this](const unsigned char* p, unsigned char* tmp) -> const unsigned char* {
    if (m_bSwap)
      return p;
    tmp[0] = p[3];
    tmp[1] = p[2];
    tmp[2] = p[1];
    tmp[3] = p[0];
    return tmp;
  };
  switch (m_DataType) {
  case SGY_IBM:
    for (int i = 0; i < n; i++)
      out[i] = sgy_ibm_to_float(sample_be(src + 4 * i, b));
    break;
  case SGY_INT4:
    for (int i = 0; i < n; i++) {
      unsigned char b[4];
      memcpy(b, src + 4 * i, 4);
      if (m_bSwap)
        sgy_swap32(b);
      int32_t v;
      memcpy(&v, b, 4);
      out[i] = (float)v;
    }
    break;
  case SGY_INT2:
    for (int i = 0; i < n; i++) {
      unsigned char b[2];
      memcpy(b, src + 2 * i, 2);
      if (m_bSwap)
        sgy_swap16(b);
      int16_t v;
      memcpy(&v, b, 2);
      out[i] = (float)v;
    }
    break;
  case SGY_IEEE:
    for (int i = 0; i < n; i++)
      out[i] = sgy_ieee_be_to_float(sample_be(src + 4 * i, b));
    break;
  case SGY_FLOAT: memcpy(out, src, sizeof(float) * n); break;
  default: // fixed point with gain, or unknown: zeros
    memset(out, 0, sizeof(float) * n);
  }
}
