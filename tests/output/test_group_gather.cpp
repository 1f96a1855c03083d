// A shot gather collected over a depth group: each process holds the receivers
// of its slab and the group's first process writes the file. Run under mpirun
// by group_gather.sh; skipped alone.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "calc3d/Calc3D_OMP.h"
#include "run/KelvoApp.h"
#include "seisfile/ScratchDir.h"
#include "seisfile/SegyTestFile.h"

namespace {

constexpr int kLen = 6;          // samples per trace
constexpr int kTraces = 5;       // traces of the whole group
const int kOwn[3] = {3, 0, 2};   // receivers of ranks 0, 1, 2 (rank 1 holds none)
const int kFirst[3] = {0, 3, 3}; // global index of each rank's first receiver

float Value(int g, int k) { return 10.0f * (g + 1) + 0.5f * k; }

// The leader's file: all traces in rank order, each with its own numbers.
void CheckGather(const std::string& path) {
  CSegyTestFile f = CSegyTestFile::Read(path);
  ASSERT_EQ(kTraces, f.m_nTraces);
  ASSERT_EQ(kLen, f.m_nSamples);
  for (int g = 0; g < kTraces; g++) {
    EXPECT_EQ(100 * g, f.Field(g, SEGY_TR_GROUP_X)) << g;
    EXPECT_EQ(g < 3 ? -5 : -15, f.Field(g, SEGY_TR_RECV_GROUP_ELEV)) << g;
    EXPECT_EQ(3, f.Field(g, SEGY_TR_INLINE)) << g;
    EXPECT_EQ(g + 1, f.Field(g, SEGY_TR_CROSSLINE)) << g;
    EXPECT_EQ(700 + g, f.Field(g, SEGY_TR_NUMBER_ORIG_FIELD)) << g;
    EXPECT_EQ(55, f.Field(g, SEGY_TR_ENERGY_SOURCE_POINT)) << g;
    for (int k = 0; k < kLen; k++)
      EXPECT_FLOAT_EQ(Value(g, k), f.m_vData[g][k]) << g << "," << k;
  }
}

TEST(GroupGather, LeaderWritesAllTracesInRankOrder) {
  if (!getenv("OMPI_COMM_WORLD_SIZE"))
    GTEST_SKIP() << "needs mpirun (group_gather.sh)";
#ifndef KELVO_HAVE_SEGYIO
  GTEST_SKIP() << "segyio not available";
#endif
  MPI_Init(nullptr, nullptr);
  MPI_COMM_MT = MPI_COMM_WORLD;
  MPI_Comm_rank(MPI_COMM_WORLD, &g_nNode);
  MPI_Comm_size(MPI_COMM_WORLD, &g_nSize);
  if (g_nSize != 3) {
    MPI_Finalize();
    GTEST_SKIP() << "runs with 3 processes";
  }
  m_job.m_nNode = m_job.m_nGroupRank = g_nNode;
  m_job.m_nSize = m_job.m_nGroupSize = g_nSize;
  m_job.m_bBigSeismogram = false;
  m_job.m_t0 = 0, m_job.m_dt = 0.004;
  m_job.m_Survey.m_vShots = {C3DPointR(500, 0, 10)};
  m_job.m_Survey.m_vShotIds = {55};
  m_job.m_Survey.m_nActiveShot = 1, m_job.m_Survey.m_nActiveIndex = 0;

  // One directory for the group, made by the leader.
  std::unique_ptr<CScratchDir> pDir(g_nNode == 0 ? new CScratchDir : nullptr);
  char szDir[256] = {0};
  if (pDir)
    strncpy(szDir, pDir->Root().c_str(), sizeof(szDir) - 1);
  MPI_Bcast(szDir, sizeof(szDir), MPI_CHAR, 0, MPI_COMM_WORLD);

  CCalc3D_OMP calc;
  calc.m_Set = m_job.GetCalcSettings();
  calc.m_nShotId = m_job.m_Survey.GetActiveShotId();
  calc.m_nShot = 1, calc.m_ptShot = C3DPointR(500, 0, 10);
  calc.m_nSeisLen = kLen, calc.m_nTraces = kTraces;
  const int n = kOwn[g_nNode];
  for (int i = 0; i < n; i++) {
    const int g = kFirst[g_nNode] + i;
    calc.m_vReceivers.push_back(C3DPointR(100.0 * g, 20, 5.0 * (g_nNode + 1)));
    calc.m_vRcvIdx.push_back((size_t)g);
    calc.m_vRcvInline.push_back(3);
    calc.m_vRcvCrossline.push_back(g + 1);
    calc.m_vRcvTraceId.push_back(700 + g);
    calc.m_vRcvFileId.push_back(-1);
  }
  if (n > 0) {
    calc.m_pSeisZ = new float[n * kLen];
    for (int k = 0; k < kLen; k++)
      for (int i = 0; i < n; i++)
        calc.m_pSeisZ[k * n + i] = Value(kFirst[g_nNode] + i, k);
  }
  const std::string path = std::string(szDir) + "/gather.sgy";
  EXPECT_EQ(0, calc.SaveShotgather(path.c_str(), 'Z'));
  if (g_nNode == 0)
    CheckGather(path);
  MPI_Barrier(MPI_COMM_WORLD);
  MPI_Finalize();
}

} // namespace
