// The device layer of a shot: one process drives one device and one shot at
// a time, so its state lives in records at file level. Every function is
// synchronous towards the caller and returns 0 or an error code; the last
// CUDA error is kept in g_nLastError.
//
// The steps are the policies of FDAcoustic.h, FDElastic.h and
// FDAnisotropic.h run by the tile traversal of FDTile.h; sources, gathers, arrival times and snapshots use
// FDPointOps.h: the device computes what the host computes, with the same formulas.
#include <cuda_runtime.h>

#include <cstring>

#include "calc3d/FDAcoustic.h"
#include "calc3d/FDAnisotropic.h"
#include "calc3d/FDElastic.h"
#include "cuda/FDTile.h"
#include "cuda/kelvo_cuda.h"
#include "survey/ShotPoint.h"

int g_nLastError = 0;

namespace {

// The wavefields and coefficients of the shot on the device.
struct TMesh3D {
  int nMethod, nFrame, nNx, nNy, nNz, nZ0, nNzAll, nViscoL;
  int nPML, nStart; // PML layers (0: the taper frame) and halo
  size_t m;         // points of the local grid
  float fH, fDt;
  float* f[9]; // Vx, Vy, Vz, Txx, Tyy, Tzz, Txy, Txz, Tyz
  float *pK, *pMu, *pB, *pQ, *pPlane, *pDamp;
  float* pC[21];  // stiffnesses: C11 C12 C13 C22 C23 C33 C44 C55 C66, then C14 .. C56
  float* pVisco;  // L records (tauP, tauS, tauSigma) a point
  float* pViscoG; // L records of six memories a point
  size_t nPlane;
  float* pPmlCoef[3][fd::kPmlCoefPerAxis];
  float* pPmlMem[fd::kPmlMemMax];
  C3DShotPoint* pPoints;
  int nPoints;
  CShotTauK* pTauK;
  fd::TMoment moment;
  int nSourceType;
  const float* pSignal; // host samples, not owned
};

// The gather rows: receiver r of sample s at s * nRcv + r.
struct TMesh3DSeism {
  int nLen, nRcv;
  size_t* pIdx;
  float* pRow[4]; // X, Y, Z, C
};

// The arrival-time cubes: best value and arrival time of each type.
struct TMesh3DTime {
  fd::TTimeGrid g;
  int nType, nTimeNz;
  size_t nCube;
  float* pTime[2];
  float* pMax[2];
};

TMesh3D a;
TMesh3DSeism seis_h;
TMesh3DTime a3Time;

int CheckError() {
  const cudaError_t e = cudaGetLastError();
  if (e != cudaSuccess)
    g_nLastError = (int)e;
  return (int)e;
}

int Synchronize() {
  cudaDeviceSynchronize();
  return CheckError();
}

// A zeroed device block of n elements (null for 0).
template <typename T> int DevAlloc(T*& p, size_t n) {
  p = nullptr;
  if (n == 0)
    return 0;
  if (cudaMalloc((void**)&p, n * sizeof(T)) != cudaSuccess || cudaMemset(p, 0, n * sizeof(T)) != cudaSuccess) {
    const int rc = CheckError();
    cudaFree(p);
    p = nullptr;
    return rc ? rc : (int)cudaErrorMemoryAllocation;
  }
  return 0;
}

template <typename T> void DevFree(T*& p) {
  if (p)
    cudaFree(p);
  p = nullptr;
}

int Upload(void* pDev, const void* pHost, size_t nBytes) {
  if (!pDev || !pHost || nBytes == 0)
    return 0;
  if (cudaMemcpy(pDev, pHost, nBytes, cudaMemcpyHostToDevice) != cudaSuccess)
    return CheckError();
  return 0;
}

int Download(void* pHost, const void* pDev, size_t nBytes) {
  if (cudaMemcpy(pHost, pDev, nBytes, cudaMemcpyDeviceToHost) != cudaSuccess)
    return CheckError();
  return 0;
}

fd::TWaveFields Fields() {
  return fd::TWaveFields{a.f[0], a.f[1], a.f[2], a.f[3], a.f[4], a.f[5], a.f[6], a.f[7], a.f[8], a.pB};
}

// -150 where a block copied to the host holds a diverged value.
int ScanDiverged(const float* p, size_t n) {
  for (size_t i = 0; i < n; i++)
    if (fd::IsDivergedBits(p[i]))
      return -150;
  return 0;
}

// ---- Steps -------------------------------------------------------------

template <class P>
__global__ void __launch_bounds__(fd::kTileX* fd::kTileY)
    StepKernel(const fd::TFdStep<P> c, const fd::TStepBox b, const fd::TInterior in) {
  fd::TileColumn(c, b, in, blockIdx.x, blockIdx.y, blockIdx.z, threadIdx.x, threadIdx.y);
}

template <class P> fd::TFdStep<P> MakeStep(const P& ph) {
  fd::TFdStep<P> c{};
  c.ph = ph;
  c.g = fd::MakeFdGrid(a.nNx, a.nNy, a.nNz, a.nNzAll, a.nZ0, a.nPML > 0, a.nPML, a.nStart, a.nFrame, a.pDamp);
  float* const* const coef[3] = {a.pPmlCoef[0], a.pPmlCoef[1], a.pPmlCoef[2]};
  fd::SetPmlSides(c, a.pPmlMem, coef);
  return c;
}

template <class P> int Launch(const fd::TFdStep<P>& c, const fd::TStepBox& b) {
  const fd::TTileCount t = fd::TilesOf(b);
  if (t.nx == 0)
    return 0;
  StepKernel<P><<<dim3(t.nx, t.ny, t.nz), dim3(fd::kTileX, fd::kTileY)>>>(c, b, fd::InteriorOf(c.g));
  return CheckError();
}

template <class P> int LaunchStep(const P& ph, const fd::TStepBox& b) { return Launch(MakeStep(ph), b); }

fd::CAcoVelocity AcoVelocity() {
  fd::CAcoVelocity ph;
  ph.vx = a.f[0];
  ph.vy = a.f[1];
  ph.vz = a.f[2];
  ph.p = a.f[3];
  ph.b = a.pB;
  return ph;
}

fd::CAcoPressure AcoPressure() {
  fd::CAcoPressure ph;
  ph.vx = a.f[0];
  ph.vy = a.f[1];
  ph.vz = a.f[2];
  ph.p = a.f[3];
  ph.k = a.pK;
  return ph;
}

// The settings of a step of the elastic media.
struct TStepMode {
  bool bSuppressSV;
  float fSuppress;
};

void FillStress(fd::CStressFields& f, const TStepMode& m) {
  f.SetFields(Fields(), (ptrdiff_t)a.nNx * a.nNy);
  f.q = a.pQ;
  f.visco = a.pVisco;
  f.viscoG = a.pViscoG;
  f.L = a.nViscoL;
  f.dt = a.fDt;
  f.s = m.fSuppress;
  f.bSurface = !m.bSuppressSV;
}

int LaunchElaVelocity(const fd::TStepBox& b, const TStepMode& m) {
  return LaunchStep(fd::ElaVelocityOf(Fields(), (ptrdiff_t)a.nNx * a.nNy, !m.bSuppressSV), b);
}

// The stress steps of the three elastic media in one mode.
template <int MODE> int LaunchElaStress(const fd::TStepBox& b, const TStepMode& m) {
  fd::TElaStress<MODE> ph;
  FillStress(ph, m);
  ph.k = a.pK;
  ph.mu = a.pMu;
  return LaunchStep(ph, b);
}

template <class P> void SetOrtho(P& ph, const TStepMode& m) {
  FillStress(ph, m);
  for (int k = 0; k < 9; k++)
    ph.c[k] = a.pC[k];
}

template <int MODE> int LaunchOrtStress(const fd::TStepBox& b, const TStepMode& m) {
  fd::TOrtStress<MODE> ph;
  SetOrtho(ph, m);
  return LaunchStep(ph, b);
}

template <int MODE> int LaunchAniStress(const fd::TStepBox& b, const TStepMode& m) {
  using P = fd::TAniStress<MODE>;
  P ph;
  SetOrtho(ph, m);
  for (int k = 0; k < 12; k++)
    ph.cg[k] = a.pC[9 + k];
  fd::TFdStep<P> c = MakeStep(ph);
  // The memories of the averages lie in groups of three low sides followed
  // by the same three high ones, not in low-high pairs.
  if (c.g.bPml)
    for (int j = 0; j < P::kDer; j++)
      c.side[j][1].m = a.pPmlMem[P::Mem(j) + P::HighMemStep(j)];
  return Launch(c, b);
}

// How the stresses end: mechanisms, Q factor or plain (as on the host; a
// point without mechanisms takes the plain formulas in the mechanism form).
template <template <int> class S> int LaunchByMode(const fd::TStepBox& b, const TStepMode& m) {
  if (a.nViscoL > 0 && a.pVisco && a.pViscoG)
    return S<fd::ELA_VISCO>::Run(b, m);
  return a.pQ ? S<fd::ELA_QFACTOR>::Run(b, m) : S<fd::ELA_PLAIN>::Run(b, m);
}
template <int MODE> struct TEla {
  static int Run(const fd::TStepBox& b, const TStepMode& m) { return LaunchElaStress<MODE>(b, m); }
};
template <int MODE> struct TOrt {
  static int Run(const fd::TStepBox& b, const TStepMode& m) { return LaunchOrtStress<MODE>(b, m); }
};
template <int MODE> struct TAni {
  static int Run(const fd::TStepBox& b, const TStepMode& m) { return LaunchAniStress<MODE>(b, m); }
};

// One half-step of the shot's method; -1 where its arrays are missing.
int LaunchHalfStep(bool bU, const fd::TStepBox& b, const TStepMode& m) {
  if (!a.f[0] || !a.f[3] || !a.pB)
    return -1;
  switch (a.nMethod) {
  case fd::FD_ACOUSTIC:
    if (bU)
      return LaunchStep(AcoVelocity(), b);
    return a.pK ? LaunchStep(AcoPressure(), b) : -1;
  case fd::FD_ELASTIC:
  case fd::FD_ORTHORHOMBIC:
  case fd::FD_ANISOTROPIC:
    if (!a.f[8])
      return -1;
    if (bU)
      return LaunchElaVelocity(b, m);
    if (a.nMethod == fd::FD_ELASTIC)
      return a.pK && a.pMu ? LaunchByMode<TEla>(b, m) : -1;
    if (!a.pC[8] || (a.nMethod == fd::FD_ANISOTROPIC && !a.pC[20]))
      return -1;
    return a.nMethod == fd::FD_ORTHORHOMBIC ? LaunchByMode<TOrt>(b, m) : LaunchByMode<TAni>(b, m);
  default: return -1;
  }
}

// ---- Sources, gathers, arrival times, snapshots ----------------------------

// One thread adds the sample at every point in turn, as the host does: two
// points on one cell must both count.
__global__ void SourceKernel(fd::TWaveFields w, bool bAcoustic, int nType, const C3DShotPoint* pPoints, int nPoints,
                             float s, size_t nxy, fd::TMoment k, const CShotTauK* pTauK) {
  for (int n = 0; n < nPoints; n++) {
    fd::TMoment kn = k;
    if (pTauK) {
      const CShotTauK& t = pTauK[n];
      kn = fd::TMoment{t.k11, t.k22, t.k33, t.k12, t.k13, t.k23};
    }
    fd::InjectSource(w, bAcoustic, nType, pPoints[n].nIndex, (pPoints[n].nFlags & 1) != 0, s, nxy, kn);
  }
}

__global__ void RecordKernel(fd::TWaveFields w, const size_t* pIdx, fd::TGatherRows rows, int nRcv) {
  const int r = blockIdx.x * blockDim.x + threadIdx.x;
  if (r < nRcv)
    fd::RecordPoint(w, pIdx[r], rows, r);
}

__global__ void TimeFieldKernel(fd::TWaveFields w, fd::TTimeGrid g, int nType, float t, int tnz, float* pTime,
                                float* pMax) {
  const int i = blockIdx.x * blockDim.x + threadIdx.x;
  const int j = blockIdx.y * blockDim.y + threadIdx.y;
  const int k = blockIdx.z;
  if (i < g.tnx && j < g.tny && k < tnz)
    fd::TimeFieldCell(w, g, nType, t, i, j, k, pTime, pMax);
}

// The plane at column nFixed: x + nx * z of an x-z plane, y + ny * z of a y-z plane.
__global__ void SnapPlaneKernel(fd::TSnapSource s, float* pPlane, bool bYZ, int nFixed, int nx, int ny, int nz) {
  const int u = blockIdx.x * blockDim.x + threadIdx.x;
  const int z = blockIdx.y * blockDim.y + threadIdx.y;
  const int nu = bYZ ? ny : nx;
  if (u >= nu || z >= nz)
    return;
  const size_t nxy = (size_t)nx * ny;
  const size_t q = bYZ ? z * nxy + (size_t)u * nx + nFixed : z * nxy + (size_t)nFixed * nx + u;
  pPlane[u + (size_t)nu * z] = s.Value(q);
}

__global__ void Snap3DKernel(fd::TSnapSource s, fd::TSnapCube c, int nSz, float* pOut) {
  const size_t i = blockIdx.x * blockDim.x + threadIdx.x;
  const size_t j = blockIdx.y * blockDim.y + threadIdx.y;
  const int k = blockIdx.z;
  if (i < c.sx && j < c.sy && k < nSz)
    pOut[((size_t)k * c.sy + j) * c.sx + i] = fd::Snap3DCell(s, c, i, j, k);
}

float* FieldOf(int nField) {
  // FIELD_VX = 1 .. FIELD_VZ = 3, FIELD_TZZ = 4, FIELD_TXX = 5, FIELD_TYY = 6,
  // FIELD_TXY = 7, FIELD_TXZ = 8, FIELD_TYZ = 9.
  static const int kSlot[10] = {-1, 0, 1, 2, 5, 3, 4, 6, 7, 8};
  if (nField < 1 || nField > 9)
    return nullptr;
  return a.f[kSlot[nField]];
}

} // namespace

