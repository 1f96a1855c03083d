// Selection of the active shot: excitation points, receivers, header numbers,
// tensors and observation zone in the three ways of telling shots apart.
#include "SurveyTestDir.h"

using Points = std::vector<C3DPointR>;

class SurveyActive : public SurveyTestDir {
protected:
  void Load(const std::string& text, bool bUseShotId = false, bool bByCoords = false, bool bTensors = false) {
    WriteFile("survey.txt", text);
    m_s.m_bUseShotId = bUseShotId;
    m_s.m_bShotsDefinedByCoordinates = bByCoords;
    ASSERT_EQ(m_s.LoadSurvey("survey.txt", bTensors), 0);
  }
  // The zone as x0 x1 y0 y1 z0 z1.
  std::vector<double> Zone() const {
    CCubeR c = m_s.GetObsZone();
    return {c.x0, c.x1, c.y0, c.y1, c.z0, c.z1};
  }
  CSurvey3D m_s;
};

TEST_F(SurveyActive, OrdinalOutOfRangeStops) {
  Load("0 0 0 10 0 0\n100 0 0 10 0 0\n");
  EXPECT_EQ(m_s.SetActiveShot(0), 1);
  EXPECT_TRUE(LogHas("Error! Incorrect shot point #0 specified. Shot points in range 1..2.\n"
                     "The computation is stopped.\n"));
  EXPECT_EQ(m_s.SetActiveShot(3), 1);
  ASSERT_EQ(m_s.SetActiveShot(2), 0);
  EXPECT_EQ(m_s.m_nActiveIndex, 1);
  EXPECT_EQ(m_s.GetActiveShotPt(), C3DPointR(100, 0, 0));
  EXPECT_EQ(m_s.GetActiveShotId(), 2);
}

TEST_F(SurveyActive, ZoneHoldsShotAtDepthZeroAndReceivers) {
  Load("100 200 50 300 200 10 11 22\n");
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  EXPECT_EQ(m_s.m_vExcitePoints, (Points{{100, 200, 50}}));
  EXPECT_EQ(m_s.m_vReceivers, (Points{{300, 200, 10}}));
  EXPECT_EQ(m_s.GetRcvInline(0), 11);
  EXPECT_EQ(m_s.GetRcvCrossline(0), 22);
  EXPECT_EQ(Zone(), (std::vector<double>{100, 300, 200, 200, 0, 10}));
  EXPECT_TRUE(m_s.m_vTauK.empty());
}

TEST_F(SurveyActive, ByCoordinatesKeepsRepeatedReceiversAndRebuildsLists) {
  CSurvey3D::MIN_DIST = 1;
  Load("0 0 5 10 0 0 0 0 -1 0 0 0 0 0 0 5 6\n"
       "500 0 5 10 0 0\n"
       "0.5 0 5 10 0 0 0 0 -1 0 0 0 0 0 0 7 8\n" // same shot, same receiver again
       "0 0 6 20 -30 40\n");                     // exactly MIN_DIST deeper: another shot
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  ASSERT_EQ(m_s.SetActiveShot(1), 0); // a second call does not add up
  EXPECT_EQ(m_s.m_vReceivers, (Points{{10, 0, 0}, {10, 0, 0}}));
  EXPECT_EQ(m_s.m_vRcvInline.size(), 2u);
  EXPECT_EQ(m_s.m_vRcvCrossline.size(), 2u);
  EXPECT_EQ(m_s.m_vRcvTraceId, (std::vector<int>{5, 7}));
  EXPECT_EQ(m_s.m_vRcvFileId, (std::vector<int>{6, 8}));
  EXPECT_EQ(m_s.m_vExcitePoints, (Points{{0, 0, 5}}));

  ASSERT_EQ(m_s.SetActiveShot(3), 0);
  EXPECT_EQ(m_s.m_vReceivers, (Points{{20, -30, 40}}));
  EXPECT_TRUE(m_s.m_vRcvTraceId.empty());
  EXPECT_EQ(Zone(), (std::vector<double>{0, 20, -30, 0, 0, 40}));
  EXPECT_EQ(m_s.GetRcvTraceId(0), -1);
  EXPECT_EQ(m_s.GetRcvFileId(-1), -1);
  EXPECT_EQ(m_s.GetRcvInline(1), 0);
}

TEST_F(SurveyActive, HeaderIdsOnOnlySomeLinesAreDropped) {
  Load("0 0 0 10 0 0 1 1 -1 0 0 0 0 0 0 5 9\n"
       "0 0 0 20 0 0 1 2 -1 0 0 0 0 0 0 6\n"
       "0 0 0 30 0 0 1 3\n");
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  EXPECT_EQ(m_s.m_vReceivers.size(), 3u);
  EXPECT_TRUE(m_s.m_vRcvTraceId.empty());
  EXPECT_TRUE(m_s.m_vRcvFileId.empty());
}

TEST_F(SurveyActive, ByIdCollectsExcitationPointsAndDropsRepeatedReceivers) {
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
  // Several excitation points: the zone holds them all with their depths.
  EXPECT_EQ(Zone(), (std::vector<double>{0, 50, 0, 60, 0, 80}));

  ASSERT_EQ(m_s.SetActiveShot(9), 0);
  EXPECT_EQ(m_s.m_nActiveIndex, 1);
  EXPECT_EQ(m_s.GetActiveShotId(), 9);
  EXPECT_EQ(m_s.m_vExcitePoints, (Points{{400, 0, 0}}));
  EXPECT_EQ(m_s.m_vReceivers, (Points{{10, 0, 0}}));
}

