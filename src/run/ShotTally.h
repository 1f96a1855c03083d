// What became of each shot of a run: computed (or found done by a recovery)
// or skipped, and why. The driver and the cluster master keep one, so that a
// run can say at its end which shots it passed over.
#pragma once

#include <vector>

class CShotTally {
public:
  // Outcome of a shot: 0 computed or already done; otherwise the result of
  // shot preparation that made the run pass over it (-31: outside the
  // computation zone).
  void Note(int nShot, int nOutcome);
  void Clear();
  int Computed() const { return m_nComputed; }
  int Skipped() const { return (int)m_vSkipped.size(); }
  // Lists the skipped shots with their reasons. Returns 0 when at least one
  // shot was computed or nothing was skipped; otherwise prints the error of a
  // run that computed nothing and returns -31.
  int Report() const;

private:
  struct Skip {
    int nShot;
    int nOutcome;
  };
  int m_nComputed = 0;
  std::vector<Skip> m_vSkipped;
};
