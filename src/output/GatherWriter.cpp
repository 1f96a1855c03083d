#include "output/GatherWriter.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "seisfile/SdsPC.h"
#include "seisfile/SgyTraceFields.h"

namespace {

// Value i of an optional list, or `def` when the list is absent or short.
int ListValue(const std::vector<int>* pList, size_t i, int def) {
  return pList && i < pList->size() ? (*pList)[i] : def;
}

// The name a gather is written under before it is complete: ".part" before
// the extension, which keeps the format and stays out of the per-shot
// patterns of recovery and merging.
std::string PartName(const char* path) {
  std::string s = path;
  const size_t nSlash = s.find_last_of("/\\");
  const size_t nDot = s.rfind('.');
  if (nDot == std::string::npos || (nSlash != std::string::npos && nDot < nSlash))
    return s + ".part";
  return s.substr(0, nDot) + ".part" + s.substr(nDot);
}

} // namespace

const char* output_SystemReason(int nErr) { return nErr != 0 ? strerror(nErr) : "no reason given by the system"; }

int CGatherWriter::Write(const char* path, size_t nTraces, size_t nSamples, float* pData,
                         const std::vector<C3DPointR>& receivers, const std::vector<int>* pInline,
                         const std::vector<int>* pCrossline, const std::vector<int>* pTraceId,
                         const std::vector<int>* pFileId) const {
  if (nTraces < 1) {
    u_Error("Invalid Trace Count in CCalc2D::SaveSingleShotgatherSGY\n");
    return -1;
  }
  if (receivers.size() < nTraces) {
    u_Error("Error! Shot gather: %d receivers for %d traces.\n", (int)receivers.size(), (int)nTraces);
    return -1;
  }
  CRectR rect(1.0, m_t0, (double)nTraces, m_t0 + (double)(nSamples - 1) * m_dt);

  SDS_TRACEINFO* pInfo = new (std::nothrow) SDS_TRACEINFO[nTraces];
  if (!pInfo) {
    u_Error("Error! Memory Allocation Error in CCalc2D::SaveSingleShotgatherSGY\n");
    return -1;
  }
  // The numbers only count when the lists cover all traces.
  const bool bLines = pInline && pCrossline && pInline->size() >= nTraces && pCrossline->size() >= nTraces;
  bool bNumbers = false;
  bool bIds = false;
  for (size_t i = 0; i < nTraces; i++) {
    SDS_TRACEINFO& r = pInfo[i];
    memset(&r, 0, sizeof(r));
    r.m_fXs = (float)m_ptShot.x;
    r.m_fYs = (float)m_ptShot.y;
    r.m_fZs = (float)m_ptShot.z;
    r.m_fXr = (float)receivers[i].x;
    r.m_fYr = (float)receivers[i].y;
    r.m_fZr = (float)receivers[i].z;
    r.m_nPart = m_nShot;
    const int nTraceId = ListValue(pTraceId, i, -1);
    const int nFileId = ListValue(pFileId, i, -1);
    if (nTraceId >= 0)
      r.m_nTraceNo = nTraceId;
    if (nFileId >= 0)
      r.m_nPartNo = nFileId;
    if (nTraceId >= 0 || nFileId >= 0)
      bIds = true;
    if (bLines && (*pInline)[i] > 0 && (*pCrossline)[i] > 0)
      bNumbers = true;
  }

  // Written whole under another name and renamed at the end: a run killed
  // or a disk filled on the way never leaves a file under the final name
  // that recovery would take for a finished shot.
  const std::string strPart = PartName(path);
  CSdsPC sds;
  errno = 0;
  const bool bSaved =
      sds.OnSave(strPart.c_str(), pData, rect, CSizeN((int)nTraces, (int)nSamples), 0, 0, false, pInfo, DU_SEC);
  const int nErr = errno;
  delete[] pInfo;
  if (!bSaved) {
    u_Error("Error! Shot gather '%s' could not be written: %s. The shot is left unfinished.\n", path,
            output_SystemReason(nErr));
    remove(strPart.c_str());
    return 1;
  }

  // A start time other than 0 goes to the delay field of every trace, since
  // other readers ignore the system's own file header fields.
  const bool bDelay = m_t0 != 0;
  TYPEFILE type;
  if ((bNumbers || bIds || bDelay) && CSdsPC::GetTypeFromFileName(path, type) && type == SGY) {
    const bool bDone =
        CompleteHeaders(strPart.c_str(), nTraces, bNumbers, bIds, pInline, pCrossline, pTraceId, pFileId);
    if (!bDone && bDelay)
      u_Warning("Warning! Shot gather '%s': the start time %g s could not be written to its trace headers; other "
                "readers will show it starting at 0.\n",
                path, m_t0);
  }
  if (rename(strPart.c_str(), path) != 0) {
    u_Error("Error! Shot gather '%s' could not be put in place of '%s': %s.\n", strPart.c_str(), path, strerror(errno));
    remove(strPart.c_str());
    return 1;
  }
  return 0;
}

bool CGatherWriter::CompleteHeaders(const char* path, size_t nTraces, bool bNumbers, bool bIds,
                                    const std::vector<int>* pInline, const std::vector<int>* pCrossline,
                                    const std::vector<int>* pTraceId, const std::vector<int>* pFileId) const {
  CSdsPC sds;
  if (!sds.OnOpen(path, 1, 0, 0, 0))
    return false;
  const int n = (int)nTraces < sds.m_nTraceCount ? (int)nTraces : sds.m_nTraceCount;
  bool bAll = n == (int)nTraces;
  for (int i = 0; i < n; i++) {
    SGY_TRACEHEADER h;
    if (!sds.GetTraceHeader(i, h, 1)) {
      bAll = false;
      continue;
    }
    if (bNumbers) {
      sgy_set_inline(h, ListValue(pInline, i, 0));
      sgy_set_crossline(h, ListValue(pCrossline, i, 0));
    }
    const int nTraceId = ListValue(pTraceId, i, -1);
    const int nFileId = ListValue(pFileId, i, -1);
    if (nTraceId >= 0)
      sgy_set_trace_id(h, nTraceId);
    if (nFileId >= 0)
      sgy_set_file_id(h, nFileId);
    if (bNumbers || bIds)
      sgy_set_shot_id(h, m_nShotId);
    CSdsPC::SetDelayTime(h, m_t0, DU_SEC);
    if (!sds.SetTraceHeader(i, h, 1))
      bAll = false;
  }
  return bAll;
}