// ---- Memory ----------------------------------------------------------------

int CUDA_3DFD_FreePML() {
  for (auto& axis : a.pPmlCoef)
    for (float*& p : axis)
      DevFree(p);
  for (float*& p : a.pPmlMem)
    DevFree(p);
  a.nPML = 0;
  return 0;
}

int CUDA_3DFD_FreeMemory(bool bModel, bool bWave, bool bSeismogram, bool bTimeField, bool bPlane) {
  if (bModel) {
    DevFree(a.pK);
    DevFree(a.pMu);
    DevFree(a.pB);
    DevFree(a.pQ);
    DevFree(a.pDamp);
    DevFree(a.pTauK);
    DevFree(a.pVisco);
    for (float*& p : a.pC)
      DevFree(p);
    CUDA_3DFD_FreePML();
  }
  if (bWave) {
    for (float*& p : a.f)
      DevFree(p);
    DevFree(a.pViscoG);
  }
  if (bSeismogram) {
    DevFree(seis_h.pIdx);
    for (float*& p : seis_h.pRow)
      DevFree(p);
    DevFree(a.pPoints);
    seis_h.nLen = seis_h.nRcv = 0;
    a.nPoints = 0;
  }
  if (bTimeField) {
    for (int i = 0; i < 2; i++) {
      DevFree(a3Time.pTime[i]);
      DevFree(a3Time.pMax[i]);
    }
    a3Time.nType = 0;
  }
  if (bPlane)
    DevFree(a.pPlane);
  cudaGetLastError();
  return 0;
}

