// Services of the run driver that do not need a computed shot.
#include <gtest/gtest.h>

#include "Entry.h"
#include "KelvoApp.h"
#include "calc3d/Calc3D_OMP.h"
#include "run_test_util.h"

namespace {

class Driver : public InTempDir {};

TEST(EntryCommandLine, ShotsOnlyWithThreeArguments) {
  int nFirst = -1, nLast = -1;
  char prog[] = "kelvo", x[] = "x", five[] = "5", nine[] = "9";
  char* three[] = {prog, x, five, nine};
  entry_parse_shots(4, three, nFirst, nLast);
  EXPECT_EQ(5, nFirst);
  EXPECT_EQ(9, nLast);
  entry_parse_shots(3, three, nFirst, nLast);
  EXPECT_EQ(0, nFirst);
  EXPECT_EQ(0, nLast);
  entry_parse_shots(1, three, nFirst, nLast);
  EXPECT_EQ(0, nFirst);
}

// First, last and current shot before settling; min and max of the survey.
struct RangeCase {
  int first, last, cur, min, max;
  int rc, wantFirst, wantLast, wantCur;
};

TEST_F(Driver, ShotRangeSettling) {
  const RangeCase cases[] = {
      {0, 0, 0, 1, 20, 0, 1, 20, 1},         // open range: the whole survey
      {7, 0, 7, 1, 20, 0, 1, 20, 7},         // a first shot without a last one gives the whole range; work starts at 7
      {3, 30, 3, 1, 20, 0, 3, 20, 3},        // a last shot above max is cut down
      {21, 25, 21, 1, 20, -1, 21, 25, 21},   // first above max
      {9, 4, 9, 1, 20, -1, 9, 4, 9},         // first above last
      {2, 9, 6, 1, 20, 0, 2, 9, 6},          // a recovery point inside the range stays
      {2, 9, 12, 1, 20, 0, 2, 9, 2},         // outside the range it is moved to the first
      {0, 0, 0, 100, 250, 0, 100, 250, 100}, // ids as numbers
  };
  for (const RangeCase& c : cases) {
    CKelvoApp app;
    app.m_nFirstPoint = c.first;
    app.m_nLastPoint = c.last;
    app.m_nCurPoint = c.cur;
    CaptureStdout cap;
    EXPECT_EQ(c.rc, app.SettleShotRange(c.min, c.max)) << c.first << ".." << c.last;
    std::string out = cap.Text();
    if (c.rc == 0) {
      EXPECT_EQ(c.wantFirst, app.m_nFirstPoint) << c.first << ".." << c.last;
      EXPECT_EQ(c.wantLast, app.m_nLastPoint) << c.first << ".." << c.last;
      EXPECT_EQ(c.wantCur, app.m_nCurPoint) << c.first << ".." << c.last;
      EXPECT_EQ("", out) << "a cut is silent";
    } else {
      EXPECT_NE(std::string::npos, out.find("The computation is stopped.\n"));
    }
  }
  CKelvoApp app;
  app.m_nFirstPoint = app.m_nCurPoint = 21;
  app.m_nLastPoint = 25;
  CaptureStdout cap;
  app.SettleShotRange(1, 20);
  EXPECT_NE(std::string::npos, cap.Text().find("Error! Incorrect range of shot points specified (21..25). Maximal "
                                               "shot point number is 20.\n"));
  app.m_nFirstPoint = 9;
  app.m_nLastPoint = 4;
  CaptureStdout cap2;
  app.SettleShotRange(1, 20);
  EXPECT_NE(std::string::npos,
            cap2.Text().find("Error! Incorrect range of shot points specified (9..4). Real range is (1..20)\n"));
}

TEST_F(Driver, GatherLengthAndSpillName) {
  CKelvoApp app;
  app.m_t0 = 0;
  app.m_t1 = 1;
  app.m_dt = 0.004;
  EXPECT_EQ(251, app.GetSeismogramTraceLen());
  app.m_t0 = 0.1;
  app.m_t1 = 0.3;
  app.m_dt = 0.003; // 66.67 samples: rounded to 67, plus one
  EXPECT_EQ(68, app.GetSeismogramTraceLen());
  app.m_nNode = 3;
  app.m_nCurShot = 17;
  EXPECT_STREQ("BigSeis-3(17).bin", app.GetBigSeisFileName());
}

TEST_F(Driver, MethodBanners) {
  struct {
    int method, visco;
    const char* text;
  } cases[] = {
      {100, 0, "1D VERTICAL INCIDENCE MODELING STARTED"},
      {101, 2, "3D ACOUSTIC MODELING STARTED"},
      {102, 0, "3D ELASTIC MODELING STARTED"},
      {102, 1, "3D VISCOELASTIC MODELING STARTED"},
      {103, 0, "3D ELASTIC ORTHOROMBIC ANISOTROPIC MODELING STARTED"},
      {103, 3, "3D VISCOELASTIC ORTHOROMBIC ANISOTROPIC MODELING STARTED"},
      {104, 0, "3D ELASTIC ANISOTROPIC MODELING STARTED"},
      {104, 1, "3D VISCOELASTIC ANISOTROPIC MODELING STARTED"},
  };
  for (const auto& c : cases) {
    CKelvoApp app;
    app.m_nMethod = c.method;
    if (c.method != 100) {
      app.m_pCalc3D = new CCalc3D_OMP();
      app.m_pCalc3D->m_pApp = &app;
      app.m_pCalc3D->m_nViscoL = c.visco;
    }
    CaptureStdout cap;
    app.PrintModelingMethod();
    std::string out = cap.Text();
    std::string dashes(71, '-');
    std::string title = c.text;
    std::string expect = dashes + "\n" + std::string((71 - title.size() - 1) / 2, ' ') + title + "\n" + dashes + "\n";
    EXPECT_EQ(expect, out) << c.method << "/" << c.visco;
  }
}

TEST_F(Driver, OneDimensionalJobWithoutObject) {
  CKelvoApp app;
  app.m_nMethod = 100;
  CaptureStdout cap;
  EXPECT_EQ(1, app.Run1DShot());
  EXPECT_EQ("Error! Computation object not being created.\n", cap.Text());
}

} // namespace
