// Early scan of the job file and the census that settles node roles.
#include <gtest/gtest.h>

#include <vector>

#include "HostCensus.h"
#include "StartupScan.h"
#include "run_test_util.h"

namespace {

int g_nDeviceCalls = 0;
int TwoDevices() {
  g_nDeviceCalls++;
  return 2;
}
int NoDevice() {
  g_nDeviceCalls++;
  return 0;
}

class StartupScanTest : public InTempDir {
protected:
  CStartupScan Scan(const std::string& text, int nCPUs, int (*pfn)() = NoDevice) {
    WriteFile("runtask.ini", text);
    CStartupScan scan(nCPUs, pfn);
    CaptureStdout cap;
    scan.Scan("runtask.ini");
    m_out = cap.Text();
    return scan;
  }
  std::string m_out;
};

TEST_F(StartupScanTest, ThreadsPerProcessGivesWanted) {
  CStartupScan s = Scan("[optimization]\nthreads per process = 4\n", 8);
  EXPECT_EQ(4, s.m_nThreads);
  EXPECT_EQ(2, s.Wanted());
  EXPECT_NE(std::string::npos, m_out.find("...4 nodes per process\n"));

  // A value of cpus or more, or not positive, leaves threads at cpus: one process per host.
  EXPECT_EQ(1, Scan("[optimization]\nthreads per process = 8\n", 8).Wanted());
  EXPECT_EQ(1, Scan("[optimization]\nthreads per process = 0\n", 8).Wanted());
  EXPECT_EQ(1, Scan("[modeling]\nDebug = 1\n", 8).Wanted());
  // 3 threads on 8 processors: integer division.
  EXPECT_EQ(2, Scan("[MPI]\nthreads per process=3\n", 8).Wanted());
}

TEST_F(StartupScanTest, KeysCountOnlyBehindTheThreeHeaders) {
  // Before the first of the three headers, whatever section it lies in.
  CStartupScan s = Scan("[modeling]\nthreads per process = 2\nSkip Device Count Detection = 1\n"
                        "[optimization]\n",
                        8);
  EXPECT_EQ(8, s.m_nThreads);
  EXPECT_FALSE(s.m_bSkip);
  // Once opened, other headers do not close the scan again.
  s = Scan("[GPU]\n[modeling]\nthreads per process = 2\nSkip Device Count Detection = 1\n", 8);
  EXPECT_EQ(2, s.m_nThreads);
  EXPECT_TRUE(s.m_bSkip);
  // A missing file leaves the defaults.
  CStartupScan none(8, NoDevice);
  none.Scan("no-such-file.ini");
  EXPECT_EQ(8, none.m_nThreads);
  EXPECT_EQ(1, none.Wanted());
  // A key line without '=' is no value, even in an open scan.
  s = Scan("[GPU]\nSkip Device Count Detection\n", 8);
  EXPECT_FALSE(s.m_bSkip);
  s = Scan("[GPU]\nSkip Device Count Detection = 1\nSkip Device Count Detection = 0\n", 8);
  EXPECT_FALSE(s.m_bSkip) << "the last line counts";
}

TEST_F(StartupScanTest, DevicesDecideTheProcessesPerHost) {
  g_nDeviceCalls = 0;
  CStartupScan s = Scan("[GPU]\nUse CUDA = 1\n[optimization]\nthreads per process = 1\n", 16, TwoDevices);
  EXPECT_EQ(1, g_nDeviceCalls);
  EXPECT_EQ(2, s.m_nGPUs);
  EXPECT_EQ(16, s.m_nThreads) << "threads behind a Use CUDA line that found devices have no effect";
  EXPECT_EQ(2, s.Wanted());
  EXPECT_NE(std::string::npos, m_out.find("...2 GPUs per node\n"));

  g_nDeviceCalls = 0;
  s = Scan("[GPU]\nUse CUDA = 0\n", 16, TwoDevices);
  EXPECT_EQ(0, g_nDeviceCalls) << "devices are counted only when asked for";
  EXPECT_EQ(1, s.Wanted());

  // No device found: threads still count.
  s = Scan("[GPU]\nUse CUDA = 1\n[optimization]\nthreads per process = 4\n", 16, NoDevice);
  EXPECT_EQ(4, s.Wanted());
}

CHostCensus MakeCensus(const std::vector<std::pair<const char*, int>>& ranks) {
  CHostCensus c((int)ranks.size() + 1);
  for (size_t i = 0; i < ranks.size(); i++)
    c.SetRecord((int)i + 1, ranks[i].first, ranks[i].second);
  c.Thin();
  return c;
}

std::vector<int> Active(const CHostCensus& c) {
  std::vector<int> v;
  int n = c.GetActiveList(v);
  EXPECT_EQ((size_t)c.m_nWorldSize + 1, v.size());
  v.resize(n);
  return v;
}

TEST(HostCensus, LowestRanksOfEachHostStayActiveUpToTheWantedNumber) {
  // Four processes on one host, two wanted: rank 0 is not counted against its host.
  CHostCensus c = MakeCensus({{"hostA", 2}, {"hostA", 2}, {"hostA", 2}});
  EXPECT_EQ((std::vector<int>{0, 1, 2}), Active(c));
  EXPECT_FALSE(c.m_vRecords[3].bActive);
  EXPECT_TRUE(c.m_vRecords[0].bActive);

  // Two hosts, one wanted on each, ranks interleaved.
  c = MakeCensus({{"a", 1}, {"b", 1}, {"a", 1}, {"b", 1}, {"c", 1}});
  EXPECT_EQ((std::vector<int>{0, 1, 2, 5}), Active(c));

  // Names are compared byte by byte: case and prefixes differ.
  c = MakeCensus({{"node", 1}, {"Node", 1}, {"node1", 1}, {"node", 1}});
  EXPECT_EQ((std::vector<int>{0, 1, 2, 3}), Active(c));
  // Wanted more than present: all stay.
  c = MakeCensus({{"h", 8}, {"h", 8}, {"h", 8}});
  EXPECT_EQ((std::vector<int>{0, 1, 2, 3}), Active(c));
  // World of one: only rank 0.
  CHostCensus lone(1);
  std::vector<int> v;
  EXPECT_EQ(1, lone.GetActiveList(v));
  EXPECT_EQ((std::vector<int>{0, 0}), v);
}

TEST(HostCensus, RolesArePrinted) {
  CHostCensus c = MakeCensus({{"alpha", 1}, {"alpha", 1}});
  CaptureStdout cap;
  c.PrintRoles();
  EXPECT_EQ("--Node: rank 1, alpha, Active\n--Node: rank 2, alpha, Passive\n", cap.Text());
}

} // namespace
