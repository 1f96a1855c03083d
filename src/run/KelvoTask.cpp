// Reading of the job file into the application object.
#include <omp.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "KelvoApp.h"
#include "TaskChecks.h"
#include "TaskFile.h"
#include "calc1d/Calc1D.h"
#include "calc3d/Calc3D.h"
#include "calc3d/Calc3D_OMP.h"
#include "calc3d/FDLayout.h"
#include "cuda/Calc3D_CUDA.h"

static const char* const SEC_TASK = "[TASK]";
static const char* const SEC_MODELING = "[modeling]";
static const char* const SEC_SURVEY = "[Survey]";

// A string key read into a CString; the field keeps its value when absent.
static int read_string(std::vector<CString>& lines, const char* section, const char* key, CString& str) {
  char sz[255];
  int rc = get_parameter_string(lines, section, key, sz, sizeof(sz));
  if (rc == 0)
    str = sz;
  return rc;
}

// An anisotropy parameter: a file name if such a file exists, else a constant.
static void read_anis(std::vector<CString>& lines, const char* key, CString& strFile, float& fValue) {
  strFile.Empty();
  fValue = 0;
  char sz[255];
  if (get_parameter_string(lines, SEC_MODELING, key, sz, sizeof(sz)) != 0)
    return;
  if (access(sz, F_OK) == 0)
    strFile = sz;
  else
    fValue = (float)atof(sz);
}

static void print_node_usage(const CKelvoApp& app) {
  char szHost[80];
  if (gethostname(szHost, sizeof(szHost) - 1) != 0)
    szHost[0] = 0;
  szHost[sizeof(szHost) - 1] = 0;
  u_Print("Node: %s\n", szHost);
  u_Line();
  if (app.m_bUseCUDA) {
    if (g_nSize > 1)
      u_Print("  %d processes, each uses GPU CUDA device.\n", g_nSize - 1);
    else
      u_Print("  Single process uses GPU CUDA device.\n");
  } else if (app.m_nThreads <= 1) {
    if (g_nSize > 1)
      u_Print("  %d processes, each one uses a single CPU core.\n", g_nSize - 1);
    else
      u_Print("  Single process uses a single CPU core.\n");
  } else {
    if (g_nSize > 1)
      u_Print("  %d processes, each one use %d CPU core%s.\n", g_nSize - 1, app.m_nThreads, "s");
    else
      u_Print("  Single process uses %d CPU core%s.\n", app.m_nThreads, "s");
  }
  u_Line();
}

int CKelvoApp::ReadTask(const char* /*szFile*/) {
  std::vector<CString> lines;
  if (task_read_lines("runtask.ini", lines) != 0) {
    u_Print("The job specification file 'runtask.ini' is not read!\n\n");
    u_Print("The computation is stopped.\n");
    return -1;
  }
  return ReadTaskLines(lines);
}

