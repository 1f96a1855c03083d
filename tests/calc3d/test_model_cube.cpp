// Model files written without receiver coordinates, and model cubes that
// end above the depth a shot asks for, through the whole preparation of a
// shot: PrepareSource, the grid and the model built on it.
#include <algorithm>

#include "test_model_helpers.h"

#ifdef KELVO_HAVE_SEGYIO

namespace {

const int NX = 11, NY = 7, NZ = 11, F = 3;
const double X0 = 1000, Y0 = 2000, H = 10;

// Where a test model keeps the positions of its traces.
enum EPositions { BY_RECEIVER, BY_CDP, BY_LINES, BY_NOTHING };

// An NX x NY model at step H from (X0, Y0), value(x, y, z) in grid indices;
// nz samples at the given interval. Line numbers start at inline 5 (along
// y) and crossline 20 (along x); CDP values carry a scaler of -10.
bool WriteModel(const std::string& path, EPositions where, const std::function<float(int, int, int)>& value,
                int nIntervalUs = 10000, int nz = NZ) {
  std::vector<STestTrace> traces;
  for (int y = 0; y < NY; y++)
    for (int x = 0; x < NX; x++) {
      STestTrace t;
      const int px = (int)(X0 + x * H), py = (int)(Y0 + y * H);
      if (where == BY_RECEIVER) {
        t.sx = t.gx = px;
        t.sy = t.gy = py;
      } else if (where == BY_CDP) {
        t.scalco = -10;
        t.cdpx = px * 10;
        t.cdpy = py * 10;
      } else if (where == BY_LINES) {
        t.iline = 5 + y;
        t.xline = 20 + x;
      }
      for (int z = 0; z < nz; z++)
        t.samples.push_back(value(x, y, z));
      traces.push_back(t);
    }
  return segyio_write(path, 1, false, nz, nIntervalUs, traces);
}

float Vp(int x, int y, int z) { return 1500.0f + 100 * z + 10 * y + x; }
float Rho(int x, int y, int z) { return 1800.0f + 20 * z + 3 * y + x; }

std::vector<double> Box(const CCubeR& c) { return {c.x0, c.x1, c.y0, c.y1, c.z0, c.z1}; }

size_t Count(const std::string& text, const std::string& s) {
  size_t n = 0;
  for (size_t i = text.find(s); i != std::string::npos; i = text.find(s, i + 1))
    n++;
  return n;
}

} // namespace

// An acoustic job over the test model: shot at (1050, 2030, 0), one
// receiver; the job's model cube fixes only X0 and Y0.
class ModelCubeTest : public ModelTestDir {
protected:
  void SetUp() override {
    ModelTestDir::SetUp();
    m_app.m_nMethod = 101;
    m_app.m_nSmoothModel = 0;
    m_calc.m_fH = H;
    m_calc.m_fDt = 0.001;
    m_calc.m_nFrame = F;
    m_calc.m_bPML = false;
    WriteFile("survey.txt", "1050 2030 0 1060 2030 0\n");
    ASSERT_EQ(m_app.m_Survey.LoadSurvey("survey.txt", false), 0);
  }

  // Prepares shot 1 over the files vp and rho and builds its model; the
  // first failing status, or 0.
  int Prepare(const std::string& vp, const std::string& rho, double fMargin = 0, double fZ1 = UNSET_VALUE) {
    m_app.m_strModelPW = vp.c_str();
    m_app.m_strModelD = rho.c_str();
    m_calc.m_cubeModel = CCubeR();
    m_calc.m_cubeModel.x0 = X0;
    m_calc.m_cubeModel.y0 = Y0;
    m_calc.m_cubeModel.z1 = fZ1;
    m_calc.m_fMargin = fMargin;
    int rc = m_calc.PrepareSource(1, m_app.m_Survey, false);
    if (rc == 0)
      rc = m_calc.InitDecomposition();
    if (rc == 0)
      rc = m_calc.AllocateMemory(false, true);
    if (rc == 0)
      rc = m_calc.InitModel();
    return rc;
  }

  // The log written since the last call.
  std::string NewLog() {
    const std::string log = Log();
    const std::string s = log.substr(std::min(m_nLogSeen, log.size()));
    m_nLogSeen = log.size();
    return s;
  }

  size_t m_nLogSeen = 0;
};

