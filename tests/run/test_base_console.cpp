// Console output and the per-process log files.
#include <gtest/gtest.h>

#include "common.h"
#include "run_test_util.h"

namespace {

class ConsoleTest : public InTempDir {
protected:
  void TearDown() override {
    g_nNode = m_node;
    g_nSize = m_size;
  }
  int m_node = g_nNode, m_size = g_nSize;
};

TEST_F(ConsoleTest, LoneProcessLogsToRankZeroFileWithoutMarker) {
  g_nNode = 0;
  g_nSize = 1;
  CaptureStdout cap;
  u_Print("$%%<>%%$hello %d\n", 5);
  u_Error("Error! bad\n");
  EXPECT_EQ(cap.Text(), "hello 5\nError! bad\n") << "no escape codes when not a terminal";
  EXPECT_EQ(read_text("Kelvo-0.log"), "hello 5\nError! bad\n");
  EXPECT_FALSE(file_exists("Kelvo.log"));
}

TEST_F(ConsoleTest, ClusterPrefixOnConsoleOnlyAndWorkersLogOnly) {
  g_nSize = 4;
  g_nNode = 0;
  CaptureStdout cap;
  u_Print("master line\n");
  g_nNode = 3;
  u_Warning("Warning! worker line\n");
  EXPECT_EQ(cap.Text(), "{0}: master line\n");
  EXPECT_EQ(read_text("Kelvo-0.log"), "master line\n");
  EXPECT_EQ(read_text("Kelvo-3.log"), "Warning! worker line\n");
}

} // namespace
