// CSdsPC: the .cr2 side file, a cache of what a scan of the main file finds
// (axis, trace table, header-field map), so that opening a file of many
// traces takes one sequential read instead of one small read per trace.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <memory>
#include <new>
#include <string>

#include "SdsPC.h"

namespace {

const int32_t CR2_VERSION = 2;
// Bytes before the trace table, and behind it up to m_rValueScale: a file
// shorter than their sum with its table cannot be used.
const int64_t CR2_HEAD_BYTES = 220;
const int64_t CR2_TAIL_MIN = 12;

struct SFileCloser {
  void operator()(FILE* fp) const { fclose(fp); }
};
using FilePtr = std::unique_ptr<FILE, SFileCloser>;

std::string cr2_name(const char* szFile) {
  char szName[4100];
  snprintf(szName, sizeof(szName), "%.4090s.cr2", szFile);
  return szName;
}

bool rd(FILE* fp, void* p, size_t n) { return fread(p, 1, n, fp) == n; }

bool later(const timespec& a, const timespec& b) {
  return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
}

bool finite3(const double* v) { return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]); }

// Whether any of the six coordinates of a record is not finite: all bits of
// its exponent set. Branch-free, for tables of millions of records.
uint32_t nonfinite_bits(const SDS_TRACEINFO& r) {
  uint32_t u[6];
  memcpy(u, &r, sizeof(u));
  uint32_t bad = 0;
  for (uint32_t v : u)
    bad |= (uint32_t)((v & 0x7F800000u) == 0x7F800000u);
  return bad;
}

// A record with its six lengths multiplied by f.
SDS_TRACEINFO scaled_record(SDS_TRACEINFO r, double f) {
  float* v[6] = {&r.m_fXs, &r.m_fXr, &r.m_fYs, &r.m_fYr, &r.m_fZs, &r.m_fZr};
  for (float* p : v)
    *p = (float)(*p * f);
  return r;
}

} // namespace

