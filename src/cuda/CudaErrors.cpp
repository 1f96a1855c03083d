// What the device layer says of itself without a device: version texts, the
// explanation of CUDA error codes, and the choice of device of a process.
#include <cstdio>
#include <cstring>

#include "cuda/kelvo_cuda.h"

char g_szErrMessage[1024];
char g_szErrMessageFull[2048];
char gCUDA_ERROR_PLACE[256];

namespace {

// The runtime's error codes 0 to 49 with their documented meaning.
const char* const kErrorText[50] = {
    "cudaSuccess:\nThe API call returned with no errors.",
    "cudaErrorMissingConfiguration:\nThe device function being invoked (usually via cudaLaunch()) was not previously "
    "configured via the cudaConfigureCall() function.",
    "cudaErrorMemoryAllocation:\nThe API call failed because it was unable to allocate enough memory to perform the "
    "requested operation.",
    "cudaErrorInitializationError:\nThe API call failed because the CUDA driver and runtime could not be initialized.",
    "cudaErrorLaunchFailure:\nAn exception occurred on the device while executing a kernel. Common causes include "
    "dereferencing an invalid device pointer and accessing out of bounds shared memory.",
    "cudaErrorPriorLaunchFailure:\nThis indicated that a previous kernel launch failed.",
    "cudaErrorLaunchTimeout:\nThis indicates that the device kernel took too long to execute. This can only occur if "
    "timeouts are enabled.",
    "cudaErrorLaunchOutOfResources:\nThis indicates that a launch did not occur because it did not have appropriate "
    "resources.",
    "cudaErrorInvalidDeviceFunction:\nThe requested device function does not exist or is not compiled for the proper "
    "device architecture.",
    "cudaErrorInvalidConfiguration:\nThis indicates that a kernel launch is requesting resources that can never be "
    "satisfied by the current device.",
    "cudaErrorInvalidDevice:\nThis indicates that the device ordinal supplied by the user does not correspond to a "
    "valid CUDA device.",
    "cudaErrorInvalidValue:\nThis indicates that one or more of the parameters passed to the API call is not within "
    "an acceptable range of values.",
    "cudaErrorInvalidPitchValue:\nThis indicates that one or more of the pitch-related parameters passed to the API "
    "call is not within the acceptable range for pitch.",
    "cudaErrorInvalidSymbol:\nThis indicates that the symbol name/identifier passed to the API call is not a valid "
    "name or identifier.",
    "cudaErrorMapBufferObjectFailed:\nThis indicates that the buffer object could not be mapped.",
    "cudaErrorUnmapBufferObjectFailed:\nThis indicates that the buffer object could not be unmapped.",
    "cudaErrorInvalidHostPointer:\nThis indicates that at least one host pointer passed to the API call is not a "
    "valid host pointer.",
    "cudaErrorInvalidDevicePointer:\nThis indicates that at least one device pointer passed to the API call is not a "
    "valid device pointer.",
    "cudaErrorInvalidTexture:\nThis indicates that the texture passed to the API call is not a valid texture.",
    "cudaErrorInvalidTextureBinding:\nThis indicates that the texture binding is not valid.",
    "cudaErrorInvalidChannelDescriptor:\nThis indicates that the channel descriptor passed to the API call is not "
    "valid.",
    "cudaErrorInvalidMemcpyDirection:\nThis indicates that the direction of the memcpy passed to the API call is not "
    "one of the types specified by cudaMemcpyKind.",
    "cudaErrorAddressOfConstant:\nThis indicated that the user has taken the address of a constant variable.",
    "cudaErrorTextureFetchFailed:\nThis indicated that a texture fetch was not able to be performed.",
    "cudaErrorTextureNotBound:\nThis indicated that a texture was not bound for access.",
    "cudaErrorSynchronizationError:\nThis indicated that a synchronization operation had failed.",
    "cudaErrorInvalidFilterSetting:\nThis indicates that a non-float texture was being accessed with linear "
    "filtering.",
    "cudaErrorInvalidNormSetting:\nThis indicates that an attempt was made to read a non-float texture as a "
    "normalized float.",
    "cudaErrorMixedDeviceExecution:\nMixing of device and device emulation code was not allowed.",
    "cudaErrorCudartUnloading:\nThis indicates that a CUDA Runtime API call cannot be executed because it is being "
    "called during process shut down.",
    "cudaErrorUnknown:\nThis indicates that an unknown internal error has occurred.",
    "cudaErrorNotYetImplemented:\nThis indicates that the API call is not yet implemented.",
    "cudaErrorMemoryValueTooLarge:\nThis indicated that an emulated device pointer exceeded the 32-bit address "
    "range.",
    "cudaErrorInvalidResourceHandle:\nThis indicates that a resource handle passed to the API call was not valid.",
    "cudaErrorNotReady:\nThis indicates that asynchronous operations issued previously have not completed yet.",
    "cudaErrorInsufficientDriver:\nThis indicates that the installed NVIDIA CUDA driver is older than the CUDA "
    "runtime library.",
    "cudaErrorSetOnActiveProcess:\nThis indicates that the user has called cudaSetDevice() or similar after the "
    "device was already initialized for this process.",
    "cudaErrorInvalidSurface:\nThis indicates that the surface passed to the API call is not a valid surface.",
    "cudaErrorNoDevice:\nThis indicates that no CUDA-capable devices were detected by the installed CUDA driver.",
    "cudaErrorECCUncorrectable:\nThis indicates that an uncorrectable ECC error was detected during execution.",
    "cudaErrorSharedObjectSymbolNotFound:\nThis indicates that a link to a shared object failed to resolve.",
    "cudaErrorSharedObjectInitFailed:\nThis indicates that initialization of a shared object failed.",
    "cudaErrorUnsupportedLimit:\nThis indicates that the cudaLimit passed to the API call is not supported by the "
    "active device.",
    "cudaErrorDuplicateVariableName:\nThis indicates that multiple global or constant variables share the same "
    "string name.",
    "cudaErrorDuplicateTextureName:\nThis indicates that multiple textures share the same string name.",
    "cudaErrorDuplicateSurfaceName:\nThis indicates that multiple surfaces share the same string name.",
    "cudaErrorDevicesUnavailable:\nThis indicates that all CUDA devices are busy or unavailable at the current time.",
    "cudaErrorInvalidKernelImage:\nThis indicates that the device kernel image is invalid.",
    "cudaErrorNoKernelImageForDevice:\nThis indicates that there is no kernel image available that is suitable for "
    "the device.",
    "cudaErrorIncompatibleDriverContext:\nThis indicates that the current context is not compatible with the CUDA "
    "Runtime.",
};

} // namespace

