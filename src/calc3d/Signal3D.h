// Source time function of a shot: one scaled sample per time step.
#pragma once

#include <vector>

#include "common.h"

// Source types: where the signal of a shot is injected.
enum {
  SOURCE_OMNI = 0,
  SOURCE_VX = 1,
  SOURCE_VY = 2,
  SOURCE_VZ = 3,
  SOURCE_DIPOLE_X = 4,
  SOURCE_DIPOLE_Y = 5,
  SOURCE_DIPOLE_Z = 6,
  SOURCE_HARD = 7,
  SOURCE_DOUBLE_COUPLE = 8,
  SOURCE_DIRECTED = 9,
  SOURCE_FAULT_SLIP = 10,
};

// Printed name of a source type ("Unknown" outside the table).
const char* GetSourceTypeName(int nType);

class CSignal3D {
public:
  CSignal3D();
  ~CSignal3D();
  CSignal3D(const CSignal3D&) = delete;
  CSignal3D& operator=(const CSignal3D&) = delete;

  // Reads [Source] File, Frequency, Signal and t0. 0, or 1 when neither a
  // file nor a usable frequency is given.
  int LoadParamsFromIniFile(std::vector<CString>& ini);

  // Fills m_pSignal / m_nLen for time step dt and grid step h and sets
  // fT0, the time of sample 0. 0, -3 (file) or -105 (length).
  int Generate(double dt, double h, double& fT0);

  // Frees the samples.
  void Free();

  CString m_strFile;
  double m_fFrequency = 20;
  float* m_pSignal = nullptr;
  int m_nLen = 0;
  int m_nSignalMode = 0;
  double m_fDelay = 0;
  // The debug dump of the signal (signal3d.txt in m_strDumpDir) is written
  // only with m_bDumpDebug set, by node 1.
  bool m_bDumpDebug = false;
  int m_nNode = 0;
  CString m_strDumpDir;

private:
  int GenerateRicker(double dt, float fAmp, double& fT0);
  int GenerateFromFile(double dt, float fAmp, double& fT0);
  void DumpDebug(double dt, double fT0);
};
