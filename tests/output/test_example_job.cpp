// The example-job generator's viscoelastic job: its Q cube holds the
// quality factor of each layer, and the kelvo program reads the job with the
// relaxation mechanisms in force and no key left unread.
#include <gtest/gtest.h>

#include <string>

#include "output/ExampleJob.h"
#include "seisfile/ScratchDir.h"
#include "seisfile/SegyTestFile.h"

namespace {

TEST(ExampleJobTest, ViscoelasticJobIsReadWithItsMechanismsAndQCube) {
#ifndef KELVO_HAVE_SEGYIO
  GTEST_SKIP() << "segyio not available";
#endif
  if (!file_exists(KELVO_BINARY))
    GTEST_SKIP() << "kelvo program not built";
  CScratchDir dir;
  CExampleJob job;
  job.m_strDir = dir.Root().c_str();
  job.m_fX1 = 100, job.m_fY1 = 100, job.m_fZ1 = 80;
  job.m_vLayers = {CExampleJob::CLayer{30, 1500}, CExampleJob::CLayer{60, 2000}, CExampleJob::CLayer{1e30, 2500}};
  job.m_bVs = job.m_bDensity = true;
  job.m_strMethod = "3D Elastic";
  job.m_bQ = true;
  job.m_vQ = {30, 60, 120};
  job.m_nViscoL = 2;
  job.m_bApparentVelocity = true;
  job.m_nShots = 1, job.m_nReceivers = 5, job.m_fShotZ = 40;
  job.m_t1 = 0.03, job.m_tdt = 0.002, job.m_fFrequency = 30;
  job.m_nThreads = 2;
  ASSERT_EQ(0, job.Write());

  // Every column: Q of the layer each 10 m sample lies in.
  CSegyTestFile q = CSegyTestFile::Read(dir.Path(CExampleJob::Q_FILE));
  ASSERT_TRUE(q.m_bOk);
  ASSERT_EQ(121, q.m_nTraces);
  ASSERT_EQ(9, q.m_nSamples);
  for (int t : {0, 60, 120})
    for (int z = 0; z < 9; z++)
      EXPECT_FLOAT_EQ(z < 3 ? 30.0f : z < 6 ? 60.0f : 120.0f, q.m_vData[t][z]) << "trace " << t << " sample " << z;

  const int st = system(("cd '" + dir.Root() + "' && '" KELVO_BINARY "' > console.txt 2>&1").c_str());
  const std::string out = read_text(dir.Path("console.txt"));
  ASSERT_TRUE(WIFEXITED(st) && WEXITSTATUS(st) == 0) << out;
  for (const char* sz :
       {"Viscoelastic NRM(L):         2", "Viscoelastic velocities:     apparent", "Attenuation(Q) model file 'q.sgy'",
        "S-Wave Velocity model file 'vs.sgy'", "Density model file 'density.sgy'", "Simulation finished successfully."})
    EXPECT_NE(std::string::npos, out.find(sz)) << sz << "\n" << out;
  EXPECT_EQ(std::string::npos, out.find("Redundant variable")) << out;
}

} // namespace
