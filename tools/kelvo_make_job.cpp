// Writes a small example modelling job: a layered (or homogeneous) model, with
// a fault and a salt body if asked, as SEG-Y cubes, a text survey and
// runtask.ini. See --help.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ExampleModel.h"
#include "calc3d/CalcSettings.h"
#include "common.h"
#include "output/ExampleJob.h"
#include "seisfile/SdsPC.h"

namespace {

void PrintUsage() {
  printf("Usage: kelvo_make_job [options]\n"
         "Writes an example modelling job (model cubes, survey, runtask.ini) into a directory.\n\n"
         "Job directory:\n"
         "  --dir DIR             job directory, created when missing (default ./example-job)\n"
         "Model:\n"
         "  --size X,Y,Z          model extent in metres from 0 (default 400,400,300)\n"
         "  --model-step M        sampling of the model cubes in metres (default: the grid step)\n"
         "  --layers V:Z,...,V    layer velocities with the depth of each base, the last one\n"
         "                        without (default 1500:100,2000:200,2500)\n"
         "  --vp V                homogeneous model of velocity V\n"
         "  --vs                  also write an S-velocity cube (Vp/sqrt(3)); implied by elastic\n"
         "  --density             also write a density cube (Gardner's relation); implied by elastic\n"
         "  --q Q[,Q...]          also write a quality-factor cube: one Q for all layers, or one\n"
         "                        per layer (default 50 with --visco)\n"
         "  --fault X,DIP,THROW   normal fault striking along y from x = X at the top, dipping\n"
         "                        towards +x at DIP degrees; its hanging wall lies THROW m deeper\n"
         "  --salt X,Y,Z,R[,H]    salt body: ellipsoid centred at X,Y,Z of horizontal radius R and\n"
         "                        half-height H (default R); Vp 4500, density 2150, Q 200\n"
         "Survey:\n"
         "  --shots N             shots along x at mid y (default 2)\n"
         "  --lines N             receiver lines along x (default 1)\n"
         "  --receivers N         receivers per line (default 21)\n"
         "  --shot-depth Z        shot depth in metres (default 20)\n"
         "  --receiver-depth Z    receiver depth in metres (default 20)\n"
         "  --shot-id-base N      shot s gets the id N+s; 0 for no ids (default 100)\n"
         "Job file:\n"
         "  --method NAME         acoustic, elastic, vertical (1-D vertical incidence),\n"
         "                        vti (vertical transversely isotropic medium),\n"
         "                        tti (tilted one) (default acoustic; elastic with --visco)\n"
         "  --thomsen E,D,G       epsilon, delta and gamma of vti and tti (default 0.2,0.1,0.1)\n"
         "  --axis TILT,AZIMUTH   direction of the symmetry axis of tti, degrees (default 30,45)\n"
         "  --visco L             viscoelastic medium of L relaxation mechanisms (1..10) from the\n"
         "                        Q cube; elastic method\n"
         "  --apparent            the model's velocities are apparent ones (with --visco)\n"
         "  --dx M                grid step in metres (default 10)\n"
         "  --dt S                time step in seconds (default 0.001)\n"
         "  --record T1[,DT]      record length and sample interval in seconds (default 0.3,0.002)\n"
         "  --frequency F         Ricker frequency in Hz (default 15)\n"
         "  --pml 0|1             absorbing layer (default 1)\n"
         "  --surface TYPE        top of the model: invisible or free (default invisible)\n"
         "  --suppress-sv 0|1     suppress the S wave of the source in elastic media (default 1)\n"
         "  --merge 0|1           merge the per-shot gathers at the end (default 1)\n"
         "  --recovery 0|1        skip shots whose gathers exist (default 0)\n"
         "  --big-seismogram 0|1  keep gathers in a file during the run (default 0)\n"
         "  --first N, --last N   range of shots to compute (default all)\n"
         "  --threads N           compute threads (default all processors)\n"
         "  --group-size N        split each shot by depth over N processes under mpirun\n"
         "Results besides the gathers:\n"
         "  --snapshot T0,DT      2-D snapshots (x-z section through the shot) of every shot\n"
         "                        every DT seconds from T0\n"
         "  --time-field TYPE     first-arrival time cubes: 1 max energy, 2 max divergence, 3 both\n"
         "  --snap3d T[,T...]:C   3-D snapshots at the times T of the components C (letters of ZXYC)\n"
         "  --output-dir DIR      directory of the results, relative to the job (default the job)\n");
}

// The items of a comma-separated list ("" gives one empty item).
std::vector<std::string> SplitCommas(const char* sz) {
  std::vector<std::string> v;
  const std::string s(sz);
  size_t pos = 0;
  for (;;) {
    const size_t end = s.find(',', pos);
    v.push_back(s.substr(pos, end == std::string::npos ? std::string::npos : end - pos));
    if (end == std::string::npos)
      return v;
    pos = end + 1;
  }
}

bool ParseLayers(const char* sz, CExampleJob& job) {
  job.m_vLayers.clear();
  const std::vector<std::string> items = SplitCommas(sz);
  for (size_t k = 0; k < items.size(); k++) {
    const std::string& item = items[k];
    double v = 0, z = 1e30;
    const size_t colon = item.find(':');
    char* stop = nullptr;
    v = strtod(item.c_str(), &stop);
    if (stop == item.c_str() || v <= 0)
      return false;
    if (colon != std::string::npos) {
      z = strtod(item.c_str() + colon + 1, &stop);
      if (*stop != 0)
        return false;
      if (!job.m_vLayers.empty() && z <= job.m_vLayers.back().m_fBottom)
        return false;
    } else if (k + 1 != items.size()) {
      return false; // only the last layer may leave out its base
    }
    job.m_vLayers.push_back(CExampleJob::CLayer{z, v});
  }
  return !job.m_vLayers.empty();
}

bool ParseNumber(const char* sz, double& v) {
  char* stop = nullptr;
  v = strtod(sz, &stop);
  return stop != sz && *stop == 0;
}

// One quality factor, or a list of them, each above 0.
bool ParseQualities(const char* sz, std::vector<double>& v) {
  v.clear();
  for (const std::string& item : SplitCommas(sz)) {
    double q = 0;
    if (!ParseNumber(item.c_str(), q) || q <= 0)
      return false;
    v.push_back(q);
  }
  return !v.empty();
}

bool ParseInt(const char* sz, int& v) {
  char* stop = nullptr;
  long n = strtol(sz, &stop, 10);
  v = (int)n;
  return stop != sz && *stop == 0;
}

bool ParseBool(const char* sz, bool& b) {
  int n = 0;
  if (!ParseInt(sz, n) || (n != 0 && n != 1))
    return false;
  b = n != 0;
  return true;
}

// Anisotropy of the example medium: Thomsen parameters and the direction of
// its symmetry axis, written as cubes of constant value next to the model.
struct CAnisotropy {
  int nMethod = 0; // 0 none, METHOD_ORTHORHOMBIC (vti), METHOD_ANISOTROPIC (tti)
  double v[5] = {0.2, 0.1, 0.1, 30, 45};
};

const char* const kAnisKeys[5] = {"FileAnisEpsilon", "FileAnisDelta", "FileAnisGamma", "FileAnisAzimuth",
                                  "FileAnisPhi"};
const char* const kAnisFiles[5] = {"epsilon.sgy", "delta.sgy", "gamma.sgy", "tilt.sgy", "azimuth.sgy"};

// Everything the command line sets: the job of CExampleJob and the keys the
// generator adds to its job file.
struct CMakeJob {
  CExampleJob job;
  CAnisotropy anis;
  CModelShapes shapes;
  bool bModelStep = false;
  bool bMethod = false;
  int nSurfType = 0;
  int nSuppressSV = -1; // -1: not written
  int nGroupSize = 0;
  double fSnapT0 = -1, fSnapDt = 0;
};

// Puts lines of keys behind the header of a section of the job file, or in a
// new section at its end. 0 on success.
int AddTaskKeys(const CExampleJob& job, const char* szSection, const std::string& keys) {
  const CString strTask = JobPath(job, CExampleJob::TASK_FILE);
  std::string text;
  if (FILE* fp = fopen(strTask, "r")) {
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof(buf), fp)) > 0)
      text.append(buf, n);
    fclose(fp);
  }
  const std::string header = std::string("[") + szSection + "]\n";
  const size_t pos = text.find(header);
  if (pos == std::string::npos)
    text += "\n" + header + keys;
  else
    text.insert(pos + header.size(), keys);
  FILE* fp = fopen(strTask, "w");
  if (!fp || fwrite(text.data(), 1, text.size(), fp) != text.size()) {
    if (fp)
      fclose(fp);
    fprintf(stderr, "kelvo_make_job: unable to write '%s'\n", (const char*)strTask);
    return 1;
  }
  fclose(fp);
  return 0;
}

