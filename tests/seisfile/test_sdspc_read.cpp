// Opening SEG-Y files written by other software, and damaged files.
#include <cmath>
#include <random>

#include "SeisTestUtil.h"

using SdsPCRead = ScratchDirTest;

#ifdef KELVO_HAVE_SEGYIO

// Traces with coordinates of all scaler kinds and samples of all kinds.
static std::vector<STestTrace> make_traces(int ns, bool integers) {
  std::vector<STestTrace> v;
  std::mt19937 rng(99);
  std::uniform_real_distribution<float> d(-1000.0f, 1000.0f);
  const int16_t scalers[6] = {1, 0, -1, -100, 100, -10};
  for (int i = 0; i < 6; i++) {
    STestTrace t;
    t.scalco = scalers[i];
    t.scalel = scalers[(i + 3) % 6];
    t.sx = 123456 + i;
    t.sy = -2000 - i;
    t.gx = 5000 * i + 7;
    t.gy = 300;
    t.selev = 50;
    t.gelev = -25 * i;
    t.fieldRecord = 40 + i;
    t.traceNo = 9 - i;
    t.energySource = 700 + i;
    for (int k = 0; k < ns; k++) {
      float x = integers ? std::round(d(rng)) : d(rng);
      if (!integers && k == 0)
        x = 0.0f;
      if (!integers && k == 1)
        x = -3.5e-7f; // tiny: IBM keeps it, it is not flushed on reading
      t.samples.push_back(x);
    }
    v.push_back(t);
  }
  return v;
}

static double scaled(int32_t v, int16_t s) {
  if (s >= 2)
    return (double)v * s;
  if (s <= -2)
    return (double)v / std::abs(s);
  return v;
}

struct SFormatCase {
  int format;
  bool lsb;
};

class SdsPCForeign : public ScratchDirTest, public ::testing::WithParamInterface<SFormatCase> {};

