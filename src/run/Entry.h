// Process entry: floating-point state, MPI start, node roles and the orderly
// end of every process of a run.
#pragma once

#include <mpi.h>

#include "CString.h"

extern MPI_Group MPI_GROUP_WORLD; // group of MPI_COMM_WORLD, set by the census
extern MPI_Group MPI_GROUP_MT;    // group of the Active processes
extern int g_die;                 // payload of the stop order (TAG_STOP_ORDER)

// The whole life of a process; returns its exit value.
int kelvo_main(int argc, char** argv);

// Shot range of the command line: with at least three arguments the second
// and third; otherwise both 0 (left open). Result 0: a range or none; 1: the
// arguments are ignored (strMessage holds the warning); -1: not a shot number
// (strMessage holds the error).
int entry_parse_shots(int argc, char** argv, int& nFirst, int& nLast, CString& strMessage);

// Sets flush-to-zero and denormals-are-zero in MXCSR.
void entry_set_fp_state();