// The cubes of an anisotropic medium, and their keys (with the switch to
// the general scheme for a tilted one) in the [modeling] section of the job
// file.
int WriteAnisotropy(const CExampleJob& job, const CAnisotropy& an) {
  const int nCubes = an.nMethod == METHOD_ANISOTROPIC ? 5 : 3;
  for (int k = 0; k < nCubes; k++) {
    const double v = an.v[k];
    if (WriteModelCube(job, kAnisFiles[k], [v](double, double, double) { return v; }) != 0)
      return 1;
  }
  std::string keys;
  if (an.nMethod == METHOD_ANISOTROPIC)
    keys += "TTI Anisotropy=1\n";
  for (int k = 0; k < nCubes; k++)
    keys += std::string(kAnisKeys[k]) + "=" + kAnisFiles[k] + "\n";
  return AddTaskKeys(job, "modeling", keys);
}

// The keys of the job file that CExampleJob does not write.
int WriteExtraKeys(const CMakeJob& m) {
  const CExampleJob& job = m.job;
  if (m.nSurfType != 0 && AddTaskKeys(job, "modeling", CString(0, "SurfType=%d\n", m.nSurfType).c_str()) != 0)
    return 1;
  if (m.nSuppressSV >= 0 && AddTaskKeys(job, "Source", CString(0, "SuppressSV=%d\n", m.nSuppressSV).c_str()) != 0)
    return 1;
  if (m.fSnapT0 >= 0 &&
      AddTaskKeys(job, "Snapshot", CString(0, "Every=1\nt0=%g\ndt=%g\n", m.fSnapT0, m.fSnapDt).c_str()) != 0)
    return 1;
  // A shot split by depth: every process of the host computes, whatever
  // devices it holds.
  if (m.nGroupSize > 0 && (AddTaskKeys(job, "MPI", CString(0, "Group Size=%d\n", m.nGroupSize).c_str()) != 0 ||
                           AddTaskKeys(job, "GPU", "Skip Device Count Detection = 1\n") != 0))
    return 1;
  return 0;
}

