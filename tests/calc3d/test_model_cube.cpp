// Model files written without receiver coordinates, and model cubes that
// end above the depth a shot asks for, through the whole preparation of a
// shot: PrepareSource, the grid and the model built on it.
#include <algorithm>

#include "test_model_helpers.h"

#ifdef KELVO_HAVE_SEGYIO

namespace {

const int NX = 11, NY = 7, F = 3;
enum EPositions { BY_RECEIVER, BY_CDP, BY_LINES, BY_NOTHING };

// An NX x NY model at 10 m from (1000, 2000), nz samples; value(x, y, z) in
// grid indices. Inline numbers run along y from 5, crosslines along x from
// 20; CDP values carry a scaler of -10.
bool WriteModel(const std::string& path, EPositions where, int nz = 11, int nIntervalUs = 10000) {
  std::vector<STestTrace> traces;
  for (int y = 0; y < NY; y++)
    for (int x = 0; x < NX; x++) {
      STestTrace t;
      const int px = 1000 + 10 * x, py = 2000 + 10 * y;
      if (where == BY_RECEIVER)
        t.sx = t.gx = px, t.sy = t.gy = py;
      if (where == BY_CDP)
        t.scalco = -10, t.cdpx = px * 10, t.cdpy = py * 10;
      if (where == BY_LINES)
        t.iline = 5 + y, t.xline = 20 + x;
      for (int z = 0; z < nz; z++)
        t.samples.push_back(1500.0f + 100 * z + 10 * y + x);
      traces.push_back(t);
    }
  return segyio_write(path, 1, false, nz, nIntervalUs, traces);
}

std::vector<double> Box(const CCubeR& c) { return {c.x0, c.x1, c.y0, c.y1, c.z0, c.z1}; }

} // namespace

// An acoustic job with the shot at (1050, 2030, 0); the job's model cube
// fixes X0 = 1000 and Y0 = 2000.
class ModelCubeTest : public ModelTestDir {
protected:
  void SetUp() override {
    ModelTestDir::SetUp();
    m_calc.m_Set.m_nMethod = 101;
    m_calc.m_fH = 10;
    m_calc.m_fDt = 0.001;
    m_calc.m_nFrame = F;
    m_calc.m_bPML = false;
    WriteFile("survey.txt", "1050 2030 0 1060 2030 0\n");
    ASSERT_EQ(m_app.m_Survey.LoadSurvey("survey.txt", false), 0);
  }

  // Prepares shot 1 over the velocity and density files and builds its
  // model: the first failing status, or 0. The log since the last call
  // goes to m_strLog.
  int Prepare(const std::string& vp, const std::string& rho, double fMargin = 0, double fZ1 = UNSET_VALUE) {
    m_calc.m_Set.m_strModelPW = vp.c_str();
    m_calc.m_Set.m_strModelD = rho.c_str();
    m_calc.m_cubeModel = CCubeR();
    m_calc.m_cubeModel.x0 = 1000;
    m_calc.m_cubeModel.y0 = 2000;
    m_calc.m_cubeModel.z1 = fZ1;
    m_calc.m_fMargin = fMargin;
    int rc = m_calc.PrepareSource(1, m_app.m_Survey, false);
    if (rc == 0)
      rc = m_calc.InitDecomposition();
    if (rc == 0)
      rc = m_calc.AllocateMemory(false, true);
    if (rc == 0)
      rc = m_calc.InitModel();
    const std::string log = Log();
    m_strLog = log.substr(std::min(m_nLogSeen, log.size()));
    m_nLogSeen = log.size();
    return rc;
  }

  size_t m_nLogSeen = 0;
  std::string m_strLog;
};

