// SDS trace files (.rec, .sec): headers, sample encodings, scanning, damaged
// files, and the way from SEG-Y to SDS and back.
#include <cmath>
#include <random>

#include "SeisTestUtil.h"
#include "seisfile/SdsCodec.h"

namespace {

class SdsFile : public ScratchDirTest {
protected:
  void TearDown() override { CSdsPC::COOR_SCALER = 1; }
};

struct SRecTrace {
  int id = 1;
  SDS_TRACEINFO info{};
  std::vector<unsigned char> samples;
};

// An SDS header of this system, for nFormat 0 "R4", 1 "I2", 2 "T1".
SDS_TRACEHEADER make_header(int id, const SDS_TRACEINFO& info, double t0, double t1, double dt, int nFormat) {
  CSdsPC sds;
  int ids[2] = {id, id};
  double axis[3] = {t0, t1, dt};
  return sds.CreateSDSHeaderTrace(ids, info, axis, DU_MSEC, nFormat);
}

std::vector<unsigned char> bytes_of(const SDS_TRACEHEADER& h) {
  return std::vector<unsigned char>(h.m_buf, h.m_buf + 80);
}

void append(std::vector<unsigned char>& file, const SDS_TRACEHEADER& h, const std::vector<unsigned char>& samples) {
  file.insert(file.end(), h.m_buf, h.m_buf + 80);
  file.insert(file.end(), samples.begin(), samples.end());
}

// A seismic-like trace: a decaying sum of two tones, steps below 127.
std::vector<float> seismic_trace(int n, int seed) {
  std::vector<float> v(n);
  for (int k = 0; k < n; k++)
    v[k] = (float)(1500.0 * std::exp(-0.005 * k) * (std::sin(0.05 * k + seed) + 0.5 * std::cos(0.03 * k + 0.7 * seed)));
  return v;
}

} // namespace

TEST_F(SdsFile, HeaderAxisHoldsWholeUnits) {
  const struct {
    double t0, t1, dt;
    int start, end, step, samples;
  } cases[] = {
      {0, 0.118, 0.002, 0, 120, 2, 60},       // seconds become milliseconds
      {0, 0.0001, 0.0000005, 0, 101, 1, 101}, // a step below 1 ms: microseconds, rounded
      {0, 4000, 4, 0, 4004, 4, 1001},         // a step of at least 1 stays as it is
      {100, 300, 10, 100, 310, 10, 21},
  };
  SDS_TRACEINFO info{};
  info.m_fXs = 10.0f, info.m_fXr = 31.0f, info.m_fYs = -5.0f, info.m_fYr = 7.0f;
  CSdsPC sds;
  for (const auto& c : cases) {
    SDS_TRACEHEADER h = make_header(9, info, c.t0, c.t1, c.dt, 0);
    EXPECT_EQ(h.GetInt32(40), c.start) << c.dt;
    EXPECT_EQ(h.GetInt32(44), c.end) << c.dt;
    EXPECT_EQ(h.GetInt32(56), c.step) << c.dt;
    EXPECT_EQ(sds.GetTraceLenSDS(&h), 4 * c.samples) << c.dt;
  }
  // Ids, scaler, positions with the mid-point, the marks of this system.
  SDS_TRACEHEADER h = make_header(9, info, 0, 10, 1, 2);
  const int32_t fields[][2] = {{0, 9}, {12, 1}, {16, 9}, {20, 10}, {24, 20}, {28, 31}, {72, -5}, {76, 7}, {60, 100}};
  for (const auto& f : fields)
    EXPECT_EQ(h.GetInt32(f[0]), f[1]) << "offset " << f[0];
  EXPECT_EQ(std::string((const char*)h.m_buf + 36, 4), "T1  ");
  EXPECT_EQ(std::string((const char*)h.m_buf + 64, 8), "SP01    ");
  EXPECT_EQ(sds.GetTraceLenSDS(&h), 11);
}