bool ParseList(const char* sz, std::vector<double>& v, size_t nMin, size_t nMax) {
  v.clear();
  for (const std::string& item : SplitCommas(sz)) {
    double x = 0;
    if (!ParseNumber(item.c_str(), x))
      return false;
    v.push_back(x);
  }
  return v.size() >= nMin && v.size() <= nMax;
}

bool ParseShapes(const char* opt, const char* val, CModelShapes& sh) {
  std::vector<double> v;
  if (!strcmp(opt, "--fault")) {
    if (!ParseList(val, v, 3, 3) || v[1] <= 0 || v[1] > 90)
      return false;
    sh.m_bFault = true;
    sh.m_fFaultX = v[0], sh.m_fFaultDip = v[1], sh.m_fFaultThrow = v[2];
    return true;
  }
  // --salt
  if (!ParseList(val, v, 4, 5) || v[3] <= 0 || (v.size() == 5 && v[4] <= 0))
    return false;
  sh.m_bSalt = true;
  sh.m_fSaltX = v[0], sh.m_fSaltY = v[1], sh.m_fSaltZ = v[2], sh.m_fSaltR = v[3];
  sh.m_fSaltH = v.size() == 5 ? v[4] : v[3];
  return true;
}

// TIMES:COMPONENTS, times separated by commas, components letters of ZXYC.
bool ParseSnap3D(const char* val, CExampleJob& job) {
  const char* colon = strchr(val, ':');
  if (!colon || !colon[1] || strspn(colon + 1, "ZXYC") != strlen(colon + 1))
    return false;
  std::vector<double> v;
  if (!ParseList(std::string(val, colon - val).c_str(), v, 1, 64))
    return false;
  job.m_strSnap3DTimes = "";
  for (double t : v) {
    if (t <= 0)
      return false;
    job.m_strSnap3DTimes += CString(0, "%s%g", job.m_strSnap3DTimes.IsEmpty() ? "" : " ", t);
  }
  job.m_strSnap3DComponents = colon + 1;
  return true;
}