bool CSdsPC::GetInfoHeaderFromFile(const char* szFile, int /*nReserved*/) {
  const std::string strName = cr2_name(szFile);
  const char* szName = strName.c_str();
  FilePtr fp(fopen(szName, "rb"));
  if (!fp)
    return false;
  m_bInfoSaved = 1;
  FILE* f = fp.get();
  struct stat stMain, stCache;
  if (fstat(fileno(f), &stCache) != 0)
    return false;

  int32_t nVersion = 0;
  if (!rd(f, &nVersion, 4)) {
    u_Print("%s is not used, fread error\n", szName);
    return false;
  }
  if (nVersion != CR2_VERSION) {
    u_Print("%s is not used (version control), data=%d version, realSrc=%d version\n", szName, nVersion, CR2_VERSION);
    return false;
  }
  int64_t nSize = 0, nTime = 0;
  if (!rd(f, &nSize, 8)) {
    u_Print("%s is not used, fread error\n", szName);
    return false;
  }
  if (nSize != 0 && m_nFileLen != 0 && nSize != m_nFileLen)
    return false; // the main file has changed
  // A main file changed after its cache was written may have kept its size.
  if (stat(m_szFileName, &stMain) == 0 && later(stMain.st_mtim, stCache.st_mtim))
    return false;

  int32_t nCount = 0, nLen = 0;
  if (!rd(f, &nTime, 8) || !rd(f, &nCount, 4)) {
    u_Print("%s is not used, fread error\n", szName);
    return false;
  }
  if (nCount < 3) {
    u_Print("%s is not used, TraceCount=%d\n", szName, nCount);
    return false;
  }
  if (!rd(f, &nLen, 4)) {
    u_Print("%s is not used, fread error\n", szName);
    return false;
  }
  if (nLen < 3) {
    u_Print("%s is not used, TraceLen error\n", szName);
    return false;
  }
  m_nTraceLen = nLen;
  if (!rd(f, &m_rT0, 24) || !(m_rDT > 0) || !(m_rT1 > m_rT0)) {
    u_Print("%s is not used, traseParam error\n", szName);
    return false;
  }
  if (!rd(f, &m_rX0, 24)) {
    m_rX0 = m_rX1 = m_rDX = 0.0;
    u_Print("%s is not used, traseXY error\n", szName);
    return false;
  }
  int32_t nSwap, nParts, nType;
  if (!rd(f, &nSwap, 4)) {
    u_Print("%s is not used, Swap error\n", szName);
    return false;
  }
  m_bSwap = nSwap;
  if (!rd(f, &nParts, 4)) {
    u_Print("%s is not used, maxPart error\n", szName);
    return false;
  }
  m_nParts = nParts;
  if (!rd(f, &nType, 4)) {
    u_Print("%s is not used, DataType error\n", szName);
    return false;
  }
  // Enumerations take only their own values; others refuse the cache below.
  bool bRange = nType >= SGY_NONE && nType <= SGY_T1;
  if (bRange)
    m_DataType = (SGYDATATYPE)nType;
  if (!rd(f, m_arInfo, sizeof(SDS_INFOROW) * 11)) {
    u_Print("%s is not used\n", szName);
    return false;
  }

  // The table is read only when the file can hold it.
  if ((int64_t)stCache.st_size < CR2_HEAD_BYTES + (int64_t)sizeof(SDS_TRACEINFO) * nCount + CR2_TAIL_MIN)
    return false;
  m_pSR = new (std::nothrow) SDS_TRACEINFO[nCount];
  if (!m_pSR)
    return false;
  // No zeroing: the records are read whole, or the cache is refused.
  int32_t nUnit;
  if (!rd(f, m_pSR, sizeof(SDS_TRACEINFO) * nCount) || !rd(f, &nUnit, 4) || !rd(f, &m_rValueScale, 8))
    return false;
  m_nTraceCount = nCount;
  bRange = bRange && nUnit >= DU_SEC && nUnit <= DU_M;
  if (bRange)
    m_nUnit = (DATAUNIT)nUnit;

  // From here on the file may end early and still be good.
  char szComps[8], cComp;
  if (rd(f, szComps, 8) && rd(f, &cComp, 1)) {
    memcpy(m_szComponents, szComps, 8);
    m_cComponent = cComp;
    int32_t nFoot = 0;
    const bool bFoot = rd(f, &nFoot, 4);
    m_bFileFoot = bFoot ? nFoot : 0;
    if (bRange && m_bFileFoot != bFOOT)
      ConvertFileLengths(m_bFileFoot == 0 ? 3.2808399f : 0.3048f);
    if (bFoot)
      rd(f, m_arInfo + 11, sizeof(SDS_INFOROW) * 4);
  }
  if (!bRange || !IsCacheConsistent()) {
    u_Warning("Warning! %s is not used: its content does not match the file '%s'.\n", szName, m_szFileName);
    return false;
  }
  return true;
}

// Sanity of a cache that passed the format's own checks: values in their
// ranges, and a table whose traces lie inside the main file, in file order,
// with trace headers of the file's type where its first and last records say.
bool CSdsPC::IsCacheConsistent() {
  if ((m_bSwap != 0 && m_bSwap != 1) || m_nParts < 0 || (m_bFileFoot != 0 && m_bFileFoot != 1) ||
      !std::isfinite(m_rValueScale) || !finite3(&m_rT0) || !finite3(&m_rX0) ||
      (m_nFileLen > 0 && m_nTraceLen > m_nFileLen))
    return false;
  const int nHeader = m_Type == SGY ? 240 : m_Type == REC ? 80 : ZPL_HEADER_BYTES;
  const int64_t nFirst = m_Type == SGY ? 3600 : 0;
  // Positions inside the file and, but for ZPL sections, rising.
  const int64_t nLast = m_nFileLen > 0 ? m_nFileLen - nHeader : INT64_MAX;
  const int64_t nStep = m_Type == ZPL ? 0 : 1;
  int64_t nPrev = nFirst - nStep;
  uint32_t bad = 0;
  for (int i = 0; i < m_nTraceCount; i++) {
    const SDS_TRACEINFO& r = m_pSR[i];
    const int64_t nPos = r.m_nPos;
    bad |= nonfinite_bits(r) | (uint32_t)(nPos < nPrev + nStep) | (uint32_t)(nPos < nFirst) | (uint32_t)(nPos > nLast);
    nPrev = nPos;
  }
  if (bad)
    return false;
  for (int i : {0, m_nTraceCount - 1}) {
    const int64_t nPos = m_pSR[i].m_nPos;
    int64_t nEnd = nPos;
    if (m_Type == SGY) {
      SGY_TRACEHEADER h;
      if (!SeekTo(m_fp, nPos) || fread(h.m_buf, 1, 240, m_fp) != 240 || ProverkaHederaSEGY(&h, m_bSwap) == 0 ||
          h.GetInt16(28) == 2)
        return false;
      nEnd += 240 + GetTraceLenSDS(&h);
    } else if (m_Type == REC) {
      SDS_TRACEHEADER h;
      if (!SeekTo(m_fp, nPos) || fread(h.m_buf, 1, 80, m_fp) != 80 || h.GetInt32(12) == 0 || GetTraceLenSDS(&h) < 2)
        return false;
      nEnd += 80 + GetTraceLenSDS(&h);
    } else {
      ZPL_FILEHEADER h;
      if (!zpl_ReadHeader(m_fp, nPos, h))
        return false;
    }
    if (m_nFileLen > 0 && nEnd > m_nFileLen)
      return false;
  }
  return true;
}

