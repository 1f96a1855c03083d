// A small self-contained modelling job: a layered model as SEG-Y cubes, a
// text survey of shots along a line with receiver lines, and the job file.
// Used by the job generator tool and by the tests that run whole jobs.
#pragma once

#include <vector>

#include "common.h"

class CExampleJob {
public:
  struct CLayer {
    double m_fBottom; // depth of the layer's base, metres (the last layer runs to the model's base)
    double m_fVp;     // P-wave velocity, m/s
  };

  CExampleJob();

  // Directory of the job; created when missing.
  CString m_strDir;

  // Model cube (metres, z down) and its sampling.
  double m_fX0 = 0, m_fX1 = 400, m_fY0 = 0, m_fY1 = 400, m_fZ0 = 0, m_fZ1 = 300;
  double m_fModelStep = 10;
  std::vector<CLayer> m_vLayers;
  bool m_bVs = false;      // also write an S-velocity cube (Vp / sqrt(3))
  bool m_bDensity = false; // also write a density cube (Gardner's relation)
  // Quality-factor cube: one value for all layers, or one per layer.
  bool m_bQ = false;
  std::vector<double> m_vQ{50.0};

  // Survey: shots evenly along x at mid y, receiver lines evenly over y.
  int m_nShots = 2;
  int m_nLines = 1;
  int m_nReceivers = 21;     // per line
  double m_fShotZ = 20;      // shot depth
  double m_fRcvZ = 20;       // receiver depth
  int m_nShotIdBase = 100;   // shot s (1-based) gets id base + s; 0 writes no ids
  int m_nTraceIdBase = 1000; // receiver i of a shot gets trace id base + i; 0 writes none
  // Column 17 of the survey is the id of the shot's field file: 7000 + shot.

  // Job file.
  CString m_strMethod = "3D Acoustic";
  double m_fH = 10;                           // grid step
  double m_fDt = 0.001;                       // time step
  double m_t0 = 0, m_t1 = 0.3, m_tdt = 0.002; // recording window
  double m_fFrequency = 15;
  bool m_bPML = true;
  bool m_bMerge = true;
  bool m_bRecovery = false;
  bool m_bBigSeismogram = false;
  int m_nFirstPoint = 0, m_nLastPoint = 0; // 0: all shots
  int m_nThreads = 0;                      // 0: all processors
  CString m_strOutputDir;
  // Viscoelastic medium (elastic methods with the Q cube): relaxation
  // mechanisms, 0 for none, and whether the model's velocities are apparent.
  int m_nViscoL = 0;
  bool m_bApparentVelocity = false;
  // Optional products: arrival-time cubes (bit 0 max energy, bit 1 max
  // divergence) on a grid of the given step, and 3-D snapshots of the listed
  // components at the listed times (seconds, separated by blanks).
  int m_nTimeFieldType = 0;
  double m_fTimeStep = 0; // 0: the grid step
  CString m_strSnap3DTimes;
  CString m_strSnap3DComponents;
  double m_fSnap3DStep = 0; // 0: the grid step

  // File names inside the job directory.
  static const char* VP_FILE;
  static const char* VS_FILE;
  static const char* DENSITY_FILE;
  static const char* Q_FILE;
  static const char* SURVEY_FILE;
  static const char* TASK_FILE;

  // P velocity at depth z.
  double VelocityAt(double z) const;
  // Quality factor at depth z.
  double QualityAt(double z) const;
  // Empty when the settings make a consistent job, else what is wrong.
  CString Check() const;
  // Source and receiver positions as written to the survey.
  C3DPointR ShotPosition(int nShot) const; // nShot 1-based
  C3DPointR ReceiverPosition(int nLine, int nReceiver) const;

  // Writes everything. 0 on success, else a negative number with a message.
  int Write() const;
  int WriteModel() const;
  int WriteSurvey() const;
  int WriteTask() const;

private:
  CString Path(const char* szName) const;
  int WriteCube(const char* szName, int nComponent) const;
};
