// Device backend: memory plan, copies to and from the device, and the
// operations of a shot as calls into the device layer.
#include "cuda/Calc3D_CUDA.h"

#include <unistd.h>

#include <algorithm>
#include <new>

#include "cuda/kelvo_cuda.h"
#include "os.h"

namespace {

double MB(double nFloats) { return nFloats * 4.0 / 1048576.0; }

float* NewZeroed(size_t n) { return n ? new float[n]() : nullptr; }

} // namespace

CCalc3D_CUDA::CCalc3D_CUDA() {}

CCalc3D_CUDA::~CCalc3D_CUDA() { FreeMemory(true, true, true, true, true); }

int CCalc3D_CUDA::Fail(int nCode, const char* szMessage) const {
  u_Line();
  u_Error("%s", szMessage);
  u_Error("DETAILS: %s\n", CUDA_Error_Explain(nCode, nullptr));
  u_Line();
  return nCode;
}

double CCalc3D_CUDA::HostNeedMB() const {
  const double m = (double)GetCubeSize();
  const int G = ModelGridCount();
  const double S = (double)m_vRcvIdx.size() * m_nSeisLen;
  const double P = (double)std::max(m_nNx, m_nNy) * m_nNz;
  const double T = (double)(m_nPmlCountX + m_nPmlCountY + m_nPmlCountZ);
  const double fCube = m_nTimeFieldType ? (double)m_nTimeNx * m_nTimeNy * m_nTimeNz : 0.0;
  return MB(G * m) + MB(3.0 * m_nViscoL * m) + 2 * MB(S) + MB(P) + MB(8 * T) + MB(fCube);
}

double CCalc3D_CUDA::DeviceNeedMB() const {
  const double m = (double)GetCubeSize();
  const int nMethod = GetMethod();
  const int G = ModelGridCount();
  const int C = nMethod == METHOD_ACOUSTIC ? 4 : 9;
  const double S = (double)m_vRcvIdx.size() * m_nSeisLen;
  const double T = (double)(m_nPmlCountX + m_nPmlCountY + m_nPmlCountZ);
  const int F = fd::PmlFloatsPerSlabPoint(nMethod);
  int t = 0;
  for (int i = 0; i < 2; i++)
    t += (m_nTimeFieldType >> i) & 1;
  const double fCube = (double)m_nTimeNx * m_nTimeNy * m_nTimeNz;
  return MB(G * m) + MB(C * m) + MB(9.0 * m_nViscoL * m) + MB(4 * S) + MB(F * T) + MB(2.0 * t * fCube);
}

double CCalc3D_CUDA::DeviceAvailableMB() const {
  if (m_Set.m_nGpuMemoryGB > 0)
    return m_Set.m_nGpuMemoryGB * 1024.0;
  const int d = m_Set.m_nDevice;
  return d >= 0 && d < (int)os::m_arCUDA_Memory.size() ? os::m_arCUDA_Memory[d] : 0.0;
}

void CCalc3D_CUDA::PrintMemoryPlan(double fHost, double fHostAvail, double fDevice, double fDeviceAvail) const {
  const double m = (double)GetCubeSize();
  u_LinePrint(" Memory on Host ");
  u_Print("Model grids (x,y,z)=(%dx%dx%d) %1.2f MB a grid.\n", m_nNx, m_nNy, m_nNz, MB(m));
  u_Print("Total Required = %1.0f MB, Available = %1.0f MB%s\n", fHost, fHostAvail,
          m_Set.m_nHostMemoryGB > 0 ? " (Configured)" : "");
  u_Line();
  u_LinePrint(" Memory on GPU ");
  const double S = (double)m_vRcvIdx.size() * m_nSeisLen;
  if (S > 0)
    u_Print("Seismogram (n,t)=(%dx%d) %dx%1.2f MB = %1.0f MB.\n", (int)m_vRcvIdx.size(), (int)m_nSeisLen, 4, MB(S),
            MB(4 * S));
  if (fDeviceAvail <= 0)
    u_Print("Total Required = %1.0f MB\n", fDevice);
  else
    u_Print("Total Required = %1.0f MB, Available = %1.0f MB%s\n", fDevice, fDeviceAvail,
            m_Set.m_nGpuMemoryGB > 0 ? " (Configured)" : "");
  u_Print("\n");
}

