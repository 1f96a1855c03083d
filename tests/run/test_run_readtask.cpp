// Reading of a whole job file into the application and calculation objects,
// and the shot range of a run settled against the survey's.
#include <dirent.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "KelvoApp.h"
#include "calc3d/Calc3D.h"
#include "run_test_util.h"

namespace {

const std::string kHead = "[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = 3D Acoustic\n";
const std::string kSurvey = "[Survey]\nt0 = 0\nt1 = 1.5\ndt = 0.004\n[Source]\nFrequency = 20\n";

class ReadTaskTest : public InTempDir {
protected:
  // Writes runtask.ini and reads it into a fresh application object.
  int Read(const std::string& text) {
    WriteFile("runtask.ini", text);
    m_app.reset(new CKelvoApp());
    m_app->m_nSize = 4;
    Prepare(*m_app);
    CaptureStdout cap;
    int rc = m_app->ReadTask("runtask.ini");
    m_out = cap.Text();
    return rc;
  }
  virtual void Prepare(CKelvoApp&) {}
  bool Printed(const std::string& s) const { return m_out.find(s) != std::string::npos; }
  CCalc3D& Calc() { return *m_app->m_pCalc3D; }

  std::unique_ptr<CKelvoApp> m_app;
  std::string m_out;
};

TEST_F(ReadTaskTest, MinimalAcousticTaskAndDefaults) {
  ASSERT_EQ(0, Read(kHead + kSurvey));
  EXPECT_EQ(101, m_app->m_nMethod);
  EXPECT_FALSE(m_app->m_bMergeTask);
  EXPECT_TRUE(m_app->m_bMerge);
  EXPECT_EQ(os::GetCPUCount(), m_app->m_nThreads);
  EXPECT_DOUBLE_EQ(1.5, m_app->m_t1);
  EXPECT_DOUBLE_EQ(0.004, m_app->m_dt);
  ASSERT_NE(nullptr, m_app->m_pCalc3D);
  EXPECT_DOUBLE_EQ(0.004, Calc().m_Set.m_dt); // the engine was handed the job's settings
  EXPECT_EQ((std::vector<int>{2, 26, 21}), (std::vector<int>{Calc().m_nStart, Calc().m_nFrame, Calc().m_nPML}));
  EXPECT_TRUE(Calc().m_bPML);
  EXPECT_TRUE(Calc().m_cubeModel.IsEmpty());
  EXPECT_TRUE(Printed("Parameter '[modeling]\\Debug' isn't found in the 'runtask.ini' file.\n"));
  EXPECT_FALSE(Printed("Redundant"));
}

TEST_F(ReadTaskTest, TaskTypeAndMethod) {
  EXPECT_EQ(0, Read("[TASK]\ntaskType = merge-only\n[modeling]\nRun Computation = 3D Acoustic\n" + kSurvey));
  EXPECT_TRUE(m_app->m_bMergeTask);
  EXPECT_EQ(1, Read("[TASK]\ntaskType = modeling\n[modeling]\nDebug = 1\n"));
  EXPECT_TRUE(Printed("Incorrect 'runtask.ini' file ('Run Computation' is wrong)!\n\nThe computation is stopped.\n"));
  for (const auto& m : {std::make_pair("3D Elastic", 102), std::make_pair("3D Elastic Anisotropic", 103)}) {
    ASSERT_EQ(
        0, Read(std::string("[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = ") + m.first + "\n" + kSurvey));
    EXPECT_EQ(m.second, m_app->m_nMethod);
  }
  // General anisotropy: three halo points and a thinner frame.
  ASSERT_EQ(0, Read(kHead + "TTI Anisotropy = 1\n" + kSurvey));
  EXPECT_EQ(104, m_app->m_nMethod);
  EXPECT_EQ((std::vector<int>{3, 23, 19}), (std::vector<int>{Calc().m_nStart, Calc().m_nFrame, Calc().m_nPML}));
}

TEST_F(ReadTaskTest, RedundantKeysAndParanoid) {
  std::string task = kHead + "FileModelPW = b.sgy\nModel Name = a.sgy\nFileModelSW = s.sgy\n" + kSurvey;
  ASSERT_EQ(0, Read(task));
  EXPECT_STREQ("a.sgy", m_app->m_strModelPW);
  EXPECT_TRUE(Printed("Warning! Redundant variable: [modeling], FileModelPW = b.sgy\n"));
  EXPECT_TRUE(Printed("Warning! Redundant variable: [modeling], FileModelSW = s.sgy\n"))
      << "S-wave model is not read in the acoustic method";
  // Paranoid in a second [modeling] block behind other sections is not seen.
  EXPECT_EQ(0, Read(task + "[modeling]\nParanoid = 1\n"));
  EXPECT_EQ(-1, Read(kHead + "Paranoid = 1\n" + task.substr(kHead.size())));
  EXPECT_TRUE(Printed("Error! Redundant variable: [modeling], FileModelPW = b.sgy\n"));
  EXPECT_EQ(0, Read(kHead + "Paranoid = 1\nModel Name = a.sgy\n" + kSurvey)) << "a clean file passes";
}

// The output directory is made, and a file tried in it leaves nothing behind;
// one that cannot be made, or where no file can be made (even by root: /proc),
// refuses the job while the task is read.
TEST_F(ReadTaskTest, OutputDirectoryIsMadeAndTried) {
  ASSERT_EQ(0, Read(kHead + "OutputDir = out/shots\n" + kSurvey));
  EXPECT_STREQ("out/shots/", m_app->m_strOutputDir);
  DIR* d = opendir("out/shots");
  ASSERT_TRUE(d) << "made as a directory";
  int nEntries = 0;
  while (dirent* e = readdir(d))
    nEntries += e->d_name[0] != '.' || strlen(e->d_name) > 2;
  closedir(d);
  EXPECT_EQ(0, nEntries) << "the trial file stayed";
  WriteFile("blocker", "x");
  EXPECT_EQ(1, Read(kHead + "OutputDir = blocker/sub\n" + kSurvey));
  EXPECT_TRUE(Printed("OutputDir directory 'blocker/sub/'"));
  EXPECT_EQ(1, Read(kHead + "OutputDir = /proc\n" + kSurvey));
  EXPECT_TRUE(Printed("Error! No file can be written in the output directory '/proc/': the results could not be "
                      "saved.\n"));
}

class ReadTaskCommandLine : public ReadTaskTest {
  void Prepare(CKelvoApp& app) override {
    app.m_nFirstPoint = app.m_nCurPoint = 5;
    app.m_nLastPoint = 0;
  }
};

TEST_F(ReadTaskCommandLine, CommandLineWinsAndRecovery) {
  std::string task = kHead + "First Point = 2\nLast Point = 12\nRecovery = 1\n" + kSurvey;
  ASSERT_EQ(0, Read(task));
  EXPECT_EQ(5, m_app->m_nFirstPoint);
  EXPECT_EQ(12, m_app->m_nLastPoint);
  EXPECT_TRUE(Printed("Redundant variable: [modeling], First Point = 2"));
  EXPECT_EQ(5, m_app->m_nCurPoint) << "no Recovery.dat";

  WriteFile("Recovery.dat", "8\n");
  ASSERT_EQ(0, Read(task));
  EXPECT_EQ(8, m_app->m_nCurPoint);
  EXPECT_TRUE(Printed("RECOVER: Continue from shot #8\n"));
  for (const char* s : {"4\n", "13\n", "junk\n"}) {
    WriteFile("Recovery.dat", s);
    ASSERT_EQ(0, Read(task));
    EXPECT_EQ(5, m_app->m_nCurPoint) << s;
  }
  WriteFile("Recovery.dat", "8\n");
  ASSERT_EQ(0, Read(kHead + "Last Point = 12\n" + kSurvey));
  EXPECT_EQ(5, m_app->m_nCurPoint) << "without Recovery the file is not looked at";
}

TEST_F(ReadTaskTest, CalculationSettings) {
  ASSERT_EQ(0, Read(kHead + "X0 = 0\nX1 = 1000\nY0 = 0\nY1 = 500\nZ0 = 0\nZ1 = 800\nMargin = 50\nSurfType = 1\n" +
                    "[Mesh]\ndx = 10\ndt = 0.001\n" + kSurvey + "Type = 8\nDoubleCoupleAxis = zy\n"));
  EXPECT_DOUBLE_EQ(1000, Calc().m_cubeSim.x1);
  EXPECT_DOUBLE_EQ(800, Calc().m_cubeSim.z1);
  EXPECT_DOUBLE_EQ(50, Calc().m_fMargin);
  EXPECT_EQ(1, Calc().m_nSurfType);
  EXPECT_DOUBLE_EQ(10, Calc().m_fH);
  EXPECT_DOUBLE_EQ(0.001, Calc().m_fDt);
  EXPECT_FLOAT_EQ(1, Calc().m_fK23);
  EXPECT_FLOAT_EQ(0, Calc().m_fK13);
  // A partly given model cube is not copied into the simulation cube.
  ASSERT_EQ(0, Read(kHead + "X0 = 0\nX1 = 1000\n" + kSurvey + "Type = 8\n"));
  EXPECT_TRUE(Calc().m_cubeSim.IsEmpty());
  EXPECT_DOUBLE_EQ(1000, Calc().m_cubeModel.x1);
  EXPECT_FLOAT_EQ(1, Calc().m_fK13) << "XZ when absent";
}

TEST(Driver, ShotRangeSettling) {
  const struct {
    int first, last, cur, min, max;
    int rc, wantFirst, wantLast, wantCur;
    const char* message;
  } cases[] = {
      {0, 0, 0, 1, 20, 0, 1, 20, 1, ""}, // open range: the whole survey
      // a first shot alone gives the whole range, with a word; work starts at 7
      {7, 0, 7, 1, 20, 0, 1, 20, 7,
       "Warning! Shot range 7..0 is left open by its 0: all shot points 1..20 are computed.\n"},
      // a last shot above max is cut down, with a word
      {3, 30, 3, 1, 20, 0, 3, 20, 3,
       "Warning! Shot range 3..30 reaches beyond the last shot point of the survey (20): shot points 3..20 are "
       "computed.\n"},
      {2, 9, 6, 1, 20, 0, 2, 9, 6, ""},          // a recovery point inside the range stays
      {2, 9, 12, 1, 20, 0, 2, 9, 2, ""},         // outside the range it is moved to the first
      {0, 0, 0, 100, 250, 0, 100, 250, 100, ""}, // ids as numbers
      {21, 25, 21, 1, 20, -1, 0, 0, 0,
       "Error! Incorrect range of shot points specified (21..25). Maximal shot point number is 20.\n"},
      {9, 4, 9, 1, 20, -1, 0, 0, 0, "Error! Incorrect range of shot points specified (9..4). Real range is (1..20)\n"},
  };
  for (const auto& c : cases) {
    CKelvoApp app;
    app.m_nFirstPoint = c.first;
    app.m_nLastPoint = c.last;
    app.m_nCurPoint = c.cur;
    CaptureStdout cap;
    EXPECT_EQ(c.rc, app.SettleShotRange(c.min, c.max)) << c.first << ".." << c.last;
    std::string out = cap.Text();
    if (c.rc == 0) {
      EXPECT_EQ((std::vector<int>{c.wantFirst, c.wantLast, c.wantCur}),
                (std::vector<int>{app.m_nFirstPoint, app.m_nLastPoint, app.m_nCurPoint}))
          << c.first << ".." << c.last;
      EXPECT_EQ(c.message, out);
    } else {
      EXPECT_NE(std::string::npos, out.find(std::string(c.message) + "The computation is stopped.\n")) << out;
    }
  }
}

} // namespace
