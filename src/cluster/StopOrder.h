// The stop order of an aborted run: rank 0 posts it to every other process
// (run/Entry.cpp), and a time loop looks for it between steps. And the stop
// signal (run/StopSignal.h), which a time loop obeys at a step boundary.
#pragma once

#include "run/StopSignal.h"

// True, with the error printed, when rank 0 has posted the stop order. False
// whenever MPI is not running.
bool cluster_StopOrdered();

// True, with the error printed, when step nStep of nSteps of shot nShot is
// not to be run because of a stop signal. A process that holds its shot alone
// looks at its own note; the processes of a depth group pass theirs to the
// leader (group rank 0, process nNode - nGroupRank), which sends back the
// verdict, so that all of them stop at the same step and none is left waiting
// for the halo planes of a neighbour that has gone.
bool cluster_SignalStop(int nGroupSize, int nGroupRank, int nNode, int nShot, int nStep, int nSteps);