TEST_F(ModelCubeTest, CdpAndLineNumbersPlaceTracesLikeReceiverCoordinates) {
  ASSERT_TRUE(WriteModel("vp.sgy", BY_RECEIVER, Vp));
  ASSERT_TRUE(WriteModel("rho.sgy", BY_RECEIVER, Rho));
  ASSERT_EQ(Prepare("vp.sgy", "rho.sgy"), 0) << Log();
  // The reference: the model's own extent, whole steps, frame around it.
  ASSERT_EQ(Box(m_calc.m_cubeModel), Box(CCubeR(X0, Y0, 0, X0 + 100, Y0 + 60, 100)));
  ASSERT_EQ(C3DPointN(m_calc.m_nNx, m_calc.m_nNy, m_calc.m_nNz), C3DPointN(NX + 2 * F, NY + 2 * F, NZ + 2 * F));
  const size_t n = m_calc.GetCubeSize();
  const std::vector<float> K(m_calc.m_pK, m_calc.m_pK + n), B(m_calc.m_pB, m_calc.m_pB + n);
  NewLog();

  const std::string strLines = "has no coordinates: its traces are placed by their inline and crossline numbers "
                               "(bytes 189-192/193-196) as x = 1000 + (crossline - 20) * 10, y = 2000 + (inline - 5) "
                               "* 10.";
  const std::string strCdp = "has no receiver coordinates (bytes 81-84/85-88): its traces are placed by their "
                             "CDP X/Y (bytes 181-184/185-188, scaler bytes 71-72).";
  const struct {
    EPositions vp, rho;
    const char* szVp; // tail of the warning for the P-velocity file; null: none
    const char* szRho;
  } cases[] = {
      {BY_CDP, BY_CDP, strCdp.c_str(), strCdp.c_str()},
      {BY_LINES, BY_LINES, strLines.c_str(), strLines.c_str()},
      // Components placed differently still agree.
      {BY_RECEIVER, BY_LINES, nullptr, strLines.c_str()},
  };
  for (const auto& c : cases) {
    const std::string vp = "vp" + std::to_string(c.vp) + std::to_string(c.rho) + ".sgy";
    const std::string rho = "rho" + std::to_string(c.vp) + std::to_string(c.rho) + ".sgy";
    ASSERT_TRUE(WriteModel(vp, c.vp, Vp));
    ASSERT_TRUE(WriteModel(rho, c.rho, Rho));
    // Two shots over the same files: each file is described once.
    for (int nShot = 0; nShot < 2; nShot++) {
      ASSERT_EQ(Prepare(vp, rho), 0) << vp << Log();
      EXPECT_EQ(Box(m_calc.m_cubeModel), Box(CCubeR(X0, Y0, 0, X0 + 100, Y0 + 60, 100))) << vp;
      ASSERT_EQ(m_calc.GetCubeSize(), n) << vp;
      EXPECT_TRUE(std::equal(K.begin(), K.end(), m_calc.m_pK)) << vp;
      EXPECT_TRUE(std::equal(B.begin(), B.end(), m_calc.m_pB)) << vp;
    }
    const std::string log = NewLog();
    const std::string strVp = "Warning! P-Wave Velocity model file '" + vp + "' ";
    EXPECT_EQ(Count(log, strVp + (c.szVp ? c.szVp : "")), c.szVp ? 1u : 0u) << log;
    EXPECT_EQ(Count(log, "Warning! Density model file '" + rho + "' " + c.szRho), 1u) << log;
  }
}

TEST_F(ModelCubeTest, ModelWithoutPositionsIsRefusedForEveryComponent) {
  ASSERT_TRUE(WriteModel("vp.sgy", BY_RECEIVER, Vp));
  ASSERT_TRUE(WriteModel("none.sgy", BY_NOTHING, Rho));
  const std::string strBytes = ": all its 77 traces stand at one point (0, 0). Trace positions are read from the "
                               "receiver X/Y (trace header bytes 81-84/85-88, scaler bytes 71-72), else from the "
                               "CDP X/Y (bytes 181-184/185-188, same scaler), else from the inline/crossline numbers "
                               "(bytes 189-192/193-196).";
  EXPECT_EQ(Prepare("none.sgy", "vp.sgy"), CALC_NO_FILE);
  EXPECT_TRUE(LogHas("Error! P-Wave Velocity model file 'none.sgy' has no usable coordinates" + strBytes)) << Log();
  // A density file without positions stops the shot before its computation.
  EXPECT_EQ(Prepare("vp.sgy", "none.sgy"), CALC_NO_FILE);
  EXPECT_TRUE(LogHas("Error! Density model file 'none.sgy' has no usable coordinates" + strBytes)) << Log();
}

TEST_F(ModelCubeTest, ExtentIsPrintedAndADepthCutIsReported) {
  // A 21-sample model at 10 m written with the 4000 of a 4 ms time axis
  // reads as 80 m deep; with 10000 it reaches 200 m.
  const std::string strCut = "Warning! Shot #1: the simulation cube is cut short by the model's depth: the survey "
                             "reaches 0 m, with the margin 100 m, the model cube ends at 80 m.";
  const std::string strZ1 = "Warning! Shot #1: P-Wave Velocity model file 'vp4000-0-200.sgy' ends at 80 m, above "
                            "the bottom of the simulation cube at 200 m; the cube below it gets no values from this "
                            "file.";
  const struct {
    int nInterval;
    double fMargin, fZ1;
    std::string strWarning; // empty: no warning
  } cases[] = {
      {4000, 100, UNSET_VALUE, strCut},
      {10000, 100, UNSET_VALUE, ""},
      {4000, 0, 200, strZ1},
      {10000, 0, 200, ""},
  };
  for (const auto& c : cases) {
    const std::string vp = "vp" + std::to_string(c.nInterval) + "-" + std::to_string((int)c.fMargin) + "-" +
                           std::to_string((int)std::max(c.fZ1, 0.0)) + ".sgy";
    ASSERT_TRUE(WriteModel(vp, BY_RECEIVER, Vp, c.nInterval, 21));
    ASSERT_EQ(Prepare(vp, "", c.fMargin, c.fZ1), 0) << vp << Log();
    const std::string log = NewLog();
    const std::string strExtent =
        "P-Wave Velocity model file '" + vp + "': 77 traces, x 1000..1100 m, y 2000..2060 " +
        (c.nInterval == 4000 ? "m, z 0..80 m, depth step 4 m." : "m, z 0..200 m, depth step 10 m.");
    EXPECT_NE(log.find(strExtent), std::string::npos) << log;
    if (c.strWarning.empty())
      EXPECT_EQ(log.find("Warning!"), std::string::npos) << log;
    else
      EXPECT_NE(log.find(c.strWarning), std::string::npos) << log;
  }
}

#endif // KELVO_HAVE_SEGYIO
