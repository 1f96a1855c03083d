// Task settings of the 3-D calculation object.
#include <cstdlib>
#include <cstring>

#include "calc3d/Calc3D.h"
#include "calc3d/FDLayout.h"
#include "run/TaskFile.h"

// Whitespace-separated numbers of a list key; negative entries are dropped.
template <class T> static void read_number_list(const char* sz, std::vector<T>& v, T (*pfnConvert)(const char*)) {
  const char* p = sz;
  while (*p) {
    while (*p == ' ' || *p == '\t')
      p++;
    if (!*p)
      break;
    const T value = pfnConvert(p);
    if (value >= 0)
      v.push_back(value);
    while (*p && *p != ' ' && *p != '\t')
      p++;
  }
}

static int to_int(const char* p) { return atoi(p); }
static double to_double(const char* p) { return atof(p); }

int CCalc3D::ReadTask3D(const char* /*section*/, std::vector<CString>& lines) {
  const char* const SEC = "[modeling]";
  const int nMethod = m_Set.m_nMethod;

  m_cubeModel = CCubeR();
  get_parameter_double(lines, SEC, "X0", &m_cubeModel.x0);
  get_parameter_double(lines, SEC, "X1", &m_cubeModel.x1);
  get_parameter_double(lines, SEC, "Y0", &m_cubeModel.y0);
  get_parameter_double(lines, SEC, "Y1", &m_cubeModel.y1);
  get_parameter_double(lines, SEC, "Z0", &m_cubeModel.z0);
  get_parameter_double(lines, SEC, "Z1", &m_cubeModel.z1);
  if (!m_cubeModel.IsEmpty())
    m_cubeSim = m_cubeModel;
  m_fMargin = 0;
  get_parameter_double(lines, SEC, "Margin", &m_fMargin);
  m_nSurfType = 0;
  get_parameter_int(lines, SEC, "SurfType", &m_nSurfType);
  if (m_nSurfType != 0 && m_nSurfType != 1) {
    u_Error("Error! Incorrect surface type specified (%d).\n", m_nSurfType);
    return 1;
  }

  m_nViscoL = 0;
  m_bApparentVelocity = false;
  if (nMethod > 101 && !m_Set.m_strModelQ.IsEmpty()) {
    get_parameter_int(lines, "[ViscoElastic]", "L", &m_nViscoL);
    if (m_nViscoL < 1 || m_nViscoL > 10)
      m_nViscoL = 0;
    if (m_nViscoL > 0)
      get_parameter_bool(lines, "[ViscoElastic]", "UseApparentVelocity", &m_bApparentVelocity);
  }

  m_bPML = true;
  get_parameter_bool(lines, SEC, "PML", &m_bPML);
  m_nFrame = fd::FrameWidth(nMethod, m_bPML);
  m_nPML = fd::FdMethod(nMethod).nPml;

  m_fH = 0;
  get_parameter_double(lines, "[Mesh]", "dx", &m_fH);
  m_fDt = 0;
  get_parameter_double(lines, "[Mesh]", "dt", &m_fDt);

  m_nSourceType = 0;
  get_parameter_int(lines, "[Source]", "Type", &m_nSourceType);
  m_fK11 = m_fK22 = m_fK33 = m_fK12 = m_fK13 = m_fK23 = 0;
  if (m_nSourceType == SOURCE_DOUBLE_COUPLE) {
    char szAxis[12] = "XZ";
    get_parameter_string(lines, "[Source]", "DoubleCoupleAxis", szAxis, sizeof(szAxis));
    const char a = szAxis[0], b = a ? szAxis[1] : 0;
    auto is = [&](char c1, char c2) { return (a == c1 && b == c2) || (a == c2 && b == c1); };
    if (is('X', 'Y') || is('x', 'y'))
      m_fK12 = 1;
    else if (is('X', 'Z') || is('x', 'z'))
      m_fK13 = 1;
    else if (is('Y', 'Z') || is('y', 'z'))
      m_fK23 = 1;
  } else if (m_nSourceType == SOURCE_DIRECTED) {
    get_parameter_float(lines, "[Source]", "K11", &m_fK11);
    get_parameter_float(lines, "[Source]", "K22", &m_fK22);
    get_parameter_float(lines, "[Source]", "K33", &m_fK33);
    get_parameter_float(lines, "[Source]", "K12", &m_fK12);
    get_parameter_float(lines, "[Source]", "K13", &m_fK13);
    get_parameter_float(lines, "[Source]", "K23", &m_fK23);
  }
  m_bSuppressSV = true;
  if (nMethod > 101)
    get_parameter_bool(lines, "[Source]", "SuppressSV", &m_bSuppressSV);

  int rc = m_Signal.LoadParamsFromIniFile(lines);
  if (rc != 0)
    return rc;

  m_nSnapEvery = 0;
  get_parameter_int(lines, "[Snapshot]", "Every", &m_nSnapEvery);
  m_fSnapT0 = 0;
  get_parameter_double(lines, "[Snapshot]", "t0", &m_fSnapT0);
  m_fSnapDt = 0.1;
  get_parameter_double(lines, "[Snapshot]", "dt", &m_fSnapDt);
  m_fSnapYOffset = 0;
  get_parameter_double(lines, "[Snapshot]", "Y Offset", &m_fSnapYOffset);

  m_fSnap3DDx = m_fSnap3DDy = m_fSnap3DDz = 0;
  get_parameter_double(lines, "[3DSnapshot]", "dx", &m_fSnap3DDx);
  get_parameter_double(lines, "[3DSnapshot]", "dy", &m_fSnap3DDy);
  get_parameter_double(lines, "[3DSnapshot]", "dz", &m_fSnap3DDz);
  char szComponents[12] = "";
  get_parameter_string(lines, "[3DSnapshot]", "Components", szComponents, sizeof(szComponents));
  memset(m_szSnap3DComponents, 0, sizeof(m_szSnap3DComponents));
  strncpy(m_szSnap3DComponents, szComponents, sizeof(m_szSnap3DComponents) - 1);
  char szList[1024];
  m_vSnap3DShots.clear();
  if (get_parameter_string(lines, "[3DSnapshot]", "Shots", szList, sizeof(szList)) == 0)
    read_number_list<int>(szList, m_vSnap3DShots, to_int);
  m_vSnap3DTimes.clear();
  if (get_parameter_string(lines, "[3DSnapshot]", "Times", szList, sizeof(szList)) == 0)
    read_number_list<double>(szList, m_vSnap3DTimes, to_double);

  m_nTimeFieldType = 0;
  get_parameter_int(lines, "[Time]", "Type", &m_nTimeFieldType);
  m_nTimeFieldType &= 3;
  int nTimeMerge = 1;
  get_parameter_int(lines, "[Time]", "Merge", &nTimeMerge);
  m_bTimeMerge = nTimeMerge != 0;
  m_fTimeDx = m_fTimeDy = m_fTimeDz = 0;
  if (m_nTimeFieldType != 0) {
    m_fTimeDx = m_fH;
    get_parameter_double(lines, "[Time]", "dx", &m_fTimeDx);
    m_fTimeDy = m_fTimeDx;
    get_parameter_double(lines, "[Time]", "dy", &m_fTimeDy);
    m_fTimeDz = m_fTimeDx;
    get_parameter_double(lines, "[Time]", "dz", &m_fTimeDz);
  }
  return 0;
}
