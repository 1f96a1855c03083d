#include "output/ExampleJob.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <vector>

#include "seisfile/SdsPC.h"

const char* CExampleJob::VP_FILE = "vp.sgy";
const char* CExampleJob::VS_FILE = "vs.sgy";
const char* CExampleJob::DENSITY_FILE = "density.sgy";
const char* CExampleJob::Q_FILE = "q.sgy";
const char* CExampleJob::SURVEY_FILE = "survey.txt";
const char* CExampleJob::TASK_FILE = "runtask.ini";

namespace {
enum { CUBE_VP = 0, CUBE_VS = 1, CUBE_DENSITY = 2, CUBE_Q = 3 };
}

CExampleJob::CExampleJob() : m_strDir(".") {
  m_vLayers.push_back(CLayer{100, 1500});
  m_vLayers.push_back(CLayer{200, 2000});
  m_vLayers.push_back(CLayer{1e30, 2500});
}

CString CExampleJob::Path(const char* szName) const {
  if (m_strDir.IsEmpty())
    return CString(szName);
  return CString(0, "%s/%s", (const char*)m_strDir, szName);
}

double CExampleJob::VelocityAt(double z) const {
  for (const CLayer& l : m_vLayers)
    if (z < l.m_fBottom)
      return l.m_fVp;
  return m_vLayers.empty() ? 2000.0 : m_vLayers.back().m_fVp;
}

double CExampleJob::QualityAt(double z) const {
  if (m_vQ.empty())
    return 0.0;
  if (m_vQ.size() == 1)
    return m_vQ[0];
  for (size_t i = 0; i < m_vLayers.size() && i < m_vQ.size(); i++)
    if (z < m_vLayers[i].m_fBottom)
      return m_vQ[i];
  return m_vQ.back();
}

CString CExampleJob::Check() const {
  if (m_bQ && m_vQ.size() != 1 && m_vQ.size() != m_vLayers.size())
    return CString(0, "%d quality factors for %d layers: give one, or one per layer", (int)m_vQ.size(),
                   (int)m_vLayers.size());
  if (m_nViscoL < 0 || m_nViscoL > 10)
    return CString(0, "%d relaxation mechanisms: 1 to 10, or 0 for none", m_nViscoL);
  if (m_nViscoL > 0 && m_strMethod == "3D Acoustic")
    return CString("a viscoelastic medium needs an elastic method");
  if (m_nViscoL > 0 && !m_bQ)
    return CString("a viscoelastic medium needs the quality-factor cube");
  return CString();
}

C3DPointR CExampleJob::ShotPosition(int nShot) const {
  double x = m_fX0 + (m_fX1 - m_fX0) * nShot / (m_nShots + 1);
  // On a model node, so that the shot sits on a grid point of the usual grids.
  if (m_fModelStep > 0)
    x = m_fX0 + std::floor((x - m_fX0) / m_fModelStep + 0.5) * m_fModelStep;
  return C3DPointR(x, 0.5 * (m_fY0 + m_fY1), m_fShotZ);
}

C3DPointR CExampleJob::ReceiverPosition(int nLine, int nReceiver) const {
  // Keep two model steps off the sides so that every receiver is on the grid.
  const double margin = 2 * m_fModelStep;
  const double x = m_nReceivers > 1 ? m_fX0 + margin + (m_fX1 - m_fX0 - 2 * margin) * nReceiver / (m_nReceivers - 1)
                                    : 0.5 * (m_fX0 + m_fX1);
  const double y = m_fY0 + (m_fY1 - m_fY0) * (nLine + 1) / (m_nLines + 1);
  return C3DPointR(x, y, m_fRcvZ);
}

int CExampleJob::Write() const {
  const CString strProblem = Check();
  if (!strProblem.IsEmpty()) {
    u_Error("Error! Inconsistent example job: %s.\n", (const char*)strProblem);
    return -6;
  }
  if (!m_strDir.IsEmpty() && make_dir(m_strDir) != 0 && errno != EEXIST) {
    u_Error("Error! Unable to create the job directory '%s'.\n", (const char*)m_strDir);
    return -1;
  }
  int n = WriteModel();
  if (n == 0)
    n = WriteSurvey();
  if (n == 0)
    n = WriteTask();
  return n;
}

