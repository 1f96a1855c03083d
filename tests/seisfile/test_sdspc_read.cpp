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
    EXPECT_EQ((int64_t)r.m_nPos, 3600 + (int64_t)i * (240 + ns * (fc.format == 3 ? 2 : 4)));

    ASSERT_TRUE(sds.GetTrace((int)i, buf.data(), ns));
    for (int k = 0; k < ns; k++) {
      float want = t.samples[k];
      if (fc.format == 1)
        ASSERT_NEAR(buf[k], want, std::fabs(want) * 1e-6) << "trace " << i << " sample " << k;
      else
        ASSERT_EQ(buf[k], want) << "trace " << i << " sample " << k;
    }
    SGY_TRACEHEADER h;
    ASSERT_TRUE(sds.GetTraceHeader((int)i, h, 1));
    EXPECT_EQ(h.GetInt32(16), t.energySource);
    EXPECT_EQ(h.GetInt16(70), t.scalco);
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

TEST_F(SdsPCRead, TruncatedLastTraceKeepsTheWholeOnes) {
  std::vector<STestTrace> traces = make_traces(20, false);
  std::string path = Path("cut.sgy");
  ASSERT_TRUE(segyio_write(path, 5, false, 20, 1000, traces));
  std::vector<unsigned char> bytes = read_file(path);
  bytes.resize(bytes.size() - 30); // cut into the samples of the last trace
  write_file(path, bytes);
  CSdsPC sds;
  ASSERT_TRUE(sds.OnOpen(path.c_str(), 0, 0, 0, 0));
  ASSERT_EQ(sds.m_nTraceCount, 5);
  std::vector<float> buf(20);
  for (int i = 0; i < 5; i++) {
    ASSERT_TRUE(sds.GetTrace(i, buf.data(), 20));
    EXPECT_EQ(buf[19], traces[i].samples[19]);
  }
  // Cut into the header of the last trace: the same five remain.
  bytes.resize(3600 + 5 * (240 + 80) + 100);
  write_file(path, bytes);
  ASSERT_TRUE(sds.OnOpen(path.c_str(), 0, 0, 0, 0));
  EXPECT_EQ(sds.m_nTraceCount, 5);
}

TEST_F(SdsPCRead, VaryingTraceLengthsFollowEachHeader) {
  std::vector<STestTrace> traces = make_traces(8, true);
  traces.resize(3);
  std::string path = Path("vary.sgy");
  ASSERT_TRUE(segyio_write(path, 3, false, 8, 1000, traces));
  // Rebuild the file with a middle trace of 4 samples only.
  std::vector<unsigned char> b = read_file(path);
  const size_t tr = 240 + 16;
  std::vector<unsigned char> out(b.begin(), b.begin() + 3600 + tr);
  std::vector<unsigned char> mid(b.begin() + 3600 + tr, b.begin() + 3600 + tr + 240 + 8);
  mid[114] = 0, mid[115] = 4;
  out.insert(out.end(), mid.begin(), mid.end());
  out.insert(out.end(), b.begin() + 3600 + 2 * tr, b.end());
  write_file(path, out);
  CSdsPC sds;
  ASSERT_TRUE(sds.OnOpen(path.c_str(), 0, 0, 0, 0));
  ASSERT_EQ(sds.m_nTraceCount, 3);
  std::vector<float> buf(8);
  ASSERT_TRUE(sds.GetTrace(1, buf.data(), 8));
  for (int k = 0; k < 4; k++)
    EXPECT_EQ(buf[k], traces[1].samples[k]);
  for (int k = 4; k < 8; k++)
    EXPECT_EQ(buf[k], traces[1].samples[3]) << "a short trace repeats its last sample";
  ASSERT_TRUE(sds.GetTrace(2, buf.data(), 8));
  EXPECT_EQ(buf[7], traces[2].samples[7]);
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
    th[83] = (unsigned char)(10 * i); // receiver X
    b.insert(b.end(), th.begin(), th.end());
    for (int k = 0; k < ns; k++) {
      unsigned char s[4] = {0x41, 0x10, 0, 0}; // 1.0
      b.insert(b.end(), s, s + 4);
    }
  }
  return b;
}

