#include "output/GatherMerge.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "common.h"
#include "output/GatherWriter.h"
#include "seisfile/SdsPC.h"
#include "seisfile/SgyCodec.h"
#include "seisfile/SgyTraceFields.h"

namespace {

CString ShotFileName(const char* szPattern, int nShot) { return CString(0, szPattern, nShot); }

// Encodes n floats in place as big-endian IBM floats.
void EncodeIbm(float* p, int n) {
  for (int k = 0; k < n; k++) {
    unsigned char b[4];
    sgy_float_to_ibm(p[k], b);
    memcpy(p + k, b, 4);
  }
}

// A merge in progress: the output stream and what the first readable
// per-shot file fixed (trace length and time axis).
struct CMergeState {
  FILE* m_fp = nullptr;
  const char* m_szMerged = nullptr; // the name failures report
  CSdsPC m_sds;
  double m_axis[3] = {0, 0, 0}; // t0, t1, dt of the result
  DATAUNIT m_axisUnit = DU_MSEC;
  bool m_bDelay = false; // the first file carried its start time in the delay field
  int m_ids[2] = {0, 0};
  DATAUNIT m_unit = DU_MSEC;
  std::unique_ptr<float[]> m_pBuf;
  int m_nLen = 0;
  int m_nFiles = 0; // per-shot files opened
};

// Fixes the trace length and the buffer from the first readable file.
// Result: 0 done, 1 the file has no samples, -1 no buffer.
int TakeLength(CMergeState& m, const char* szName) {
  CSdsPC& sds = m.m_sds;
  m.m_nLen = sds.m_nTraceLen;
  if (m.m_nLen == 0) {
    u_Warning("Unable to read file '%s'. Skipped.\n", szName);
    return 1;
  }
  // Resampling writes as many samples as the axis holds; room for a few
  // more than nLen guards against an axis that rounds to a longer trace.
  double fileAxis[3];
  sds.GetTraceParam(fileAxis);
  int nRoom = m.m_nLen;
  if (fileAxis[2] > 0)
    nRoom = std::max(nRoom, (int)((fileAxis[1] - fileAxis[0]) / fileAxis[2] + 1.5));
  m.m_pBuf.reset(new (std::nothrow) float[(size_t)nRoom + 2]);
  if (!m.m_pBuf) {
    u_Error("Unable to create a buffer!\n");
    return -1;
  }
  return 0;
}

// The system's reason for a failed write of the merge, behind its message.
void ReportReason(int nErr) { u_Error("Error! %s. The per-shot files are kept.\n", output_SystemReason(nErr)); }

// Appends the traces of one per-shot file. Result 0 (also for a file passed
// over), -1 the result cannot be written or no buffer.
int AppendFile(CMergeState& m, const char* szName) {
  CSdsPC& sds = m.m_sds;
  if (!sds.OnOpen(szName, 0, 0, 0, 0)) {
    u_Warning("Unable to open file '%s'. Skipped.\n", szName);
    return 0;
  }
  m.m_nFiles++;
  m.m_unit = sds.m_nUnit;
  if (!m.m_pBuf) {
    const int nTake = TakeLength(m, szName);
    if (nTake != 0) {
      sds.Reset();
      return nTake < 0 ? -1 : 0;
    }
  }
  if (m.m_axis[2] == 0) {
    sds.GetTraceParam(m.m_axis);
    m.m_axisUnit = sds.m_nUnit;
    SGY_TRACEHEADER h;
    m.m_bDelay = sds.m_Type == SGY && sds.GetTraceHeader(0, h, 0) && CSdsPC::GetDelayTime(h) != 0;
  }
  float* pBuf = m.m_pBuf.get();
  const int nLen = m.m_nLen;
  const bool bSameAxis = sds.m_rDT == m.m_axis[2] && sds.m_rT0 == m.m_axis[0] && sds.m_rT1 == m.m_axis[1];
  const bool bSgy = sds.m_Type == SGY;
  for (int j = 0; j < sds.m_nTraceCount; j++) {
    const bool bRead = bSameAxis ? sds.GetTrace(j, pBuf, nLen) : sds.GetTrace(j, pBuf, m.m_axis, nullptr, 0);
    if (!bRead)
      continue;
    m.m_ids[0]++;
    m.m_ids[1] = j + 1;
    SDS_TRACEINFO rec;
    if (!sds.Set_pSR(j, &rec))
      continue;
    EncodeIbm(pBuf, nLen);
    SGY_TRACEHEADER th = sds.CreateSGYHeaderTrace(m.m_ids, rec, m.m_axis, m.m_unit);
    if (bSgy) {
      // Shot id, signed offset, inline and crossline numbers of a gather
      // survive the merge as they were written.
      SGY_TRACEHEADER hOld;
      if (sds.GetTraceHeader(j, hOld, 0))
        sgy_copy_gather_numbers(th, hOld);
    }
    // Every trace lies on the result's axis, so its start time is the axis's.
    if (m.m_bDelay)
      CSdsPC::SetDelayTime(th, m.m_axis[0], m.m_axisUnit);
    if (fwrite(&th, sizeof(th), 1, m.m_fp) != 1 || fwrite(pBuf, sizeof(float), nLen, m.m_fp) != (size_t)nLen) {
      const int nErr = errno;
      sds.Reset();
      u_Error("Unable to write to '%s'.\n", m.m_szMerged);
      ReportReason(nErr);
      return -1;
    }
  }
  sds.Reset();
  return 0;
}

// Warns about a per-shot file cut short; the merge takes its whole traces.
void ReportShortFile(const char* szName) {
  CSdsPC sds;
  int nFound = 0, nExpected = 0;
  if (!sds.IsSgyComplete(szName, nFound, nExpected) && nFound < nExpected)
    u_Warning("Warning! File '%s' is incomplete: %d whole traces of %d expected.\n", szName, nFound, nExpected);
}

// Puts the finished merge in place of szMerged, unless that would replace a
// result holding more traces, or nothing was found. Result: 0 the merge is
// in place, 1 the earlier result stays, -1 the rename failed.
int InstallResult(const char* szMerged, const char* szTemp, const CMergeState& m, const char* szPattern, int nFirst,
                  int nLast, bool bRemove) {
  const bool bExists = access(szMerged, F_OK) == 0;
  if (m.m_nFiles == 0) {
    u_Warning("Warning! No per-shot files '%s' for shots %d..%d to merge; '%s' %s.\n", szPattern, nFirst, nLast,
              szMerged, bExists ? "is left as it was" : "holds no traces");
    if (bExists) {
      remove(szTemp);
      return 1;
    }
  } else if (bExists) {
    CSdsPC sds;
    int nOld = 0, nExpected = 0;
    sds.IsSgyComplete(szMerged, nOld, nExpected);
    if (nOld > m.m_ids[0]) {
      u_Warning("Warning! '%s' holds %d traces, the merge of '%s' for shots %d..%d only %d; the file is left as it "
                "was%s.\n",
                szMerged, nOld, szPattern, nFirst, nLast, m.m_ids[0],
                bRemove ? " and the per-shot files are kept" : "");
      remove(szTemp);
      return 1;
    }
  }
  if (rename(szTemp, szMerged) != 0) {
    u_Error("Error! Unable to rename '%s' to '%s': %s. The results has not been merged!\n", szTemp, szMerged,
            strerror(errno));
    remove(szTemp);
    return -1;
  }
  return 0;
}

} // namespace

