// Survey file parsing, shot numbering and selection of the active shot.
#include "seisfile/ScratchDir.h"
#include "survey/Survey3D.h"

namespace {

using Points = std::vector<C3DPointR>;

class SurveyTest : public ScratchDirTest {
protected:
  void TearDown() override { CSurvey3D::MIN_DIST = m_fOldMinDist; }
  void Load(const std::string& text, bool bUseShotId = false, bool bByCoords = false) {
    write_text("survey.txt", text);
    m_s.m_bUseShotId = bUseShotId;
    m_s.m_bShotsDefinedByCoordinates = bByCoords;
    ASSERT_EQ(m_s.LoadSurvey("survey.txt", false), 0);
  }
  std::vector<double> Zone() const { // x0 x1 y0 y1 z0 z1
    CCubeR c = m_s.GetObsZone();
    return {c.x0, c.x1, c.y0, c.y1, c.z0, c.z1};
  }
  double m_fOldMinDist = CSurvey3D::MIN_DIST;
  CSurvey3D m_s;
};

struct ParsedLine {
  double s[3], r[3];
  int inl, xl, id, traceId, fileId, res;
  float k[6];
};

ParsedLine Parse(const char* szLine) {
  ParsedLine p;
  p.res = CSurvey3D::InterpretSurveyFileLine(szLine, p.s[0], p.s[1], p.s[2], p.r[0], p.r[1], p.r[2], p.inl, p.xl, p.id,
                                             p.k[0], p.k[1], p.k[2], p.k[3], p.k[4], p.k[5], p.traceId, p.fileId);
  return p;
}

TEST(SurveyLine, ColumnsAndDefaults) {
  ParsedLine p = Parse("\t1.5 2 3   4 5 6.25\r\n");
  ASSERT_EQ(p.res, 0);
  EXPECT_EQ(p.s[0], 1.5);
  EXPECT_EQ(p.r[2], 6.25);
  EXPECT_EQ(std::vector<int>({p.inl, p.xl, p.id, p.traceId, p.fileId}), std::vector<int>({0, 0, -1, -1, -1}));
  EXPECT_EQ(p.k[0], -9999.25f);

  p = Parse("1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17");
  ASSERT_EQ(p.res, 0);
  EXPECT_EQ(std::vector<int>({p.inl, p.xl, p.id, p.traceId, p.fileId}), std::vector<int>({7, 8, 9, 16, 17}));
  for (int i = 0; i < 6; i++)
    EXPECT_EQ(p.k[i], 10.f + i);
  for (const char* bad : {"1 2 3 4 5", "", "abc 1 2 3 4 5 6"})
    EXPECT_EQ(Parse(bad).res, 1) << bad;
  // A zero tensor and a negative id mean none; a partial tensor is padded with zeros.
  p = Parse("1 2 3 4 5 6 0 0 -5 0 0 0 0 0 0");
  EXPECT_EQ(p.id, -1);
  EXPECT_EQ(p.k[0], -9999.25f);
  EXPECT_EQ(Parse("1 2 3 4 5 6 0 0 3 0 0 0 0 0 2.5").k[0], 0.f);
}

TEST_F(SurveyTest, ShotsByCoordinatesInOrderOfFirstAppearance) {
  CSurvey3D::MIN_DIST = 1;
  Load("300 0 5 10 0 0\n; 1 2 3 4 5 6\n100 0 5 20 0 0\n\n1 2 3 4 5\n"
       "300.5 0.5 5.5 30 0 0\n" // within MIN_DIST on all axes: the first shot again
       "301 0 5 4 0 0\n");      // exactly MIN_DIST away in x: a new shot
  EXPECT_EQ(m_s.m_vShots, (Points{{300, 0, 5}, {100, 0, 5}, {301, 0, 5}}));
  EXPECT_TRUE(m_s.m_vShotIds.empty());
  EXPECT_EQ(m_s.GetMinShot(), 1);
  EXPECT_EQ(m_s.GetMaxShot(), 3);
}

TEST_F(SurveyTest, ShotIdsSeparateShotsAndGiveTheRange) {
  Load("0 0 0 10 0 0 0 0 7\n"
       "50 0 0 10 0 0 0 0 7\n" // same id elsewhere: same shot
       "0 0 0 20 0 0 0 0 3\n"  // other id at the same point: new shot
       "0 0 0 20 0 0\n"        // no id at a known point: nothing new
       "0 0 0 30 0 0 0 0 0\n");
  EXPECT_EQ(m_s.m_vShots, (Points{{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}));
  EXPECT_EQ(m_s.m_vShotIds, (std::vector<int>{7, 3, 0}));
  EXPECT_EQ(m_s.GetMaxShot(), 3) << "ids count only when asked for";
  m_s.m_bUseShotId = true;
  EXPECT_EQ(m_s.GetMinShot(), 0);
  EXPECT_EQ(m_s.GetMaxShot(), 7);

  // ShotsDefinedByCoordinates: ids do not separate shots.
  Load("0 0 0 10 0 0 0 0 5\n0 0 0 20 0 0 0 0 6\n100 0 0 10 0 0 0 0 5\n", false, true);
  EXPECT_EQ(m_s.m_vShots.size(), 2u);
  EXPECT_EQ(m_s.m_vShotIds, (std::vector<int>{5, 5}));

  // A new shot without an id drops all ids.
  Load("0 0 0 10 0 0 0 0 1\n200 0 0 10 0 0\n300 0 0 10 0 0 0 0 3\n300 0 0 20 0 0 0 0 4\n", true);
  EXPECT_EQ(m_s.m_vShots.size(), 3u);
  EXPECT_TRUE(m_s.m_vShotIds.empty());
  EXPECT_TRUE(LogHas("Inconsistent shot point id in survey geometry file 'survey.txt'. Shot point IDs "
                     "will be ignored.\n"));
}

TEST_F(SurveyTest, OrdinalShotWithHeaderNumbersAndZone) {
  Load("100 200 50 300 200 10 11 22\n150 0 0 10 0 0\n");
  EXPECT_EQ(m_s.SetActiveShot(3), 1);
  EXPECT_TRUE(LogHas("Error! Incorrect shot point #3 specified. Shot points in range 1..2.\n"
                     "The computation is stopped.\n"));
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  EXPECT_EQ(m_s.GetActiveShotId(), 1);
  EXPECT_EQ(m_s.m_vExcitePoints, (Points{{100, 200, 50}}));
  EXPECT_EQ(m_s.m_vReceivers, (Points{{300, 200, 10}}));
  EXPECT_EQ(m_s.GetRcvInline(0), 11);
  EXPECT_EQ(m_s.GetRcvCrossline(0), 22);
  // The zone holds the shot at depth zero and the receivers.
  EXPECT_EQ(Zone(), (std::vector<double>{100, 300, 200, 200, 0, 10}));
  ASSERT_EQ(m_s.SetActiveShot(2), 0);
  EXPECT_EQ(m_s.m_nActiveIndex, 1);
  EXPECT_EQ(m_s.GetActiveShotPt(), C3DPointR(150, 0, 0));
}

TEST_F(SurveyTest, ByCoordinatesKeepsRepeatedReceiversAndRebuildsLists) {
  CSurvey3D::MIN_DIST = 1;
  Load("0 0 5 10 0 0 0 0 -1 0 0 0 0 0 0 5 6\n"
       "500 0 5 10 0 0\n"
       "0.5 0 5 10 0 0 0 0 -1 0 0 0 0 0 0 7 8\n" // same shot, same receiver again
       "0 0 6 20 -30 40\n");                     // exactly MIN_DIST deeper: another shot
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  ASSERT_EQ(m_s.SetActiveShot(1), 0); // a second call does not add up
  EXPECT_EQ(m_s.m_vReceivers, (Points{{10, 0, 0}, {10, 0, 0}}));
  EXPECT_EQ(m_s.m_vRcvInline.size(), 2u);
  EXPECT_EQ(m_s.m_vRcvTraceId, (std::vector<int>{5, 7}));
  EXPECT_EQ(m_s.m_vRcvFileId, (std::vector<int>{6, 8}));

  ASSERT_EQ(m_s.SetActiveShot(3), 0);
  EXPECT_EQ(m_s.m_vReceivers, (Points{{20, -30, 40}}));
  EXPECT_TRUE(m_s.m_vRcvTraceId.empty());
  EXPECT_EQ(m_s.GetRcvTraceId(0), -1);
  EXPECT_EQ(Zone(), (std::vector<double>{0, 20, -30, 0, 0, 40}));
}

TEST_F(SurveyTest, ByIdCollectsExcitationPointsAndSkipsUnknownIds) {
  Load("0 0 0 10 0 0 0 0 7\n"
       "400 0 0 10 0 0 0 0 9\n"
       "50 60 80 10 0 0 0 0 7\n" // second excitation point of shot 7
       "0 0 0 20 0 5 0 0 7\n"
       "50 60 80 20 0 5 0 0 7\n" // receiver already taken
       "0 0 0 30 0 0\n",         // no id: joins shot 7 by its point
       true);
  ASSERT_EQ(m_s.SetActiveShot(7), 0);
  EXPECT_EQ(m_s.m_nActiveShot, 7);
  EXPECT_EQ(m_s.m_vExcitePoints, (Points{{0, 0, 0}, {50, 60, 80}}));
  EXPECT_EQ(m_s.m_vReceivers, (Points{{10, 0, 0}, {20, 0, 5}, {30, 0, 0}}));
  EXPECT_EQ(Zone(), (std::vector<double>{0, 50, 0, 60, 0, 80})) << "every excitation point at its depth";

  ASSERT_EQ(m_s.SetActiveShot(9), 0);
  EXPECT_EQ(m_s.m_nActiveIndex, 1);
  EXPECT_EQ(m_s.m_vExcitePoints, (Points{{400, 0, 0}}));
  EXPECT_EQ(m_s.m_vReceivers, (Points{{10, 0, 0}}));

  CSurvey3D::s_bShotIdListShown = false;
  EXPECT_EQ(m_s.SetActiveShot(8), -35);
  EXPECT_TRUE(LogHas("Warning! Incorrect shot point #8 specified. No such shot point in file "
                     "'survey.txt'.\nList of registeres shot points: 7, 9\nShot point skipped.\n"));

  // Without ids in the file the shots keep their ordinal numbers.
  Load("0 0 0 10 0 0\n100 0 0 10 0 0\n", true);
  ASSERT_EQ(m_s.SetActiveShot(2), 0);
  EXPECT_EQ(m_s.GetActiveShotPt(), C3DPointR(100, 0, 0));
  EXPECT_TRUE(LogHas("Warning! ShotId information is not present in the survey file. Use ordinal "
                     "shot numbers from 1 to 2.\n"));
}

} // namespace
