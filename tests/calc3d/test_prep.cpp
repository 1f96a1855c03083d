// Shot preparation: grid of a shot, excitation points and receivers on the
// grid, sinking through void, run-wide checks, names of output files.
#include "run/KelvoApp.h"
#include "seisfile/SdsPC.h"
#include "test_model_helpers.h"

// The sides of a cube as x0 x1 y0 y1 z0 z1.
static std::vector<double> Box(const CCubeR& c) { return {c.x0, c.x1, c.y0, c.y1, c.z0, c.z1}; }

class PrepTest : public ModelTestDir {
protected:
  void SetUp() override {
    ModelTestDir::SetUp();
    m_calc.m_fH = 10;
    m_calc.m_fDt = 0.001;
    m_calc.m_nFrame = 38;
    m_calc.m_cubeModel = CCubeR(0, 0, 0, 1000, 1000, 1000);
  }
  // Loads a survey text into the application's store.
  void LoadSurvey(const std::string& text, bool bUseShotId = false) {
    WriteFile("survey.txt", text);
    m_app.m_Survey.m_bUseShotId = bUseShotId;
    ASSERT_EQ(m_app.m_Survey.LoadSurvey("survey.txt", false), 0);
  }
  int Prepare(int nShot = 1) { return m_calc.PrepareSource(nShot, m_app.m_Survey, false); }
  // The active region as x0 x1 y0 y1.
  std::vector<int> Active() const {
    return {m_calc.m_nActiveX0, m_calc.m_nActiveX1, m_calc.m_nActiveY0, m_calc.m_nActiveY1};
  }
  static const int F = 38;
};

TEST_F(PrepTest, GridOfWholeModelAtTenMetres) {
  LoadSurvey("500 500 0 600 500 0\n500 500 0 700 500 0\n");
  ASSERT_EQ(Prepare(), 0);
  EXPECT_EQ(C3DPointN(m_calc.m_nNx, m_calc.m_nNy, m_calc.m_nNz), C3DPointN(101 + 2 * F, 101 + 2 * F, 101 + 2 * F));
  EXPECT_EQ(Box(m_calc.m_cubeSim), Box(CCubeR(0, 0, 0, 1000, 1000, 1000)));
  EXPECT_EQ(Box(m_calc.m_cubeGrid), Box(CCubeR(-380, -380, -380, 1380, 1380, 1380)));
  EXPECT_DOUBLE_EQ(m_calc.m_fT1, 1.0);
  EXPECT_EQ(m_calc.m_nSeisLen, (size_t)501);
  ASSERT_EQ(m_calc.m_vShotPoints.size(), 1u);
  EXPECT_EQ(m_calc.m_vShotPoints[0].nIndex, m_calc.Idx(50 + F, 50 + F, F));
  EXPECT_EQ(m_calc.m_vShotPoints[0].nFlags, 0);
  EXPECT_EQ(m_calc.m_vRcvIdx, (std::vector<size_t>{m_calc.Idx(60 + F, 50 + F, F), m_calc.Idx(70 + F, 50 + F, F)}));
  EXPECT_EQ(m_calc.m_vRcvInline.size(), 2u);
  EXPECT_EQ(m_calc.m_vRcvTraceId.size(), 2u);
  EXPECT_EQ(m_calc.m_nTraces, 2);
  EXPECT_EQ(Active(), (std::vector<int>{49 + F, 51 + F, 49 + F, 51 + F})) << "one point around the shot";
  for (const char* m : {"Shot Position    (X,Y,Z): (500, 500, 0), 2 receivers.",
                        "Model Cube       (X,Y,Z): {0..1000, 0..1000, 0..1000}",
                        "             0 |          1000 |            10 |  x-dimension"})
    EXPECT_TRUE(LogHas(m)) << m;
  EXPECT_FALSE(LogHas("Margin"));

  // A step that does not divide the model: the grid snaps down to whole steps.
  m_calc.m_fH = 30;
  ASSERT_EQ(Prepare(), 0);
  EXPECT_EQ(m_calc.m_nNx, 34 + 2 * F);
  EXPECT_EQ(Box(m_calc.m_cubeSim), Box(CCubeR(0, 0, 0, 990, 990, 990)));

  // A margin cuts the grid to the survey widened by it; depth from the model.
  m_calc.m_fH = 10;
  m_calc.m_fMargin = 100;
  ASSERT_EQ(Prepare(), 0);
  EXPECT_EQ(Box(m_calc.m_cubeSim), Box(CCubeR(400, 400, 0, 800, 600, 1000)));
  EXPECT_EQ(m_calc.m_nNx, 41 + 2 * F);
  EXPECT_TRUE(LogHas("Margin                  : 100 m"));
  EXPECT_TRUE(LogHas("Simulation Cube  (X,Y,Z): {400..800, 400..600, 0..1000}"));
  // A survey away from the model leaves nothing to compute.
  LoadSurvey("5000 500 0 5100 500 0\n");
  EXPECT_EQ(Prepare(), -30);
  EXPECT_TRUE(LogHas("Error! Empty intersection between the model cube and the acquisition survey."));
}

