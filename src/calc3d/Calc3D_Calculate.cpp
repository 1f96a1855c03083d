// The time loop of a shot, written once for a shot held by one process and
// for a shot split by depth over a group: the step object (TimeStep.h) does
// the half-steps, the loop all that comes before and after them.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "Calc3D.h"
#include "TimeStep.h"
#include "cluster/StopOrder.h"
#include "seisfile/SdsPC.h"

int CSharedStep::Advance(int nY0, int nY1, int nX0, int nX1) {
  const int s = m_Calc.m_nStart;
  const int nZ0 = s, nZ1 = m_Calc.m_nNz - s - 1;
  return m_Calc.PropagateStep(nZ0, nY0, nX0, nZ1, nY1, nX1);
}

double CSharedStep::SectionStep() const { return CSdsPC::COOR_SCALER < 0 ? 1.0 : 10.0; }

void CCalc3D::StepActiveBox(int i, int& nY0, int& nY1, int& nX0, int& nX1) {
  if (m_nActiveX1 <= 0 || m_nActiveY1 <= 0)
    return;
  const int s = m_nStart;
  int g = i;
  if (m_fTime < 0 && i > 60) {
    m_nActiveDelay = i - 60;
    g = 60;
  }
  if (m_fTime >= 0 && m_nActiveDelay > 0)
    g = i - m_nActiveDelay;
  const int x0 = m_nActiveX0 - g, x1 = m_nActiveX1 + g;
  const int y0 = m_nActiveY0 - g, y1 = m_nActiveY1 + g;
  if (x0 < s && y0 < s && x1 > m_nNx - s - 1 && y1 > m_nNy - s - 1) {
    m_nActiveX0 = m_nActiveX1 = m_nActiveY0 = m_nActiveY1 = 0;
    m_nActiveDelay = 0;
    return;
  }
  nX0 = std::max(nX0, std::min(x0, nX1));
  nX1 = std::min(nX1, std::max(x1, s));
  nY0 = std::max(nY0, std::min(y0, nY1));
  nY1 = std::min(nY1, std::max(y1, s));
}

void CCalc3D::UpdateSuppression() {
  if (!m_bSuppressSV) {
    m_fSuppress = 1.0f;
    return;
  }
  const double f = m_Signal.m_fFrequency;
  const double T = f > 0 ? 1.0 / f : 0.0;
  const double u = (m_fTime - T) / 3.0;
  if (u <= 0) {
    m_fSuppress = 0.0f;
  } else if (u >= T) {
    m_fSuppress = 1.0f;
  } else {
    const float v = (float)sin(f * 1.5707963267948966 * u);
    m_fSuppress = v * v;
  }
}

int CCalc3D::PropagateVelocity(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (nZ0 > nZ1)
    return 0;
  return GetMethod() == METHOD_ACOUSTIC ? PropagateAcoWaveU(nZ0, nY0, nX0, nZ1, nY1, nX1)
                                        : PropagateElaWaveU(nZ0, nY0, nX0, nZ1, nY1, nX1);
}

int CCalc3D::PropagateStep(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  int nRes = PropagateVelocity(nZ0, nY0, nX0, nZ1, nY1, nX1);
  if (nRes == 0)
    nRes = PropagateStress(nZ0, nY0, nX0, nZ1, nY1, nX1);
  return nRes;
}

int CCalc3D::PropagateStress(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  if (nZ0 > nZ1)
    return 0;
  switch (GetMethod()) {
  case METHOD_ACOUSTIC: return PropagateAcoWaveTau(nZ0, nY0, nX0, nZ1, nY1, nX1);
  case METHOD_ELASTIC: return PropagateElaWaveTau(nZ0, nY0, nX0, nZ1, nY1, nX1);
  case METHOD_ORTHORHOMBIC: return PropagateOrtWaveTau(nZ0, nY0, nX0, nZ1, nY1, nX1);
  default: return PropagateAniWaveTau(nZ0, nY0, nX0, nZ1, nY1, nX1);
  }
}

int CCalc3D::RecordDueRows(double& fRecNext, int i) {
  const double fRecDt = m_Set.m_dt;
  if (fRecDt <= 0)
    return 0;
  // A record that starts before the time loop takes zero rows until the loop
  // reaches it: the field is zero before the source starts.
  while (fRecNext <= m_fTime) {
    const int nRec = RecordSeismogram();
    if (nRec != 0) {
      u_Error("Error! Unable to record seismogram on simulation step %d.\n", i);
      return nRec;
    }
    fRecNext += fRecDt;
  }
  return 0;
}