int CUDA_3DFD_AllocateMemory(int nMethod, int nFrame, int nNx, int nNy, int nNz, int nZ0, int nNzAll, int nViscoL,
                             bool bPlane, bool bQ) {
  CUDA_3DFD_FreeMemory(true, true, true, true, true);
  memset(&a, 0, sizeof(a));
  memset(&seis_h, 0, sizeof(seis_h));
  memset(&a3Time, 0, sizeof(a3Time));
  a.nMethod = nMethod;
  a.nFrame = nFrame;
  a.nNx = nNx;
  a.nNy = nNy;
  a.nNz = nNz;
  a.nZ0 = nZ0;
  a.nNzAll = nNzAll > 0 ? nNzAll : nNz;
  a.nViscoL = nViscoL;
  a.m = (size_t)nNx * nNy * nNz;
  a.nPlane = (size_t)(nNx > nNy ? nNx : nNy) * nNz;
  const int nFields = nMethod > fd::FD_ACOUSTIC ? 9 : 4;
  int rc = 0;
  for (int i = 0; i < nFields && rc == 0; i++)
    rc = DevAlloc(a.f[i], a.m);
  if (rc == 0 && nMethod < fd::FD_ORTHORHOMBIC)
    rc = DevAlloc(a.pK, a.m);
  if (rc == 0)
    rc = DevAlloc(a.pB, a.m);
  if (rc == 0 && bQ)
    rc = DevAlloc(a.pQ, a.m);
  if (rc == 0 && bPlane)
    rc = DevAlloc(a.pPlane, a.nPlane);
  if (rc == 0 && nMethod == fd::FD_ELASTIC)
    rc = DevAlloc(a.pMu, a.m);
  const int nStiff = nMethod == fd::FD_ANISOTROPIC ? 21 : nMethod == fd::FD_ORTHORHOMBIC ? 9 : 0;
  for (int k = 0; k < nStiff && rc == 0; k++)
    rc = DevAlloc(a.pC[k], a.m);
  if (rc == 0 && nViscoL > 0 && nMethod > fd::FD_ACOUSTIC) {
    rc = DevAlloc(a.pVisco, 3 * (size_t)nViscoL * a.m);
    if (rc == 0)
      rc = DevAlloc(a.pViscoG, 6 * (size_t)nViscoL * a.m);
  }
  if (rc == 0)
    rc = DevAlloc(a.pDamp, (size_t)fd::kTaperWidth);
  return rc;
}

