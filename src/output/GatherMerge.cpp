#include "output/GatherMerge.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "common.h"
#include "seisfile/SdsPC.h"
#include "seisfile/SgyCodec.h"

namespace {

// Header offsets (0-based) that a merge carries over from a per-shot gather.
enum { TH_SHOT_ID = 16, TH_INLINE = 188, TH_CROSSLINE = 192 };

CString ShotFileName(const char* szPattern, int nShot) { return CString(0, szPattern, nShot); }

// Copies `n` header bytes at `nOffset` from one raw header to another.
void CopyField(SGY_TRACEHEADER& to, const SGY_TRACEHEADER& from, int nOffset, int n) {
  memcpy(to.m_buf + nOffset, from.m_buf + nOffset, n);
}

// Encodes n floats in place as big-endian IBM floats.
void EncodeIbm(float* p, int n) {
  for (int k = 0; k < n; k++) {
    unsigned char b[4];
    sgy_float_to_ibm(p[k], b);
    memcpy(p + k, b, 4);
  }
}

} // namespace

int CGatherMerge::MergeSgy(const char* szMerged, const char* szPattern, int nFirst, int nLast, bool bRemove) {
  shared_ptr1<FILE> fp(fopen(szMerged, "wb"), file_deleter);
  if (!fp.get()) {
    u_Error("Unable to open file '%s' for writing! The results has not been merged!\n", szMerged);
    return -1;
  }
  CSdsPC sds;
  double axis[3] = {0, 0, 0}; // t0, t1, dt of the result
  {
    SGY_FILEHEADER h = sds.CreateSGYHeaderFile(0, axis, DU_SEC, 0);
    if (fwrite(&h, sizeof(h), 1, fp.get()) != 1) {
      fp.reset();
      u_Error("Unable to write to results file '%s'! The results has not been merged!\n", szMerged);
      return -1;
    }
  }

  int ids[2] = {0, 0};
  DATAUNIT unit = DU_MSEC;
  float* pBuf = nullptr;
  int nLen = 0;
  for (int i = nFirst; i <= nLast; i++) {
    CString strName = ShotFileName(szPattern, i);
    if (!sds.OnOpen(strName, 0, 0, 0, 0)) {
      u_Warning("Unable to open file '%s'. Skipped.\n", (const char*)strName);
      continue;
    }
    unit = sds.m_nUnit;
    if (!pBuf) {
      nLen = sds.m_nTraceLen;
      if (nLen == 0) {
        u_Warning("Unable to read file '%s'. Skipped.\n", (const char*)strName);
        sds.Reset();
        continue;
      }
      // Resampling writes as many samples as the axis holds; room for a few
      // more than nLen guards against an axis that rounds to a longer trace.
      double fileAxis[3];
      sds.GetTraceParam(fileAxis);
      int nRoom = nLen;
      if (fileAxis[2] > 0)
        nRoom = std::max(nRoom, (int)((fileAxis[1] - fileAxis[0]) / fileAxis[2] + 1.5));
      pBuf = new (std::nothrow) float[(size_t)nRoom + 2];
      if (!pBuf) {
        sds.Reset();
        u_Error("Unable to create a buffer!\n");
        return -1;
      }
    }
    if (axis[2] == 0)
      sds.GetTraceParam(axis);

    const bool bSameAxis = sds.m_rDT == axis[2] && sds.m_rT0 == axis[0] && sds.m_rT1 == axis[1];
    const bool bSgy = sds.m_Type == SGY;
    for (int j = 0; j < sds.m_nTraceCount; j++) {
      const bool bRead = bSameAxis ? sds.GetTrace(j, pBuf, nLen) : sds.GetTrace(j, pBuf, axis, nullptr, 0);
      if (!bRead)
        continue;
      ids[0]++;
      ids[1] = j + 1;
      SDS_TRACEINFO rec;
      if (!sds.Set_pSR(j, &rec))
        continue;
      EncodeIbm(pBuf, nLen);
      SGY_TRACEHEADER th = sds.CreateSGYHeaderTrace(ids, rec, axis, unit);
      if (bSgy) {
        // Shot id, inline and crossline numbers of a gather survive the merge.
        SGY_TRACEHEADER hOld;
        if (sds.GetTraceHeader(j, hOld, 0)) {
          CopyField(th, hOld, TH_SHOT_ID, 4);
          CopyField(th, hOld, TH_INLINE, 4);
          CopyField(th, hOld, TH_CROSSLINE, 4);
        }
      }
      if (fwrite(&th, sizeof(th), 1, fp.get()) != 1 || fwrite(pBuf, sizeof(float), nLen, fp.get()) != (size_t)nLen) {
        delete[] pBuf;
        fp.reset();
        u_Error("Unable to write to '%s'.\n", szMerged);
        return -1;
      }
    }
    sds.Reset();
  }
  delete[] pBuf;

  if (fseek(fp.get(), 0, SEEK_SET) != 0) {
    fp.reset();
    u_Error("Unable to write to '%s'.\n", szMerged);
    return -1;
  }
  SGY_FILEHEADER h = sds.CreateSGYHeaderFile(ids[0], axis, unit, 0);
  if (fwrite(&h, sizeof(h), 1, fp.get()) != 1) {
    fp.reset();
    u_Error("Unable to write to '%s'.\n", szMerged);
    return -1;
  }
  if (fflush(fp.get()) != 0) {
    fp.reset();
    u_Error("Unable to write to '%s'.\n", szMerged);
    return -1;
  }
  fp.reset();

  if (bRemove) {
    for (int i = nFirst; i <= nLast; i++) {
      CString strName = ShotFileName(szPattern, i);
      remove(strName);
      remove(strName + ".cr0");
      remove(strName + ".cr2");
    }
  }
  return 0;
}
