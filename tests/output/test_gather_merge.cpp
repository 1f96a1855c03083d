// Shot gathers written by CGatherWriter and joined by CGatherMerge, read back
// with segyio.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <sys/resource.h>
#include <vector>

#include "output/GatherMerge.h"
#include "output/GatherWriter.h"
#include "run/KelvoApp.h"
#include "seisfile/ScratchDir.h"
#include "seisfile/SdsPC.h"
#include "seisfile/SegyTestFile.h"

namespace {

// Scalers are process-wide; each test starts from the defaults and restores them.
class GatherFileTest : public ::testing::Test {
protected:
  void SetUp() override {
#ifndef KELVO_HAVE_SEGYIO
    GTEST_SKIP() << "segyio not available";
#endif
    TearDown();
    m_strPattern = m_dir.Path("shot-%d.sgy");
  }
  void TearDown() override { CSdsPC::COOR_SCALER = CSdsPC::ELEV_SCALER = 1; }

  std::string ShotFile(int nShot) const { return m_dir.Path("shot-" + std::to_string(nShot) + ".sgy"); }

  // Writes the gather of one shot: nTraces receivers on a line, sample k of
  // trace i holding Value(shot, i, k). Numbers of -1 are absent.
  int WriteShot(int nShot, int nTraces, int nSamples, double dt, int nInline = -2, int nTraceId = -1) {
    CGatherWriter w;
    w.m_ptShot = C3DPointR(100.0 * nShot + 0.25, 50.5, 5);
    w.m_nShot = nShot, w.m_nShotId = 200 + nShot;
    w.m_t0 = m_t0, w.m_dt = dt;
    std::vector<C3DPointR> rcv;
    std::vector<int> inl(nTraces, nInline == -2 ? nShot : nInline), xl, tid, fid(nTraces, -1);
    for (int i = 0; i < nTraces; i++) {
      rcv.push_back(C3DPointR(10.0 * i + 0.75, 60, 2.5));
      xl.push_back(nInline == -2 ? i + 1 : 0);
      tid.push_back(nTraceId < 0 || i == 1 ? -1 : nTraceId + i); // trace 1 keeps its running number
    }
    std::vector<float> data((size_t)nTraces * nSamples);
    for (int k = 0; k < nSamples; k++)
      for (int i = 0; i < nTraces; i++)
        data[(size_t)k * nTraces + i] = k == m_nEvent ? 100.0f : Value(nShot, i, k);
    return w.Write(ShotFile(nShot).c_str(), nTraces, nSamples, data.data(), rcv, &inl, &xl, &tid, &fid);
  }
  // Exact in IBM floats.
  static float Value(int nShot, int i, int k) { return (float)nShot + 0.25f * i + 0.125f * k; }

  static bool LogHas(const std::string& s) { return read_text("Kelvo-0.log").find(s) != std::string::npos; }

