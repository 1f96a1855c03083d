// CSdsPC: opening a trace file and scanning its trace headers.
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "SdsPC.h"
#include "SgyCodec.h"

static const char* s_vendor = "Quarzine Technologies Inc.";

// True when the textual header, read as EBCDIC up to its first zero byte,
// carries the vendor string of files written by this system.
static bool has_vendor_text(const SGY_FILEHEADER& h) {
  char text[3201];
  int n = 0;
  for (; n < 3200 && h.m_buf[n]; n++)
    text[n] = (char)sgy_ebcdic_to_ascii(h.m_buf[n]);
  text[n] = 0;
  return strstr(text, s_vendor) != nullptr;
}

namespace {

// Positions of a trace besides its receiver X/Y, kept while a file is scanned
// for files whose traces turn out to stand all at one point.
struct SAltPosition {
  float fCdpX, fCdpY;
  int32_t nInline, nCrossline;
};

// Chooses where the traces of a scanned file stand: their receiver X/Y when
// these differ between traces, else (when asked for) their CDP X/Y, else
// their inline and crossline numbers on a regular grid. A fallback moves the
// source position along, so that the file's extent is that of its traces.
void place_traces(CSdsPC& sds, const std::vector<SAltPosition>& alt) {
  SDS_TRACEINFO* p = sds.m_pSR;
  const int n = sds.m_nTraceCount;
  sds.m_nPlacement = PLACE_RECEIVER;
  bool bSpread = false;
  for (int i = 1; i < n && !bSpread; i++)
    bSpread = p[i].m_fXr != p[0].m_fXr || p[i].m_fYr != p[0].m_fYr;
  if (n < 2 || bSpread)
    return;
  sds.m_nPlacement = PLACE_NONE;
  if (!sds.m_bPlaceFallback || alt.size() != (size_t)n)
    return;
  bool bCdp = false, bLines = false;
  int nIl0 = alt[0].nInline, nXl0 = alt[0].nCrossline;
  for (const SAltPosition& a : alt) {
    bCdp = bCdp || a.fCdpX != alt[0].fCdpX || a.fCdpY != alt[0].fCdpY;
    bLines = bLines || a.nInline != alt[0].nInline || a.nCrossline != alt[0].nCrossline;
    nIl0 = std::min(nIl0, a.nInline);
    nXl0 = std::min(nXl0, a.nCrossline);
  }
  if (!bCdp && !(bLines && sds.m_rLineStep > 0))
    return;
  for (int i = 0; i < n; i++) {
    float x = alt[i].fCdpX, y = alt[i].fCdpY;
    if (!bCdp) {
      x = (float)(sds.m_rLineX0 + ((double)alt[i].nCrossline - nXl0) * sds.m_rLineStep);
      y = (float)(sds.m_rLineY0 + ((double)alt[i].nInline - nIl0) * sds.m_rLineStep);
    }
    p[i].m_fXs = p[i].m_fXr = x;
    p[i].m_fYs = p[i].m_fYr = y;
  }
  sds.m_nPlacement = bCdp ? PLACE_CDP : PLACE_LINES;
  if (!bCdp) {
    sds.m_nFirstInline = nIl0;
    sds.m_nFirstCrossline = nXl0;
  }
}

} // namespace

