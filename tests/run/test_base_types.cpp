#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "common.h"

TEST(CStringTest, SelfTestPasses) { EXPECT_TRUE(CString_SelfTest()); }

TEST(CStringTest, ReserveKeepsOrCutsText) {
  CString s("abcdef");
  s.Reserve(1024);
  EXPECT_EQ(s.GetLength(), 6u);
  EXPECT_STREQ(s, "abcdef");
  EXPECT_GT(s.m_nAllocSize, 255u);
  s.Reserve(4); // at or below the length: cut to n - 1 characters
  EXPECT_STREQ(s, "abc");
  s.Reserve(0);
  EXPECT_TRUE(s.IsEmpty());
}

TEST(CStringTest, LongTextsSurviveCopyAndGrowth) {
  std::string ref;
  CString s;
  for (int i = 0; i < 200; i++) {
    s.AppendFormat("%d,", i);
    ref += std::to_string(i) + ",";
  }
  EXPECT_STREQ(s, ref.c_str());
  CString c(s), d;
  d = c;
  EXPECT_TRUE(d == s);
  CString big;
  big.Format("%0505d", 7);
  EXPECT_EQ(big.GetLength(), 505u);
  EXPECT_EQ(big.Mid(500, 5).GetLength(), 5u);
  EXPECT_EQ(big.Mid(503, 10).GetLength(), 2u);
  EXPECT_TRUE(big.Mid(505, 1).IsEmpty());
  big.Empty();
  EXPECT_EQ(big.m_nAllocSize, 255u);
  EXPECT_TRUE(big == "");
}

TEST(CStringTest, SubstringsAndSearch) {
  CString s("model/vp.sgy");
  EXPECT_EQ(s.Find('/'), 5);
  EXPECT_EQ(s.ReverseFind('.'), 8);
  EXPECT_EQ(s.Find('#'), -1);
  EXPECT_STREQ(s.Left(5), "model");
  EXPECT_STREQ(s.Right(3), "sgy");
  EXPECT_STREQ(s.Left(100), "model/vp.sgy");
  EXPECT_STREQ(s.Mid(6, 2), "vp");
  EXPECT_TRUE(CString("") == "");
  EXPECT_TRUE(CString("ab") != "abc");
  CString a("x");
  a += 'y';
  a += "z";
  a += a; // appending to itself
  EXPECT_STREQ(a, "xyzxyz");
  a = a.Mid(1, 3); // assigning a part of itself
  EXPECT_STREQ(a, "yzx");
  CString f(0, "%s-%03d", "shot", 7);
  EXPECT_STREQ(f, "shot-007");
}

TEST(CubeTest, ExpandIntersectInside) {
  CCubeR c;
  EXPECT_TRUE(c.IsEmpty());
  c.Expand(C3DPointR(1, 2, 3));
  EXPECT_FALSE(c.IsEmpty());
  EXPECT_EQ(c.x0, 1);
  EXPECT_EQ(c.x1, 1);
  EXPECT_EQ(c.z1, 3);
  c.Expand(C3DPointR(-1, 5, 0));
  EXPECT_EQ(c.x0, -1);
  EXPECT_EQ(c.y1, 5);
  EXPECT_EQ(c.z0, 0);
  EXPECT_TRUE(c.IsPointInside(C3DPointR(1, 5, 3)));
  EXPECT_FALSE(c.IsPointInside(C3DPointR(1.0001, 5, 3)));

  CCubeR a(0, 0, 0, 10, 10, 10), b(10, 2, 2, 20, 8, 8);
  EXPECT_TRUE(a.Intersect(b)); // touching in a face gives a flat cube
  EXPECT_EQ(a.x0, 10);
  EXPECT_EQ(a.x1, 10);
  EXPECT_EQ(a.y0, 2);
  CCubeR d(0, 0, 0, 1, 1, 1), e(2, 0, 0, 3, 1, 1);
  EXPECT_FALSE(d.Intersect(e));
  EXPECT_TRUE(d.IsEmpty());
  EXPECT_EQ(d.x0, UNSET_VALUE);

  CCubeR f(0, 0, 0, 1, 1, 1);
  f.z1 = UNSET_VALUE; // one unset bound is enough
  EXPECT_TRUE(f.IsEmpty());
}

TEST(PointTest, ExactOrdering) {
  C3DPointR a(1, 2, 3), b(1, 2, 3.0000001), c(0, 9, 9);
  EXPECT_TRUE(a != b);
  EXPECT_TRUE(a < b);
  EXPECT_TRUE(c < a);
  EXPECT_FALSE(a < a);
  _C3DPoint p = a.plain(), q = c.plain();
  EXPECT_TRUE(q < p);
}

TEST(OsTest, SecToStringAndVersion) {
  char buf[64];
  os::SecToString(3661, buf);
  EXPECT_STREQ(buf, "1:1:1");
  os::SecToString(125.9, buf);
  EXPECT_STREQ(buf, "02:05");
  os::SecToString(2 * 86400 + 3600 + 2, buf);
  EXPECT_STREQ(buf, "2 days, 1:0:2");
  CString v;
  os::FormatVersionString("9, 0, 9, 0", v);
  EXPECT_STREQ(v, "version 9.0.9");
  os::FormatVersionString("1, 2, 3, 2", v);
  EXPECT_STREQ(v, "version 1.2.3b");
  os::FormatVersionString("1, 2, 3, 30", v);
  EXPECT_STREQ(v, "version 1.2.3 (rev. 30)");
  CString keep("unchanged");
  os::FormatVersionString("0, 2, 3, 0", keep);
  EXPECT_STREQ(keep, "unchanged");
}

TEST(OsTest, MakeDirCreatesNestedAndAcceptsExisting) {
  char tmpl[] = "/tmp/kelvo_mkdir_XXXXXX";
  ASSERT_NE(mkdtemp(tmpl), nullptr);
  std::string deep = std::string(tmpl) + "/a/b/c";
  EXPECT_EQ(make_dir(deep.c_str()), 0);
  struct stat st;
  EXPECT_EQ(stat(deep.c_str(), &st), 0);
  EXPECT_TRUE(S_ISDIR(st.st_mode));
  EXPECT_EQ(make_dir(deep.c_str()), 0);
  std::string blocked = std::string(tmpl) + "/file";
  FILE* f = fopen(blocked.c_str(), "w");
  fclose(f);
  EXPECT_NE(make_dir((blocked + "/sub").c_str()), 0);
  std::string cmd = std::string("rm -rf ") + tmpl;
  EXPECT_EQ(system(cmd.c_str()), 0);
}

static int s_closed = 0;
static void counting_closer(FILE* f) {
  s_closed++;
  fclose(f);
}

TEST(SharedPtr1Test, ClosesOnceWhenLastOwnerGoes) {
  s_closed = 0;
  {
    shared_ptr1<FILE> a(tmpfile(), counting_closer);
    {
      shared_ptr1<FILE> b(a);
      shared_ptr1<FILE> c;
      c = b;
      EXPECT_EQ(c.get(), a.get());
    }
    EXPECT_EQ(s_closed, 0);
  }
  EXPECT_EQ(s_closed, 1);
}
