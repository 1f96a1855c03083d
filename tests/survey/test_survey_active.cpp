// Selection of the active shot: excitation points, receivers, header numbers,
// tensors and observation zone in the three ways of telling shots apart.
#include "SurveyTestDir.h"

namespace {

void ExpectCube(const CCubeR& c, double x0, double x1, double y0, double y1, double z0, double z1) {
  EXPECT_DOUBLE_EQ(c.x0, x0);
  EXPECT_DOUBLE_EQ(c.x1, x1);
  EXPECT_DOUBLE_EQ(c.y0, y0);
  EXPECT_DOUBLE_EQ(c.y1, y1);
  EXPECT_DOUBLE_EQ(c.z0, z0);
  EXPECT_DOUBLE_EQ(c.z1, z1);
}

} // namespace

class SurveyActive : public SurveyTestDir {
protected:
  // Loads a survey text with the given numbering flags.
  void Load(const std::string& text, bool bUseShotId = false, bool bByCoords = false, bool bTensors = false) {
    WriteFile("survey.txt", text);
    m_s.m_bUseShotId = bUseShotId;
    m_s.m_bShotsDefinedByCoordinates = bByCoords;
    ASSERT_EQ(m_s.LoadSurvey("survey.txt", bTensors), 0);
  }
  CSurvey3D m_s;
};

TEST_F(SurveyActive, OrdinalOutOfRangeStops) {
  Load("0 0 0 10 0 0\n100 0 0 10 0 0\n");
  EXPECT_EQ(m_s.SetActiveShot(0), 1);
  EXPECT_TRUE(LogHas("Error! Incorrect shot point #0 specified. Shot points in range 1..2.\n"
                     "The computation is stopped.\n"));
  EXPECT_EQ(m_s.SetActiveShot(3), 1);
  EXPECT_TRUE(LogHas("Error! Incorrect shot point #3 specified. Shot points in range 1..2.\n"));
  EXPECT_EQ(m_s.SetActiveShot(2), 0);
  EXPECT_EQ(m_s.m_nActiveShot, 2);
  EXPECT_EQ(m_s.m_nActiveIndex, 1);
  EXPECT_EQ(m_s.GetActiveShotPt(), C3DPointR(100, 0, 0));
  EXPECT_EQ(m_s.GetActiveShotId(), 2);
}

TEST_F(SurveyActive, ZoneHoldsShotAtDepthZeroAndReceivers) {
  Load("100 200 50 300 200 10 11 22\n");
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  ASSERT_EQ(m_s.m_vExcitePoints.size(), 1u);
  EXPECT_EQ(m_s.m_vExcitePoints[0], C3DPointR(100, 200, 50));
  ASSERT_EQ(m_s.m_vReceivers.size(), 1u);
  EXPECT_EQ(m_s.m_vReceivers[0], C3DPointR(300, 200, 10));
  EXPECT_EQ(m_s.GetRcvInline(0), 11);
  EXPECT_EQ(m_s.GetRcvCrossline(0), 22);
  ExpectCube(m_s.GetObsZone(), 100, 300, 200, 200, 0, 10);
  EXPECT_TRUE(m_s.m_vTauK.empty());
}

TEST_F(SurveyActive, ByCoordinatesKeepsRepeatedReceiversAndMatchesWithinMinDist) {
  CSurvey3D::MIN_DIST = 1;
  Load("0 0 5 10 0 0\n"
       "500 0 5 10 0 0\n"
       "0.5 0 5 10 0 0\n"    // same shot, same receiver again
       "0 0 6 20 -30 40\n"); // exactly MIN_DIST deeper: another shot
  ASSERT_EQ(m_s.m_vShots.size(), 3u);
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  ASSERT_EQ(m_s.m_vReceivers.size(), 2u);
  EXPECT_EQ(m_s.m_vReceivers[0], m_s.m_vReceivers[1]);
  EXPECT_EQ(m_s.m_vRcvInline.size(), 2u);
  EXPECT_EQ(m_s.m_vRcvCrossline.size(), 2u);
  ASSERT_EQ(m_s.m_vExcitePoints.size(), 1u);
  EXPECT_EQ(m_s.m_vExcitePoints[0], C3DPointR(0, 0, 5));

  ASSERT_EQ(m_s.SetActiveShot(3), 0);
  ASSERT_EQ(m_s.m_vReceivers.size(), 1u);
  EXPECT_EQ(m_s.m_vReceivers[0], C3DPointR(20, -30, 40));
  ExpectCube(m_s.GetObsZone(), 0, 20, -30, 0, 0, 40);
}

