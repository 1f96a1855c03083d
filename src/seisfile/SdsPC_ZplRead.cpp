// CSdsPC: scanning a ZPL file's sections and reading a trace of a section.
// A trace is one index of the first axis in one section; its samples are
// the second axis, n1 * nc floats apart.
#include <algorithm>
#include <new>
#include <vector>

#include "SdsPC.h"
#include "ZplFile.h"

namespace {

// Class of the content from the axes of a section: 2 gathers (XT), 6 depth
// traces (ZT), 1 a model section (XZ), 3 snapshots (XZT); 0 otherwise.
int shape_class(const ZPL_FILEHEADER& h) {
  const char a0 = h.m_szAxes[0], a1 = h.m_szAxes[1], a2 = h.m_szAxes[2];
  if (h.m_nAxes == 2) {
    if (a0 == 'X' && a1 == 'T')
      return 2;
    if (a0 == 'Z' && a1 == 'T')
      return 6;
    if (a0 == 'X' && a1 == 'Z')
      return 1;
  }
  if (h.m_nAxes == 3 && a0 == 'X' && a1 == 'Z' && a2 == 'T')
    return 3;
  return 0;
}

struct SSection {
  int64_t nPos;
  ZPL_FILEHEADER h;
};

} // namespace

// The third axis of a section: its start and end, and a step formed from
// them when the section has two frames or more.
void CSdsPC::SetZplFrameAxis(const ZPL_FILEHEADER& h) {
  m_rY0 = h.m_fY0;
  m_rY1 = h.m_fY1;
  m_rDY = h.m_n[2] >= 2 ? (m_rY1 - m_rY0) / (h.m_n[2] - 1) : h.m_fDY;
}

int CSdsPC::GetTraceLenSDS(ZPL_FILEHEADER* h) { return h ? 4 * h->m_n[1] : 0; }

bool CSdsPC::ScanZPL(CString& strError, int& nShapeClass) {
  ZPL_FILEHEADER h;
  if (!zpl_ReadAt(m_fp, 0, &h, sizeof(h))) {
    strError = "Error (non-stop): !fread(&zpl_file)\n";
    m_nParts = 0;
    return false;
  }
  nShapeClass = shape_class(h);
  if (!zpl_IsValid(h)) {
    strError.Format("Only %d traces were read!\n", 0);
    return false;
  }
  const int nParts = h.m_nSections < 2 ? 1 : h.m_nSections;

  // First pass: from header to header. A section whose data runs past the
  // end of the file is left out with those behind it.
  std::vector<SSection> vSections;
  int64_t nPos = 0;
  for (;;) {
    const int64_t nEnd = nPos + ZPL_HEADER_BYTES + 4 * zpl_SectionFloats(h);
    if (m_nFileLen > 0 && nEnd > m_nFileLen) {
      u_Warning("Warning! File '%s' is cut short: section %d ends at byte %lld of %lld; it is left out with any "
                "behind it.\n",
                m_szFileName, (int)vSections.size() + 1, (long long)nEnd, (long long)m_nFileLen);
      break;
    }
    vSections.push_back({nPos, h});
    if ((int)vSections.size() >= nParts || !zpl_ReadHeader(m_fp, nEnd, h))
      break;
    nPos = nEnd;
  }

  int64_t nTotal = 0;
  for (size_t s = 0; s < vSections.size(); s++) {
    const ZPL_FILEHEADER& c = vSections[s].h;
    nTotal += c.m_n[0];
    if (s == 0 || c.m_n[1] > m_nTraceLen) {
      m_nTraceLen = c.m_n[1];
      m_rT0 = c.m_fT0;
      m_rT1 = c.m_fT1;
      m_rDT = c.m_fDT;
    }
    if (s == 0) {
      m_rX0 = c.m_fX0;
      m_rX1 = c.m_fX1;
      m_rDX = c.m_fDX;
      m_nUnit = c.m_szAxes[1] == 'T' ? DU_MSEC : DU_M;
      SetZplFrameAxis(c);
      char szComps[ZPL_MAX_COMPONENTS + 1];
      zpl_ComponentText(c, szComps);
      memcpy(m_szComponents, szComps, sizeof(m_szComponents));
    } else {
      m_rX0 = std::min(m_rX0, (double)c.m_fX0);
      m_rX1 = std::max(m_rX1, (double)c.m_fX1);
      m_rDX = std::min(m_rDX, (double)c.m_fDX);
    }
  }
  m_nParts = (int)vSections.size();
  if (m_nUnit == DU_MSEC) {
    m_rT0 *= 1000.0;
    m_rT1 *= 1000.0;
    m_rDT *= 1000.0;
  }
  if (nTotal < 1 || nTotal > 0x7FFFFFFF) {
    strError.Format("Only %d traces were read!\n", nTotal < 1 ? (int)nTotal : 0);
    return false;
  }
  m_pSR = new (std::nothrow) SDS_TRACEINFO[nTotal];
  if (!m_pSR) {
    strError.Format("Memory  allocation error (new SDS_TRACEINFO[%d])\n", (int)nTotal);
    return false;
  }

  // Second pass: one record per index of the first axis.
  int nRead = 0;
  for (size_t s = 0; s < vSections.size(); s++) {
    const ZPL_FILEHEADER& c = vSections[s].h;
    for (int i = 0; i < c.m_n[0]; i++) {
      SDS_TRACEINFO& r = m_pSR[nRead++];
      memset(&r, 0, sizeof(r));
      r.m_fXs = c.m_fXs;
      r.m_fZs = c.m_fZs;
      r.m_fXr = (float)i * c.m_fDX + c.m_fX0;
      r.m_nPart = (int32_t)s;
      r.m_nPartNo = (int32_t)s;
      r.m_nTraceNo = i;
      r.m_nPos = vSections[s].nPos;
    }
    m_nTraceBytes = GetTraceLenSDS(&vSections[s].h);
  }
  m_nTraceCount = nRead;
  m_DataType = SGY_FLOAT;
  return true;
}