int CExampleJob::WriteModel() const {
  if (m_fModelStep <= 0 || m_fX1 <= m_fX0 || m_fY1 <= m_fY0 || m_fZ1 <= m_fZ0) {
    u_Error("Error! Empty model cube or model step.\n");
    return -2;
  }
  int n = WriteCube(VP_FILE, CUBE_VP);
  if (n == 0 && m_bVs)
    n = WriteCube(VS_FILE, CUBE_VS);
  if (n == 0 && m_bDensity)
    n = WriteCube(DENSITY_FILE, CUBE_DENSITY);
  if (n == 0 && m_bQ)
    n = WriteCube(Q_FILE, CUBE_Q);
  return n;
}

int CExampleJob::WriteCube(const char* szName, int nComponent) const {
  const int nx = (int)std::floor((m_fX1 - m_fX0) / m_fModelStep + 0.5) + 1;
  const int ny = (int)std::floor((m_fY1 - m_fY0) / m_fModelStep + 0.5) + 1;
  const int nz = (int)std::floor((m_fZ1 - m_fZ0) / m_fModelStep + 0.5) + 1;
  const CCubeR cube(m_fX0, m_fY0, m_fZ0, m_fX0 + (nx - 1) * m_fModelStep, m_fY0 + (ny - 1) * m_fModelStep,
                    m_fZ0 + (nz - 1) * m_fModelStep);
  const CString strPath = Path(szName);
  CSdsPC sds;
  if (!sds.Create3D_file(strPath, C3DSizeN(nx, ny, nz), cube, 0, DU_M, 0, nullptr) ||
      !sds.OnOpen(strPath, 1, 1, 0, 0)) {
    u_Error("Error! Unable to write the model file '%s'.\n", (const char*)strPath);
    return -3;
  }
  // All columns are alike: the model is layered.
  std::vector<float> column(nz), trace(nz);
  for (int z = 0; z < nz; z++) {
    const double depth = cube.z0 + z * m_fModelStep;
    const double vp = VelocityAt(depth);
    double v = vp;
    if (nComponent == CUBE_VS)
      v = vp / std::sqrt(3.0);
    if (nComponent == CUBE_DENSITY)
      v = 310.0 * std::pow(vp, 0.25);
    if (nComponent == CUBE_Q)
      v = QualityAt(depth);
    column[z] = (float)v;
  }
  if (sds.m_nTraceCount != nx * ny) {
    u_Error("Error! Unable to write the model file '%s'.\n", (const char*)strPath);
    return -3;
  }
  for (int i = 0; i < nx * ny; i++) {
    trace = column; // SetTrace encodes its buffer in place
    sds.SetTrace(i, trace.data(), nz);
  }
  return 0;
}

int CExampleJob::WriteSurvey() const {
  const CString strPath = Path(SURVEY_FILE);
  FILE* fp = fopen(strPath, "w");
  if (!fp) {
    u_Error("Error! Unable to write the survey file '%s'.\n", (const char*)strPath);
    return -4;
  }
  fprintf(fp, "# sx sy sz rx ry rz inline crossline shot-id k11 k22 k33 k12 k13 k23 trace-id file-id\n");
  for (int s = 1; s <= m_nShots; s++) {
    const C3DPointR S = ShotPosition(s);
    const int nShotId = m_nShotIdBase > 0 ? m_nShotIdBase + s : -1;
    for (int l = 0; l < m_nLines; l++) {
      for (int r = 0; r < m_nReceivers; r++) {
        const C3DPointR R = ReceiverPosition(l, r);
        const int nTraceId = m_nTraceIdBase > 0 ? m_nTraceIdBase + l * m_nReceivers + r : -1;
        const int nFileId = m_nTraceIdBase > 0 ? 7000 + s : -1;
        fprintf(fp, "%g %g %g %g %g %g %d %d %d 0 0 0 0 0 0 %d %d\n", S.x, S.y, S.z, R.x, R.y, R.z, l + 1, r + 1,
                nShotId, nTraceId, nFileId);
      }
    }
  }
  if (fclose(fp) != 0) {
    u_Error("Error! Unable to write the survey file '%s'.\n", (const char*)strPath);
    return -4;
  }
  return 0;
}

