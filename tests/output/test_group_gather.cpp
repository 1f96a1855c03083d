// Collection of a shot gather over a depth group: each process holds the
// receivers of its slab and the group's first process writes the file.
// These tests need several processes: tests/output/group_gather.sh runs them
// under mpirun; alone they are skipped.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "calc3d/Calc3D_OMP.h"
#include "run/KelvoApp.h"
#include "seisfile/ScratchDir.h"
#include "seisfile/SegyTestFile.h"

namespace {

// Finalizes MPI at the end of the program when a test started it.
class MpiEnvironment : public ::testing::Environment {
public:
  void TearDown() override {
    int bInit = 0, bDone = 0;
    MPI_Initialized(&bInit);
    MPI_Finalized(&bDone);
    if (bInit && !bDone)
      MPI_Finalize();
  }
};
const ::testing::Environment* const g_pMpiEnv = ::testing::AddGlobalTestEnvironment(new MpiEnvironment);

constexpr int kLen = 6;        // samples per trace
constexpr int kTraces = 5;     // traces of the whole group
const int kOwn[3] = {3, 0, 2}; // receivers of ranks 0, 1, 2 (rank 1 holds none)

// Global index of receiver i of a rank: ranks in order, each in its own order.
int GlobalIndex(int nRank, int i) {
  int g = 0;
  for (int r = 0; r < nRank; r++)
    g += kOwn[r];
  return g + i;
}

class GroupGather : public ::testing::Test {
protected:
  void SetUp() override {
    if (!getenv("OMPI_COMM_WORLD_SIZE"))
      GTEST_SKIP() << "needs mpirun (group_gather.sh)";
#ifndef KELVO_HAVE_SEGYIO
    GTEST_SKIP() << "segyio not available";
#endif
    int bInit = 0;
    MPI_Initialized(&bInit);
    if (!bInit)
      MPI_Init(nullptr, nullptr);
    MPI_COMM_MT = MPI_COMM_WORLD;
    MPI_Comm_rank(MPI_COMM_WORLD, &g_nNode);
    MPI_Comm_size(MPI_COMM_WORLD, &g_nSize);
    if (g_nSize != 3)
      GTEST_SKIP() << "runs with 3 processes";
    m_job.m_nNode = g_nNode;
    m_job.m_nSize = g_nSize;
    m_job.m_nGroupSize = g_nSize;
    m_job.m_nGroupRank = g_nNode;
    m_job.m_bBigSeismogram = false;
    m_job.m_t0 = 0;
    m_job.m_dt = 0.004;
    m_job.m_Survey.m_vShots = {C3DPointR(500, 0, 10)};
    m_job.m_Survey.m_vShotIds = {55};
    m_job.m_Survey.m_nActiveShot = 1;
    m_job.m_Survey.m_nActiveIndex = 0;

    // One directory for the group, made by the leader.
    char szDir[256] = {0};
    if (g_nNode == 0) {
      m_pDir = new CScratchDir;
      strncpy(szDir, m_pDir->Root().c_str(), sizeof(szDir) - 1);
    }
    MPI_Bcast(szDir, sizeof(szDir), MPI_CHAR, 0, MPI_COMM_WORLD);
    m_strDir = szDir;

    m_calc.m_nShot = 1;
    m_calc.m_ptShot = C3DPointR(500, 0, 10);
    m_calc.m_nSeisLen = kLen;
    m_calc.m_nTraces = kTraces;
    const int n = kOwn[g_nNode];
    for (int i = 0; i < n; i++) {
      const int g = GlobalIndex(g_nNode, i);
      m_calc.m_vReceivers.push_back(C3DPointR(100.0 * g, 20, 5.0 * (g_nNode + 1)));
      m_calc.m_vRcvIdx.push_back((size_t)g);
      m_calc.m_vRcvInline.push_back(3);
      m_calc.m_vRcvCrossline.push_back(g + 1);
      m_calc.m_vRcvTraceId.push_back(700 + g);
      m_calc.m_vRcvFileId.push_back(-1);
    }
    if (n > 0) {
      m_calc.m_pSeisZ = new float[n * kLen];
      m_calc.m_pSeisC = new float[n * kLen];
      for (int k = 0; k < kLen; k++) {
        for (int i = 0; i < n; i++) {
          m_calc.m_pSeisZ[k * n + i] = Value(GlobalIndex(g_nNode, i), k);
          m_calc.m_pSeisC[k * n + i] = -Value(GlobalIndex(g_nNode, i), k);
        }
      }
    }
  }
  void TearDown() override {
    int bInit = 0;
    MPI_Initialized(&bInit);
    if (bInit)
      MPI_Barrier(MPI_COMM_WORLD);
    delete m_pDir;
    m_job.m_nGroupSize = 0;
    m_job.m_nGroupRank = 0;
  }
  static float Value(int g, int k) { return 10.0f * (g + 1) + 0.5f * k; }

  CCalc3D_OMP m_calc;
  CScratchDir* m_pDir = nullptr;
  std::string m_strDir;
};

TEST_F(GroupGather, LeaderWritesAllTracesInRankOrder) {
  const std::string path = m_strDir + "/gather.sgy";
  EXPECT_EQ(0, m_calc.SaveShotgather(path.c_str(), 'Z'));
  if (g_nNode != 0)
    return;
  CSegyTestFile f = CSegyTestFile::Read(path);
  ASSERT_TRUE(f.m_bOk);
  ASSERT_EQ(kTraces, f.m_nTraces);
  ASSERT_EQ(kLen, f.m_nSamples);
  for (int g = 0; g < kTraces; g++) {
    const int nRank = g < 3 ? 0 : 2;
    EXPECT_EQ(100 * g, f.Field(g, SEGY_TR_GROUP_X)) << g;
    EXPECT_EQ(-5 * (nRank + 1), f.Field(g, SEGY_TR_RECV_GROUP_ELEV)) << g;
    EXPECT_EQ(3, f.Field(g, SEGY_TR_INLINE)) << g;
    EXPECT_EQ(g + 1, f.Field(g, SEGY_TR_CROSSLINE)) << g;
    EXPECT_EQ(700 + g, f.Field(g, SEGY_TR_NUMBER_ORIG_FIELD)) << g;
    EXPECT_EQ(55, f.Field(g, SEGY_TR_ENERGY_SOURCE_POINT)) << g;
    for (int k = 0; k < kLen; k++)
      EXPECT_FLOAT_EQ(Value(g, k), f.m_vData[g][k]) << g << "," << k;
  }
}

TEST_F(GroupGather, FailingMemberStopsTheComponentOnAllSides) {
  // Rank 2 has receivers but no pressure gather to give.
  if (g_nNode == 2)
    CCalc3D::FreeArray(m_calc.m_pSeisC);
  const std::string path = m_strDir + "/gather-c.sgy";
  const int nResult = m_calc.SaveShotgather(path.c_str(), 'C');
  const int nExpected[3] = {-1, 0, -1000};
  if (g_nNode > 0) {
    EXPECT_EQ(nExpected[g_nNode], nResult);
  }
  if (g_nNode == 0) {
    EXPECT_NE(0, nResult);
    EXPECT_FALSE(file_exists(path));
  }
  // The group is still in step: the next component goes through.
  const std::string pathZ = m_strDir + "/gather-z.sgy";
  EXPECT_EQ(0, m_calc.SaveShotgather(pathZ.c_str(), 'Z'));
  if (g_nNode == 0) {
    EXPECT_EQ(kTraces, CSegyTestFile::Read(pathZ).m_nTraces);
  }
}

} // namespace
