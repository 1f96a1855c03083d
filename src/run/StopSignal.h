// A run asked to stop by SIGTERM or SIGINT ends at the next time-step
// boundary: the handler only notes the signal, the time loops and the shot
// loops look at the note. The interrupted shot writes no gathers, so that a
// rerun with Recovery=1 computes it again; the finished shots keep theirs.
#pragma once

// Result of a shot, of a deal-out and of the run when a stop signal ended it.
enum { RUN_INTERRUPTED = -170 };

// Catches SIGTERM and SIGINT (SIGINT only when it is not ignored, as in the
// background jobs of a script) and ignores SIGXFSZ, so that a file too large
// for the process's limit fails its write with a message instead of killing
// the process. Once per process, after MPI_Init.
void run_InstallStopHandlers();

// The first stop signal caught, 0 while none.
int run_StopSignal();

// Name of a stop signal for the messages ("SIGTERM").
const char* run_SignalName(int nSignal);

// The exit value of a process stopped by nSignal: 128 + nSignal, as a shell
// shows a process ended by that signal.
inline int run_SignalExitCode(int nSignal) { return 128 + nSignal; }
