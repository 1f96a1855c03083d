// Writing gathers, models and 3-D files, read back by segyio and by CSdsPC.
#include <cmath>

#include "SeisTestUtil.h"
#include "seisfile/SgyCodec.h"

class SdsPCWrite : public ScratchDirTest {
protected:
  void TearDown() override {
    CSdsPC::COOR_SCALER = 1;
    CSdsPC::ELEV_SCALER = 1;
    CSdsPC::COMPONENT_SAVE = 0;
  }
};

static std::string text_line(const std::vector<unsigned char>& file, int line) {
  std::string s;
  for (int i = 0; i < 80; i++)
    s += (char)sgy_ebcdic_to_ascii(file[(line - 1) * 80 + i]);
  return s;
}

TEST_F(SdsPCWrite, FileHeaderIntervalAndText) {
  CSdsPC sds;
  struct {
    double dt;
    DATAUNIT unit;
    int field;
  } cases[] = {{0.002, DU_SEC, 2000}, {2.0, DU_MSEC, 2000}, {10.0, DU_M, 10000}, {50.0, DU_M, 50}, {0.5, DU_M, 500}};
  for (auto& c : cases) {
    double param[3] = {0.0, 100 * c.dt, c.dt};
    SGY_FILEHEADER h = sds.CreateSGYHeaderFile(10, param, c.unit, 0);
    EXPECT_EQ(be16(h.m_buf + 3216), c.field) << c.dt;
    EXPECT_EQ(be16(h.m_buf + 3218), c.field) << c.dt;
    EXPECT_EQ(be16(h.m_buf + 3220), 101);
    EXPECT_EQ(be16(h.m_buf + 3224), 1);
    EXPECT_EQ(be16(h.m_buf + 3596), c.unit == DU_MSEC ? 1 : c.unit == DU_M ? 2 : 0);
  }
  // Start of the axis: in the unit of the interval field.
  double param[3] = {400.0, 5400.0, 50.0};
  SGY_FILEHEADER h = sds.CreateSGYHeaderFile(70000, param, DU_M, 0);
  EXPECT_EQ(be16(h.m_buf + 3598), 0) << "400 m in kilometre units truncates";
  EXPECT_EQ((uint16_t)be16(h.m_buf + 3212), 64000);
  double param2[3] = {100.0, 1000.0, 0.5};
  h = sds.CreateSGYHeaderFile(1, param2, DU_MSEC, 1);
  EXPECT_EQ(be16(h.m_buf + 3598), 100);
  EXPECT_EQ(be16(h.m_buf + 3224), 3);
  EXPECT_EQ(be32(h.m_buf + 3200), 1);

  std::vector<unsigned char> text(h.m_buf, h.m_buf + 3600);
  EXPECT_EQ(text_line(text, 1).substr(0, 36), "C 1 __ Quarzine Technologies Inc. __");
  EXPECT_EQ(text_line(text, 2).substr(0, 29), "C 2 __ SEGY in Time Format __");
  EXPECT_EQ(text_line(text, 3), "C 3                 __ Start Time:    100.00msec" + std::string(32, ' '));
  EXPECT_EQ(text_line(text, 6).substr(0, 50), "C 6 __ Format:                    32 bit IBM short");
  EXPECT_EQ(text_line(text, 40), "C40" + std::string(77, ' '));
}