int CCalc3D_CUDA::AllocateHostArrays() {
  const size_t m = GetCubeSize();
  try {
    AllocateModelArrays(NewZeroed, m);
    m_pPlane = NewZeroed((size_t)std::max(m_nNx, m_nNy) * m_nNz);
    if (m_nTimeFieldType)
      m_pHostTimeField = NewZeroed((size_t)m_nTimeNx * m_nTimeNy * m_nTimeNz);
    if (m_bPML)
      for (int k = 0; k < fd::kPmlCoefPerAxis; k++) {
        m_pPmlCoefX[k] = NewZeroed(m_nPmlCountX);
        m_pPmlCoefY[k] = NewZeroed(m_nPmlCountY);
        m_pPmlCoefZ[k] = NewZeroed(m_nPmlCountZ);
      }
  } catch (const std::bad_alloc&) {
    u_Error("Error! Not enough memory. Please, try to increase spatial steps.\n");
    return 1;
  }
  return 0;
}

int CCalc3D_CUDA::AllocateMemory(bool bEstimate, bool bQuiet) {
  if (!bEstimate)
    FreeMemory(true, true, true, true, true);
  if (m_bPML) {
    m_nPmlCountX = (size_t)m_nNy * m_nNz * m_nPML;
    m_nPmlCountY = (size_t)m_nNx * m_nNz * m_nPML;
    m_nPmlCountZ = (size_t)m_nNx * m_nNy * m_nPML;
  } else {
    m_nPmlCountX = m_nPmlCountY = m_nPmlCountZ = 0;
  }
  const double fHost = HostNeedMB(), fDevice = DeviceNeedMB();
  const double fHostAvail = m_Set.m_nHostMemoryGB > 0
                                ? m_Set.m_nHostMemoryGB * 1024.0
                                : (double)sysconf(_SC_PHYS_PAGES) * (double)sysconf(_SC_PAGESIZE) / 1048576.0;
  const double fDeviceAvail = DeviceAvailableMB();
  if (!bQuiet)
    PrintMemoryPlan(fHost, fHostAvail, fDevice, fDeviceAvail);
  if (bEstimate) {
    m_fMemAvailable = fDeviceAvail;
    m_fMemRequired = fDevice;
    return 0;
  }
  if (fHost > fHostAvail) {
    u_Error("Error! Not enough memory on the computer. Requested %g MB, but only %g MB is available.\n", fHost,
            fHostAvail);
    return 1;
  }
  if (fDeviceAvail > 0 && fDeviceAvail < fDevice) {
    u_Error("Error! Not enough memory on the GPU card. Requested %g MB, but only %g MB is available.\n", fDevice,
            fDeviceAvail);
    return 1;
  }
  if (AllocateHostArrays() != 0)
    return 1;
  const bool bPlane = m_nSnapEvery == 1 || (m_nSnapEvery > 0 && (m_nShot - 1) % m_nSnapEvery == 0);
  const int rc = CUDA_3DFD_AllocateMemory(GetMethod(), m_nFrame, m_nNx, m_nNy, m_nNz, m_nZ0, m_nNzAll, m_nViscoL,
                                          bPlane, m_pQ && m_nViscoL == 0);
  if (rc != 0)
    return Fail(rc, "Error! CUDA: Unable to allocate memory on GPU device!\n");
  return 0;
}

