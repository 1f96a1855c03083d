// Source signal: the built-in Ricker wavelet, a signal read from a trace
// file, the task keys of the source and the refusal of bad steps.
#include <cmath>

#include "calc3d/Signal3D.h"
#include "run/TaskFile.h"
#include "test_model_helpers.h"

using SignalTest = ModelTestDir;

TEST_F(SignalTest, RickerHasTwoPeriodsEachSideAndScaledPeak) {
  CSignal3D& sig = m_calc.m_Signal;
  sig.m_fFrequency = 20;
  double t0 = 0;
  ASSERT_EQ(sig.Generate(0.001, 10.0, t0), 0);
  EXPECT_EQ(sig.m_nLen, 201);
  EXPECT_DOUBLE_EQ(t0, -0.1);
  // Peak at time 0 equals the injection scale dt * 1e9 / h^3.
  const float fAmp = (float)(0.001 * 1e9 / 1000.0);
  EXPECT_FLOAT_EQ(sig.m_pSignal[100], fAmp);
  float fMin = 0;
  int nMin = 0;
  for (int i = 0; i < 100; i++) {
    EXPECT_NEAR(sig.m_pSignal[i], sig.m_pSignal[200 - i], 1e-3f * fAmp) << i;
    if (sig.m_pSignal[i] < fMin)
      fMin = sig.m_pSignal[i], nMin = i;
  }
  // Side lobes: -2 exp(-1.5) of the peak at sqrt(1.5) / (pi f) ~ 19.5 ms.
  EXPECT_NEAR(fMin / fAmp, -2 * exp(-1.5), 2e-3);
  EXPECT_NEAR(100 - nMin, 19.5, 1.0);
  EXPECT_NEAR(sig.m_pSignal[0] / fAmp, 0.0, 1e-5);
  // A delay moves the time axis, not the samples.
  std::vector<float> plain(sig.m_pSignal, sig.m_pSignal + sig.m_nLen);
  sig.m_fDelay = 0.05;
  ASSERT_EQ(sig.Generate(0.001, 10.0, t0), 0);
  EXPECT_NEAR(t0, -0.15, 1e-12);
  EXPECT_EQ(std::vector<float>(sig.m_pSignal, sig.m_pSignal + sig.m_nLen), plain);
}

TEST_F(SignalTest, TaskKeysAndRefusals) {
  std::vector<CString> lines = {"[Source]", "Frequency=25", "t0=0.01", "Signal=2"};
  CSignal3D sig;
  ASSERT_EQ(sig.LoadParamsFromIniFile(lines), 0);
  EXPECT_DOUBLE_EQ(sig.m_fFrequency, 25);
  EXPECT_DOUBLE_EQ(sig.m_fDelay, 0.01);
  EXPECT_EQ(sig.m_nSignalMode, 2);
  // Without a file the frequency is required, and a NaN is no frequency.
  std::vector<CString> bad = {"[Source]", "t0=0.01"}, nan = {"[Source]", "Frequency=nan"};
  EXPECT_EQ(CSignal3D().LoadParamsFromIniFile(bad), 1);
  EXPECT_TRUE(LogHas("incorrect signal frequency parameter in tuntask.ini"));
  EXPECT_EQ(CSignal3D().LoadParamsFromIniFile(nan), 1);

  double t0 = 0;
  EXPECT_EQ(m_calc.m_Signal.Generate(0.0, 10, t0), -101);
  EXPECT_TRUE(LogHas("Error! Incorrect time tact dt=0 specified!"));
  EXPECT_EQ(m_calc.m_Signal.Generate(0.001, 0.0, t0), -100);
  EXPECT_EQ(m_calc.m_Signal.m_pSignal, nullptr) << "refused before any allocation";
  // A step far too fine for the wavelet is refused, not allocated.
  m_calc.m_Signal.m_fFrequency = 1;
  EXPECT_EQ(m_calc.m_Signal.Generate(1e-9, 10, t0), -105);
  EXPECT_EQ(m_calc.m_Signal.m_pSignal, nullptr);
  m_calc.m_Signal.m_strFile = "nothere.sgy";
  EXPECT_EQ(m_calc.m_Signal.Generate(0.001, 10, t0), -3);
  EXPECT_TRUE(LogHas("Error! Unable to open file nothere.sgy containing signal shape."));
}

#ifdef KELVO_HAVE_SEGYIO
TEST_F(SignalTest, FileSignalPeakOnTimeZeroAndTailTrimmed) {
  // Three traces of 1 ms samples; the middle one carries the pulse: peak
  // (negative, largest magnitude) at 30 ms, maximum at 20 ms, a small spike
  // at 60 ms and silence after it.
  ASSERT_TRUE(WriteSegyTraces("pulse.sgy", 200, 1000, {{0, 0}, {10, 0}, {20, 0}}, [](int t, int i) {
    if (t != 1)
      return 99.0f;
    return i == 20 ? 2.0f : (i == 30 ? -4.0f : (i == 60 ? 1e-3f : 0.0f));
  }));
  CSignal3D& sig = m_calc.m_Signal;
  sig.m_strFile = "pulse.sgy";
  sig.m_fFrequency = 0;
  double t0 = 1;
  ASSERT_EQ(sig.Generate(0.0005, 10.0, t0), 0);
  // 0.5 ms steps: the peak is sample 60, the extremes are 20 samples apart.
  EXPECT_NEAR(t0, -0.030, 1e-12);
  EXPECT_NEAR(sig.m_fFrequency, 1.0 / (21 * 0.0005 * 3.0), 1e-9);
  // Last sample at or above 1e-6 of the peak: half-way after the spike.
  EXPECT_EQ(sig.m_nLen, 122);
  const float fAmp = (float)(0.0005 * 1e9 / 1000.0);
  EXPECT_FLOAT_EQ(sig.m_pSignal[60], -fAmp);
  EXPECT_FLOAT_EQ(sig.m_pSignal[40], 0.5f * fAmp);
  EXPECT_FLOAT_EQ(sig.m_pSignal[39], 0.25f * fAmp); // interpolated
}
#endif
