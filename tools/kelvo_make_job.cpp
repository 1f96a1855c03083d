// Writes a small example modelling job: a layered (or homogeneous) model as
// SEG-Y cubes, a text survey and runtask.ini. See --help.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

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
         "  --merge 0|1           merge the per-shot gathers at the end (default 1)\n"
         "  --recovery 0|1        skip shots whose gathers exist (default 0)\n"
         "  --big-seismogram 0|1  keep gathers in a file during the run (default 0)\n"
         "  --first N, --last N   range of shots to compute (default all)\n"
         "  --threads N           compute threads (default all processors)\n"
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

CString JobPath(const CExampleJob& job, const char* szName) {
  return job.m_strDir.IsEmpty() ? CString(szName) : CString(0, "%s/%s", (const char*)job.m_strDir, szName);
}

int WriteConstantCube(const CExampleJob& job, const char* szName, double fValue) {
  const double step = job.m_fModelStep;
  const int nx = (int)std::floor((job.m_fX1 - job.m_fX0) / step + 0.5) + 1;
  const int ny = (int)std::floor((job.m_fY1 - job.m_fY0) / step + 0.5) + 1;
  const int nz = (int)std::floor((job.m_fZ1 - job.m_fZ0) / step + 0.5) + 1;
  const CCubeR cube(job.m_fX0, job.m_fY0, job.m_fZ0, job.m_fX0 + (nx - 1) * step, job.m_fY0 + (ny - 1) * step,
                    job.m_fZ0 + (nz - 1) * step);
  const CString strPath = JobPath(job, szName);
  CSdsPC sds;
  if (!sds.Create3D_file(strPath, C3DSizeN(nx, ny, nz), cube, 0, DU_M, 0, nullptr) ||
      !sds.OnOpen(strPath, 1, 1, 0, 0) || sds.m_nTraceCount != nx * ny) {
    fprintf(stderr, "kelvo_make_job: unable to write '%s'\n", (const char*)strPath);
    return 1;
  }
  std::vector<float> trace(nz);
  for (int i = 0; i < nx * ny; i++) {
    trace.assign(nz, (float)fValue); // SetTrace encodes its buffer in place
    sds.SetTrace(i, trace.data(), nz);
  }
  return 0;
}

// The cubes of an anisotropic medium, and their keys (with the switch to
// the general scheme for a tilted one) in the [modeling] section of the job
// file.
int WriteAnisotropy(const CExampleJob& job, const CAnisotropy& an) {
  const int nCubes = an.nMethod == METHOD_ANISOTROPIC ? 5 : 3;
  for (int k = 0; k < nCubes; k++)
    if (WriteConstantCube(job, kAnisFiles[k], an.v[k]) != 0)
      return 1;
  const CString strTask = JobPath(job, CExampleJob::TASK_FILE);
  std::string text;
  if (FILE* fp = fopen(strTask, "r")) {
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof(buf), fp)) > 0)
      text.append(buf, n);
    fclose(fp);
  }
  const size_t pos = text.find("[modeling]\n");
  if (pos == std::string::npos) {
    fprintf(stderr, "kelvo_make_job: no [modeling] section in '%s'\n", (const char*)strTask);
    return 1;
  }
  std::string keys;
  if (an.nMethod == METHOD_ANISOTROPIC)
    keys += "TTI Anisotropy=1\n";
  for (int k = 0; k < nCubes; k++)
    keys += std::string(kAnisKeys[k]) + "=" + kAnisFiles[k] + "\n";
  text.insert(pos + strlen("[modeling]\n"), keys);
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

} // namespace

