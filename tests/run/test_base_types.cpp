// Strings and cubes of the base layer.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common.h"

TEST(CStringTest, SelfTestPasses) { EXPECT_TRUE(CString_SelfTest()); }

TEST(CStringTest, ReserveKeepsOrCutsText) {
  CString s("abcdef");
  s.Reserve(1024);
  EXPECT_STREQ(s, "abcdef");
  EXPECT_GT(s.m_nAllocSize, 255u);
  s.Reserve(4); // at or below the length: cut to n - 1 characters
  EXPECT_STREQ(s, "abc");
  s.Reserve(0);
  EXPECT_TRUE(s.IsEmpty());
}

TEST(CStringTest, LongTextsSurviveFormatCopyAndMid) {
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
  EXPECT_STREQ(big.Mid(500, 5), "00007");
  EXPECT_EQ(big.Mid(503, 10).GetLength(), 2u);
  EXPECT_TRUE(big.Mid(505, 1).IsEmpty());
  CString a("xyz");
  a += a;          // appending to itself
  a = a.Mid(1, 3); // assigning a part of itself
  EXPECT_STREQ(a, "yzx");
}

TEST(CubeTest, ExpandIntersectIsEmpty) {
  CCubeR c;
  EXPECT_TRUE(c.IsEmpty());
  c.Expand(C3DPointR(1, 2, 3));
  EXPECT_FALSE(c.IsEmpty());
  EXPECT_EQ(c.x0, 1);
  EXPECT_EQ(c.x1, 1);
  c.Expand(C3DPointR(-1, 5, 0));
  EXPECT_EQ((std::vector<double>{c.x0, c.x1, c.y0, c.y1, c.z0, c.z1}), (std::vector<double>{-1, 1, 2, 5, 0, 3}));

  CCubeR a(0, 0, 0, 10, 10, 10), b(10, 2, 2, 20, 8, 8);
  EXPECT_TRUE(a.Intersect(b)); // touching in a face gives a flat cube
  EXPECT_EQ((std::vector<double>{a.x0, a.x1, a.y0, a.y1, a.z0, a.z1}), (std::vector<double>{10, 10, 2, 8, 2, 8}));
  CCubeR d(0, 0, 0, 1, 1, 1), e(2, 0, 0, 3, 1, 1);
  EXPECT_FALSE(d.Intersect(e));
  EXPECT_TRUE(d.IsEmpty());
  EXPECT_EQ(d.x0, UNSET_VALUE);

  CCubeR f(0, 0, 0, 1, 1, 1);
  f.z1 = UNSET_VALUE; // one unset bound is enough
  EXPECT_TRUE(f.IsEmpty());
}
