// Parsing of survey lines and the shot list built by LoadSurvey.
#include "SurveyTestDir.h"

namespace {

struct ParsedLine {
  double sx, sy, sz, rx, ry, rz;
  int inl, xl, id;
  float k11, k22, k33, k12, k13, k23;
  int traceId, fileId;
  int res;
};

ParsedLine Parse(const char* szLine) {
  ParsedLine p;
  p.res = CSurvey3D::InterpretSurveyFileLine(szLine, p.sx, p.sy, p.sz, p.rx, p.ry, p.rz, p.inl, p.xl, p.id, p.k11,
                                             p.k22, p.k33, p.k12, p.k13, p.k23, p.traceId, p.fileId);
  return p;
}

} // namespace

TEST(SurveyLine, SixColumnsTakeDefaultsForTheRest) {
  ParsedLine p = Parse("1.5 2 3 4 5 6.25\n");
  ASSERT_EQ(p.res, 0);
  EXPECT_DOUBLE_EQ(p.sx, 1.5);
  EXPECT_DOUBLE_EQ(p.sz, 3);
  EXPECT_DOUBLE_EQ(p.rx, 4);
  EXPECT_DOUBLE_EQ(p.rz, 6.25);
  EXPECT_EQ(p.inl, 0);
  EXPECT_EQ(p.xl, 0);
  EXPECT_EQ(p.id, -1);
  EXPECT_EQ(p.k11, -9999.25f);
  EXPECT_EQ(p.k22, 0.f);
  EXPECT_EQ(p.traceId, -1);
  EXPECT_EQ(p.fileId, -1);
}

TEST(SurveyLine, AllSeventeenColumns) {
  ParsedLine p = Parse("1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17");
  ASSERT_EQ(p.res, 0);
  EXPECT_EQ(p.inl, 7);
  EXPECT_EQ(p.xl, 8);
  EXPECT_EQ(p.id, 9);
  EXPECT_EQ(p.k11, 10.f);
  EXPECT_EQ(p.k22, 11.f);
  EXPECT_EQ(p.k33, 12.f);
  EXPECT_EQ(p.k12, 13.f);
  EXPECT_EQ(p.k13, 14.f);
  EXPECT_EQ(p.k23, 15.f);
  EXPECT_EQ(p.traceId, 16);
  EXPECT_EQ(p.fileId, 17);
}

TEST(SurveyLine, ShortBlankAndTabbedLines) {
  EXPECT_EQ(Parse("1 2 3 4 5").res, 1);
  EXPECT_EQ(Parse("").res, 1);
  EXPECT_EQ(Parse("\n").res, 1);
  EXPECT_EQ(Parse("abc 1 2 3 4 5 6").res, 1);
  EXPECT_EQ(Parse(nullptr).res, 1);
  ParsedLine p = Parse("\t1\t2\t3   4 5 6\t11 12\r\n");
  EXPECT_EQ(p.res, 0);
  EXPECT_EQ(p.xl, 12);
  EXPECT_EQ(p.id, -1);
}

TEST(SurveyLine, ZeroTensorAndNegativeIdMeanNone) {
  ParsedLine p = Parse("1 2 3 4 5 6 0 0 -5 0 0 0 0 0 0");
  ASSERT_EQ(p.res, 0);
  EXPECT_EQ(p.id, -1);
  EXPECT_EQ(p.k11, -9999.25f);
  // A tensor with a zero k11 but another component set is a tensor.
  p = Parse("1 2 3 4 5 6 0 0 3 0 0 0 0 0 2.5");
  EXPECT_EQ(p.k11, 0.f);
  EXPECT_EQ(p.k23, 2.5f);
  p = Parse("1 2 3 4 5 6 0 0 3 0 -1 0 0 0 0");
  EXPECT_EQ(p.k11, 0.f);
  // A tensor given only in part: the rest is zero.
  p = Parse("1 2 3 4 5 6 0 0 3 1.5");
  EXPECT_EQ(p.k11, 1.5f);
  EXPECT_EQ(p.k22, 0.f);
  EXPECT_EQ(p.traceId, -1);
}

using SurveyLoad = SurveyTestDir;

