// ZPL grid files: header, sizes and section I/O shared by the readers and
// writers of CSdsPC.
#include "ZplFile.h"

#include <sys/types.h>

#include <algorithm>
#include <cstring>

// Copies up to nMax characters of sz, without a terminator when sz is as
// long; the field is zeroed beforehand.
static void copy_text(char* pField, const char* sz, size_t nMax) {
  if (sz)
    memcpy(pField, sz, std::min(strlen(sz), nMax));
}

void zpl_InitHeader(ZPL_FILEHEADER& h, const char* szName, const char* szAxes, const char* szClass) {
  memset(&h, 0, sizeof(h));
  copy_text(h.m_szFormat, "Binary. FD-Grid ___", sizeof(h.m_szFormat) - 1);
  copy_text(h.m_szTitle, "Model", sizeof(h.m_szTitle) - 1);
  copy_text(h.m_szCreator, "QuarzinePro", sizeof(h.m_szCreator) - 1);
  copy_text(h.m_szName, szName, sizeof(h.m_szName));
  copy_text(h.m_szAxes, szAxes, sizeof(h.m_szAxes));
  copy_text(h.m_szClass, szClass, sizeof(h.m_szClass) - 1);
  for (int k = 0; k < 4; k++)
    h.m_n[k] = 1;
  h.m_nOne = 1;
  h.m_nSections = 1;
  h.m_nSection = 0;
}

bool zpl_IsValid(const ZPL_FILEHEADER& h) {
  if (h.m_nComps < 1 || h.m_nComps > ZPL_MAX_COMPONENTS)
    return false;
  const int64_t nLimit = INT64_C(1) << 60;
  int64_t n = 4 * (int64_t)h.m_nComps;
  // Checked before each product: a wrapped product would pass for small.
  for (int k = 0; k < 4; k++) {
    if (h.m_n[k] < 1 || n > nLimit / h.m_n[k])
      return false;
    n *= h.m_n[k];
  }
  return true;
}

int64_t zpl_FrameFloats(const ZPL_FILEHEADER& h) { return (int64_t)h.m_nComps * h.m_n[0] * h.m_n[1]; }

int64_t zpl_FrameCount(const ZPL_FILEHEADER& h) { return (int64_t)h.m_n[2] * h.m_n[3]; }

int64_t zpl_SectionFloats(const ZPL_FILEHEADER& h) { return zpl_FrameFloats(h) * zpl_FrameCount(h); }

void zpl_ComponentText(const ZPL_FILEHEADER& h, char szOut[ZPL_MAX_COMPONENTS + 1]) {
  memset(szOut, 0, ZPL_MAX_COMPONENTS + 1);
  const int n = h.m_nComps < ZPL_MAX_COMPONENTS ? (h.m_nComps > 0 ? h.m_nComps : 0) : ZPL_MAX_COMPONENTS;
  memcpy(szOut, h.m_szComps, n);
}

void zpl_Interleave(const float* const* planes, int nPlanes, int64_t nPoints, float* out) {
  for (int k = 0; k < nPlanes; k++) {
    const float* p = planes[k];
    for (int64_t i = 0; i < nPoints; i++)
      out[i * nPlanes + k] = p[i];
  }
}

void zpl_Extract(const float* in, int nPlanes, int64_t nPoints, int k, float* plane) {
  for (int64_t i = 0; i < nPoints; i++)
    plane[i] = in[i * nPlanes + k];
}

bool zpl_ReadAt(FILE* fp, int64_t nPos, void* p, int64_t nBytes) {
  if (!fp || nPos < 0 || fseeko(fp, (off_t)nPos, SEEK_SET) != 0)
    return false;
  return fread(p, 1, (size_t)nBytes, fp) == (size_t)nBytes;
}

bool zpl_WriteAt(FILE* fp, int64_t nPos, const void* p, int64_t nBytes) {
  if (!fp || nPos < 0 || fseeko(fp, (off_t)nPos, SEEK_SET) != 0)
    return false;
  return fwrite(p, 1, (size_t)nBytes, fp) == (size_t)nBytes;
}

bool zpl_ReadHeader(FILE* fp, int64_t nPos, ZPL_FILEHEADER& h) {
  return zpl_ReadAt(fp, nPos, &h, sizeof(h)) && zpl_IsValid(h);
}

bool zpl_ReadFrame(FILE* fp, int64_t nPos, const ZPL_FILEHEADER& h, int64_t nFrame, float* out) {
  if (nFrame < 0 || nFrame >= zpl_FrameCount(h))
    return false;
  const int64_t nFrameBytes = 4 * zpl_FrameFloats(h);
  return zpl_ReadAt(fp, nPos + ZPL_HEADER_BYTES + nFrame * nFrameBytes, out, nFrameBytes);
}

bool zpl_WriteFile(const char* szFile, const ZPL_FILEHEADER& h, const float* pData) {
  FILE* fp = fopen(szFile, "wb");
  if (!fp)
    return false;
  const size_t n = (size_t)zpl_SectionFloats(h);
  bool bOk = fwrite(&h, 1, sizeof(h), fp) == sizeof(h) && fwrite(pData, sizeof(float), n, fp) == n;
  if (fclose(fp) != 0)
    bOk = false;
  return bOk;
}
