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

CString CKelvoApp::GetBigSeisFileName() { return CString(0, "BigSeis-%d(%d).bin", m_nNode, m_nCurShot); }

int CKelvoApp::GetSeismogramTraceLen() {
  if (m_dt <= 0)
    return 1;
  return (int)((m_t1 - m_t0) / m_dt + 0.5) + 1;
}

void CKelvoApp::PrintModelingMethod() {
  int nViscoL = 0;
  if (m_pCalc3D && m_nMethod != METHOD_VERTICAL_INCIDENCE)
    nViscoL = m_pCalc3D->m_nViscoL;
  const bool bVisco = nViscoL >= 1;
  const char* sz = "3D ACOUSTIC MODELING STARTED\n";
  switch (m_nMethod) {
  case METHOD_VERTICAL_INCIDENCE: sz = "1D VERTICAL INCIDENCE MODELING STARTED\n"; break;
  case METHOD_ELASTIC: sz = bVisco ? "3D VISCOELASTIC MODELING STARTED\n" : "3D ELASTIC MODELING STARTED\n"; break;
  case METHOD_ORTHORHOMBIC:
    sz = bVisco ? "3D VISCOELASTIC ORTHOROMBIC ANISOTROPIC MODELING STARTED\n"
                : "3D ELASTIC ORTHOROMBIC ANISOTROPIC MODELING STARTED\n";
    break;
  case METHOD_ANISOTROPIC:
    sz = bVisco ? "3D VISCOELASTIC ANISOTROPIC MODELING STARTED\n" : "3D ELASTIC ANISOTROPIC MODELING STARTED\n";
    break;
  default: break;
  }
  u_Line();
  u_CenterPrint("%s", sz);
  u_Line();
}