TEST_F(SurveyLoad, MissingNameUnreadableAndEmptyFilesFail) {
  CSurvey3D s;
  EXPECT_EQ(s.LoadSurvey(nullptr, false), 1);
  EXPECT_EQ(s.LoadSurvey("", false), 1);
  EXPECT_TRUE(LogHas("Error! Survey acquisition geometry file has not been provided.\n"
                     "Please specify survey acquisition geometry file in '[Survey]/Geometry' "
                     "section in 'runtask.ini'.\nThe computation is stopped.\n"));

  EXPECT_EQ(s.LoadSurvey("nosuch.txt", false), 1);
  EXPECT_TRUE(LogHas("Error! Unable to read the survey acquisition geometry file nosuch.txt.\n"
                     "Please make sure the file exists and you have permissions to read it.\n"
                     "The computation is stopped.\n"));

  WriteFile("empty.txt", "");
  EXPECT_EQ(s.LoadSurvey("empty.txt", false), 1);
  WriteFile("comments.txt", "# 1 2 3 4 5 6\n; 1 2 3 4 5 6\n1 2 3 4 5\n\n");
  EXPECT_EQ(s.LoadSurvey("comments.txt", false), 1);
  EXPECT_TRUE(LogHas("Error! No source points in the survey acquisition geometry file "
                     "comments.txt.\nPlease make sure it is properly formatted file.\n"
                     "The computation is stopped.\n"));
  EXPECT_TRUE(s.m_vShots.empty());
}

TEST_F(SurveyLoad, ShotsNumberedInOrderOfFirstAppearance) {
  WriteFile("s.txt", "; source x y z, receiver x y z\n"
                     "300 0 5 10 0 0\n"
                     "100 0 5 20 0 0\n"
                     "\n"
                     "1 2 3 4 5\n"
                     "300 0 5 30 0 0\n"
                     "# 999 0 5 30 0 0\n"
                     "200 0 5 40 0 0\n");
  CSurvey3D s;
  ASSERT_EQ(s.LoadSurvey("s.txt", false), 0);
  ASSERT_EQ(s.m_vShots.size(), 3u);
  EXPECT_EQ(s.m_vShots[0], C3DPointR(300, 0, 5));
  EXPECT_EQ(s.m_vShots[1], C3DPointR(100, 0, 5));
  EXPECT_EQ(s.m_vShots[2], C3DPointR(200, 0, 5));
  EXPECT_TRUE(s.m_vShotIds.empty());
  EXPECT_EQ(s.GetMinShot(), 1);
  EXPECT_EQ(s.GetMaxShot(), 3);
  EXPECT_STREQ((const char*)s.m_strFile, "s.txt");
}

TEST_F(SurveyLoad, SourcesCloserThanMinDistOnAllAxesAreOneShot) {
  CSurvey3D::MIN_DIST = 1;
  WriteFile("s.txt",
            "100 100 10 0 0 0\n"
            "100.5 99.5 10.5 0 0 0\n" // within 1 on all axes: same shot
            "101 100 10 0 0 0\n"      // exactly 1 in x: new shot
            "100 100 11 0 0 0\n");    // exactly 1 in z: new shot
  CSurvey3D s;
  ASSERT_EQ(s.LoadSurvey("s.txt", false), 0);
  ASSERT_EQ(s.m_vShots.size(), 3u);
  EXPECT_EQ(s.m_vShots[0], C3DPointR(100, 100, 10));
  EXPECT_EQ(s.m_vShots[1], C3DPointR(101, 100, 10));
  EXPECT_EQ(s.m_vShots[2], C3DPointR(100, 100, 11));
}

TEST_F(SurveyLoad, IdsSeparateShots) {
  WriteFile("s.txt",
            "0 0 0 10 0 0 0 0 7\n"
            "50 0 0 10 0 0 0 0 7\n"  // same id elsewhere: same shot
            "0 0 0 20 0 0 0 0 3\n"   // other id at the same point: new shot
            "0 0 0 30 0 0 0 0 0\n"); // id 0 is an id
  CSurvey3D s;
  ASSERT_EQ(s.LoadSurvey("s.txt", false), 0);
  ASSERT_EQ(s.m_vShots.size(), 3u);
  EXPECT_EQ(s.m_vShots[0], C3DPointR(0, 0, 0));
  EXPECT_EQ(s.m_vShotIds, (std::vector<int>{7, 3, 0}));
  // Ids count only when they are asked for.
  EXPECT_EQ(s.GetMinShot(), 1);
  EXPECT_EQ(s.GetMaxShot(), 3);
  s.m_bUseShotId = true;
  EXPECT_EQ(s.GetMinShot(), 0);
  EXPECT_EQ(s.GetMaxShot(), 7);
  s.m_bShotsDefinedByCoordinates = true;
  EXPECT_EQ(s.GetMaxShot(), 3);
}

TEST_F(SurveyLoad, HighestIdIsAtLeastOne) {
  WriteFile("s.txt", "0 0 0 10 0 0 0 0 0\n");
  CSurvey3D s;
  s.m_bUseShotId = true;
  ASSERT_EQ(s.LoadSurvey("s.txt", false), 0);
  EXPECT_EQ(s.GetMinShot(), 0);
  EXPECT_EQ(s.GetMaxShot(), 1);
}