bool CSdsPC::GetTraceZPL(const SDS_TRACEINFO& r, float* out, int n, int& m) {
  m = 0;
  ZPL_FILEHEADER h;
  if (!zpl_ReadHeader(m_fp, r.m_nPos, h)) {
    u_Print("GetTrace ZPL file reading error: !fread\n");
    return false;
  }
  const int nc = h.m_nComps, n1 = h.m_n[0], n2 = h.m_n[1];
  int k = 0;
  for (int j = std::min(nc, ZPL_MAX_COMPONENTS) - 1; j >= 0; j--)
    if (h.m_szComps[j] == m_cComponent) {
      k = j;
      break;
    }
  const int i = r.m_nTraceNo;
  double pos = h.m_fT0, step = h.m_fDT;
  if (m_nUnit == DU_MSEC) {
    pos *= 1000.0;
    step *= 1000.0;
  } else if (m_nUnit == DU_M && bFOOT) {
    pos *= 3.2808399;
    step *= 3.2808399;
  }
  const int64_t nFrames = zpl_FrameCount(h);
  m_nSlice = (int)std::max<int64_t>(0, std::min<int64_t>(m_nSlice, nFrames - 1));
  SetZplFrameAxis(h);
  const int64_t s0 = nFrames > 1 && m_nSlice > 0 ? (int64_t)n1 * m_nSlice * n2 : 0;
  const int nWant = std::min(n2, n);
  for (int u = 0; u < nWant && i < n1; u++, m++, pos += step) {
    if (!(pos >= m_rT0 && pos < m_rT1 + m_rDT))
      continue; // outside the file's axis: stays 0
    const int64_t nAt = r.m_nPos + ZPL_HEADER_BYTES + 4 * k + (i + s0 + (int64_t)n1 * u) * 4 * nc;
    if (!zpl_ReadAt(m_fp, nAt, &out[u], 4))
      break; // the trace ends here and counts as read
  }
  return true;
}