bool CSdsPC::OnOpen(const char* name, int bWrite, int bDepth, int /*nReserved*/, int nLift) {
  Reset();
  if (!name)
    name = "";
  snprintf(m_szFileName, sizeof(m_szFileName), "%s", name);

  if (!bWrite) {
    for (size_t i = 0; i + 1 < arPathSubst.size(); i += 2) {
      const CString& a = arPathSubst[i];
      const CString& b = arPathSubst[i + 1];
      size_t na = strlen(a);
      if (na == 0 || strncmp(m_szFileName, a, na) != 0)
        continue;
      if (strlen(b) + strlen(m_szFileName) - na >= sizeof(m_szFileName))
        continue;
      CString strNew = CString(b) + CString(m_szFileName + na);
      snprintf(m_szFileName, sizeof(m_szFileName), "%s", (const char*)strNew);
      break;
    }
  }

  TYPEFILE type;
  if (!GetTypeFromFileName(m_szFileName, type)) {
    u_Print("File name '%s' has incorrect extension. It have to be from the set '.sgy', '.kti', '.rec', '.zpl'!\n",
            m_szFileName);
    m_Type = type;
    return false;
  }
  m_Type = type;

  struct stat st;
  m_nFileLen = lstat(m_szFileName, &st) == 0 ? (int64_t)st.st_size : 0;

  m_fp = fopen(m_szFileName, bWrite ? "rb+" : "rb");
  if (!m_fp) {
    u_Print("File '%s' is not opened!\n", m_szFileName);
    return false;
  }
  m_bWrite = bWrite ? 1 : 0;

  if (GetInfoHeaderFromFile(m_szFileName, 0)) {
    OpenFromCache(bDepth, nLift);
  } else {
    // A refused cache may have left part of its content: scan from scratch.
    ClearFileState();
    if (!OpenByScan(bDepth, nLift))
      return false;
  }

  // Component choice.
  if (m_cComponent == ' ') {
    if (m_szComponents[0])
      m_cComponent = m_szComponents[0];
  } else if (!memchr(m_szComponents, m_cComponent, sizeof(m_szComponents))) {
    char c = m_szComponents[0];
    if (c != 0 && c != '?' && c != ' ')
      m_cComponent = c;
  }
  return true;
}

void CSdsPC::ClearFileState() {
  delete[] m_pSR;
  m_pSR = nullptr;
  m_nTraceCount = 0;
  m_nTraceLen = 0;
  m_rT0 = m_rT1 = m_rDT = 0.0;
  m_rX0 = m_rX1 = m_rDX = 0.0;
  m_bSwap = 0;
  m_nParts = 1;
  m_DataType = SGY_NONE;
  m_nUnit = DU_MSEC;
  m_rValueScale = 1.0;
  m_cComponent = ' ';
  memset(m_szComponents, 0, sizeof(m_szComponents));
  m_bFileFoot = 0;
}

// The fast path: axis, table and settings came from the .cr2 file.
void CSdsPC::OpenFromCache(int bDepth, int nLift) {
  if (m_nUnit == DU_SEC) { // not known when the cache was written
    if (m_Type == SGY && bDepth) {
      m_rT0 /= 0.001;
      m_rT1 /= 0.001;
      m_rDT /= 0.001;
      m_nUnit = DU_M;
    } else if (m_rT1 < 100) {
      m_rT0 *= 1000.0;
      m_rT1 *= 1000.0;
      m_rDT *= 1000.0;
      m_nUnit = DU_MSEC;
    }
  }
  ApplyLift(nLift);
  if (m_Type == ZPL && !m_szComponents[0]) {
    ZPL_FILEHEADER h;
    if (zpl_ReadHeader(m_fp, 0, h)) {
      char szComps[ZPL_MAX_COMPONENTS + 1];
      zpl_ComponentText(h, szComps);
      memcpy(m_szComponents, szComps, sizeof(m_szComponents));
      SetInfoHeaderFromFile(m_szFileName, m_bInfoSaved);
    }
  }
  // Whether the positions are usable is told by the table, as after a scan.
  if (m_Type != ZPL)
    place_traces(*this, std::vector<SAltPosition>());
}

// The scan path: every trace header is read.
bool CSdsPC::OpenByScan(int bDepth, int nLift) {
  m_nUnit = bDepth ? DU_M : DU_MSEC;
  GetInfoTraceFromFile(m_szFileName);
  rewind(m_fp); // a refused cache may have been checked against the file

  CString strError;
  int nShapeClass = 0;
  bool bOk = m_Type == ZPL ? ScanZPL(strError, nShapeClass) : m_Type == REC ? ScanREC(strError) : ScanSGY(strError);
  if (bOk && m_nTraceCount <= 0) {
    if (strError.IsEmpty())
      strError.Format(m_Type == ZPL ? "Only %d traces were read\n" : "Only %d traces have been loaded!\n", 0);
    bOk = false;
  }
  if (!bOk) {
    if (!strError.IsEmpty())
      u_Print("%s", (const char*)strError);
    Reset();
    return false;
  }
  Rotate();
  if (m_Type == REC)
    place_traces(*this, std::vector<SAltPosition>());
  if (m_Type != ZPL)
    OpenTraceAxis(nLift);
  if (m_nTraceLen > 1)
    m_rDT = (m_rT1 - m_rT0) / (m_nTraceLen - 1);
  SetContentClass(nShapeClass);

  if (m_bFileFoot != bFOOT)
    ConvertFileLengths(m_bFileFoot == 0 ? 3.2808399f : 0.3048f);
  return true;
}

