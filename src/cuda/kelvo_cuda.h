// Host-side entry points of the GPU layer. This build carries no device
// code: the functions answer as a machine without a usable device would.
#pragma once

// Number of CUDA devices that the driver library reports; 0 when the library
// is absent or fails (which is no error).
int CUDA_GetDeviceCount();

// Version text of the device module.
const char* CUDA_3D_GetVersion();
