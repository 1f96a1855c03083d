// Side files of a trace file: the .inf header-field map and the .cr2 cache of
// its trace table, taken by OnOpen only while it matches its trace file.
#include <fcntl.h>
#include <sys/stat.h>

#include <ctime>

#include <cmath>
#include <functional>
#include <limits>

#include "SeisTestUtil.h"

namespace {

const int NS = 20, NT = 5;
const float MARK = 777.0f; // a receiver X no scan of the gathers below gives

// A gather of NT traces of NS samples (sample k of trace i: 10 i + k), source
// at 1000, receivers every 100 from 0, axis 0..38 ms.
bool save_gather(const std::string& path) {
  std::vector<float> data(NS * NT);
  std::vector<SDS_TRACEINFO> info(NT);
  for (int i = 0; i < NT; i++) {
    info[i] = SDS_TRACEINFO{};
    info[i].m_fXs = 1000.0f, info[i].m_fYs = 50.0f;
    info[i].m_fXr = 100.0f * i, info[i].m_fYr = 20.0f;
    for (int k = 0; k < NS; k++)
      data[k * NT + i] = 10.0f * i + k;
  }
  CSdsPC sds;
  return sds.OnSave(path.c_str(), data.data(), CRectR(0, 0, 400, 38), CSizeN(NT, NS), 0, 0, false, info.data(),
                    DU_MSEC);
}

// Opens path, capturing what it prints.
bool open_quiet(CSdsPC& sds, const std::string& path, std::string& out) {
  testing::internal::CaptureStdout();
  const bool b = sds.OnOpen(path.c_str(), 0, 0, 0, 0);
  out = testing::internal::GetCapturedStdout();
  return b;
}

template <typename T> void put(std::vector<unsigned char>& b, size_t off, T v) {
  memcpy(b.data() + off, &v, sizeof(T));
}
template <typename T> T get(const std::vector<unsigned char>& b, size_t off) {
  T v;
  memcpy(&v, b.data() + off, sizeof(T));
  return v;
}

// Offsets in a .cr2 file: the header fields and field f of record i.
const size_t OFF_SIZE = 4, OFF_COUNT = 20, OFF_LEN = 24, OFF_DT = 44, OFF_TYPE = 84, OFF_TABLE = 220;
size_t rec_off(int i, size_t f) { return OFF_TABLE + 44 * i + f; }
const size_t F_XR = 4, F_POS = 28;

} // namespace

using SideFiles = ScratchDirTest;

TEST_F(SideFiles, CacheHoldsWhatTheScanFoundAndIsTakenOnOpen) {
  for (const char* name : {"g.rec", "g.sgy"}) {
    const std::string path = Path(name), cr2 = path + ".cr2";
    ASSERT_TRUE(save_gather(path));
    CSdsPC scan;
    ASSERT_TRUE(scan.OnOpen(path.c_str(), 0, 0, 0, 0));
    EXPECT_EQ(scan.m_bInfoSaved, 0);
    EXPECT_FALSE(file_exists(cr2)) << "a scan leaves no cache behind";
    EXPECT_TRUE(scan.SetInfoHeaderFromFile(path.c_str(), 0)) << "nothing to do";
    EXPECT_FALSE(file_exists(cr2));
    ASSERT_TRUE(scan.SetInfoHeaderFromFile(path.c_str(), 1));
    EXPECT_EQ(file_size(cr2), 293 + 44 * NT);

    // The cache is taken: a receiver marked in it shows up on opening.
    std::vector<unsigned char> b = read_file(cr2);
    put<float>(b, rec_off(2, F_XR), MARK);
    write_file(cr2, b);
    CSdsPC fast;
    std::string out;
    ASSERT_TRUE(open_quiet(fast, path, out)) << out;
    EXPECT_EQ(out, "");
    EXPECT_EQ(fast.m_bInfoSaved, 1);
    EXPECT_EQ(fast.m_pSR[2].m_fXr, MARK) << name;
    fast.m_pSR[2].m_fXr = scan.m_pSR[2].m_fXr;
    ASSERT_EQ(fast.m_nTraceCount, scan.m_nTraceCount);
    EXPECT_EQ(memcmp(fast.m_pSR, scan.m_pSR, sizeof(SDS_TRACEINFO) * NT), 0) << name;
    EXPECT_EQ(fast.m_nTraceLen, scan.m_nTraceLen);
    EXPECT_EQ(fast.m_DataType, scan.m_DataType);
    EXPECT_EQ(fast.m_nUnit, scan.m_nUnit);
    EXPECT_EQ(fast.m_cComponent, scan.m_cComponent);
    EXPECT_EQ(memcmp(fast.m_arInfo, scan.m_arInfo, sizeof(scan.m_arInfo)), 0);
    const double* a = &fast.m_rT0;
    const double* s = &scan.m_rT0;
    for (int k = 0; k < 6; k++) // axis and lateral values
      EXPECT_DOUBLE_EQ(a[k], s[k]) << name << " " << k;
    std::vector<float> t(NS);
    ASSERT_TRUE(fast.GetTrace(3, t.data(), NS));
    EXPECT_EQ(t[7], 37.0f);

    // Rewriting the file drops its cache.
    write_text(path + ".cr0", "x");
    ASSERT_TRUE(save_gather(path));
    EXPECT_FALSE(file_exists(cr2));
    EXPECT_FALSE(file_exists(path + ".cr0"));
  }
}

