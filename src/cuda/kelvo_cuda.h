// Host-side entry points of the GPU layer. A build without nvcc links stubs
// that answer as a machine without a device would; every function returns 0
// or an error code (a CUDA runtime code, or a negative code of its own)
// unless said otherwise.
#pragma once

#include <cstddef>

#include "calc3d/FDPointOps.h"

struct C3DShotPoint;
struct CShotTauK;

// ---- Devices ---------------------------------------------------------------
// Devices as the runtime sees them (0 without a device or runtime).
int CUDA_GetDeviceCount();
int CUDA_SetDevice(int nDevice);
// Name of a device, or the message why there is none (a static buffer).
const char* CUDA_GetDeviceName(int nDevice);
// Compute capability as major + minor / 10; 0 for no such device.
double CUDA_GetDeviceCapability(int nDevice);
double CUDA_GetDriverVersion(int nDevice);
double CUDA_GetRuntimeVersion(int nDevice);
// 0 when a test kernel computed the right squares, 1 when not.
int CUDA_IsCalcTestOK();
// With pszPlace: remembers where the next error happened and returns "".
// Without: "Error %d: %s" (or "Error %d (in %s): %s") for the code.
const char* CUDA_Error_Explain(int nError, const char* pszPlace);
const char* CUDA_3D_GetVersion();
// A version number of the runtime API (1000 * major + 10 * minor) as
// major.minor: 4020 gives 4.2, 7050 gives 7.5.
double CUDA_VersionNumber(int v);
// Lowest compute capability this build carries code for.
double CUDA_MinCapability();
// The device a process takes: the one asked for, except that the workers of
// a cluster run that all ask for device 0 spread over the devices of a host.
int CUDA_SpreadDevice(int nDevice, int nGPUCount, int nNode, int nSize);

// ---- One shot on the device --------------------------------------------
// Clears all records and allocates the zeroed wavefields and coefficient
// cubes of a local grid of nNx x nNy x nNz points (plane 0 = global nZ0 of
// nNzAll); bPlane: a 2-D snapshot buffer, bQ: a Q-factor cube.
int CUDA_3DFD_AllocateMemory(int nMethod, int nFrame, int nNx, int nNy, int nNz, int nZ0, int nNzAll, int nViscoL,
                             bool bPlane, bool bQ);
int CUDA_3DFD_FreeMemory(bool bModel, bool bWave, bool bSeismogram, bool bTimeField, bool bPlane);
int CUDA_3DFD_FreePML();
int CUDA_3DFD_AllocateMemorySeismogram(int nPoints, int nRcv, int nLen);
// Copies the coefficients (pVisco: the relaxation records), the taper table, the excitation points and the
// receiver indices; keeps the host signal pointer. pTauK: one moment per
// point for source type 10, or null.
int CUDA_3DFD_LoadData(float fH, float fDt, const fd::TMoment& moment, const float* pK, const float* pMu,
                       const float* pB, const float* pQ, const float* pVisco, int nSourceType, int nPoints,
                       const C3DShotPoint* pPoints, const size_t* pRcvIdx, const float* pSignal, const float* pDamp,
                       const CShotTauK* pTauK);
// The stiffness cubes of the anisotropic media: C11 C12 C13 C22 C23 C33 C44
// C55 C66 (nCubes 9), then C14 C15 C16 C24 C25 C26 C34 C35 C36 C45 C46 C56.
int CUDA_3DFD_LoadAnisotropicModel(int nCubes, const float* const* pC);
// The eight coefficient slabs of each axis (nCount points each) and zeroed
// memories for the method; nPML 0 leaves the PML off.
int CUDA_3DFD_LoadPML(int nMethod, int nPML, int nStart, float* const pCoef[3][8], const size_t nCount[3]);
// One half-step (velocities with bU) over the inclusive local box.
int CUDA_3DFD_ModelStep(bool bU, bool bSuppressSV, int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1,
                        float fSuppress);
int CUDA_3DFD_ApplySignal(size_t nStep);
int CUDA_3DFD_RecordSeismogram(size_t nSeisStep);
// One component of the whole gather into p; -150 where it holds a diverged value.
int CUDA_3DFD_GrabShotgather(float* p, char cComponent);
// The vertical plane through column nFixed (x for a 'Y' plane, else y).
int CUDA_3DFD_Grab2DSnapshot(float* p, char cPlane, char cComponent, int nFixed);
int CUDA_3DFD_Grab3DSnapshot(float* p, const fd::TSnapCube& cube, int nSz, char cComponent);
int CUDA_3DFD_GetCalcPlane(int nField, int nZ0, int nZ1, float* p);
int CUDA_3DFD_SetCalcPlane(int nField, int nZ0, int nZ1, const float* p);
int CUDA_3DFD_TimeFieldInit(const fd::TTimeGrid& grid, int nType, int nTimeNz);
int CUDA_3DFD_TimeFieldPropagate(float fTime, int nAddZ0);
int CUDA_3DFD_TimeFieldGrabCube(float* p, int nIndex);
// Device-to-device copy bandwidth in GB/s (read plus write) over nBytes
// blocks, the best of nRepeat copies; negative on failure.
double CUDA_3DFD_CopyBandwidth(size_t nBytes, int nRepeat);
// Seconds per call of nSteps whole steps of the allocated method (both half-steps) over the
// box, timed on the device; negative on failure.
double CUDA_3DFD_TimeSteps(int nSteps, int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1);
