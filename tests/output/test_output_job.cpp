// Whole jobs: an example job is generated, the kelvo program runs in its
// directory, and the gathers it leaves are read with an independent reader.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "output/ExampleJob.h"
#include "seisfile/ScratchDir.h"
#include "seisfile/SegyTestFile.h"

namespace {

const char kComponents[] = {'x', 'y', 'z', 'c'};

class OutputJobTest : public ::testing::Test {
protected:
  void SetUp() override {
#ifndef KELVO_HAVE_SEGYIO
    GTEST_SKIP() << "segyio not available";
#endif
    if (!file_exists(KELVO_BINARY))
      GTEST_SKIP() << "kelvo program not built";
  }

  // A job small enough to take a second or two per shot.
  static CExampleJob SmallJob(const std::string& dir, int nShots) {
    CExampleJob job;
    job.m_strDir = dir.c_str();
    job.m_fX1 = 160;
    job.m_fY1 = 160;
    job.m_fZ1 = 120;
    job.m_vLayers = {CExampleJob::CLayer{60, 1500}, CExampleJob::CLayer{1e30, 2000}};
    job.m_nShots = nShots;
    job.m_nReceivers = 9;
    job.m_t1 = 0.06;
    job.m_tdt = 0.002;
    job.m_fFrequency = 30;
    job.m_nThreads = 2;
    return job;
  }

  // Runs kelvo in `dir`; returns its exit status, the console text in `out`.
  static int RunKelvo(const std::string& dir, std::string& out) {
    const std::string log = dir + "/console.txt";
    const std::string cmd = "cd '" + dir + "' && '" KELVO_BINARY "' > console.txt 2>&1";
    const int st = system(cmd.c_str());
    out = read_text(log);
    return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  }

  static std::string Merged(const std::string& dir, char c) { return dir + "/vp+Gath3DAPU" + c + ".sgy"; }
  static std::string PerShot(const std::string& dir, char c, int nShot) {
    return dir + "/vp+Gath3DAPU" + c + "-" + std::to_string(nShot) + ".sgy";
  }