  CScratchDir m_dir{true}; // the log lands there
  std::string m_strPattern;
  double m_t0 = 0;   // start time of the gathers WriteShot writes
  int m_nEvent = -1; // a sample that WriteShot makes the largest of every trace
};

TEST_F(GatherFileTest, WriterFillsNumbersGeometryAndScalers) {
  CSdsPC::COOR_SCALER = CSdsPC::ELEV_SCALER = -100;
  ASSERT_EQ(0, WriteShot(3, 4, 51, 0.002, 7, 500));
  CSegyTestFile f = CSegyTestFile::Read(ShotFile(3));
  ASSERT_TRUE(f.m_bOk);
  ASSERT_EQ(4, f.m_nTraces);
  for (int i = 0; i < 4; i++) {
    EXPECT_EQ(i == 1 ? 2 : 500 + i, f.Field(i, SEGY_TR_NUMBER_ORIG_FIELD)) << i;
    EXPECT_EQ(3, f.Field(i, SEGY_TR_FIELD_RECORD)) << "no file id: the shot number";
    EXPECT_EQ(203, f.Field(i, SEGY_TR_ENERGY_SOURCE_POINT));
    EXPECT_EQ(i + 1, f.Field(i, SEGY_TR_INLINE)) << "an inline without crossline is not written";
    EXPECT_EQ(-100, f.Field(i, SEGY_TR_SOURCE_GROUP_SCALAR));
    EXPECT_EQ(-100, f.Field(i, SEGY_TR_ELEV_SCALAR));
    EXPECT_EQ(30025, f.Field(i, SEGY_TR_SOURCE_X));
    EXPECT_EQ(5050, f.Field(i, SEGY_TR_SOURCE_Y));
    EXPECT_EQ(1000 * i + 75, f.Field(i, SEGY_TR_GROUP_X));
    EXPECT_EQ(-250, f.Field(i, SEGY_TR_RECV_GROUP_ELEV)) << "elevation points up";
    EXPECT_EQ(-500, f.Field(i, SEGY_TR_SOURCE_SURF_ELEV));
  }
  // Bad input is refused; a file that cannot be written says so.
  float v = 0;
  CGatherWriter w;
  EXPECT_EQ(-1, w.Write(m_dir.Path("x.sgy").c_str(), 0, 1, &v, {}, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(1, w.Write(m_dir.Path("no/x.sgy").c_str(), 1, 1, &v, {{}}, nullptr, nullptr, nullptr, nullptr));
}

// A gather cut short by a full disk (a file size limit here) never stands
// under its final name, where recovery would look for finished shots: an
// earlier file there is left as it was and no partial file stays behind.
TEST_F(GatherFileTest, GatherCutShortNeverTakesTheFinalName) {
  ASSERT_EQ(0, WriteShot(1, 3, 26, 0.004));
  ASSERT_EQ(0, WriteShot(2, 3, 26, 0.004));
  remove(ShotFile(2).c_str());
  const std::string earlier = read_text(ShotFile(1));
  rlimit old;
  ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &old));
  rlimit small = old;
  small.rlim_cur = 3600 + 240; // the file header and one trace header
  void (*prev)(int) = signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
  const int nRes1 = WriteShot(1, 40, 200, 0.004), nRes2 = WriteShot(2, 40, 200, 0.004);
  setrlimit(RLIMIT_FSIZE, &old);
  signal(SIGXFSZ, prev);
  EXPECT_NE(0, nRes1);
  EXPECT_NE(0, nRes2);
  EXPECT_EQ(earlier, read_text(ShotFile(1)));
  EXPECT_FALSE(file_exists(ShotFile(2)));
  for (int s : {1, 2})
    EXPECT_FALSE(file_exists(m_dir.Path("shot-" + std::to_string(s) + ".part.sgy"))) << s;
  // Written whole, the gather is in place under its name alone.
  ASSERT_EQ(0, WriteShot(2, 40, 200, 0.004));
  EXPECT_TRUE(file_exists(ShotFile(2)));
  EXPECT_FALSE(file_exists(m_dir.Path("shot-2.part.sgy")));
}

TEST_F(GatherFileTest, MergeJoinsShotsInOrderSkipsGapsResamplesAndRemovesTheShotFiles) {
  ASSERT_EQ(0, WriteShot(1, 3, 26, 0.004));
  ASSERT_EQ(0, WriteShot(3, 2, 26, 0.004));
  ASSERT_EQ(0, WriteShot(4, 4, 51, 0.002)); // same span, twice the samples
  // Bad result names fail and keep the shot files; a name ending in .rec
  // still receives SEG-Y.
  const char* szPattern = m_strPattern.c_str();
  EXPECT_EQ(-1, CGatherMerge::MergeSgy(m_dir.Path("missing-dir/all.sgy").c_str(), szPattern, 1, 5, true));
  EXPECT_EQ(-10, m_job.MergeResults("a.sg", szPattern, 1, 5, true));
  EXPECT_EQ(-11, m_job.MergeResults(m_dir.Path("all.txt").c_str(), szPattern, 1, 5, true));
  EXPECT_FALSE(file_exists(m_dir.Path("all.txt")));
  const std::string merged = m_dir.Path("all.rec");
  ASSERT_EQ(0, m_job.MergeResults(merged.c_str(), szPattern, 1, 5, true));
  CSegyTestFile f = CSegyTestFile::Read(merged);
  ASSERT_TRUE(f.m_bOk);
  ASSERT_EQ(9, f.m_nTraces);
  EXPECT_EQ(26, f.m_nSamples);
  EXPECT_FLOAT_EQ(4000.0f, f.m_fDtUs);
  const int shotOf[9] = {1, 1, 1, 3, 3, 4, 4, 4, 4};
  const int traceOf[9] = {0, 1, 2, 0, 1, 0, 1, 2, 3};
  for (int t = 0; t < 9; t++) {
    const int s = shotOf[t], i = traceOf[t];
    EXPECT_EQ(t + 1, f.Field(t, SEGY_TR_SEQ_LINE)) << t;          // running over the whole merge
    EXPECT_EQ(i + 1, f.Field(t, SEGY_TR_NUMBER_ORIG_FIELD)) << t; // number within its file
    EXPECT_EQ(200 + s, f.Field(t, SEGY_TR_ENERGY_SOURCE_POINT)) << t;
    EXPECT_EQ(s, f.Field(t, SEGY_TR_INLINE)) << t;
    EXPECT_EQ(i + 1, f.Field(t, SEGY_TR_CROSSLINE)) << t;
    EXPECT_EQ(100 * s, f.Field(t, SEGY_TR_SOURCE_X)) << t;
    EXPECT_EQ(10 * i + 1, f.Field(t, SEGY_TR_GROUP_X)) << t;
    // The finer shot is resampled onto the first file's axis.
    for (int k = 0; k < 25; k++)
      EXPECT_FLOAT_EQ(Value(s, i, s == 4 ? 2 * k : k), f.m_vData[t][k]) << t << "," << k;
  }
  for (int s : {1, 3, 4})
    EXPECT_FALSE(file_exists(ShotFile(s)));
  EXPECT_FALSE(file_exists(ShotFile(1) + ".cr2"));
}

// A merge never replaces a merged file by one with fewer traces, and keeps
// the per-shot files when its own result is not used.
TEST_F(GatherFileTest, MergeKeepsAnEarlierResultWithMoreTraces) {
  ASSERT_EQ(0, WriteShot(1, 3, 26, 0.004));
  ASSERT_EQ(0, WriteShot(2, 2, 26, 0.004));
  const std::string merged = m_dir.Path("all.sgy");
  const char* szPattern = m_strPattern.c_str();
  ASSERT_EQ(0, CGatherMerge::MergeSgy(merged.c_str(), szPattern, 1, 3, true));
  const std::string full = read_text(merged);
  ASSERT_EQ(3600 + 5 * (240 + 26 * 4), (long)full.size());

  struct {
    std::vector<int> shots; // per-shot files present before the merge
    std::string message;
  } steps[] = {
      {{},
       "Warning! No per-shot files '" + m_strPattern + "' for shots 1..3 to merge; '" + merged +
           "' is left as it was."},
      {{2},
       "Warning! '" + merged + "' holds 5 traces, the merge of '" + m_strPattern +
           "' for shots 1..3 only 2; the file is left as it was and the per-shot files are kept."},
  };
  for (const auto& step : steps) {
    for (int s : step.shots)
      ASSERT_EQ(0, WriteShot(s, 2, 26, 0.004));
    EXPECT_EQ(0, CGatherMerge::MergeSgy(merged.c_str(), szPattern, 1, 3, true)) << step.message;
    EXPECT_TRUE(read_text(merged) == full) << step.message;
    EXPECT_TRUE(LogHas(step.message)) << step.message;
    for (int s : step.shots)
      EXPECT_TRUE(file_exists(ShotFile(s))) << step.message;
    EXPECT_FALSE(file_exists(merged + ".merging")) << step.message;
  }
  // As many traces as before replace the result (and remove the shot files).
  ASSERT_EQ(0, WriteShot(3, 3, 26, 0.004));
  ASSERT_EQ(0, CGatherMerge::MergeSgy(merged.c_str(), szPattern, 1, 3, true));
  CSegyTestFile f = CSegyTestFile::Read(merged);
  ASSERT_EQ(5, f.m_nTraces);
  EXPECT_EQ(202, f.Field(0, SEGY_TR_ENERGY_SOURCE_POINT));
  EXPECT_FALSE(file_exists(ShotFile(2)));

  // Nothing to merge and no earlier result: a complete header-only file.
  const std::string empty = m_dir.Path("none.sgy");
  ASSERT_EQ(0, CGatherMerge::MergeSgy(empty.c_str(), szPattern, 1, 3, true));
  ASSERT_EQ(3600, file_size(empty));
  const std::string h = read_text(empty);
  EXPECT_EQ(1, ((unsigned char)h[3224] << 8) | (unsigned char)h[3225]) << "format code";
  EXPECT_TRUE(LogHas("for shots 1..3 to merge; '" + empty + "' holds no traces."));
}

// A gather cut short (a kill, a full disk) is told from a complete one by its
// size against the trace count of its header; a merge takes its whole traces.
TEST_F(GatherFileTest, GatherCutShortIsIncompleteAndMergesItsWholeTraces) {
  ASSERT_EQ(0, WriteShot(1, 4, 26, 0.004));
  ASSERT_EQ(0, WriteShot(2, 3, 26, 0.004));
  const std::string name = ShotFile(1), whole = read_text(name);
  const long nTrace = 240 + 26 * 4;
  ASSERT_EQ(3600 + 4 * nTrace, (long)whole.size());
  struct {
    long size;
    bool complete;
    int found, expected;
  } cases[] = {
      {3600 + 4 * nTrace, true, 4, 4},
      {3600 + 4 * nTrace - 1, false, 3, 4},
      {3600 + 2 * nTrace, false, 2, 4}, // cut at a trace boundary
      {3000, false, 0, -1},             // inside the file header
  };
  for (const auto& c : cases) {
    std::string text = whole;
    text.resize(c.size);
    write_text(name, text);
    CSdsPC sds;
    int nFound = -5, nExpected = -5;
    EXPECT_EQ(c.complete, sds.IsSgyComplete(name.c_str(), nFound, nExpected)) << c.size;
    EXPECT_EQ(c.found, nFound) << c.size;
    EXPECT_EQ(c.expected, nExpected) << c.size;
  }
  write_text(name, whole.substr(0, 3600 + 2 * nTrace + 100));
  const std::string merged = m_dir.Path("all.sgy");
  ASSERT_EQ(0, CGatherMerge::MergeSgy(merged.c_str(), m_strPattern.c_str(), 1, 2, false));
  EXPECT_TRUE(LogHas("Warning! File '" + name + "' is incomplete: 2 whole traces of 4 expected."));
  CSegyTestFile f = CSegyTestFile::Read(merged);
  ASSERT_EQ(5, f.m_nTraces);
  EXPECT_FLOAT_EQ(Value(1, 1, 25), f.m_vData[1][25]);
  EXPECT_FLOAT_EQ(Value(2, 0, 0), f.m_vData[2][0]);
}

// Readers that know nothing of the system's own header fields find the start
// time in the delay field and the signed X offset in bytes 37-40, in the
// gathers of one shot and in the merged file alike.
TEST_F(GatherFileTest, StartTimeAndSignedOffsetReachOtherReaders) {
  struct CCase {
    double t0;
    int scaler;
    int delay; // milliseconds
  };
  const CCase cases[] = {{-0.05, 1, -50}, {0.03, -100, 30}, {0, 1, 0}};
  const double dt = 0.002;
  m_nEvent = 40;
  // Shot s has receivers i at 10 i + 0.75 and its source at 100 s + 0.25.
  auto check = [&](const std::string& file, const std::vector<int>& shotOf, const std::vector<int>& rcvOf,
                   const CCase& c) {
    CSegyTestFile f = CSegyTestFile::Read(file);
    ASSERT_EQ((int)shotOf.size(), f.m_nTraces) << file;
    for (int t = 0; t < f.m_nTraces; t++) {
      const int nDelay = f.Field(t, SEGY_TR_DELAY_REC_TIME);
      EXPECT_EQ(c.delay, nDelay) << file << " trace " << t;
      EXPECT_EQ(10 * rcvOf[t] - 100 * shotOf[t], f.Field(t, SEGY_TR_OFFSET)) << file << " trace " << t;
      const std::vector<float>& v = f.m_vData[t];
      const int k = (int)(std::max_element(v.begin(), v.end()) - v.begin());
      EXPECT_NEAR(c.t0 + m_nEvent * dt, nDelay * 1e-3 + k * f.m_fDtUs * 1e-6, 1e-9) << file << " trace " << t;
    }
  };
  for (const auto& c : cases) {
    m_t0 = c.t0;
    CSdsPC::COOR_SCALER = c.scaler;
    ASSERT_EQ(0, WriteShot(1, 3, 61, dt));
    ASSERT_EQ(0, WriteShot(2, 2, 61, dt));
    check(ShotFile(1), {1, 1, 1}, {0, 1, 2}, c);
    const std::string merged = m_dir.Path("all" + std::to_string(c.delay) + ".sgy");
    ASSERT_EQ(0, CGatherMerge::MergeSgy(merged.c_str(), m_strPattern.c_str(), 1, 2, true));
    check(merged, {1, 1, 1, 2, 2}, {0, 1, 2, 0, 1}, c);
  }
}

} // namespace
