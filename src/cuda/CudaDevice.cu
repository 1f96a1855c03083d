// Device discovery through the CUDA runtime, and the test kernel that tells
// whether the device really computes.
#include <cuda_runtime.h>

#include <cmath>
#include <cstdio>
#include <cstring>

#include "cuda/kelvo_cuda.h"

#ifndef KELVO_CUDA_MIN_ARCH
#define KELVO_CUDA_MIN_ARCH 80
#endif

char gCUDA_MSG[512];

namespace {

// Whether nDevice names a device; the runtime's error state is left clear.
bool ValidDevice(int nDevice) {
  const int n = CUDA_GetDeviceCount();
  return n > 0 && nDevice >= 0 && nDevice < n;
}

__global__ void square_array(float* a, int N) {
  const int idx = blockIdx.x * blockDim.x + threadIdx.x;
  if (idx < N)
    a[idx] = a[idx] * a[idx];
}

} // namespace

int CUDA_GetDeviceCount() {
  int n = 0;
  if (cudaGetDeviceCount(&n) != cudaSuccess) {
    cudaGetLastError();
    return 0;
  }
  return n;
}

int CUDA_SetDevice(int nDevice) {
  const cudaError_t e = cudaSetDevice(nDevice);
  if (e != cudaSuccess)
    cudaGetLastError();
  return (int)e;
}

const char* CUDA_GetDeviceName(int nDevice) {
  const int n = CUDA_GetDeviceCount();
  cudaDeviceProp prop;
  if (n < 1)
    snprintf(gCUDA_MSG, sizeof(gCUDA_MSG), "No CUDA devices found!");
  else if (nDevice < 0 || nDevice >= n)
    snprintf(gCUDA_MSG, sizeof(gCUDA_MSG), "Device %d doesn't exists! Devices are in range [%d..%d]!", nDevice, 0,
             n - 1);
  else if (cudaGetDeviceProperties(&prop, nDevice) == cudaSuccess)
    snprintf(gCUDA_MSG, sizeof(gCUDA_MSG), "%s", prop.name);
  else
    gCUDA_MSG[0] = 0;
  return gCUDA_MSG;
}

double CUDA_GetDeviceCapability(int nDevice) {
  cudaDeviceProp prop;
  if (!ValidDevice(nDevice) || cudaGetDeviceProperties(&prop, nDevice) != cudaSuccess)
    return 0;
  return prop.major + prop.minor / 10.0;
}

double CUDA_GetDriverVersion(int nDevice) {
  int v = 0;
  if (!ValidDevice(nDevice) || cudaDriverGetVersion(&v) != cudaSuccess)
    return 0;
  return CUDA_VersionNumber(v);
}

double CUDA_GetRuntimeVersion(int nDevice) {
  int v = 0;
  if (!ValidDevice(nDevice) || cudaRuntimeGetVersion(&v) != cudaSuccess)
    return 0;
  return CUDA_VersionNumber(v);
}

double CUDA_MinCapability() { return KELVO_CUDA_MIN_ARCH / 10.0; }

int CUDA_IsCalcTestOK() {
  const int N = 10;
  float host[N];
  for (int i = 0; i < N; i++)
    host[i] = (float)i;
  float* dev = nullptr;
  if (cudaMalloc(&dev, sizeof(host)) != cudaSuccess) {
    cudaGetLastError();
    return 1;
  }
  int nResult = 0;
  if (cudaMemcpy(dev, host, sizeof(host), cudaMemcpyHostToDevice) != cudaSuccess)
    nResult = 1;
  if (nResult == 0) {
    square_array<<<3, 4>>>(dev, N);
    if (cudaMemcpy(host, dev, sizeof(host), cudaMemcpyDeviceToHost) != cudaSuccess)
      nResult = 1;
  }
  for (int i = 0; nResult == 0 && i < N; i++)
    if (std::fabs(host[i] - (float)(i * i)) > 0.0001f)
      nResult = 1;
  cudaFree(dev);
  cudaGetLastError();
  return nResult;
}
