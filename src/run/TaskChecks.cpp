#include "TaskChecks.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "calc3d/Calc3D.h"
#include "common.h"

bool task_DirWritable(const char* szDir) {
  const bool bHere = !szDir || !*szDir;
  CString strProbe(0, "%s%s.kelvo-write-test-%d", bHere ? "./" : szDir,
                   !bHere && szDir[strlen(szDir) - 1] != '/' ? "/" : "", (int)getpid());
  FILE* fp = fopen(strProbe, "wx");
  if (!fp)
    return false;
  fclose(fp);
  remove(strProbe);
  return true;
}

namespace {

// The directory part of a file name, "." for none.
CString DirOf(const CString& strFile) {
  const int nSlash = strFile.ReverseFind('/');
  if (nSlash < 0)
    return CString(".");
  if (nSlash == 0)
    return CString("/");
  return strFile.Left(nSlash);
}

int CheckFileDir(const char* szWhat, const CString& strFile) {
  const CString strDir = DirOf(strFile);
  if (task_DirWritable(strDir))
    return 0;
  u_Error("Error! %s cannot be written: no file can be made in '%s' (%s), where '%s' would go.\n", szWhat,
          (const char*)strDir, strerror(errno), (const char*)strFile);
  return 1;
}

} // namespace

int task_CheckSnapshots(CCalc3D& calc, double t1) {
  if (calc.m_nSnapEvery > 0 && CheckFileDir("The 2-D snapshots", calc.GetFileName(FILE_SNAP2D, ' ', false, false, 0)))
    return 1;
  if (calc.m_vSnap3DShots.empty() || calc.m_vSnap3DTimes.empty() || calc.m_szSnap3DComponents[0] == 0)
    return 0;
  for (double t : calc.m_vSnap3DTimes) {
    if (t > t1) {
      u_Error("Error! The 3-D snapshot time %g s lies past the end of the record (t1 = %g s): it would never be "
              "written.\n",
              t, t1);
      return 1;
    }
  }
  for (const char* p = calc.m_szSnap3DComponents; *p; p++) {
    const CString strWhat(0, "The 3-D snapshots of component '%c'", *p);
    if (CheckFileDir(strWhat, calc.GetFileName(FILE_SNAP3D, *p, false, false, calc.m_vSnap3DTimes[0])))
      return 1;
  }
  return 0;
}