int CCalc3D_CUDA::AllocateMemorySeismogram() {
  const size_t n = m_vRcvIdx.size();
  FreeArray(m_pHostGather);
  if (m_nSeisLen * n > 0) {
    m_pHostGather = new (std::nothrow) float[m_nSeisLen * n]();
    if (!m_pHostGather) {
      u_Error("Error! Not enough memory. Please, try to increase spatial steps.\n");
      return 1;
    }
  }
  // The excitation points go to the device even for a shot without receivers.
  const int rc = CUDA_3DFD_AllocateMemorySeismogram((int)m_vShotPoints.size(), (int)n, (int)m_nSeisLen);
  if (rc != 0)
    return Fail(rc, "Error! CUDA: Unable to allocate memory for seismogram on GPU device!\n");
  return 0;
}

int CCalc3D_CUDA::FreeMemory(bool bModel, bool bWave, bool bSeismogram, bool bTimeField, bool bPlane) {
  if (bModel) {
    FreeModelArrays();
    for (int k = 0; k < fd::kPmlCoefPerAxis; k++) {
      FreeArray(m_pPmlCoefX[k]);
      FreeArray(m_pPmlCoefY[k]);
      FreeArray(m_pPmlCoefZ[k]);
    }
  }
  if (bPlane) {
    FreeArray(m_pPlane);
    FreeArray(m_pHostGather);
  }
  if (bTimeField)
    FreeArray(m_pHostTimeField);
  CUDA_3DFD_FreeMemory(bModel, bWave, bSeismogram, bTimeField, bPlane);
  return 0;
}

int CCalc3D_CUDA::LoadModel() {
  int rc = 0;
  if (m_bPML) {
    float* const coef[3][8] = {{m_pPmlCoefX[0], m_pPmlCoefX[1], m_pPmlCoefX[2], m_pPmlCoefX[3], m_pPmlCoefX[4],
                                m_pPmlCoefX[5], m_pPmlCoefX[6], m_pPmlCoefX[7]},
                               {m_pPmlCoefY[0], m_pPmlCoefY[1], m_pPmlCoefY[2], m_pPmlCoefY[3], m_pPmlCoefY[4],
                                m_pPmlCoefY[5], m_pPmlCoefY[6], m_pPmlCoefY[7]},
                               {m_pPmlCoefZ[0], m_pPmlCoefZ[1], m_pPmlCoefZ[2], m_pPmlCoefZ[3], m_pPmlCoefZ[4],
                                m_pPmlCoefZ[5], m_pPmlCoefZ[6], m_pPmlCoefZ[7]}};
    const size_t nCount[3] = {m_nPmlCountX, m_nPmlCountY, m_nPmlCountZ};
    rc = CUDA_3DFD_LoadPML(GetMethod(), m_nPML, m_nStart, coef, nCount);
  } else {
    rc = CUDA_3DFD_LoadPML(GetMethod(), 0, m_nStart, nullptr, nullptr);
  }
  if (rc != 0)
    return Fail(rc, "Error! CUDA: Unable to copy PML profiles from HOST to DEVICE memory!\n");

  if (GetMethod() >= METHOD_ORTHORHOMBIC) {
    const float* const pC[21] = {m_pC11, m_pC12, m_pC13, m_pC22, m_pC23, m_pC33, m_pC44, m_pC55, m_pC66, m_pC14, m_pC15,
                                 m_pC16, m_pC24, m_pC25, m_pC26, m_pC34, m_pC35, m_pC36, m_pC45, m_pC46, m_pC56};
    rc = CUDA_3DFD_LoadAnisotropicModel(GetMethod() == METHOD_ANISOTROPIC ? 21 : 9, pC);
    if (rc != 0)
      return Fail(rc, "Error! CUDA: Unable to copy model from HOST to DEVICE memory!\n");
  }
  const fd::TMoment k{m_fK11, m_fK22, m_fK33, m_fK12, m_fK13, m_fK23};
  const bool bTauK = !m_vShotTauK.empty() && m_vShotTauK.size() >= m_vShotPoints.size();
  rc = CUDA_3DFD_LoadData((float)m_fH, (float)m_fDt, k, m_pK, m_pMu, m_pB, m_nViscoL == 0 ? m_pQ : nullptr, m_pVisco,
                          m_nSourceType, (int)m_vShotPoints.size(), m_vShotPoints.data(),
                          m_vRcvIdx.empty() ? nullptr : m_vRcvIdx.data(), m_Signal.m_pSignal, m_fDamp,
                          bTauK ? m_vShotTauK.data() : nullptr);
  if (rc != 0)
    return Fail(rc, "Error! CUDA: Unable to copy model from HOST to DEVICE memory!\n");

  if (m_nTimeFieldType) {
    rc = CUDA_3DFD_TimeFieldInit(TimeFieldGrid(), m_nTimeFieldType, m_nTimeNz);
    if (rc != 0)
      return Fail(rc, CString(0, "Error! CUDA: Unable to init Time Field Cube (%d, %d, %d)!\n", m_nTimeNx, m_nTimeNy,
                              m_nTimeNz));
  }
  return 0;
}