TEST_F(PrepTest, ShotOutsideIsSkippedReceiversOutsideAreDropped) {
  LoadSurvey("1500 500 0 600 500 0\n500 500 0 600 500 0\n500 500 0 1200 500 0\n500 500 0 1004 500 0\n"
             "600 500 0 1200 500 0\n");
  EXPECT_EQ(Prepare(1), -31);
  EXPECT_TRUE(LogHas("Warning! Shot #1 (1500,500,0) is outside computation zone [0..1000,0..1000,0..1000]."));
  EXPECT_TRUE(LogHas("Shot Point #1 skipped."));
  // The next shot of the same object goes through; 1004 rounds to the point
  // one past the last one, which is tolerated.
  ASSERT_EQ(Prepare(2), 0);
  EXPECT_EQ(m_calc.m_vReceivers.size(), 2u);
  EXPECT_DOUBLE_EQ(m_calc.m_vReceivers[1].x, 1004);
  EXPECT_EQ(Prepare(3), -32);
  EXPECT_TRUE(LogHas("Error! Shot #3 (600,500,0) no receivers in the computation zone "
                     "[0..1000,0..1000,0..1000]. Receivers zone: [1200..1200,500..500,0..0]."));
}

TEST_F(PrepTest, ParameterChecks) {
  LoadSurvey("500 500 0 600 500 0\n");
  EXPECT_EQ(Prepare(2), -102);
  EXPECT_TRUE(LogHas("Error! Unable to initialize Shot #2. Shots are in range 1..1."));
  m_calc.m_fH = 0;
  EXPECT_EQ(Prepare(), -100);
  m_calc.m_fH = 10;
  m_calc.m_fDt = -1;
  EXPECT_EQ(Prepare(), -101);
  m_calc.m_fDt = 0.001;
  m_app.m_t1 = 0;
  EXPECT_EQ(Prepare(), -104);
  EXPECT_TRUE(LogHas("Error! Incorrect shotgather record range (t=0..0) specified!"));
}

TEST_F(PrepTest, ExcitationPointsInOneCellCountOnce) {
  // Shot id 7 with three excitation points, two of them 2 m apart.
  LoadSurvey("500 500 0 600 500 0 1 1 7\n502 500 0 600 510 0 1 2 7\n300 400 100 600 520 0 1 3 7\n", true);
  m_calc.m_nSurfType = 1;
  ASSERT_EQ(Prepare(7), 0);
  ASSERT_EQ(m_calc.m_vShotPoints.size(), 2u);
  EXPECT_EQ(m_calc.m_vExcitePoints.size(), 2u);
  EXPECT_EQ(m_calc.m_vShotPoints[1].nIndex, m_calc.Idx(30 + F, 40 + F, 10 + F));
  EXPECT_EQ(m_calc.m_vShotPoints[0].nFlags, 1);
  EXPECT_TRUE(LogHas("Points of excitement    : 2"));
  EXPECT_EQ(Active(), (std::vector<int>{29 + F, 51 + F, 39 + F, 51 + F})) << "spans both points";
}

