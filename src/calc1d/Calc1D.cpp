// Vertical-incidence modelling: settings, the grid of the profiles, memory
// and the names of the trace files.
#include "Calc1D.h"

#include <unistd.h>

#include <algorithm>
#include <new>

#include "calc3d/Calc3D.h"
#include "calc3d/Calc3DModelCube.h"
#include "calc3d/CalcShared.h"
#include "calc3d/FDLayout.h"
#include "run/KelvoApp.h"
#include "run/TaskFile.h"
#include "seisfile/SdsPC.h"

CCalc1D::CCalc1D(CKelvoApp& app) : m_pApp(&app) { m_Signal.m_fFrequency = 20; }

CCalc1D::~CCalc1D() {
  FreeMemory();
  m_Signal.Free();
}

int CCalc1D::ReadTask1D(std::vector<CString>& lines) {
  m_nSurfType = 0;
  get_parameter_int(lines, "[modeling]", "SurfType", &m_nSurfType);
  if (m_nSurfType != 0 && m_nSurfType != 1) {
    u_Error("Error! Incorrect surface type specified (%d).\n", m_nSurfType);
    return 1;
  }
  m_bPML = true;
  get_parameter_bool(lines, "[modeling]", "PML", &m_bPML);
  m_nFrame = fd::FrameWidth(fd::FD_ACOUSTIC, m_bPML);
  m_fH = 0;
  if (get_parameter_double(lines, "[Mesh]", "dx", &m_fH) != 0)
    get_parameter_double(lines, "[Mesh]", "dz", &m_fH);
  m_fDt = 0;
  get_parameter_double(lines, "[Mesh]", "dt", &m_fDt);
  m_nSourceType = 0;
  get_parameter_int(lines, "[Source]", "Type", &m_nSourceType);
  if (m_nSourceType != 0 && m_nSourceType != 3)
    m_nSourceType = 0;
  return m_Signal.LoadParamsFromIniFile(lines);
}

int CCalc1D::GenerateSignal() {
  m_Signal.m_bDumpDebug = m_pApp->m_bDebug;
  m_Signal.m_nNode = m_pApp->m_nNode;
  m_Signal.m_strDumpDir = m_pApp->m_strOutputDir;
  return m_Signal.Generate(m_fDt, m_fH, m_fT0);
}

bool CCalc1D::HasQ() const { return !m_pApp->m_strModelQ.IsEmpty(); }

static void print_cube(const char* szTitle, const CCubeR& c) {
  u_Print("%s (X,Y,Z): {%.0f..%.0f, %.0f..%.0f, %.0f..%.0f}\n", szTitle, c.x0, c.x1, c.y0, c.y1, c.z0, c.z1);
}

