// Calculation object of vertical-incidence (1-D) modelling: a zero-offset
// trace for each receiver of the survey, computed through the column of the
// model beneath it.
#pragma once

#include "calc3d/FDLayout.h"

#include <cstdio>
#include <vector>

#include "calc3d/Signal3D.h"
#include "common.h"
#include "survey/Survey3D.h"

class CKelvoApp;
class CSdsPC;

// Workspace of one trace: the profiles of the column, the two fields and
// the two recorded traces.
class CCalc1D_Worker {
public:
  CCalc1D_Worker() = default;
  ~CCalc1D_Worker();
  CCalc1D_Worker(const CCalc1D_Worker&) = delete;
  CCalc1D_Worker& operator=(const CCalc1D_Worker&) = delete;

  // Profiles of nz points and traces of nt samples; 0, or -1 without memory.
  int Init(int nz, size_t nt);

  int m_nTrace = -1;
  float* m_pK = nullptr;                                                        // pressure coefficient
  float* m_pB = nullptr;                                                        // velocity coefficient
  float* m_pQ = nullptr;                                                        // amplitude factor of a step
  float* m_pU = nullptr;                                                        // particle velocity
  float* m_pP = nullptr;                                                        // pressure
  float *m_pA1 = nullptr, *m_pB1 = nullptr, *m_pA2 = nullptr, *m_pB2 = nullptr; // PML coefficients
  float *m_pPsiP = nullptr, *m_pPsiU = nullptr;                                 // PML memory of the two updates
  float *m_pTraceZ = nullptr, *m_pTraceC = nullptr;

private:
  float* m_pProfiles = nullptr;
  float* m_pTraces = nullptr;
};

class CCalc1D {
public:
  explicit CCalc1D(CKelvoApp& app);
  virtual ~CCalc1D();
  CCalc1D(const CCalc1D&) = delete;
  CCalc1D& operator=(const CCalc1D&) = delete;

  // Reads SurfType, PML, the mesh steps, the source type and the signal.
  int ReadTask1D(std::vector<CString>& lines);
  int GenerateSignal();
  // Takes all receivers of the survey, checks steps and record range, reads
  // the extent of the model and settles the grid of the profiles.
  int PrepareSurvey(CSurvey3D& survey, bool bProbe);
  // Prints the settings and sets the SEG-Y scalers of the output.
  void ValidateCommon();
  // Checks memory and allocates the model cubes. 0, 1 without memory, 2
  // over the job's memory limit.
  int AllocateMemory(bool bEstimate, bool bQuiet);
  void FreeMemory();
  // Loads the model and turns it into the coefficients of the scheme.
  int InitModel();
  // Loads component 0 (P velocity), 2 (density) or 100 (Q) from szFile into
  // pOut; density without a file is derived from the velocities in pP.
  int LoadModelComponent(int nComponent, const char* szFile, float* pP, float* pOut);
  int SmoothModel();
  // nPasses passes of the seven-point mean over the inner points of a cube
  // (the pass of the 3-D model); pBuf holds one x-z plane.
  int SmoothModelComponent(float* pData, int nPasses, float* pBuf);
  // Profile of cube nComponent (0, 2, 100) under the lateral point pt, of
  // m_nNzAll points with the frames; nFirst is its first non-void index.
  // 0, or -1 when the column has values but the profile met none.
  int Get1DModel(int nComponent, CPointR pt, float* pOut, int& nFirst) const;
  // Name of the trace file of component 'Z' or 'C'; the other arguments are
  // not used.
  CString GetFileName(int nType, char cComponent, bool bPattern, bool bMerged, double fParam);
  // Computes all traces on the threads of the job and writes them.
  int Calculate();
  // Trace i into w: 0, -1 for no such receiver or a bad profile, -150 when
  // the scheme is unstable.
  int CalculateTrace(int i, CCalc1D_Worker& w) const;
  int InitPMLProfile(float* pK, float* pB, float* pA1, float* pB1, float* pA2, float* pB2) const;
  int WriteTrace(FILE* fp, const char* szName, CSdsPC& sds, int i, C3DPointR pt, double* pTimes, const float* pData);

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
  double m_fModelDx = 0, m_fModelDy = 0, m_fModelDz = 0;
  int m_nNx = 0, m_nNy = 0;
  int m_nNz = 0;
  int m_nNzAll = 0;
  int m_nFrame = fd::kTaperWidth;
  int m_nPML = fd::FdMethod(fd::FD_ACOUSTIC).nPml;
  float* m_pK = nullptr;
  float* m_pB = nullptr;
  float* m_pQ = nullptr;
  bool m_bPML = true;
  float m_fDamp[fd::kTaperWidth] = {0};
  CKelvoApp* m_pApp;
  std::vector<C3DPointR>* m_pTraces = nullptr; // receivers of the survey, not owned

private:
  bool HasQ() const;
  // Blocks of traces on n threads; the first failure ends the loop.
  int CalculateBlocks(int n, FILE* fpZ, FILE* fpC, const CString& strZ, const CString& strC, double* pTimes);
  std::vector<unsigned char> m_vIbm; // samples of the trace being written
};
