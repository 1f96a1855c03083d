// Choice and check of the CUDA device of a process, before the calculation
// object is made. A machine without a device is no error: the job runs on
// host threads.
#include <exception>

#include "common.h"
#include "cuda/kelvo_cuda.h"
#include "os.h"
#include "run/KelvoApp.h"

namespace {

// The device checks after the count; 0 when the run may go on.
int AcquireDevice(CKelvoApp& app) {
  u_Print("CUDA: Found %d GPU card%s! Using module version %s...\n", app.m_nGPUCount, app.m_nGPUCount > 1 ? "s" : "",
          CUDA_3D_GetVersion());
  if (app.m_nDevice >= app.m_nGPUCount || app.m_nDevice < 0) {
    u_Line();
    u_Print("CUDA: Requested device #%d is out of range. CUDA devices available in range 0..%d.\n", app.m_nDevice,
            app.m_nGPUCount - 1);
    u_Line();
    app.m_bUseCUDA = false;
    return 1;
  }
  app.m_nDevice = CUDA_SpreadDevice(app.m_nDevice, app.m_nGPUCount, app.m_nNode, app.m_nSize);
  const int rc = CUDA_SetDevice(app.m_nDevice);
  if (rc != 0) {
    u_Line();
    u_Print("CUDA: FAILED to acquire GPU CUDA device #%d (error %d)!\n", app.m_nDevice, rc);
    u_Print("DETAILS: %s\n", CUDA_Error_Explain(rc, nullptr));
    u_Line();
    app.m_bUseCUDA = false;
    return 1;
  }
  u_Print("CUDA: Using GPU Device #%d: %s\n", app.m_nDevice, CUDA_GetDeviceName(app.m_nDevice));
  // The build carries device code for no capability below its lowest target.
  const double fCap = CUDA_GetDeviceCapability(app.m_nDevice);
  const double fMin = CUDA_MinCapability();
  if (fCap < fMin) {
    u_Error("CUDA: GPU compute capability %g is not supported! Minimum %.1f required.\n", fCap, fMin);
    return 1;
  }
  u_Print("CUDA: Compute capability %.1f - OK\n", fCap);
  const double fDriver = CUDA_GetDriverVersion(app.m_nDevice);
  if (fDriver >= 4.0)
    u_Print("CUDA: Driver version %.1f - OK\n", fDriver);
  else
    u_Warning("CUDA: Driver version %.1f is too old! Minimum 4.0 is required. Continue at your own risk.\n", fDriver);
  const double fRuntime = CUDA_GetRuntimeVersion(app.m_nDevice);
  if (fRuntime >= 4.0)
    u_Print("CUDA: Runtime version %.1f - OK\n", fRuntime);
  else
    u_Warning("CUDA: Runtime version %.1f is too old! Minimum 4.0 is required. Continue at your own risk.\n", fRuntime);
  if (CUDA_IsCalcTestOK() == 0) {
    u_Print("CUDA: Test calculation on GPU - OK\n");
    return 0;
  }
  u_Line();
  u_Print("CUDA: Failed to run a test calculation! Possible causes:\n");
  u_Print("      1. NVidia CUDA driver is not installed.\n");
  u_Print("      2. The GPU card is not CUDA 2.0 computation compatible.\n");
  u_Line();
  app.m_bUseCUDA = false;
  return 1;
}

} // namespace

int CKelvoApp::InitGPU() {
  try {
    m_nGPUCount = 0;
    os::GetCUDADeviceCount();
    m_nGPUCount = CUDA_GetDeviceCount();
    if (m_nGPUCount < 1) {
      u_Print("CUDA: GPU computing is disabled, %d GPUs found; the job runs on CPU threads.\n", m_nGPUCount);
      m_bUseCUDA = false;
      return 0;
    }
    return AcquireDevice(*this);
  } catch (const std::exception&) {
    u_Print("CUDA: Error initializing CUDA environment! Continue using CPU...\n");
    m_bUseCUDA = false;
    return 0;
  }
}