int main(int argc, char** argv) {
  CExampleJob job;
  job.m_strDir = "example-job";
  CAnisotropy anis;
  bool bModelStep = false;
  bool bMethod = false;
  for (int i = 1; i < argc; i++) {
    const char* opt = argv[i];
    if (!strcmp(opt, "--help") || !strcmp(opt, "-h")) {
      PrintUsage();
      return 0;
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
    bool ok = true;
    int n = 0;
    if (!strcmp(opt, "--dir")) {
      job.m_strDir = val;
    } else if (!strcmp(opt, "--size")) {
      ok = sscanf(val, "%lf,%lf,%lf", &job.m_fX1, &job.m_fY1, &job.m_fZ1) == 3 && job.m_fX1 > 0 && job.m_fY1 > 0 &&
           job.m_fZ1 > 0;
    } else if (!strcmp(opt, "--model-step")) {
      ok = ParseNumber(val, job.m_fModelStep) && job.m_fModelStep > 0;
      bModelStep = true;
    } else if (!strcmp(opt, "--layers")) {
      ok = ParseLayers(val, job);
    } else if (!strcmp(opt, "--vp")) {
      double v = 0;
      ok = ParseNumber(val, v) && v > 0;
      job.m_vLayers.assign(1, CExampleJob::CLayer{1e30, v});
    } else if (!strcmp(opt, "--vs")) {
      job.m_bVs = true;
    } else if (!strcmp(opt, "--density")) {
      job.m_bDensity = true;
    } else if (!strcmp(opt, "--q")) {
      ok = ParseQualities(val, job.m_vQ);
      job.m_bQ = true;
    } else if (!strcmp(opt, "--visco")) {
      ok = ParseInt(val, job.m_nViscoL) && job.m_nViscoL >= 1 && job.m_nViscoL <= 10;
    } else if (!strcmp(opt, "--apparent")) {
      job.m_bApparentVelocity = true;
    } else if (!strcmp(opt, "--shots")) {
      ok = ParseInt(val, job.m_nShots) && job.m_nShots > 0;
    } else if (!strcmp(opt, "--lines")) {
      ok = ParseInt(val, job.m_nLines) && job.m_nLines > 0;
    } else if (!strcmp(opt, "--receivers")) {
      ok = ParseInt(val, job.m_nReceivers) && job.m_nReceivers > 0;
    } else if (!strcmp(opt, "--shot-depth")) {
      ok = ParseNumber(val, job.m_fShotZ);
    } else if (!strcmp(opt, "--receiver-depth")) {
      ok = ParseNumber(val, job.m_fRcvZ);
    } else if (!strcmp(opt, "--shot-id-base")) {
      ok = ParseInt(val, job.m_nShotIdBase) && job.m_nShotIdBase >= 0;
    } else if (!strcmp(opt, "--method")) {
      if (!strcmp(val, "acoustic"))
        job.m_strMethod = "3D Acoustic";
      else if (!strcmp(val, "elastic"))
        job.m_strMethod = "3D Elastic";
      else if (!strcmp(val, "vertical"))
        job.m_strMethod = "Vertical Incidence";
      else if (!strcmp(val, "vti") || !strcmp(val, "tti")) {
        job.m_strMethod = "3D Elastic Anisotropic";
        anis.nMethod = val[0] == 'v' ? METHOD_ORTHORHOMBIC : METHOD_ANISOTROPIC;
      } else
        ok = false;
      bMethod = true;
    } else if (!strcmp(opt, "--thomsen")) {
      ok = sscanf(val, "%lf,%lf,%lf", &anis.v[0], &anis.v[1], &anis.v[2]) == 3;
    } else if (!strcmp(opt, "--axis")) {
      ok = sscanf(val, "%lf,%lf", &anis.v[3], &anis.v[4]) == 2;
    } else if (!strcmp(opt, "--dx")) {
      ok = ParseNumber(val, job.m_fH) && job.m_fH > 0;
    } else if (!strcmp(opt, "--dt")) {
      ok = ParseNumber(val, job.m_fDt) && job.m_fDt > 0;
    } else if (!strcmp(opt, "--record")) {
      const int k = sscanf(val, "%lf,%lf", &job.m_t1, &job.m_tdt);
      ok = k >= 1 && job.m_t1 > 0 && job.m_tdt > 0;
    } else if (!strcmp(opt, "--frequency")) {
      ok = ParseNumber(val, job.m_fFrequency) && job.m_fFrequency >= 1;
    } else if (!strcmp(opt, "--pml")) {
      ok = ParseBool(val, job.m_bPML);
    } else if (!strcmp(opt, "--merge")) {
      ok = ParseBool(val, job.m_bMerge);
    } else if (!strcmp(opt, "--recovery")) {
      ok = ParseBool(val, job.m_bRecovery);
    } else if (!strcmp(opt, "--big-seismogram")) {
      ok = ParseBool(val, job.m_bBigSeismogram);
    } else if (!strcmp(opt, "--first")) {
      ok = ParseInt(val, job.m_nFirstPoint) && job.m_nFirstPoint > 0;
    } else if (!strcmp(opt, "--last")) {
      ok = ParseInt(val, job.m_nLastPoint) && job.m_nLastPoint > 0;
    } else if (!strcmp(opt, "--threads")) {
      ok = ParseInt(val, n) && n >= 0;
      job.m_nThreads = n;
    } else if (!strcmp(opt, "--output-dir")) {
      job.m_strOutputDir = val;
    } else {
      fprintf(stderr, "kelvo_make_job: unknown option %s (see --help)\n", opt);
      return 2;
    }
    if (!ok) {
      fprintf(stderr, "kelvo_make_job: bad value '%s' for %s (see --help)\n", val ? val : "", opt);
      return 2;
    }
  }
  if (!bModelStep)
    job.m_fModelStep = job.m_fH;
  // A viscoelastic medium is one of the elastic method, from the Q cube.
  if (job.m_nViscoL > 0) {
    if (!bMethod)
      job.m_strMethod = "3D Elastic";
    job.m_bQ = true;
  }
  if (job.m_bApparentVelocity && job.m_nViscoL == 0) {
    fprintf(stderr, "kelvo_make_job: --apparent needs --visco (see --help)\n");
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

  const int nResult = job.Write();
  if (nResult != 0 || (anis.nMethod != 0 && WriteAnisotropy(job, anis) != 0))
    return 1;
  printf("Example job written to %s: %d shot(s), %d line(s) of %d receivers, model %gx%gx%g m.\n",
         (const char*)job.m_strDir, job.m_nShots, job.m_nLines, job.m_nReceivers, job.m_fX1 - job.m_fX0,
         job.m_fY1 - job.m_fY0, job.m_fZ1 - job.m_fZ0);
  if (job.m_strMethod != "3D Acoustic")
    printf("Method %s%s.\n", (const char*)job.m_strMethod,
           job.m_nViscoL > 0 ? CString(0, ", viscoelastic with L = %d", job.m_nViscoL).c_str() : "");
  if (anis.nMethod != 0)
    printf("%s medium: epsilon %g, delta %g, gamma %g%s.\n", anis.nMethod == METHOD_ANISOTROPIC ? "Tilted" : "Vertical",
           anis.v[0], anis.v[1], anis.v[2],
           anis.nMethod == METHOD_ANISOTROPIC ? CString(0, ", axis tilt %g, azimuth %g", anis.v[3], anis.v[4]).c_str()
                                              : "");
  return 0;
}