int CCalc1D::PrepareSurvey(CSurvey3D& survey, bool /*bProbe*/) {
  int rc = survey.SetActiveShot(-2);
  if (rc != 0)
    return rc;
  m_pTraces = &survey.m_vReceivers;
  m_cubeSurvey = survey.GetObsZone();
  if (m_fH <= 0) {
    u_Error("Error! Incorrect spacial step dz=%g specified!\n", m_fH);
    return -100;
  }
  if (m_fDt <= 0) {
    u_Error("Error! Incorrect time tact dt=%g specified!\n", m_fDt);
    return -101;
  }
  const CKelvoApp& app = *m_pApp;
  if (app.m_t1 <= 0 || app.m_t1 <= app.m_t0) {
    u_Error("Error! Incorrect shotgather record range (t=%g..%g) specified!\n", app.m_t0, app.m_t1);
    return -104;
  }
  m_fT1 = app.m_t1;

  {
    CSdsPC sds;
    const char* szFile = app.m_strModelPW.c_str();
    if (!model_OpenFile(sds, szFile, CCubeR(), m_fH, app.m_bModelUseElevation)) {
      u_Error("Error! Unable to open model file '%s'.\n", szFile);
      return CALC_NO_FILE;
    }
    if ((rc = model_CheckFile(sds, "P-Wave Velocity")) != 0)
      return rc;
    const CPointR unset(UNSET_VALUE, UNSET_VALUE);
    const CRectR rcAll = sds.GetXYRect(0, unset);
    m_cubeModel = CCubeR(rcAll.x0, rcAll.y0, sds.m_rT0, rcAll.x1, rcAll.y1, sds.m_rT1);
    const CRectR rcTraces = sds.GetXYRect(1, unset);
    const C3DSizeN n = sds.GetXYSize(unset);
    if (n.cx < 2)
      u_Error("Error! Model samples along X dimension is less then 2 (%d).\n", n.cx);
    if (n.cy < 2)
      u_Error("Error! Model samples along Y dimension is less then 2 (%d).\n", n.cy);
    if (n.cx < 2 || n.cy < 2)
      return -109;
    m_fModelDx = (rcTraces.x1 - rcTraces.x0) / (n.cx - 1);
    m_fModelDy = (rcTraces.y1 - rcTraces.y0) / (n.cy - 1);
    m_fModelDz = sds.m_rDT;
    m_nNz = sds.m_nTraceLen;
  }
  if (m_nNz < 2) {
    u_Error("Error! Model samples along Z dimension is less then 2 (%d).\n", m_nNz);
    return -109;
  }

  m_cubeSurvey.z0 = std::min(m_cubeSurvey.z0, m_cubeModel.z0);
  m_cubeSurvey.z1 = std::max(m_cubeSurvey.z1, m_cubeModel.z1);
  CCubeR sim = m_cubeSurvey;
  if (!sim.Intersect(m_cubeModel) || sim.IsEmpty()) {
    u_LinePrint(" 1D zero-offset simulation of %d traces ", (int)m_pTraces->size());
    print_cube("Model Cube      ", m_cubeModel);
    print_cube("Survey Cube     ", m_cubeSurvey);
    u_Error("Error! Empty intersection between the model cube and the acquisition survey.\n");
    return CALC_EMPTY_INTERSECTION;
  }
  m_cubeSim = sim;
  m_nNx = (int)((m_cubeSim.x1 - m_cubeSim.x0) / m_fModelDx + 1.5);
  m_nNy = (int)((m_cubeSim.y1 - m_cubeSim.y0) / m_fModelDy + 1.5);
  m_nNzAll = (int)((m_cubeSim.z1 - m_cubeSim.z0) / m_fH) + 1 + 2 * m_nFrame;
  m_cubeSim.z1 = (m_nNzAll - 2 * m_nFrame - 1) * m_fH + m_cubeSim.z0;
  m_nSeisLen = (size_t)m_pApp->GetSeismogramTraceLen();

  u_LinePrint(" 1D zero-offset simulation of %d traces ", (int)m_pTraces->size());
  print_cube("Model Cube      ", m_cubeModel);
  print_cube("Survey Cube     ", m_cubeSurvey);
  print_cube("Simulation Cube ", m_cubeSim);
  u_LinePrint(" Model Grid Parameters ");
  u_Print("   First       |    Last       |      Step     |\n%14.0f |%14.0f |%14g |  "
          "x-dimension\n%14.0f |%14.0f |%14g |  y-dimension\n%14.0f |%14.0f |%14g |  z-dimension\n",
          m_cubeModel.x0, m_cubeModel.x1, m_fModelDx, m_cubeModel.y0, m_cubeModel.y1, m_fModelDy, m_cubeModel.z0,
          m_cubeModel.z1, m_fModelDz);
  u_LinePrint(" Computation Grid Parameters ");
  u_Print("   First       |    Last       |      Step     |\n%14.0f |%14.0f |%14g |  z-dimension\n%14g |%14g |%14g |  "
          "time (%d steps)\n",
          m_cubeSim.z0, m_cubeSim.z1, m_fH, m_fT0, m_fT1, m_fDt, (int)((m_fT1 - m_fT0) / m_fDt) + 1);
  u_LinePrint(" Shotgather Parameters ");
  u_Print("   First       |    Last       |      Step     |\n%14g |%14g |%14g |  time\n", app.m_t0, app.m_t1, app.m_dt);
  u_Line();
  ValidateCommon();
  return 0;
}

