// Model files as the 3-D engine opens them: where their traces stand, what
// they cover, and the part of the model cube that a shot simulates.
#pragma once

#include "calc3d/Calc3D.h"
#include "seisfile/SdsPC.h"

// Opens a model file for reading. Traces that all stand at one point are
// placed by their CDP X/Y or, failing that, by their inline and crossline
// numbers on the mesh step from the model cube's low corner (the job's X0,
// Y0; 0 where unset). False when the file cannot be opened; no message.
bool model_OpenFile(CCalc3D& calc, CSdsPC& sds, const char* szFile);
// The same for a model cube m (its open sides taken as 0) and placement step
// fStep, lifted by the elevation when bUseElevation is set.
bool model_OpenFile(CSdsPC& sds, const char* szFile, const CCubeR& m, double fStep, bool bUseElevation);

// Refuses an open model file whose traces give no positions (all at one
// point): message and CALC_NO_FILE. The first time a file is checked in this
// process, prints its extent and, where a fallback placed its traces, a
// warning naming the rule. szName is the component, as in messages.
int model_CheckFile(CSdsPC& sds, const char* szName);

// The model cube of the job (its open sides from the P-velocity file, once)
// and the box of the shot's simulation cube: the model cube, or with a
// margin the survey widened by it and cut by the model cube. 0, or the
// status of a failure that has been reported.
int model_SimulationBox(CCalc3D& calc, int nShot, int nMaxShot, bool bQuiet, CCubeR& box);