TEST_F(SurveyActive, ListsAreRebuiltOnEachCall) {
  Load("0 0 0 10 0 0 0 0 -1 0 0 0 0 0 0 5 6\n"
       "0 0 0 20 0 0 0 0 -1 0 0 0 0 0 0 7 8\n"
       "100 0 0 30 0 0\n");
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  EXPECT_EQ(m_s.m_vReceivers.size(), 2u);
  EXPECT_EQ(m_s.m_vRcvTraceId, (std::vector<int>{5, 7}));
  EXPECT_EQ(m_s.m_vRcvFileId, (std::vector<int>{6, 8}));
  EXPECT_EQ(m_s.GetRcvTraceId(1), 7);
  EXPECT_EQ(m_s.GetRcvFileId(0), 6);
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  EXPECT_EQ(m_s.m_vReceivers.size(), 2u);
  EXPECT_EQ(m_s.m_vRcvTraceId.size(), 2u);
  ASSERT_EQ(m_s.SetActiveShot(2), 0);
  ASSERT_EQ(m_s.m_vReceivers.size(), 1u);
  EXPECT_EQ(m_s.m_vExcitePoints.size(), 1u);
  EXPECT_TRUE(m_s.m_vRcvTraceId.empty());
  ExpectCube(m_s.GetObsZone(), 30, 100, 0, 0, 0, 0);
  // Out-of-range header queries give their defaults.
  EXPECT_EQ(m_s.GetRcvTraceId(0), -1);
  EXPECT_EQ(m_s.GetRcvFileId(-1), -1);
  EXPECT_EQ(m_s.GetRcvInline(1), 0);
  EXPECT_EQ(m_s.GetRcvCrossline(-1), 0);
}

TEST_F(SurveyActive, HeaderIdsOnOnlySomeLinesAreDropped) {
  Load("0 0 0 10 0 0 1 1 -1 0 0 0 0 0 0 5 9\n"
       "0 0 0 20 0 0 1 2 -1 0 0 0 0 0 0 6\n"
       "0 0 0 30 0 0 1 3\n");
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  EXPECT_EQ(m_s.m_vReceivers.size(), 3u);
  EXPECT_TRUE(m_s.m_vRcvTraceId.empty());
  EXPECT_TRUE(m_s.m_vRcvFileId.empty());
  EXPECT_EQ(m_s.GetRcvCrossline(2), 3);
}

TEST_F(SurveyActive, ByIdCollectsExcitationPointsAndDropsRepeatedReceivers) {
  Load("0 0 0 10 0 0 0 0 7\n"
       "400 0 0 10 0 0 0 0 9\n"
       "50 60 80 10 0 0 0 0 7\n" // second excitation point of shot 7
       "0 0 0 20 0 5 0 0 7\n"
       "50 60 80 20 0 5 0 0 7\n", // receiver already taken
       true);
  ASSERT_EQ(m_s.m_vShots.size(), 2u);
  ASSERT_EQ(m_s.SetActiveShot(7), 0);
  EXPECT_EQ(m_s.m_nActiveShot, 7);
  EXPECT_EQ(m_s.m_nActiveIndex, 0);
  EXPECT_EQ(m_s.GetActiveShotId(), 7);
  ASSERT_EQ(m_s.m_vExcitePoints.size(), 2u);
  EXPECT_EQ(m_s.m_vExcitePoints[1], C3DPointR(50, 60, 80));
  ASSERT_EQ(m_s.m_vReceivers.size(), 2u);
  EXPECT_EQ(m_s.m_vReceivers[1], C3DPointR(20, 0, 5));
  // Several excitation points: the zone holds them all with their depths.
  ExpectCube(m_s.GetObsZone(), 0, 50, 0, 60, 0, 80);

  ASSERT_EQ(m_s.SetActiveShot(9), 0);
  EXPECT_EQ(m_s.m_nActiveIndex, 1);
  EXPECT_EQ(m_s.GetActiveShotPt(), C3DPointR(400, 0, 0));
  ASSERT_EQ(m_s.m_vExcitePoints.size(), 1u);
  ASSERT_EQ(m_s.m_vReceivers.size(), 1u);
}

