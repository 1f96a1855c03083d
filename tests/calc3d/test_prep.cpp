// Shot preparation: the grid of a shot, its points on the grid, and points
// in the air sinking onto the model.
#include "run/KelvoApp.h"
#include "test_model_helpers.h"

// The sides of a cube as x0 x1 y0 y1 z0 z1.
static std::vector<double> Box(const CCubeR& c) { return {c.x0, c.x1, c.y0, c.y1, c.z0, c.z1}; }

using PrepTest = ModelTestDir;

TEST_F(PrepTest, GridOfAShot) {
  const int F = 38;
  m_calc.m_fH = 10;
  m_calc.m_fDt = 0.001;
  m_calc.m_nFrame = F;
  m_calc.m_cubeModel = CCubeR(0, 0, 0, 1000, 1000, 1000);
  WriteFile("survey.txt", "500 500 0 600 500 0\n500 500 0 700 500 0\n");
  ASSERT_EQ(m_app.m_Survey.LoadSurvey("survey.txt", false), 0);
  auto prepare = [&] { return m_calc.PrepareSource(1, m_app.m_Survey, false); };
  ASSERT_EQ(prepare(), 0);
  // 1000 m at 10 m: 101 points and the frame on both sides.
  EXPECT_EQ(C3DPointN(m_calc.m_nNx, m_calc.m_nNy, m_calc.m_nNz), C3DPointN(101 + 2 * F, 101 + 2 * F, 101 + 2 * F));
  EXPECT_EQ(Box(m_calc.m_cubeGrid), Box(CCubeR(-380, -380, -380, 1380, 1380, 1380)));
  EXPECT_EQ(m_calc.m_nSeisLen, (size_t)501);
  ASSERT_EQ(m_calc.m_vShotPoints.size(), 1u);
  EXPECT_EQ(m_calc.m_vShotPoints[0].nIndex, m_calc.Idx(50 + F, 50 + F, F));
  EXPECT_EQ(m_calc.m_vRcvIdx, (std::vector<size_t>{m_calc.Idx(60 + F, 50 + F, F), m_calc.Idx(70 + F, 50 + F, F)}));
  EXPECT_EQ(m_calc.m_nTraces, 2);
  // The active region starts one point around the shot.
  EXPECT_EQ(std::vector<int>({m_calc.m_nActiveX0, m_calc.m_nActiveX1, m_calc.m_nActiveY0, m_calc.m_nActiveY1}),
            std::vector<int>({49 + F, 51 + F, 49 + F, 51 + F}));
  for (const char* m : {"Shot Position    (X,Y,Z): (500, 500, 0), 2 receivers.",
                        "             0 |          1000 |            10 |  x-dimension"})
    EXPECT_TRUE(LogHas(m)) << m;

  // A step that does not divide the model: the grid snaps down to whole steps.
  m_calc.m_fH = 30;
  ASSERT_EQ(prepare(), 0);
  EXPECT_EQ(m_calc.m_nNx, 34 + 2 * F);
  // A margin cuts the grid to the survey widened by it; depth from the model.
  m_calc.m_fH = 10;
  m_calc.m_fMargin = 100;
  ASSERT_EQ(prepare(), 0);
  EXPECT_EQ(Box(m_calc.m_cubeSim), Box(CCubeR(400, 400, 0, 800, 600, 1000)));
  EXPECT_TRUE(LogHas("Simulation Cube  (X,Y,Z): {400..800, 400..600, 0..1000}"));
}

TEST_F(PrepTest, PointsInAirSinkOntoFirstMediumCell) {
  // 12 x 10 x 14 grid, frame 2; air above plane 5, deeper (plane 8) in
  // column x = 7; column x = 9 entirely void.
  m_calc.SetGrid(12, 10, 14, 10, 2);
  ASSERT_EQ(m_calc.AllocateMemory(false, true), 0);
  for (int z = 0; z < 14; z++)
    for (int y = 0; y < 10; y++)
      for (int x = 0; x < 12; x++)
        m_calc.m_pK[m_calc.Idx(x, y, z)] = (z >= (x == 7 ? 8 : 5) && x != 9) ? 1500.0f : 0.0f;
  m_calc.m_nShot = 3;
  auto pt = [](int x, int y, int z) { return C3DPointR((x - 2) * 10.0, (y - 2) * 10.0, (z - 2) * 10.0); };
  auto addShot = [&](int x, int y, int z) {
    m_calc.m_vShotPoints.push_back(C3DShotPoint{m_calc.Idx(x, y, z), 0});
    m_calc.m_vExcitePoints.push_back(pt(x, y, z));
    m_calc.m_ptShot = pt(x, y, z);
  };
  auto addReceiver = [&](int x, int y, int z, int id) {
    m_calc.m_vRcvIdx.push_back(m_calc.Idx(x, y, z));
    m_calc.m_vReceivers.push_back(pt(x, y, z));
    m_calc.m_vRcvInline.push_back(id);
    m_calc.m_vRcvCrossline.push_back(id + 100);
    m_calc.m_vRcvTraceId.push_back(id + 200);
    m_calc.m_vRcvFileId.push_back(-1);
  };
  addShot(9, 4, 2); // no medium below: this excitation point is dropped
  addShot(4, 4, 2);
  addReceiver(3, 4, 2, 1); // sinks to plane 5
  addReceiver(9, 4, 2, 2); // void column: dropped
  addReceiver(7, 4, 2, 3); // sinks to plane 8
  addReceiver(5, 4, 6, 4); // already in the medium
  ASSERT_EQ(m_calc.ValidateSurveyGeometryShared(), 0);
  ASSERT_EQ(m_calc.m_vShotPoints.size(), 1u);
  EXPECT_EQ(m_calc.m_vShotPoints[0].nIndex, m_calc.Idx(4, 4, 5));
  EXPECT_DOUBLE_EQ(m_calc.m_ptShot.z, 30);
  ASSERT_EQ(m_calc.m_nTraces, 3);
  EXPECT_EQ(m_calc.m_vRcvIdx, (std::vector<size_t>{m_calc.Idx(3, 4, 5), m_calc.Idx(7, 4, 8), m_calc.Idx(5, 4, 6)}));
  EXPECT_DOUBLE_EQ(m_calc.m_vReceivers[1].z, 60);
  // Header lists follow their receivers.
  EXPECT_EQ(m_calc.m_vRcvInline, (std::vector<int>{1, 3, 4}));
  EXPECT_EQ(m_calc.m_vRcvCrossline, (std::vector<int>{101, 103, 104}));
  EXPECT_EQ(m_calc.m_vRcvTraceId, (std::vector<int>{201, 203, 204}));

  // A shot with no medium below any of its points stops the shot.
  m_calc.m_vShotPoints.clear();
  m_calc.m_vExcitePoints.clear();
  addShot(9, 4, 2);
  EXPECT_EQ(m_calc.ValidateSurveyGeometryShared(), -103);
  EXPECT_TRUE(LogHas("Error! No suitable depth position for shot #3 (70, 20)."));
}