int CUDA_3DFD_AllocateMemorySeismogram(int nPoints, int nRcv, int nLen) {
  a.nPoints = nPoints;
  seis_h.nRcv = nRcv;
  seis_h.nLen = nLen;
  int rc = DevAlloc(a.pPoints, (size_t)(nPoints > 0 ? nPoints : 0));
  const size_t c = (size_t)(nRcv > 0 ? nRcv : 0) * (size_t)(nLen > 0 ? nLen : 0);
  if (rc == 0 && c > 0) {
    rc = DevAlloc(seis_h.pIdx, (size_t)nRcv);
    for (int i = 0; i < 4 && rc == 0; i++)
      rc = DevAlloc(seis_h.pRow[i], c);
  }
  return rc;
}

int CUDA_3DFD_LoadData(float fH, float fDt, const fd::TMoment& moment, const float* pK, const float* pMu,
                       const float* pB, const float* pQ, const float* pVisco, int nSourceType, int nPoints,
                       const C3DShotPoint* pPoints, const size_t* pRcvIdx, const float* pSignal, const float* pDamp,
                       const CShotTauK* pTauK) {
  if (nPoints > 0 && !pPoints)
    return -1;
  a.fH = fH;
  a.fDt = fDt;
  a.moment = moment;
  a.nSourceType = nSourceType;
  a.pSignal = pSignal;
  const size_t nBytes = a.m * sizeof(float);
  int rc = Upload(a.pK, pK, nBytes);
  if (rc == 0)
    rc = Upload(a.pMu, pMu, nBytes);
  if (rc == 0)
    rc = Upload(a.pB, pB, nBytes);
  if (rc == 0)
    rc = Upload(a.pQ, pQ, nBytes);
  if (rc == 0)
    rc = Upload(a.pVisco, pVisco, 3 * (size_t)a.nViscoL * nBytes);
  if (rc == 0)
    rc = Upload(a.pDamp, pDamp, fd::kTaperWidth * sizeof(float));
  if (rc == 0 && nPoints > 0)
    rc = Upload(a.pPoints, pPoints, (size_t)nPoints * sizeof(C3DShotPoint));
  if (rc == 0 && pRcvIdx && seis_h.pIdx)
    rc = Upload(seis_h.pIdx, pRcvIdx, (size_t)seis_h.nRcv * sizeof(size_t));
  if (rc == 0 && pTauK && nPoints > 0) {
    rc = DevAlloc(a.pTauK, (size_t)nPoints);
    if (rc == 0)
      rc = Upload(a.pTauK, pTauK, (size_t)nPoints * sizeof(CShotTauK));
  }
  return rc;
}

