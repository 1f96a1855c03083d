// Parsing of survey lines and the shot list built by LoadSurvey.
#include "SurveyTestDir.h"

namespace {

struct ParsedLine {
  double s[3], r[3];
  int inl, xl, id;
  float k[6];
  int traceId, fileId;
  int res;
};

ParsedLine Parse(const char* szLine) {
  ParsedLine p;
  p.res = CSurvey3D::InterpretSurveyFileLine(szLine, p.s[0], p.s[1], p.s[2], p.r[0], p.r[1], p.r[2], p.inl, p.xl, p.id,
                                             p.k[0], p.k[1], p.k[2], p.k[3], p.k[4], p.k[5], p.traceId, p.fileId);
  return p;
}

} // namespace

TEST(SurveyLine, ColumnsAndDefaults) {
  ParsedLine p = Parse("\t1.5 2 3   4 5 6.25\r\n");
  ASSERT_EQ(p.res, 0);
  EXPECT_EQ(p.s[0], 1.5);
  EXPECT_EQ(p.r[2], 6.25);
  EXPECT_EQ(p.inl, 0);
  EXPECT_EQ(p.xl, 0);
  EXPECT_EQ(p.id, -1);
  EXPECT_EQ(p.k[0], -9999.25f);
  EXPECT_EQ(p.traceId, -1);
  EXPECT_EQ(p.fileId, -1);

  p = Parse("1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17");
  ASSERT_EQ(p.res, 0);
  EXPECT_EQ(p.inl, 7);
  EXPECT_EQ(p.xl, 8);
  EXPECT_EQ(p.id, 9);
  for (int i = 0; i < 6; i++)
    EXPECT_EQ(p.k[i], 10.f + i);
  EXPECT_EQ(p.traceId, 16);
  EXPECT_EQ(p.fileId, 17);

  for (const char* bad : {"1 2 3 4 5", "", "\n", "abc 1 2 3 4 5 6"})
    EXPECT_EQ(Parse(bad).res, 1) << bad;
  EXPECT_EQ(Parse(nullptr).res, 1);

  // A zero tensor and a negative id mean none; one non-zero component makes
  // a tensor, whichever it is, and the rest of a partial one is zero.
  p = Parse("1 2 3 4 5 6 0 0 -5 0 0 0 0 0 0");
  EXPECT_EQ(p.id, -1);
  EXPECT_EQ(p.k[0], -9999.25f);
  EXPECT_EQ(Parse("1 2 3 4 5 6 0 0 3 0 0 0 0 0 2.5").k[0], 0.f);
  EXPECT_EQ(Parse("1 2 3 4 5 6 0 0 3 0 -1").k[0], 0.f);
  p = Parse("1 2 3 4 5 6 0 0 3 1.5");
  EXPECT_EQ(p.k[0], 1.5f);
  EXPECT_EQ(p.k[1], 0.f);
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
  WriteFile("comments.txt", "# 1 2 3 4 5 6\n; 1 2 3 4 5 6\n1 2 3 4 5\n\n");
  EXPECT_EQ(s.LoadSurvey("comments.txt", false), 1);
  EXPECT_TRUE(LogHas("Error! No source points in the survey acquisition geometry file "
                     "comments.txt.\nPlease make sure it is properly formatted file.\n"
                     "The computation is stopped.\n"));
  EXPECT_TRUE(s.m_vShots.empty());
}

TEST_F(SurveyLoad, ShotsNumberedInOrderOfFirstAppearance) {
  WriteFile("s.txt", "300 0 5 10 0 0\n100 0 5 20 0 0\n\n1 2 3 4 5\n300 0 5 30 0 0\n200 0 5 4 0 0\n");
  CSurvey3D s;
  ASSERT_EQ(s.LoadSurvey("s.txt", false), 0);
  EXPECT_EQ(s.m_vShots, (std::vector<C3DPointR>{{300, 0, 5}, {100, 0, 5}, {200, 0, 5}}));
  EXPECT_TRUE(s.m_vShotIds.empty());
  EXPECT_EQ(s.GetMinShot(), 1);
  EXPECT_EQ(s.GetMaxShot(), 3);
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
  EXPECT_EQ(s.m_vShots, (std::vector<C3DPointR>{{100, 100, 10}, {101, 100, 10}, {100, 100, 11}}));
}

