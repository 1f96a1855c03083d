// The run driver: one path through a job, from the task file to the merge.
#include <sys/time.h>

#include <cstdio>

#include "KelvoApp.h"
#include "StopSignal.h"
#include "calc1d/Calc1D.h"
#include "calc3d/Calc3D.h"

static double now_seconds() {
  struct timeval tv;
  gettimeofday(&tv, nullptr);
  return tv.tv_sec + tv.tv_usec * 1e-6;
}

// Final report of a run: success line and elapsed time.
static void report_end(int rc, double fStart) {
  const double fSeconds = now_seconds() - fStart;
  char szTime[128];
  os::SecToString(fSeconds, szTime);
  if (rc == 0)
    u_Success("Simulation finished successfully.\n");
  u_Print("Elapsed Time: %s (%g seconds).\n", szTime, fSeconds);
}

// End of a run stopped by a signal: the shots finished so far keep their
// files, nothing is merged, and the last line says how to go on.
static int report_stop(int nSignal, double fStart) {
  report_end(RUN_INTERRUPTED, fStart);
  u_Error("Error! The run was stopped by %s: the finished shots are kept and nothing is merged. Run the job again "
          "with Recovery=1 to compute the shots left.\n",
          run_SignalName(nSignal));
  return run_SignalExitCode(nSignal);
}

// Wall-clock seconds of the phases of a shot, printed when it is done.
struct CShotPhases {
  double fStart = now_seconds(), fMark = fStart;
  double f[4] = {0, 0, 0, 0}; // set-up, model, time loop, output
  void Lap(int k) {
    const double t = now_seconds();
    f[k] += t - fMark;
    fMark = t;
  }
  void Print(int nShot) const {
    u_Print("Shot %d done in %.2f s: set-up %.2f s, model %.2f s, time loop %.2f s, output %.2f s.\n", nShot,
            fMark - fStart, f[0], f[1], f[2], f[3]);
  }
};

int CKelvoApp::RunShot(int nShot) {
  CCalc3D* pCalc = m_pCalc3D;
  m_nCurShot = nShot;
  m_nShotOutcome = 0;
  ShareCalcSettings();
  if (!pCalc->IsCalcNeeded(nShot)) {
    m_Tally.Note(nShot, 0);
    return 0;
  }
  int rc = pCalc->GenerateSignal();
  if (rc != 0)
    return rc;
  rc = pCalc->PrepareSource(nShot, m_Survey, false);
  if (rc == CALC_SHOT_SKIPPED) { // a number between two shot ids
    m_nShotOutcome = 1;
    return 0;
  }
  if (rc == CALC_SHOT_OUTSIDE) {
    m_nShotOutcome = rc;
    m_Tally.Note(nShot, rc);
    return 0;
  }
  if (rc != 0)
    return rc;
  CShotPhases t;
  if ((rc = pCalc->InitDecomposition()) != 0)
    return rc;
  if (pCalc->AllocateMemory(false, false) != 0)
    return -1;
  t.Lap(0);
  if ((rc = pCalc->InitModel()) != 0)
    return rc;
  t.Lap(1);
  if (pCalc->AllocateMemorySeismogram() != 0)
    return -1;
  t.Lap(0);
  if ((rc = pCalc->Calculate()) != 0)
    return rc;
  t.Lap(2);
  if ((rc = pCalc->FreeMemory(true, true, false, false, false)) != 0)
    return rc;
  if ((rc = pCalc->SaveResults()) != 0)
    return rc;
  if (m_bBigSeismogram)
    remove(GetBigSeisFileName());
  t.Lap(3);
  t.Print(nShot);
  m_Tally.Note(nShot, 0);
  return 0;
}

int CKelvoApp::SettleShotRange(int nMin, int nMax) {
  if (m_nFirstPoint == 0 || m_nLastPoint == 0) {
    if (m_nFirstPoint != 0 || m_nLastPoint != 0)
      u_Warning("Warning! Shot range %d..%d is left open by its 0: all shot points %d..%d are computed.\n",
                m_nFirstPoint, m_nLastPoint, nMin, nMax);
    m_nFirstPoint = nMin;
    m_nLastPoint = nMax;
  } else {
    if (m_nFirstPoint > nMax) {
      u_Error("Error! Incorrect range of shot points specified (%d..%d). Maximal shot point number is %d.\n",
              m_nFirstPoint, m_nLastPoint, nMax);
      u_Print("The computation is stopped.\n");
      return -1;
    }
    if (m_nLastPoint > nMax) {
      u_Warning("Warning! Shot range %d..%d reaches beyond the last shot point of the survey (%d): shot points %d..%d "
                "are computed.\n",
                m_nFirstPoint, m_nLastPoint, nMax, m_nFirstPoint, nMax);
      m_nLastPoint = nMax;
    }
  }
  if (m_nFirstPoint > m_nLastPoint) {
    u_Error("Error! Incorrect range of shot points specified (%d..%d). Real range is (%d..%d)\n", m_nFirstPoint,
            m_nLastPoint, nMin, nMax);
    u_Print("The computation is stopped.\n");
    return -1;
  }
  if (m_nCurPoint == 0 || m_nCurPoint < m_nFirstPoint || m_nCurPoint > m_nLastPoint)
    m_nCurPoint = m_nFirstPoint;
  return 0;
}

