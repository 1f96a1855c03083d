// Syntax of the job file and the keyed readers over it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TaskFile.h"
#include "run_test_util.h"

namespace {

std::vector<CString> Lines(std::initializer_list<const char*> l) { return std::vector<CString>(l.begin(), l.end()); }

using TaskFileSyntax = InTempDir;

TEST_F(TaskFileSyntax, CommentsBlanksAndLongLines) {
  WriteFile("t.ini", "[modeling]   \r\n# a comment line\n\n   \nAlpha = 1 ; comment\n; whole-line comment\n"
                     "  ; indented comment\nBeta=2\t\nKey = " +
                         std::string(300, 'a') + "\n");
  std::vector<CString> lines;
  ASSERT_EQ(0, task_read_lines("t.ini", lines));
  ASSERT_EQ(6u, lines.size());
  EXPECT_STREQ("[modeling]", lines[0]);
  EXPECT_STREQ("Alpha = 1 ", lines[1]) << "blanks before ';' stay";
  EXPECT_STREQ("  ", lines[2]) << "what stands before a comment is kept";
  EXPECT_STREQ("Beta=2", lines[3]);
  EXPECT_EQ(255u, lines[4].GetLength()) << "a long line is cut into pieces of 255";
  EXPECT_EQ(std::string(51, 'a'), std::string((const char*)lines[5]));
  EXPECT_EQ(-1, task_read_lines("/nonexistent/dir/runtask.ini", lines));
}

TEST(TaskFileReaders, ResultCodesSectionsAndPrefixes) {
  std::vector<CString> lines = Lines({"[modeling]", "A = 5", "[Mesh]", "dt = 0.001", "[Survey]", "dtx", "dtime = 0.004",
                                      "dt = 0.002", "[mesh]", "DT = 1"});
  int n = 77;
  CaptureStdout cap;
  EXPECT_EQ(1, get_parameter_int(lines, "[modeling]", "B", &n));
  EXPECT_EQ(2, get_parameter_int(lines, "[GPU]", "A", &n));
  EXPECT_EQ(77, n) << "unchanged when absent";
  const std::string out = cap.Text();
  EXPECT_NE(std::string::npos, out.find("Parameter '[modeling]\\B' isn't found in the 'runtask.ini' file.\n"));
  EXPECT_NE(std::string::npos, out.find("Section '[GPU]\\A' isn't found in the 'runtask.ini' file.\n"));
  EXPECT_EQ(0, get_parameter_int(lines, "[modeling]", "A", &n));
  EXPECT_EQ(5, n);
  EXPECT_EQ(1, get_parameter_int(lines, "[modeling]", "A", &n)) << "a key once taken is gone";

  // Keys are bound to their section; a prefix followed by '=' is enough.
  double d = 0;
  ASSERT_EQ(0, get_parameter_double(lines, "[Survey]", "dt", &d));
  EXPECT_DOUBLE_EQ(0.004, d);
  ASSERT_EQ(0, get_parameter_double(lines, "[Survey]", "dt", &d));
  EXPECT_DOUBLE_EQ(0.002, d);
  ASSERT_EQ(0, get_parameter_double(lines, "[Mesh]", "dt", &d));
  EXPECT_DOUBLE_EQ(0.001, d);
  EXPECT_EQ(1, get_parameter_double(lines, "[Survey]", "dt", &d)) << "a line without '=' does not match";
  EXPECT_EQ(1, get_parameter_double(lines, "[mesh]", "dt", &d)) << "keys are case-sensitive";
  EXPECT_EQ(6u, lines.size()) << "found lines are erased, headers stay";
}

TEST(TaskFileReaders, SecondBlockOfASection) {
  std::vector<CString> a = Lines({"[modeling]", "A = 1", "[modeling]", "B = 2"});
  int n = 0;
  EXPECT_EQ(0, get_parameter_int(a, "[modeling]", "B", &n)) << "a directly following block is searched";
  EXPECT_EQ(2, n);
  std::vector<CString> b = Lines({"[modeling]", "A = 1", "[Mesh]", "[modeling]", "B = 2"});
  EXPECT_EQ(1, get_parameter_int(b, "[modeling]", "B", &n)) << "another header in between";
}

TEST(TaskFileReaders, ValueText) {
  std::vector<CString> lines = Lines({"[modeling]", "Dir =   \t out/dir", "Empty =", "Long = abcdefghij", "On = 3"});
  char sz[64] = "junk";
  ASSERT_EQ(0, get_parameter_string(lines, "[modeling]", "Dir", sz, sizeof(sz)));
  EXPECT_STREQ("out/dir", sz);
  ASSERT_EQ(0, get_parameter_string(lines, "[modeling]", "Empty", sz, sizeof(sz)));
  EXPECT_STREQ("", sz) << "an empty value is a found key";
  ASSERT_EQ(0, get_parameter_string(lines, "[modeling]", "Long", sz, 5));
  EXPECT_STREQ("abcd", sz);
  bool b = false;
  ASSERT_EQ(0, get_parameter_bool(lines, "[modeling]", "On", &b));
  EXPECT_TRUE(b);
}

TEST(TaskFileReaders, LeftOverLinesAreRedundant) {
  std::vector<CString> lines = Lines({"Stray = 1", "[modeling]", "A = 1", "A = 2", "[Mesh]", "dx = 5"});
  int n = 0;
  ASSERT_EQ(0, get_parameter_int(lines, "[modeling]", "A", &n));
  EXPECT_EQ(1, n) << "the first occurrence wins";
  CaptureStdout cap;
  EXPECT_EQ(3, task_report_redundant(lines, false));
  std::string out = cap.Text();
  for (const char* s : {", Stray = 1\n", "[modeling], A = 2\n", "[Mesh], dx = 5\n"})
    EXPECT_NE(std::string::npos, out.find(std::string("Warning! Redundant variable: ") + s)) << s;
  CaptureStdout cap2;
  EXPECT_EQ(3, task_report_redundant(lines, true));
  EXPECT_NE(std::string::npos, cap2.Text().find("Error! Redundant variable: [modeling], A = 2\n"));
}

} // namespace
