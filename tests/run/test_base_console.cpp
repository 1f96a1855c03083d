#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

#include "common.h"

namespace {
// Runs the test body in a fresh directory, capturing stdout into a file.
class ConsoleTest : public ::testing::Test {
protected:
  void SetUp() override {
    char tmpl[] = "/tmp/kelvo_console_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    m_dir = tmpl;
    ASSERT_NE(getcwd(m_old, sizeof(m_old)), nullptr);
    ASSERT_EQ(chdir(m_dir.c_str()), 0);
    m_node = g_nNode;
    m_size = g_nSize;
  }
  void TearDown() override {
    g_nNode = m_node;
    g_nSize = m_size;
    EXPECT_EQ(chdir(m_old), 0);
    std::string cmd = "rm -rf " + m_dir;
    EXPECT_EQ(system(cmd.c_str()), 0);
  }
  void BeginCapture() {
    fflush(stdout);
    m_saved = dup(fileno(stdout));
    ASSERT_NE(freopen("stdout.txt", "w", stdout), nullptr);
  }
  std::string EndCapture() {
    fflush(stdout);
    dup2(m_saved, fileno(stdout));
    close(m_saved);
    return Slurp("stdout.txt");
  }
  static std::string Slurp(const char* name) {
    std::ifstream f(name);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
  }
  std::string m_dir;
  char m_old[4096];
  int m_node = 0, m_size = 1, m_saved = -1;
};
} // namespace

TEST_F(ConsoleTest, LoneProcessLogsToRankZeroFileWithoutMarker) {
  g_nNode = 0;
  g_nSize = 1;
  BeginCapture();
  u_Print("$%%<>%%$hello %d\n", 5);
  u_Error("Error! bad\n");
  std::string out = EndCapture();
  EXPECT_EQ(out, "hello 5\nError! bad\n"); // no escape codes when not a terminal
  EXPECT_EQ(Slurp("Kelvo-0.log"), "hello 5\nError! bad\n");
  EXPECT_NE(access("Kelvo.log", F_OK), 0);
}

TEST_F(ConsoleTest, ClusterPrefixOnConsoleOnlyAndWorkersLogOnly) {
  g_nSize = 4;
  g_nNode = 0;
  BeginCapture();
  u_Print("master line\n");
  g_nNode = 3;
  u_Warning("Warning! worker line\n");
  std::string out = EndCapture();
  EXPECT_EQ(out, "{0}: master line\n");
  EXPECT_EQ(Slurp("Kelvo-0.log"), "master line\n");
  EXPECT_EQ(Slurp("Kelvo-3.log"), "Warning! worker line\n");
}

TEST_F(ConsoleTest, CentreAndTitleLines) {
  g_nNode = 0;
  g_nSize = 1;
  BeginCapture();
  u_CenterPrint("abc\n"); // 4 characters: (71 - 4) / 2 = 33 blanks
  u_LinePrint(" Memory ");
  std::string longText(70, 'x');
  u_LinePrint("%s", longText.c_str());
  u_Line();
  std::string out = EndCapture();
  std::string dashes(71, '-');
  std::string titled = dashes;
  titled.replace((71 - 8) / 2, 8, " Memory ");
  std::string expect = std::string(33, ' ') + "abc\n" + "\n" + titled + "\n" + longText + dashes + "\n";
  EXPECT_EQ(out, expect);
}

TEST_F(ConsoleTest, PercentThrottling) {
  g_nSize = 2;
  g_nNode = 1; // a worker reports only every 10 percent
  u_FaceTitle("Worker run");
  u_Percent(5, -1, 0, 0);
  u_Percent(10, -1, 0, 0);
  u_Percent(10, -1, 0, 0);
  u_Percent(0, -1, 0, 0);
  u_Percent(101, 50, 3, 4);
  std::string log = Slurp("Kelvo-1.log");
  EXPECT_EQ(log.find(".. 5%"), std::string::npos);
  size_t first = log.find(".. 10% ");
  ASSERT_NE(first, std::string::npos);
  EXPECT_EQ(log.find(".. 10% ", first + 1), std::string::npos);
  EXPECT_NE(log.find("  0:00:00 elapsed. \n"), std::string::npos);
  EXPECT_EQ(log.find("The end."), std::string::npos); // 101 is not a multiple of 10
  g_nNode = 0;
  u_Percent(101, 50, 3, 4);
  u_Percent_master(4, 2, 7, 1);
  std::string master = Slurp("Kelvo-0.log");
  EXPECT_NE(master.find(".. The end. (Overall: 50%) - 3 of 4.   0:00:00 elapsed. \n"), std::string::npos);
  EXPECT_NE(master.find(".. 50% (shot #7 on node #1) - 2 of 4. "), std::string::npos);
}
