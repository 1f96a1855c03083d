// Whole jobs: an example job is generated, the kelvo program runs in its
// directory, and the files it leaves are read with an independent reader.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "output/ExampleJob.h"
#include "run/run_test_util.h"
#include "seisfile/SegyTestFile.h"

namespace {

const char kComponents[] = {'x', 'y', 'z', 'c'};
using Gather = std::vector<std::vector<float>>;

class OutputJobTest : public KelvoJobTest {
protected:
  // The gather of a component: merged, or of one shot.
  std::string GatherFile(char c, int nShot = 0, const std::string& dir = "") const {
    return (dir.empty() ? m_dir.Root() : dir) + "/vp+Gath3DAPU" + c + (nShot ? "-" + std::to_string(nShot) : "") +
           ".sgy";
  }
};

TEST_F(OutputJobTest, GathersTimeFieldsSnapshotsAndARecoveredRunThroughASpillFile) {
  // Four shots small enough to take a second or two each.
  CExampleJob job;
  job.m_strDir = m_dir.Root().c_str();
  job.m_fX1 = 160, job.m_fY1 = 160, job.m_fZ1 = 120;
  job.m_vLayers = {CExampleJob::CLayer{60, 1500}, CExampleJob::CLayer{1e30, 2000}};
  job.m_nShots = 4, job.m_nReceivers = 9;
  job.m_t1 = 0.06, job.m_tdt = 0.002, job.m_fFrequency = 30;
  job.m_nThreads = 2;
  job.m_nTimeFieldType = 3, job.m_fTimeStep = 20;
  job.m_strSnap3DTimes = "0.03 0.05", job.m_strSnap3DComponents = "CZ", job.m_fSnap3DStep = 20;
  ASSERT_EQ(0, job.Write());
  std::string out;
  ASSERT_EQ(0, RunKelvo(m_dir.Root(), out)) << out;

  CSegyTestFile f; // the pressure, last of the components
  for (char c : kComponents) {
    f = CSegyTestFile::Read(GatherFile(c));
    ASSERT_TRUE(f.m_bOk) << c;
    ASSERT_EQ(36, f.m_nTraces) << c;
    EXPECT_EQ(31, f.m_nSamples) << c;
    EXPECT_FLOAT_EQ(2000.0f, f.m_fDtUs) << c;
    EXPECT_FALSE(file_exists(GatherFile(c, 1))) << c << ": the merge removes the per-shot files";
    for (int t = 0; t < f.m_nTraces; t++) {
      const int s = t / 9 + 1, r = t % 9;
      const C3DPointR S = job.ShotPosition(s), R = job.ReceiverPosition(0, r);
      EXPECT_EQ(t + 1, f.Field(t, SEGY_TR_SEQ_LINE));
      EXPECT_EQ(100 + s, f.Field(t, SEGY_TR_ENERGY_SOURCE_POINT)) << t;
      EXPECT_EQ(1, f.Field(t, SEGY_TR_INLINE)) << t;
      EXPECT_EQ(r + 1, f.Field(t, SEGY_TR_CROSSLINE)) << t;
      EXPECT_EQ(1, f.Field(t, SEGY_TR_SOURCE_GROUP_SCALAR));
      EXPECT_EQ((int)std::floor(S.x + 0.5), f.Field(t, SEGY_TR_SOURCE_X)) << t;
      EXPECT_EQ((int)std::floor(S.y + 0.5), f.Field(t, SEGY_TR_SOURCE_Y)) << t;
      EXPECT_EQ((int)std::floor(R.x + 0.5), f.Field(t, SEGY_TR_GROUP_X)) << t;
      EXPECT_EQ((int)std::floor(R.y + 0.5), f.Field(t, SEGY_TR_GROUP_Y)) << t;
      EXPECT_EQ(-20, f.Field(t, SEGY_TR_RECV_GROUP_ELEV)) << t;
    }
  }
  // The pressure shows the wave, and the first two shots differ.
  const Gather shot1(f.m_vData.begin(), f.m_vData.begin() + 9), shot2(f.m_vData.begin() + 9, f.m_vData.begin() + 18);
  EXPECT_NE(Gather(9, std::vector<float>(31, 0.0f)), shot1);
  EXPECT_NE(shot1, shot2);

  // Time fields of all shots merged: 160 x 160 x 120 m at 20 m gives 9 x 9
  // columns of 7 samples per shot.
  for (const char* szType : {"MaxEnergy", "MaxDiv"}) {
    const std::string name = m_dir.Root() + "/vp+Time3DAPU(" + szType + ")";
    EXPECT_FALSE(file_exists(name + "-1.sgy")) << szType;
    CSegyTestFile tf = CSegyTestFile::Read(name + ".sgy");
    ASSERT_TRUE(tf.m_bOk) << szType;
    ASSERT_EQ(4 * 81, tf.m_nTraces) << szType;
    ASSERT_EQ(7, tf.m_nSamples) << szType;
    for (int t = 0; t < tf.m_nTraces; t++) {
      EXPECT_EQ(t / 81 + 1, tf.Field(t, SEGY_TR_ENERGY_SOURCE_POINT)) << t;
      EXPECT_EQ(20 * (t % 9), tf.Field(t, SEGY_TR_GROUP_X)) << t;
      EXPECT_EQ(20 * (t % 81 / 9), tf.Field(t, SEGY_TR_GROUP_Y)) << t;
    }
    // At shot depth (sample 1), mid y (row 4): the column of the first and
    // of the last shot is reached before one 80 m further in.
    for (int s : {1, 4}) {
      const int x = (int)std::lround(job.ShotPosition(s).x / 20), t = (s - 1) * 81 + 36 + x;
      EXPECT_GT(tf.m_vData[t][1], 0.0f) << szType << " shot " << s;
      EXPECT_LT(tf.m_vData[t][1], tf.m_vData[t + (x < 4 ? 4 : -4)][1]) << szType << " shot " << s;
    }
  }
  // 3-D snapshots of 8 x 8 columns of 6 samples: the wave is there and moves
  // on between the two times; the components differ.
  Gather previous(64, std::vector<float>(6, 0.0f));
  for (const std::string name : {"c(t=0.03)", "c(t=0.05)", "z(t=0.05)"}) {
    CSegyTestFile sf = CSegyTestFile::Read(m_dir.Path("vp+3DSnap3DAPU" + name + "-2.sgy"));
    ASSERT_EQ(64, sf.m_nTraces) << name;
    ASSERT_EQ(6, sf.m_nSamples) << name;
    EXPECT_NE(previous, sf.m_vData) << name;
    previous = sf.m_vData;
  }

  // The same job with its gathers kept in a spill file, stopped after shot 2
  // of 4 and restarted with recovery: only shots 3 and 4 are computed, and
  // the merged gathers are identical.
  CExampleJob spill = job;
  const std::string dir = m_dir.Path("spill");
  spill.m_strDir = dir.c_str();
  spill.m_bBigSeismogram = true;
  spill.m_nTimeFieldType = 0, spill.m_strSnap3DTimes = "";
  spill.m_bMerge = false, spill.m_nFirstPoint = 1, spill.m_nLastPoint = 2;
  ASSERT_EQ(0, spill.Write());
  ASSERT_EQ(0, RunKelvo(dir, out)) << out;
  EXPECT_NE(std::string::npos, out.find("Seismogram (n)=(9)")) << "the spill file holds one row\n" << out;
  spill.m_bMerge = spill.m_bRecovery = true;
  spill.m_nFirstPoint = spill.m_nLastPoint = 0;
  ASSERT_EQ(0, spill.WriteTask());
  ASSERT_EQ(0, RunKelvo(dir, out)) << out;
  for (int s = 1; s <= 4; s++) {
    const std::string msg = "Shot Point #" + std::to_string(s) + " is already calculated";
    EXPECT_EQ(s <= 2, out.find(s <= 2 ? msg + " - skipped." : msg) != std::string::npos) << s << "\n" << out;
  }
  for (char c : kComponents)
    EXPECT_TRUE(read_text(GatherFile(c)) == read_text(GatherFile(c, 0, dir))) << "component " << c << " differs";
  EXPECT_FALSE(file_exists(dir + "/BigSeis-0(1).bin")) << "spill files are removed";
  EXPECT_FALSE(file_exists(dir + "/BigSeis-0(3).bin"));
}

} // namespace