TEST(SdsCodec, DifferencesStayWithinHalfAUnitWhileStepsFitAByte) {
  // Bound: for |sample 0| <= 32767 and |s[i] - s[i-1]| < 127, samples
  // 0..n-2 read back within 0.5 (each is rounded once, from the value the
  // reader holds); the last repeats sample n-2.
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> step(-126.4f, 126.4f), start(-32000.0f, 32000.0f);
  std::vector<std::vector<float>> traces;
  for (int t = 0; t < 20; t++) {
    std::vector<float> v(1 + t * 37);
    v[0] = start(rng);
    for (size_t k = 1; k < v.size(); k++)
      v[k] = v[k - 1] + step(rng); // a random walk, free to leave 16 bits
    traces.push_back(v);
    traces.push_back(seismic_trace(500, t));
  }
  for (const std::vector<float>& v : traces) {
    const int n = (int)v.size();
    std::vector<unsigned char> b(n);
    std::vector<float> back(n);
    sds_EncodeT1(v.data(), n, b.data());
    sds_DecodeT1(b.data(), n, back.data());
    for (int k = 0; k + 1 < n; k++)
      ASSERT_LE(std::fabs(back[k] - v[k]), 0.5f) << "n=" << n << " k=" << k;
    if (n >= 2) {
      EXPECT_EQ(back[n - 1], back[n - 2]);
    }
  }
  // Outside the bound a step keeps its low 8 bits; two samples give two
  // copies of the first.
  const float jump[4] = {10.0f, 210.0f, 50.0f, 0.0f}, two[2] = {-300.4f, 99.0f};
  unsigned char b[4];
  float back[4];
  sds_EncodeT1(jump, 4, b);
  sds_DecodeT1(b, 4, back);
  EXPECT_EQ(back[1], 210.0f - 256.0f);
  EXPECT_EQ(back[2], 50.0f) << "the next difference starts from what the reader has";
  sds_EncodeT1(two, 2, b);
  sds_DecodeT1(b, 2, back);
  EXPECT_EQ(back[0], -300.0f);
  EXPECT_EQ(back[1], -300.0f);
}

TEST_F(SdsFile, EveryEncodingIsWrittenBySetTraceAndReadBack) {
  const int ns = 50, nTraces = 3;
  const struct {
    int nFormat;
    SGYDATATYPE type;
    int nSize;
    float tol;
  } cases[] = {{0, SGY_FLOAT, 4, 0.0f}, {1, SGY_INT2, 2, 0.5f}, {2, SGY_T1, 1, 0.5f}};
  for (const auto& c : cases) {
    std::vector<unsigned char> file;
    for (int i = 0; i < nTraces; i++) {
      SDS_TRACEINFO info{};
      info.m_fXr = 25.0f * i;
      append(file, make_header(i + 1, info, 0, 98, 2, c.nFormat), std::vector<unsigned char>(ns * c.nSize, 0));
    }
    const std::string path = Path("enc.rec");
    write_file(path, file);
    std::vector<std::vector<float>> want;
    {
      CSdsPC sds;
      ASSERT_TRUE(sds.OnOpen(path.c_str(), 1, 0, 0, 0));
      EXPECT_EQ(sds.m_DataType, c.type);
      ASSERT_EQ(sds.m_nTraceLen, ns);
      for (int i = 0; i < nTraces; i++) {
        want.push_back(seismic_trace(ns, i + 1));
        std::vector<float> data = want.back();
        sds.SetTrace(i, data.data(), ns + 5); // cut to the trace length
      }
    }
    EXPECT_EQ(file_size(path), (long)file.size());
    CSdsPC sds;
    ASSERT_TRUE(sds.OnOpen(path.c_str(), 0, 0, 0, 0));
    EXPECT_DOUBLE_EQ(sds.m_rT1, 98.0);
    std::vector<float> got(ns + 2);
    for (int i = 0; i < nTraces; i++) {
      ASSERT_TRUE(sds.GetTrace(i, got.data(), ns + 2));
      const int nExact = c.type == SGY_T1 ? ns - 1 : ns;
      for (int k = 0; k < nExact; k++)
        ASSERT_NEAR(got[k], want[i][k], c.tol) << c.nFormat << " trace " << i << " sample " << k;
      EXPECT_EQ(got[ns], got[ns - 1]) << "a longer read repeats the last sample";
      // A shorter read of a difference-coded trace still gets its first sample right.
      float head[3];
      ASSERT_TRUE(sds.GetTrace(i, head, 3));
      EXPECT_NEAR(head[0], want[i][0], c.tol + 1e-3f);
    }
  }
  // 32-bit integers are read, though never written.
  SDS_TRACEHEADER h = make_header(1, SDS_TRACEINFO{}, 0, 2, 1, 0);
  memcpy(h.m_buf + 36, "I4", 2);
  const int32_t v[3] = {-70000, 5, 123456};
  std::vector<unsigned char> file = bytes_of(h);
  file.insert(file.end(), (const unsigned char*)v, (const unsigned char*)v + 12);
  write_file(Path("i4.sec"), file);
  CSdsPC sds;
  ASSERT_TRUE(sds.OnOpen(Path("i4.sec").c_str(), 0, 0, 0, 0));
  float got[3];
  ASSERT_TRUE(sds.GetTrace(0, got, 3));
  EXPECT_EQ(got[0], -70000.0f);
  EXPECT_EQ(got[2], 123456.0f);
}

