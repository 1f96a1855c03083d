// CSdsPC: writing ZPL files: a 2-D array of traces, model volumes, snapshot
// frames added to a file, and the join of numbered files into one.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <new>
#include <string>
#include <strings.h>
#include <vector>

#include "SdsPC.h"
#include "ZplFile.h"

namespace {

// The first axis of a 2-D file: X0, X1 and their step, 1.0 for one trace.
void set_first_axis(ZPL_FILEHEADER& h, double x0, double x1, int n) {
  h.m_fX0 = (float)x0;
  h.m_fX1 = (float)x1;
  h.m_fDX = n > 1 ? (float)((x1 - x0) / (n - 1)) : 1.0f;
}

// Velocity-dependent value of a table of 16 points: the end values outside,
// else linear between neighbours, truncated to an integer.
float from_p_velocity(const float* pTable, float v) {
  static const float s_vp[16] = {0,    300,  1500, 2000, 2500, 3000, 4000, 5000,
                                 6000, 6500, 7000, 7500, 8000, 8500, 9000, 10000};
  if (v <= s_vp[0])
    return pTable[0];
  if (v >= s_vp[15])
    return pTable[15];
  int k = 1;
  while (v > s_vp[k])
    k++;
  if (v == s_vp[k])
    return pTable[k];
  const double w = (v - s_vp[k - 1]) / (s_vp[k] - s_vp[k - 1]);
  return (float)(int)(pTable[k - 1] + w * (pTable[k] - pTable[k - 1]));
}

const float s_density[16] = {0,    1000, 1970, 2010, 2200, 2200, 2350, 2500,
                             2650, 2810, 2970, 3130, 3300, 3400, 3500, 3800};
const float s_vs[16] = {0, 0, 900, 1150, 1450, 1730, 2310, 2900, 3510, 3750, 4050, 4350, 4650, 4800, 5000, 6000};

bool file_exists(const char* szName) { return access(szName, F_OK) == 0; }

} // namespace

bool CSdsPC::SaveZpl(const char* name, float* pData, const CRectR& rect, const CSizeN& size, SDS_TRACEINFO* pInfo,
                     DATAUNIT unit) {
  if (!pData) {
    FILE* fp = fopen(name, "wb"); // the file is made, but nothing is written to it
    if (fp)
      fclose(fp);
    return false;
  }
  const bool bDepth = unit == DU_M;
  ZPL_FILEHEADER h;
  zpl_InitHeader(h, name, bDepth ? "XZTY" : "XTZY", bDepth ? "Modl" : "Gath");
  set_first_axis(h, rect.x0, rect.x1, size.cx);
  const double k = unit == DU_MSEC ? 0.001 : 1.0;
  h.m_fT0 = (float)(rect.y0 * k);
  h.m_fT1 = (float)(rect.y1 * k);
  h.m_fDT = (float)((rect.y1 - rect.y0) / (size.cy - 1) * k);
  if (pInfo) {
    h.m_fXs = pInfo[0].m_fXs;
    h.m_fZs = pInfo[0].m_fZs;
  }
  h.m_n[0] = size.cx;
  h.m_n[1] = size.cy;
  h.m_nComps = 1;
  h.m_nAxes = 2;
  h.m_szComps[0] = m_cComponent;
  // Sample k of trace i at k * cx + i is the layout of a one-component section.
  return zpl_WriteFile(name, h, pData);
}

