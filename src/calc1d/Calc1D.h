// Calculation object of vertical-incidence (1-D) modelling. This build reads
// its settings and checks them; the trace computation itself is not part of
// it: Calculate reports that and fails.
#pragma once

#include "calc3d/FDLayout.h"

#include <vector>

#include "calc3d/Signal3D.h"
#include "common.h"
#include "survey/Survey3D.h"

class CKelvoApp;

class CCalc1D {
public:
  explicit CCalc1D(CKelvoApp& app);
  virtual ~CCalc1D();
  CCalc1D(const CCalc1D&) = delete;
  CCalc1D& operator=(const CCalc1D&) = delete;

  // Reads SurfType, PML, the mesh steps, the source type and the signal.
  int ReadTask1D(std::vector<CString>& lines);
  int GenerateSignal();
  // Takes the receivers of the survey and checks steps and record range.
  int PrepareSurvey(CSurvey3D& survey, bool bProbe);
  int AllocateMemory(bool bEstimate, bool bQuiet);
  void FreeMemory();
  int InitModel();
  int Calculate();

  CCubeR m_cubeModel;
  CCubeR m_cubeSim;
  CCubeR m_cubeSurvey;
  CSignal3D m_Signal;
  int m_nSourceType = 0; // 0 omnidirectional, 3 vertical
  int m_nSurfType = 0;   // 0 invisible, 1 free
  double m_fT0 = 0;
  double m_fT1 = 0;
  size_t m_nSeisLen = 0;
  double m_fH = 0;
  double m_fDt = 0;
  int m_nFrame = fd::kTaperWidth;
  int m_nPML = fd::FdMethod(fd::FD_ACOUSTIC).nPml;
  float* m_pK = nullptr;
  float* m_pB = nullptr;
  float* m_pQ = nullptr;
  bool m_bPML = true;
  CKelvoApp* m_pApp;
  std::vector<C3DPointR>* m_pTraces = nullptr; // receivers of the survey, not owned
};