TEST_F(ModelCubeTest, CdpAndLineNumbersPlaceTracesLikeReceiverCoordinates) {
  ASSERT_TRUE(WriteModel("vp.sgy", BY_RECEIVER));
  ASSERT_EQ(Prepare("vp.sgy", "vp.sgy"), 0) << Log();
  ASSERT_EQ(Box(m_calc.m_cubeModel), Box(CCubeR(1000, 2000, 0, 1100, 2060, 100)));
  ASSERT_EQ(C3DPointN(m_calc.m_nNx, m_calc.m_nNy, m_calc.m_nNz), C3DPointN(NX + 2 * F, NY + 2 * F, 11 + 2 * F));
  const size_t n = m_calc.GetCubeSize();
  const std::vector<float> K(m_calc.m_pK, m_calc.m_pK + n), B(m_calc.m_pB, m_calc.m_pB + n);

  const std::string strCdp = "has no receiver coordinates (bytes 81-84/85-88): its traces are placed by their CDP "
                             "X/Y (bytes 181-184/185-188, scaler bytes 71-72).";
  const std::string strLines = "has no coordinates: its traces are placed by their inline and crossline numbers "
                               "(bytes 189-192/193-196) as x = 1000 + (crossline - 20) * 10, y = 2000 + (inline - 5) "
                               "* 10.";
  // Velocity and density placed alike, and differently: the components agree.
  const struct {
    EPositions vp, rho;
    std::string strVp, strRho; // tail of each file's warning; empty: none
  } cases[] = {{BY_CDP, BY_CDP, strCdp, strCdp},
               {BY_LINES, BY_LINES, strLines, strLines},
               {BY_RECEIVER, BY_LINES, "", strLines}};
  for (const auto& c : cases) {
    const std::string vp = "vp" + std::to_string(c.vp) + std::to_string(c.rho) + ".sgy";
    const std::string rho = "rho" + std::to_string(c.vp) + std::to_string(c.rho) + ".sgy";
    ASSERT_TRUE(WriteModel(vp, c.vp) && WriteModel(rho, c.rho));
    std::string strLog;
    for (int nShot = 0; nShot < 2; nShot++) { // each file is described once
      ASSERT_EQ(Prepare(vp, rho), 0) << vp << Log();
      strLog += m_strLog;
      EXPECT_EQ(Box(m_calc.m_cubeModel), Box(CCubeR(1000, 2000, 0, 1100, 2060, 100))) << vp;
      ASSERT_EQ(m_calc.GetCubeSize(), n) << vp;
      EXPECT_TRUE(std::equal(K.begin(), K.end(), m_calc.m_pK) && std::equal(B.begin(), B.end(), m_calc.m_pB)) << vp;
    }
    const std::pair<std::string, std::string> warnings[] = {
        {"Warning! P-Wave Velocity model file '" + vp + "' ", c.strVp},
        {"Warning! Density model file '" + rho + "' ", c.strRho}};
    for (const auto& w : warnings) {
      const size_t i = strLog.find(w.first + w.second);
      EXPECT_EQ(i != std::string::npos, !w.second.empty()) << w.first << strLog;
      EXPECT_EQ(strLog.find(w.first, i == std::string::npos ? 0 : i + 1), std::string::npos) << w.first << strLog;
    }
  }
  // Either component without usable positions stops the shot.
  ASSERT_TRUE(WriteModel("none.sgy", BY_NOTHING));
  EXPECT_EQ(Prepare("vp.sgy", "none.sgy"), CALC_NO_FILE);
  EXPECT_NE(m_strLog.find("Error! Density model file 'none.sgy' has no usable coordinates: all its 77 traces stand at "
                          "one point (0, 0). Trace positions are read from the receiver X/Y (trace header bytes "
                          "81-84/85-88, scaler bytes 71-72), else from the CDP X/Y (bytes 181-184/185-188, same "
                          "scaler), else from the inline/crossline numbers (bytes 189-192/193-196)."),
            std::string::npos)
      << m_strLog;
}

TEST_F(ModelCubeTest, ExtentIsPrintedAndADepthCutIsReported) {
  // 21 samples at 10 m written with the 4000 of a 4 ms time axis read as a
  // model 80 m deep; with 10000 it reaches 200 m.
  const struct {
    int nInterval;
    double fMargin, fZ1;
    std::string strWarning; // empty: no warning
  } cases[] = {
      {4000, 100, UNSET_VALUE,
       "Shot #1: the simulation cube is cut short by the model's depth: the survey reaches 0 m, with the margin 100 "
       "m, the model cube ends at 80 m."},
      {4000, 0, 200,
       "Shot #1: P-Wave Velocity model file 'vp1.sgy' ends at 80 m, above the bottom of the simulation cube at 200 m; "
       "the cube below it gets no values from this file."},
      {10000, 0, 200, ""},
  };
  for (size_t i = 0; i < 3; i++) {
    const auto& c = cases[i];
    const std::string vp = "vp" + std::to_string(i) + ".sgy";
    ASSERT_TRUE(WriteModel(vp, BY_RECEIVER, 21, c.nInterval));
    ASSERT_EQ(Prepare(vp, "", c.fMargin, c.fZ1), 0) << vp << Log();
    const std::string strExtent =
        "P-Wave Velocity model file '" + vp + "': 77 traces, x 1000..1100 m, y 2000..2060 " +
        (c.nInterval == 4000 ? "m, z 0..80 m, depth step 4 m." : "m, z 0..200 m, depth step 10 m.");
    EXPECT_NE(m_strLog.find(strExtent), std::string::npos) << m_strLog;
    EXPECT_EQ(m_strLog.find("Warning! " + c.strWarning) != std::string::npos, !c.strWarning.empty()) << m_strLog;
  }
}

#endif // KELVO_HAVE_SEGYIO