TEST_P(SdsPCForeign, HeadersCoordinatesAndSamplesMatchTheWriter) {
  const SFormatCase fc = GetParam();
  const int ns = 21;
  const bool integers = fc.format == 2 || fc.format == 3;
  std::vector<STestTrace> traces = make_traces(ns, integers);
  std::string path = Path("foreign.sgy");
  ASSERT_TRUE(segyio_write(path, fc.format, fc.lsb, ns, 4000, traces));

  CSdsPC sds;
  ASSERT_TRUE(sds.OnOpen(path.c_str(), 0, 0, 0, 0));
  EXPECT_EQ(sds.m_bSwap, fc.lsb ? 0 : 1);
  EXPECT_EQ((int)sds.m_DataType, fc.format);
  ASSERT_EQ(sds.m_nTraceCount, (int)traces.size());
  EXPECT_EQ(sds.m_nTraceLen, ns);
  EXPECT_EQ(sds.m_nUnit, DU_MSEC);
  EXPECT_DOUBLE_EQ(sds.m_rT0, 0.0);
  EXPECT_DOUBLE_EQ(sds.m_rT1, 80.0);
  EXPECT_DOUBLE_EQ(sds.m_rDT, 4.0);
  std::vector<float> buf(ns);
  for (size_t i = 0; i < traces.size(); i++) {
    const STestTrace& t = traces[i];
    const SDS_TRACEINFO& r = sds.m_pSR[i];
    EXPECT_FLOAT_EQ(r.m_fXs, (float)scaled(t.sx, t.scalco)) << i;
    EXPECT_FLOAT_EQ(r.m_fYs, (float)scaled(t.sy, t.scalco)) << i;
    EXPECT_FLOAT_EQ(r.m_fXr, (float)scaled(t.gx, t.scalco)) << i;
    EXPECT_FLOAT_EQ(r.m_fYr, (float)scaled(t.gy, t.scalco)) << i;
    // Elevations point up, Z down.
    EXPECT_FLOAT_EQ(r.m_fZs, (float)-scaled(t.selev, t.scalel)) << i;
    EXPECT_FLOAT_EQ(r.m_fZr, (float)-scaled(t.gelev, t.scalel)) << i;
    EXPECT_EQ(r.m_nPartNo, t.fieldRecord);
    EXPECT_EQ(r.m_nTraceNo, t.traceNo);
    EXPECT_EQ(r.m_nPart, t.energySource);

    ASSERT_TRUE(sds.GetTrace((int)i, buf.data(), ns));
    for (int k = 0; k < ns; k++) {
      float want = t.samples[k];
      if (fc.format == 1)
        ASSERT_NEAR(buf[k], want, std::fabs(want) * 1e-6) << "trace " << i << " sample " << k;
      else
        ASSERT_EQ(buf[k], want) << "trace " << i << " sample " << k;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllFormats, SdsPCForeign,
                         ::testing::Values(SFormatCase{1, false}, SFormatCase{1, true}, SFormatCase{2, false},
                                           SFormatCase{2, true}, SFormatCase{3, false}, SFormatCase{3, true},
                                           SFormatCase{5, false}, SFormatCase{5, true}),
                         [](const ::testing::TestParamInfo<SFormatCase>& i) {
                           return "Format" + std::to_string(i.param.format) + (i.param.lsb ? "Little" : "Big");
                         });

TEST_F(SdsPCRead, DeadTracesAreLeftOut) {
  std::vector<STestTrace> traces = make_traces(5, false);
  traces[1].traceId = 2;
  traces[4].traceId = 2;
  std::string path = Path("dead.sgy");
  ASSERT_TRUE(segyio_write(path, 1, false, 5, 2000, traces));
  CSdsPC sds;
  ASSERT_TRUE(sds.OnOpen(path.c_str(), 0, 0, 0, 0));
  ASSERT_EQ(sds.m_nTraceCount, 4);
  const int kept[4] = {0, 2, 3, 5};
  std::vector<float> buf(5);
  for (int i = 0; i < 4; i++) {
    EXPECT_EQ(sds.m_pSR[i].m_nTraceNo, traces[kept[i]].traceNo);
    ASSERT_TRUE(sds.GetTrace(i, buf.data(), 5));
    EXPECT_NEAR(buf[4], traces[kept[i]].samples[4], std::fabs(traces[kept[i]].samples[4]) * 1e-6);
  }
  // Only dead traces: the open fails and leaves nothing behind.
  for (auto& t : traces)
    t.traceId = 2;
  ASSERT_TRUE(segyio_write(path, 1, false, 5, 2000, traces));
  testing::internal::CaptureStdout();
  EXPECT_FALSE(sds.OnOpen(path.c_str(), 0, 0, 0, 0));
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("Only 0 traces have been loaded!"), std::string::npos) << out;
  EXPECT_EQ(sds.m_pSR, nullptr);
  EXPECT_EQ(sds.m_fp, nullptr);
  EXPECT_EQ(sds.m_nTraceCount, 0);
}

TEST_F(SdsPCRead, CutShortFileKeepsItsWholeTracesAndSaysHowManyAreMissing) {
  std::vector<STestTrace> traces = make_traces(20, false);
  const std::string path = Path("cut.sgy");
  ASSERT_TRUE(segyio_write(path, 5, false, 20, 1000, traces));
  const std::vector<unsigned char> whole = read_file(path);
  const size_t nTrace = 240 + 20 * 4;
  auto cut = [](std::vector<unsigned char> b, size_t n) {
    b.resize(n);
    return b;
  };
  std::vector<unsigned char> counted = whole; // the trace count in bytes 3213-3214
  counted[3213] = (unsigned char)traces.size();
  const struct {
    const char* what;
    std::vector<unsigned char> bytes;
    int nKept;
    const char* msg; // after "is cut short: "; null: no warning
  } cases[] = {
      {"whole, counted", counted, 6, nullptr},
      {"cut in the samples", cut(whole, whole.size() - 30), 5, "5 whole traces found, its size implies 6"},
      // Only the header's count tells a file cut between two traces.
      {"cut between traces, counted", cut(counted, 3600 + 4 * nTrace), 4,
       "4 whole traces found, its file header announces 6"},
  };
  for (const auto& c : cases) {
    write_file(path, c.bytes);
    CSdsPC sds;
    testing::internal::CaptureStdout();
    const bool bOpen = sds.OnOpen(path.c_str(), 0, 0, 0, 0);
    const std::string out = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(bOpen) << c.what;
    ASSERT_EQ(sds.m_nTraceCount, c.nKept) << c.what;
    std::vector<float> buf(20);
    for (int i = 0; i < c.nKept; i++) {
      ASSERT_TRUE(sds.GetTrace(i, buf.data(), 20));
      EXPECT_EQ(buf[19], traces[i].samples[19]) << c.what << ", trace " << i;
    }
    if (c.msg)
      EXPECT_NE(out.find("Warning! File '" + path + "' is cut short: " + c.msg), std::string::npos) << c.what << out;
    else
      EXPECT_EQ(out.find("cut short"), std::string::npos) << c.what << out;
  }
}

#endif // KELVO_HAVE_SEGYIO

// A minimal big-endian file with hand-made headers.
static std::vector<unsigned char> tiny_file(int16_t format, int16_t ns, int16_t interval, int nTraces) {
  std::vector<unsigned char> b(3600, 0);
  b[3216] = interval >> 8, b[3217] = interval & 0xFF;
  b[3220] = ns >> 8, b[3221] = ns & 0xFF;
  b[3224] = format >> 8, b[3225] = format & 0xFF;
  for (int i = 0; i < nTraces; i++) {
    std::vector<unsigned char> th(240, 0);
    th[29] = 1;
    b.insert(b.end(), th.begin(), th.end());
    for (int k = 0; k < ns; k++) {
      unsigned char s[4] = {0x41, 0x10, 0, 0}; // 1.0
      b.insert(b.end(), s, s + 4);
    }
  }
  return b;
}

TEST_F(SdsPCRead, DamagedMissingAndUnknownFilesFailWithTheirMessage) {
  auto cut = [](std::vector<unsigned char> b, size_t n) {
    b.resize(n);
    return b;
  };
  std::vector<unsigned char> wide = tiny_file(1, 2, 1000, 0);
  wide[3220] = 0x80, wide[3221] = 0x10; // more than 32767 samples reads as a negative count
  const struct {
    const char* name;
    bool write;
    std::vector<unsigned char> bytes;
    std::string msg;
  } cases[] = {
      {"empty.sgy", true, {}, "fread(sgy_file) error!"},
      {"format0.sgy", true, tiny_file(0, 10, 1000, 2), "File Header error!"},
      {"one.sgy", true, tiny_file(1, 1, 1000, 2), "File Header error!"}, // one sample is refused
      {"wide.sgy", true, wide, ""},
      {"nohead.sgy", true, cut(tiny_file(1, 10, 1000, 1), 3600), "fread(sgy) error at trace #1!"},
      {"nosamples.sgy", true, cut(tiny_file(1, 10, 1000, 1), 3840), "Only #0 traces were read!"},
      {"format7.sgy", true, tiny_file(7, 10, 1000, 2), "Number of Samples in trace is 0"}, // no sample size
      {"none.sgy", false, {}, "File '" + Path("none.sgy") + "' is not opened!"},
      {"x.kti", false, {}, "has incorrect extension. It have to be from the set '.sgy', '.kti', '.rec', '.zpl'!"},
      {"a.zpl", false, {}, "File '" + Path("a.zpl") + "' is not opened!"},
  };
  for (const auto& c : cases) {
    if (c.write)
      write_file(Path(c.name), c.bytes);
    CSdsPC sds;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(sds.OnOpen(Path(c.name).c_str(), 0, 0, 0, 0)) << c.name;
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find(c.msg), std::string::npos) << c.name << ": " << out;
  }
}
