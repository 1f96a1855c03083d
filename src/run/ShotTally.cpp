#include "ShotTally.h"

#include "Console.h"

namespace {

const char* Reason(int nOutcome) {
  switch (nOutcome) {
  case -31: return "the shot lies outside the computation zone";
  default: return "the shot could not be prepared";
  }
}

// Longest list printed in full; a run of thousands of skipped shots is
// summed up after it.
const int kListed = 50;

} // namespace

void CShotTally::Note(int nShot, int nOutcome) {
  if (nOutcome == 0)
    m_nComputed++;
  else
    m_vSkipped.push_back({nShot, nOutcome});
}

void CShotTally::Clear() {
  m_nComputed = 0;
  m_vSkipped.clear();
}

int CShotTally::Report() const {
  if (m_vSkipped.empty())
    return 0;
  const int nAll = m_nComputed + Skipped();
  u_Warning("Warning! %d of %d shot points were skipped:\n", Skipped(), nAll);
  for (int i = 0; i < Skipped() && i < kListed; i++)
    u_Print("  Shot Point #%d: %s.\n", m_vSkipped[i].nShot, Reason(m_vSkipped[i].nOutcome));
  if (Skipped() > kListed)
    u_Print("  ... and %d more.\n", Skipped() - kListed);
  if (m_nComputed > 0)
    return 0;
  u_Error("Error! No shot point has been computed: every shot point of the run was skipped.\n");
  u_Print("The computation is stopped.\n");
  return -31;
}
