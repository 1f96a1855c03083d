// The top of the model in whole jobs: a free surface sends a ghost of reversed
// polarity back to a receiver below it, an invisible surface sends nothing,
// and void cells of the model act as a free surface where they begin.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#ifdef KELVO_HAVE_SEGYIO
#include <segyio/segy.h>

namespace {

const double kV = 2000, kDt = 0.001;

std::string Slurp(const std::string& name) {
  std::ifstream f(name);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

void Replace(std::string& s, const std::string& what, const std::string& with) {
  const size_t p = s.find(what);
  ASSERT_NE(p, std::string::npos) << what;
  s.replace(p, what.size(), with);
}

// Sets the samples above depth zVoid of every trace of a model cube to 0.
bool MakeVoidTop(const std::string& path, int zVoid) {
  segy_file* fp = segy_open(path.c_str(), "r+b");
  if (!fp) {
    ADD_FAILURE() << "cannot open " << path;
    return false;
  }
  char bin[SEGY_BINARY_HEADER_SIZE];
  segy_binheader(fp, bin);
  const int ns = segy_samples(bin), fmt = segy_format(bin);
  const long trace0 = segy_trace0(bin);
  const int bsize = segy_trsize(fmt, ns);
  int nTraces = 0;
  segy_traces(fp, &nTraces, trace0, bsize);
  std::vector<float> buf(ns);
  char th[SEGY_TRACE_HEADER_SIZE];
  segy_traceheader(fp, 0, th, trace0, bsize);
  int dtUs = 0;
  segy_get_field(th, SEGY_TR_SAMPLE_INTER, &dtUs);
  // The model's depth step in metres is written as its sample interval.
  const double dz = dtUs >= 1000 ? dtUs / 1000.0 : dtUs;
  for (int tr = 0; tr < nTraces; tr++) {
    segy_readtrace(fp, tr, buf.data(), trace0, bsize);
    segy_to_native(fmt, ns, buf.data());
    for (int k = 0; k < ns && k * dz < zVoid; k++)
      buf[k] = 0;
    segy_from_native(fmt, ns, buf.data());
    segy_writetrace(fp, tr, buf.data(), trace0, bsize);
  }
  segy_close(fp);
  return nTraces > 0;
}

// Writes a homogeneous job 400 m wide and zMax deep with a single shot at
// (200, 200, zs) and receivers at depth zr, makes the model void above zVoid
// (0 for none), runs it with the given surface type and returns the pressure
// trace of the receiver straight above the shot.
std::vector<float> RunSurfaceJob(const std::string& dir, int nSurfType, int zMax, int zVoid, int zs, int zr) {
  std::vector<float> trace;
  const std::string tool = std::string(KELVO_BUILD_DIR) + "/kelvo_make_job";
  std::string cmd = "rm -rf " + dir + " && " + tool + " --dir " + dir + " --vp 2000 --size 400,400," +
                    std::to_string(zMax) + " --shots 1 --receivers 5 --frequency 20 --record 0.3,0.001" +
                    " --shot-depth " + std::to_string(zs) + " --receiver-depth " + std::to_string(zr) + " > /dev/null";
  if (system(cmd.c_str()) != 0) {
    ADD_FAILURE() << cmd;
    return trace;
  }
  if (zVoid > 0 && !MakeVoidTop(dir + "/vp.sgy", zVoid))
    return trace;
  std::string task = Slurp(dir + "/runtask.ini");
  Replace(task, "[Source]\n", "[Source]\nSignal=1\n");
  Replace(task, "[modeling]\n", "[modeling]\nSurfType=" + std::to_string(nSurfType) + "\n");
  std::ofstream(dir + "/runtask.ini") << task;
  cmd =
      "cd " + dir + " && OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 " KELVO_BINARY " > console.txt 2>&1";
  const int st = system(cmd.c_str());
  if (st == -1 || !WIFEXITED(st) || WEXITSTATUS(st) != 0) {
    ADD_FAILURE() << "kelvo failed in " << dir << ":\n" << Slurp(dir + "/console.txt");
    return trace;
  }
  segy_file* fp = segy_open((dir + "/vp+Gath3DAPUc.sgy").c_str(), "rb");
  if (!fp) {
    ADD_FAILURE() << "no merged pressure gather in " << dir;
    return trace;
  }
  char bin[SEGY_BINARY_HEADER_SIZE];
  EXPECT_EQ(segy_binheader(fp, bin), SEGY_OK);
  const int ns = segy_samples(bin);
  const long trace0 = segy_trace0(bin);
  const int bsize = segy_trsize(SEGY_IBM_FLOAT_4_BYTE, ns);
  trace.resize(ns);
  // Receiver 3 of 5 stands at x = 200, straight above the shot.
  EXPECT_EQ(segy_readtrace(fp, 2, trace.data(), trace0, bsize), SEGY_OK);
  segy_to_native(SEGY_IBM_FLOAT_4_BYTE, ns, trace.data());
  segy_close(fp);
  return trace;
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

class SurfacePhysics : public ::testing::Test {
protected:
  void SetUp() override {
    char tmpl[] = "/tmp/kelvo_surface_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    m_dir = tmpl;
  }
  void TearDown() override {
    if (!HasFailure()) {
      const std::string cmd = "rm -rf " + m_dir;
      EXPECT_EQ(system(cmd.c_str()), 0);
    }
  }
  std::string m_dir;
};

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

TEST_F(SurfacePhysics, FreeTopGivesReversedGhostInvisibleTopGivesNone) {
  const std::vector<float> freeTop = RunSurfaceJob(m_dir + "/free", 1, 400, 0, 300, 100);
  const std::vector<float> openTop = RunSurfaceJob(m_dir + "/open", 0, 400, 0, 300, 100);
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
TEST_F(SurfacePhysics, VoidCellsActAsFreeSurfaceWhereTheyBegin) {
  const std::vector<float> t = RunSurfaceJob(m_dir + "/void", 1, 500, 100, 400, 200);
  ASSERT_FALSE(t.empty());
  ExpectGhost(t, "void above 100 m");
}
#endif
