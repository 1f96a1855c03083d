// Files of a shot's results: their names, and whether a recovered run finds
// a shot already done.
#include <unistd.h>

#include <algorithm>
#include <cmath>

#include "calc3d/Calc3D.h"
#include "calc3d/CalcShared.h"
#include "seisfile/SdsPC.h"

int CCalc3D::IsCalcNeeded(int nShot) {
  if (!m_Set.m_bRecovery)
    return 1;
  m_nShot = nShot;
  // A gather cut short by a kill or a full disk is not a finished shot.
  CSdsPC sds;
  for (char c : {'X', 'Y', 'Z', 'C'}) {
    CString strName = GetFileName(FILE_GATHER, c, false, false, 0);
    if (access(strName, 4) != 0)
      return 1;
    int nFound = 0, nExpected = 0;
    if (!sds.IsSgyComplete(strName, nFound, nExpected)) {
      if (nExpected < 0)
        u_Warning("Warning! Shot Point #%d: file '%s' has no valid header - calculated again.\n", nShot,
                  (const char*)strName);
      else
        u_Warning("Warning! Shot Point #%d: file '%s' is incomplete (%d whole traces of %d expected) - calculated "
                  "again.\n",
                  nShot, (const char*)strName, nFound, nExpected);
      return 1;
    }
  }
  u_Print("Shot Point #%d is already calculated - skipped.\n", nShot);
  return 0;
}

CString calc_OutputBase(const CString& strModel, const CString& strOutputDir) {
  const int nSlash = std::max(strModel.ReverseFind('/'), strModel.ReverseFind('\\'));
  CString strName = strModel.Mid(nSlash + 1, (long)strModel.GetLength() - nSlash - 1);
  const int nDot = strName.ReverseFind('.');
  if (nDot >= 0)
    strName = strName.Left(nDot);
  if (strName.IsEmpty())
    strName = "Model";
  CString strBase = strOutputDir;
  strBase += strName;
  return strBase;
}

CString CCalc3D::GetFileName(int nType, char cComponent, bool bPattern, bool bMerged, double fParam) {
  const CString strBase = calc_OutputBase(m_Set.m_strModelPW, m_Set.m_strOutputDir);

  static const char* const s_szWords[] = {"Gath", "Snap", "Time", "3DSnap"};
  const char* szWord = nType >= 0 && nType <= 3 ? s_szWords[nType] : "Unknown";

  const int nMethod = GetMethod();
  const char* szMethod = nMethod == 100 ? "I" : (nMethod == 101 ? "A" : (nMethod == 102 ? "E" : "N"));
  char cSource = 'U';
  if (m_nSourceType == SOURCE_VX)
    cSource = 'X';
  else if (m_nSourceType == SOURCE_VY)
    cSource = 'Y';
  else if (m_nSourceType == SOURCE_VZ)
    cSource = 'Z';

  char szComp[2] = {0, 0};
  switch (cComponent) {
  case 'X': szComp[0] = 'x'; break;
  case 'Y': szComp[0] = 'y'; break;
  case 'Z': szComp[0] = 'z'; break;
  case 'C': szComp[0] = 'c'; break;
  case ' ': break;
  default: szComp[0] = cComponent;
  }

  CString strExtra;
  if (nType == FILE_TIME)
    strExtra.Format("(%s)", (int)fParam == 0 ? "MaxEnergy" : "MaxDiv");
  else if (nType == FILE_SNAP3D)
    strExtra.Format("(t=%g)", fParam);

  const char* szExt = nType == FILE_SNAP2D ? ".zpl" : ".sgy";

  CString str;
  if (bMerged) {
    str.Format("%s+%s3D%sP%c%s%s%s", strBase.c_str(), szWord, szMethod, cSource, szComp, strExtra.c_str(), szExt);
  } else if (bPattern) {
    str.Format("%s+%s3D%sP%c%s%s-%%d%s", strBase.c_str(), szWord, szMethod, cSource, szComp, strExtra.c_str(), szExt);
  } else if (nType == FILE_TIME && !m_bTimeMerge) {
    CString strPos;
    if (fParam >= 0)
      strPos.Format("_%d_%d_%d", (int)lround(m_ptShot.x), (int)lround(m_ptShot.y), (int)lround(m_ptShot.z));
    str.Format("%s+%s3D%sP%c%s%s%s%s", strBase.c_str(), szWord, szMethod, cSource, szComp, strExtra.c_str(),
               strPos.c_str(), szExt);
  } else {
    str.Format("%s+%s3D%sP%c%s%s-%d%s", strBase.c_str(), szWord, szMethod, cSource, szComp, strExtra.c_str(), m_nShot,
               szExt);
  }
  return str;
}
