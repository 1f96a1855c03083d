// Host backend of the 3-D engine: all wavefields in host memory, the steps
// run as OpenMP loops over z planes.
#pragma once

#include <cstdio>

#include "Calc3D.h"
#include "FDLayout.h"
#include "SpillFile.h"
#include "common.h"

// Number of PML memory arrays over all methods, and per method.
enum {
  PML_MEM_COUNT = fd::kPmlMemMax,
  PML_MEM_ACOUSTIC = fd::PmlMemCount(fd::FD_ACOUSTIC),
  PML_MEM_ELASTIC = fd::PmlMemCount(fd::FD_ELASTIC),
};
static_assert(fd::FD_ACOUSTIC == METHOD_ACOUSTIC && fd::FD_ELASTIC == METHOD_ELASTIC &&
                  fd::FD_ORTHORHOMBIC == METHOD_ORTHORHOMBIC && fd::FD_ANISOTROPIC == METHOD_ANISOTROPIC,
              "the step tables number the methods as the task does");

class CCalc3D_OMP : public CCalc3D {
public:
  CCalc3D_OMP();
  ~CCalc3D_OMP() override;

  int AllocateMemory(bool bEstimate, bool bQuiet) override;
  // Parts of AllocateMemory: the arrays themselves, and the printed plan.
  int AllocateArrays(size_t m, size_t nPlane, size_t nCube);
  void PrintMemoryPlan(int G, int C, int n, size_t S, size_t nPlane, double fModel, double fPart, double fVisco,
                       double fSeis, double fTime, double fPml, double R, double fAvail, bool bConfigured);
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
  // Acoustic and isotropic elastic steps in one pass over the planes (unless
  // the settings ask for plain steps); other methods as two sweeps.
  int PropagateStep(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) override;
  int PropagateAcoStep(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1);
  int PropagateElaStep(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1);
  // Several acoustic or isotropic elastic steps in one pass over the planes
  // (as many as the settings allow); other methods step by step.
  int MaxStepsPerPass() const override;
  int PropagateSteps(int nZ0, int nZ1, const TStepBox* box, int n) override;
  int PropagateAcoSteps(int nZ0, int nZ1, const TStepBox* box, int n);
  int PropagateElaSteps(int nZ0, int nZ1, const TStepBox* box, int n);
  int RecordSeismogram() override;
  float* GrabShotgather(char cComponent) override;
  float* Grab2DSnapshot(char cPlane, char cComponent) override;
  float* Grab3DSnapshot(CCubeN& box, C3DSizeN& size, char cComponent) override;
  float* GrabTimeField(int nType) override;
  int GetCalcPlane(int nField, int nZ0, int nZ1, float** ppData, bool bZero) override;
  int SetCalcPlane(int nField, int nZ0, int nZ1, float* pData) override;
  void FreeCalcPlane(float** ppData) override;

  // The wavefields for the per-point functions of FDPointOps.h.
  fd::TWaveFields Fields() const;
  // Number of PML memory arrays the method in force uses.
  int GetPmlMemCount() const;
  // Points of the slab that memory array k lives on (its derivative's axis).
  size_t GetPmlMemSize(int k) const;
  // Sets m_nPmlCountX/Y/Z from the grid (0 without PML).
  void SetPmlCounts();

  // Step implementations without the split into interior and border loops:
  // every point takes the general path. Slow; kept as the reference of the
  // fast loops.
  int PropagateAcoWaveUGeneric(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1);
  int PropagateAcoWaveTauGeneric(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1);

  // Wavefields and memories as allocated, all zero: the first LoadModel
  // need not zero them again.
  bool m_bFieldsZero = false;

  // Wavefields. In the acoustic method m_pTxx is the pressure. Wavefield,
  // visco-memory and PML blocks are placed at shifted offsets inside their
  // allocation (see Calc3D_OMP.cpp): only FreeMemory releases them.
  float* m_pVx = nullptr;
  float* m_pVy = nullptr;
  float* m_pVz = nullptr;
  float* m_pTxx = nullptr;
  float* m_pTyy = nullptr;
  float* m_pTzz = nullptr;
  float* m_pTxy = nullptr;
  float* m_pTxz = nullptr;
  float* m_pTyz = nullptr;
  // Gather rows, receiver r of row s at [s * n + r].
  float* m_pSeisX = nullptr;
  float* m_pSeisY = nullptr;
  float* m_pSeisZ = nullptr;
  float* m_pSeisC = nullptr;
  float* m_pViscoG = nullptr;
  float* m_pTimeField[2] = {nullptr, nullptr};
  float* m_pTimeMax[2] = {nullptr, nullptr};
  float* m_pPmlMem[PML_MEM_COUNT] = {nullptr};
  // Spill file of the gather when rows are written out as they come.
  CSpillFile m_Spill;

private:
  int StepNotBuilt(const char* szStep);
};