#ifdef KELVO_HAVE_SEGYIO
TEST_F(PrepTest, ModelCubeTakenFromVelocityFileOnce) {
  ASSERT_TRUE(WriteSegyModel("vp.sgy", 11, 6, 21, 100, 200, 10, [](int, int, int) { return 2000.0f; }));
  LoadSurvey("150 220 0 180 220 0\n");
  m_calc.m_cubeModel.SetEmpty();
  m_calc.m_cubeModel.z1 = 150; // a side given by the task stays
  m_app.m_strModelPW = "vp.sgy";
  ASSERT_EQ(Prepare(), 0);
  EXPECT_EQ(Box(m_calc.m_cubeModel), Box(CCubeR(100, 200, 0, 200, 250, 150)));
  EXPECT_EQ(m_calc.m_nNx, 11 + 76);
  EXPECT_EQ(m_calc.m_nNz, 16 + 76);
}
#endif

// ---- sinking points out of the void -------------------------------------

class SinkTest : public ModelTestDir {
protected:
  // 12 x 10 x 14 grid, frame 2; void (air) above plane 5, deeper (plane 8)
  // in column x = 7; column x = 9 entirely void.
  void SetUp() override {
    ModelTestDir::SetUp();
    m_calc.SetGrid(12, 10, 14, 10, 2);
    ASSERT_EQ(m_calc.AllocateMemory(false, true), 0);
    for (int z = 0; z < 14; z++)
      for (int y = 0; y < 10; y++)
        for (int x = 0; x < 12; x++) {
          const int top = x == 7 ? 8 : 5;
          m_calc.m_pK[m_calc.Idx(x, y, z)] = (z >= top && x != 9) ? 1500.0f : 0.0f;
        }
    m_calc.m_nShot = 3;
  }
  // A point on grid node (x, y, z) with real coordinates.
  C3DPointR Pt(int x, int y, int z) { return C3DPointR((x - 2) * 10.0, (y - 2) * 10.0, (z - 2) * 10.0); }
  void AddShot(int x, int y, int z) {
    m_calc.m_vShotPoints.push_back(C3DShotPoint{m_calc.Idx(x, y, z), 0});
    m_calc.m_vExcitePoints.push_back(Pt(x, y, z));
  }
  void Clear() {
    m_calc.m_vShotPoints.clear();
    m_calc.m_vExcitePoints.clear();
    m_calc.m_vRcvIdx.clear();
    m_calc.m_vReceivers.clear();
    m_calc.m_vRcvInline.clear();
    m_calc.m_vRcvCrossline.clear();
    m_calc.m_vRcvTraceId.clear();
    m_calc.m_vRcvFileId.clear();
  }
  void AddReceiver(int x, int y, int z, int id) {
    m_calc.m_vRcvIdx.push_back(m_calc.Idx(x, y, z));
    m_calc.m_vReceivers.push_back(Pt(x, y, z));
    m_calc.m_vRcvInline.push_back(id);
    m_calc.m_vRcvCrossline.push_back(id + 100);
    m_calc.m_vRcvTraceId.push_back(id + 200);
    m_calc.m_vRcvFileId.push_back(-1);
  }
};

TEST_F(SinkTest, PointsInAirSinkOntoFirstMediumCell) {
  AddShot(4, 4, 2);
  m_calc.m_ptShot = Pt(4, 4, 2);
  AddReceiver(3, 4, 2, 1); // sinks to plane 5
  AddReceiver(9, 4, 2, 2); // void column: dropped
  AddReceiver(7, 4, 2, 3); // sinks to plane 8
  AddReceiver(5, 4, 6, 4); // already in the medium
  ASSERT_EQ(m_calc.ValidateSurveyGeometryShared(), 0);
  ASSERT_EQ(m_calc.m_vShotPoints.size(), 1u);
  EXPECT_EQ(m_calc.m_vShotPoints[0].nIndex, m_calc.Idx(4, 4, 5));
  EXPECT_DOUBLE_EQ(m_calc.m_vExcitePoints[0].z, 30);
  EXPECT_DOUBLE_EQ(m_calc.m_ptShot.z, 30);
  ASSERT_EQ(m_calc.m_nTraces, 3);
  EXPECT_EQ(m_calc.m_vRcvIdx[0], m_calc.Idx(3, 4, 5));
  EXPECT_EQ(m_calc.m_vRcvIdx[1], m_calc.Idx(7, 4, 8));
  EXPECT_DOUBLE_EQ(m_calc.m_vReceivers[1].z, 60);
  EXPECT_EQ(m_calc.m_vRcvIdx[2], m_calc.Idx(5, 4, 6));
  // Header lists follow their receivers.
  EXPECT_EQ(m_calc.m_vRcvInline, (std::vector<int>{1, 3, 4}));
  EXPECT_EQ(m_calc.m_vRcvCrossline, (std::vector<int>{101, 103, 104}));
  EXPECT_EQ(m_calc.m_vRcvTraceId, (std::vector<int>{201, 203, 204}));
}

