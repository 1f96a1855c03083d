// The device layer of a build without nvcc: no device is ever found, and a
// call that would need one fails with the runtime's "no device" code.
#if !defined(KELVO_HAVE_CUDA)
#include "cuda/kelvo_cuda.h"

namespace {
const int kNoDevice = 38; // cudaErrorNoDevice
char s_szNoDevice[] = "No CUDA devices found!";
} // namespace

int CUDA_GetDeviceCount() { return 0; }
int CUDA_SetDevice(int) { return kNoDevice; }
const char* CUDA_GetDeviceName(int) { return s_szNoDevice; }
double CUDA_GetDeviceCapability(int) { return 0; }
double CUDA_GetDriverVersion(int) { return 0; }
double CUDA_GetRuntimeVersion(int) { return 0; }
int CUDA_IsCalcTestOK() { return 1; }
double CUDA_MinCapability() { return 8.0; }
int CUDA_3DFD_AllocateMemory(int, int, int, int, int, int, int, int, bool, bool) { return kNoDevice; }
int CUDA_3DFD_FreeMemory(bool, bool, bool, bool, bool) { return 0; }
int CUDA_3DFD_FreePML() { return 0; }
int CUDA_3DFD_AllocateMemorySeismogram(int, int, int) { return kNoDevice; }
int CUDA_3DFD_LoadData(float, float, const fd::TMoment&, const float*, const float*, const float*, const float*,
                       const float*, int, int, const C3DShotPoint*, const size_t*, const float*, const float*,
                       const CShotTauK*) {
  return kNoDevice;
}
int CUDA_3DFD_LoadAnisotropicModel(int, const float* const*) { return kNoDevice; }
int CUDA_3DFD_LoadPML(int, int, int, float* const[3][8], const size_t[3]) { return kNoDevice; }
int CUDA_3DFD_ModelStep(bool, bool, int, int, int, int, int, int, float) { return kNoDevice; }
int CUDA_3DFD_ApplySignal(size_t) { return kNoDevice; }
int CUDA_3DFD_RecordSeismogram(size_t) { return kNoDevice; }
int CUDA_3DFD_GrabShotgather(float*, char) { return kNoDevice; }
int CUDA_3DFD_Grab2DSnapshot(float*, char, char, int) { return kNoDevice; }
int CUDA_3DFD_Grab3DSnapshot(float*, const fd::TSnapCube&, int, char) { return kNoDevice; }
int CUDA_3DFD_GetCalcPlane(int, int, int, float*) { return kNoDevice; }
int CUDA_3DFD_SetCalcPlane(int, int, int, const float*) { return kNoDevice; }
int CUDA_3DFD_TimeFieldInit(const fd::TTimeGrid&, int, int) { return kNoDevice; }
int CUDA_3DFD_TimeFieldPropagate(float, int) { return kNoDevice; }
int CUDA_3DFD_TimeFieldGrabCube(float*, int) { return kNoDevice; }
double CUDA_3DFD_CopyBandwidth(size_t, int) { return -1; }
double CUDA_3DFD_TimeSteps(int, int, int, int, int, int, int) { return -1; }
#endif
