// Host backend: memory plan, allocation, release and the read-out of fields.
#include "Calc3D_OMP.h"

#include <sys/sysinfo.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

namespace {

double MB(double nFloats) { return nFloats * 4.0 / 1048576.0; }

// Zeroes n floats by the threads of the steps, each the share of the array
// that a static split gives it, as the steps split the planes: the pages of a
// fresh block are first touched by the thread that will compute on them.
void ZeroArray(float* p, size_t n) {
  if (!p || !n)
    return;
  const long long nChunk = 1 << 16, nChunks = (long long)((n + nChunk - 1) / nChunk);
#pragma omp parallel for schedule(static)
  for (long long c = 0; c < nChunks; c++)
    std::memset(p + c * nChunk, 0, (size_t)std::min<long long>(nChunk, (long long)n - c * nChunk) * sizeof(float));
}

// A zero-filled float block, or null for a size of 0. Throws std::bad_alloc.
float* NewZeroed(size_t n) {
  if (n == 0)
    return nullptr;
  float* p = new float[n];
  ZeroArray(p, n);
  return p;
}

// Large blocks come page-aligned from the allocator, so that the same index
// of all arrays falls into the same cache set and the streams of a step evict
// each other. Wavefield and PML blocks are therefore shifted by a different
// number of cache lines each; the shift is kept in the float before the block.
const size_t kShiftStep = 80; // floats: 320 bytes, 12 distinct positions in 4 KB
const int kShiftSlots = 12;

float* NewShifted(size_t n, int& nSlot) {
  if (n == 0)
    return nullptr;
  const size_t nShift = 16 + kShiftStep * (size_t)(nSlot++ % kShiftSlots);
  float* pRaw = new float[n + nShift];
  std::memset(pRaw, 0, nShift * sizeof(float));
  ZeroArray(pRaw + nShift, n);
  const uint32_t u = (uint32_t)nShift;
  std::memcpy(pRaw + nShift - 1, &u, sizeof(u));
  return pRaw + nShift;
}

void FreeShifted(float*& p) {
  if (!p)
    return;
  uint32_t u;
  std::memcpy(&u, p - 1, sizeof(u));
  delete[](p - u);
  p = nullptr;
}

} // namespace

CCalc3D_OMP::CCalc3D_OMP() {}

CCalc3D_OMP::~CCalc3D_OMP() { FreeMemory(true, true, true, true, true); }

int CCalc3D_OMP::GetPmlMemCount() const { return fd::PmlMemCount(GetMethod()); }

size_t CCalc3D_OMP::GetPmlMemSize(int k) const {
  switch (fd::PmlMem(k).nAxis) {
  case 0: return m_nPmlCountX;
  case 1: return m_nPmlCountY;
  default: return m_nPmlCountZ;
  }
}

void CCalc3D_OMP::SetPmlCounts() {
  if (!m_bPML) {
    m_nPmlCountX = m_nPmlCountY = m_nPmlCountZ = 0;
    return;
  }
  m_nPmlCountX = (size_t)m_nNy * m_nNz * m_nPML;
  m_nPmlCountY = (size_t)m_nNx * m_nNz * m_nPML;
  m_nPmlCountZ = (size_t)m_nNx * m_nNy * m_nPML;
}

// Physical memory plus swap, in MB.
static double MachineMemoryMB() {
  struct sysinfo si;
  if (sysinfo(&si) != 0)
    return 1e300;
  return ((double)si.totalram + (double)si.totalswap) * si.mem_unit / 1048576.0;
}

