#include "StopSignal.h"

#include <csignal>

namespace {

// Set by the handler only: the first stop signal wins, later ones change
// nothing (a launcher forwards the signal that the process also got itself).
volatile sig_atomic_t g_nStopSignal = 0;

extern "C" void stop_handler(int nSignal) {
  if (g_nStopSignal == 0)
    g_nStopSignal = nSignal;
}

void catch_signal(int nSignal, bool bKeepIgnored) {
  struct sigaction sa;
  if (bKeepIgnored && sigaction(nSignal, nullptr, &sa) == 0 && sa.sa_handler == SIG_IGN)
    return;
  sa = {};
  sa.sa_handler = stop_handler;
  sigemptyset(&sa.sa_mask);
  sa.sa_flags = SA_RESTART;
  sigaction(nSignal, &sa, nullptr);
}

} // namespace

void run_InstallStopHandlers() {
  catch_signal(SIGTERM, false);
  catch_signal(SIGINT, true);
  signal(SIGXFSZ, SIG_IGN);
}

int run_StopSignal() { return g_nStopSignal; }

const char* run_SignalName(int nSignal) {
  switch (nSignal) {
  case SIGTERM: return "SIGTERM";
  case SIGINT: return "SIGINT";
  default: return "signal";
  }
}