int CKelvoApp::LoadSurveyGeometry() {
  CSurvey3D::MIN_DIST = m_pCalc3D->m_fH < 1 ? 0.001 : 1;
  m_Survey.m_bUseShotId = m_bUseShotId;
  m_Survey.m_bShotsDefinedByCoordinates = m_bShotsDefinedByCoordinates;
  int rc = m_Survey.LoadSurvey(m_strGeometry, m_pCalc3D->m_nSourceType == SOURCE_FAULT_SLIP);
  if (rc != 0)
    return rc;

  if (SettleShotRange(m_Survey.GetMinShot(), m_Survey.GetMaxShot()) != 0)
    return -1;
  ShareCalcSettings();
  if (m_pCalc3D->ValidateCommon() != 0)
    return 1;
  return 0;
}

int CKelvoApp::Run1DShot() {
  if (!m_pCalc1D) {
    u_Error("Error! Computation object not being created.\n");
    return 1;
  }
  const double fStart = now_seconds();
  int rc = m_pCalc1D->GenerateSignal();
  if (rc != 0)
    return rc;
  m_Survey.m_bUseShotId = m_bUseShotId;
  m_Survey.m_bShotsDefinedByCoordinates = m_bShotsDefinedByCoordinates;
  rc = m_Survey.LoadSurvey(m_strGeometry.IsEmpty() ? m_strModelPW : m_strGeometry, false);
  if (rc != 0)
    return rc;
  if ((rc = m_pCalc1D->PrepareSurvey(m_Survey, false)) != 0)
    return rc;
  if (m_pCalc1D->AllocateMemory(false, false) != 0)
    return -1;
  if ((rc = m_pCalc1D->InitModel()) != 0)
    return rc;
  PrintModelingMethod();
  if ((rc = m_pCalc1D->Calculate()) != 0)
    return rc;
  m_pCalc1D->FreeMemory();
  report_end(0, fStart);
  return 0;
}

// Joins the per-shot results of the run: gathers, time fields, snapshots.
static int merge_phase(CKelvoApp& app) {
  CCalc3D* pCalc = app.m_pCalc3D;
  if (!pCalc) {
    u_Error("Error! Results of the vertical incidence method cannot be merged.\n");
    return -1;
  }
  const bool bRemove = !app.m_bMergeTask;
  int rc = 0;
  const char szComponents[] = {'X', 'Y', 'Z', 'C'};
  for (char c : szComponents) {
    CString strPattern = pCalc->GetFileName(FILE_GATHER, c, true, false, 0);
    CString strMerged = pCalc->GetFileName(FILE_GATHER, c, false, true, 0);
    u_Print("Merging component '%c'...\n", c);
    rc = app.MergeResults(strMerged, strPattern, app.m_nFirstPoint, app.m_nLastPoint, bRemove);
    if (rc != 0)
      break;
  }
  if (pCalc->m_nTimeFieldType != 0 && pCalc->m_bTimeMerge) {
    for (int i = 0; i < 2; i++) {
      if (!(pCalc->m_nTimeFieldType & (1 << i)))
        continue;
      CString strPattern = pCalc->GetFileName(FILE_TIME, ' ', true, false, i);
      CString strMerged = pCalc->GetFileName(FILE_TIME, ' ', false, true, i);
      u_Print("Merging Time Field...%s\n", i == 0 ? "max energy" : "max divergence");
      rc = app.MergeResults(strMerged, strPattern, app.m_nFirstPoint, app.m_nLastPoint, bRemove);
    }
  }
  if (pCalc->m_nSnapEvery > 0) {
    CString strPattern = pCalc->GetFileName(FILE_SNAP2D, ' ', true, false, 0);
    CString strMerged = pCalc->GetFileName(FILE_SNAP2D, ' ', false, true, 0);
    u_Print("Merging Snapshots...\n");
    rc = app.MergeResults(strMerged, strPattern, app.m_nFirstPoint, app.m_nLastPoint, bRemove);
  }
  return rc;
}

int kelvo_run(int nFirst, int nLast) {
  CKelvoApp& app = m_job;
  u_FaceTitle("3D Modeling");
  CString strVersion;
  os::GetAppVersionString(strVersion);
  u_Print("3D %d-bit Computation Engine %s running on %d-bit Linux%s\n", 64, (const char*)strVersion, 64, "/MPI");

  app.m_nNode = g_nNode;
  app.m_nSize = g_nSize;
  app.m_nFirstPoint = nFirst;
  app.m_nCurPoint = nFirst;
  app.m_nLastPoint = nLast;

  if (app.ReadTask("runtask.ini") != 0)
    return -1;
  if (app.m_bDebug)
    PrintSystemDetails();
  const double fStart = now_seconds();

  int rc = 0;
  if (!app.m_bMergeTask) {
    if (app.m_nMethod == METHOD_VERTICAL_INCIDENCE)
      return app.Run1DShot();
    if (app.LoadSurveyGeometry() != 0)
      return -1;
    if (g_nSize > 1 && g_nNode == 0)
      rc = app.MPI_RunMaster();
    else if (g_nSize > 1)
      rc = app.MPI_RunSlave();
    else
      for (int s = app.m_nCurPoint; s <= app.m_nLastPoint && rc == 0 && !run_StopSignal(); s++)
        rc = app.RunShot(s);
    if (run_StopSignal())
      return report_stop(run_StopSignal(), fStart);
    if (rc != 0)
      return rc;
    if (app.m_pCalc3D)
      app.m_pCalc3D->FreeMemory(true, true, true, true, true);
    // A run that computed nothing has nothing to merge: merging would only
    // leave empty files behind.
    if (g_nNode == 0 && (rc = app.m_Tally.Report()) != 0)
      return rc;
  }
  if (g_nNode == 0 && (app.m_bMerge || app.m_bMergeTask))
    rc = merge_phase(app);
  report_end(rc, fStart);
  return rc;
}