// The memory plan of a shot as printed before its arrays are allocated.
void CCalc3D_OMP::PrintMemoryPlan(int G, int C, int n, size_t S, size_t nPlane, double fModel, double fPart,
                                  double fVisco, double fSeis, double fTime, double fPml, double R, double fAvail,
                                  bool bConfigured) {
  const size_t m = GetCubeSize();
  const int L = m_nViscoL;
  const bool bBig = m_Set.m_bBigSeismogram;
  u_LinePrint(" Memory ");
  u_Print("Model grids (x,y,z)=(%dx%dx%d) %dx%1.2f MB = %1.0f MB.\n", m_nNx, m_nNy, m_nNz, G, MB((double)m), fModel);
  u_Print("Particle components (x,y,z)=(%dx%dx%d) %dx%1.2f MB = %1.0f MB.\n", m_nNx, m_nNy, m_nNz, C, MB((double)m),
          fPart);
  if (fVisco > 0)
    u_Print("Visco-elastic components, L=%d, %dx%1.2f MB = %1.0f MB.\n", L, 9 * L, MB((double)m), fVisco);
  if (fSeis > 0) {
    if (bBig)
      u_Print("Seismogram (n)=(%d) %dx%1.2f MB = %1.0f MB.\n", n, 4, MB((double)S), fSeis);
    else
      u_Print("Seismogram (n,t)=(%dx%d) %dx%1.2f MB = %1.0f MB.\n", n, (int)m_nSeisLen, 4, MB((double)S), fSeis);
  }
  if (fTime > 0)
    u_Print("Time Field Grids %1.0f MB.\n", fTime);
  if (MB((double)nPlane) > 0)
    u_Print("Additioal Grids %1.0f MB.\n", MB((double)nPlane));
  if (fPml > 0)
    u_Print("PML Grids = %1.0f MB\n", fPml);
  if (bConfigured)
    u_Print("Total Required = %1.0f MB, Available = %1.0f MB (Configured)\n", R, fAvail);
  else
    u_Print("Total Required = %1.0f MB, Available = %1.0f MB\n", R, fAvail);
  u_Line();
  u_Print("\n");
}

// Allocates every array of the method, zeroed; the wavefields and PML arrays
// on shifted starts (see NewShifted). CALC_NO_MEMORY when one fails.
int CCalc3D_OMP::AllocateArrays(size_t m, size_t nPlane, size_t nCube) {
  const int nMethod = GetMethod();
  const int L = m_nViscoL;
  int nSlot = 0;
  try {
    AllocateModelArrays(NewZeroed, m);
    if (L > 0)
      m_pViscoG = NewShifted(6 * (size_t)L * m, nSlot);
    m_pPlane = NewZeroed(nPlane);
    m_pVx = NewShifted(m, nSlot);
    m_pVy = NewShifted(m, nSlot);
    m_pVz = NewShifted(m, nSlot);
    m_pTxx = NewShifted(m, nSlot);
    if (nMethod > METHOD_ACOUSTIC) {
      m_pTyy = NewShifted(m, nSlot);
      m_pTzz = NewShifted(m, nSlot);
      m_pTxy = NewShifted(m, nSlot);
      m_pTxz = NewShifted(m, nSlot);
      m_pTyz = NewShifted(m, nSlot);
    }
    for (int i = 0; i < 2; i++) {
      if (m_nTimeFieldType & (1 << i)) {
        m_pTimeField[i] = NewZeroed(nCube);
        m_pTimeMax[i] = NewZeroed(nCube);
      }
    }
    if (m_bPML) {
      for (int k = 0; k < fd::kPmlCoefPerAxis; k++) {
        m_pPmlCoefX[k] = NewShifted(m_nPmlCountX, nSlot);
        m_pPmlCoefY[k] = NewShifted(m_nPmlCountY, nSlot);
        m_pPmlCoefZ[k] = NewShifted(m_nPmlCountZ, nSlot);
      }
      const int nMem = GetPmlMemCount();
      for (int k = 0; k < nMem; k++)
        m_pPmlMem[k] = NewShifted(GetPmlMemSize(k), nSlot);
    }
  } catch (const std::bad_alloc&) {
    u_Error("Error! Not enough memory. Please, try to increase spatial steps.\n");
    return CALC_NO_MEMORY;
  }
  m_bFieldsZero = true;
  return 0;
}

