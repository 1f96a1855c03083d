// Results of a finished shot: the shot gathers of all components and the
// arrival-time cubes.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include "calc3d/Calc3D.h"
#include "output/GatherWriter.h"
#include "seisfile/SdsPC.h"

int CCalc3D::SaveResults() {
  CString strName = GetFileName(FILE_GATHER, 'Z', false, false, 0);
  int nResult = SaveShotgather(strName, 'Z');
  if (nResult != 0)
    return nResult;

  nResult = 0;
  const char szOthers[] = {'X', 'Y', 'C'};
  for (char c : szOthers) {
    strName = GetFileName(FILE_GATHER, c, false, false, 0);
    nResult |= SaveShotgather(strName, c);
  }
  if (nResult != 0)
    return nResult;

  for (int i = 0; i < 2; i++) {
    if (m_nTimeFieldType & (1 << i)) {
      strName = GetFileName(FILE_TIME, ' ', false, false, i);
      SaveTimeField(strName, i);
    }
  }
  return 0;
}

int CCalc3D::SaveShotgather(const char* path, char cComponent) {
  if (GetGroupSize() >= 2 && (size_t)m_nTraces * m_nSeisLen != 0)
    return SaveShotgatherDistributed(path, cComponent);
  float* pData = nullptr;
  // Without receivers there is nothing to grab; the writer reports it.
  if (!m_vReceivers.empty()) {
    pData = GrabShotgather(cComponent);
    if (!pData) {
      u_Error("Error! Unable to acquire a seismogram from compute device!\n");
      return -1;
    }
  }
  return SaveShotgatherBuf(path, m_vReceivers.size(), m_nSeisLen, pData, m_vReceivers, &m_vRcvInline, &m_vRcvCrossline,
                           &m_vRcvTraceId, &m_vRcvFileId);
}

int CCalc3D::SaveShotgatherBuf(const char* path, size_t nTraces, size_t nSamples, float* pData,
                               std::vector<C3DPointR>& receivers, std::vector<int>* pInline,
                               std::vector<int>* pCrossline, std::vector<int>* pTraceId, std::vector<int>* pFileId) {
  CGatherWriter writer;
  writer.m_ptShot = m_ptShot;
  writer.m_nShot = m_nShot;
  writer.m_nShotId = m_nShotId;
  writer.m_t0 = m_Set.m_t0;
  writer.m_dt = m_Set.m_dt;
  return writer.Write(path, nTraces, nSamples, pData, receivers, pInline, pCrossline, pTraceId, pFileId);
}

int CCalc3D::SaveTimeField(const char* szFile, int nType) {
  const CCubeR area = GetRealUserArea();
  const int ntr = m_nTimeNx * m_nTimeNy;
  int nz = m_nTimeNz;
  if (ntr < 1) {
    u_Error("Invalid Trace Count in CCalc2D::SaveTimeField\n");
    return -1;
  }
  float* pData = nullptr;
  float* pMerged = nullptr;
  if (GetGroupSize() > 1) {
    float* pLocal = GrabTimeField(nType);
    if (!pLocal)
      u_Warning("Warning! SaveTimeField(): Unable to acquire time field from compute device.\n");
    // The planes (depth) go on the first axis of the box.
    CCubeN box(0, 0, 0, nz - 1, m_nTimeNy - 1, m_nTimeNx - 1);
    int nOut = 0;
    const int nMerge = MergeDistributedCube(m_Set, box, &nOut, pLocal, &pMerged);
    if (nMerge != 0)
      return nMerge;
    if (nOut <= 0 || !pMerged) {
      delete[] pMerged;
      return 0;
    }
    nz = nOut;
    pData = pMerged;
  } else {
    pData = GrabTimeField(nType);
  }
  if (!pData)
    return 0;

  SDS_TRACEINFO* pInfo = new (std::nothrow) SDS_TRACEINFO[ntr];
  if (!pInfo) {
    u_Error("Error! Memory Allocation Error in CCalc2D::SaveTimeField\n");
    delete[] pMerged;
    return -1;
  }
  for (int y = 0; y < m_nTimeNy; y++) {
    for (int x = 0; x < m_nTimeNx; x++) {
      SDS_TRACEINFO& r = pInfo[y * m_nTimeNx + x];
      memset(&r, 0, sizeof(r));
      r.m_fXs = (float)m_ptShot.x;
      r.m_fYs = (float)m_ptShot.y;
      r.m_fZs = (float)m_ptShot.z;
      r.m_fXr = (float)x * (float)m_fTimeDx + (float)area.x0;
      r.m_fYr = (float)y * (float)m_fTimeDy + (float)area.y0;
      r.m_fZr = (float)area.z0;
      r.m_nPart = m_nShot;
    }
  }
  CRectR rect(1.0, area.z0, (double)ntr, area.z0 + (nz - 1) * m_fTimeDz);
  CSdsPC sds;
  errno = 0;
  const bool bSaved = sds.OnSave(szFile, pData, rect, CSizeN(ntr, nz), 0, 0, false, pInfo, DU_SEC);
  const int nErr = errno;
  delete[] pInfo;
  delete[] pMerged;
  if (!bSaved) {
    // A cut-off cube would pass for a whole one: it goes.
    u_Warning("Warning! Time field '%s' could not be written: %s. The file is removed.\n", szFile,
              output_SystemReason(nErr));
    remove(szFile);
  }
  return bSaved ? 1 : 0;
}