bool CSdsPC::SaveModelZpl(const char* name, float* const* ppVolumes, CRectR rect, CSizeN size, SDS_TRACEINFO* pInfo,
                          const char* szComps) {
  static const char s_default[] = "PQRS";
  const int64_t nPoints = (int64_t)size.cx * size.cy;
  float* vols[4] = {ppVolumes[0], ppVolumes[1], ppVolumes[2], ppVolumes[3]};
  int nGiven = 0;
  for (float* p : vols)
    nGiven += p ? 1 : 0;
  std::vector<float> vQ, vR, vData;
  try {
    // With two volumes or more, a missing density (Q) or S velocity (R) is
    // made from the P velocity.
    if (nGiven >= 2 && !vols[1]) {
      vQ.resize(nPoints);
      for (int64_t i = 0; i < nPoints; i++)
        vQ[i] = from_p_velocity(s_density, vols[0][i]);
      vols[1] = vQ.data();
    }
    if (nGiven >= 2 && !vols[2]) {
      vR.resize(nPoints);
      for (int64_t i = 0; i < nPoints; i++)
        vR[i] = from_p_velocity(s_vs, vols[0][i]);
      vols[2] = vR.data();
    }
  } catch (const std::bad_alloc&) {
    return false;
  }
  ZPL_FILEHEADER h;
  zpl_InitHeader(h, name, "XTZY", "Gath");
  const float* planes[4];
  int c = 0;
  for (int k = 0; k < 4; k++)
    if (vols[k]) {
      h.m_szComps[c] = szComps && szComps[k] ? szComps[k] : s_default[k];
      planes[c++] = vols[k];
    }
  try {
    vData.resize(nPoints * c);
  } catch (const std::bad_alloc&) {
    return false;
  }
  zpl_Interleave(planes, c, nPoints, vData.data());
  set_first_axis(h, rect.x0, rect.x1, size.cx);
  h.m_fT0 = (float)(rect.y0 * 0.001);
  h.m_fT1 = (float)(rect.y1 * 0.001);
  h.m_fDT = (float)((rect.y1 - rect.y0) / (size.cy - 1) * 0.001);
  if (pInfo) {
    h.m_fXs = pInfo[0].m_fXs;
    h.m_fZs = pInfo[0].m_fZs;
  }
  h.m_n[0] = size.cx;
  h.m_n[1] = size.cy;
  h.m_nComps = c;
  h.m_nAxes = 2;
  return zpl_WriteFile(name, h, vData.data());
}

bool CSdsPC::OnAddToZPL_SNAP(const char* szFile, C3DSizeN& size, CCubeR& cube, char* szComps, CPointR& ptSrc, float* p0,
                             float* p1, float* p2, float* p3) {
  TYPEFILE type;
  if (size.cx < 1 || size.cy < 2 || size.cz < 1 || (!p0 && !p1 && !p2) || !szFile ||
      !GetTypeFromFileName(szFile, type) || type != ZPL)
    return false;

  ZPL_FILEHEADER h;
  zpl_InitHeader(h, szFile, "XZTY", "Snap");
  const float* planes[4] = {p0, p1, p2, p3};
  const float* used[4];
  const size_t nLetters = szComps ? strlen(szComps) : 0;
  int nc = 0;
  for (int k = 0; k < 4; k++)
    if (planes[k]) {
      h.m_szComps[nc] = (size_t)k < nLetters ? szComps[k] : '?';
      used[nc++] = planes[k];
    }
  const double f = bFOOT ? 0.3048 : 1.0;
  set_first_axis(h, cube.x0 * f, cube.x1 * f, size.cx);
  h.m_fT0 = (float)(cube.y0 * f);
  h.m_fT1 = (float)(cube.y1 * f);
  h.m_fDT = (float)((cube.y1 - cube.y0) * f / (size.cy - 1));
  h.m_fXs = (float)(ptSrc.x * f);
  h.m_fZs = (float)(cube.z0 * f);
  h.m_fY0 = (float)cube.z0;
  h.m_fY1 = (float)cube.z1;
  h.m_fDY = (float)(size.cz > 1 ? (cube.z1 - cube.z0) / (size.cz - 1) : cube.z1 - cube.z0);
  h.m_n[0] = size.cx;
  h.m_n[1] = size.cy;
  h.m_n[2] = size.cz;
  h.m_nComps = nc;
  h.m_nAxes = 3;

  const int64_t nPoints = (int64_t)size.cx * size.cy * size.cz;
  std::vector<float> vData;
  try {
    vData.resize(nPoints * nc);
  } catch (const std::bad_alloc&) {
    u_Error("Error! Memory Allocation Error in CSdsPC::OnAddToZPL_SNAP\n");
    return false;
  }
  zpl_Interleave(used, nc, nPoints, vData.data());
  const int64_t nBytes = 4 * nPoints * nc;

  // Frames of the same grid and components go behind those of the file. The
  // data go first and the header after them, so that a failed write never
  // leaves a header that counts frames which are not there.
  FILE* fp = fopen(szFile, "rb+");
  if (fp) {
    ZPL_FILEHEADER old;
    if (zpl_ReadHeader(fp, 0, old)) {
      if (old.m_n[0] == h.m_n[0] && old.m_n[1] == h.m_n[1] && old.m_nComps == nc && old.m_nSections < 2 &&
          old.m_nSection == 0 && old.m_n[3] == 1) {
        const int64_t nEnd = ZPL_HEADER_BYTES + 4 * zpl_SectionFloats(old);
        old.m_fY1 = h.m_fY1;
        old.m_n[2] += size.cz;
        old.m_fDY = (old.m_fY1 - old.m_fY0) / (std::max(old.m_n[2], 2) - 1);
        bool bOk = zpl_WriteAt(fp, nEnd, vData.data(), nBytes) && zpl_WriteAt(fp, 0, &old, sizeof(old));
        if (fclose(fp) != 0)
          bOk = false;
        return bOk;
      }
      u_Print("File header is not supported addition new data\n");
    }
    fclose(fp);
  }
  return zpl_WriteFile(szFile, h, vData.data());
}