int CCalc3D_OMP::AllocateMemory(bool bEstimate, bool bQuiet) {
  if (!bEstimate)
    FreeMemory(true, true, true, true, true);

  const int nMethod = GetMethod();
  const size_t m = GetCubeSize();
  const size_t nPlane = (size_t)std::max(m_nNx, m_nNy) * m_nNz;
  const int L = m_nViscoL;
  const bool bBig = m_Set.m_bBigSeismogram;

  const int G = ModelGridCount();
  const int C = nMethod == METHOD_ACOUSTIC ? 4 : 9;

  SetPmlCounts();
  const size_t T = m_nPmlCountX + m_nPmlCountY + m_nPmlCountZ;
  const int F = fd::PmlFloatsPerSlabPoint(nMethod);
  const double fPml = m_bPML ? MB((double)F * T) : 0.0;

  const size_t n = m_vRcvIdx.size();
  const size_t S = bBig ? n : n * m_nSeisLen;
  const size_t nCube = (size_t)m_nTimeNx * m_nTimeNy * m_nTimeNz;
  int t = 0;
  for (int i = 0; i < 2; i++)
    if (m_nTimeFieldType & (1 << i))
      t++;

  const double fModel = MB((double)G * m);
  const double fPart = MB((double)C * m);
  const double fVisco = MB(3.0 * L * m) + MB(6.0 * L * m);
  const double fSeis = 4 * MB((double)S);
  const double fTime = MB(2.0 * t * nCube);
  const double R = fModel + fPart + fVisco + fSeis + fPml + fTime;

  const int nHostGB = m_Set.m_nHostMemoryGB;
  double fAvail;
  if (nHostGB > 0) {
    fAvail = nHostGB * 1024.0;
  } else {
    fAvail = (double)sysconf(_SC_PHYS_PAGES) * (double)sysconf(_SC_PAGESIZE) / 1048576.0;
  }

  if (!bQuiet)
    PrintMemoryPlan(G, C, (int)n, S, nPlane, fModel, fPart, fVisco, fSeis, fTime, fPml, R, fAvail, nHostGB > 0);

  if (bEstimate) {
    m_fMemAvailable = fAvail;
    m_fMemRequired = R;
    return 0;
  }

  if (fAvail < R)
    u_Warning("Warning! Not enough memory the on computer. Requested %g MB, but only %g MB is "
              "available.\n",
              R, fAvail);
  // Zeroing grids larger than the machine's memory and swap together would
  // only end in the kernel's out-of-memory killer: fail as an allocation does.
  if (R > MachineMemoryMB()) {
    u_Error("Error! Not enough memory. Please, try to increase spatial steps.\n");
    return CALC_NO_MEMORY;
  }

  if (AllocateArrays(m, nPlane, nCube) != 0)
    return CALC_NO_MEMORY;

  const int nLimit = m_Set.m_nMemoryLimit;
  if (nLimit > 0 && nLimit < (int)R) {
    u_Error("Error! Required memory exceeds %d MB. Compuataion stops.\n", nLimit);
    return CALC_MEMORY_LIMIT;
  }
  return 0;
}

int CCalc3D_OMP::FreeMemory(bool bModel, bool bWave, bool bSeismogram, bool bTimeField, bool bPlane) {
  if (bModel)
    FreeModelArrays();
  if (bWave) {
    float** wave[] = {&m_pVx, &m_pVy, &m_pVz, &m_pTxx, &m_pTyy, &m_pTzz, &m_pTxy, &m_pTxz, &m_pTyz, &m_pViscoG};
    for (float** p : wave)
      FreeShifted(*p);
    for (int k = 0; k < fd::kPmlCoefPerAxis; k++) {
      FreeShifted(m_pPmlCoefX[k]);
      FreeShifted(m_pPmlCoefY[k]);
      FreeShifted(m_pPmlCoefZ[k]);
    }
    for (int k = 0; k < PML_MEM_COUNT; k++)
      FreeShifted(m_pPmlMem[k]);
  }
  if (bSeismogram) {
    FreeArray(m_pSeisX);
    FreeArray(m_pSeisY);
    FreeArray(m_pSeisZ);
    FreeArray(m_pSeisC);
    m_Spill.Release();
  }
  if (bTimeField) {
    for (int i = 0; i < 2; i++) {
      FreeArray(m_pTimeField[i]);
      FreeArray(m_pTimeMax[i]);
    }
  }
  if (bPlane)
    FreeArray(m_pPlane);
  return 0;
}