TEST_F(SurveyActive, ByIdLinesWithoutIdJoinByCoordinates) {
  Load("0 0 0 10 0 0 0 0 4\n"
       "0 0 0 30 0 0\n"        // no id, at shot 4's point
       "0 0 0 40 0 0 0 0 5\n", // another shot at the same point
       true);
  ASSERT_EQ(m_s.SetActiveShot(4), 0);
  ASSERT_EQ(m_s.m_vReceivers.size(), 2u);
  EXPECT_EQ(m_s.m_vReceivers[1], C3DPointR(30, 0, 0));
  ASSERT_EQ(m_s.SetActiveShot(5), 0);
  ASSERT_EQ(m_s.m_vReceivers.size(), 2u);
  EXPECT_EQ(m_s.m_vReceivers[0], C3DPointR(30, 0, 0));
  EXPECT_EQ(m_s.m_vReceivers[1], C3DPointR(40, 0, 0));
}

TEST_F(SurveyActive, UnknownIdIsSkippedAndListShownOnce) {
  Load("0 0 0 10 0 0 0 0 3\n100 0 0 10 0 0 0 0 8\n", true);
  CSurvey3D::s_bShotIdListShown = false;
  EXPECT_EQ(m_s.SetActiveShot(1), -35);
  std::string log = Log();
  EXPECT_NE(log.find("Warning! Incorrect shot point #1 specified. No such shot point in file "
                     "'survey.txt'.\nList of registeres shot points: 3, 8\nShot point skipped.\n"),
            std::string::npos);
  EXPECT_EQ(m_s.SetActiveShot(2), -35);
  log = Log();
  EXPECT_NE(log.find("Warning! Incorrect shot point #2 specified. No such shot point in file "
                     "'survey.txt'.\nShot point skipped.\n"),
            std::string::npos);
  EXPECT_EQ(log.find("List of registeres"), log.rfind("List of registeres"));
}

TEST_F(SurveyActive, UseShotIdWithoutIdsFallsBackToOrdinals) {
  Load("0 0 0 10 0 0\n100 0 0 10 0 0\n", true);
  ASSERT_EQ(m_s.SetActiveShot(2), 0);
  EXPECT_EQ(m_s.GetActiveShotPt(), C3DPointR(100, 0, 0));
  EXPECT_TRUE(LogHas("Warning! ShotId information is not present in the survey file. Use ordinal "
                     "shot numbers from 1 to 2.\n"));
  EXPECT_EQ(m_s.SetActiveShot(3), 1);
}

TEST_F(SurveyActive, ShotsDefinedByCoordinatesNumbersByOrdinal) {
  Load("0 0 0 10 0 0 0 0 5\n"
       "0 0 0 20 0 0 0 0 6\n"
       "0 0 0 20 0 0 0 0 6\n"
       "100 0 0 10 0 0 0 0 5\n",
       false, true);
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  EXPECT_EQ(m_s.m_vReceivers.size(), 3u);
  EXPECT_EQ(m_s.m_vExcitePoints.size(), 1u);
  EXPECT_EQ(m_s.SetActiveShot(5), 1);
}

TEST_F(SurveyActive, NegativeNumberGathersEveryReceiverOnce) {
  Load("0 0 0 10 0 1 0 0 1\n"
       "100 0 0 10 0 1 0 0 2\n"
       "100 0 0 30 -5 2 0 0 2\n"
       "200 0 0 10 0 1\n",
       true);
  ASSERT_EQ(m_s.SetActiveShot(-2), 0);
  EXPECT_EQ(m_s.m_nActiveShot, -1);
  ASSERT_EQ(m_s.m_vReceivers.size(), 2u);
  EXPECT_EQ(m_s.m_vReceivers[0], C3DPointR(10, 0, 1));
  EXPECT_EQ(m_s.m_vReceivers[1], C3DPointR(30, -5, 2));
  ASSERT_EQ(m_s.m_vExcitePoints.size(), 1u);
  EXPECT_EQ(m_s.m_vExcitePoints[0], C3DPointR(0, 0, 0));
  // The zone is that of the receivers alone.
  ExpectCube(m_s.GetObsZone(), 10, 30, -5, 0, 1, 2);
}