TEST_F(SideFiles, CacheThatDoesNotMatchItsFileIsNeverTaken) {
  const std::string path = Path("g.rec"), cr2 = path + ".cr2";
  ASSERT_TRUE(save_gather(path));
  {
    CSdsPC sds;
    ASSERT_TRUE(sds.OnOpen(path.c_str(), 0, 0, 0, 0));
    ASSERT_TRUE(sds.SetInfoHeaderFromFile(path.c_str(), 1));
  }
  std::vector<unsigned char> good = read_file(cr2);
  put<float>(good, rec_off(2, F_XR), MARK);
  const int64_t nFileLen = file_size(path);
  const std::string refused = "Warning! " + cr2 + " is not used: its content does not match the file '" + path + "'.\n";
  using Bytes = std::vector<unsigned char>;
  const struct {
    const char* what;
    std::function<void(Bytes&)> mutate;
    bool bUsed;
    std::string msg;
  } cases[] = {
      {"intact", [](Bytes&) {}, true, ""},
      {"ends behind the value scale", [](Bytes& b) { b.resize(232 + 44 * NT); }, true, ""},
      {"empty", [](Bytes& b) { b.clear(); }, false, cr2 + " is not used, fread error\n"},
      {"version 3", [](Bytes& b) { put<int32_t>(b, 0, 3); }, false,
       cr2 + " is not used (version control), data=3 version, realSrc=2 version\n"},
      {"other file size", [&](Bytes& b) { put<int64_t>(b, OFF_SIZE, nFileLen + 1); }, false, ""},
      {"two traces", [](Bytes& b) { put<int32_t>(b, OFF_COUNT, 2); }, false, cr2 + " is not used, TraceCount=2\n"},
      {"two samples", [](Bytes& b) { put<int32_t>(b, OFF_LEN, 2); }, false, cr2 + " is not used, TraceLen error\n"},
      {"no step", [](Bytes& b) { put<double>(b, OFF_DT, 0.0); }, false, cr2 + " is not used, traseParam error\n"},
      {"cut in the table", [](Bytes& b) { b.resize(OFF_TABLE + 44 * 3); }, false, ""},
      {"count beyond the file", [](Bytes& b) { put<int32_t>(b, OFF_COUNT, 1 << 30); }, false, ""},
      {"sample format 99", [](Bytes& b) { put<int32_t>(b, OFF_TYPE, 99); }, false, refused},
      {"trace past the end", [&](Bytes& b) { put<int64_t>(b, rec_off(4, F_POS), nFileLen - 40); }, false, refused},
      {"traces out of order", [](Bytes& b) { put<int64_t>(b, rec_off(1, F_POS), get<int64_t>(b, rec_off(2, F_POS))); },
       false, refused},
      {"no header at the first trace", [](Bytes& b) { put<int64_t>(b, rec_off(0, F_POS), 4); }, false, refused},
      {"not a number", [](Bytes& b) { put<float>(b, rec_off(3, 0), std::numeric_limits<float>::quiet_NaN()); }, false,
       refused},
  };
  for (const auto& c : cases) {
    Bytes b = good;
    c.mutate(b);
    write_file(cr2, b);
    CSdsPC sds;
    std::string out;
    ASSERT_TRUE(open_quiet(sds, path, out)) << c.what;
    EXPECT_EQ(out, c.msg) << c.what;
    ASSERT_EQ(sds.m_nTraceCount, NT) << c.what;
    EXPECT_EQ(sds.m_pSR[2].m_fXr, c.bUsed ? MARK : 200.0f) << c.what;
    EXPECT_EQ(sds.m_pSR[3].m_fXs, 1000.0f) << c.what;
    EXPECT_EQ(sds.m_rValueScale, 1.0) << c.what;
    EXPECT_EQ(sds.m_nTraceLen, NS) << c.what;
  }

  // A trace file changed after its cache, at the same size.
  write_file(cr2, good);
  struct timespec times[2];
  clock_gettime(CLOCK_REALTIME, &times[0]);
  times[0].tv_sec += 10;
  times[1] = times[0];
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  CSdsPC sds;
  std::string out;
  ASSERT_TRUE(open_quiet(sds, path, out));
  EXPECT_EQ(sds.m_pSR[2].m_fXr, 200.0f) << "a cache older than its file is not taken";
}

