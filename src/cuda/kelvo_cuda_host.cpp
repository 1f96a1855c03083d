// Device discovery without device code: the driver library is asked how many
// devices there are, and the run stays on the host backend.
#include <dlfcn.h>

#include "common.h"
#include "cuda/kelvo_cuda.h"
#include "run/KelvoApp.h"

int CUDA_GetDeviceCount() {
  static int s_nCount = -1;
  if (s_nCount >= 0)
    return s_nCount;
  s_nCount = 0;
  void* h = dlopen("libcuda.so", RTLD_LAZY);
  if (!h)
    h = dlopen("libcuda.so.1", RTLD_LAZY);
  if (!h)
    return s_nCount;
  typedef int (*PFN_INIT)(unsigned int);
  typedef int (*PFN_COUNT)(int*);
  PFN_INIT pfnInit = (PFN_INIT)dlsym(h, "cuInit");
  PFN_COUNT pfnCount = (PFN_COUNT)dlsym(h, "cuDeviceGetCount");
  int n = 0;
  if (pfnInit && pfnCount && pfnInit(0) == 0 && pfnCount(&n) == 0 && n > 0)
    s_nCount = n;
  dlclose(h);
  return s_nCount;
}

const char* CUDA_3D_GetVersion() { return "1.8.0 (2017-09-05)"; }

int CKelvoApp::InitGPU() {
  m_nGPUCount = CUDA_GetDeviceCount();
  // No device backend is built in: the job always runs on host threads.
  u_Print("CUDA: GPU computing is disabled, %d GPU%s found; this build computes on the CPU.\n", m_nGPUCount,
          m_nGPUCount == 1 ? "" : "s");
  m_bUseCUDA = false;
  return 0;
}
