// The top of the model in whole jobs: a free surface sends a ghost of reversed
// polarity back to a receiver below it, an invisible surface sends nothing,
// and void cells of the model act as a free surface where they begin.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "output/ExampleJob.h"
#include "run/run_test_util.h"
#include "seisfile/SegyTestFile.h"

#ifdef KELVO_HAVE_SEGYIO

namespace {

const double kV = 2000, kDt = 0.001;

void Replace(std::string& s, const std::string& what, const std::string& with) {
  const size_t p = s.find(what);
  ASSERT_NE(p, std::string::npos) << what;
  s.replace(p, what.size(), with);
}

// Writes a homogeneous job 400 m wide and zMax deep, void above zVoid (0 for
// none), with a single shot at (200, 200, zs) and receivers at depth zr, runs
// it with the given surface type and returns the pressure trace of the
// receiver straight above the shot.
std::vector<float> RunSurfaceJob(const std::string& dir, int nSurfType, int zMax, int zVoid, int zs, int zr) {
  CExampleJob job;
  job.m_strDir = dir.c_str();
  job.m_fZ1 = zMax;
  job.m_vLayers = {CExampleJob::CLayer{1e30, kV}};
  if (zVoid > 0)
    job.m_vLayers.insert(job.m_vLayers.begin(), CExampleJob::CLayer{(double)zVoid, 0});
  job.m_nShots = 1, job.m_nReceivers = 5;
  job.m_fFrequency = 20, job.m_t1 = 0.3, job.m_tdt = kDt;
  job.m_fShotZ = zs, job.m_fRcvZ = zr;
  if (job.Write() != 0) {
    ADD_FAILURE() << "job not written in " << dir;
    return {};
  }
  std::string task = read_text(dir + "/runtask.ini");
  Replace(task, "[Source]\n", "[Source]\nSignal=1\n");
  Replace(task, "[modeling]\n", "[modeling]\nSurfType=" + std::to_string(nSurfType) + "\n");
  write_text(dir + "/runtask.ini", task);
  std::string out;
  if (RunKelvo(dir, out) != 0) {
    ADD_FAILURE() << "kelvo failed in " << dir << ":\n" << out;
    return {};
  }
  // Receiver 3 of 5 stands at x = 200, straight above the shot.
  const CSegyTestFile f = CSegyTestFile::Read(dir + "/vp+Gath3DAPUc.sgy");
  if (!f.m_bOk || f.m_nTraces != 5) {
    ADD_FAILURE() << "no merged pressure gather of 5 traces in " << dir;
    return {};
  }
  return f.m_vData[2];
}

// Largest magnitude of the trace between t0 and t1.
double PeakIn(const std::vector<float>& t, double t0, double t1) {
  double best = 0;
  for (size_t i = (size_t)(t0 / kDt); i < t.size() && i * kDt <= t1; i++)
    best = std::max(best, (double)std::fabs(t[i]));
  return best;
}

// The later arrival that best matches the direct wave in shape: the lag (s)
// within [lag0, lag1] of the largest normalised correlation magnitude between
// the direct-wave window [t0, t1] and the trace, and that correlation.
void BestEcho(const std::vector<float>& t, double t0, double t1, double lag0, double lag1, double& lag, double& corr) {
  const size_t a = (size_t)(t0 / kDt), b = (size_t)(t1 / kDt);
  lag = 0, corr = 0;
  for (size_t l = (size_t)(lag0 / kDt); l <= (size_t)(lag1 / kDt) && b + l < t.size(); l++) {
    double sxy = 0, sxx = 0, syy = 0;
    for (size_t i = a; i <= b; i++) {
      sxy += (double)t[i] * t[i + l];
      sxx += (double)t[i] * t[i];
      syy += (double)t[i + l] * t[i + l];
    }
    const double c = sxy / std::sqrt(sxx * syy + 1e-30);
    if (std::fabs(c) > std::fabs(corr))
      corr = c, lag = l * kDt;
  }
}

} // namespace

// Source 300 m and receiver 100 m deep: the direct wave travels 200 m, the
// ghost 400 m (mirror image about the top), so the ghost follows 0.1 s later,
// plus at most a cell each way for where the pressure-release plane lies in
// the staggered grid. Its polarity is reversed and its amplitude about half.
void ExpectGhost(const std::vector<float>& t, const char* what) {
  const double tDirect = 200 / kV, delay = 200 / kV;
  double lag, corr;
  BestEcho(t, tDirect - 0.04, tDirect + 0.04, delay - 0.03, delay + 0.03, lag, corr);
  const double ratio =
      PeakIn(t, tDirect + lag - 0.04, tDirect + lag + 0.04) / PeakIn(t, tDirect - 0.04, tDirect + 0.04);
  printf("%s: ghost %.4f s behind the direct wave (paths: %.4f s), correlation %.3f, amplitude ratio %.3f\n", what, lag,
         delay, corr, ratio);
  EXPECT_GE(lag, delay - 0.002);
  EXPECT_LE(lag, delay + 2 * 10 / kV + 0.002);
  EXPECT_LT(corr, -0.9); // the same shape, reversed
  EXPECT_NEAR(ratio, 0.5, 0.15);
}

TEST(SurfacePhysics, FreeTopGivesReversedGhostInvisibleTopGivesNone) {
  CScratchDir dir;
  const std::vector<float> freeTop = RunSurfaceJob(dir.Path("free"), 1, 400, 0, 300, 100);
  const std::vector<float> openTop = RunSurfaceJob(dir.Path("open"), 0, 400, 0, 300, 100);
  ASSERT_FALSE(freeTop.empty());
  ASSERT_FALSE(openTop.empty());
  ExpectGhost(freeTop, "free top");
  // Without a free top the direct waves agree and the ghost's window holds
  // only what the absorbing layer lets back.
  const double tDirect = 200 / kV;
  const double direct = PeakIn(openTop, tDirect - 0.04, tDirect + 0.04);
  EXPECT_NEAR(direct / PeakIn(freeTop, tDirect - 0.04, tDirect + 0.04), 1.0, 0.02);
  const double echo = PeakIn(openTop, tDirect + 0.06, 0.3);
  printf("invisible top: largest later arrival %.3f%% of the direct wave\n", 100 * echo / direct);
  EXPECT_LT(echo / direct, 0.01);
}

// Void down to 100 m: with a free top the void acts as the surface at its own
// depth. Source 400 m and receiver 200 m deep: the same paths as above.
TEST(SurfacePhysics, VoidCellsActAsFreeSurfaceWhereTheyBegin) {
  CScratchDir dir;
  const std::vector<float> t = RunSurfaceJob(dir.Path("void"), 1, 500, 100, 400, 200);
  ASSERT_FALSE(t.empty());
  ExpectGhost(t, "void above 100 m");
}
#endif