bool CSdsPC::OnSaveNZpl2ZPL(const char* szFile, int nLast, int /*nReserved*/) {
  const size_t n = szFile ? strlen(szFile) : 0;
  if (n < 5 || szFile[n - 4] != '.')
    return false;
  if (strcasecmp(szFile + n - 3, "zpl") != 0) {
    u_Print("File name '%s' has incorrect extension. It have to be from the set '.zpl'!\n", szFile);
    return false;
  }
  const std::string strBase(szFile, n - 4);

  // Survey of the numbered files: traces, and whether all are single traces
  // (columns of one model) with their common component letters.
  std::vector<int> vNumbers;
  int64_t nTotal = 0;
  bool bAllSingle = true;
  int nLen = 1, nComps = 1;
  char szCommon[5] = {0, 0, 0, 0, 0};
  // The trace tables of all files in order: the joined file's sections keep
  // one source position each, the per-trace positions come from here.
  std::vector<SDS_TRACEINFO> vTables;
  bool bTables = true;
  for (int i = 1; i <= nLast; i++) {
    const std::string strName = strBase + "-" + std::to_string(i) + ".zpl";
    if (!file_exists(strName.c_str()))
      continue;
    vNumbers.push_back(i);
    CSdsPC sds;
    if (!sds.OnOpen(strName.c_str()) || sds.m_nTraceCount < 1)
      continue;
    nTotal += sds.m_nTraceCount;
    if (bTables) {
      try {
        vTables.insert(vTables.end(), sds.m_pSR, sds.m_pSR + sds.m_nTraceCount);
      } catch (const std::bad_alloc&) {
        bTables = false;
        std::vector<SDS_TRACEINFO>().swap(vTables);
      }
    }
    if (sds.m_nTraceCount > 1) {
      bAllSingle = false;
      continue;
    }
    nLen = std::max(nLen, sds.m_nTraceLen);
    for (int j = 0; j < 4 && sds.m_szComponents[j]; j++) {
      if (!szCommon[j])
        szCommon[j] = sds.m_szComponents[j];
      nComps = std::max(nComps, j + 1);
    }
  }
  if (nTotal < 1)
    return false;

  int nCopied = 1;
  if (bAllSingle) {
    if (!JoinZplModel(szFile, vNumbers, strBase.c_str(), nLen, szCommon, nComps))
      return false;
  } else if (!JoinZplSections(szFile, vNumbers, strBase.c_str(), nCopied)) {
    return false;
  } else if (bTables && nCopied > 0 && OnOpen(szFile)) {
    const int n = (int)std::min<int64_t>((int64_t)vTables.size(), m_nTraceCount);
    for (int i = 0; i < n; i++) {
      m_pSR[i].m_fXs = vTables[i].m_fXs;
      m_pSR[i].m_fXr = vTables[i].m_fXr;
      m_pSR[i].m_fZs = vTables[i].m_fZs;
      m_pSR[i].m_fZr = vTables[i].m_fZr;
    }
    SetInfoHeaderFromFile(szFile, 1);
  }
  for (int i : vNumbers) {
    const std::string strName = strBase + "-" + std::to_string(i) + ".zpl";
    remove(strName.c_str());
    for (const char* szSide : {".inf", ".cr2", ".cr0"})
      if (file_exists((strName + szSide).c_str()))
        remove((strName + szSide).c_str());
  }
  if (nCopied == 0)
    remove(szFile);
  return true;
}

