// Reading of a whole job file into the application and calculation objects.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <string>

#include "KelvoApp.h"
#include "calc1d/Calc1D.h"
#include "calc3d/Calc3D.h"
#include "run_test_util.h"

namespace {

const char* const kHead = "[TASK]\ntaskType = modeling\n"
                          "[modeling]\nRun Computation = 3D Acoustic\n";
const char* const kSurvey = "[Survey]\nt0 = 0\nt1 = 1.5\ndt = 0.004\n"
                            "[Source]\nFrequency = 20\n";

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
  ASSERT_EQ(0, Read(std::string(kHead) + kSurvey));
  EXPECT_EQ(101, m_app->m_nMethod);
  EXPECT_FALSE(m_app->m_bMergeTask);
  EXPECT_TRUE(m_app->m_bMerge);
  EXPECT_EQ(0, m_app->m_nSmoothModel);
  EXPECT_EQ(os::GetCPUCount(), m_app->m_nThreads);
  EXPECT_DOUBLE_EQ(1.5, m_app->m_t1);
  EXPECT_DOUBLE_EQ(0.004, m_app->m_dt);
  ASSERT_NE(nullptr, m_app->m_pCalc3D);
  EXPECT_EQ(m_app.get(), Calc().m_pApp);
  EXPECT_EQ(2, Calc().m_nStart);
  EXPECT_TRUE(Calc().m_bPML);
  EXPECT_EQ(26, Calc().m_nFrame);
  EXPECT_EQ(21, Calc().m_nPML);
  EXPECT_TRUE(Calc().m_cubeModel.IsEmpty());
  EXPECT_DOUBLE_EQ(0.1, Calc().m_fSnapDt);
  EXPECT_TRUE(Calc().m_bTimeMerge);
  EXPECT_TRUE(Printed("CPU: Threads = "));
  EXPECT_TRUE(Printed("Parameter '[modeling]\\Debug' isn't found in the 'runtask.ini' file.\n"));
  EXPECT_FALSE(Printed("Redundant"));
}

TEST_F(ReadTaskTest, TaskTypeAndMethod) {
  EXPECT_EQ(1, Read("[TASK]\ntaskType = modelling\n"));
  EXPECT_EQ(1, Read("[modeling]\nRun Computation = 3D Acoustic\n"));
  EXPECT_TRUE(Printed("taskType '' is wrong"));

  EXPECT_EQ(0,
            Read(std::string("[TASK]\ntaskType = merge-only\n[modeling]\nRun Computation = 3D Acoustic\n") + kSurvey));
  EXPECT_TRUE(m_app->m_bMergeTask);

  EXPECT_EQ(1, Read("[TASK]\ntaskType = modeling\n[modeling]\nDebug = 1\n"));
  EXPECT_TRUE(Printed("Incorrect 'runtask.ini' file ('Run Computation' is wrong)!\n\nThe computation is stopped.\n"));
  EXPECT_EQ(1, Read("[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = 3D Acoustics\n"));
  EXPECT_TRUE(Printed("Error! Unknown modeling method (3D Acoustics) specified in 'runtask.ini'. Should be '3D "
                      "Acoustic' or '3D Elastic' or '3D Elastic Anisotropic'.\nThe computation is stopped.\n"));

  for (const auto& m : {std::make_pair("3D Elastic", 102), std::make_pair("3D Elastic Anisotropic", 103)}) {
    ASSERT_EQ(
        0, Read(std::string("[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = ") + m.first + "\n" + kSurvey));
    EXPECT_EQ(m.second, m_app->m_nMethod);
  }
  // General anisotropy: three halo points and a thinner frame.
  ASSERT_EQ(0, Read(std::string(kHead) + "TTI Anisotropy = 1\n" + kSurvey));
  EXPECT_EQ(104, m_app->m_nMethod);
  EXPECT_EQ(3, Calc().m_nStart);
  EXPECT_EQ(23, Calc().m_nFrame);
  EXPECT_EQ(19, Calc().m_nPML);
  ASSERT_EQ(0, Read(std::string(kHead) + "TTI Anisotropy = 1\nPML = 0\n" + kSurvey));
  EXPECT_EQ(38, Calc().m_nFrame);
  EXPECT_EQ(21, Calc().m_nPML);
}

TEST_F(ReadTaskTest, SurveyTimesAreRequired) {
  EXPECT_EQ(1, Read(kHead));
  EXPECT_TRUE(Printed("Section '[Survey]\\t0' isn't found"));
  EXPECT_EQ(1, Read(std::string(kHead) + "[Survey]\nt0 = 0\ndt = 0.004\n"));
  EXPECT_TRUE(Printed("Parameter '[Survey]\\t1' isn't found"));
  EXPECT_EQ(1, Read(std::string(kHead) + "[Survey]\nt0 = 0\nt1 = 1\n"));
  // The mesh dt is another value than the survey dt.
  EXPECT_EQ(1, Read(std::string(kHead) + "[Survey]\nt0 = 0\nt1 = 1\n[Mesh]\ndt = 0.001\n"));
}