int CUDA_3DFD_LoadAnisotropicModel(int nCubes, const float* const* pC) {
  int rc = 0;
  for (int k = 0; k < nCubes && k < 21 && rc == 0; k++) {
    if (!a.pC[k] || !pC[k])
      return -1;
    rc = Upload(a.pC[k], pC[k], a.m * sizeof(float));
  }
  return rc;
}

int CUDA_3DFD_LoadPML(int nMethod, int nPML, int nStart, float* const pCoef[3][8], const size_t nCount[3]) {
  CUDA_3DFD_FreePML();
  a.nStart = nStart;
  if (nPML <= 0)
    return 0;
  int rc = 0;
  for (int ax = 0; ax < 3 && rc == 0; ax++)
    for (int k = 0; k < fd::kPmlCoefPerAxis && rc == 0; k++) {
      rc = DevAlloc(a.pPmlCoef[ax][k], nCount[ax]);
      if (rc == 0)
        rc = Upload(a.pPmlCoef[ax][k], pCoef[ax][k], nCount[ax] * sizeof(float));
    }
  for (int k = 0; k < fd::PmlMemCount(nMethod) && rc == 0; k++)
    rc = DevAlloc(a.pPmlMem[k], nCount[fd::PmlMem(k).nAxis]);
  if (rc == 0)
    a.nPML = nPML;
  return rc;
}