TEST_F(SdsPCWrite, TraceHeaderScalersAndIds) {
  CSdsPC sds;
  CSdsPC::COOR_SCALER = -100;
  CSdsPC::ELEV_SCALER = 10;
  SDS_TRACEINFO r{};
  r.m_fXs = 100.25f, r.m_fYs = -3.5f, r.m_fXr = 1234.56f, r.m_fYr = 7.0f, r.m_fZs = 25.0f, r.m_fZr = -126.0f;
  r.m_nPart = 17;
  double param[3] = {0, 1, 0.001};
  int ids[2] = {42, 7};
  SGY_TRACEHEADER h = sds.CreateSGYHeaderTrace(ids, r, param, DU_SEC);
  const unsigned char* b = h.m_buf;
  // Ids, part, distance, elevations (-Z / 10, floored after adding 0.5),
  // receiver X at 181 in whole metres.
  const int want32[][2] = {{0, 42},  {8, 17},  {12, 7},     {16, 17}, {36, 1134},
                           {44, -2}, {40, 13}, {180, 1235}, {188, 7}, {192, 42}};
  for (const auto& w : want32)
    EXPECT_EQ(be32(b + w[0]), w[1]) << "byte " << w[0];
  const int want16[][2] = {{28, 1}, {68, 10}, {114, 1001}, {116, 1000}};
  for (const auto& w : want16)
    EXPECT_EQ(be16(b + w[0]), w[1]) << "byte " << w[0];
  CSdsPC::PROMAX = true;
  h = sds.CreateSGYHeaderTrace(ids, r, param, DU_SEC);
  CSdsPC::PROMAX = false;
  EXPECT_EQ(be32(h.m_buf + 188), 18);
  EXPECT_EQ(be32(h.m_buf + 192), 7);
}

#ifdef KELVO_HAVE_SEGYIO
TEST_F(SdsPCWrite, GatherIsReadableByOtherSoftware) {
  const int cx = 4, cy = 60;
  std::vector<float> data(cx * cy);
  for (int k = 0; k < cy; k++)
    for (int i = 0; i < cx; i++)
      data[k * cx + i] = (k == 3) ? 5e-7f : (float)std::sin(0.1 * k + i) * (i + 1) * 100.0f;
  std::vector<SDS_TRACEINFO> info(cx);
  for (int i = 0; i < cx; i++) {
    info[i] = SDS_TRACEINFO{};
    info[i].m_fXs = 500.0f, info[i].m_fYs = 50.0f;
    info[i].m_fXr = 100.0f * i + 0.25f, info[i].m_fYr = 20.0f, info[i].m_fZr = 12.5f;
  }
  CSdsPC::COOR_SCALER = -100;
  std::string path = Path("gather.sgy");
  CSdsPC sds;
  ASSERT_TRUE(sds.OnSave(path.c_str(), data.data(), CRectR(0, 0, 300, 0.118), CSizeN(cx, cy), 0, 0, false, info.data(),
                         DU_SEC));
  CSegyTestFile rb = CSegyTestFile::Read(path);
  ASSERT_EQ(rb.m_nTraces, cx);
  EXPECT_EQ(rb.m_nSamples, cy);
  EXPECT_EQ(rb.m_nFormat, 1);
  EXPECT_EQ((int)rb.m_fDtUs, 2000);
  for (int i = 0; i < cx; i++) {
    EXPECT_EQ(rb.Field(i, SEGY_TR_OFFSET), (int)std::floor(100.0 * i + 0.25 - 500.0)) << "signed X offset";
    EXPECT_EQ(rb.Field(i, SEGY_TR_SOURCE_X), 50000);
    EXPECT_EQ(rb.Field(i, SEGY_TR_GROUP_X), 10000 * i + 25);
    EXPECT_EQ(rb.Field(i, SEGY_TR_SOURCE_GROUP_SCALAR), -100);
    EXPECT_EQ(rb.Field(i, SEGY_TR_RECV_GROUP_ELEV), -12) << "elevation is -Z, rounded up at .5";
    EXPECT_EQ(rb.Field(i, SEGY_TR_INLINE), i + 1);
    for (int k = 0; k < cy; k++) {
      float want = data[k * cx + i];
      if (k == 3)
        ASSERT_EQ(rb.m_vData[i][k], 0.0f) << "tiny values become 0";
      else
        ASSERT_NEAR(rb.m_vData[i][k], want, std::fabs(want) * 1e-6 + 1e-6) << i << "," << k;
    }
  }
  // And back through the object: the vendor header gives unit and axis.
  ASSERT_TRUE(sds.OnOpen(path.c_str(), 0, 0, 0, 0));
  EXPECT_EQ(sds.m_nTraceCount, cx);
  EXPECT_NEAR(sds.m_rT1, 118.0, 1e-9);
  EXPECT_NEAR(sds.m_rDT, 2.0, 1e-9);
  EXPECT_FLOAT_EQ(sds.m_pSR[2].m_fXr, 200.25f);
  EXPECT_FLOAT_EQ(sds.m_pSR[2].m_fZr, 12.0f);
  std::vector<float> t(cy);
  ASSERT_TRUE(sds.GetTrace(1, t.data(), cy));
  EXPECT_NEAR(t[10], data[10 * cx + 1], std::fabs(data[10 * cx + 1]) * 1e-6);
}