TEST_F(SinkTest, ShotPointsOrReceiversWithoutMediumAndInconsistentLists) {
  AddShot(9, 4, 2); // void column: no medium below the shot
  m_calc.m_ptShot = Pt(9, 4, 2);
  AddReceiver(3, 4, 6, 1);
  EXPECT_EQ(m_calc.ValidateSurveyGeometryShared(), -103);
  EXPECT_TRUE(LogHas("Error! No suitable depth position for shot #3 (70, 20)."));
  // One of several excitation points: only that one is dropped.
  Clear();
  AddShot(9, 4, 2);
  AddShot(3, 3, 2);
  m_calc.m_ptShot = Pt(3, 3, 2);
  AddReceiver(3, 4, 6, 1);
  ASSERT_EQ(m_calc.ValidateSurveyGeometryShared(), 0);
  ASSERT_EQ(m_calc.m_vShotPoints.size(), 1u);
  EXPECT_EQ(m_calc.m_vShotPoints[0].nIndex, m_calc.Idx(3, 3, 5));
  EXPECT_DOUBLE_EQ(m_calc.m_ptShot.z, 30);

  Clear();
  AddShot(3, 3, 6);
  AddReceiver(9, 4, 2, 1);
  EXPECT_EQ(m_calc.ValidateSurveyGeometryShared(), -30);
  EXPECT_TRUE(LogHas("Error! All traces are outside the model. Shot Point #3"));

  Clear();
  AddShot(3, 3, 6);
  AddReceiver(3, 4, 6, 1);
  m_calc.m_vRcvFileId.clear();
  EXPECT_EQ(m_calc.ValidateSurveyGeometryShared(), -200);
  EXPECT_TRUE(LogHas("wrong trace count => 1!=1!=1!=1!=1!=0"));
}

TEST_F(SinkTest, TracePointValidation) {
  // User area: 0..70 in x, 0..50 in y, 0..90 in z.
  C3DPointR p = Pt(3, 4, 2);
  EXPECT_EQ(m_calc.ValidateTracePoint(p), 0);
  EXPECT_DOUBLE_EQ(p.z, 30);
  C3DPointR below = Pt(3, 4, 12);
  EXPECT_EQ(m_calc.ValidateTracePoint(below), -2);
  C3DPointR side = Pt(11, 4, 6);
  EXPECT_EQ(m_calc.ValidateTracePoint(side), -1);
  C3DPointR hole = Pt(9, 4, 6); // void column: walks out of the area
  EXPECT_EQ(m_calc.ValidateTracePoint(hole), -2);
}

// ---- names, checks, areas ---------------------------------------------------