int CCalc3D_CUDA::ApplySignal(int nStep) {
  if (!m_Signal.m_pSignal || nStep < 0 || nStep >= m_Signal.m_nLen)
    return 0;
  const int rc = CUDA_3DFD_ApplySignal((size_t)nStep);
  if (rc != 0) {
    Fail(rc, CString(0, "Error! CUDA: Unable to apply signal on step %d.\n", nStep));
  }
  return rc;
}

bool CCalc3D_CUDA::GrabFailed(int nCode, const char* szMessage) const {
  if (nCode == CALC_UNSTABLE)
    u_Warning("!!!WARNING: The calculation scheme is unstable: further calculations are impossible! Please "
              "decrease dt.\n");
  else if (nCode != 0)
    Fail(nCode, szMessage);
  return nCode != 0;
}

int CCalc3D_CUDA::Step(bool bU, int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1, bool bSuppressSV,
                       float fSuppress) {
  const int rc = CUDA_3DFD_ModelStep(bU, bSuppressSV, nZ0, nY0, nX0, nZ1, nY1, nX1, fSuppress);
  if (rc == 0)
    return 0;
  return Fail(rc, bU ? "Error! CUDA: Unable to run simulation step (U).\n"
                     : "Error! CUDA: Unable to run simulation step (Tau).\n");
}

int CCalc3D_CUDA::PropagateAcoWaveU(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  return Step(true, nZ0, nY0, nX0, nZ1, nY1, nX1, true, 1.0f);
}

int CCalc3D_CUDA::PropagateAcoWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  return Step(false, nZ0, nY0, nX0, nZ1, nY1, nX1, false, 1.0f);
}

int CCalc3D_CUDA::PropagateElaWaveU(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  return Step(true, nZ0, nY0, nX0, nZ1, nY1, nX1, m_bSuppressSV, m_fSuppress);
}

int CCalc3D_CUDA::PropagateElaWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  return Step(false, nZ0, nY0, nX0, nZ1, nY1, nX1, m_bSuppressSV, m_fSuppress);
}

int CCalc3D_CUDA::PropagateOrtWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  return Step(false, nZ0, nY0, nX0, nZ1, nY1, nX1, m_bSuppressSV, m_fSuppress);
}

int CCalc3D_CUDA::PropagateAniWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  return Step(false, nZ0, nY0, nX0, nZ1, nY1, nX1, m_bSuppressSV, m_fSuppress);
}

int CCalc3D_CUDA::PropagateTimeField() {
  const int rc = CUDA_3DFD_TimeFieldPropagate((float)m_fTime, TimeFieldGrid().nAddZ0);
  return rc == 0 ? 0 : Fail(rc, "Error! CUDA: Unable to propagate Time Field.\n");
}