TEST_F(ReadTaskTest, RedundantKeysAndParanoid) {
  std::string task = std::string(kHead) + "FileModelPW = b.sgy\nModel Name = a.sgy\nFileModelSW = s.sgy\n" + kSurvey;
  ASSERT_EQ(0, Read(task));
  EXPECT_STREQ("a.sgy", m_app->m_strModelPW);
  EXPECT_TRUE(Printed("Warning! Redundant variable: [modeling], FileModelPW = b.sgy\n"));
  EXPECT_TRUE(Printed("Warning! Redundant variable: [modeling], FileModelSW = s.sgy\n"))
      << "S-wave model is not read in the acoustic method";
  // Paranoid in a second [modeling] block behind other sections is not seen.
  EXPECT_EQ(0, Read(task + "[modeling]\nParanoid = 1\n"));
  EXPECT_EQ(-1, Read(std::string(kHead) + "Paranoid = 1\n" + task.substr(strlen(kHead))));
  EXPECT_TRUE(Printed("Error! Redundant variable: [modeling], FileModelPW = b.sgy\n"));
  // A clean file passes with Paranoid set.
  EXPECT_EQ(0, Read(std::string(kHead) + "Paranoid = 1\nModel Name = a.sgy\n" + kSurvey));
}

TEST_F(ReadTaskTest, ModelFilesAndAnisotropy) {
  std::string task = "[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = 3D Elastic Anisotropic\n"
                     "FileModelPW = p.sgy\nFileModelSW = s.sgy\nFileModelD = d.sgy\n"
                     "FileAnisEpsilon = 0.2\nFileAnisDelta = eps.sgy\n";
  ASSERT_EQ(0, Read(task + kSurvey));
  EXPECT_STREQ("p.sgy", m_app->m_strModelPW);
  EXPECT_STREQ("s.sgy", m_app->m_strModelSW);
  EXPECT_STREQ("d.sgy", m_app->m_strModelD);
  EXPECT_TRUE(m_app->m_strAnisEpsilon.IsEmpty());
  EXPECT_FLOAT_EQ(0.2f, m_app->m_fAnisEpsilon);
  EXPECT_TRUE(m_app->m_strAnisDelta.IsEmpty()) << "a name that is no file is a number";
  EXPECT_FLOAT_EQ(0.0f, m_app->m_fAnisDelta);

  WriteFile("0.2", "x");
  WriteFile("eps.sgy", "x");
  ASSERT_EQ(0, Read(task + kSurvey));
  EXPECT_STREQ("0.2", m_app->m_strAnisEpsilon);
  EXPECT_FLOAT_EQ(0.0f, m_app->m_fAnisEpsilon);
  EXPECT_STREQ("eps.sgy", m_app->m_strAnisDelta);

  // A comment behind a file name leaves the blanks in the name.
  ASSERT_EQ(0, Read(std::string(kHead) + "Model Name = a.sgy ; velocity\n" + kSurvey));
  EXPECT_STREQ("a.sgy ", m_app->m_strModelPW);
}

TEST_F(ReadTaskTest, OutputDirectory) {
  ASSERT_EQ(0, Read(std::string(kHead) + "OutputDir = out/shots\n" + kSurvey));
  EXPECT_STREQ("out/shots/", m_app->m_strOutputDir);
  struct stat st;
  ASSERT_EQ(0, stat("out/shots", &st));
  EXPECT_TRUE(S_ISDIR(st.st_mode));
  ASSERT_EQ(0, Read(std::string(kHead) + "OutputDir = out/shots/\n" + kSurvey));
  EXPECT_STREQ("out/shots/", m_app->m_strOutputDir);

  WriteFile("blocker", "x");
  EXPECT_EQ(1, Read(std::string(kHead) + "OutputDir = blocker/sub\n" + kSurvey));
  EXPECT_TRUE(Printed("OutputDir directory 'blocker/sub/'"));
}