void CCalc1D::ValidateCommon() {
  u_LinePrint(" Modeling Settings ");
  u_Print("Signal Frequency:            %.0f\n", m_Signal.m_fFrequency);
  u_Print("Surface Type:                %s\n", m_nSurfType == 0 ? "Invisible" : m_nSurfType == 1 ? "Free" : "Unknown");
  u_Print("Source Direction:            %s\n", m_nSourceType == 0   ? "Omnidirectional"
                                               : m_nSourceType == 3 ? "Vertical (Z)"
                                                                    : "Unknown");
  calc_SetOutputScalers(m_fH, m_pApp->m_dt);
  if (!m_pApp->m_strOutputDir.IsEmpty())
    u_Print("Output directory:            %s\n", m_pApp->m_strOutputDir.c_str());
  u_Line();
}

int CCalc1D::AllocateMemory(bool /*bEstimate*/, bool /*bQuiet*/) {
  FreeMemory();
  const double fMB = 1048576.0;
  const size_t n = (size_t)m_nNx * m_nNy * m_nNz;
  const int nCubes = HasQ() ? 3 : 2;
  const double fModel = (double)nCubes * n * 4 / fMB;
  const double fArray = (double)m_nNzAll * 4 / fMB;
  const double fCalc = ((double)m_nNzAll * 10 * 4 + (double)m_nSeisLen * 2 * 4) / fMB;
  const double fTotal = fModel + fCalc;
  double fAvail = 0;
  if (m_pApp->m_nHostMemoryGB > 0)
    fAvail = m_pApp->m_nHostMemoryGB * 1024.0;
  else
    fAvail = (double)sysconf(_SC_PHYS_PAGES) * (double)sysconf(_SC_PAGESIZE) / fMB;

  u_LinePrint(" Memory ");
  u_Print("Model grids (x,y,z)=(%dx%dx%d) %dx%1.2f MB = %1.0f MB.\n", m_nNx, m_nNy, m_nNz, nCubes, n * 4 / fMB, fModel);
  if (fCalc < 1)
    u_Print("Calculation grids (z)=(%d) < 1 MB\n", m_nNzAll);
  else
    u_Print("Calculation grids (z)=(%d) %dx%1.2f MB = %1.0f MB.\n", m_nNzAll, 10, fArray, fCalc);
  u_Print("Total Required = %1.0f MB, Available = %1.0f MB\n", fTotal, fAvail);
  u_Line();
  u_Print("\n");
  if (fTotal > fAvail) {
    u_Print("Error! Not enough memory the on computer. Requested %g MB, but only %g MB is available.\n", fTotal,
            fAvail);
    return 1;
  }
  try {
    m_pK = new float[n]();
    m_pB = new float[n]();
    if (HasQ())
      m_pQ = new float[n]();
  } catch (const std::bad_alloc&) {
    FreeMemory();
    u_Print("Error! Not enough memory. Please, try to increase spatial steps.\n");
    return 1;
  }
  const int nLimit = m_pApp->m_nMemoryLimit;
  if (nLimit > 0 && nLimit < (int)fTotal) {
    u_Print("Error! Required memory exceeds %d MB. Compuataion stops.\n", nLimit);
    return 2;
  }
  return 0;
}

void CCalc1D::FreeMemory() {
  delete[] m_pK;
  m_pK = nullptr;
  delete[] m_pB;
  m_pB = nullptr;
  delete[] m_pQ;
  m_pQ = nullptr;
}

CString CCalc1D::GetFileName(int /*nType*/, char cComponent, bool /*bPattern*/, bool /*bMerged*/, double /*fParam*/) {
  const CString strBase = calc_OutputBase(m_pApp->m_strModelPW, m_pApp->m_strOutputDir);
  const char szComp[2] = {cComponent == 'Z' ? 'z' : cComponent == 'C' ? 'c' : cComponent, 0};
  return CString(0, "%s+%s3D%sS%c%s%s%s", strBase.c_str(), "Gath", "I", 'U', szComp, "", ".sgy");
}
