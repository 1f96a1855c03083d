// Construction, ownership and small services of the application object.
#include "KelvoApp.h"

#include <omp.h>

#include "calc1d/Calc1D.h"
#include "calc3d/Calc3D.h"

CKelvoApp m_job;

CKelvoApp::CKelvoApp() { m_nCPUs = omp_get_num_procs(); }

CKelvoApp::~CKelvoApp() { DestroyCalc(); }

void CKelvoApp::DestroyCalc() {
  delete m_pCalc3D;
  m_pCalc3D = nullptr;
  delete m_pCalc1D;
  m_pCalc1D = nullptr;
}

CString CKelvoApp::GetBigSeisFileName() { return CCalcSettings::BigSeisFileName(m_nNode, m_nCurShot); }

int CKelvoApp::GetSeismogramTraceLen() { return CCalcSettings::SeismogramTraceLen(m_t0, m_t1, m_dt); }

void CKelvoApp::PrintModelingMethod() {
  int nViscoL = 0;
  if (m_pCalc3D && m_nMethod != METHOD_VERTICAL_INCIDENCE)
    nViscoL = m_pCalc3D->m_nViscoL;
  calc_PrintModelingMethod(m_nMethod, nViscoL);
}

CCalcSettings CKelvoApp::GetCalcSettings() const {
  CCalcSettings s;
  s.m_nMethod = m_nMethod;
  s.m_nNode = m_nNode;
  s.m_nGroupSize = m_nGroupSize;
  s.m_nGroupRank = m_nGroupRank;
  s.m_nFirstPoint = m_nFirstPoint;
  s.m_nLastPoint = m_nLastPoint;
  s.m_t0 = m_t0, s.m_dt = m_dt, s.m_t1 = m_t1;
  s.m_strOutputDir = m_strOutputDir;
  s.m_strModelPW = m_strModelPW, s.m_strModelSW = m_strModelSW, s.m_strModelD = m_strModelD;
  s.m_strModelQ = m_strModelQ;
  s.m_strAnisEpsilon = m_strAnisEpsilon, s.m_strAnisDelta = m_strAnisDelta, s.m_strAnisGamma = m_strAnisGamma;
  s.m_strAnisPhi = m_strAnisPhi, s.m_strAnisAzimuth = m_strAnisAzimuth;
  s.m_fAnisEpsilon = m_fAnisEpsilon, s.m_fAnisDelta = m_fAnisDelta, s.m_fAnisGamma = m_fAnisGamma;
  s.m_fAnisAzimuth = m_fAnisAzimuth, s.m_fAnisPhi = m_fAnisPhi;
  s.m_bModelUseElevation = m_bModelUseElevation;
  s.m_bBigSeismogram = m_bBigSeismogram;
  s.m_bRecovery = m_bRecovery;
  s.m_bDebug = m_bDebug;
  s.m_nSmoothModel = m_nSmoothModel;
  s.m_bPlainSteps = m_bPlainSteps;
  s.m_nStepsPerPass = m_nStepsPerPass;
  s.m_nMemoryLimit = m_nMemoryLimit;
  s.m_nHostMemoryGB = m_nHostMemoryGB;
  s.m_nGpuMemoryGB = m_nGpuMemoryGB;
  s.m_nDevice = m_nDevice;
  return s;
}

void CKelvoApp::ShareCalcSettings() {
  if (m_pCalc3D)
    m_pCalc3D->m_Set = GetCalcSettings();
}