TEST_F(SdsFile, ScanLeavesOutDeadTracesAndStopsAtACutTrace) {
  std::vector<unsigned char> file;
  const int ns = 8;
  for (int i = 0; i < 4; i++) {
    SDS_TRACEINFO info{};
    info.m_fXs = 1000.0f, info.m_fXr = 100.0f * i, info.m_fYr = 7.0f;
    SDS_TRACEHEADER h = make_header(i + 1, info, 0, 70, 10, 0);
    if (i == 1)
      h.SetInt32(12, 0); // dead
    if (i == 2) {        // elevations announced by -100
      h.SetInt32(60, -100);
      h.SetInt32(48, 12);
      h.SetInt32(52, 34);
    }
    std::vector<float> s(ns, (float)i);
    append(file, h, std::vector<unsigned char>((unsigned char*)s.data(), (unsigned char*)(s.data() + ns)));
  }
  file.resize(file.size() - 10); // the last trace is cut
  write_file(Path("cut.SEC"), file);
  CSdsPC sds;
  ASSERT_TRUE(sds.OnOpen(Path("cut.SEC").c_str(), 0, 0, 0, 0));
  ASSERT_EQ(sds.m_nTraceCount, 2);
  EXPECT_FLOAT_EQ(sds.m_pSR[1].m_fXr, 200.0f);
  EXPECT_FLOAT_EQ(sds.m_pSR[1].m_fZs, 12.0f);
  EXPECT_FLOAT_EQ(sds.m_pSR[1].m_fZr, 34.0f);
  EXPECT_FLOAT_EQ(sds.m_pSR[0].m_fZr, 0.0f);
  EXPECT_EQ(sds.m_pSR[1].m_nPos, 2 * (80 + 4 * ns));
  EXPECT_DOUBLE_EQ(sds.m_rDX, 200.0); // from the first pair of records
  float got[ns];
  ASSERT_TRUE(sds.GetTrace(1, got, ns));
  EXPECT_EQ(got[ns - 1], 2.0f);
}

TEST_F(SdsFile, TruncatedEmptyAndRandomFilesFailWithTheirMessage) {
  SDS_TRACEINFO info{};
  auto header = [&](int nFormat, double t1, double dt) { return bytes_of(make_header(1, info, 0, t1, dt, nFormat)); };
  auto with = [](std::vector<unsigned char> b, size_t nExtra) {
    b.resize(b.size() + nExtra, 0);
    return b;
  };
  std::vector<unsigned char> dead = with(header(0, 30, 10), 16), r2 = with(header(0, 30, 10), 8);
  memset(dead.data() + 12, 0, 4);
  dead.insert(dead.end(), dead.begin(), dead.end());
  memcpy(r2.data() + 36, "R2", 2);
  std::mt19937 rng(2024);
  std::vector<unsigned char> random(1000);
  for (unsigned char& c : random)
    c = (unsigned char)(rng() & 0xFF);
  const struct {
    const char* name;
    std::vector<unsigned char> bytes;
    const char* msg;
  } cases[] = {
      {"empty.rec", {}, "!fread(sds) Trace #1\n"},
      {"half.rec", std::vector<unsigned char>(40, 1), "!fread(sds) Trace #1\n"},
      {"nostep.rec", with(header(0, 30, 0), 16), "Trace #1 is not read!\n"},
      {"oneT1.rec", with(header(2, 0, 1), 1), "Trace #1 is not read!\n"},
      {"r2.rec", r2, "Trace #1 is not read!\n"},
      {"cut.rec", with(header(0, 30, 10), 15), "CSdsPC::OnOpen failed: m_nTraceCount<=0\n"},
      {"dead.rec", dead, "CSdsPC::OnOpen failed: m_nTraceCount<=0\n"},
      {"random.rec", random, "Trace #1 is not read!\n"},
  };
  for (const auto& c : cases) {
    write_file(Path(c.name), c.bytes);
    CSdsPC sds;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(sds.OnOpen(Path(c.name).c_str(), 0, 0, 0, 0)) << c.name;
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, c.msg) << c.name;
    EXPECT_EQ(sds.m_pSR, nullptr);
    EXPECT_EQ(sds.m_fp, nullptr);
  }
}