// ---- Steps and per-step work ---------------------------------------------

int CUDA_3DFD_ModelStep(bool bU, bool bSuppressSV, int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1,
                        float fSuppress) {
  const int rc = LaunchHalfStep(bU, fd::TStepBox{nZ0, nY0, nX0, nZ1, nY1, nX1}, TStepMode{bSuppressSV, fSuppress});
  if (rc != 0)
    return rc;
  return Synchronize();
}

int CUDA_3DFD_ApplySignal(size_t nStep) {
  if (!a.pSignal || a.nPoints < 1)
    return 0;
  const float s = a.pSignal[nStep];
  SourceKernel<<<1, 1>>>(Fields(), a.nMethod == fd::FD_ACOUSTIC, a.nSourceType, a.pPoints, a.nPoints, s,
                         (size_t)a.nNx * a.nNy, a.moment, a.nSourceType == 10 ? a.pTauK : nullptr);
  return Synchronize();
}

int CUDA_3DFD_RecordSeismogram(size_t nSeisStep) {
  if (seis_h.nRcv < 1 || seis_h.nLen < 1 || !seis_h.pIdx || nSeisStep >= (size_t)seis_h.nLen)
    return 0;
  const size_t o = nSeisStep * seis_h.nRcv;
  const fd::TGatherRows rows{seis_h.pRow[0] + o, seis_h.pRow[1] + o, seis_h.pRow[2] + o, seis_h.pRow[3] + o};
  RecordKernel<<<(seis_h.nRcv + 255) / 256, 256>>>(Fields(), seis_h.pIdx, rows, seis_h.nRcv);
  return Synchronize();
}