TEST_F(SideFiles, InfFileMovesAndScalesTheHeaderFields) {
  const std::string path = Path("g.rec");
  ASSERT_TRUE(save_gather(path)); // header of trace 1: id 2 at bytes 1-4, 5-8; source X 1000 at 21
  const struct {
    const char* inf;
    float xr;
    char comp;
    DATAUNIT unit;
    float sample; // sample 3 of trace 1
  } cases[] = {
      {nullptr, 100, ' ', DU_MSEC, 13},
      {"RecvX=nouse\n", 0, ' ', DU_MSEC, 13},
      {"RecvX=short,21\n", 1000, ' ', DU_MSEC, 13},
      {"[Reform]\nRecvX=long,5 ; the trace id\n", 2, ' ', DU_MSEC, 13},
      {"RecvX=21\nRecvX=word,5\n", 100, ' ', DU_MSEC, 13}, // no type, unknown type: skipped
      {"kmCrd=2\n", 200, ' ', DU_MSEC, 13},
      {"kmCrd=0\nkmCrd=-3\n", 100, ' ', DU_MSEC, 13},
      {"CoorScaler=long,1\n", 200, ' ', DU_MSEC, 13}, // the id 2 taken for the scaler
      {"nComp=3\nzUnit=2\nkmVal=2\n", 100, 'R', DU_M, 26},
      // Beyond the range of int: absent (the sanitizer build reports a cast
      // of such a number to int).
      {"nComp=1e12\nzUnit=9.3e9\n", 100, ' ', DU_MSEC, 13},
  };
  for (const auto& c : cases) {
    remove((path + ".inf").c_str());
    if (c.inf)
      write_text(path + ".inf", c.inf);
    CSdsPC sds;
    ASSERT_TRUE(sds.OnOpen(path.c_str(), 0, 0, 0, 0)) << c.inf;
    EXPECT_EQ(sds.m_pSR[1].m_fXr, c.xr) << (c.inf ? c.inf : "none");
    EXPECT_EQ(sds.m_pSR[1].m_fXs, c.xr == 200 ? 2000.0f : 1000.0f) << (c.inf ? c.inf : "none");
    EXPECT_EQ(sds.m_cComponent, c.comp);
    EXPECT_EQ(sds.m_nUnit, c.unit);
    float t[NS];
    ASSERT_TRUE(sds.GetTrace(1, t, NS));
    EXPECT_EQ(t[3], c.sample);
  }
}

TEST_F(SideFiles, JoinedZplSectionsLeaveACacheWithEveryTracePosition) {
  for (int f = 1; f <= 2; f++) {
    std::vector<float> data(NS * NT, (float)f);
    std::vector<SDS_TRACEINFO> info(NT);
    for (int i = 0; i < NT; i++) {
      info[i] = SDS_TRACEINFO{};
      info[i].m_fXs = 1000.0f * f;
      info[i].m_fXr = 100.0f * i;
    }
    CSdsPC sds;
    ASSERT_TRUE(sds.OnSave(Path("s-" + std::to_string(f) + ".zpl").c_str(), data.data(), CRectR(0, 0, 400, 38),
                           CSizeN(NT, NS), 0, 0, false, info.data(), DU_MSEC));
  }
  CSdsPC join;
  ASSERT_TRUE(join.OnSaveNZpl2ZPL(Path("s.zpl").c_str(), 2, 0));
  ASSERT_TRUE(file_exists(Path("s.zpl.cr2")));
  CSdsPC sds;
  ASSERT_TRUE(sds.OnOpen(Path("s.zpl").c_str(), 0, 0, 0, 0));
  EXPECT_EQ(sds.m_bInfoSaved, 1);
  ASSERT_EQ(sds.m_nTraceCount, 2 * NT);
  EXPECT_EQ(sds.m_pSR[NT + 1].m_fXs, 2000.0f);
  EXPECT_EQ(sds.m_pSR[NT + 1].m_fXr, 100.0f);
  float t[NS];
  ASSERT_TRUE(sds.GetTrace(NT + 1, t, NS));
  EXPECT_EQ(t[5], 2.0f);
}