TEST_F(SurveyActive, UnknownIdIsSkippedAndListShownOnce) {
  Load("0 0 0 10 0 0 0 0 3\n100 0 0 10 0 0 0 0 8\n", true);
  CSurvey3D::s_bShotIdListShown = false;
  EXPECT_EQ(m_s.SetActiveShot(1), -35);
  EXPECT_EQ(m_s.SetActiveShot(2), -35);
  std::string log = Log();
  EXPECT_NE(log.find("Warning! Incorrect shot point #1 specified. No such shot point in file "
                     "'survey.txt'.\nList of registeres shot points: 3, 8\nShot point skipped.\n"),
            std::string::npos);
  EXPECT_NE(log.find("#2 specified. No such shot point in file 'survey.txt'.\nShot point skipped."), std::string::npos);
}

TEST_F(SurveyActive, OrdinalsWhenIdsAreAbsentOrNotSeparating) {
  Load("0 0 0 10 0 0\n100 0 0 10 0 0\n", true);
  ASSERT_EQ(m_s.SetActiveShot(2), 0);
  EXPECT_EQ(m_s.GetActiveShotPt(), C3DPointR(100, 0, 0));
  EXPECT_TRUE(LogHas("Warning! ShotId information is not present in the survey file. Use ordinal "
                     "shot numbers from 1 to 2.\n"));

  Load("0 0 0 10 0 0 0 0 5\n0 0 0 20 0 0 0 0 6\n0 0 0 20 0 0 0 0 6\n100 0 0 10 0 0 0 0 5\n", false, true);
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  EXPECT_EQ(m_s.m_vReceivers.size(), 3u);
  EXPECT_EQ(m_s.SetActiveShot(5), 1);
}

TEST_F(SurveyActive, NegativeNumberGathersEveryReceiverOnce) {
  Load("5 0 0 10 0 1 0 0 1\n100 0 0 10 0 1 0 0 2\n100 0 0 30 -5 2 0 0 2\n200 0 0 10 0 1\n", true);
  ASSERT_EQ(m_s.SetActiveShot(-2), 0);
  EXPECT_EQ(m_s.m_nActiveShot, -1);
  EXPECT_EQ(m_s.m_vReceivers, (Points{{10, 0, 1}, {30, -5, 2}}));
  EXPECT_EQ(m_s.m_vExcitePoints, (Points{{0, 0, 0}}));
  EXPECT_EQ(Zone(), (std::vector<double>{10, 30, -5, 0, 1, 2})); // receivers alone
}

TEST_F(SurveyActive, MomentTensors) {
  // By coordinates the first tensor of the shot counts.
  Load("0 0 0 10 0 0\n0 0 0 20 0 0 0 0 -1 1 2 3 4 5 6\n0 0 0 30 0 0 0 0 -1 9 9 9 9 9 9\n", false, false, true);
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  ASSERT_EQ(m_s.m_vTauK.size(), 1u);
  EXPECT_EQ(m_s.m_vTauK[0].k11, 1.f);
  EXPECT_EQ(m_s.m_vTauK[0].k23, 6.f);

  // By id one tensor for each excitation point; all of them must have one.
  Load("0 0 0 10 0 0 0 0 1 1 0 0 0 0 0\n"
       "0 0 0 20 0 0 0 0 1 7 0 0 0 0 0\n" // known point: its tensor is not taken
       "5 0 0 10 0 0 0 0 1 2 0 0 0 0 0\n"
       "9 0 0 10 0 0 0 0 2 3 0 0 0 0 0\n"
       "0 0 9 10 0 0 0 0 2\n",
       true, false, true);
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  ASSERT_EQ(m_s.m_vTauK.size(), 2u);
  EXPECT_EQ(m_s.m_vTauK[1].k11, 2.f);
  EXPECT_EQ(m_s.SetActiveShot(2), 1);
  EXPECT_TRUE(LogHas("Error! Moment tensor specified for 1 of 2 excitement points of shot point "
                     "#2 (9,0,0) in file 'survey.txt'.\nThe computation is stopped.\n"));

  Load("100 200 50 10 0 0\n", false, false, true);
  EXPECT_EQ(m_s.SetActiveShot(1), 1);
  EXPECT_TRUE(LogHas("Error! Moment tensor specified for 0 of 1 excitement points"));
}

TEST_F(SurveyActive, SurveyFileChangedOrGoneAfterLoading) {
  Load("0 0 0 10 0 0\n50 0 0 20 0 0\n");
  WriteFile("survey.txt", "0 0 0 10 0 0\n");
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  EXPECT_EQ(m_s.SetActiveShot(2), 1);
  EXPECT_TRUE(LogHas("Error! No receivers corresponds to source point #2 (50,0,0).\n"
                     "The computation is stopped.\n"));
  ASSERT_EQ(remove("survey.txt"), 0);
  EXPECT_EQ(m_s.SetActiveShot(1), 1);
  EXPECT_TRUE(LogHas("Error! Unable to read the survey acquisition geometry file survey.txt.\n"));
}