int CCalc3D_CUDA::RecordSeismogram() {
  if (m_nSeisStep >= m_nSeisLen || m_vRcvIdx.empty())
    return 0;
  const int rc = CUDA_3DFD_RecordSeismogram(m_nSeisStep);
  if (rc != 0)
    return Fail(rc, "Error! CUDA: Unable to record seismogram.\n");
  m_nSeisStep++;
  return 0;
}

float* CCalc3D_CUDA::GrabShotgather(char cComponent) {
  if (!m_pHostGather)
    return nullptr;
  const int rc = CUDA_3DFD_GrabShotgather(m_pHostGather, cComponent);
  return GrabFailed(rc, CString(0, "Error! CUDA: Unable to copy seismogram (%c) from DEVICE to HOST.\n", cComponent))
             ? nullptr
             : m_pHostGather;
}

float* CCalc3D_CUDA::Grab2DSnapshot(char cPlane, char cComponent) {
  if (!m_pPlane)
    return nullptr;
  const int rc = CUDA_3DFD_Grab2DSnapshot(m_pPlane, cPlane, cComponent, Snap2DPosition(cPlane));
  return GrabFailed(rc, CString(0, "Error! CUDA: Unable to copy 2D snapshot (%c) from DEVICE to HOST.\n", cComponent))
             ? nullptr
             : m_pPlane;
}

float* CCalc3D_CUDA::Grab3DSnapshot(CCubeN& box, C3DSizeN& size, char cComponent) {
  if (size.cx <= 0 || size.cy <= 0 || size.cz <= 0)
    return nullptr;
  const size_t n = (size_t)size.cx * size.cy * size.cz;
  float* p = new (std::nothrow) float[n];
  if (!p) {
    u_Error("Error! Unable to allocate temporary host memory for 3D Snapshot (%g MB).\n", MB((double)n));
    return nullptr;
  }
  const int rc = CUDA_3DFD_Grab3DSnapshot(p, SnapCube(box, size), size.cz, cComponent);
  if (rc != 0) {
    delete[] p;
    Fail(rc, CString(0, "Error! CUDA: Unable to copy 3D snapshot (%c) from DEVICE to HOST.\n", cComponent));
    return nullptr;
  }
  return p;
}

float* CCalc3D_CUDA::GrabTimeField(int nType) {
  if (!m_pHostTimeField)
    return nullptr;
  const int rc = CUDA_3DFD_TimeFieldGrabCube(m_pHostTimeField, nType);
  if (rc != 0) {
    Fail(rc, "Error! CUDA: Unable to copy Time Field from DEVICE to HOST.\n");
    return nullptr;
  }
  return m_pHostTimeField;
}

int CCalc3D_CUDA::GetCalcPlane(int nField, int nZ0, int nZ1, float** ppData, bool bZero) {
  const size_t n = (size_t)m_nNx * m_nNy * (nZ1 - nZ0 + 1);
  if (!*ppData) {
    *ppData = new (std::nothrow) float[n];
    if (!*ppData) {
      u_Error("Error! Memory Allocation Error on host (Temp grid memory).\n");
      return -1;
    }
  }
  if (bZero) {
    std::fill(*ppData, *ppData + n, 0.0f);
    return 0;
  }
  const int rc = CUDA_3DFD_GetCalcPlane(nField, nZ0, nZ1, *ppData);
  if (rc != 0) {
    u_Line();
    u_Error("DETAILS: %s\n", CUDA_Error_Explain(rc, nullptr));
    u_Line();
  }
  return rc;
}

int CCalc3D_CUDA::SetCalcPlane(int nField, int nZ0, int nZ1, float* pData) {
  const int rc = CUDA_3DFD_SetCalcPlane(nField, nZ0, nZ1, pData);
  if (rc != 0) {
    u_Line();
    u_Error("DETAILS: %s\n", CUDA_Error_Explain(rc, nullptr));
    u_Line();
  }
  return rc;
}

void CCalc3D_CUDA::FreeCalcPlane(float** ppData) {
  if (ppData && *ppData) {
    delete[] * ppData;
    *ppData = nullptr;
  }
}
