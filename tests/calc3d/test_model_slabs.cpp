// Depth slabs under MPI: the surface relay and the hand-over of survey points
// between two processes must give what one process computes on the whole
// grid. The test starts itself again under mpirun with two processes.
#include <limits.h>
#include <sys/wait.h>

#include "test_model_helpers.h"

namespace {

const char* const CHILD_ENV = "KELVO_MODEL_SLAB_CHILD";
const int NX = 10, NY = 5, NZ = 20, F = 2;

// A global model: columns along x with different void patterns (x = 2 to 7
// inside the frame). The top F planes repeat plane F, as a frame does.
float Vp(int x, int y, int gz) {
  const int z = gz < F ? F : gz;
  bool solid = false;
  switch (std::min(std::max(x - F, 0), 5)) {
  case 0: solid = true; break;
  case 1: solid = z >= 10; break;
  case 2: solid = false; break;
  case 3: solid = (z >= 3 && z <= 5) || (z >= 14 && z <= 15); break;
  case 4: solid = z >= 9; break;
  default: solid = z <= 6;
  }
  return solid ? 1500.0f + 10.0f * z + y : 0.0f;
}

void Fill(CModelOnlyCalc3D& c) {
  for (int z = 0; z < c.m_nNz; z++)
    for (int y = 0; y < NY; y++)
      for (int x = 0; x < NX; x++) {
        const size_t i = c.Idx(x, y, z);
        const float v = Vp(x, y, z + c.m_nZ0);
        c.m_pK[i] = v;
        c.m_pB[i] = v > 0 ? v + 500.0f : 0.0f;
        c.m_pMu[i] = v > 0 ? v * 0.5f : 0.0f;
      }
}

} // namespace