TEST_F(ReadTaskTest, ShotSelectionKeys) {
  EXPECT_EQ(0, Read(std::string(kHead) + "UseShotId = 1\n" + kSurvey + "[Survey]\nShotsDefinedByCoordinates = 1\n"));
  // The second [Survey] block is behind another header: not searched.
  EXPECT_FALSE(Printed("Contradicting"));

  EXPECT_EQ(-1, Read(std::string(kHead) + "UseShotId = 1\n[Survey]\nt0 = 0\nt1 = 1\ndt = 0.004\n"
                                          "ShotsDefinedByCoordinates = 1\n[Source]\nFrequency = 20\n"));
  EXPECT_TRUE(Printed("Error! Contradicting settings encountered. 'UseShotId' and 'ShotsDefinedByCoordinates' "
                      "cannot both be 1."));

  ASSERT_EQ(0, Read(std::string(kHead) + "First Point = 3\nLast Point = 9\n" + kSurvey + "[MPI]\nGroup Size = 3\n"));
  EXPECT_EQ(3, m_app->m_nFirstPoint);
  EXPECT_EQ(9, m_app->m_nLastPoint);
  EXPECT_EQ(3, m_app->m_nGroupSize);
  // Group Size at or above the number of processes is ignored.
  ASSERT_EQ(0, Read(std::string(kHead) + kSurvey + "[MPI]\nGroup Size = 4\nBig Seismogram = 1\n"));
  EXPECT_EQ(0, m_app->m_nGroupSize);
  EXPECT_TRUE(m_app->m_bBigSeismogram);
}

class ReadTaskCommandLine : public ReadTaskTest {
  void Prepare(CKelvoApp& app) override {
    app.m_nFirstPoint = app.m_nCurPoint = 5;
    app.m_nLastPoint = 0;
  }
};

TEST_F(ReadTaskCommandLine, CommandLineWinsAndRecovery) {
  std::string task = std::string(kHead) + "First Point = 2\nLast Point = 12\nRecovery = 1\n" + kSurvey;
  ASSERT_EQ(0, Read(task));
  EXPECT_EQ(5, m_app->m_nFirstPoint);
  EXPECT_EQ(12, m_app->m_nLastPoint);
  EXPECT_TRUE(Printed("Redundant variable: [modeling], First Point = 2"));
  EXPECT_EQ(5, m_app->m_nCurPoint) << "no Recovery.dat";

  WriteFile("Recovery.dat", "8\n");
  ASSERT_EQ(0, Read(task));
  EXPECT_EQ(8, m_app->m_nCurPoint);
  EXPECT_TRUE(Printed("RECOVER: Continue from shot #8\n"));
  for (const char* s : {"5\n", "4\n", "13\n", "junk\n"}) {
    WriteFile("Recovery.dat", s);
    ASSERT_EQ(0, Read(task));
    EXPECT_EQ(5, m_app->m_nCurPoint) << s;
  }
  // Without Recovery the file is not looked at.
  WriteFile("Recovery.dat", "8\n");
  ASSERT_EQ(0, Read(std::string(kHead) + "Last Point = 12\n" + kSurvey));
  EXPECT_EQ(5, m_app->m_nCurPoint);
}