#ifdef KELVO_HAVE_SEGYIO
// A foreign SEG-Y file to SDS and back to SEG-Y: positions, axis and samples
// survive (SDS holds no elevations and no part number of its own).
TEST_F(SdsFile, SegyToSdsToSegyKeepsPositionsAxisAndSamples) {
  for (int16_t scaler : {1, -100}) {
    CSdsPC::COOR_SCALER = scaler;
    const int ns = 21, cx = 5;
    std::vector<STestTrace> traces(cx);
    for (int i = 0; i < cx; i++) {
      STestTrace& t = traces[i];
      t.scalco = scaler;
      t.sx = 123456 + i, t.sy = -2000 - 3 * i, t.gx = 5000 * i + 7, t.gy = 300 + i;
      for (int k = 0; k < ns; k++)
        t.samples.push_back(0.25f * (float)((k * 37 + i * 11) % 400) - 50.0f); // exact in IBM floats
    }
    ASSERT_TRUE(segyio_write(Path("in.sgy"), 1, false, ns, 4000, traces));
    CSdsPC in;
    ASSERT_TRUE(in.OnOpen(Path("in.sgy").c_str(), 0, 0, 0, 0));
    auto save = [&](CSdsPC& src, const std::string& name) {
      std::vector<float> data((size_t)cx * ns), t(ns);
      for (int i = 0; i < cx; i++) {
        EXPECT_TRUE(src.GetTrace(i, t.data(), ns));
        for (int k = 0; k < ns; k++)
          data[(size_t)k * cx + i] = t[k];
      }
      CSdsPC out;
      return out.OnSave(Path(name).c_str(), data.data(), CRectR(src.m_rX0, src.m_rT0, src.m_rX1, src.m_rT1),
                        CSizeN(cx, ns), 0, 0, false, src.m_pSR, DU_MSEC);
    };
    ASSERT_TRUE(save(in, "mid.rec"));
    EXPECT_EQ(file_size(Path("mid.rec")), cx * (80 + 4 * ns));
    CSdsPC mid;
    ASSERT_TRUE(mid.OnOpen(Path("mid.rec").c_str(), 0, 0, 0, 0));
    ASSERT_EQ(mid.m_nTraceCount, cx);
    EXPECT_DOUBLE_EQ(mid.m_rT0, 0.0);
    EXPECT_DOUBLE_EQ(mid.m_rT1, 80.0);
    EXPECT_DOUBLE_EQ(mid.m_rDT, 4.0);
    ASSERT_TRUE(save(mid, "out.sgy"));

    CSegyTestFile rb = CSegyTestFile::Read(Path("out.sgy"));
    ASSERT_TRUE(rb.m_bOk);
    ASSERT_EQ(rb.m_nTraces, cx);
    EXPECT_EQ(rb.m_nSamples, ns);
    EXPECT_EQ((int)rb.m_fDtUs, 4000);
    for (int i = 0; i < cx; i++) {
      const STestTrace& t = traces[i];
      EXPECT_EQ(rb.Field(i, SEGY_TR_SOURCE_GROUP_SCALAR), scaler);
      EXPECT_EQ(rb.Field(i, SEGY_TR_SOURCE_X), t.sx) << scaler;
      EXPECT_EQ(rb.Field(i, SEGY_TR_SOURCE_Y), t.sy) << scaler;
      EXPECT_EQ(rb.Field(i, SEGY_TR_GROUP_X), t.gx) << scaler;
      EXPECT_EQ(rb.Field(i, SEGY_TR_GROUP_Y), t.gy) << scaler;
      for (int k = 0; k < ns; k++)
        ASSERT_EQ(rb.m_vData[i][k], t.samples[k]) << i << "," << k;
    }
  }
}
#endif
