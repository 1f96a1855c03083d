// Source signal: the built-in Ricker wavelet, signals read from trace files,
// and the task keys of the source.
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
  for (int i = 0; i < 100; i++) {
    EXPECT_NEAR(sig.m_pSignal[i], sig.m_pSignal[200 - i], 1e-3f * fAmp) << i;
    EXPECT_LT(sig.m_pSignal[i], fAmp);
  }
  // Side lobes of a Ricker wavelet: minimum -2 exp(-1.5) of the peak at
  // t = +-sqrt(1.5) / (pi f), i.e. ~19.5 ms from the peak.
  float fMin = 0;
  int nMin = 0;
  for (int i = 0; i < 100; i++)
    if (sig.m_pSignal[i] < fMin) {
      fMin = sig.m_pSignal[i];
      nMin = i;
    }
  EXPECT_NEAR(fMin / fAmp, -2 * exp(-1.5), 2e-3);
  EXPECT_NEAR(100 - nMin, 19.5, 1.0);
  EXPECT_NEAR(sig.m_pSignal[0] / fAmp, 0.0, 1e-5);
}

TEST_F(SignalTest, DelayMovesTimeAxisNotSamples) {
  CSignal3D& sig = m_calc.m_Signal;
  sig.m_fFrequency = 20;
  double t0 = 0;
  ASSERT_EQ(sig.Generate(0.001, 10.0, t0), 0);
  std::vector<float> plain(sig.m_pSignal, sig.m_pSignal + sig.m_nLen);
  sig.m_fDelay = 0.05;
  ASSERT_EQ(sig.Generate(0.001, 10.0, t0), 0);
  EXPECT_NEAR(t0, -0.15, 1e-12);
  ASSERT_EQ(sig.m_nLen, (int)plain.size());
  for (int i = 0; i < sig.m_nLen; i++)
    ASSERT_EQ(sig.m_pSignal[i], plain[i]);

  // The calculation object hands its own steps over.
  m_calc.m_fDt = 0.002;
  m_calc.m_fH = 5;
  m_calc.m_Signal.m_fFrequency = 10;
  m_calc.m_Signal.m_fDelay = 0;
  ASSERT_EQ(m_calc.GenerateSignal(), 0);
  EXPECT_DOUBLE_EQ(m_calc.m_fT0, -0.2);
  EXPECT_EQ(m_calc.m_Signal.m_nLen, 201);
  EXPECT_FLOAT_EQ(m_calc.m_Signal.m_pSignal[100], (float)(0.002 * 1e9 / 125.0));
}

TEST_F(SignalTest, TaskKeys) {
  std::vector<CString> lines = {"[Source]", "Frequency=25", "t0=0.01", "Signal=2"};
  CSignal3D sig;
  ASSERT_EQ(sig.LoadParamsFromIniFile(lines), 0);
  EXPECT_DOUBLE_EQ(sig.m_fFrequency, 25);
  EXPECT_DOUBLE_EQ(sig.m_fDelay, 0.01);
  EXPECT_EQ(sig.m_nSignalMode, 2);
  EXPECT_TRUE(sig.m_strFile.IsEmpty());

  // Without a file the frequency is required.
  std::vector<CString> bad = {"[Source]", "t0=0.01"};
  CSignal3D sig2;
  EXPECT_EQ(sig2.LoadParamsFromIniFile(bad), 1);
  EXPECT_TRUE(LogHas("incorrect signal frequency parameter in tuntask.ini"));
  std::vector<CString> nan = {"[Source]", "Frequency=nan"};
  EXPECT_EQ(CSignal3D().LoadParamsFromIniFile(nan), 1);

  // With a file, Signal is not read and a missing frequency means "estimate".
  std::vector<CString> withFile = {"[Source]", "File=pulse.sgy", "Signal=3"};
  CSignal3D sig3;
  ASSERT_EQ(sig3.LoadParamsFromIniFile(withFile), 0);
  EXPECT_STREQ(sig3.m_strFile.c_str(), "pulse.sgy");
  EXPECT_EQ(sig3.m_fFrequency, 0);
  EXPECT_EQ(sig3.m_nSignalMode, 0);
}

