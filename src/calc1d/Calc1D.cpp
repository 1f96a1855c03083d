#include "Calc1D.h"
#include "calc3d/FDLayout.h"

#include "run/KelvoApp.h"
#include "run/TaskFile.h"

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

int CCalc1D::GenerateSignal() { return 0; }

int CCalc1D::PrepareSurvey(CSurvey3D& survey, bool /*bProbe*/) {
  int rc = survey.SetActiveShot(-2);
  if (rc != 0)
    return rc;
  m_pTraces = &survey.m_vReceivers;
  if (m_fH <= 0) {
    u_Error("Error! Incorrect spacial step dz=%g specified!\n", m_fH);
    return -100;
  }
  if (m_fDt <= 0) {
    u_Error("Error! Incorrect time tact dt=%g specified!\n", m_fDt);
    return -101;
  }
  if (m_pApp->m_t1 <= 0 || m_pApp->m_t1 <= m_pApp->m_t0) {
    u_Error("Error! Incorrect shotgather record range (t=%g..%g) specified!\n", m_pApp->m_t0, m_pApp->m_t1);
    return -104;
  }
  m_fT1 = m_pApp->m_t1;
  m_nSeisLen = (size_t)m_pApp->GetSeismogramTraceLen();
  return 0;
}

int CCalc1D::AllocateMemory(bool /*bEstimate*/, bool /*bQuiet*/) {
  FreeMemory();
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

int CCalc1D::InitModel() { return 0; }

int CCalc1D::Calculate() {
  // The trace computation is not part of this build: fail rather than
  // report a success that wrote no traces.
  u_Error("Error! Vertical incidence traces cannot be computed by this build.\n");
  return -1;
}