int CKelvoApp::ReadTaskLines(std::vector<CString>& lines) {
  char sz[256];

  sz[0] = 0;
  get_parameter_string(lines, SEC_TASK, "taskType", sz, sizeof(sz));
  m_bMergeTask = false;
  if (strncmp(sz, "merge", 5) == 0) {
    m_bMergeTask = true;
  } else if (strncmp(sz, "modeling", 8) != 0) {
    u_Error("Incorrect 'runtask.ini' file (taskType '%s' is wrong, expected either 'modeling' or 'merge')!\n\n", sz);
    u_Print("The computation is stopped.\n");
    return 1;
  }

  if (get_parameter_string(lines, SEC_MODELING, "Run Computation", sz, sizeof(sz)) != 0) {
    u_Error("Incorrect 'runtask.ini' file ('Run Computation' is wrong)!\n\n");
    u_Print("The computation is stopped.\n");
    return 1;
  }
  bool bTTI = false;
  get_parameter_bool(lines, SEC_MODELING, "TTI Anisotropy", &bTTI);
  if (bTTI)
    m_nMethod = METHOD_ANISOTROPIC;
  else if (strcmp(sz, "Vertical Incidence") == 0)
    m_nMethod = METHOD_VERTICAL_INCIDENCE;
  else if (strcmp(sz, "3D Acoustic") == 0)
    m_nMethod = METHOD_ACOUSTIC;
  else if (strcmp(sz, "3D Elastic") == 0)
    m_nMethod = METHOD_ELASTIC;
  else if (strcmp(sz, "3D Elastic Anisotropic") == 0)
    m_nMethod = METHOD_ORTHORHOMBIC;
  else {
    u_Error("Error! Unknown modeling method (%s) specified in 'runtask.ini'. Should be '3D Acoustic' or '3D "
            "Elastic' or '3D Elastic Anisotropic'.\n",
            sz);
    u_Print("The computation is stopped.\n");
    return 1;
  }
  const CString strSection(0, "[%s]", sz);
  const bool b1D = m_nMethod == METHOD_VERTICAL_INCIDENCE;

  m_bDebug = false;
  get_parameter_bool(lines, SEC_MODELING, "Debug", &m_bDebug);
  m_bMerge = true;
  get_parameter_bool(lines, SEC_MODELING, "Merge", &m_bMerge);
  m_bParanoid = false;
  get_parameter_bool(lines, SEC_MODELING, "Paranoid", &m_bParanoid);

  m_bUseCUDA = false;
  get_parameter_bool(lines, "[GPU]", "Use CUDA", &m_bUseCUDA);
  if (m_bUseCUDA) {
    m_nDevice = 0;
    get_parameter_int(lines, "[GPU]", "Device", &m_nDevice);
    if (InitGPU() != 0)
      return -1;
  }

  m_nCPUs = os::GetCPUCount();
  if (!m_bUseCUDA || b1D) {
    m_nThreads = 0;
    get_parameter_int(lines, "[optimization]", "threads per process", &m_nThreads);
    if (m_nThreads < 1)
      m_nThreads = m_nCPUs;
    omp_set_num_threads(m_nThreads);
    m_bPlainSteps = false;
    get_parameter_bool(lines, "[optimization]", "plain steps", &m_bPlainSteps);
    m_nStepsPerPass = kDefaultStepsPerPass;
    get_parameter_int(lines, "[optimization]", "steps per pass", &m_nStepsPerPass);
    m_nStepsPerPass = m_bPlainSteps ? 1 : std::min(std::max(m_nStepsPerPass, 1), kMaxStepsPerPass);
    u_Print("CPU: Threads = %d\n", m_nThreads);
  }
  print_node_usage(*this);

  m_strOutputDir.Empty();
  m_strModelPW.Empty();
  m_strModelSW.Empty();
  m_strModelD.Empty();
  m_strModelQ.Empty();
  m_strGeometry.Empty();
  read_string(lines, SEC_MODELING, "OutputDir", m_strOutputDir);
  read_string(lines, SEC_SURVEY, "Geometry", m_strGeometry);
  read_string(lines, SEC_MODELING, "Model Name", m_strModelPW);
  if (m_strModelPW.IsEmpty())
    read_string(lines, SEC_MODELING, "FileModelPW", m_strModelPW);
  read_string(lines, SEC_MODELING, "FileModelD", m_strModelD);
  read_string(lines, SEC_MODELING, "FileModelQ", m_strModelQ);

  if (!m_strOutputDir.IsEmpty()) {
    const char cLast = m_strOutputDir[(int)m_strOutputDir.GetLength() - 1];
    if (cLast != '/' && cLast != '\\')
      m_strOutputDir += '/';
    if (make_dir(m_strOutputDir) != 0) {
      if (errno == EEXIST)
        u_Error("OutputDir directory '%s' is inaccessible!\n", (const char*)m_strOutputDir);
      else
        u_Error("OutputDir directory '%s' is not found and can not be created!\n", (const char*)m_strOutputDir);
      return 1;
    }
  }
  if (!task_DirWritable(m_strOutputDir)) {
    u_Error("Error! No file can be written in the output directory '%s': the results could not be saved.\n",
            m_strOutputDir.IsEmpty() ? "." : (const char*)m_strOutputDir);
    return 1;
  }

  if (m_nMethod > METHOD_ACOUSTIC)
    read_string(lines, SEC_MODELING, "FileModelSW", m_strModelSW);
  if (m_nMethod > METHOD_ELASTIC) {
    read_anis(lines, "FileAnisEpsilon", m_strAnisEpsilon, m_fAnisEpsilon);
    read_anis(lines, "FileAnisDelta", m_strAnisDelta, m_fAnisDelta);
    read_anis(lines, "FileAnisGamma", m_strAnisGamma, m_fAnisGamma);
    read_anis(lines, "FileAnisPhi", m_strAnisPhi, m_fAnisPhi);
    read_anis(lines, "FileAnisAzimuth", m_strAnisAzimuth, m_fAnisAzimuth);
  }

  int nElevation = 0;
  get_parameter_int(lines, SEC_MODELING, "ModelUseElevation", &nElevation);
  m_bModelUseElevation = nElevation != 0;
  if (get_parameter_double(lines, SEC_SURVEY, "t0", &m_t0) != 0)
    return 1;
  if (get_parameter_double(lines, SEC_SURVEY, "t1", &m_t1) != 0)
    return 1;
  if (get_parameter_double(lines, SEC_SURVEY, "dt", &m_dt) != 0)
    return 1;

  m_nSmoothModel = 0;
  get_parameter_int(lines, SEC_MODELING, "Smooth Model", &m_nSmoothModel);
  m_nMemoryLimit = 0;
  get_parameter_int(lines, SEC_MODELING, "Memory Limit", &m_nMemoryLimit);
  m_nHostMemoryGB = 0;
  get_parameter_int(lines, SEC_MODELING, "HostMemoryGB", &m_nHostMemoryGB);
  m_nGpuMemoryGB = 0;
  if (m_bUseCUDA)
    get_parameter_int(lines, SEC_MODELING, "GpuMemoryGB", &m_nGpuMemoryGB);

  int rc = 0;
  if (b1D) {
    delete m_pCalc1D;
    m_pCalc1D = new CCalc1D(*this);
    rc = m_pCalc1D->ReadTask1D(lines);
    if (rc != 0)
      return rc;
  } else {
    delete m_pCalc3D;
    if (m_bUseCUDA)
      m_pCalc3D = new CCalc3D_CUDA();
    else
      m_pCalc3D = new CCalc3D_OMP();
    m_pCalc3D->m_nStart = fd::FdMethod(m_nMethod).nStart;
    if (m_nFirstPoint == 0)
      get_parameter_int(lines, SEC_MODELING, "First Point", &m_nFirstPoint);
    if (m_nLastPoint == 0)
      get_parameter_int(lines, SEC_MODELING, "Last Point", &m_nLastPoint);
    m_bUseShotId = false;
    get_parameter_bool(lines, SEC_MODELING, "UseShotId", &m_bUseShotId);
    m_bShotsDefinedByCoordinates = false;
    get_parameter_bool(lines, SEC_SURVEY, "ShotsDefinedByCoordinates", &m_bShotsDefinedByCoordinates);
    if (m_bUseShotId && m_bShotsDefinedByCoordinates) {
      u_Error("Error! Contradicting settings encountered. 'UseShotId' and 'ShotsDefinedByCoordinates' cannot "
              "both be 1.");
      return -1;
    }
    m_bRecovery = false;
    get_parameter_bool(lines, SEC_MODELING, "Recovery", &m_bRecovery);
    int nGroupSize = 0;
    get_parameter_int(lines, "[MPI]", "Group Size", &nGroupSize);
    m_nGroupSize = (nGroupSize > 0 && nGroupSize < m_nSize) ? nGroupSize : 0;
    m_bBigSeismogram = false;
    get_parameter_bool(lines, "[MPI]", "Big Seismogram", &m_bBigSeismogram);
    ShareCalcSettings();
    rc = m_pCalc3D->ReadTask3D(strSection, lines);
    if (rc != 0)
      return rc;
    if (!m_bMergeTask && task_CheckSnapshots(*m_pCalc3D, m_t1) != 0)
      return 1;
  }

  if (m_bRecovery && !b1D) {
    FILE* fp = fopen("Recovery.dat", "rt");
    if (fp) {
      char szNum[49];
      if (fgets(szNum, sizeof(szNum), fp)) {
        const int nShot = atoi(szNum);
        if (nShot > m_nCurPoint && nShot <= m_nLastPoint) {
          m_nCurPoint = nShot;
          u_Print("RECOVER: Continue from shot #%d\n", nShot);
        }
      }
      fclose(fp);
    }
  }

  const int nRedundant = task_report_redundant(lines, m_bParanoid);
  if (m_bParanoid && nRedundant > 0)
    return -1;
  return 0;
}