TEST_F(SignalTest, MissingFileAndZeroStepsAreRefused) {
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
// Three traces of 1 ms samples; the middle one carries the pulse.
static void WritePulse(const std::string& name, int nSamples, const std::function<float(int)>& pulse) {
  ASSERT_TRUE(WriteSegyTraces(name, nSamples, 1000, {{0, 0}, {10, 0}, {20, 0}},
                              [&](int t, int i) { return t == 1 ? pulse(i) : 99.0f; }));
}

TEST_F(SignalTest, FileSignalPeakOnTimeZeroAndTailTrimmed) {
  // Peak (negative, largest magnitude) at 30 ms, maximum at 20 ms, silent
  // tail after 60 ms: the tail is cut and the peak falls on time 0.
  WritePulse("pulse.sgy", 200, [](int i) {
    if (i == 20)
      return 2.0f;
    if (i == 30)
      return -4.0f;
    if (i == 60)
      return 1e-3f;
    return 0.0f;
  });
  CSignal3D& sig = m_calc.m_Signal;
  sig.m_strFile = "pulse.sgy";
  sig.m_fFrequency = 0;
  double t0 = 1;
  ASSERT_EQ(sig.Generate(0.0005, 10.0, t0), 0);
  // 0.5 ms steps: the peak is sample 60, the extremes are 20 samples apart.
  EXPECT_NEAR(t0, -0.030, 1e-12);
  EXPECT_NEAR(sig.m_fFrequency, 1.0 / (21 * 0.0005 * 3.0), 1e-9);
  // Last sample at or above 1e-6 of the peak: half-way after the small
  // spike at 60 ms.
  EXPECT_EQ(sig.m_nLen, 122);
  const float fAmp = (float)(0.0005 * 1e9 / 1000.0);
  EXPECT_FLOAT_EQ(sig.m_pSignal[60], -fAmp);
  EXPECT_FLOAT_EQ(sig.m_pSignal[40], 0.5f * fAmp);
  // Interpolated half-way between samples 19 and 20 of the file.
  EXPECT_FLOAT_EQ(sig.m_pSignal[39], 0.25f * fAmp);

  // The estimated frequency stays for the next shot.
  ASSERT_EQ(sig.Generate(0.001, 10.0, t0), 0);
  EXPECT_NEAR(sig.m_fFrequency, 1.0 / (21 * 0.0005 * 3.0), 1e-9);
}

TEST_F(SignalTest, FileSignalWithPeakFirstAndDelay) {
  WritePulse("first.sgy", 100, [](int i) { return i == 0 ? 1.0f : (i < 10 ? 0.5f : 0.0f); });
  CSignal3D& sig = m_calc.m_Signal;
  sig.m_strFile = "first.sgy";
  sig.m_fFrequency = 30;
  double t0 = 1;
  ASSERT_EQ(sig.Generate(0.001, 10.0, t0), 0);
  EXPECT_EQ(t0, 0.0);
  EXPECT_DOUBLE_EQ(sig.m_fFrequency, 30);
  EXPECT_EQ(sig.m_nLen, 10);

  sig.m_fDelay = 0.02;
  ASSERT_EQ(sig.Generate(0.001, 10.0, t0), 0);
  EXPECT_NEAR(t0, -0.02, 1e-12);
}

TEST_F(SignalTest, FileSignalLongerThanOneSecondRefused) {
  WritePulse("long.sgy", 2001, [](int i) { return i == 5 ? 1.0f : 0.0f; });
  m_calc.m_Signal.m_strFile = "long.sgy";
  double t0 = 0;
  EXPECT_EQ(m_calc.m_Signal.Generate(0.001, 10.0, t0), -105);
  EXPECT_TRUE(LogHas("Error! Unexpected signal length 0..2."));
}
#endif
