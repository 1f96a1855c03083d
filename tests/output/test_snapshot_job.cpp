// Whole jobs with 2-D and 3-D snapshots at the same times: every frame of the
// vertical section (read here from the raw bytes of its file) equals the
// section of the 3-D cube through the shot (read with segyio).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "output/ExampleJob.h"
#include "run/run_test_util.h"
#include "seisfile/SegyTestFile.h"

namespace {

// One section of a ZPL file as its header lays it out.
struct SZplSection {
  int n1 = 0, n2 = 0, n3 = 0, nc = 0, nSections = 0, nIndex = 0;
  float x0 = 0, dx = 0, z0 = 0, dz = 0, xs = 0, t0 = 0, t1 = 0;
  std::string comps;
  std::vector<float> data; // component fastest, then x, z, frame
  float At(int frame, int comp, int i, int j) const { return data[(((size_t)frame * n2 + j) * n1 + i) * nc + comp]; }
};

template <class T> T field(const std::string& raw, size_t at) {
  T v;
  memcpy(&v, raw.data() + at, sizeof(T));
  return v;
}

std::vector<SZplSection> read_zpl(const std::string& path) {
  const std::string raw = read_text(path);
  std::vector<SZplSection> v;
  for (size_t pos = 0; pos + 296 <= raw.size();) {
    SZplSection s;
    s.x0 = field<float>(raw, pos + 132), s.dx = field<float>(raw, pos + 140), s.xs = field<float>(raw, pos + 144);
    s.z0 = field<float>(raw, pos + 148), s.dz = field<float>(raw, pos + 156);
    s.t0 = field<float>(raw, pos + 164), s.t1 = field<float>(raw, pos + 168);
    s.n1 = field<int32_t>(raw, pos + 196), s.n2 = field<int32_t>(raw, pos + 200), s.n3 = field<int32_t>(raw, pos + 204);
    s.nSections = field<int32_t>(raw, pos + 236), s.nIndex = field<int32_t>(raw, pos + 240);
    s.nc = field<int32_t>(raw, pos + 244);
    s.comps.assign(raw.data() + pos + 252, std::min(s.nc, 8));
    const size_t n = (size_t)s.nc * s.n1 * s.n2 * s.n3;
    if (pos + 296 + 4 * n > raw.size())
      break;
    s.data.resize(n);
    memcpy(s.data.data(), raw.data() + pos + 296, 4 * n);
    pos += 296 + 4 * n;
    v.push_back(s);
  }
  return v;
}

struct SJobCase {
  const char* szMethod;
  const char* szTag; // method letter of the file names
};

class SnapshotJob : public KelvoJobTest, public ::testing::WithParamInterface<SJobCase> {};

TEST_P(SnapshotJob, EachFrameIsTheVerticalSectionOfTheCubeAtItsTime) {
  const SJobCase c = GetParam();
  CExampleJob job;
  job.m_strDir = m_dir.Root().c_str();
  job.m_strMethod = c.szMethod;
  job.m_bVs = job.m_bDensity = std::string(c.szTag) == "E";
  job.m_fX1 = 120, job.m_fY1 = 100, job.m_fZ1 = 80;
  job.m_vLayers = {CExampleJob::CLayer{40, 1500}, CExampleJob::CLayer{1e30, 2000}};
  job.m_nShots = 2, job.m_nReceivers = 5;
  job.m_t1 = 0.04, job.m_tdt = 0.002, job.m_fFrequency = 30;
  job.m_nThreads = 2;
  // Times between two steps, so that both kinds are taken at the same step.
  job.m_strSnap3DTimes = "0.0205 0.0355", job.m_strSnap3DComponents = "ZXYC";
  ASSERT_EQ(0, job.Write());
  write_text(m_dir.Path("runtask.ini"),
             read_text(m_dir.Path("runtask.ini")) + "\n[Snapshot]\nEvery=1\nt0=0.0205\ndt=0.015\n");
  std::string out;
  ASSERT_EQ(0, RunKelvo(m_dir.Root(), out)) << out;

  const std::string base = m_dir.Path(std::string("vp+"));
  const std::vector<SZplSection> sections = read_zpl(base + "Snap3D" + c.szTag + "PU.zpl");
  ASSERT_EQ(2u, sections.size()) << "one section a shot";
  const char* szTimes[2] = {"0.0205", "0.0355"};
  for (int s = 0; s < 2; s++) {
    const SZplSection& z = sections[s];
    const C3DPointR shot = job.ShotPosition(s + 1);
    EXPECT_EQ(2, z.nSections);
    EXPECT_EQ(s, z.nIndex);
    EXPECT_EQ("ZXYC", z.comps);
    EXPECT_FLOAT_EQ((float)shot.x, z.xs);
    ASSERT_EQ(2, z.n3) << "two frames";
    EXPECT_FLOAT_EQ(0.0205f, z.t0);
    EXPECT_FLOAT_EQ(0.0355f, z.t1);
    EXPECT_FLOAT_EQ(10.0f, z.dx);
    EXPECT_FLOAT_EQ(10.0f, z.dz);
    for (int f = 0; f < 2; f++) {
      for (int k = 0; k < 4; k++) {
        const char cComp = (char)tolower(z.comps[k]);
        const std::string cubeName =
            base + "3DSnap3D" + c.szTag + "PU" + cComp + "(t=" + szTimes[f] + ")-" + std::to_string(s + 1) + ".sgy";
        CSegyTestFile cube = CSegyTestFile::Read(cubeName);
        ASSERT_TRUE(cube.m_bOk) << cubeName;
        ASSERT_EQ(z.n2, cube.m_nSamples) << cubeName;
        // The columns of the cube in the plane of the shot, by their x.
        int nFound = 0;
        float fMax = 0, fDiff = 0;
        for (int t = 0; t < cube.m_nTraces; t++) {
          if (cube.Field(t, SEGY_TR_GROUP_Y) != (int)std::lround(shot.y))
            continue;
          const double fi = (cube.Field(t, SEGY_TR_GROUP_X) - z.x0) / z.dx;
          const int i = (int)std::lround(fi);
          ASSERT_NEAR(fi, i, 1e-6);
          ASSERT_TRUE(i >= 0 && i < z.n1) << cubeName << " trace " << t;
          nFound++;
          for (int j = 0; j < z.n2; j++) {
            fMax = std::max(fMax, std::fabs(cube.m_vData[t][j]));
            fDiff = std::max(fDiff, std::fabs(cube.m_vData[t][j] - z.At(f, k, i, j)));
          }
        }
        EXPECT_EQ(z.n1, nFound) << cubeName;
        EXPECT_GT(fMax, 0.0f) << cubeName << ": the wave is there";
        // The cube is stored as IBM floats: at worst 2^-20 of the largest value.
        EXPECT_LE(fDiff, fMax * 1e-6f) << cubeName;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Methods, SnapshotJob,
                         ::testing::Values(SJobCase{"3D Acoustic", "A"}, SJobCase{"3D Elastic", "E"}),
                         [](const ::testing::TestParamInfo<SJobCase>& i) { return std::string(i.param.szTag); });

} // namespace
