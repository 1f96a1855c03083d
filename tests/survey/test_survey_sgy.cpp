// A SEG-Y file, written by another library, as the survey: shot points from
// the trace headers with their scalers, shot ids, and the receivers of each
// shot taken from the same file.
#include <cmath>
#include <set>

#include "seisfile/ScratchDir.h"
#include "seisfile/SegyTestFile.h"
#include "survey/Survey3D.h"

#ifdef KELVO_HAVE_SEGYIO

namespace {

// A trace of shot (sx, sy, depth sz) to receiver (gx, gy, depth gz), metres;
// coordinates in centimetres (scalar -100), elevations in decimetres (-10).
STestTrace Trace(double sx, double sy, double sz, double gx, double gy, double gz, int nShotId, int nTrace) {
  STestTrace t;
  t.scalco = -100;
  t.scalel = -10;
  t.sx = (int32_t)std::lround(sx * 100), t.sy = (int32_t)std::lround(sy * 100);
  t.gx = (int32_t)std::lround(gx * 100), t.gy = (int32_t)std::lround(gy * 100);
  t.selev = (int32_t)std::lround(-sz * 10), t.gelev = (int32_t)std::lround(-gz * 10);
  t.energySource = nShotId;
  t.fieldRecord = 7;
  t.traceNo = nTrace;
  t.iline = 1000 + nTrace;
  t.xline = 2000 + nTrace;
  t.samples.assign(8, 0.0f);
  return t;
}

// Three shots of two receivers each, the traces of shot 2 split around
// those of shot 3.
std::vector<STestTrace> ThreeShots(int id1 = 101, int id2 = 102, int id3 = 103) {
  return {Trace(100.25, 200, 5, 300, 200, 2.5, id1, 1), Trace(100.25, 200, 5, 320, 210, 0, id1, 2),
          Trace(150.5, 200, 5, 300, 200, 2.5, id2, 3),  Trace(180, 240.75, 0, 350, 200, 0, id3, 4),
          Trace(180, 240.75, 0, 360, 200, 0, id3, 5),   Trace(150.5, 200, 5, 400, 260, 1, id2, 6)};
}

class SurveySgyTest : public ScratchDirTest {
protected:
  int Load(const std::vector<STestTrace>& traces, bool bUseShotId = false) {
    EXPECT_TRUE(segyio_write("survey.sgy", 1, false, 8, 1000, traces));
    m_s.m_bUseShotId = bUseShotId;
    return m_s.LoadSurvey("survey.sgy", false);
  }
  CSurvey3D m_s;
};

} // namespace

TEST_F(SurveySgyTest, ShotPointsIdsAndScalersFromTraceHeaders) {
  ASSERT_EQ(0, Load(ThreeShots()));
  EXPECT_TRUE(m_s.m_bFromSgy);
  EXPECT_FALSE(m_s.m_bMomentTensors);
  // Elevations are turned into depths.
  const std::vector<C3DPointR> expect = {{100.25, 200, 5}, {150.5, 200, 5}, {180, 240.75, 0}};
  ASSERT_EQ(expect.size(), m_s.m_vShots.size());
  for (size_t i = 0; i < expect.size(); i++) {
    EXPECT_NEAR(expect[i].x, m_s.m_vShots[i].x, 1e-4) << i;
    EXPECT_NEAR(expect[i].y, m_s.m_vShots[i].y, 1e-4) << i;
    EXPECT_NEAR(expect[i].z, m_s.m_vShots[i].z, 1e-4) << i;
  }
  EXPECT_EQ(std::vector<int>({101, 102, 103}), m_s.m_vShotIds);
  EXPECT_EQ(1, m_s.GetMinShot());
  EXPECT_EQ(3, m_s.GetMaxShot());
}

