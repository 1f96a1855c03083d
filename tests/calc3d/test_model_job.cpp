// Whole jobs through the program: the shot summary, the model cube and the
// computation grid it prints, skipped shots, points sunk onto the model, and
// a missing model file.
#include "run/run_test_util.h"
#include "test_model_helpers.h"

namespace {

// Writes the job file of an acoustic job over the given model and surface type.
void WriteTask(const char* szModel, int nSurfType) {
  char szTask[1024];
  snprintf(szTask, sizeof(szTask),
           "[TASK]\ntaskType=modeling\n[modeling]\nRun Computation=3D Acoustic\nModel Name=%s\nSurfType=%d\nPML=1\n"
           "Merge=0\n[Survey]\nGeometry=survey.txt\nt0=0\nt1=0.03\ndt=0.002\n[Mesh]\ndx=10\ndt=0.001\n[Source]\n"
           "Frequency=20\n[optimization]\nthreads per process=2\n",
           szModel, nSurfType);
  write_text("runtask.ini", szTask);
}

} // namespace

using ModelJobTest = ModelTestDir;

#ifdef KELVO_HAVE_SEGYIO
TEST_F(ModelJobTest, ForeignModelRunsThroughShotPipeline) {
  // 1000 m along x, air in the top 50 m; shot 1 lies outside the model.
  ASSERT_TRUE(WriteSegyModel("vp.sgy", 101, 6, 21, 0, 0, 10,
                             [](int x, int, int z) { return z < 5 ? 0.0f : 1500.0f + 5.0f * z + x; }));
  WriteFile("survey.txt", "2000 20 0 2100 20 0\n"
                          "500 20 0 400 20 0\n500 20 0 600 20 0\n500 20 0 700 20 0\n");
  WriteTask("vp.sgy", 0);
  std::string out;
  const int rc = RunKelvo(".", out);
  EXPECT_EQ(rc, 0) << out;
  EXPECT_NE(out.find("Warning! Shot #1 (2000,20,0) is outside computation zone "
                     "[0..1000,0..50,0..200]."),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("Shot Point #1 skipped."), std::string::npos);
  EXPECT_NE(out.find("Shot Position    (X,Y,Z): (500, 20, 0), 3 receivers."), std::string::npos) << out;
  EXPECT_NE(out.find("Model Cube       (X,Y,Z): {0..1000, 0..50, 0..200}"), std::string::npos);
  EXPECT_NE(out.find("   First       |    Last       |      Step     |\n"
                     "             0 |          1000 |            10 |  x-dimension\n"
                     "             0 |            50 |            10 |  y-dimension\n"
                     "             0 |           200 |            10 |  z-dimension\n"),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("|  time (131 steps)"), std::string::npos) << out;
  EXPECT_EQ(out.find("Error!"), std::string::npos) << out;
  // The gather of shot 2: shot and receivers, given at the surface, sank
  // through the air onto the model at 50 m (elevation -50).
  CSegyTestFile f = CSegyTestFile::Read("vp+Gath3DAPUz-2.sgy");
  ASSERT_TRUE(f.m_bOk) << out;
  EXPECT_EQ(f.m_nTraces, 3);
  for (int t = 0; t < f.m_nTraces; t++) {
    EXPECT_EQ(f.Field(t, SEGY_TR_RECV_GROUP_ELEV), -50) << t;
    EXPECT_EQ(f.Field(t, SEGY_TR_SOURCE_SURF_ELEV), -50) << t;
  }
}
#endif

TEST_F(ModelJobTest, MissingModelFileStopsCleanly) {
  WriteFile("survey.txt", "500 20 0 400 20 0\n");
  WriteTask("nomodel.sgy", 1);
  std::string out;
  const int rc = RunKelvo(".", out);
  EXPECT_NE(rc, 0) << out;
  EXPECT_NE(rc, -1) << out;
  EXPECT_NE(out.find("Error! Unable to open model file 'nomodel.sgy'."), std::string::npos) << out;
}
