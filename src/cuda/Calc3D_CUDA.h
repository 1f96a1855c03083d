// Device backend of the 3-D engine: the model is built on the host as for
// the threaded backend, copied to the device at LoadModel, and the wavefields
// live only on the device. Each operation calls the device layer
// (kelvo_cuda.h) and turns its error codes into messages.
#pragma once

#include "calc3d/Calc3D.h"

class CCalc3D_CUDA : public CCalc3D {
public:
  CCalc3D_CUDA();
  ~CCalc3D_CUDA() override;

  int AllocateMemory(bool bEstimate, bool bQuiet) override;
  int AllocateMemorySeismogram() override;
  int FreeMemory(bool bModel, bool bWave, bool bSeismogram, bool bTimeField, bool bPlane) override;
  int LoadModel() override;
  int ApplySignal(int nStep) override;
  int PropagateAcoWaveU(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) override;
  int PropagateAcoWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) override;
  int PropagateElaWaveU(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) override;
  int PropagateElaWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) override;
  int PropagateOrtWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) override;
  int PropagateAniWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) override;
  int PropagateTimeField() override;
  int RecordSeismogram() override;
  float* GrabShotgather(char cComponent) override;
  float* Grab2DSnapshot(char cPlane, char cComponent) override;
  float* Grab3DSnapshot(CCubeN& box, C3DSizeN& size, char cComponent) override;
  float* GrabTimeField(int nType) override;
  int GetCalcPlane(int nField, int nZ0, int nZ1, float** ppData, bool bZero) override;
  int SetCalcPlane(int nField, int nZ0, int nZ1, float* pData) override;
  void FreeCalcPlane(float** ppData) override;

  // Memory a shot needs, in MB: on the host (model cubes, PML profiles,
  // buffers) and on the device (model, wavefields, PML, gather, time cubes).
  double HostNeedMB() const;
  double DeviceNeedMB() const;
  // MB the device offers: the task's GpuMemoryGB, else what the driver says.
  double DeviceAvailableMB() const;

  // Host copies of one gather component and of one arrival-time cube.
  float* m_pHostGather = nullptr;
  float* m_pHostTimeField = nullptr;

private:
  // Reports a failed device call (message, then its explanation) and passes
  // the code on.
  int Fail(int nCode, const char* szMessage) const;
  // Reports a failed grab: the instability warning for a diverged result
  // (-150), the message and its explanation for another code.
  bool GrabFailed(int nCode, const char* szMessage) const;
  int Step(bool bU, int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1, bool bSuppressSV, float fSuppress);
  void PrintMemoryPlan(double fHost, double fHostAvail, double fDevice, double fDeviceAvail) const;
  int AllocateHostArrays();
};
