// The shaped models of the example-job generator: the layering on each side
// of its fault, its salt body, and the cubes written with them as another
// SEG-Y reader sees them.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "../../tools/ExampleModel.h"
#include "seisfile/ScratchDir.h"
#include "seisfile/SegyTestFile.h"

namespace {

// Layers of 1500, 2000 and 2500 m/s with bases at 100 and 200 m; a fault from
// x = 200 dipping at 45 degrees, so that it lies at x = 200 + z, with a throw
// of 50 m; salt centred at (100, 100, 250), 40 m wide and 20 m high.
void MakeModel(CExampleJob& job, CModelShapes& sh) {
  job.m_vLayers = {CExampleJob::CLayer{100, 1500}, CExampleJob::CLayer{200, 2000}, CExampleJob::CLayer{1e30, 2500}};
  job.m_vQ = {30, 60, 90};
  job.m_fX1 = 400, job.m_fY1 = 200, job.m_fZ1 = 300, job.m_fModelStep = 10;
  sh.m_bFault = true, sh.m_fFaultX = 200, sh.m_fFaultDip = 45, sh.m_fFaultThrow = 50;
  sh.m_bSalt = true, sh.m_fSaltX = 100, sh.m_fSaltY = 100, sh.m_fSaltZ = 250, sh.m_fSaltR = 40, sh.m_fSaltH = 20;
}

TEST(ExampleModel, TheHangingWallIsThrownDownAndTheSaltReplacesTheRock) {
  CExampleJob job;
  CModelShapes sh;
  MakeModel(job, sh);
  const double gardner2500 = 310.0 * std::pow(2500.0, 0.25);
  struct {
    double x, y, z;
    int nComponent;
    double fValue;
    const char* szWhat;
  } cases[] = {
      {310, 50, 120, EXAMPLE_VP, 2000, "footwall, left of the fault at 120 m"},
      {330, 50, 120, EXAMPLE_VP, 1500, "hanging wall, right of it: the first layer reaches 150 m"},
      {330, 50, 120, EXAMPLE_Q, 30, "hanging wall: Q of the first layer"},
      {450, 150, 240, EXAMPLE_VP, 2000, "hanging wall: the second layer reaches 250 m"},
      {250, 150, 160, EXAMPLE_VP, 2000, "footwall below the first base"},
      {100, 100, 250, EXAMPLE_VP, 4500, "salt centre"},
      {139, 100, 250, EXAMPLE_VP, 4500, "salt, inside its rim in x"},
      {100, 100, 250, EXAMPLE_DENSITY, 2150, "salt density"},
      {100, 100, 250, EXAMPLE_Q, 200, "salt Q"},
      {100, 100, 250, EXAMPLE_VS, 4500 / std::sqrt(3.0), "salt S velocity"},
      {100, 141, 250, EXAMPLE_VP, 2500, "beside the salt in y"},
      {100, 100, 271, EXAMPLE_VP, 2500, "below the salt"},
      {100, 100, 271, EXAMPLE_DENSITY, gardner2500, "density below the salt"},
  };
  for (const auto& c : cases)
    EXPECT_NEAR(c.fValue, ShapedValue(job, sh, c.nComponent, c.x, c.y, c.z), 1e-6 * c.fValue) << c.szWhat;
}

TEST(ExampleModel, CubesHoldTheShapedModelAtTheirTracePositions) {
#ifndef KELVO_HAVE_SEGYIO
  GTEST_SKIP() << "segyio not available";
#endif
  CScratchDir dir;
  CExampleJob job;
  CModelShapes sh;
  MakeModel(job, sh);
  job.m_strDir = dir.Root().c_str();
  job.m_bDensity = job.m_bQ = true;
  ASSERT_EQ(0, job.Write());
  ASSERT_EQ(0, WriteShapedModel(job, sh));
  const struct {
    const char* szFile;
    int nComponent;
  } cubes[] = {{"vp.sgy", EXAMPLE_VP}, {"density.sgy", EXAMPLE_DENSITY}, {"q.sgy", EXAMPLE_Q}};
  const int nx = 41, ny = 21, nz = 31;
  for (const auto& c : cubes) {
    const CSegyTestFile f = CSegyTestFile::Read(dir.Path(c.szFile));
    ASSERT_TRUE(f.m_bOk) << c.szFile;
    ASSERT_EQ(nx * ny, f.m_nTraces) << c.szFile;
    ASSERT_EQ(nz, f.m_nSamples) << c.szFile;
    int nWrong = 0;
    for (int t = 0; t < f.m_nTraces; t++) {
      const double x = f.Field(t, SEGY_TR_GROUP_X), y = f.Field(t, SEGY_TR_GROUP_Y);
      EXPECT_EQ(10 * (t % nx), x) << c.szFile << " trace " << t;
      EXPECT_EQ(10 * (t / nx), y) << c.szFile << " trace " << t;
      for (int k = 0; k < nz; k++) {
        const double v = ShapedValue(job, sh, c.nComponent, x, y, 10.0 * k);
        nWrong += std::fabs(f.m_vData[t][k] - v) > 1e-4 * v;
      }
    }
    EXPECT_EQ(0, nWrong) << c.szFile << ": samples that differ from the model";
  }
}

} // namespace
