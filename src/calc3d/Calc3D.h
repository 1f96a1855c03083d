// Calculation object of a 3-D shot on a staggered grid.
//
// CCalc3D holds the task settings, the geometry of the active shot, the
// earth-model coefficient cubes and the time-stepping state. Everything that
// touches wavefield memory goes through the virtual operations below, which
// a backend (host threads or a device) implements; time loops, model
// building and result writers are written once here against them.
//
// Cube index: (z * m_nNy + y) * m_nNx + x, x fastest, z the local plane
// (global plane = z + m_nZ0), z grows downward.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "calc3d/CalcSettings.h"
#include "calc3d/FDLayout.h"
#include "calc3d/FDPointOps.h"
#include "calc3d/Signal3D.h"
#include "common.h"
#include "survey/Survey3D.h"

// Model components as numbered in the task and in messages.
enum {
  MODEL_PVEL = 0,
  MODEL_SVEL = 1,
  MODEL_DENS = 2,
  MODEL_ANIS_EPSILON = 10,
  MODEL_ANIS_DELTA = 11,
  MODEL_ANIS_GAMMA = 12,
  MODEL_ANIS_ALPHA = 13,
  MODEL_ANIS_PHI = 14,
  MODEL_Q = 100,
};

// Status values of the engine (0 is success).
enum {
  CALC_OK = 0,
  CALC_NO_MEMORY = 1,
  CALC_MEMORY_LIMIT = 2,
  CALC_NO_FIELD = -1,
  CALC_NO_FILE = -3,
  CALC_MODEL_NOT_READY = -5,
  CALC_EMPTY_INTERSECTION = -30,
  CALC_SHOT_OUTSIDE = -31,
  CALC_NO_RECEIVERS = -32,
  CALC_SHOT_NOT_ACTIVE = -33,
  CALC_NO_MOMENT_TENSOR = -34,
  CALC_SHOT_SKIPPED = -35,
  CALC_BAD_DX = -100,
  CALC_BAD_DT = -101,
  CALC_BAD_SHOT = -102,
  CALC_NO_DEPTH = -103,
  CALC_BAD_RECORD_RANGE = -104,
  CALC_BAD_SIGNAL = -105,
  CALC_BAD_SOURCE_TYPE = -108,
  CALC_UNSTABLE = -150,
  CALC_INCONSISTENT = -200,
  CALC_TERMINATE = -1000,
};

// Output products of GetFileName.
enum { FILE_GATHER = 0, FILE_SNAP2D = 1, FILE_TIME = 2, FILE_SNAP3D = 3 };

// Wavefields of GetCalcPlane / SetCalcPlane.
enum {
  FIELD_VX = 1,
  FIELD_VY = 2,
  FIELD_VZ = 3,
  FIELD_TZZ = 4,
  FIELD_TXX = 5,
  FIELD_TYY = 6,
  FIELD_TXY = 7,
  FIELD_TXZ = 8,
  FIELD_TYZ = 9,
};

class CTimeStep;

// The x and y bounds of one time step (inclusive).
struct TStepBox {
  int nY0, nY1, nX0, nX1;
};

class CCalc3D {
public:
  CCalc3D();
  CCalc3D(const CCalc3D&) = delete;
  CCalc3D& operator=(const CCalc3D&) = delete;