int CGatherMerge::MergeSgy(const char* szMerged, const char* szPattern, int nFirst, int nLast, bool bRemove) {
  // The merge goes to a file beside the result, which replaces the result
  // only when it is complete and holds no fewer traces.
  const CString strTemp = CString(szMerged) + ".merging";
  CMergeState m;
  m.m_szMerged = szMerged;
  m.m_fp = fopen(strTemp, "wb");
  if (!m.m_fp) {
    u_Error("Unable to open file '%s' for writing! The results has not been merged!\n", szMerged);
    return -1;
  }
  // A failed merge leaves the earlier result, and no partial file.
  auto fail = [&]() {
    if (m.m_fp)
      fclose(m.m_fp);
    remove(strTemp);
    return -1;
  };
  {
    SGY_FILEHEADER h = m.m_sds.CreateSGYHeaderFile(0, m.m_axis, DU_SEC, 0);
    if (fwrite(&h, sizeof(h), 1, m.m_fp) != 1) {
      u_Error("Unable to write to results file '%s'! The results has not been merged!\n", szMerged);
      ReportReason(errno);
      return fail();
    }
  }
  for (int i = nFirst; i <= nLast; i++) {
    CString strName = ShotFileName(szPattern, i);
    ReportShortFile(strName);
    if (AppendFile(m, strName) != 0)
      return fail();
  }
  m.m_pBuf.reset();

  SGY_FILEHEADER h = m.m_sds.CreateSGYHeaderFile(m.m_ids[0], m.m_axis, m.m_unit, 0);
  errno = 0;
  const bool bWritten = fseek(m.m_fp, 0, SEEK_SET) == 0 && fwrite(&h, sizeof(h), 1, m.m_fp) == 1;
  int nErr = errno;
  const bool bClosed = fclose(m.m_fp) == 0;
  if (nErr == 0)
    nErr = errno;
  m.m_fp = nullptr;
  if (!bWritten || !bClosed) {
    u_Error("Unable to write to '%s'.\n", szMerged);
    ReportReason(nErr);
    return fail();
  }

  const int nInstalled = InstallResult(szMerged, strTemp, m, szPattern, nFirst, nLast, bRemove);
  if (nInstalled < 0)
    return -1;
  // Per-shot files go only once their traces are in the merged file.
  if (bRemove && nInstalled == 0) {
    for (int i = nFirst; i <= nLast; i++) {
      CString strName = ShotFileName(szPattern, i);
      remove(strName);
      remove(strName + ".cr0");
      remove(strName + ".cr2");
    }
  }
  return 0;
}