// SEG-Y and SDS: lateral statistics, the axis unit, the lift and the
// overrides of the .inf file.
void CSdsPC::OpenTraceAxis(int nLift) {
  LateralStatistics();

  // An axis that ends below 50 is taken for seconds.
  if (m_rT1 < 50) {
    m_rT1 *= 1000.0;
    m_rDT *= 1000.0;
    m_rT0 *= 1000.0;
    if (m_rT1 > 100000) {
      m_rT1 /= 1000.0;
      m_rDT /= 1000.0;
      m_rT0 /= 1000.0;
    }
  }
  ApplyLift(nLift);

  // Overrides from the .inf file, whose numbers may be anything: one outside
  // the range of int (or not a number) counts as none.
  auto toInt = [](double v) { return v > -2147483648.0 && v < 2147483648.0 ? (int)v : -1; };
  int nComp = toInt(m_arInfo[INFO_NCOMP].m_rValue);
  if (m_arInfo[INFO_NCOMP].m_nType != -1 && nComp >= 1 && nComp <= 14) {
    m_szComponents[0] = ComponentLetter(nComp);
    m_cComponent = m_szComponents[0];
  }
  if (m_arInfo[INFO_ZUNIT].m_nType != -1) {
    if (toInt(m_arInfo[INFO_ZUNIT].m_rValue) == 1)
      m_nUnit = DU_MSEC;
    if (toInt(m_arInfo[INFO_ZUNIT].m_rValue) == 2)
      m_nUnit = DU_M;
  }
  double kmVal = m_arInfo[INFO_KMVAL].m_rValue;
  if (m_arInfo[INFO_KMVAL].m_nType != -1 && kmVal > 0 && kmVal != 1.0)
    m_rValueScale = kmVal;
}

// Content class (row nType), from the name and the shape of the file:
// nShapeClass of a ZPL file comes from its axes, 0 when they say nothing.
void CSdsPC::SetContentClass(int nShapeClass) {
  double nClass = m_arInfo[INFO_NTYPE].m_rValue;
  if (strstr(m_szFileName, "+Time"))
    nClass = 5;
  if (strstr(m_szFileName, "-PQR"))
    nClass = 1;
  if (strstr(m_szFileName, "+Snap"))
    nClass = 3;
  if (strstr(m_szFileName, "+Gath"))
    nClass = 2;
  if (strstr(m_szFileName, "+Wave"))
    nClass = 7;
  if (m_Type == ZPL) {
    if (nShapeClass != 0 && !(nShapeClass == 1 && nClass == 5))
      nClass = nShapeClass;
  } else {
    float zMin = m_pSR[0].m_fZr, zMax = m_pSR[0].m_fZr;
    for (int i = 1; i < m_nTraceCount; i++) {
      zMin = std::min(zMin, m_pSR[i].m_fZr);
      zMax = std::max(zMax, m_pSR[i].m_fZr);
    }
    if ((double)zMax - zMin > m_rX1 - m_rX0)
      nClass = 6;
  }
  m_arInfo[INFO_NTYPE].m_rValue = nClass;
}