int CCalc3D_OMP::LoadModel() {
  const size_t m = GetCubeSize();
  // Fields and memories just allocated are zero already; a second shot on
  // the same arrays starts from zero again.
  if (!m_bFieldsZero) {
    float* fields[] = {m_pVx, m_pVy, m_pVz, m_pTxx, m_pTyy, m_pTzz, m_pTxy, m_pTxz, m_pTyz};
    for (float* p : fields)
      ZeroArray(p, m);
    ZeroArray(m_pViscoG, 6 * (size_t)std::max(m_nViscoL, 0) * m);
    if (m_bPML)
      for (int k = 0; k < PML_MEM_COUNT; k++)
        ZeroArray(m_pPmlMem[k], GetPmlMemSize(k));
  }
  m_bFieldsZero = false;

  const size_t n = m_vRcvIdx.size();
  const size_t nRows = m_Spill.IsWriting() ? n : n * m_nSeisLen;
  ZeroArray(m_pSeisX, nRows);
  ZeroArray(m_pSeisY, nRows);
  ZeroArray(m_pSeisZ, nRows);
  ZeroArray(m_pSeisC, nRows);
  return 0;
}

float* CCalc3D_OMP::GrabTimeField(int nType) {
  if (nType < 0 || nType > 1)
    return nullptr;
  return m_pTimeField[nType];
}

float* CCalc3D_OMP::Grab3DSnapshot(CCubeN& box, C3DSizeN& size, char cComponent) {
  const fd::TSnapSource src = fd::SnapSource(Fields(), cComponent);
  if (!src.a || size.cx <= 0 || size.cy <= 0 || size.cz <= 0)
    return nullptr;
  const fd::TSnapCube c = SnapCube(box, size);
  float* pOut = new (std::nothrow) float[c.sx * c.sy * size.cz];
  if (!pOut) {
    u_Error("Error! Unable to allocate temporary memory for 3D Snapshots.\n");
    return nullptr;
  }
#pragma omp parallel for schedule(static)
  for (int k = 0; k < size.cz; k++)
    for (size_t j = 0; j < c.sy; j++)
      for (size_t i = 0; i < c.sx; i++)
        pOut[((size_t)k * c.sy + j) * c.sx + i] = fd::Snap3DCell(src, c, i, j, k);
  return pOut;
}

float* CCalc3D_OMP::Grab2DSnapshot(char cPlane, char cComponent) {
  const fd::TSnapSource src = fd::SnapSource(Fields(), cComponent);
  if (!src.a || !m_pPlane)
    return nullptr;
  const size_t nxy = (size_t)m_nNx * m_nNy;
  const int nFixed = Snap2DPosition(cPlane);
  if (cPlane == 'Y') {
    for (int z = 0; z < m_nNz; z++)
      for (int y = 0; y < m_nNy; y++)
        m_pPlane[y + (size_t)m_nNy * z] = src.Value(z * nxy + (size_t)y * m_nNx + nFixed);
  } else {
    for (int z = 0; z < m_nNz; z++)
      for (int x = 0; x < m_nNx; x++)
        m_pPlane[x + (size_t)m_nNx * z] = src.Value(z * nxy + (size_t)nFixed * m_nNx + x);
  }
  return m_pPlane;
}

int CCalc3D_OMP::GetCalcPlane(int nField, int nZ0, int /*nZ1*/, float** ppData, bool /*bZero*/) {
  float* pField = nullptr;
  switch (nField) {
  case FIELD_VX: pField = m_pVx; break;
  case FIELD_VY: pField = m_pVy; break;
  case FIELD_VZ: pField = m_pVz; break;
  case FIELD_TZZ: pField = m_pTzz; break;
  case FIELD_TXX: pField = m_pTxx; break;
  case FIELD_TYY: pField = m_pTyy; break;
  case FIELD_TXY: pField = m_pTxy; break;
  case FIELD_TXZ: pField = m_pTxz; break;
  case FIELD_TYZ: pField = m_pTyz; break;
  default: break;
  }
  if (!pField) {
    if (ppData)
      *ppData = nullptr;
    return CALC_NO_FIELD;
  }
  *ppData = pField + (size_t)m_nNx * m_nNy * nZ0;
  return 0;
}

int CCalc3D_OMP::SetCalcPlane(int, int, int, float*) { return 0; }

void CCalc3D_OMP::FreeCalcPlane(float**) {}

int CCalc3D_OMP::StepNotBuilt(const char* szStep) {
  u_Error("Error! %s is not available in the host backend for modelling method %d.\n", szStep, GetMethod());
  return CALC_NO_FIELD;
}