bool CSdsPC::SetInfoHeaderFromFile(const char* szFile, int nWrite) {
  if (!m_pSR) {
    u_Print("Coordinates buffer error\n");
    return false;
  }
  if (nWrite == 0)
    return !m_bInfoSaved;
  m_bInfoSaved = 1;
  const std::string strName = cr2_name(szFile);
  // Written beside and renamed into place, so that a reader never meets a
  // half-written cache.
  const std::string strTmp = strName + "." + std::to_string((long)getpid()) + ".tmp";
  FilePtr fp(fopen(strTmp.c_str(), "wb"));
  if (!fp) {
    u_Print("Open %s error\n", strName.c_str());
    return false;
  }
  FILE* f = fp.get();
  bool bOk = true;
  auto wr = [&bOk, f](const void* p, size_t n) { bOk = fwrite(p, 1, n, f) == n && bOk; };
  const int64_t nTime = (int64_t)time(nullptr);
  wr(&CR2_VERSION, 4);
  wr(&m_nFileLen, 8);
  wr(&nTime, 8);
  wr(&m_nTraceCount, 4);
  wr(&m_nTraceLen, 4);
  // Lengths are stored in the file's own system; the object stays as it is.
  const double k = m_bFileFoot == bFOOT ? 1.0 : m_bFileFoot == 1 ? 3.2808399f : 0.3048f;
  const double kT = m_nUnit == DU_M ? k : 1.0;
  const double axis[6] = {m_rT0 * kT, m_rT1 * kT, m_rDT * kT, m_rX0 * k, m_rX1 * k, m_rDX * k};
  wr(axis, sizeof(axis));
  const int32_t nInts[3] = {m_bSwap, m_nParts, (int32_t)m_DataType};
  wr(nInts, sizeof(nInts));
  wr(m_arInfo, sizeof(SDS_INFOROW) * 11);
  if (k == 1.0) {
    wr(m_pSR, sizeof(SDS_TRACEINFO) * m_nTraceCount);
  } else {
    SDS_TRACEINFO chunk[1024];
    for (int i = 0; i < m_nTraceCount; i += 1024) {
      const int n = std::min(1024, m_nTraceCount - i);
      for (int j = 0; j < n; j++)
        chunk[j] = scaled_record(m_pSR[i + j], k);
      wr(chunk, sizeof(SDS_TRACEINFO) * n);
    }
  }
  const int32_t nUnit = m_nUnit;
  wr(&nUnit, 4);
  wr(&m_rValueScale, 8);
  wr(m_szComponents, 8);
  wr(&m_cComponent, 1);
  wr(&m_bFileFoot, 4);
  wr(m_arInfo + 11, sizeof(SDS_INFOROW) * 4);
  bOk = fclose(fp.release()) == 0 && bOk;
  if (!bOk || rename(strTmp.c_str(), strName.c_str()) != 0)
    remove(strTmp.c_str());
  return true;
}