static std::string open_message(const std::string& path, bool& ok) {
  CSdsPC sds;
  testing::internal::CaptureStdout();
  ok = sds.OnOpen(path.c_str(), 0, 0, 0, 0);
  return testing::internal::GetCapturedStdout();
}

TEST_F(SdsPCRead, DamagedFilesFailWithTheirMessage) {
  bool ok = true;
  std::string p = Path("empty.sgy");
  write_file(p, {});
  EXPECT_NE(open_message(p, ok).find("fread(sgy_file) error!"), std::string::npos);
  EXPECT_FALSE(ok);

  write_file(p, tiny_file(0, 10, 1000, 2));
  EXPECT_NE(open_message(p, ok).find("File Header error!"), std::string::npos);
  EXPECT_FALSE(ok);

  write_file(p, tiny_file(1, 1, 1000, 2));
  EXPECT_NE(open_message(p, ok).find("File Header error!"), std::string::npos) << "one sample is refused";
  EXPECT_FALSE(ok);

  std::vector<unsigned char> b = tiny_file(1, 10, 1000, 1);
  b.resize(3600);
  write_file(p, b);
  EXPECT_NE(open_message(p, ok).find("fread(sgy) error at trace #1!"), std::string::npos);
  EXPECT_FALSE(ok);

  b = tiny_file(1, 10, 1000, 1);
  b.resize(3600 + 240);
  write_file(p, b);
  EXPECT_NE(open_message(p, ok).find("Only #0 traces were read!"), std::string::npos);
  EXPECT_FALSE(ok);

  write_file(p, tiny_file(7, 10, 1000, 2));
  EXPECT_NE(open_message(p, ok).find("Number of Samples in trace is 0"), std::string::npos);
  EXPECT_FALSE(ok) << "format 7 has no SEG-Y sample size";

  // Random garbage never crashes.
  std::mt19937 rng(5);
  for (int n : {10, 3599, 3600, 3700, 9000}) {
    std::vector<unsigned char> g(n);
    for (auto& c : g)
      c = (unsigned char)rng();
    write_file(p, g);
    open_message(p, ok);
  }
}

TEST_F(SdsPCRead, HeaderQuirks) {
  bool ok = false;
  std::string p = Path("q.sgy");
  // An interval of 0 reads as 1 microsecond.
  write_file(p, tiny_file(1, 10, 0, 3));
  {
    CSdsPC sds;
    ASSERT_TRUE(sds.OnOpen(p.c_str(), 0, 0, 0, 0));
    // 9 x 0.001 ends below 50 and is taken for seconds.
    EXPECT_DOUBLE_EQ(sds.m_rT1, 9.0);
    EXPECT_DOUBLE_EQ(sds.m_rDT, 1.0);
  }
  // A foreign depth model: interval 10000 with bDepth is 10 m.
  write_file(p, tiny_file(1, 101, 10000, 3));
  {
    CSdsPC sds;
    ASSERT_TRUE(sds.OnOpen(p.c_str(), 0, 1, 0, 0));
    EXPECT_EQ(sds.m_nUnit, DU_M);
    EXPECT_DOUBLE_EQ(sds.m_rT0, 0.0);
    EXPECT_DOUBLE_EQ(sds.m_rT1, 1000.0);
    EXPECT_DOUBLE_EQ(sds.m_rDT, 10.0);
    EXPECT_DOUBLE_EQ(sds.m_rX0, 0.0);
    EXPECT_DOUBLE_EQ(sds.m_rX1, 20.0);
    EXPECT_DOUBLE_EQ(sds.m_rDX, 10.0);
  }
  // A foreign time file: 4 ms and 1001 samples.
  write_file(p, tiny_file(1, 1001, 4000, 2));
  {
    CSdsPC sds;
    ASSERT_TRUE(sds.OnOpen(p.c_str(), 0, 0, 0, 0));
    EXPECT_EQ(sds.m_nUnit, DU_MSEC);
    EXPECT_DOUBLE_EQ(sds.m_rT1, 4000.0);
  }
  // More than 32767 samples reads as a negative count and is refused.
  std::vector<unsigned char> b = tiny_file(1, 2, 1000, 0);
  b[3220] = 0x80, b[3221] = 0x10;
  write_file(p, b);
  open_message(p, ok);
  EXPECT_FALSE(ok);
}

