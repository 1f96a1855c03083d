// One time step of a shot as the time loop sees it. The loop itself
// (CCalc3D::RunTimeLoop: source, half-steps, time field, recording,
// snapshots, progress) is written once; a step object supplies what depends
// on how the shot is laid out over processes. CSharedStep advances a shot
// held by one process; the step of a shot split by depth over a group, with
// its halo exchange, lives in cluster/SlabStep.cpp.
#pragma once

class CCalc3D;
struct TStepBox;

class CTimeStep {
public:
  explicit CTimeStep(CCalc3D& calc) : m_Calc(calc) {}
  virtual ~CTimeStep() {}
  CTimeStep(const CTimeStep&) = delete;
  CTimeStep& operator=(const CTimeStep&) = delete;

  // Whether this process adds the source sample of a step.
  virtual bool InjectsSignal() const { return true; }
  // The velocity half-step, then the stress half-step, over the x and y
  // bounds of the step; the z range is the step's own. 0, or what failed.
  virtual int Advance(int nY0, int nY1, int nX0, int nX1) = 0;
  // Time steps AdvanceSteps may take at once, and the steps themselves, step
  // j over the bounds of box[j].
  virtual int MaxStepsPerPass() const { return 1; }
  virtual int AdvanceSteps(const TStepBox* box, int n);
  // Whether a stop order of rank 0 may end the shot between two steps;
  // otherwise it is looked for once, after the last step.
  virtual bool StopsBetweenSteps() const = 0;
  // Sampling in metres of the frames of the vertical section (2-D snapshot).
  virtual double SectionStep() const = 0;
  // Reports a frame of the vertical section that could not be written.
  virtual void ReportSectionFailure() const {}
  // Result of the shot when the rows due before the first step could not be
  // recorded (nRec: the recording's failure).
  virtual int EarlyRecordFailure(int nRec) const { return nRec; }
  // Called once when the loop ends with nResult; gives the shot's result.
  virtual int Finish(int nResult) { return nResult; }

protected:
  CCalc3D& m_Calc;
};

// A shot held by one process: both half-steps over the whole box, the stress
// half-step only after a velocity half-step that succeeded. A stop order ends
// the shot at the next step.
class CSharedStep : public CTimeStep {
public:
  explicit CSharedStep(CCalc3D& calc) : CTimeStep(calc) {}
  int Advance(int nY0, int nY1, int nX0, int nX1) override;
  int MaxStepsPerPass() const override;
  int AdvanceSteps(const TStepBox* box, int n) override;
  bool StopsBetweenSteps() const override { return true; }
  double SectionStep() const override;
  int EarlyRecordFailure(int) const override { return -1; }
};
