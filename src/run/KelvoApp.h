// The application object: everything the job file says that lasts for the
// whole run, the survey store and the calculation object.
#pragma once

#include <vector>

#include "ShotTally.h"
#include "calc3d/CalcSettings.h"
#include "common.h"
#include "survey/Survey3D.h"

class CCalc3D;
class CCalc1D;

class CKelvoApp {
public:
  CKelvoApp();
  ~CKelvoApp();
  CKelvoApp(const CKelvoApp&) = delete;
  CKelvoApp& operator=(const CKelvoApp&) = delete;

  int m_nMethod = METHOD_ACOUSTIC;
  CSurvey3D m_Survey;
  CCalc3D* m_pCalc3D = nullptr; // owned
  CCalc1D* m_pCalc1D = nullptr; // owned
  int m_nFirstPoint = 0;        // first shot of the run
  int m_nCurPoint = 0;          // shot at which work starts (moved by a recovery)
  int m_nLastPoint = 0;         // last shot of the run
  bool m_bUseShotId = false;
  bool m_bShotsDefinedByCoordinates = false;
  CString m_strOutputDir; // ends in '/' when not empty
  CString m_strModelPW;
  CString m_strModelSW;
  CString m_strModelD;
  CString m_strModelQ;
  CString m_strGeometry;
  CString m_strAnisEpsilon, m_strAnisDelta, m_strAnisGamma, m_strAnisPhi, m_strAnisAzimuth;
  float m_fAnisEpsilon = 0, m_fAnisDelta = 0, m_fAnisGamma = 0, m_fAnisPhi = 0, m_fAnisAzimuth = 0;
  bool m_bModelUseElevation = false;
  double m_t0 = 0, m_dt = 0, m_t1 = 0; // recording window of the gathers, seconds
  int m_nSmoothModel = 2;
  int m_nThreads = 0;
  bool m_bPlainSteps = false; // the two half-steps of a time step as separate sweeps
  int m_nStepsPerPass = 1;    // time steps one pass over the planes may advance
  int m_nCPUs = 0;
  bool m_bUseCUDA = false;
  int m_nGPUCount = 0;
  int m_nDevice = 0;
  int m_nCurShot = 0;
  int m_nNode = 0, m_nSize = 0;
  int m_nGroupSize = 0;
  int m_nGroupRank = 0;
  bool m_bBigSeismogram = false;
  bool m_bRecovery = false;
  bool m_bDebug = false;
  bool m_bParanoid = false;
  bool m_bMerge = true;
  bool m_bMergeTask = false;
  int m_nMemoryLimit = 0;
  int m_nHostMemoryGB = 0, m_nGpuMemoryGB = 0;
  CShotTally m_Tally;     // shots computed and skipped in this run (rank 0 of a cluster run)
  int m_nShotOutcome = 0; // of the last RunShot: 0 done, 1 no such shot, else why it was skipped

  // Reads runtask.ini of the current directory (whatever szFile says). 0 on
  // success, 1 or -1 on a bad job file.
  int ReadTask(const char* szFile);
  // Loads the survey and settles the range of shots. 0 on success.
  int LoadSurveyGeometry();
  // The whole vertical-incidence job.
  int Run1DShot();
  // Banner of the modelling method between two lines.
  void PrintModelingMethod();
  // Cluster deal-out of shots: the master hands out, the workers compute.
  int MPI_RunMaster();
  int MPI_RunSlave();
  // Joins the per-shot files of `pattern` (one %d) for shots first..last
  // into `result`; `remove` deletes the per-shot files afterwards.
  int MergeResults(const char* result, const char* pattern, int first, int last, bool remove);
  // Device discovery; 0 when the run may go on (on the device or not).
  int InitGPU();
  CString GetBigSeisFileName();
  int GetSeismogramTraceLen();
  // What the 3-D engine is told of the job, as the run stands now.
  CCalcSettings GetCalcSettings() const;
  // Hands the settings to the 3-D calculation object, if there is one; called
  // whenever a field they copy changes (task read, range settled, place in a
  // group, next shot).
  void ShareCalcSettings();

  // Runs the pipeline of one 3-D shot. 0 when the shot is done or is to be
  // skipped (outside the zone, no such shot), else the failing step's result.
  int RunShot(int nShot);
  // Settles m_nFirstPoint, m_nLastPoint and m_nCurPoint against the range
  // nMin..nMax of the survey. 0, or -1 for a range that cannot be run.
  int SettleShotRange(int nMin, int nMax);
  // Deletes the calculation objects.
  void DestroyCalc();

private:
  int ReadTaskLines(std::vector<CString>& lines);
};

// The one application object of the process.
extern CKelvoApp m_job;

// The whole job of an Active process; 0 on success.
int kelvo_run(int nFirst, int nLast);