TEST_F(SdsPCWrite, HeaderEditsReachTheFile) {
  std::string path = Path("edit.sgy");
  CSdsPC sds;
  ASSERT_TRUE(sds.OnSave(path.c_str(), nullptr, CRectR(0, 0, 30, 0.1), CSizeN(4, 51)));
  ASSERT_TRUE(sds.OnOpen(path.c_str(), 1, 0, 0, 0));
  for (int i = 0; i < 4; i++) {
    SGY_TRACEHEADER h;
    ASSERT_TRUE(sds.GetTraceHeader(i, h, 1));
    EXPECT_EQ(h.GetInt32(12), i + 1);
    h.SetInt32(188, 1000 + i);
    ASSERT_TRUE(sds.SetTraceHeader(i, h, 1));
  }
  sds.Close();
  CSegyTestFile rb = CSegyTestFile::Read(path);
  ASSERT_EQ(rb.m_nTraces, 4);
  for (int i = 0; i < 4; i++) {
    EXPECT_EQ(rb.Field(i, SEGY_TR_INLINE), 1000 + i);
    EXPECT_EQ(rb.Field(i, SEGY_TR_GROUP_X), 10 * i);
    for (float v : rb.m_vData[i])
      EXPECT_EQ(v, 0.0f);
  }
}
#endif

TEST_F(SdsPCWrite, OnSaveEdgeCases) {
  CSdsPC sds;
  std::string p = Path("one.sgy");
  ASSERT_TRUE(sds.OnSave(p.c_str(), nullptr, CRectR(250, 0, 900, 100), CSizeN(1, 11)));
  ASSERT_TRUE(sds.OnOpen(p.c_str(), 0, 0, 0, 0));
  EXPECT_EQ(sds.m_nTraceCount, 1);
  EXPECT_FLOAT_EQ(sds.m_pSR[0].m_fXr, 250.0f) << "a single trace stands at X0";
  testing::internal::CaptureStdout();
  EXPECT_FALSE(sds.OnSave(Path("bad.sgy").c_str(), nullptr, CRectR(0, 0, 1, 1), CSizeN(3, 1)));
  EXPECT_FALSE(sds.OnSave(Path("bad.txt").c_str(), nullptr, CRectR(0, 0, 1, 1), CSizeN(3, 5)));
  EXPECT_FALSE(sds.OnSave(Path("bad.zpl").c_str(), nullptr, CRectR(0, 0, 1, 1), CSizeN(3, 5)));
  EXPECT_FALSE(sds.OnSave("/nonexistent-dir/x.sgy", nullptr, CRectR(0, 0, 1, 1), CSizeN(3, 5)));
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("Buffer size error"), std::string::npos);
  EXPECT_NE(out.find("has incorrect extension. It have to be from the set '.sgy', '.rec', '.zpl'!"), std::string::npos);
  EXPECT_NE(out.find("File '/nonexistent-dir/x.sgy' is not opened."), std::string::npos);
}

TEST_F(SdsPCWrite, ManyTracesKeepTheirCount) {
  const int n = 70000;
  std::string p = Path("many.sgy");
  CSdsPC sds;
  ASSERT_TRUE(sds.OnSave(p.c_str(), nullptr, CRectR(0, 0, n - 1, 100), CSizeN(n, 2)));
  EXPECT_EQ((uint16_t)be16(read_file(p).data() + 3212), 64000) << "the count field is capped";
  ASSERT_TRUE(sds.OnOpen(p.c_str(), 0, 0, 0, 0));
  EXPECT_EQ(sds.m_nTraceCount, n);
  EXPECT_FLOAT_EQ(sds.m_pSR[n - 1].m_fXr, (float)(n - 1));
}