int CUDA_3DFD_GrabShotgather(float* p, char cComponent) {
  const int k = cComponent == 'X' ? 0 : cComponent == 'Y' ? 1 : cComponent == 'C' ? 3 : 2;
  if (!seis_h.pRow[k])
    return -1;
  const size_t n = (size_t)seis_h.nRcv * seis_h.nLen;
  if (n == 0)
    return -2;
  const int rc = Download(p, seis_h.pRow[k], n * sizeof(float));
  return rc != 0 ? rc : ScanDiverged(p, n);
}

int CUDA_3DFD_Grab2DSnapshot(float* p, char cPlane, char cComponent, int nFixed) {
  const fd::TSnapSource s = fd::SnapSource(Fields(), cComponent);
  if (!s.a)
    return -11;
  if (!a.pPlane)
    return -12;
  const bool bYZ = cPlane == 'Y';
  const int nu = bYZ ? a.nNy : a.nNx;
  SnapPlaneKernel<<<dim3((nu + 15) / 16, (a.nNz + 15) / 16), dim3(16, 16)>>>(s, a.pPlane, bYZ, nFixed, a.nNx, a.nNy,
                                                                             a.nNz);
  int rc = Synchronize();
  const size_t n = (size_t)nu * a.nNz;
  if (rc == 0)
    rc = Download(p, a.pPlane, n * sizeof(float));
  return rc != 0 ? rc : ScanDiverged(p, n);
}

int CUDA_3DFD_Grab3DSnapshot(float* p, const fd::TSnapCube& cube, int nSz, char cComponent) {
  if (!p)
    return -10;
  const fd::TSnapSource s = fd::SnapSource(Fields(), cComponent);
  if (!s.a)
    return -11;
  if (cube.sx < 1 || cube.sy < 1 || nSz < 1)
    return -13;
  const size_t n = cube.sx * cube.sy * (size_t)nSz;
  float* pTemp = nullptr;
  int rc = DevAlloc(pTemp, n);
  if (rc == 0) {
    Snap3DKernel<<<dim3((unsigned)((cube.sx + 31) / 32), (unsigned)((cube.sy + 3) / 4), (unsigned)nSz), dim3(32, 4)>>>(
        s, cube, nSz, pTemp);
    rc = Synchronize();
  }
  if (rc == 0)
    rc = Download(p, pTemp, n * sizeof(float));
  DevFree(pTemp);
  return rc;
}

int CUDA_3DFD_GetCalcPlane(int nField, int nZ0, int nZ1, float* p) {
  const float* pField = FieldOf(nField);
  if (!pField)
    return -1;
  const size_t nxy = (size_t)a.nNx * a.nNy;
  return Download(p, pField + nxy * nZ0, nxy * (size_t)(nZ1 - nZ0 + 1) * sizeof(float));
}

int CUDA_3DFD_SetCalcPlane(int nField, int nZ0, int nZ1, const float* p) {
  float* pField = FieldOf(nField);
  if (!pField)
    return -1;
  const size_t nxy = (size_t)a.nNx * a.nNy;
  return Upload(pField + nxy * nZ0, p, nxy * (size_t)(nZ1 - nZ0 + 1) * sizeof(float));
}