TEST_F(SurveyLoad, NewShotWithoutIdDropsAllIds) {
  WriteFile("s.txt",
            "0 0 0 10 0 0 0 0 1\n"
            "100 0 0 10 0 0 0 0 2\n"
            "200 0 0 10 0 0\n"         // new shot without id
            "300 0 0 10 0 0 0 0 3\n"   // told by coordinates from here on
            "300 0 0 20 0 0 0 0 4\n"); // same point, another id: no new shot
  CSurvey3D s;
  s.m_bUseShotId = true;
  ASSERT_EQ(s.LoadSurvey("s.txt", false), 0);
  EXPECT_EQ(s.m_vShots.size(), 4u);
  EXPECT_TRUE(s.m_vShotIds.empty());
  EXPECT_TRUE(LogHas("Inconsistent shot point id in survey geometry file 's.txt'. Shot point IDs "
                     "will be ignored.\n"));
  EXPECT_EQ(s.GetMinShot(), 1);
  EXPECT_EQ(s.GetMaxShot(), 4);
}

TEST_F(SurveyLoad, LineWithoutIdAtAKnownPointKeepsIds) {
  WriteFile("s.txt",
            "0 0 0 10 0 0 0 0 1\n"
            "0 0 0 20 0 0\n" // no id, but its point is shot 1
            "100 0 0 10 0 0 0 0 2\n");
  CSurvey3D s;
  ASSERT_EQ(s.LoadSurvey("s.txt", false), 0);
  EXPECT_EQ(s.m_vShotIds, (std::vector<int>{1, 2}));
  EXPECT_FALSE(LogHas("Inconsistent"));
}

TEST_F(SurveyLoad, ShotsDefinedByCoordinatesIgnoresIdsForSeparation) {
  WriteFile("s.txt",
            "0 0 0 10 0 0 0 0 5\n"
            "0 0 0 20 0 0 0 0 6\n" // same point, other id: same shot
            "100 0 0 10 0 0 0 0 5\n");
  CSurvey3D s;
  s.m_bShotsDefinedByCoordinates = true;
  ASSERT_EQ(s.LoadSurvey("s.txt", false), 0);
  ASSERT_EQ(s.m_vShots.size(), 2u);
  EXPECT_EQ(s.m_vShotIds, (std::vector<int>{5, 5}));
  EXPECT_EQ(s.GetMaxShot(), 2);
}

TEST_F(SurveyLoad, ReloadStartsAfresh) {
  WriteFile("a.txt", "0 0 0 10 0 0 0 0 1\n100 0 0 10 0 0 0 0 2\n");
  WriteFile("b.txt", "5 5 5 10 0 0\n");
  CSurvey3D s;
  s.m_bUseShotId = true;
  ASSERT_EQ(s.LoadSurvey("a.txt", true), 0);
  ASSERT_EQ(s.SetActiveShot(2), 1); // tensors asked for but absent
  ASSERT_EQ(s.LoadSurvey("b.txt", false), 0);
  EXPECT_TRUE(s.m_bUseShotId);
  EXPECT_FALSE(s.m_bMomentTensors);
  EXPECT_TRUE(s.m_vShotIds.empty());
  ASSERT_EQ(s.m_vShots.size(), 1u);
  EXPECT_EQ(s.m_nActiveShot, -1);
  EXPECT_STREQ((const char*)s.m_strFile, "b.txt");
}

TEST_F(SurveyLoad, SegyNamesAreNotReadAsText) {
  const std::string text = "0 0 0 10 0 0\n";
  for (const char* name : {"s.sgy", "s.SEGY", "s.SgY"}) {
    WriteFile(name, text);
    CSurvey3D s;
    EXPECT_EQ(s.LoadSurvey(name, false), 1) << name;
    EXPECT_TRUE(s.m_vShots.empty()) << name;
  }
  // Only the extension counts, not a dot inside a directory name.
  ASSERT_EQ(system("mkdir -p d.sgy"), 0);
  WriteFile("d.sgy/survey", text);
  CSurvey3D s;
  EXPECT_EQ(s.LoadSurvey("d.sgy/survey", false), 0);
}

TEST_F(SurveyLoad, OverlongLineIsCutIntoPieces) {
  // A line is taken 298 characters at a time; the rest is read as a line of
  // its own.
  std::string pad(290, ' ');
  WriteFile("s.txt", "1 2 3 4 5 6" + pad + "70 80 90 1 1 1\n10 20 30 40 50 60\n");
  CSurvey3D s;
  ASSERT_EQ(s.LoadSurvey("s.txt", false), 0);
  ASSERT_EQ(s.m_vShots.size(), 3u);
  EXPECT_EQ(s.m_vShots[0], C3DPointR(1, 2, 3));
  EXPECT_EQ(s.m_vShots[1], C3DPointR(70, 80, 90));
  EXPECT_EQ(s.m_vShots[2], C3DPointR(10, 20, 30));
}