TEST_F(ModelTestDir, OutputFileNames) {
  m_app.m_strModelPW = "/data/models/vel.v2.sgy";
  m_app.m_nMethod = 101;
  m_calc.m_nShot = 12;
  m_calc.m_nSourceType = 0;
  EXPECT_STREQ(m_calc.GetFileName(0, 'Z', false, false, 0), "vel.v2+Gath3DAPUz-12.sgy");
  EXPECT_STREQ(m_calc.GetFileName(0, 'C', true, false, 0), "vel.v2+Gath3DAPUc-%d.sgy");
  EXPECT_STREQ(m_calc.GetFileName(0, 'X', true, true, 0), "vel.v2+Gath3DAPUx.sgy");
  EXPECT_STREQ(m_calc.GetFileName(1, ' ', false, false, 0), "vel.v2+Snap3DAPU-12.zpl");
  EXPECT_STREQ(m_calc.GetFileName(3, 'P', false, false, 0.25), "vel.v2+3DSnap3DAPUP(t=0.25)-12.sgy");
  EXPECT_STREQ(m_calc.GetFileName(2, ' ', false, false, 1), "vel.v2+Time3DAPU(MaxDiv)-12.sgy");
  m_calc.m_bTimeMerge = false;
  m_calc.m_ptShot = C3DPointR(100.4, 200.6, -3.5);
  EXPECT_STREQ(m_calc.GetFileName(2, ' ', false, false, 0), "vel.v2+Time3DAPU(MaxEnergy)_100_201_-4.sgy");
  m_app.m_nMethod = 102;
  m_calc.m_nSourceType = 3;
  m_app.m_strOutputDir = "out/";
  m_app.m_strModelPW = "C:\\models\\m";
  EXPECT_STREQ(m_calc.GetFileName(0, 'Y', false, false, 0), "out/m+Gath3DEPZy-12.sgy");
  m_app.m_nMethod = 104;
  m_app.m_strModelPW = "";
  m_calc.m_nSourceType = 9;
  EXPECT_STREQ(m_calc.GetFileName(7, 'Q', false, false, 0), "out/Model+Unknown3DNPUQ-12.sgy");
}

TEST_F(ModelTestDir, RecoverySkipsShotsWithAllFourGathers) {
  m_app.m_strModelPW = "vel.sgy";
  EXPECT_EQ(m_calc.IsCalcNeeded(4), 1); // recovery off
  m_app.m_bRecovery = true;
  for (const char* c : {"x", "y", "z"})
    WriteFile(std::string("vel+Gath3DAPU") + c + "-4.sgy", "x");
  EXPECT_EQ(m_calc.IsCalcNeeded(4), 1);
  WriteFile("vel+Gath3DAPUc-4.sgy", "x");
  EXPECT_EQ(m_calc.IsCalcNeeded(4), 0);
  EXPECT_TRUE(LogHas("Shot Point #4 is already calculated - skipped."));
  EXPECT_EQ(m_calc.IsCalcNeeded(5), 1);
}

TEST_F(ModelTestDir, CommonValidationOfTheRun) {
  m_app.m_nMethod = 101;
  m_calc.m_fH = 0.5;
  m_app.m_dt = 0.0005;
  m_calc.m_Signal.m_fFrequency = 25;
  ASSERT_EQ(m_calc.ValidateCommon(), 0);
  // The built-in pulse of an acoustic invisible-surface run is a hard source.
  EXPECT_EQ(m_calc.m_nSourceType, 7);
  EXPECT_EQ(CSdsPC::COOR_SCALER, -100);
  EXPECT_EQ(CSdsPC::ELEV_SCALER, -100);
  for (const char* m : {"Signal Frequency:            25", "Surface Type:                Invisible",
                        "Output SEG-Y Coord. Scaler:  -100", "Generate Time Field:         No"})
    EXPECT_TRUE(LogHas(m)) << m;

  m_calc.m_nSourceType = 8;
  m_calc.m_fK13 = 1;
  EXPECT_EQ(m_calc.ValidateCommon(), -108);
  EXPECT_TRUE(LogHas("Double Couple Axis:          X-Z"));
  EXPECT_TRUE(LogHas("Error! Acoustic simulation dies not support double couple shot points."));
  m_calc.m_nSourceType = 5;
  EXPECT_EQ(m_calc.ValidateCommon(), -108);
  EXPECT_TRUE(LogHas("Error! Acoustic simulation dies not support specified source direction(5)."));

  m_app.m_nMethod = 102;
  m_calc.m_nSourceType = 0;
  m_calc.m_bSuppressSV = true;
  m_calc.m_fH = 10;
  m_app.m_dt = 0.002;
  m_calc.m_nTimeFieldType = 3;
  m_calc.m_fTimeDx = m_calc.m_fTimeDy = m_calc.m_fTimeDz = 20;
  ASSERT_EQ(m_calc.ValidateCommon(), 0);
  EXPECT_FALSE(m_calc.m_bSuppressSV);
  EXPECT_EQ(m_calc.m_nSourceType, 0);
  EXPECT_EQ(CSdsPC::COOR_SCALER, 1);
  EXPECT_TRUE(LogHas("Suppress Source S-Wave:      Off"));
  EXPECT_TRUE(LogHas("Generate Time Field:         Yes (20,20,20): max energy, max divergence"));
}