TEST_F(SurveySgyTest, ActiveShotTakesItsTracesWithHeaderNumbers) {
  ASSERT_EQ(0, Load(ThreeShots()));
  ASSERT_EQ(0, m_s.SetActiveShot(2));
  EXPECT_EQ(102, m_s.GetActiveShotId());
  ASSERT_EQ(2u, m_s.m_vReceivers.size());
  EXPECT_NEAR(300, m_s.m_vReceivers[0].x, 1e-4);
  EXPECT_NEAR(2.5, m_s.m_vReceivers[0].z, 1e-4);
  EXPECT_NEAR(260, m_s.m_vReceivers[1].y, 1e-4);
  EXPECT_EQ(std::vector<int>({1003, 1006}), m_s.m_vRcvInline);
  EXPECT_EQ(std::vector<int>({2003, 2006}), m_s.m_vRcvCrossline);
  EXPECT_EQ(std::vector<int>({3, 6}), m_s.m_vRcvTraceId);
  EXPECT_EQ(std::vector<int>({7, 7}), m_s.m_vRcvFileId);
  ASSERT_EQ(1u, m_s.m_vExcitePoints.size());
  // The zone: the shot at depth 0 and the receivers.
  const CCubeR c = m_s.GetObsZone();
  EXPECT_NEAR(150.5, c.x0, 1e-4);
  EXPECT_NEAR(400, c.x1, 1e-4);
  EXPECT_NEAR(0, c.z0, 1e-4);
  EXPECT_NEAR(2.5, c.z1, 1e-4);

  // All receivers of the survey, each once, without line numbers.
  ASSERT_EQ(0, m_s.SetActiveShot(-1));
  EXPECT_EQ(5u, m_s.m_vReceivers.size());
  EXPECT_EQ(std::set<int>({0}), std::set<int>(m_s.m_vRcvInline.begin(), m_s.m_vRcvInline.end()));

  // Shot ids in force number the shots.
  m_s.m_bUseShotId = true;
  ASSERT_EQ(0, m_s.SetActiveShot(103));
  EXPECT_EQ(std::vector<int>({1004, 1005}), m_s.m_vRcvInline);
  EXPECT_EQ(-35, m_s.SetActiveShot(3));
}

TEST_F(SurveySgyTest, ShotIdsAndDistinctPointsTable) {
  const struct {
    const char* szCase;
    std::vector<STestTrace> traces;
    size_t nShots;
    std::vector<int> ids;
  } cases[] = {
      {"a repeated id cancels all ids", ThreeShots(101, 102, 101), 3, {}},
      {"a repeated id on the last shot too", ThreeShots(101, 101, 103), 3, {}},
      {"one centimetre apart are two shots",
       {Trace(100, 0, 0, 10, 0, 0, 1, 1), Trace(100.01, 0, 0, 10, 0, 0, 2, 2), Trace(100, 0, 0, 20, 0, 0, 1, 3)},
       2,
       {1, 2}},
      {"dead traces do not make shots",
       [] {
         std::vector<STestTrace> v = {Trace(1, 0, 0, 10, 0, 0, 1, 1), Trace(2, 0, 0, 10, 0, 0, 2, 2),
                                      Trace(3, 0, 0, 10, 0, 0, 3, 3)};
         v[1].traceId = 2;
         return v;
       }(),
       2,
       {1, 3}},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(0, Load(c.traces)) << c.szCase;
    EXPECT_EQ(c.nShots, m_s.m_vShots.size()) << c.szCase;
    EXPECT_EQ(c.ids, m_s.m_vShotIds) << c.szCase;
  }
  EXPECT_TRUE(LogHas("Duplicate shot point number found in survey file survey.sgy. Shot point IDs will be ignored."));
}

TEST_F(SurveySgyTest, FilesWithoutLiveTracesAreRefused) {
  std::vector<STestTrace> dead = ThreeShots();
  for (STestTrace& t : dead)
    t.traceId = 2;
  EXPECT_EQ(1, Load(dead));
  EXPECT_EQ(1, Load({}));
  EXPECT_TRUE(m_s.m_vShots.empty());
}

#endif