int CCalc3D::ReportStepFailure(int nRes, int i) {
  if (nRes == CALC_UNSTABLE)
    u_Warning("!!!WARNING: The calculation scheme is unstable: further calculations are impossible! Please "
              "decrease dt.\n");
  else
    u_Error("Error! Unable to calculate simulation step %d.\n", i);
  return nRes;
}

void CCalc3D::ReportStepProgress(int i, int n) {
  const int nFirst = m_Set.m_nFirstPoint;
  const int nLast = m_Set.m_nLastPoint;
  const float fShots = (float)(nLast - nFirst + 1);
  const float p = (float)(i + 1) / n;
  const int overall = (int)(((m_nShot - nFirst) / fShots + p / fShots) * 100);
  u_Percent((int)(100 * p), overall, m_nShot, nLast);
}

int CCalc3D::Calculate() {
  if (LoadModel() != 0) {
    u_Error("Error! Unable to initialize and/or load model to device memory.\n");
    return CALC_MODEL_NOT_READY;
  }
  remove(GetFileName(FILE_SNAP2D, ' ', false, false, 0));
  m_fTime = m_fT0;
  m_fSnapNext = m_fSnapT0;
  calc_PrintModelingMethod(GetMethod(), m_nViscoL);
  if (GetGroupSize() > 1)
    return CalculateDistributed();
  return CalculateShared();
}

int CCalc3D::CalculateShared() {
  CSharedStep step(*this);
  return RunTimeLoop(step);
}

int CCalc3D::RunTimeLoop(CTimeStep& step) {
  double fRecNext = m_Set.m_t0;
  const int n = (int)((m_fT1 - m_fT0) / m_fDt) + 1;
  Init3DSnapshots();
  const int nRec = RecordDueRows(fRecNext, -1);
  if (nRec != 0)
    return step.Finish(step.EarlyRecordFailure(nRec));

  int nResult = 0;
  for (int i = 0; i < n && nResult == 0; i++) {
    if (step.StopsBetweenSteps() && cluster_StopOrdered())
      nResult = CALC_TERMINATE;
    else if (cluster_SignalStop(GetGroupSize(), GetGroupRank(), m_Set.m_nNode, m_nShot, i, n))
      nResult = RUN_INTERRUPTED;
    else
      nResult = RunTimeStep(step, i, n, fRecNext);
  }
  if (nResult == 0 && !step.StopsBetweenSteps() && cluster_StopOrdered())
    nResult = CALC_TERMINATE;
  return step.Finish(nResult);
}

int CCalc3D::RunTimeStep(CTimeStep& step, int i, int n, double& fRecNext) {
  // The x and y bounds of this step: the region the wave can have reached.
  const int s = m_nStart;
  int nY0 = s, nY1 = m_nNy - s - 1;
  int nX0 = s, nX1 = m_nNx - s - 1;
  StepActiveBox(i, nY0, nY1, nX0, nX1);

  if (i < m_Signal.m_nLen && step.InjectsSignal() && ApplySignal(i) != 0) {
    u_Error("Error! Unable to apply signal in %d simulation step.\n", i);
    return -1;
  }

  if (GetMethod() > METHOD_ACOUSTIC)
    UpdateSuppression();
  const int nRes = step.Advance(nY0, nY1, nX0, nX1);
  m_fTime += m_fDt;
  if (nRes != 0)
    return ReportStepFailure(nRes, i);

  if (m_nTimeFieldType != 0 && i % 5 == 0) {
    const int nTf = PropagateTimeField();
    if (nTf != 0) {
      u_Error("Error! Unable to propagate time field (%d) in simulation step %d.\n", nTf, i);
      return nTf;
    }
  }

  const int nRec = RecordDueRows(fRecNext, i);
  if (nRec != 0)
    return nRec;

  if (m_nSnapEvery > 0 && (m_nShot - 1) % m_nSnapEvery == 0 && m_fSnapNext <= m_fTime) {
    const int nSnap =
        AppendZpl2DSnapshot(GetFileName(FILE_SNAP2D, ' ', false, false, 0), 'X', "ZXYC", step.SectionStep(), false);
    m_fSnapNext += m_fSnapDt;
    if (nSnap != 0) {
      step.ReportSectionFailure();
      return nSnap;
    }
  }

  const int nSnap3D = Save3DSnapshots();
  if (nSnap3D != 0) {
    u_Error("Error! Unable to save 3D a snapshot.\n");
    return nSnap3D;
  }

  ReportStepProgress(i, n);
  return 0;
}
