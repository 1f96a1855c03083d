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

int CSharedStep::MaxStepsPerPass() const { return m_Calc.MaxStepsPerPass(); }

int CSharedStep::AdvanceSteps(const TStepBox* box, int n) {
  const int s = m_Calc.m_nStart;
  return m_Calc.PropagateSteps(s, m_Calc.m_nNz - s - 1, box, n);
}

int CTimeStep::AdvanceSteps(const TStepBox* box, int n) {
  int nRes = 0;
  for (int j = 0; j < n && nRes == 0; j++)
    nRes = Advance(box[j].nY0, box[j].nY1, box[j].nX0, box[j].nX1);
  return nRes;
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

void CCalc3D::UpdateSuppression() { m_fSuppress = SuppressionAt(m_fTime); }

float CCalc3D::SuppressionAt(double t) const {
  if (!m_bSuppressSV)
    return 1.0f;
  const double f = m_Signal.m_fFrequency;
  const double T = f > 0 ? 1.0 / f : 0.0;
  const double u = (t - T) / 3.0;
  if (u <= 0)
    return 0.0f;
  if (u >= T)
    return 1.0f;
  const float v = (float)sin(f * 1.5707963267948966 * u);
  return v * v;
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

int CCalc3D::PropagateSteps(int nZ0, int nZ1, const TStepBox* box, int n) {
  int nRes = 0;
  for (int j = 0; j < n && nRes == 0; j++)
    nRes = PropagateStep(nZ0, box[j].nY0, box[j].nX0, nZ1, box[j].nY1, box[j].nX1);
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
  for (int i = 0; i < n && nResult == 0;) {
    if (step.StopsBetweenSteps() && cluster_StopOrdered()) {
      nResult = CALC_TERMINATE;
    } else if (cluster_SignalStop(GetGroupSize(), GetGroupRank(), m_Set.m_nNode, m_nShot, i, n)) {
      nResult = RUN_INTERRUPTED;
    } else {
      const int nSteps = PassLength(step, i, n, fRecNext);
      nResult = RunTimeSteps(step, i, nSteps, n, fRecNext);
      i += nSteps;
    }
  }
  if (nResult == 0 && !step.StopsBetweenSteps() && cluster_StopOrdered())
    nResult = CALC_TERMINATE;
  return step.Finish(nResult);
}

int CCalc3D::PassLength(const CTimeStep& step, int i, int n, double fRecNext) const {
  const int nMax = std::min({step.MaxStepsPerPass(), n - i, kMaxStepsPerPass});
  // The source sample of a step goes in before it, at the start of a pass only;
  // the S-wave factor must hold for the whole pass.
  if (nMax <= 1 || i + 1 < m_Signal.m_nLen || (GetMethod() > METHOD_ACOUSTIC && SuppressionAt(m_fTime) != 1.0f))
    return 1;
  double t = m_fTime;
  int nSteps = 1;
  for (int j = i; nSteps < nMax; j++, nSteps++) {
    t += m_fDt;
    if (WholeFieldDue(j, t, fRecNext))
      break;
  }
  return nSteps;
}

bool CCalc3D::WholeFieldDue(int i, double t, double fRecNext) const {
  if (m_nTimeFieldType != 0 && i % 5 == 0)
    return true;
  if (m_Set.m_dt > 0 && fRecNext <= t)
    return true;
  if (m_nSnapEvery > 0 && (m_nShot - 1) % m_nSnapEvery == 0 && m_fSnapNext <= t)
    return true;
  if (m_bSnap3DActive)
    for (double v : m_vSnap3DTimes)
      if (m_fSnap3DLast < v && v <= t)
        return true;
  return false;
}

int CCalc3D::RunTimeSteps(CTimeStep& step, int i, int nSteps, int n, double& fRecNext) {
  if (i < m_Signal.m_nLen && step.InjectsSignal() && ApplySignal(i) != 0) {
    u_Error("Error! Unable to apply signal in %d simulation step.\n", i);
    return -1;
  }
  if (GetMethod() > METHOD_ACOUSTIC)
    UpdateSuppression();
  // Each step's bounds at its own time: the region the wave can have reached.
  TStepBox box[kMaxStepsPerPass];
  const int s = m_nStart;
  const double fStart = m_fTime;
  for (int j = 0; j < nSteps; j++) {
    box[j] = {s, m_nNy - s - 1, s, m_nNx - s - 1};
    StepActiveBox(i + j, box[j].nY0, box[j].nY1, box[j].nX0, box[j].nX1);
    m_fTime += m_fDt;
  }
  // The half-steps see the time at the start of the pass, as a single step does.
  const double fEnd = m_fTime;
  m_fTime = fStart;
  const int nRes = step.AdvanceSteps(box, nSteps);
  m_fTime = fEnd;
  if (nRes != 0)
    return ReportStepFailure(nRes, i + nSteps - 1);
  for (int j = i; j < i + nSteps - 1; j++)
    ReportStepProgress(j, n);
  return AfterStep(step, i + nSteps - 1, n, fRecNext);
}

int CCalc3D::AfterStep(const CTimeStep& step, int i, int n, double& fRecNext) {
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