bool CSdsPC::ScanSGY(CString& strError) {
  SGY_FILEHEADER fh;
  if (fread(fh.m_buf, 1, 3600, m_fp) != 3600) {
    strError = "fread(sgy_file) error!\n";
    return false;
  }
  int nSwap = 0;
  int nFormat = ProverkaHederaSEGY(&fh, nSwap);
  if (nFormat == 0) {
    strError = "File Header error!\n";
    return false;
  }
  m_bSwap = nSwap;
  m_DataType = (SGYDATATYPE)nFormat;
  m_nTraceLen = fh.GetInt16(3220);
  m_bFileFoot = fh.GetInt16(3254) == 2 ? 1 : 0;
  double rInterval = fh.GetInt16(3216) * 0.001;
  m_rT0 = 0.0;
  if (has_vendor_text(fh)) {
    int nComp = fh.GetInt16(3590);
    if (nComp >= 1 && nComp <= 14) {
      m_szComponents[0] = ComponentLetter(nComp);
      m_cComponent = m_szComponents[0];
    }
    float fScale = fh.GetFloat(3592);
    if (fScale != 0.0f && !std::isnan(fScale))
      m_rValueScale = fScale;
    int nUnit = fh.GetInt16(3596);
    if (nUnit == 1)
      m_nUnit = DU_MSEC;
    if (nUnit == 2)
      m_nUnit = DU_M;
    if (!ZERO_TOP)
      m_rT0 = fh.GetInt16(3598);
  }
  m_rDT = rInterval;
  m_rT1 = (m_nTraceLen - 1) * rInterval + m_rT0;
  double kmTrs =
      m_arInfo[INFO_KMTRS].m_nType != -1 && m_arInfo[INFO_KMTRS].m_rValue > 0 ? m_arInfo[INFO_KMTRS].m_rValue : 1.0;
  m_rT0 *= kmTrs;
  m_rT1 *= kmTrs;
  m_rDT *= kmTrs;

  SGY_TRACEHEADER th;
  if (fread(th.m_buf, 1, 240, m_fp) != 240) {
    strError = "fread(sgy) error at trace #1!\n";
    return false;
  }
  if (ProverkaHederaSEGY(&th, m_bSwap) == 0) {
    strError = "Trace Header of thace #1 is wrong!";
    return false;
  }
  int nBytes = GetTraceLenSDS(&th);
  if (nBytes == 0) {
    strError = "Number of Samples in trace is 0 (115-116 bytes segy trace header)\n";
    return false;
  }
  int64_t nEstimate = (m_nFileLen - 3600) / (nBytes + 240);
  if (nEstimate <= 0) {
    strError.Format("Only #%d traces were read!\n", 0);
    return false;
  }
  if (nEstimate > 0x7FFFFFFF)
    nEstimate = 0x7FFFFFFF;
  if (!SeekTo(m_fp, 3600)) {
    strError = "FSETPOS error\n";
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
  int nWhole = 0; // whole traces, dead ones included
  bool bFull = false;
  std::vector<SAltPosition> alt;
  int64_t nPos = 3600;
  for (;;) {
    if (nRead == nCapacity) {
      // The estimate comes from the first trace; a file whose later traces
      // are shorter holds more, so the table grows while data remain.
      if (m_nFileLen > 0 && nPos + 240 > m_nFileLen)
        break;
      bFull = true; // traces may remain that the table cannot take
      if (m_nFileLen <= 0 || nCapacity >= 0x3FFFFFFF)
        break;
      SDS_TRACEINFO* pMore = new (std::nothrow) SDS_TRACEINFO[(size_t)nCapacity * 2];
      if (!pMore)
        break;
      bFull = false;
      memcpy(pMore, m_pSR, sizeof(SDS_TRACEINFO) * nCapacity);
      delete[] m_pSR;
      m_pSR = pMore;
      nCapacity *= 2;
      m_nTraceCount = -nCapacity;
    }
    if (fread(th.m_buf, 1, 240, m_fp) != 240)
      break;
    if (ProverkaHederaSEGY(&th, m_bSwap) == 0)
      break;
    int nLen = GetTraceLenSDS(&th);
    if (nLen < 2)
      break;
    // A trace that runs past the end of the file is a truncated last trace.
    if (m_nFileLen > 0 && nPos + 240 + nLen > m_nFileLen)
      break;
    m_nTraceBytes = nLen;
    nWhole++;
    if (th.GetInt16(28) != 2) {
      SDS_TRACEINFO& r = m_pSR[nRead++];
      memset(&r, 0, sizeof(r));
      SetTraceInfo(r, th.m_buf, nullptr);
      if (!ELEV_TO_Z) {
        r.m_fZs = -r.m_fZs;
        r.m_fZr = -r.m_fZr;
      }
      r.m_nPos = nPos;
      r.m_nPartNo = th.GetInt32(8);
      r.m_nTraceNo = th.GetInt32(12);
      if (m_bPlaceFallback) {
        const double rH = HorizontalScale(th.m_buf);
        alt.push_back(
            {(float)(th.GetInt32(180) * rH), (float)(th.GetInt32(184) * rH), th.GetInt32(188), th.GetInt32(192)});
      }
    }
    nPos += 240 + nLen;
    if (fseeko(m_fp, (off_t)nLen, SEEK_CUR) != 0) {
      strError = "FSETPOS error\n";
      m_nTraceCount = 0;
      return false;
    }
  }
  m_nTraceCount = nRead;
  if (nRead <= 0) {
    strError.Format("Only %d traces have been loaded!\n", nRead);
    return false;
  }
  place_traces(*this, alt);

  // A file cut short loses its last traces without a read error: compare
  // with the count of the file header (unsigned 16 bits, 0 when not given),
  // and with what the bytes left after the last whole trace imply.
  const int nAnnounced = (uint16_t)fh.GetInt16(3212);
  if (nAnnounced > nWhole)
    u_Warning("Warning! File '%s' is cut short: %d whole traces found, its file header announces %d; the missing "
              "traces are left out.\n",
              m_szFileName, nWhole, nAnnounced);
  else if (!bFull && m_nFileLen > nPos) {
    const int64_t nStep = 240 + (int64_t)m_nTraceBytes;
    const int64_t nImplied = nWhole + (m_nFileLen - nPos + nStep - 1) / nStep;
    u_Warning("Warning! File '%s' is cut short: %d whole traces found, its size implies %lld; the incomplete last "
              "trace is left out.\n",
              m_szFileName, nWhole, (long long)nImplied);
  }
  return true;
}

void CSdsPC::LateralStatistics() {
  m_rDX = 0.0;
  for (int i = 0; i + 1 < m_nTraceCount && m_rDX == 0.0; i++) {
    double ds = std::fabs((double)m_pSR[i + 1].m_fXs - m_pSR[i].m_fXs);
    double dr = std::fabs((double)m_pSR[i + 1].m_fXr - m_pSR[i].m_fXr);
    m_rDX = std::max(ds, dr);
  }
  m_rX0 = m_rX1 = m_pSR[0].m_fXs;
  for (int i = 0; i < m_nTraceCount; i++) {
    m_rX0 = std::min(m_rX0, (double)std::min(m_pSR[i].m_fXs, m_pSR[i].m_fXr));
    m_rX1 = std::max(m_rX1, (double)std::max(m_pSR[i].m_fXs, m_pSR[i].m_fXr));
  }
  if (m_rDX == 0.0)
    m_rDX = (m_rX1 - m_rX0) / m_nTraceCount;
  if (m_rDX == 0.0)
    m_rDX = 1.0;
}

void CSdsPC::ApplyLift(int nLift) {
  if (nLift == 0)
    return;
  if (std::abs(nLift) == 1) {
    if (!m_pSR || m_nTraceCount <= 0 || m_pSR[0].m_fZr == 0.0f)
      return;
    double L = m_pSR[0].m_fZr;
    double shift = L - m_rT0;
    m_rT0 += shift;
    m_rT1 += shift;
    u_Print("OnOpen: Lifting model to %g, now [%g .. %g]\n", L, m_rT0, m_rT1);
    return;
  }
  double shift = nLift - m_rT0;
  m_rT0 += shift;
  m_rT1 += shift;
  u_Print("OnOpen: Lifting model to %d, now [%g .. %g]\n", nLift, m_rT0, m_rT1);
}

void CSdsPC::ConvertFileLengths(double f) {
  if (m_nUnit == DU_M) {
    m_rT0 *= f;
    m_rT1 *= f;
    m_rDT *= f;
  }
  m_rX0 *= f;
  m_rX1 *= f;
  m_rDX *= f;
  for (int i = 0; m_pSR && i < m_nTraceCount; i++) {
    SDS_TRACEINFO& r = m_pSR[i];
    r.m_fXs = (float)(r.m_fXs * f);
    r.m_fXr = (float)(r.m_fXr * f);
    r.m_fYs = (float)(r.m_fYs * f);
    r.m_fYr = (float)(r.m_fYr * f);
    r.m_fZs = (float)(r.m_fZs * f);
    r.m_fZr = (float)(r.m_fZr * f);
  }
}