TEST_F(SdsPCWrite, Cube3DCreateFillAndReread) {
  const int nx = 5, ny = 4, nz = 30;
  std::string p = Path("cube.sgy");
  CSdsPC sds;
  C3DPointR src(1.0, 2.0, 3.0);
  ASSERT_TRUE(
      sds.Create3D_file(p.c_str(), C3DSizeN(nx, ny, nz), CCubeR(100, 200, 0, 140, 260, 290), 0, DU_M, 0, nullptr));
  ASSERT_TRUE(sds.OnOpen(p.c_str(), 1, 1, 0, 0));
  ASSERT_EQ(sds.m_nTraceCount, nx * ny);
  EXPECT_EQ(sds.m_nTraceLen, nz);
  EXPECT_EQ(sds.m_nUnit, DU_M);
  EXPECT_DOUBLE_EQ(sds.m_rT1, 290.0);
  EXPECT_DOUBLE_EQ(sds.m_rDT, 10.0);
  for (int y = 0; y < ny; y++)
    for (int x = 0; x < nx; x++) {
      const SDS_TRACEINFO& r = sds.m_pSR[y * nx + x];
      EXPECT_FLOAT_EQ(r.m_fXr, 100.0f + 10 * x);
      EXPECT_FLOAT_EQ(r.m_fYr, 200.0f + 20 * y);
      EXPECT_FLOAT_EQ(r.m_fXs, 100.0f) << "source at the first trace of its line";
      EXPECT_FLOAT_EQ(r.m_fYs, 200.0f + 20 * y);
      EXPECT_EQ(r.m_nPart, y);
    }
  // Fill in reverse order; one trace with too many samples.
  std::vector<float> buf(nz + 10);
  for (int t = nx * ny - 1; t >= 0; t--) {
    for (int k = 0; k < nz + 10; k++)
      buf[k] = 1000.0f * t + k + 0.5f;
    sds.SetTrace(t, buf.data(), t == 7 ? nz + 10 : nz);
  }
  ASSERT_TRUE(sds.OnOpen(p.c_str(), 0, 1, 0, 0));
  ASSERT_EQ(sds.m_nTraceCount, nx * ny);
  for (int t = 0; t < nx * ny; t++) {
    ASSERT_TRUE(sds.GetTrace(t, buf.data(), nz));
    for (int k = 0; k < nz; k++)
      ASSERT_NEAR(buf[k], 1000.0f * t + k + 0.5f, 0.02) << t << "," << k;
  }
  // A value scale divides on writing and multiplies on reading.
  ASSERT_TRUE(sds.OnOpen(p.c_str(), 1, 1, 0, 0));
  sds.m_rValueScale = 2.0;
  for (int k = 0; k < nz; k++)
    buf[k] = 3.0f * k;
  sds.SetTrace(4, buf.data(), nz);
  ASSERT_TRUE(sds.GetTrace(4, buf.data(), nz));
  EXPECT_NEAR(buf[9], 27.0f, 1e-4);
  sds.m_rValueScale = 1.0;
  ASSERT_TRUE(sds.GetTrace(4, buf.data(), nz));
  EXPECT_NEAR(buf[9], 13.5f, 1e-4);

  // A given source position goes to every trace.
  ASSERT_TRUE(sds.Create3D_file(p.c_str(), C3DSizeN(2, 2, 8), CCubeR(0, 0, 0, 10, 10, 70), 0, DU_M, 0, &src));
  ASSERT_TRUE(sds.OnOpen(p.c_str(), 0, 1, 0, 0));
  EXPECT_FLOAT_EQ(sds.m_pSR[3].m_fXs, 1.0f);
  EXPECT_FLOAT_EQ(sds.m_pSR[3].m_fYs, 2.0f);
}