TEST_F(ReadTaskTest, CalculationSettings) {
  EXPECT_EQ(1, Read(std::string(kHead) + "SurfType = 2\n" + kSurvey));
  EXPECT_TRUE(Printed("Error! Incorrect surface type specified (2).\n"));

  ASSERT_EQ(0, Read(std::string(kHead) +
                    "X0 = 0\nX1 = 1000\nY0 = 0\nY1 = 500\nZ0 = 0\nZ1 = 800\nMargin = 50\nSurfType = 1\n" +
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
  ASSERT_EQ(0, Read(std::string(kHead) + "X0 = 0\nX1 = 1000\n" + kSurvey + "Type = 8\nDoubleCoupleAxis = Xy\n"));
  EXPECT_TRUE(Calc().m_cubeSim.IsEmpty());
  EXPECT_DOUBLE_EQ(1000, Calc().m_cubeModel.x1);
  EXPECT_FLOAT_EQ(0, Calc().m_fK12) << "mixed case names no axis";
  EXPECT_FLOAT_EQ(0, Calc().m_fK13);

  ASSERT_EQ(0, Read(std::string(kHead) + kSurvey + "Type = 8\n"));
  EXPECT_FLOAT_EQ(1, Calc().m_fK13) << "XZ when absent";

  ASSERT_EQ(0, Read(std::string(kHead) + kSurvey + "Type = 9\nK11 = 0.5\nK23 = -1\n"));
  EXPECT_FLOAT_EQ(0.5f, Calc().m_fK11);
  EXPECT_FLOAT_EQ(-1.f, Calc().m_fK23);
  EXPECT_FLOAT_EQ(0.f, Calc().m_fK22);
}

TEST_F(ReadTaskTest, ViscoElasticKeys) {
  std::string elastic = "[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = 3D Elastic\n";
  ASSERT_EQ(0, Read(elastic + "FileModelQ = q.sgy\n" + kSurvey + "[ViscoElastic]\nL = 3\nUseApparentVelocity = 1\n"));
  EXPECT_EQ(3, Calc().m_nViscoL);
  EXPECT_TRUE(Calc().m_bApparentVelocity);
  ASSERT_EQ(0, Read(elastic + "FileModelQ = q.sgy\n" + kSurvey + "[ViscoElastic]\nL = 11\nUseApparentVelocity = 1\n"));
  EXPECT_EQ(0, Calc().m_nViscoL);
  EXPECT_TRUE(Printed("Redundant variable: [ViscoElastic], UseApparentVelocity = 1"));
  // Without a Q model the mechanisms are not read.
  ASSERT_EQ(0, Read(elastic + kSurvey + "[ViscoElastic]\nL = 3\n"));
  EXPECT_EQ(0, Calc().m_nViscoL);
  EXPECT_TRUE(Printed("Redundant variable: [ViscoElastic], L = 3"));
  // SuppressSV only counts for S waves.
  ASSERT_EQ(0, Read(elastic + kSurvey + "SuppressSV = 0\n"));
  EXPECT_FALSE(Calc().m_bSuppressSV);
  ASSERT_EQ(0, Read(std::string(kHead) + kSurvey + "SuppressSV = 0\n"));
  EXPECT_TRUE(Calc().m_bSuppressSV);
  EXPECT_TRUE(Printed("Redundant variable: [Source], SuppressSV = 0"));
}

TEST_F(ReadTaskTest, SnapshotAndTimeFieldKeys) {
  ASSERT_EQ(0, Read(std::string(kHead) + "[Mesh]\ndx = 12.5\n" + kSurvey +
                    "[3DSnapshot]\nShots = 3 -1 0 7\nTimes = 0.5 -0.1 1.25\nComponents = XZC\n"
                    "[Time]\nType = 7\ndy = 20\n[Snapshot]\nEvery = 2\nY Offset = 30\n"));
  EXPECT_EQ((std::vector<int>{3, 0, 7}), Calc().m_vSnap3DShots);
  EXPECT_EQ((std::vector<double>{0.5, 1.25}), Calc().m_vSnap3DTimes);
  EXPECT_STREQ("XZC", Calc().m_szSnap3DComponents);
  EXPECT_EQ(3, Calc().m_nTimeFieldType) << "other bits are cleared";
  EXPECT_DOUBLE_EQ(12.5, Calc().m_fTimeDx) << "the mesh step when absent";
  EXPECT_DOUBLE_EQ(20, Calc().m_fTimeDy);
  EXPECT_DOUBLE_EQ(12.5, Calc().m_fTimeDz) << "the time-field dx when absent";
  EXPECT_EQ(2, Calc().m_nSnapEvery);
  EXPECT_DOUBLE_EQ(30, Calc().m_fSnapYOffset);

  ASSERT_EQ(0, Read(std::string(kHead) + kSurvey + "[Time]\nMerge = 0\ndx = 5\n"));
  EXPECT_FALSE(Calc().m_bTimeMerge);
  EXPECT_DOUBLE_EQ(0, Calc().m_fTimeDx);
  EXPECT_TRUE(Printed("Redundant variable: [Time], dx = 5")) << "steps are read only with a time-field type";
}

TEST_F(ReadTaskTest, VerticalIncidence) {
  std::string task = "[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = Vertical Incidence\n"
                     "First Point = 2\n[Mesh]\ndz = 4\ndt = 0.0005\n";
  ASSERT_EQ(0, Read(task + kSurvey + "Type = 5\n"));
  EXPECT_EQ(100, m_app->m_nMethod);
  EXPECT_EQ(nullptr, m_app->m_pCalc3D);
  ASSERT_NE(nullptr, m_app->m_pCalc1D);
  EXPECT_DOUBLE_EQ(4, m_app->m_pCalc1D->m_fH) << "dz stands in for an absent dx";
  EXPECT_DOUBLE_EQ(0.0005, m_app->m_pCalc1D->m_fDt);
  EXPECT_EQ(0, m_app->m_pCalc1D->m_nSourceType) << "only 0 and 3 count";
  EXPECT_EQ(0, m_app->m_nFirstPoint);
  EXPECT_TRUE(Printed("Redundant variable: [modeling], First Point = 2"));
  ASSERT_EQ(0, Read(task + "dx = 8\n" + kSurvey + "Type = 3\n"));
  EXPECT_DOUBLE_EQ(8, m_app->m_pCalc1D->m_fH);
  EXPECT_EQ(3, m_app->m_pCalc1D->m_nSourceType);
  EXPECT_TRUE(Printed("Redundant variable: [Mesh], dz = 4"));
}

} // namespace
