// What the 3-D engine is told of the job and of its place in the run. The
// application fills it before the run and again whenever the run moves on (a
// settled shot range, a place in a depth group, the next shot); the engine
// reads nothing else of the application.
#pragma once

#include "run/CString.h"

// Modelling methods; the values are ordered (above 101: S waves, above 102:
// anisotropy).
enum {
  METHOD_VERTICAL_INCIDENCE = 100,
  METHOD_ACOUSTIC = 101,
  METHOD_ELASTIC = 102,
  METHOD_ORTHORHOMBIC = 103,
  METHOD_ANISOTROPIC = 104,
};

// Time steps one pass over the planes advances at most, by default and at
// all (the planes between the first and the last step of a pass must stay
// in the cache).
constexpr int kDefaultStepsPerPass = 2;
constexpr int kMaxStepsPerPass = 8;

struct CCalcSettings {
  int m_nMethod = METHOD_ACOUSTIC;     // modelling method, 101..104
  int m_nNode = 0;                     // rank of this process in MPI_COMM_MT
  int m_nGroupSize = 0;                // processes sharing a shot by depth; 0 or 1 for none
  int m_nGroupRank = 0;                // place in the group, 0 for its leader
  int m_nFirstPoint = 0;               // shots of the run, for the progress line
  int m_nLastPoint = 0;                //
  double m_t0 = 0, m_dt = 0, m_t1 = 0; // recording window of the gathers, seconds
  CString m_strOutputDir;              // ends in '/' when not empty
  CString m_strModelPW, m_strModelSW, m_strModelD, m_strModelQ;
  CString m_strAnisEpsilon, m_strAnisDelta, m_strAnisGamma, m_strAnisPhi, m_strAnisAzimuth;
  bool m_bModelUseElevation = false;
  bool m_bBigSeismogram = false; // gathers kept in a spill file during the shot
  bool m_bRecovery = false;
  bool m_bDebug = false;
  int m_nSmoothModel = 0; // passes of the seven-point mean over the coefficients
  // Thomsen parameters and axis angles (degrees) where no cube gives them:
  // m_fAnisAzimuth is the task's FileAnisAzimuth, the tilt; m_fAnisPhi its
  // FileAnisPhi, the azimuth.
  float m_fAnisEpsilon = 0, m_fAnisDelta = 0, m_fAnisGamma = 0, m_fAnisAzimuth = 0, m_fAnisPhi = 0;
  bool m_bPlainSteps = false; // each half-step a sweep of its own (the reference of the fused pass)
  int m_nStepsPerPass = 1;    // time steps a pass over the planes may advance (temporal blocking)
  int m_nMemoryLimit = 0;     // MB a node is taken to have, 0 for its own
  int m_nHostMemoryGB = 0;    // GB a node is taken to have, 0 for its own
  int m_nGpuMemoryGB = 0;     // GB the device is taken to have, 0 for its own
  int m_nDevice = 0;          // CUDA device of this process

  // Samples of a gather trace over the recording window.
  int GetSeismogramTraceLen() const { return SeismogramTraceLen(m_t0, m_t1, m_dt); }
  // Name of the spill file of this process for shot nShot.
  CString GetBigSeisFileName(int nShot) const { return BigSeisFileName(m_nNode, nShot); }

  static int SeismogramTraceLen(double t0, double t1, double dt) {
    if (dt <= 0)
      return 1;
    return (int)((t1 - t0) / dt + 0.5) + 1;
  }
  static CString BigSeisFileName(int nNode, int nShot) { return CString(0, "BigSeis-%d(%d).bin", nNode, nShot); }
};

// The banner of a modelling method between two lines, printed when a shot
// (or a cluster run) starts.
void calc_PrintModelingMethod(int nMethod, int nViscoL);