bool ParseMethod(const char* val, CMakeJob& m) {
  CExampleJob& job = m.job;
  m.bMethod = true;
  if (!strcmp(val, "acoustic"))
    job.m_strMethod = "3D Acoustic";
  else if (!strcmp(val, "elastic"))
    job.m_strMethod = "3D Elastic";
  else if (!strcmp(val, "vertical"))
    job.m_strMethod = "Vertical Incidence";
  else if (!strcmp(val, "vti") || !strcmp(val, "tti")) {
    job.m_strMethod = "3D Elastic Anisotropic";
    m.anis.nMethod = val[0] == 'v' ? METHOD_ORTHORHOMBIC : METHOD_ANISOTROPIC;
  } else
    return false;
  return true;
}

// Options of the model and the survey. Sets bKnown when the option is one of them.
bool ParseModelOption(const char* opt, const char* val, CMakeJob& m, bool& bKnown) {
  CExampleJob& job = m.job;
  bKnown = true;
  if (!strcmp(opt, "--size"))
    return sscanf(val, "%lf,%lf,%lf", &job.m_fX1, &job.m_fY1, &job.m_fZ1) == 3 && job.m_fX1 > 0 && job.m_fY1 > 0 &&
           job.m_fZ1 > 0;
  if (!strcmp(opt, "--model-step")) {
    m.bModelStep = true;
    return ParseNumber(val, job.m_fModelStep) && job.m_fModelStep > 0;
  }
  if (!strcmp(opt, "--layers"))
    return ParseLayers(val, job);
  if (!strcmp(opt, "--vp")) {
    double v = 0;
    if (!ParseNumber(val, v) || v <= 0)
      return false;
    job.m_vLayers.assign(1, CExampleJob::CLayer{1e30, v});
    return true;
  }
  if (!strcmp(opt, "--vs"))
    return job.m_bVs = true;
  if (!strcmp(opt, "--density"))
    return job.m_bDensity = true;
  if (!strcmp(opt, "--q"))
    return (job.m_bQ = true) && ParseQualities(val, job.m_vQ);
  if (!strcmp(opt, "--fault") || !strcmp(opt, "--salt"))
    return ParseShapes(opt, val, m.shapes);
  if (!strcmp(opt, "--shots"))
    return ParseInt(val, job.m_nShots) && job.m_nShots > 0;
  if (!strcmp(opt, "--lines"))
    return ParseInt(val, job.m_nLines) && job.m_nLines > 0;
  if (!strcmp(opt, "--receivers"))
    return ParseInt(val, job.m_nReceivers) && job.m_nReceivers > 0;
  if (!strcmp(opt, "--shot-depth"))
    return ParseNumber(val, job.m_fShotZ);
  if (!strcmp(opt, "--receiver-depth"))
    return ParseNumber(val, job.m_fRcvZ);
  if (!strcmp(opt, "--shot-id-base"))
    return ParseInt(val, job.m_nShotIdBase) && job.m_nShotIdBase >= 0;
  bKnown = false;
  return false;
}

