// Zero-offset traces of the vertical-incidence method: reflections of a
// layered column against the analytic primaries, columns under receivers,
// and the threaded computation writing the same files as one thread.
#include <cstdio>
#include <string>

#include "calc1d_fixture.h"
#include "seisfile/ScratchDir.h"
#include "seisfile/SdsPC.h"

namespace {

// Three layers, the first interface deep enough that its reflection
// arrives after the hard source has ended; in the second case the impedance falls at the second
// interface, in the third at the first.
const std::vector<std::vector<CLayer1D>> s_columns = {
    {{100, 2000, 2000}, {230, 2600, 2000}, {1e9, 3000, 2000}},
    {{100, 2000, 2000}, {230, 2600, 2000}, {1e9, 2200, 2000}},
    {{130, 2500, 2200}, {230, 2000, 2000}, {1e9, 2800, 2300}},
};

} // namespace

TEST_F(Calc1DFixture, LayeredColumnGivesPrimariesAtTheirTimesAndAmplitudes) {
  for (size_t c = 0; c < s_columns.size(); c++) {
    SCOPED_TRACE("column " + std::to_string(c));
    const std::vector<CLayer1D>& layers = s_columns[c];
    receivers = {C3DPointR(10, 10, 0)};
    Build(3, 3, 250, [&](int, int) { return layers; });
    const std::vector<float> tr = Trace(0);
    delete pCalc;
    pCalc = nullptr;
    const std::vector<CPrimary> p = primaries(layers);
    const std::vector<double> ref = analytic_trace(p, kFreq, kTdt, tr.size());
    // The hard source gives the emitted pressure at the receiver: its peak
    // is the scale of the analytic trace.
    const double fDirect = tr[0];
    ASSERT_GT(std::fabs(fDirect), 0);
    size_t k[2];
    for (int e = 0; e < 2; e++) {
      const size_t c0 = (size_t)std::lround(p[e].fTime / kTdt);
      k[e] = peak_near(tr, c0, 15);
      EXPECT_LE(std::labs((long)k[e] - (long)c0), 1) << "interface " << e;
      // Polarity: the sign of the impedance step.
      EXPECT_EQ(tr[k[e]] > 0, p[e].fAmp > 0) << "interface " << e;
      EXPECT_NEAR(tr[k[e]] / fDirect, ref[peak_near(ref, c0, 15)], 0.03 * std::fabs(p[e].fAmp)) << "interface " << e;
    }
    const double fRatio = tr[k[1]] / tr[k[0]];
    const double fRef = ref[peak_near(ref, k[1], 3)] / ref[peak_near(ref, k[0], 3)];
    EXPECT_NEAR(fRatio, fRef, 0.02 * std::fabs(fRef));
  }
}

TEST_F(Calc1DFixture, ReceiversTakeTheColumnBeneathThem) {
  // Columns x = 0, 1 differ in the depth of the interface, column 2 is void.
  auto pick = [](int x, int) {
    if (x == 2)
      return std::vector<CLayer1D>{};
    return std::vector<CLayer1D>{{x == 0 ? 100.0 : 140.0, 2000, 2000}, {1e9, 2600, 2100}};
  };
  receivers = {C3DPointR(0, 0, 0), C3DPointR(10, 10, 0), C3DPointR(-50, 0, 0), C3DPointR(20, 0, 0),
               C3DPointR(10, 300, 0)};
  Build(3, 2, 150, pick);
  std::vector<std::vector<float>> tr;
  for (int i = 0; i < (int)receivers.size(); i++)
    tr.push_back(Trace(i));
  const std::vector<float> voidZ = Trace(3, false);
  // Each column alone, laterally homogeneous.
  std::vector<std::vector<float>> alone;
  for (int x = 0; x < 2; x++) {
    delete pCalc;
    pCalc = nullptr;
    Build(2, 2, 150, [&](int, int) { return pick(x, 0); });
    alone.push_back(Trace(0));
  }
  EXPECT_EQ(tr[0], alone[0]);
  EXPECT_EQ(tr[1], alone[1]);
  EXPECT_NE(tr[0], tr[1]);
  // Outside the model the nearest column is taken; a void column is silent
  // and the receivers after it are computed.
  EXPECT_EQ(tr[2], alone[0]);
  EXPECT_EQ(tr[4], alone[1]);
  EXPECT_EQ(tr[3], std::vector<float>(tr[3].size(), 0.0f));
  EXPECT_EQ(voidZ, std::vector<float>(tr[3].size(), 0.0f));
}

TEST_F(Calc1DFixture, ProfileFramesFollowTheSurfaceType) {
  // A column with a void head of 10 m over 2000 m/s.
  receivers = {C3DPointR(0, 0, 0)};
  Build(2, 2, 50, [](int, int) { return std::vector<CLayer1D>{{10, 0, 0}, {1e9, 2000, 2000}}; });
  CCalc1D& c = *pCalc;
  std::vector<float> prof(c.m_nNzAll);
  const float top = c.m_pK[((size_t)5 * 2) * 2];
  for (int surf = 0; surf < 2; surf++) {
    SCOPED_TRACE("SurfType " + std::to_string(surf));
    c.m_nSurfType = surf;
    int nFirst = -1;
    ASSERT_EQ(c.Get1DModel(0, CPointR(0, 0), prof.data(), nFirst), 0);
    EXPECT_EQ(nFirst, c.m_nFrame + 5);
    // Upper frame and void head: the top value with an invisible surface, void with a free one.
    for (int i = 0; i < nFirst; i++)
      ASSERT_EQ(prof[i], surf == 0 ? top : 0.0f) << i;
    for (int i = nFirst; i < c.m_nNzAll; i++)
      ASSERT_EQ(prof[i], top) << i;
  }
  // Halfway between two columns of different values: their mean.
  c.m_pK[((size_t)20 * 2) * 2 + 1] = 3 * top;
  int nFirst = 0;
  ASSERT_EQ(c.Get1DModel(0, CPointR(5, 0), prof.data(), nFirst), 0);
  EXPECT_FLOAT_EQ(prof[c.m_nFrame + 20], (top + (top + 3 * top) / 2) / 2);
}
