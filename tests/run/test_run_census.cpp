// Early scan of the job file and the census that settles node roles.
#include <gtest/gtest.h>

#include <vector>

#include "HostCensus.h"
#include "StartupScan.h"
#include "run_test_util.h"

namespace {

int g_nDeviceCalls = 0;
int TwoDevices() { return g_nDeviceCalls++, 2; }

class StartupScanTest : public InTempDir {
protected:
  int Wanted(const std::string& text, int nCPUs) {
    WriteFile("runtask.ini", text);
    CStartupScan scan(nCPUs, TwoDevices);
    CaptureStdout cap;
    scan.Scan("runtask.ini");
    m_out = cap.Text();
    m_bSkip = scan.m_bSkip;
    return scan.Wanted();
  }
  std::string m_out;
  bool m_bSkip = false;
};

TEST_F(StartupScanTest, ThreadsAndDevicesGiveTheProcessesPerHost) {
  EXPECT_EQ(2, Wanted("[optimization]\nthreads per process = 4\n", 8));
  EXPECT_NE(std::string::npos, m_out.find("...4 nodes per process\n"));
  EXPECT_EQ(2, Wanted("[MPI]\nthreads per process=3\n", 8)) << "integer division";
  // Not positive, or cpus or more: one process per host.
  EXPECT_EQ(1, Wanted("[optimization]\nthreads per process = 0\n", 8));
  EXPECT_EQ(1, Wanted("[optimization]\nthreads per process = 9\n", 8));
  // Keys count only once one of the three headers has opened the scan.
  EXPECT_EQ(1, Wanted("[modeling]\nthreads per process = 2\nSkip Device Count Detection = 1\n[GPU]\n", 8));
  EXPECT_FALSE(m_bSkip);
  EXPECT_EQ(4, Wanted("[GPU]\n[modeling]\nthreads per process = 2\nSkip Device Count Detection = 1\n", 8));
  EXPECT_TRUE(m_bSkip);
  // Devices, counted only when asked for, decide over threads.
  g_nDeviceCalls = 0;
  EXPECT_EQ(2, Wanted("[GPU]\nUse CUDA = 1\n[optimization]\nthreads per process = 1\n", 16));
  EXPECT_NE(std::string::npos, m_out.find("...2 GPUs per node\n"));
  EXPECT_EQ(1, Wanted("[GPU]\nUse CUDA = 0\n", 16));
  EXPECT_EQ(1, g_nDeviceCalls);
}

std::vector<int> Active(const std::vector<std::pair<const char*, int>>& ranks) {
  CHostCensus c((int)ranks.size() + 1);
  for (size_t i = 0; i < ranks.size(); i++)
    c.SetRecord((int)i + 1, ranks[i].first, ranks[i].second);
  c.Thin();
  std::vector<int> v;
  v.resize(c.GetActiveList(v));
  return v;
}

TEST(HostCensus, LowestRanksOfEachHostStayActiveUpToTheWantedNumber) {
  // Rank 0 is not counted against its host.
  EXPECT_EQ((std::vector<int>{0, 1, 2}), Active({{"hostA", 2}, {"hostA", 2}, {"hostA", 2}}));
  EXPECT_EQ((std::vector<int>{0, 1, 2, 5}), Active({{"a", 1}, {"b", 1}, {"a", 1}, {"b", 1}, {"c", 1}}));
  // Names are compared byte by byte.
  EXPECT_EQ((std::vector<int>{0, 1, 2, 3}), Active({{"node", 1}, {"Node", 1}, {"node1", 1}, {"node", 1}}));
  EXPECT_EQ((std::vector<int>{0, 1, 2, 3}), Active({{"h", 8}, {"h", 8}, {"h", 8}}));

  CHostCensus c(3);
  c.SetRecord(1, "alpha", 1);
  c.SetRecord(2, "alpha", 1);
  c.Thin();
  CaptureStdout cap;
  c.PrintRoles();
  EXPECT_EQ("--Node: rank 1, alpha, Active\n--Node: rank 2, alpha, Passive\n", cap.Text());
}

} // namespace