TEST_F(SdsPCRead, MissingFilesAndOtherFormats) {
  bool ok = true;
  std::string p = Path("none.sgy");
  EXPECT_NE(open_message(p, ok).find("File '" + p + "' is not opened!"), std::string::npos);
  EXPECT_FALSE(ok);
  std::string out = open_message(Path("x.kti"), ok);
  EXPECT_NE(out.find("has incorrect extension. It have to be from the set '.sgy', '.kti', '.rec', '.zpl'!"),
            std::string::npos);
  EXPECT_FALSE(ok);
  write_file(Path("a.rec"), tiny_file(1, 10, 1000, 2));
  out = open_message(Path("a.rec"), ok);
  EXPECT_FALSE(ok);
  EXPECT_NE(out.find("not supported"), std::string::npos);
  out = open_message(Path("a.zpl"), ok);
  EXPECT_FALSE(ok);
  EXPECT_NE(out.find("not supported"), std::string::npos);
}

TEST_F(SdsPCRead, LiftAndInfOverrides) {
  std::string p = Path("lift.sgy");
  std::vector<unsigned char> b = tiny_file(1, 11, 10000, 3);
  for (int i = 0; i < 3; i++) {
    unsigned char* th = b.data() + 3600 + i * (240 + 44);
    th[43] = 100; // receiver elevation 100 up -> Z = -100
    th[69] = 1;   // elevation scaler 1
  }
  write_file(p, b);
  bool ok = false;
  {
    CSdsPC sds;
    testing::internal::CaptureStdout();
    ok = sds.OnOpen(p.c_str(), 0, 1, 0, 1);
    std::string out = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ok);
    EXPECT_DOUBLE_EQ(sds.m_rT0, -100.0);
    EXPECT_DOUBLE_EQ(sds.m_rT1, 0.0);
    EXPECT_DOUBLE_EQ(sds.m_rDT, 10.0);
    EXPECT_NE(out.find("OnOpen: Lifting model to -100, now [-100 .. 0]"), std::string::npos) << out;
    testing::internal::CaptureStdout();
    ok = sds.OnOpen(p.c_str(), 0, 1, 0, 500);
    out = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ok);
    EXPECT_DOUBLE_EQ(sds.m_rT0, 500.0);
    EXPECT_DOUBLE_EQ(sds.m_rT1, 600.0);
    EXPECT_NE(out.find("OnOpen: Lifting model to 500, now [500 .. 600]"), std::string::npos) << out;
  }
  // With the receiver at Z = 0 a lift of 1 does nothing and says nothing.
  write_file(p, tiny_file(1, 11, 10000, 3));
  FILE* f = fopen((p + ".inf").c_str(), "w");
  ASSERT_NE(f, nullptr);
  fputs("nComp=3\nzUnit=2\nkmVal=4\n", f);
  fclose(f);
  CSdsPC sds;
  testing::internal::CaptureStdout();
  ASSERT_TRUE(sds.OnOpen(p.c_str(), 0, 0, 0, 1));
  EXPECT_EQ(testing::internal::GetCapturedStdout().find("Lifting"), std::string::npos);
  EXPECT_DOUBLE_EQ(sds.m_rT0, 0.0);
  EXPECT_EQ(sds.m_nUnit, DU_M);
  EXPECT_EQ(sds.m_cComponent, 'R');
  EXPECT_EQ(sds.m_rValueScale, 4.0);
  std::vector<float> t(11);
  ASSERT_TRUE(sds.GetTrace(0, t.data(), 11));
  EXPECT_EQ(t[3], 4.0f);
}