TEST_F(ModelTestDir, SlabsOfTwoProcessesAgreeWithOne) {
  if (getenv(CHILD_ENV))
    GTEST_SKIP();
  char self[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", self, sizeof(self) - 1);
  ASSERT_GT(n, 0);
  self[n] = 0;
  const std::string cmd = std::string("OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 ") + CHILD_ENV +
                          "=1 mpirun --oversubscribe -np 2 " + self +
                          " --gtest_filter=ModelSlabsChild.* --gtest_color=no > mpi.txt 2>&1";
  const int st = system(cmd.c_str());
  const std::string out = read_text("mpi.txt");
  ASSERT_TRUE(WIFEXITED(st)) << out;
  EXPECT_EQ(WEXITSTATUS(st), 0) << out;
  EXPECT_NE(out.find("[  PASSED  ] 1 test"), std::string::npos) << out;
}

TEST(ModelSlabsChild, RelayAndSurveyHandOver) {
  if (!getenv(CHILD_ENV))
    GTEST_SKIP() << "runs under mpirun only";
  int bInit = 0;
  MPI_Initialized(&bInit);
  if (!bInit)
    MPI_Init(nullptr, nullptr);
  int rank = 0, size = 0;
  MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  MPI_Comm_size(MPI_COMM_WORLD, &size);
  ASSERT_EQ(size, 2);
  g_nNode = rank;
  g_nSize = size;

  // Reference: the whole grid on one process.
  CKelvoApp app1;
  app1.m_nMethod = 102;
  CModelOnlyCalc3D one;
  one.m_pApp = &app1;
  one.SetGrid(NX, NY, NZ, 10, F);
  ASSERT_EQ(one.InitDecomposition(), 0);
  ASSERT_EQ(one.AllocateMemory(false, true), 0);
  Fill(one);
  ASSERT_EQ(one.MakeSurface(), 0);
  ASSERT_EQ(one.MakeSurfaceBottomDistributed(), 0);

  // The slab of this process.
  CKelvoApp app;
  app.m_nMethod = 102;
  app.m_nGroupSize = 2;
  app.m_nGroupRank = rank;
  app.m_nNode = rank;
  CModelOnlyCalc3D c;
  c.m_pApp = &app;
  c.m_bPML = false;
  c.SetGrid(NX, NY, NZ, 10, F);
  ASSERT_EQ(c.InitDecomposition(), 0);
  EXPECT_EQ(c.m_nZ0, rank == 0 ? 0 : 8);
  EXPECT_EQ(c.m_nNz, 12);
  ASSERT_EQ(c.AllocateMemory(false, true), 0);
  Fill(c);

  // Survey as the whole grid sees it: a source in the air above column 3
  // (medium from plane 10), receivers over columns 2 (medium throughout), 5
  // (medium again at plane 14) and 4 (no medium at all).
  auto real = [](int x, int y, int gz) { return C3DPointR((x - F) * 10.0, (y - F) * 10.0, (gz - F) * 10.0); };
  c.m_nShot = 1;
  c.m_ptShot = real(3, 2, 3);
  c.m_vExcitePoints = {real(3, 2, 3)};
  c.m_vShotPoints = {C3DShotPoint{0, 0}};
  c.m_vReceivers = {real(2, 2, 3), real(5, 2, 12), real(4, 2, 5)};
  c.m_vRcvIdx = {0, 0, 0};
  c.m_vRcvInline = {1, 2, 3};
  c.m_vRcvCrossline = {11, 12, 13};
  c.m_vRcvTraceId = {21, 22, 23};
  c.m_vRcvFileId = {31, 32, 33};
  ASSERT_EQ(c.ValidateSurveyGeometryDistributed(), 0);
  EXPECT_EQ(c.m_nTraces, 2);
  const size_t nPlane = (size_t)NX * NY;
  // The source lands on plane 10 of rank 1, whose border sends it up too.
  ASSERT_EQ(c.m_vShotPoints.size(), 1u);
  EXPECT_EQ(c.m_vShotPoints[0].nIndex, (10 - c.m_nZ0) * nPlane + 2 * NX + 3);
  if (rank == 0) {
    EXPECT_TRUE(c.m_vExcitePoints.empty());
    EXPECT_DOUBLE_EQ(c.m_ptShot.z, 10);
    ASSERT_EQ(c.m_vRcvIdx.size(), 1u);
    EXPECT_EQ(c.m_vRcvIdx[0], 3 * nPlane + 2 * NX + 2);
    EXPECT_EQ(c.m_vRcvInline, std::vector<int>{1});
  } else {
    ASSERT_EQ(c.m_vExcitePoints.size(), 1u);
    EXPECT_DOUBLE_EQ(c.m_ptShot.z, 80);
    ASSERT_EQ(c.m_vRcvIdx.size(), 1u);
    EXPECT_EQ(c.m_vRcvIdx[0], (14 - 8) * nPlane + 2 * NX + 5);
    EXPECT_DOUBLE_EQ(c.m_vReceivers[0].z, 120);
    EXPECT_EQ(c.m_vRcvFileId, std::vector<int>{32});
  }

  ASSERT_EQ(c.MakeSurface(), 0);
  ASSERT_EQ(c.MakeSurfaceBottomDistributed(), 0);
  // The planes this process owns equal the one-process result.
  const int z0 = rank == 0 ? 0 : 10, z1 = rank == 0 ? 9 : 19;
  for (int gz = z0; gz <= z1; gz++)
    for (int y = 0; y < NY; y++)
      for (int x = 0; x < NX; x++) {
        const size_t i = c.Idx(x, y, gz - c.m_nZ0), j = one.Idx(x, y, gz);
        ASSERT_EQ(c.m_pK[i], one.m_pK[j]) << x << "," << y << "," << gz;
        ASSERT_EQ(c.m_pB[i], one.m_pB[j]) << x << "," << y << "," << gz;
        ASSERT_EQ(c.m_pMu[i], one.m_pMu[j]) << x << "," << y << "," << gz;
      }
  MPI_Barrier(MPI_COMM_WORLD);
  MPI_Finalize();
}
