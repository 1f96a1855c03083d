// Syntax of the job file and the keyed readers over it.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "TaskFile.h"
#include "run_test_util.h"

namespace {

using TaskFileSyntax = InTempDir;

std::vector<CString> Lines(std::initializer_list<const char*> l) {
  std::vector<CString> v;
  for (const char* s : l)
    v.push_back(CString(s));
  return v;
}

TEST_F(TaskFileSyntax, CommentsBlanksAndLongLines) {
  std::string longLine = "Key = " + std::string(300, 'a');
  WriteFile(Path("t.ini"), "[modeling]   \r\n"
                           "# a comment line\n"
                           "\n"
                           "   \n"
                           "Alpha = 1 ; comment\n"
                           "; whole-line comment\n"
                           "  ; indented comment\n"
                           "Beta=2\t\n" +
                               longLine + "\n");
  std::vector<CString> lines;
  ASSERT_EQ(0, task_read_lines(Path("t.ini").c_str(), lines));
  ASSERT_EQ(6u, lines.size());
  EXPECT_STREQ("[modeling]", lines[0]);
  EXPECT_STREQ("Alpha = 1 ", lines[1]) << "blanks before ';' stay";
  EXPECT_STREQ("  ", lines[2]) << "what stands before a comment is kept";
  EXPECT_STREQ("Beta=2", lines[3]);
  EXPECT_EQ(255u, lines[4].GetLength()) << "a long line is cut into pieces of 255";
  EXPECT_EQ(std::string(51, 'a'), std::string((const char*)lines[5]));
  EXPECT_EQ(-1, task_read_lines("/nonexistent/dir/runtask.ini", lines));
}

TEST(TaskFileReaders, ResultCodesAndUnchangedOnAbsence) {
  std::vector<CString> lines = Lines({"[modeling]", "A = 5", "[Mesh]", "dx = 2.5"});
  int n = 77;
  CaptureStdout cap;
  EXPECT_EQ(1, get_parameter_int(lines, "[modeling]", "B", &n));
  EXPECT_EQ(77, n);
  EXPECT_EQ(2, get_parameter_int(lines, "[GPU]", "A", &n));
  EXPECT_EQ(77, n);
  const std::string out = cap.Text();
  EXPECT_NE(std::string::npos, out.find("Parameter '[modeling]\\B' isn't found in the 'runtask.ini' file.\n"));
  EXPECT_NE(std::string::npos, out.find("Section '[GPU]\\A' isn't found in the 'runtask.ini' file.\n"));
  EXPECT_EQ(0, get_parameter_int(lines, "[modeling]", "A", &n));
  EXPECT_EQ(5, n);
  double d = 0;
  EXPECT_EQ(0, get_parameter_double(lines, "[Mesh]", "dx", &d));
  EXPECT_DOUBLE_EQ(2.5, d);
  EXPECT_EQ(2u, lines.size()) << "found lines are erased, headers stay";
  // Once taken, the key is gone.
  EXPECT_EQ(1, get_parameter_int(lines, "[modeling]", "A", &n));
}

TEST(TaskFileReaders, PrefixMatchNeedsEqualsSign) {
  std::vector<CString> lines = Lines({"[Survey]", "dtx", "dtime = 0.004", "dt = 0.002"});
  double d = 0;
  ASSERT_EQ(0, get_parameter_double(lines, "[Survey]", "dt", &d));
  EXPECT_DOUBLE_EQ(0.004, d) << "a prefix is enough; a line without '=' does not match";
  ASSERT_EQ(0, get_parameter_double(lines, "[Survey]", "dt", &d));
  EXPECT_DOUBLE_EQ(0.002, d);
  EXPECT_EQ(2u, lines.size());
}

TEST(TaskFileReaders, KeysAreBoundToTheirSection) {
  std::vector<CString> lines = Lines({"[Mesh]", "dt = 0.001", "[Survey]", "dt = 0.004"});
  double d = 0;
  ASSERT_EQ(0, get_parameter_double(lines, "[Survey]", "dt", &d));
  EXPECT_DOUBLE_EQ(0.004, d);
  ASSERT_EQ(0, get_parameter_double(lines, "[Mesh]", "dt", &d));
  EXPECT_DOUBLE_EQ(0.001, d);
  // Keys are case-sensitive, and so are sections.
  std::vector<CString> l2 = Lines({"[mesh]", "DT = 1"});
  EXPECT_EQ(2, get_parameter_double(l2, "[Mesh]", "DT", &d));
  EXPECT_EQ(1, get_parameter_double(l2, "[mesh]", "dt", &d));
}

TEST(TaskFileReaders, SecondBlockOfASection) {
  // Directly following block of the same section: searched.
  std::vector<CString> a = Lines({"[modeling]", "A = 1", "[modeling]", "B = 2"});
  int n = 0;
  EXPECT_EQ(0, get_parameter_int(a, "[modeling]", "B", &n));
  EXPECT_EQ(2, n);
  // Another header in between: the second block is not searched.
  std::vector<CString> b = Lines({"[modeling]", "A = 1", "[Mesh]", "[modeling]", "B = 2"});
  n = 0;
  EXPECT_EQ(1, get_parameter_int(b, "[modeling]", "B", &n));
  EXPECT_EQ(0, n);
}

TEST(TaskFileReaders, ValueText) {
  std::vector<CString> lines =
      Lines({"[modeling]", "OutputDir =   \t out/dir", "Empty =", "Long = abcdefghij", "Flag = 0", "On = 3"});
  char sz[64];
  ASSERT_EQ(0, get_parameter_string(lines, "[modeling]", "OutputDir", sz, sizeof(sz)));
  EXPECT_STREQ("out/dir", sz) << "leading blanks and tabs are skipped";
  strcpy(sz, "junk");
  ASSERT_EQ(0, get_parameter_string(lines, "[modeling]", "Empty", sz, sizeof(sz)));
  EXPECT_STREQ("", sz) << "an empty value is a found key";
  char small[5];
  ASSERT_EQ(0, get_parameter_string(lines, "[modeling]", "Long", small, sizeof(small)));
  EXPECT_STREQ("abcd", small);
  bool b = true;
  ASSERT_EQ(0, get_parameter_bool(lines, "[modeling]", "Flag", &b));
  EXPECT_FALSE(b);
  ASSERT_EQ(0, get_parameter_bool(lines, "[modeling]", "On", &b));
  EXPECT_TRUE(b);
}

TEST(TaskFileReaders, DuplicateKeyStaysAsRedundant) {
  std::vector<CString> lines = Lines({"Stray = 1", "[modeling]", "A = 1", "A = 2", "[Mesh]", "dx = 5"});
  int n = 0;
  ASSERT_EQ(0, get_parameter_int(lines, "[modeling]", "A", &n));
  EXPECT_EQ(1, n) << "the first occurrence wins";
  CaptureStdout cap;
  EXPECT_EQ(3, task_report_redundant(lines, false));
  std::string out = cap.Text();
  EXPECT_NE(std::string::npos, out.find("Warning! Redundant variable: , Stray = 1\n"));
  EXPECT_NE(std::string::npos, out.find("Warning! Redundant variable: [modeling], A = 2\n"));
  EXPECT_NE(std::string::npos, out.find("Warning! Redundant variable: [Mesh], dx = 5\n"));
  CaptureStdout cap2;
  EXPECT_EQ(3, task_report_redundant(lines, true));
  EXPECT_NE(std::string::npos, cap2.Text().find("Error! Redundant variable: [modeling], A = 2\n"));
}

} // namespace