int CExampleJob::WriteTask() const {
  const CString strPath = Path(TASK_FILE);
  FILE* fp = fopen(strPath, "w");
  if (!fp) {
    u_Error("Error! Unable to write the job file '%s'.\n", (const char*)strPath);
    return -5;
  }
  const bool bShear = m_strMethod != "3D Acoustic";
  fprintf(fp, "[TASK]\ntaskType=modeling\n\n");
  fprintf(fp, "[modeling]\nRun Computation=%s\n", (const char*)m_strMethod);
  fprintf(fp, "Model Name=%s\n", VP_FILE);
  if (m_bDensity)
    fprintf(fp, "FileModelD=%s\n", DENSITY_FILE);
  if (bShear && m_bVs)
    fprintf(fp, "FileModelSW=%s\n", VS_FILE);
  if (m_bQ)
    fprintf(fp, "FileModelQ=%s\n", Q_FILE);
  if (!m_strOutputDir.IsEmpty())
    fprintf(fp, "OutputDir=%s\n", (const char*)m_strOutputDir);
  fprintf(fp, "PML=%d\nMerge=%d\nRecovery=%d\n", m_bPML ? 1 : 0, m_bMerge ? 1 : 0, m_bRecovery ? 1 : 0);
  if (m_nFirstPoint > 0)
    fprintf(fp, "First Point=%d\n", m_nFirstPoint);
  if (m_nLastPoint > 0)
    fprintf(fp, "Last Point=%d\n", m_nLastPoint);
  fprintf(fp, "\n[Survey]\nGeometry=%s\nt0=%g\nt1=%g\ndt=%g\n", SURVEY_FILE, m_t0, m_t1, m_tdt);
  fprintf(fp, "\n[Mesh]\ndx=%g\ndt=%g\n", m_fH, m_fDt);
  fprintf(fp, "\n[Source]\nType=0\nFrequency=%g\n", m_fFrequency);
  fprintf(fp, "\n[MPI]\nBig Seismogram=%d\n", m_bBigSeismogram ? 1 : 0);
  // The reader takes the mechanisms only from an elastic job with a Q cube.
  if (bShear && m_bQ && m_nViscoL > 0)
    fprintf(fp, "\n[ViscoElastic]\nL=%d\nUseApparentVelocity=%d\n", m_nViscoL, m_bApparentVelocity ? 1 : 0);
  if (m_nTimeFieldType != 0) {
    fprintf(fp, "\n[Time]\nType=%d\n", m_nTimeFieldType);
    if (m_fTimeStep > 0)
      fprintf(fp, "dx=%g\n", m_fTimeStep);
  }
  if (!m_strSnap3DTimes.IsEmpty() && !m_strSnap3DComponents.IsEmpty()) {
    const double step = m_fSnap3DStep > 0 ? m_fSnap3DStep : m_fH;
    fprintf(fp, "\n[3DSnapshot]\nShots=0\nTimes=%s\nComponents=%s\ndx=%g\ndy=%g\ndz=%g\n",
            (const char*)m_strSnap3DTimes, (const char*)m_strSnap3DComponents, step, step, step);
  }
  if (m_nThreads > 0)
    fprintf(fp, "\n[optimization]\nthreads per process=%d\n", m_nThreads);
  if (fclose(fp) != 0) {
    u_Error("Error! Unable to write the job file '%s'.\n", (const char*)strPath);
    return -5;
  }
  return 0;
}