TEST_F(SurveyLoad, IdsSeparateShotsAndGiveTheRange) {
  WriteFile("s.txt",
            "0 0 0 10 0 0 0 0 7\n"
            "50 0 0 10 0 0 0 0 7\n" // same id elsewhere: same shot
            "0 0 0 20 0 0 0 0 3\n"  // other id at the same point: new shot
            "0 0 0 20 0 0\n"        // no id at a known point: nothing new
            "0 0 0 30 0 0 0 0 0\n");
  CSurvey3D s;
  ASSERT_EQ(s.LoadSurvey("s.txt", false), 0);
  EXPECT_EQ(s.m_vShots, (std::vector<C3DPointR>{{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}));
  EXPECT_EQ(s.m_vShotIds, (std::vector<int>{7, 3, 0}));
  EXPECT_EQ(s.GetMaxShot(), 3); // ids count only when asked for
  s.m_bUseShotId = true;
  EXPECT_EQ(s.GetMinShot(), 0);
  EXPECT_EQ(s.GetMaxShot(), 7);
  s.m_vShotIds = {0};
  EXPECT_EQ(s.GetMaxShot(), 1); // the highest id, but at least 1
}

TEST_F(SurveyLoad, NewShotWithoutIdDropsAllIds) {
  WriteFile("s.txt",
            "0 0 0 10 0 0 0 0 1\n"
            "200 0 0 10 0 0\n"         // new shot without id
            "300 0 0 10 0 0 0 0 3\n"   // told by coordinates from here on
            "300 0 0 20 0 0 0 0 4\n"); // same point, another id: no new shot
  CSurvey3D s;
  s.m_bUseShotId = true;
  ASSERT_EQ(s.LoadSurvey("s.txt", false), 0);
  EXPECT_EQ(s.m_vShots.size(), 3u);
  EXPECT_TRUE(s.m_vShotIds.empty());
  EXPECT_TRUE(LogHas("Inconsistent shot point id in survey geometry file 's.txt'. Shot point IDs "
                     "will be ignored.\n"));
  EXPECT_EQ(s.GetMaxShot(), 3);
}

TEST_F(SurveyLoad, ShotsDefinedByCoordinatesIgnoresIdsForSeparation) {
  WriteFile("s.txt", "0 0 0 10 0 0 0 0 5\n0 0 0 20 0 0 0 0 6\n100 0 0 10 0 0 0 0 5\n");
  CSurvey3D s;
  s.m_bShotsDefinedByCoordinates = true;
  ASSERT_EQ(s.LoadSurvey("s.txt", false), 0);
  EXPECT_EQ(s.m_vShots.size(), 2u);
  EXPECT_EQ(s.m_vShotIds, (std::vector<int>{5, 5}));
}

TEST_F(SurveyLoad, SegyNamesAreNotReadAsText) {
  for (const char* name : {"s.sgy", "s.SEGY"}) {
    WriteFile(name, "0 0 0 10 0 0\n");
    CSurvey3D s;
    EXPECT_EQ(s.LoadSurvey(name, false), 1) << name;
    EXPECT_TRUE(s.m_vShots.empty()) << name;
  }
  EXPECT_TRUE(LogHas("(s.SEGY)"));
}

TEST_F(SurveyLoad, OverlongLineIsCutIntoPieces) {
  // A line is taken 298 characters at a time; the rest is read as a line of
  // its own.
  WriteFile("s.txt", "1 2 3 4 5 6" + std::string(290, ' ') + "70 80 90 1 1 1\n");
  CSurvey3D s;
  ASSERT_EQ(s.LoadSurvey("s.txt", false), 0);
  EXPECT_EQ(s.m_vShots, (std::vector<C3DPointR>{{1, 2, 3}, {70, 80, 90}}));
}