const char* CUDA_Error_Explain(int nError, const char* pszPlace) {
  if (pszPlace) {
    snprintf(gCUDA_ERROR_PLACE, sizeof(gCUDA_ERROR_PLACE), "%s", pszPlace);
    g_szErrMessageFull[0] = 0;
    return g_szErrMessageFull;
  }
  if (nError >= 0 && nError < 50)
    snprintf(g_szErrMessage, sizeof(g_szErrMessage), "%s", kErrorText[nError]);
  else
    snprintf(g_szErrMessage, sizeof(g_szErrMessage), "Unknown CUDA error (%d)!\n", nError);
  if (gCUDA_ERROR_PLACE[0]) {
    snprintf(g_szErrMessageFull, sizeof(g_szErrMessageFull), "Error %d (in %s): %s", nError, gCUDA_ERROR_PLACE,
             g_szErrMessage);
    gCUDA_ERROR_PLACE[0] = 0;
  } else {
    snprintf(g_szErrMessageFull, sizeof(g_szErrMessageFull), "Error %d: %s", nError, g_szErrMessage);
  }
  return g_szErrMessageFull;
}

const char* CUDA_3D_GetVersion() { return "1.8.0 (2017-09-05)"; }

double CUDA_VersionNumber(int v) {
  double f = v % 1000;
  while (f >= 1)
    f /= 10;
  return v / 1000 + f;
}

int CUDA_SpreadDevice(int nDevice, int nGPUCount, int nNode, int nSize) {
  if (nDevice == 0 && nGPUCount > 1 && nSize > 1 && nNode > 0)
    return (nNode - 1) % nGPUCount;
  return nDevice;
}