bool CSdsPC::JoinZplModel(const char* szFile, const std::vector<int>& vNumbers, const char* szBase, int nLen,
                          const char* szComps, int nComps) {
  const int nFiles = (int)vNumbers.size();
  std::vector<float> vTrace, vPlanes;
  std::vector<SDS_TRACEINFO> vRecords;
  try {
    vTrace.assign(nLen, 0.0f);
    vPlanes.assign((size_t)4 * nLen * nFiles, 0.0f);
    vRecords.assign(nFiles, SDS_TRACEINFO());
  } catch (const std::bad_alloc&) {
    return false;
  }
  memset(vRecords.data(), 0, sizeof(SDS_TRACEINFO) * nFiles);
  CRectR rect(UNSET_VALUE, UNSET_VALUE, UNSET_VALUE, UNSET_VALUE);
  const size_t nPlane = (size_t)nLen * nFiles;
  int k = 0;
  for (int i : vNumbers) {
    const std::string strName = std::string(szBase) + "-" + std::to_string(i) + ".zpl";
    CSdsPC sds;
    if (!sds.OnOpen(strName.c_str()))
      continue;
    for (int j = 0; j < nComps; j++) {
      sds.m_cComponent = memchr(sds.m_szComponents, szComps[j], sizeof(sds.m_szComponents)) ? szComps[j] : ' ';
      if (sds.GetTrace(0, vTrace.data(), nLen))
        for (int u = 0; u < nLen; u++)
          vPlanes[j * nPlane + (size_t)u * nFiles + k] = vTrace[u];
    }
    vRecords[k] = sds.m_pSR[0];
    if (k == 0) {
      rect.y0 = sds.m_rT0;
      rect.y1 = sds.m_rT1;
      rect.x0 = std::min(sds.m_pSR[0].m_fXs, sds.m_pSR[0].m_fXr);
    }
    rect.x1 = std::min(sds.m_pSR[0].m_fXs, sds.m_pSR[0].m_fXr);
    k++;
  }
  float* p[4];
  for (int j = 0; j < 4; j++)
    p[j] = j < nComps ? &vPlanes[j * nPlane] : nullptr;
  return OnSaveModel(szFile, p[0], p[1], p[2], rect, CSizeN(nFiles, nLen), vRecords.data(), szComps, DU_MSEC, p[3]);
}

bool CSdsPC::JoinZplSections(const char* szFile, const std::vector<int>& vNumbers, const char* szBase, int& nCopied) {
  nCopied = 0;
  for (const char* szSide : {".cr2", ".cr0"})
    remove((std::string(szFile) + szSide).c_str());
  FILE* fpOut = fopen(szFile, "wb");
  if (!fpOut)
    return false;
  const int nFiles = (int)vNumbers.size();
  std::vector<float> vBuf;
  bool bOk = true;
  for (size_t f = 0; f < vNumbers.size() && bOk; f++) {
    const int i = vNumbers[f];
    const std::string strName = std::string(szBase) + "-" + std::to_string(i) + ".zpl";
    FILE* fp = fopen(strName.c_str(), "rb");
    if (!fp)
      continue;
    ZPL_FILEHEADER h;
    struct stat st;
    const int64_t nSize = stat(strName.c_str(), &st) == 0 ? (int64_t)st.st_size : 0;
    if (!zpl_ReadHeader(fp, 0, h)) {
      fclose(fp);
      continue;
    }
    // Only whole sections are joined: a file that ends before its header
    // says would shift every section behind it.
    const int64_t nNeed = ZPL_HEADER_BYTES + 4 * zpl_SectionFloats(h);
    if (nSize < nNeed) {
      u_Warning("Warning! File '%s' is shorter than its header says (%lld of %lld bytes) and is left out of '%s'.\n",
                strName.c_str(), (long long)nSize, (long long)nNeed, szFile);
      fclose(fp);
      continue;
    }
    h.m_nSections = nFiles;
    h.m_nSection = i - 1;
    if (fwrite(&h, 1, sizeof(h), fpOut) != sizeof(h)) {
      fclose(fp);
      bOk = false;
      break;
    }
    // Blocks of frames: all frames of an axis at once while that stays below
    // 100,000,000 floats.
    int64_t nBlock = zpl_FrameFloats(h), n3 = h.m_n[2], n4 = h.m_n[3];
    if (n3 > 1 && nBlock * n3 < 100000000) {
      nBlock *= n3;
      n3 = 1;
    }
    if (n4 > 1 && nBlock * n4 < 100000000) {
      nBlock *= n4;
      n4 = 1;
    }
    const int64_t nBlocks = n3 * n4;
    try {
      if ((int64_t)vBuf.size() < nBlock)
        vBuf.resize(nBlock);
    } catch (const std::bad_alloc&) {
      fclose(fp);
      bOk = false;
      break;
    }
    for (int64_t b = 0; b < nBlocks && bOk; b++) {
      bOk = fread(vBuf.data(), 4, (size_t)nBlock, fp) == (size_t)nBlock &&
            fwrite(vBuf.data(), 4, (size_t)nBlock, fpOut) == (size_t)nBlock;
    }
    fclose(fp);
    if (bOk)
      nCopied++;
  }
  if (fclose(fpOut) != 0)
    bOk = false;
  if (!bOk)
    u_Error("Error! Unable to write to '%s': the snapshot files are not joined.\n", szFile);
  return bOk;
}
