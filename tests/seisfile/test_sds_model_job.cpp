// A whole job through the program: the same model cube given as SEG-Y and as
// SDS gives the same gathers.
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>

#include <cmath>

#include "SeisTestUtil.h"

namespace {

const char* const s_szTask = "[TASK]\n"
                             "taskType=modeling\n"
                             "[modeling]\n"
                             "Run Computation=3D Acoustic\n"
                             "Model Name=%s\n"
                             "PML=1\n"
                             "Merge=0\n"
                             "[Survey]\n"
                             "Geometry=../survey.txt\n"
                             "t0=0\n"
                             "t1=0.03\n"
                             "dt=0.002\n"
                             "[Mesh]\n"
                             "dx=10\n"
                             "dt=0.001\n"
                             "[Source]\n"
                             "Frequency=20\n"
                             "[optimization]\n"
                             "threads per process=1\n";

// A P-velocity cube of 31 x 5 x 16 points, 10 m apart, layered and with a
// lateral gradient, written as an empty 3-D file filled trace by trace.
bool write_model(const std::string& path) {
  const int nx = 31, ny = 5, nz = 16;
  CSdsPC sds;
  if (!sds.Create3D_file(path.c_str(), C3DSizeN(nx, ny, nz), CCubeR(0, 0, 0, 300, 40, 150), 0, DU_M, 0, nullptr) ||
      !sds.OnOpen(path.c_str(), 1, 1, 0, 0) || sds.m_nTraceCount != nx * ny)
    return false;
  std::vector<float> t(nz);
  for (int i = 0; i < sds.m_nTraceCount; i++) {
    for (int z = 0; z < nz; z++)
      t[z] = 1500.0f + 2.0f * (i % nx) + (z < 8 ? 0.0f : 800.0f);
    sds.SetTrace(i, t.data(), nz);
  }
  return true;
}

// Runs the program in directory dir: its exit status, -1 on a crash.
int run_kelvo(const std::string& dir, std::string& out) {
  const std::string cmd = "cd '" + dir + "' && OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 " +
                          KELVO_BINARY + " > console.txt 2>&1";
  const int st = system(cmd.c_str());
  out = read_text(dir + "/console.txt");
  return st == -1 || !WIFEXITED(st) ? -1 : WEXITSTATUS(st);
}

} // namespace

using SdsModelJob = ScratchDirTest;

#ifdef KELVO_HAVE_SEGYIO
TEST_F(SdsModelJob, SdsModelGivesTheGathersOfTheSameSegyModel) {
  write_text(Path("survey.txt"), "150 20 0 50 20 0\n150 20 0 250 20 0\n150 20 0 150 20 80\n");
  std::vector<CSegyTestFile> gathers;
  for (const char* model : {"vp.sgy", "vp.rec"}) {
    const std::string dir = Path(model + 3); // "sgy" or "rec"
    ASSERT_EQ(mkdir(dir.c_str(), 0755), 0);
    ASSERT_TRUE(write_model(dir + "/" + model)) << model;
    char szTask[2048];
    snprintf(szTask, sizeof(szTask), s_szTask, model);
    write_text(dir + "/runtask.ini", szTask);
    std::string out;
    ASSERT_EQ(run_kelvo(dir, out), 0) << out;
    EXPECT_EQ(out.find("Error!"), std::string::npos) << out;
    gathers.push_back(CSegyTestFile::Read(dir + "/vp+Gath3DAPUz-1.sgy"));
    ASSERT_TRUE(gathers.back().m_bOk) << model << "\n" << out;
  }
  EXPECT_EQ(file_size(Path("rec/vp.rec")), 31 * 5 * (80 + 4 * 16));
  const CSegyTestFile &a = gathers[0], &b = gathers[1];
  ASSERT_EQ(a.m_nTraces, 3);
  ASSERT_EQ(b.m_nTraces, a.m_nTraces);
  ASSERT_EQ(b.m_nSamples, a.m_nSamples);
  double peak = 0.0;
  for (int i = 0; i < a.m_nTraces; i++) {
    EXPECT_EQ(b.Field(i, SEGY_TR_GROUP_X), a.Field(i, SEGY_TR_GROUP_X));
    for (int k = 0; k < a.m_nSamples; k++) {
      peak = std::max(peak, (double)std::fabs(a.m_vData[i][k]));
      ASSERT_EQ(b.m_vData[i][k], a.m_vData[i][k]) << "trace " << i << " sample " << k;
    }
  }
  EXPECT_GT(peak, 0.0) << "the gathers hold a wavefield";
}
#endif