  CScratchDir m_dir;
};

TEST_F(OutputJobTest, MergedGathersCarryGeometryAndSurveyNumbersAlsoThroughASpillFile) {
  const CExampleJob job = SmallJob(m_dir.Root(), 2);
  ASSERT_EQ(0, job.Write());
  std::string out;
  ASSERT_EQ(0, RunKelvo(m_dir.Root(), out)) << out;

  for (char c : kComponents) {
    CSegyTestFile f = CSegyTestFile::Read(Merged(m_dir.Root(), c));
    ASSERT_TRUE(f.m_bOk) << c;
    EXPECT_EQ(18, f.m_nTraces) << c;
    EXPECT_EQ(31, f.m_nSamples) << c;
    EXPECT_FLOAT_EQ(2000.0f, f.m_fDtUs) << c;
    // The merge removed the per-shot files.
    EXPECT_FALSE(file_exists(PerShot(m_dir.Root(), c, 1))) << c;
  }

  CSegyTestFile f = CSegyTestFile::Read(Merged(m_dir.Root(), 'c'));
  ASSERT_TRUE(f.m_bOk);
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
  // The pressure shows the wave: something arrives, and the two shots differ.
  float fMax = 0, fDiff = 0;
  for (int r = 0; r < 9; r++) {
    for (int k = 0; k < f.m_nSamples; k++) {
      fMax = std::max(fMax, std::fabs(f.m_vData[r][k]));
      fDiff = std::max(fDiff, std::fabs(f.m_vData[r][k] - f.m_vData[9 + r][k]));
    }
  }
  EXPECT_GT(fMax, 0.0f);
  EXPECT_GT(fDiff, 0.0f);

  // The same job with its gathers kept in a spill file gives identical files.
  CExampleJob spill = job;
  const std::string dirFile = m_dir.Path("file");
  spill.m_strDir = dirFile.c_str();
  spill.m_bBigSeismogram = true;
  ASSERT_EQ(0, spill.Write());
  ASSERT_EQ(0, RunKelvo(dirFile, out)) << out;
  // The gathers really went through the spill file: the memory table counts one row.
  EXPECT_NE(std::string::npos, out.find("Seismogram (n)=(9)")) << out;
  for (char c : kComponents)
    EXPECT_TRUE(read_text(Merged(m_dir.Root(), c)) == read_text(Merged(dirFile, c))) << "component " << c << " differs";
  // The spill files are gone after the run.
  EXPECT_FALSE(file_exists(dirFile + "/BigSeis-0(1).bin"));
  EXPECT_FALSE(file_exists(dirFile + "/BigSeis-0(2).bin"));
}

TEST_F(OutputJobTest, RecoveryComputesOnlyMissingShotsAndMergesAll) {
  // A run stopped after shot 2 of 4: only its per-shot files are there.
  CExampleJob job = SmallJob(m_dir.Root(), 4);
  job.m_bMerge = false;
  job.m_nFirstPoint = 1;
  job.m_nLastPoint = 2;
  ASSERT_EQ(0, job.Write());
  std::string out;
  ASSERT_EQ(0, RunKelvo(m_dir.Root(), out)) << out;
  for (char c : kComponents) {
    ASSERT_TRUE(file_exists(PerShot(m_dir.Root(), c, 2))) << c;
    ASSERT_FALSE(file_exists(PerShot(m_dir.Root(), c, 3))) << c;
  }
  CSegyTestFile shot2 = CSegyTestFile::Read(PerShot(m_dir.Root(), 'z', 2));
  ASSERT_TRUE(shot2.m_bOk);
  EXPECT_EQ(9, shot2.m_nTraces);
  EXPECT_EQ(102, shot2.Field(0, SEGY_TR_ENERGY_SOURCE_POINT));

  // Restart over all shots with recovery.
  job.m_bMerge = true;
  job.m_bRecovery = true;
  job.m_nFirstPoint = 0;
  job.m_nLastPoint = 0;
  ASSERT_EQ(0, job.WriteTask());
  ASSERT_EQ(0, RunKelvo(m_dir.Root(), out)) << out;
  EXPECT_NE(std::string::npos, out.find("Shot Point #1 is already calculated - skipped.")) << out;
  EXPECT_NE(std::string::npos, out.find("Shot Point #2 is already calculated - skipped.")) << out;
  EXPECT_EQ(std::string::npos, out.find("Shot Point #3 is already calculated")) << out;
  EXPECT_EQ(std::string::npos, out.find("Shot Point #4 is already calculated")) << out;

  CSegyTestFile f = CSegyTestFile::Read(Merged(m_dir.Root(), 'z'));
  ASSERT_TRUE(f.m_bOk);
  ASSERT_EQ(36, f.m_nTraces);
  for (int t = 0; t < 36; t++)
    EXPECT_EQ(101 + t / 9, f.Field(t, SEGY_TR_ENERGY_SOURCE_POINT)) << t;
  // The traces of shot 2 are those of the first run.
  for (int r = 0; r < 9; r++)
    EXPECT_EQ(shot2.m_vData[r], f.m_vData[9 + r]) << r;
}

TEST_F(OutputJobTest, TimeFieldsMergeAndSnapshotCubesAreWritten) {
  CExampleJob job = SmallJob(m_dir.Root(), 2);
  job.m_t1 = 0.1; // long enough for the second snapshot
  job.m_nTimeFieldType = 3;
  job.m_fTimeStep = 20;
  job.m_strSnap3DTimes = "0.04 0.08";
  job.m_strSnap3DComponents = "CZ";
  job.m_fSnap3DStep = 20;
  ASSERT_EQ(0, job.Write());
  std::string out;
  ASSERT_EQ(0, RunKelvo(m_dir.Root(), out)) << out;

  // Time-field grid: 160 x 160 x 120 m at 20 m gives 9 x 9 columns of 7 samples.
  for (const char* szType : {"MaxEnergy", "MaxDiv"}) {
    const std::string name = m_dir.Root() + "/vp+Time3DAPU(" + szType + ")";
    EXPECT_FALSE(file_exists(name + "-1.sgy")) << szType;
    CSegyTestFile f = CSegyTestFile::Read(name + ".sgy");
    ASSERT_TRUE(f.m_bOk) << szType;
    ASSERT_EQ(162, f.m_nTraces) << szType;
    ASSERT_EQ(7, f.m_nSamples) << szType;
    for (int t = 0; t < f.m_nTraces; t++) {
      const int s = t / 81 + 1, x = t % 9, y = (t % 81) / 9;
      EXPECT_EQ(s, f.Field(t, SEGY_TR_ENERGY_SOURCE_POINT)) << t;
      EXPECT_EQ(20 * x, f.Field(t, SEGY_TR_GROUP_X)) << t;
      EXPECT_EQ(20 * y, f.Field(t, SEGY_TR_GROUP_Y)) << t;
    }
    // At shot depth (sample 1), mid y (row 4): the column next to the shot is
    // reached before the one 80 m away. Shot 1 stands near x = 50, shot 2 near 110.
    const int row = 4 * 9;
    EXPECT_LT(f.m_vData[row + 2][1], f.m_vData[row + 6][1]) << szType;
    EXPECT_LT(f.m_vData[81 + row + 6][1], f.m_vData[81 + row + 2][1]) << szType;
    EXPECT_GT(f.m_vData[row + 2][1], 0.0f) << szType;
  }

  // 3-D snapshots: one file per shot, component and listed time, 8 x 8
  // columns of 6 samples at a 20 m step.
  for (int s = 1; s <= 2; s++) {
    std::vector<float> previous;
    for (const char* szTime : {"0.04", "0.08"}) {
      for (char c : {'c', 'z'}) {
        const std::string name =
            m_dir.Root() + "/vp+3DSnap3DAPU" + c + "(t=" + szTime + ")-" + std::to_string(s) + ".sgy";
        CSegyTestFile f = CSegyTestFile::Read(name);
        ASSERT_TRUE(f.m_bOk) << name;
        ASSERT_EQ(64, f.m_nTraces) << name;
        ASSERT_EQ(6, f.m_nSamples) << name;
        EXPECT_EQ(20 * 7, f.Field(63, SEGY_TR_GROUP_X)) << name;
        EXPECT_EQ(20 * 7, f.Field(63, SEGY_TR_GROUP_Y)) << name;
        float fMax = 0;
        std::vector<float> all;
        for (const auto& tr : f.m_vData)
          for (float v : tr) {
            fMax = std::max(fMax, std::fabs(v));
            all.push_back(v);
          }
        EXPECT_GT(fMax, 0.0f) << name;
        if (c == 'c') {
          EXPECT_NE(previous, all) << name; // the wave moved on between the two times
          previous = all;
        }
      }
    }
  }
}

} // namespace