// Options of the job file. Sets bKnown when the option is one of them.
bool ParseTaskOption(const char* opt, const char* val, CMakeJob& m, bool& bKnown) {
  CExampleJob& job = m.job;
  bKnown = true;
  int n = 0;
  if (!strcmp(opt, "--method"))
    return ParseMethod(val, m);
  if (!strcmp(opt, "--thomsen"))
    return sscanf(val, "%lf,%lf,%lf", &m.anis.v[0], &m.anis.v[1], &m.anis.v[2]) == 3;
  if (!strcmp(opt, "--axis"))
    return sscanf(val, "%lf,%lf", &m.anis.v[3], &m.anis.v[4]) == 2;
  if (!strcmp(opt, "--visco"))
    return ParseInt(val, job.m_nViscoL) && job.m_nViscoL >= 1 && job.m_nViscoL <= 10;
  if (!strcmp(opt, "--apparent"))
    return job.m_bApparentVelocity = true;
  if (!strcmp(opt, "--dx"))
    return ParseNumber(val, job.m_fH) && job.m_fH > 0;
  if (!strcmp(opt, "--dt"))
    return ParseNumber(val, job.m_fDt) && job.m_fDt > 0;
  if (!strcmp(opt, "--record"))
    return sscanf(val, "%lf,%lf", &job.m_t1, &job.m_tdt) >= 1 && job.m_t1 > 0 && job.m_tdt > 0;
  if (!strcmp(opt, "--frequency"))
    return ParseNumber(val, job.m_fFrequency) && job.m_fFrequency >= 1;
  if (!strcmp(opt, "--pml"))
    return ParseBool(val, job.m_bPML);
  if (!strcmp(opt, "--surface")) {
    m.nSurfType = !strcmp(val, "free") ? 1 : 0;
    return !strcmp(val, "free") || !strcmp(val, "invisible");
  }
  if (!strcmp(opt, "--suppress-sv"))
    return ParseInt(val, m.nSuppressSV) && (m.nSuppressSV == 0 || m.nSuppressSV == 1);
  if (!strcmp(opt, "--merge"))
    return ParseBool(val, job.m_bMerge);
  if (!strcmp(opt, "--recovery"))
    return ParseBool(val, job.m_bRecovery);
  if (!strcmp(opt, "--big-seismogram"))
    return ParseBool(val, job.m_bBigSeismogram);
  if (!strcmp(opt, "--first"))
    return ParseInt(val, job.m_nFirstPoint) && job.m_nFirstPoint > 0;
  if (!strcmp(opt, "--last"))
    return ParseInt(val, job.m_nLastPoint) && job.m_nLastPoint > 0;
  if (!strcmp(opt, "--threads"))
    return ParseInt(val, n) && n >= 0 && ((job.m_nThreads = n), true);
  if (!strcmp(opt, "--group-size"))
    return ParseInt(val, m.nGroupSize) && m.nGroupSize >= 2;
  if (!strcmp(opt, "--output-dir"))
    return (job.m_strOutputDir = val), true;
  if (!strcmp(opt, "--snapshot"))
    return sscanf(val, "%lf,%lf", &m.fSnapT0, &m.fSnapDt) == 2 && m.fSnapT0 >= 0 && m.fSnapDt > 0;
  if (!strcmp(opt, "--time-field"))
    return ParseInt(val, job.m_nTimeFieldType) && job.m_nTimeFieldType >= 1 && job.m_nTimeFieldType <= 3;
  if (!strcmp(opt, "--snap3d"))
    return ParseSnap3D(val, job);
  bKnown = false;
  return false;
}

// Reads the command line into m. 0 to go on, 1 after --help, 2 on a fault.
int ParseCommandLine(int argc, char** argv, CMakeJob& m) {
  for (int i = 1; i < argc; i++) {
    const char* opt = argv[i];
    if (!strcmp(opt, "--help") || !strcmp(opt, "-h")) {
      PrintUsage();
      return 1;
    }
    const char* val = nullptr;
    const bool bFlag = !strcmp(opt, "--vs") || !strcmp(opt, "--density") || !strcmp(opt, "--apparent");
    if (!bFlag) {
      if (i + 1 >= argc) {
        fprintf(stderr, "kelvo_make_job: option %s needs a value (see --help)\n", opt);
        return 2;
      }
      val = argv[++i];
    }
    bool bKnown = false, ok = false;
    if (!strcmp(opt, "--dir")) {
      m.job.m_strDir = val;
      ok = bKnown = true;
    } else {
      ok = ParseModelOption(opt, val, m, bKnown);
      if (!bKnown)
        ok = ParseTaskOption(opt, val, m, bKnown);
    }
    if (!bKnown) {
      fprintf(stderr, "kelvo_make_job: unknown option %s (see --help)\n", opt);
      return 2;
    }
    if (!ok) {
      fprintf(stderr, "kelvo_make_job: bad value '%s' for %s (see --help)\n", val ? val : "", opt);
      return 2;
    }
  }
  return 0;
}

