// Checks of a modelling job made while its task is read, before any model is
// loaded: what the job asks for must be something the run can deliver.
#pragma once

class CCalc3D;

// Whether a file can be made in szDir ("" or "." the current directory),
// tried with a file of this process's own that is removed at once. On
// failure errno tells why.
bool task_DirWritable(const char* szDir);

// The snapshots the task asks for can be written: every file they would go
// to lies in a directory that takes files, and every listed 3-D time lies
// within the record (t1, seconds), which the time loop reaches. 0, or 1 with
// the error printed.
int task_CheckSnapshots(CCalc3D& calc, double t1);
