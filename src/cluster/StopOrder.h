// The stop order of an aborted run: rank 0 posts it to every other process
// (run/Entry.cpp), and a time loop looks for it between steps.
#pragma once

// True, with the error printed, when rank 0 has posted the stop order. False
// whenever MPI is not running.
bool cluster_StopOrdered();