// Settles what the options imply. 0, or 2 with a message.
int Settle(CMakeJob& m) {
  CExampleJob& job = m.job;
  if (!m.bModelStep)
    job.m_fModelStep = job.m_fH;
  // A viscoelastic medium is one of the elastic method, from the Q cube.
  if (job.m_nViscoL > 0) {
    if (!m.bMethod)
      job.m_strMethod = "3D Elastic";
    job.m_bQ = true;
  }
  if (job.m_bApparentVelocity && job.m_nViscoL == 0) {
    fprintf(stderr, "kelvo_make_job: --apparent needs --visco (see --help)\n");
    return 2;
  }
  if (m.nGroupSize > 0 && job.m_strMethod == "Vertical Incidence") {
    fprintf(stderr, "kelvo_make_job: --group-size needs a 3-D method (see --help)\n");
    return 2;
  }
  // The elastic method gets its S velocities and densities as cubes.
  if (job.m_strMethod != "3D Acoustic")
    job.m_bVs = job.m_bDensity = true;
  const CString strProblem = job.Check();
  if (!strProblem.IsEmpty()) {
    fprintf(stderr, "kelvo_make_job: %s (see --help)\n", (const char*)strProblem);
    return 2;
  }
  return 0;
}

void PrintSummary(const CMakeJob& m) {
  const CExampleJob& job = m.job;
  printf("Example job written to %s: %d shot(s), %d line(s) of %d receivers, model %gx%gx%g m.\n",
         (const char*)job.m_strDir, job.m_nShots, job.m_nLines, job.m_nReceivers, job.m_fX1 - job.m_fX0,
         job.m_fY1 - job.m_fY0, job.m_fZ1 - job.m_fZ0);
  if (job.m_strMethod != "3D Acoustic")
    printf("Method %s%s.\n", (const char*)job.m_strMethod,
           job.m_nViscoL > 0 ? CString(0, ", viscoelastic with L = %d", job.m_nViscoL).c_str() : "");
  const CAnisotropy& an = m.anis;
  if (an.nMethod != 0)
    printf("%s medium: epsilon %g, delta %g, gamma %g%s.\n", an.nMethod == METHOD_ANISOTROPIC ? "Tilted" : "Vertical",
           an.v[0], an.v[1], an.v[2],
           an.nMethod == METHOD_ANISOTROPIC ? CString(0, ", axis tilt %g, azimuth %g", an.v[3], an.v[4]).c_str() : "");
  const CModelShapes& sh = m.shapes;
  if (sh.m_bFault)
    printf("Fault from x = %g m, dip %g degrees, throw %g m.\n", sh.m_fFaultX, sh.m_fFaultDip, sh.m_fFaultThrow);
  if (sh.m_bSalt)
    printf("Salt body at (%g, %g, %g) m, radius %g m, half-height %g m.\n", sh.m_fSaltX, sh.m_fSaltY, sh.m_fSaltZ,
           sh.m_fSaltR, sh.m_fSaltH);
  if (m.nSurfType == 1)
    printf("Free surface at the top of the model.\n");
  if (m.nGroupSize > 0)
    printf("Each shot split by depth over %d processes: run it under mpirun -np %d or more.\n", m.nGroupSize,
           m.nGroupSize + 1);
}

} // namespace

int main(int argc, char** argv) {
  CMakeJob m;
  m.job.m_strDir = "example-job";
  const int nParse = ParseCommandLine(argc, argv, m);
  if (nParse != 0)
    return nParse == 1 ? 0 : 2;
  if (Settle(m) != 0)
    return 2;
  if (m.job.Write() != 0 || (m.shapes.Any() && WriteShapedModel(m.job, m.shapes) != 0) ||
      (m.anis.nMethod != 0 && WriteAnisotropy(m.job, m.anis) != 0) || WriteExtraKeys(m) != 0)
    return 1;
  PrintSummary(m);
  return 0;
}
