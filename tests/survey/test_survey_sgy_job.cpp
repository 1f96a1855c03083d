// Whole jobs with a SEG-Y file as the survey: the gathers equal those of the
// same geometry given as text, a gather of the engine serves as the survey
// of its own job, and files without usable shots stop the job cleanly.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "output/ExampleJob.h"
#include "run/run_test_util.h"
#include "seisfile/SegyTestFile.h"

#ifdef KELVO_HAVE_SEGYIO

namespace {

const char kComponents[] = {'x', 'y', 'z', 'c'};

// One survey line: source, receiver (depths), header numbers.
struct SLine {
  double s[3], r[3];
  int inl, xl, id, traceId, fileId;
};

class SurveySgyJobTest : public KelvoJobTest {
protected:
  // A small job in dir, its survey to be given by the test.
  static CExampleJob SmallJob(const std::string& dir) {
    CExampleJob job;
    job.m_strDir = dir.c_str();
    job.m_fX1 = 160, job.m_fY1 = 160, job.m_fZ1 = 100;
    job.m_vLayers = {CExampleJob::CLayer{50, 1500}, CExampleJob::CLayer{1e30, 2000}};
    job.m_nShots = 3, job.m_nReceivers = 9;
    job.m_t1 = 0.04, job.m_tdt = 0.002, job.m_fFrequency = 30;
    job.m_nThreads = 1;
    return job;
  }

  std::string NewJob(const std::string& name) {
    const std::string dir = m_dir.Path(name);
    EXPECT_EQ(0, SmallJob(dir).Write());
    return dir;
  }

  static void UseSurvey(const std::string& dir, const std::string& file) {
    std::string task = read_text(dir + "/runtask.ini");
    const size_t p = task.find("Geometry=survey.txt");
    ASSERT_NE(std::string::npos, p);
    task.replace(p, 19, "Geometry=" + file);
    write_text(dir + "/runtask.ini", task);
  }

  static std::string Gather(const std::string& dir, char c) { return dir + "/vp+Gath3DAPU" + c + ".sgy"; }

  static void ExpectSameGathers(const std::string& a, const std::string& b) {
    for (char c : kComponents) {
      const std::string fa = read_text(Gather(a, c)), fb = read_text(Gather(b, c));
      EXPECT_FALSE(fa.empty()) << c;
      EXPECT_TRUE(fa == fb) << "gather " << c << " of " << b << " differs from " << a;
    }
  }
};

// Three shots of three receivers off the model's nodes: coordinates in
// centimetres and depths in decimetres make the scalers matter.
std::vector<SLine> OffNodeSurvey() {
  std::vector<SLine> v;
  const double sx[3] = {40.25, 80.5, 120.75};
  for (int s = 0; s < 3; s++)
    for (int r = 0; r < 3; r++)
      v.push_back({{sx[s], 80.25, 20.5}, {30.5 + 45 * r, 70.75 + 5 * r, 10.5}, 1, r + 1, 101 + s, 1000 + r, 7001 + s});
  return v;
}

void WriteTextSurvey(const std::string& path, const std::vector<SLine>& v) {
  std::string text;
  char line[300];
  for (const SLine& l : v) {
    snprintf(line, sizeof(line), "%g %g %g %g %g %g %d %d %d 0 0 0 0 0 0 %d %d\n", l.s[0], l.s[1], l.s[2], l.r[0],
             l.r[1], l.r[2], l.inl, l.xl, l.id, l.traceId, l.fileId);
    text += line;
  }
  write_text(path, text);
}

bool WriteSgySurvey(const std::string& path, const std::vector<SLine>& v) {
  std::vector<STestTrace> traces;
  for (const SLine& l : v) {
    STestTrace t;
    t.scalco = -100, t.scalel = -10;
    t.sx = (int32_t)std::lround(l.s[0] * 100), t.sy = (int32_t)std::lround(l.s[1] * 100);
    t.gx = (int32_t)std::lround(l.r[0] * 100), t.gy = (int32_t)std::lround(l.r[1] * 100);
    t.selev = (int32_t)std::lround(-l.s[2] * 10), t.gelev = (int32_t)std::lround(-l.r[2] * 10);
    t.iline = l.inl, t.xline = l.xl, t.energySource = l.id;
    t.traceNo = l.traceId, t.fieldRecord = l.fileId;
    t.samples.assign(4, 0.0f);
    traces.push_back(t);
  }
  return segyio_write(path, 1, false, 4, 2000, traces);
}

} // namespace

TEST_F(SurveySgyJobTest, SgySurveyGivesTheGathersOfTheTextSurvey) {
  const std::vector<SLine> survey = OffNodeSurvey();
  const std::string a = NewJob("text"), b = NewJob("sgy");
  WriteTextSurvey(a + "/survey.txt", survey);
  ASSERT_TRUE(WriteSgySurvey(b + "/geometry.sgy", survey));
  UseSurvey(b, "geometry.sgy");
  std::string out;
  ASSERT_EQ(0, RunKelvo(a, out)) << out;
  ASSERT_EQ(0, RunKelvo(b, out)) << out;
  ExpectSameGathers(a, b);
}

TEST_F(SurveySgyJobTest, EngineGatherServesAsTheSurveyOfItsOwnGeometry) {
  // The example job's own survey: on whole metres, which the gathers keep.
  const std::string a = NewJob("first"), b = NewJob("again");
  std::string out;
  ASSERT_EQ(0, RunKelvo(a, out)) << out;
  write_text(b + "/shots.sgy", read_text(Gather(a, 'z')));
  UseSurvey(b, "shots.sgy");
  ASSERT_EQ(0, RunKelvo(b, out)) << out;
  ExpectSameGathers(a, b);
}

TEST_F(SurveySgyJobTest, SurveysWithoutUsableShotsStopCleanly) {
  std::vector<SLine> far = OffNodeSurvey();
  for (SLine& l : far)
    l.s[0] += 5000, l.r[0] += 5000;
  const struct {
    const char* szCase;
    std::vector<SLine> lines;
    const char* szMessage;
  } cases[] = {
      {"no traces", {}, "Error! Unable to read the survey acquisition geometry file geometry.sgy."},
      {"outside", far, "Warning! Shot #1 (5040.25,80.25,20.5) is outside computation zone"},
  };
  for (const auto& c : cases) {
    const std::string dir = NewJob(c.szCase);
    ASSERT_TRUE(WriteSgySurvey(dir + "/geometry.sgy", c.lines));
    UseSurvey(dir, "geometry.sgy");
    std::string out;
    const int rc = RunKelvo(dir, out);
    // A result of its own, not a crash.
    EXPECT_GT(rc, 0) << c.szCase << "\n" << out;
    EXPECT_NE(std::string::npos, out.find(c.szMessage)) << c.szCase << "\n" << out;
    EXPECT_NE(std::string::npos, read_text(dir + "/Kelvo-0.log").find(c.szMessage)) << c.szCase;
  }
}

#endif