TEST_F(SdsPCWrite, Cube3DSizesAndCoarseSteps) {
  CSdsPC sds;
  testing::internal::CaptureStdout();
  for (const std::string& name : {Path("a.segy"), Path("a.zpl"), std::string("/nonexistent-dir/a.sgy")})
    EXPECT_FALSE(sds.Create3D_file(name.c_str(), C3DSizeN(3, 3, 10), CCubeR(0, 0, 0, 1, 1, 90), 0, DU_M, 0, nullptr))
        << name;
  EXPECT_FALSE(
      sds.Create3D_file(Path("a.sgy").c_str(), C3DSizeN(1, 1, 10), CCubeR(0, 0, 0, 1, 1, 90), 0, DU_M, 0, nullptr));
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("size error: X=1, Y=1, Z=10"), std::string::npos);
  EXPECT_NE(out.find("error: format is not supported"), std::string::npos);
  EXPECT_NE(out.find("Create3D_file error: /nonexistent-dir is not accessed"), std::string::npos);

  // (n, 1, m): a 2-D file of n traces.
  std::string p = Path("flat.sgy");
  ASSERT_TRUE(sds.Create3D_file(p.c_str(), C3DSizeN(6, 1, 10), CCubeR(0, 5, 0, 50, 5, 90), 0, DU_M, 0, nullptr));
  ASSERT_TRUE(sds.OnOpen(p.c_str(), 0, 1, 0, 0));
  EXPECT_EQ(sds.m_nTraceCount, 6);
  EXPECT_EQ(sds.m_nTraceLen, 10);
  EXPECT_FLOAT_EQ(sds.m_pSR[5].m_fXr, 50.0f);

  // A 50 m step does not fit the interval field: the .inf file restores it.
  p = Path("coarse.sgy");
  ASSERT_TRUE(sds.Create3D_file(p.c_str(), C3DSizeN(2, 2, 21), CCubeR(0, 0, 0, 10, 10, 1000), 0, DU_M, 0, nullptr));
  std::vector<unsigned char> inf = read_file(p + ".inf");
  EXPECT_EQ(std::string(inf.begin(), inf.end()), "[Reform]\nkmTrs=1000.000000\n");
  ASSERT_TRUE(sds.OnOpen(p.c_str(), 0, 1, 0, 0));
  EXPECT_DOUBLE_EQ(sds.m_rDT, 50.0);
  EXPECT_DOUBLE_EQ(sds.m_rT1, 1000.0);
  // Re-creating the file removes the stale side file.
  ASSERT_TRUE(sds.Create3D_file(p.c_str(), C3DSizeN(2, 2, 21), CCubeR(0, 0, 0, 10, 10, 200), 0, DU_M, 0, nullptr));
  EXPECT_TRUE(read_file(p + ".inf").empty());
  ASSERT_TRUE(sds.OnOpen(p.c_str(), 0, 1, 0, 0));
  EXPECT_DOUBLE_EQ(sds.m_rDT, 10.0);
}

TEST_F(SdsPCWrite, ModelVolumesGoToOneFileEach) {
  const int cx = 3, cy = 5;
  std::vector<float> p(cx * cy, 2000.0f), q(cx * cy, 2200.0f), s(cx * cy, 900.0f);
  std::string name = Path("model.sgy");
  CSdsPC sds;
  ASSERT_TRUE(sds.OnSaveModel(name.c_str(), p.data(), q.data(), nullptr, CRectR(0, 0, 20, 400), CSizeN(cx, cy), nullptr,
                              "XYZW", DU_M, s.data()));
  ASSERT_TRUE(sds.OnOpen(name.c_str(), 0, 0, 0, 0));
  EXPECT_EQ(sds.m_cComponent, 'P');
  std::vector<float> t(cy);
  ASSERT_TRUE(sds.GetTrace(2, t.data(), cy));
  EXPECT_EQ(t[4], 2000.0f);
  ASSERT_TRUE(sds.OnOpen(Path("model_Y.SGY").c_str(), 0, 0, 0, 0));
  EXPECT_EQ(sds.m_cComponent, ' ') << "Y is not a component letter";
  ASSERT_TRUE(sds.OnOpen(Path("model_W.SGY").c_str(), 0, 0, 0, 0));
  ASSERT_TRUE(sds.GetTrace(0, t.data(), cy));
  EXPECT_EQ(t[0], 900.0f);
  EXPECT_TRUE(read_file(Path("model_Z.SGY")).empty()) << "no R volume given";
  EXPECT_FALSE(sds.OnSaveModel(name.c_str(), nullptr, nullptr, nullptr, CRectR(0, 0, 20, 400), CSizeN(cx, cy), nullptr,
                               nullptr, DU_M, nullptr));
}