TEST_F(SurveyActive, ByCoordinatesFirstTensorOfTheShotWins) {
  Load("0 0 0 10 0 0\n"
       "0 0 0 20 0 0 0 0 -1 1 2 3 4 5 6\n"
       "0 0 0 30 0 0 0 0 -1 9 9 9 9 9 9\n",
       false, false, true);
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  ASSERT_EQ(m_s.m_vTauK.size(), 1u);
  EXPECT_EQ(m_s.m_vTauK[0].k11, 1.f);
  EXPECT_EQ(m_s.m_vTauK[0].k22, 2.f);
  EXPECT_EQ(m_s.m_vTauK[0].k23, 6.f);
}

TEST_F(SurveyActive, ByIdTensorPerExcitationPoint) {
  Load("0 0 0 10 0 0 0 0 1 1 0 0 0 0 0\n"
       "0 0 0 20 0 0 0 0 1 7 0 0 0 0 0\n" // same point: its tensor is not taken
       "5 0 0 10 0 0 0 0 1 2 0 0 0 0 0\n"
       "9 0 0 10 0 0 0 0 2 3 0 0 0 0 0\n"
       "0 0 9 10 0 0 0 0 2\n", // second point of shot 2 has no tensor
       true, false, true);
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  ASSERT_EQ(m_s.m_vTauK.size(), 2u);
  EXPECT_EQ(m_s.m_vTauK[0].k11, 1.f);
  EXPECT_EQ(m_s.m_vTauK[1].k11, 2.f);
  EXPECT_EQ(m_s.SetActiveShot(2), 1);
  EXPECT_TRUE(LogHas("Error! Moment tensor specified for 1 of 2 excitement points of shot point "
                     "#2 (9,0,0) in file 'survey.txt'.\nThe computation is stopped.\n"));
}

TEST_F(SurveyActive, TensorsAskedForButAbsentStop) {
  Load("100 200 50 10 0 0\n", false, false, true);
  EXPECT_EQ(m_s.SetActiveShot(1), 1);
  EXPECT_TRUE(LogHas("Error! Moment tensor specified for 0 of 1 excitement points of shot point "
                     "#1 (100,200,50) in file 'survey.txt'.\n"));
  // Without tensors asked for, the same survey is fine.
  Load("100 200 50 10 0 0\n");
  EXPECT_EQ(m_s.SetActiveShot(1), 0);
}

TEST_F(SurveyActive, ShotWithoutReceiversStops) {
  // The file is read again for each shot: a shot whose lines have gone from
  // it since loading has no receivers.
  Load("0 0 0 10 0 0\n50 0 0 20 0 0\n");
  WriteFile("survey.txt", "0 0 0 10 0 0\n");
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  EXPECT_EQ(m_s.SetActiveShot(2), 1);
  EXPECT_TRUE(LogHas("Error! No receivers corresponds to source point #2 (50,0,0).\n"
                     "The computation is stopped.\n"));
}

TEST_F(SurveyActive, SurveyFileGoneAfterLoading) {
  Load("0 0 0 10 0 0\n");
  ASSERT_EQ(remove("survey.txt"), 0);
  EXPECT_EQ(m_s.SetActiveShot(1), 1);
  EXPECT_TRUE(LogHas("Error! Unable to read the survey acquisition geometry file survey.txt.\n"));
}

TEST_F(SurveyActive, ClearResetsAllButNumberingFlags) {
  Load("0 0 0 10 0 0 0 0 1\n", true, false, false);
  ASSERT_EQ(m_s.SetActiveShot(1), 0);
  m_s.Clear();
  EXPECT_TRUE(m_s.m_vShots.empty());
  EXPECT_TRUE(m_s.m_vShotIds.empty());
  EXPECT_TRUE(m_s.m_vReceivers.empty());
  EXPECT_TRUE(m_s.m_vExcitePoints.empty());
  EXPECT_TRUE(m_s.m_strFile.IsEmpty());
  EXPECT_EQ(m_s.m_nActiveShot, -1);
  EXPECT_EQ(m_s.m_nActiveIndex, 0);
  EXPECT_TRUE(m_s.m_bUseShotId);
  EXPECT_FALSE(m_s.m_bFromSgy);
}

TEST(SurveyDefaults, FreshStoreHasNoActiveShot) {
  CSurvey3D s;
  EXPECT_EQ(s.m_nActiveShot, -1);
  EXPECT_EQ(s.m_nActiveIndex, -1);
  EXPECT_TRUE(s.GetObsZone().IsEmpty());
  C3DPointR p = s.GetActiveShotPt();
  EXPECT_EQ(p, C3DPointR(-9999.25, -9999.25, -9999.25));
  EXPECT_EQ(s.GetMaxShot(), 0);
}