  // ---- Backend interface, in this order -------------------------------
  // 1. Frees all that the object owns. A backend calls
  //    FreeMemory(true, true, true, true, true) in its own destructor.
  virtual ~CCalc3D();
  // 2. Sets m_nZ0, m_nZ1, m_nNzAll (and the slab under decomposition).
  virtual int InitDecomposition();
  // 3. Estimates (bEstimate) or allocates all per-shot arrays, zeroed.
  virtual int AllocateMemory(bool bEstimate, bool bQuiet) = 0;
  // 4. Allocates the gather rows once the receiver list is final.
  virtual int AllocateMemorySeismogram() = 0;
  // 5. Frees the named groups; safe to call twice.
  virtual int FreeMemory(bool bModel, bool bWave, bool bSeismogram, bool bTimeField, bool bPlane) = 0;
  // 6. Zeroes wavefields, memories and gather rows (device: uploads).
  virtual int LoadModel() = 0;
  // 7. Adds sample nStep of the signal at all excitation points.
  virtual int ApplySignal(int nStep) = 0;
  // 8-13. One half-step over the inclusive box (z, y, x low; z, y, x high).
  virtual int PropagateAcoWaveU(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) = 0;
  virtual int PropagateAcoWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) = 0;
  virtual int PropagateElaWaveU(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) = 0;
  virtual int PropagateElaWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) = 0;
  virtual int PropagateOrtWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) = 0;
  virtual int PropagateAniWaveTau(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1) = 0;
  // 14. Updates the arrival-time cubes.
  virtual int PropagateTimeField() = 0;
  // 15. Stores one gather row and advances m_nSeisStep.
  virtual int RecordSeismogram() = 0;
  // 16. Whole gather of 'X', 'Y', 'Z' or 'C' (others: 'Z'); owned by us.
  virtual float* GrabShotgather(char cComponent) = 0;
  // 17. Vertical plane through the shot into m_pPlane.
  virtual float* Grab2DSnapshot(char cPlane, char cComponent) = 0;
  // 18. Resampled sub-cube in a new float[] the caller deletes.
  virtual float* Grab3DSnapshot(CCubeN& box, C3DSizeN& size, char cComponent) = 0;
  // 19. Arrival-time cube of type index 0 or 1; owned by us.
  virtual float* GrabTimeField(int nType) = 0;
  // 20-22. Plane access for the exchange between depth slabs.
  virtual int GetCalcPlane(int nField, int nZ0, int nZ1, float** ppData, bool bZero) = 0;
  virtual int SetCalcPlane(int nField, int nZ0, int nZ1, float* pData) = 0;
  virtual void FreeCalcPlane(float** ppData) = 0;

  // ---- Task ------------------------------------------------------------
  int ReadTask3D(const char* section, std::vector<CString>& lines);

  // ---- Signal ----------------------------------------------------------
  int GenerateSignal();

  // ---- Shot preparation ----------------------------------------------
  int PrepareSource(int nShot, CSurvey3D& survey, bool bQuiet);
  int ValidateCommon();
  // Refuses a gather sample interval that the time step cannot record.
  int ValidateRecordStep();
  int ValidateSurveyGeometryShared();
  int ValidateSurveyGeometryDistributed();
  size_t GetPtShift(const C3DPointR& pt);
  int ValidateTracePoint(C3DPointR& pt);
  int IsCalcNeeded(int nShot);
  CString GetFileName(int nType, char cComponent, bool bPattern, bool bMerged, double fParam);
  int Init3DSnapshots();
  CCubeN GetSampleUserArea();
  CCubeR GetRealUserArea();

  // ---- Time loops ------------------------------------------------------
  int Calculate();
  // The loop of a shot held by one process, and of a shot split by depth
  // over a group (its step with the halo exchange is in cluster/).
  int CalculateShared();
  int CalculateDistributed();
  // The time loop over the steps that `step` advances (see TimeStep.h); 0 or
  // what ended the shot.
  int RunTimeLoop(CTimeStep& step);
  // Steps i..i+nSteps-1 of n, in one pass when more than one (PassLength
  // says how many may go).
  int RunTimeSteps(CTimeStep& step, int i, int nSteps, int n, double& fRecNext);
  // How many steps from i on one pass may advance: none of them but the
  // last may need the whole field at its time (a gather row, the time
  // field, a snapshot), and no source sample may fall between them.
  int PassLength(const CTimeStep& step, int i, int n, double fRecNext) const;
  // Whether what follows step i, ending at time t, reads the whole field.
  bool WholeFieldDue(int i, double t, double fRecNext) const;
  // All that follows the half-steps of step i: time field, gather rows,
  // snapshots, progress line.
  int AfterStep(const CTimeStep& step, int i, int n, double& fRecNext);
  // Narrows the x and y bounds of step i to the region the wave can have
  // reached from the source.
  void StepActiveBox(int i, int& nY0, int& nY1, int& nX0, int& nX1);
  // The S-wave suppression factor of the current time (methods above 101).
  void UpdateSuppression();
  float SuppressionAt(double t) const;
  // The velocity or the stress half-step of the task's method over a box.
  int PropagateVelocity(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1);
  // Both half-steps of a time step over the box: the velocities, then the
  // stresses from the new velocities. A backend may do them in one pass.
  virtual int PropagateStep(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1);
  // Time steps that PropagateSteps may advance in one call (1: it cannot).
  virtual int MaxStepsPerPass() const { return 1; }
  // Time steps 0..n-1 in one pass over planes nZ0..nZ1, step j over the x and
  // y bounds of box[j]; what n steps of PropagateStep give, bit for bit.
  virtual int PropagateSteps(int nZ0, int nZ1, const TStepBox* box, int n);
  int PropagateStress(int nZ0, int nY0, int nX0, int nZ1, int nY1, int nX1);
  // Records the gather rows whose time (fRecNext on) has come by m_fTime,
  // after step i (-1 before the first); 0 or the recording's failure.
  int RecordDueRows(double& fRecNext, int i);
  // Reports a failed half-step i (the instability warning or an error) and
  // passes its result on.
  int ReportStepFailure(int nRes, int i);
  // The progress line after step i of n.
  void ReportStepProgress(int i, int n);
  // Collects a cube split by depth at the group's leader (cluster/CubeMerge.cpp).
  static int MergeDistributedCube(const CCalcSettings& set, const CCubeN& box, int* pnOut, float* pLocal,
                                  float** ppMerged);
  // Collects the rows of a vertical section split by depth at the leader: a
  // member sends its nRows rows of nComp components (nComp blocks of nRows x
  // nRowLen floats in pLocal) and gets null; the leader gets the section of
  // nRowsAll rows, its own on top, in a new[] block the caller deletes, or
  // null when memory ran out (reported).
  static float* MergeDistributedRows(const CCalcSettings& set, const float* pLocal, int nComp, int nRowLen, int nRows,
                                     int nRowsAll);

  // ---- Model building ------------------------------------------------
  int InitModel();
  int LoadModelComponent(int nComponent, const char* szFile, float* pP, float* pOut, float* pTemp);
  int MakeSurface();
  int MakeSurfaceBottomDistributed();
  int SmoothModel();
  int SmoothModelComponent(float* pData, int nPasses);
  int PrepareViscoElasticModel();
  // Stages of InitModel: the Q cube to a per-step stress factor, the frame
  // taper, the conversion of velocities and density to coefficients.
  void MakeQFactor();
  static double GetQFactor(double q, double fExp);
  void MakeDamp();
  void ConvertIsotropic();
  int ConvertAnisotropic();
  int InitPMLProfile();
  // Refuses a time step above the stability limit for the largest P velocity
  // of the shot's grid (of the whole group under decomposition): -150.
  int CheckCourant();
  // Largest stable Courant number v dt / h of the scheme.
  static double CourantLimit();
  float GroupMaxVp();

  // ---- Results ---------------------------------------------------------
  int SaveResults();
  int SaveShotgather(const char* path, char cComponent);
  // The gather of a depth group: members send their traces, the leader
  // writes them all (cluster/GroupGather.cpp).
  int SaveShotgatherDistributed(const char* path, char cComponent);
  int SaveShotgatherBuf(const char* path, size_t nTraces, size_t nSamples, float* pData,
                        std::vector<C3DPointR>& receivers, std::vector<int>* pInline, std::vector<int>* pCrossline,
                        std::vector<int>* pTraceId, std::vector<int>* pFileId);
  int SaveTimeField(const char* szFile, int nType);
  int Save3DSnapshots();
  // Grid column of the vertical plane of 2-D snapshots through the shot: x
  // for a 'Y' (y-z) plane, else y; inside the grid.
  int Snap2DPosition(char cPlane) const;
  // Sampling of a resampled 3-D snapshot of the box at the given size.
  fd::TSnapCube SnapCube(const CCubeN& box, const C3DSizeN& size) const;
  int AppendZpl2DSnapshot(const char* szFile, char cPlane, const char* szComponents, double fStep, bool bFlag);

  // ---- Helpers -----------------------------------------------------------
  // Modelling method of the task (101..104).
  int GetMethod() const;
  // Processes sharing this shot by depth (1 without decomposition).
  int GetGroupSize() const;
  int GetGroupRank() const;
  bool HasUpperNeighbour() const { return GetGroupSize() > 1 && GetGroupRank() > 0; }
  bool HasLowerNeighbour() const { return GetGroupSize() > 1 && GetGroupRank() < GetGroupSize() - 1; }
  size_t GetCubeSize() const { return (size_t)m_nNx * m_nNy * m_nNz; }
  // The array held by a model component, or null for an unknown one.
  float** GetComponentArray(int nComponent);
  // Writes a whole local cube to a debug SEG-Y file (failures are silent).
  void SaveDebugCube(const char* szFile, const float* pData);
  // Allocates the model cubes of the task's method (coefficients, Q,
  // mechanisms, Thomsen parameters, stiffnesses) of m points each, by
  // pfnNew (zeroed new float[]; throws std::bad_alloc); FreeModelArrays
  // frees them all.
  void AllocateModelArrays(float* (*pfnNew)(size_t), size_t m);
  void FreeModelArrays();
  // Sampling of the arrival-time cubes on this process's grid.
  fd::TTimeGrid TimeFieldGrid() const;
  // Model cubes of a memory plan: coefficients, Q, moduli and stiffnesses.
  int ModelGridCount() const;
  // Model and coefficient cubes are allocated with new float[]; this frees
  // one and leaves the pointer null.
  static void FreeArray(float*& p) {
    delete[] p;
    p = nullptr;
  }

  // ---- Fields ------------------------------------------------------------
  int m_nTraces = 0;
  CCubeR m_cubeModel;
  CCubeR m_cubeSim;
  CCubeR m_cubeSurvey;
  double m_fMargin = 0;
  size_t m_nSeisLen = 0;
  int m_nViscoL = 0;
  bool m_bApparentVelocity = false;
  CSignal3D m_Signal;
  int m_nSourceType = 0;
  float m_fK11 = 0, m_fK22 = 0, m_fK33 = 0, m_fK12 = 0, m_fK13 = 0, m_fK23 = 0;
  bool m_bSuppressSV = true;
  int m_nSurfType = 0;
  double m_fT0 = 0;
  double m_fTime = 0;
  double m_fT1 = 0;
  size_t m_nSeisStep = 0;
  double m_fH = 0;
  double m_fDt = 0;
  int m_nTimeFieldType = 0;
  double m_fTimeDx = 0, m_fTimeDy = 0, m_fTimeDz = 0;
  int m_nTimeNx = 0, m_nTimeNy = 0, m_nTimeNz = 0;
  bool m_bTimeMerge = true;
  int m_nZ0 = 0, m_nZ1 = 0;
  int m_nNzAll = 0;
  int m_nNx = 0, m_nNy = 0, m_nNz = 0;
  int m_nFrame = fd::FrameWidth(fd::FD_ACOUSTIC, false);
  int m_nPML = fd::FdMethod(fd::FD_ACOUSTIC).nPml;
  int m_nStart = fd::FdMethod(fd::FD_ACOUSTIC).nStart;
  int m_nSnapEvery = 0;
  double m_fSnapT0 = 0, m_fSnapDt = 0.1;
  double m_fSnapNext = 0;
  double m_fSnapYOffset = 0;
  std::vector<int> m_vSnap3DShots;
  std::vector<double> m_vSnap3DTimes;
  char m_szSnap3DComponents[20] = {0};
  double m_fSnap3DDx = 0, m_fSnap3DDy = 0, m_fSnap3DDz = 0;
  int m_nShot = 0;
  C3DPointR m_ptShot;
  std::vector<C3DPointR> m_vReceivers;
  std::vector<C3DPointR> m_vExcitePoints;
  std::vector<int> m_vRcvInline, m_vRcvCrossline, m_vRcvTraceId, m_vRcvFileId;
  std::vector<C3DShotPoint> m_vShotPoints;
  std::vector<size_t> m_vRcvIdx;
  std::vector<CShotTauK> m_vShotTauK;
  CCubeR m_cubeGrid;
  float* m_pK = nullptr;
  float* m_pMu = nullptr;
  float* m_pB = nullptr;
  float* m_pQ = nullptr;
  // Thomsen parameters and angles (physical values, freed after InitModel).
  float* m_pAnisEps = nullptr;
  float* m_pAnisDelta = nullptr;
  float* m_pAnisGamma = nullptr;
  float* m_pAnisAlpha = nullptr;
  float* m_pAnisPhi = nullptr;
  // Orthorhombic stiffness coefficients.
  float *m_pC11 = nullptr, *m_pC12 = nullptr, *m_pC13 = nullptr, *m_pC22 = nullptr, *m_pC23 = nullptr,
        *m_pC33 = nullptr, *m_pC44 = nullptr, *m_pC55 = nullptr, *m_pC66 = nullptr;
  // Further stiffness coefficients of general anisotropy.
  float *m_pC14 = nullptr, *m_pC15 = nullptr, *m_pC16 = nullptr, *m_pC24 = nullptr, *m_pC25 = nullptr,
        *m_pC26 = nullptr, *m_pC34 = nullptr, *m_pC35 = nullptr, *m_pC36 = nullptr, *m_pC45 = nullptr,
        *m_pC46 = nullptr, *m_pC56 = nullptr;
  float* m_pVisco = nullptr;
  // Local planes that hold a cell with relaxation mechanisms (1), set with
  // m_pVisco: the others take the plain elastic stress step.
  std::vector<unsigned char> m_vViscoPlanes;
  float m_fSuppress = 1;
  bool m_bPML = true;
  size_t m_nPmlCountX = 0, m_nPmlCountY = 0, m_nPmlCountZ = 0;
  // PML coefficients per axis: a low A, a high A, b low A, b high A,
  // a low B, a high B, b low B, b high B.
  float* m_pPmlCoefX[fd::kPmlCoefPerAxis] = {nullptr};
  float* m_pPmlCoefY[fd::kPmlCoefPerAxis] = {nullptr};
  float* m_pPmlCoefZ[fd::kPmlCoefPerAxis] = {nullptr};
  float* m_pPlane = nullptr;
  float m_fDamp[fd::kTaperWidth] = {0};
  CCalcSettings m_Set;        // what the application tells the engine
  double m_fMemAvailable = 0; // MB on this node, from the last memory estimate
  double m_fMemRequired = 0;  // MB the estimated shot needs
  int m_nShotId = 0;          // survey id of the active shot (its number without ids)
  bool m_bSnap3DActive = false;
  double m_fSnap3DLast = 0;
  int m_nSnap3DNz = 0;
  float m_fMaxVp = 0;
  int m_nActiveY0 = 0, m_nActiveX0 = 0, m_nActiveY1 = 0, m_nActiveX1 = 0;
  int m_nActiveDelay = 0;
};