int CUDA_3DFD_TimeFieldInit(const fd::TTimeGrid& grid, int nType, int nTimeNz) {
  if (nType < 1)
    return 0;
  a3Time.g = grid;
  a3Time.nTimeNz = nTimeNz;
  a3Time.nCube = (size_t)grid.tnx * grid.tny * (nTimeNz > 0 ? nTimeNz : 0);
  if (a3Time.nCube == 0)
    return -1;
  a3Time.nType = nType;
  int rc = 0;
  for (int i = 0; i < 2 && rc == 0; i++) {
    if (!(nType & (1 << i)))
      continue;
    rc = DevAlloc(a3Time.pTime[i], a3Time.nCube);
    if (rc == 0)
      rc = DevAlloc(a3Time.pMax[i], a3Time.nCube);
  }
  return rc;
}

int CUDA_3DFD_TimeFieldPropagate(float fTime, int nAddZ0) {
  fd::TTimeGrid g = a3Time.g;
  g.nAddZ0 = nAddZ0 < 1 ? a.nFrame : nAddZ0;
  const dim3 grid((g.tnx + 31) / 32, (g.tny + 3) / 4, a3Time.nTimeNz);
  for (int i = 0; i < 2; i++) {
    if (!(a3Time.nType & (1 << i)) || !a3Time.pTime[i])
      continue;
    TimeFieldKernel<<<grid, dim3(32, 4)>>>(Fields(), g, i, fTime, a3Time.nTimeNz, a3Time.pTime[i], a3Time.pMax[i]);
  }
  return Synchronize();
}

int CUDA_3DFD_TimeFieldGrabCube(float* p, int nIndex) {
  if (nIndex < 0 || nIndex > 1 || !a3Time.pTime[nIndex])
    return -1;
  return Download(p, a3Time.pTime[nIndex], a3Time.nCube * sizeof(float));
}

// ---- Measurements for the benchmark ---------------------------------------

double CUDA_3DFD_CopyBandwidth(size_t nBytes, int nRepeat) {
  void *pA = nullptr, *pB = nullptr;
  if (cudaMalloc(&pA, nBytes) != cudaSuccess || cudaMalloc(&pB, nBytes) != cudaSuccess) {
    cudaFree(pA);
    cudaGetLastError();
    return -1;
  }
  cudaEvent_t e0, e1;
  cudaEventCreate(&e0);
  cudaEventCreate(&e1);
  float fBest = 1e30f;
  for (int r = 0; r < nRepeat; r++) {
    cudaEventRecord(e0);
    cudaMemcpy(pB, pA, nBytes, cudaMemcpyDeviceToDevice);
    cudaEventRecord(e1);
    cudaEventSynchronize(e1);
    float ms = 0;
    cudaEventElapsedTime(&ms, e0, e1);
    if (ms < fBest)
      fBest = ms;
  }
  cudaEventDestroy(e0);
  cudaEventDestroy(e1);
  cudaFree(pA);
  cudaFree(pB);
  if (CheckError() != 0)
    return -1;
  return 2.0 * nBytes / (fBest * 1e-3) / 1e9;
}

double CUDA_3DFD_TimeSteps(int nSteps, int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) {
  const fd::TStepBox b{nZ0, nY0, nX0, nZ1, nY1, nX1};
  cudaEvent_t e0, e1;
  cudaEventCreate(&e0);
  cudaEventCreate(&e1);
  cudaEventRecord(e0);
  int rc = 0;
  for (int i = 0; i < nSteps && rc == 0; i++) {
    rc = LaunchHalfStep(true, b, TStepMode{true, 1.0f});
    if (rc == 0)
      rc = LaunchHalfStep(false, b, TStepMode{true, 1.0f});
  }
  cudaEventRecord(e1);
  cudaEventSynchronize(e1);
  float ms = 0;
  cudaEventElapsedTime(&ms, e0, e1);
  cudaEventDestroy(e0);
  cudaEventDestroy(e1);
  if (rc != 0 || Synchronize() != 0)
    return -1;
  return ms * 1e-3 / nSteps;
}
