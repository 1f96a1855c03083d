// Side-file readers on arbitrary bytes: beside a fixed, valid trace file of
// each type, the input gives its .inf text and its .cr2 cache. Input: byte 0
// chooses the trace file, byte 1 is the length of the .inf text that
// follows, the rest is the .cr2 file. Each open must take the cache or fall
// back to a scan, and leave traces that read.
#include <string>
#include <vector>

#include "FuzzScratch.h"
#include "seisfile/SdsPC.h"

static const char* const s_szMain[3] = {"main.rec", "main.sgy", "main.zpl"};

// The trace files beside which the side files are tried; the seed corpus
// holds caches of exactly these files.
static void WriteMainFiles() {
  const int nt = 4, ns = 10;
  std::vector<float> data(nt * ns);
  std::vector<SDS_TRACEINFO> info(nt);
  for (int i = 0; i < nt; i++) {
    info[i] = SDS_TRACEINFO{};
    info[i].m_fXs = 500.0f, info[i].m_fXr = 100.0f * i, info[i].m_fYr = 10.0f;
    for (int k = 0; k < ns; k++)
      data[k * nt + i] = (float)(i * 10 + k);
  }
  for (const char* name : s_szMain) {
    CSdsPC sds;
    if (!sds.OnSave(name, data.data(), CRectR(0, 0, 300, 90), CSizeN(nt, ns), 0, 0, false, info.data(), DU_MSEC))
      abort();
  }
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz_EnterScratch();
  WriteMainFiles();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2)
    return 0;
  const std::string strMain = s_szMain[data[0] % 3];
  const size_t nInf = data[1] < size - 2 ? data[1] : size - 2;
  if (!fuzz_WriteFile((strMain + ".inf").c_str(), data + 2, nInf) ||
      !fuzz_WriteFile((strMain + ".cr2").c_str(), data + 2 + nInf, size - 2 - nInf))
    return 0;
  for (int bDepth = 0; bDepth < 2; bDepth++) {
    CSdsPC sds;
    if (!sds.OnOpen(strMain.c_str(), 0, bDepth, 0, bDepth))
      continue;
    const int n = sds.m_nTraceLen > 0 && sds.m_nTraceLen < 100000 ? sds.m_nTraceLen : 1;
    std::vector<float> buf(n);
    const int nTraces = sds.m_nTraceCount < 64 ? sds.m_nTraceCount : 64;
    for (int i = 0; i < nTraces; i++)
      sds.GetTrace(i, buf.data(), n);
    sds.GetXYSize(CPointR(500, 0));
    // Write the cache back, as the ZPL path does, and read it again.
    if (sds.SetInfoHeaderFromFile(strMain.c_str(), 1)) {
      CSdsPC again;
      again.OnOpen(strMain.c_str(), 0, bDepth, 0, 0);
    }
  }
  return 0;
}