TEST_F(ModelTestDir, UserAreaAndDepthSlabs) {
  m_calc.SetGrid(50, 40, 100, 10, 5);
  m_calc.m_nStart = 2;
  m_calc.m_bPML = false;
  EXPECT_EQ(Box(m_calc.GetRealUserArea()), Box(CCubeR(0, 0, 0, 390, 290, 890)));
  const CCubeN s = m_calc.GetSampleUserArea();
  EXPECT_EQ(C3DPointN(s.x0, s.y0, s.z0), C3DPointN(5, 5, 5));
  EXPECT_EQ(C3DPointN(s.x1, s.y1, s.z1), C3DPointN(44, 34, 94));
  ASSERT_EQ(m_calc.InitDecomposition(), 0);
  EXPECT_EQ(m_calc.m_nNzAll, 100);
  EXPECT_EQ(m_calc.m_nZ1, 99);

  // 100 planes over 3 processes with 2 planes of overlap.
  const int z0[] = {0, 32, 65}, z1[] = {35, 68, 99}, nz[] = {36, 37, 35};
  m_app.m_nGroupSize = 3;
  for (int r = 0; r < 3; r++) {
    m_calc.SetGrid(50, 40, 100, 10, 5);
    m_app.m_nGroupRank = r;
    ASSERT_EQ(m_calc.InitDecomposition(), 0);
    EXPECT_EQ(C3DPointN(m_calc.m_nZ0, m_calc.m_nZ1, m_calc.m_nNz), C3DPointN(z0[r], z1[r], nz[r])) << r;
    EXPECT_EQ(m_calc.m_nNzAll, 100);
    EXPECT_DOUBLE_EQ(m_calc.m_cubeGrid.z0, -50 + z0[r] * 10.0) << r;
    const CCubeR area = m_calc.GetRealUserArea();
    const CCubeN samples = m_calc.GetSampleUserArea();
    if (r == 1) {
      EXPECT_DOUBLE_EQ(area.z0, m_calc.m_cubeGrid.z0 + 20);
      EXPECT_DOUBLE_EQ(area.z1, m_calc.m_cubeGrid.z1 - 20);
      EXPECT_EQ(samples.z0, 2);
      EXPECT_EQ(samples.z1, nz[r] - 3);
    }
  }
}

TEST_F(ModelTestDir, SnapshotPlanesOfAShot) {
  m_calc.SetGrid(50, 40, 100, 10, 5);
  m_calc.m_nShot = 2;
  m_calc.m_vSnap3DShots = {1, 3};
  m_calc.m_vSnap3DTimes = {0.1};
  strcpy(m_calc.m_szSnap3DComponents, "P");
  m_calc.m_fSnap3DDz = 25;
  ASSERT_EQ(m_calc.Init3DSnapshots(), 0);
  EXPECT_FALSE(m_calc.m_bSnap3DActive);
  m_calc.m_vSnap3DShots = {0};
  ASSERT_EQ(m_calc.Init3DSnapshots(), 0);
  EXPECT_TRUE(m_calc.m_bSnap3DActive);
  EXPECT_EQ(m_calc.m_nSnap3DNz, (int)(90 * 10 / 25.0));
  m_calc.m_fSnap3DDz = 1; // raised to the grid step
  m_calc.Init3DSnapshots();
  EXPECT_DOUBLE_EQ(m_calc.m_fSnap3DDz, 10);
  EXPECT_EQ(m_calc.m_nSnap3DNz, 90);
}
