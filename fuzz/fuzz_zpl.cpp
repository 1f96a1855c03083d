// ZPL grid-file reader on arbitrary bytes: the header and frames read
// directly, then the file opened as a trace file and its traces read.
#include <vector>

#include "FuzzScratch.h"
#include "seisfile/SdsPC.h"
#include "seisfile/ZplFile.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz_EnterScratch();
  return 0;
}

static void ReadFrames(const char* name) {
  FILE* fp = fopen(name, "rb");
  if (!fp)
    return;
  ZPL_FILEHEADER h;
  if (zpl_ReadHeader(fp, 0, h) && zpl_FrameFloats(h) <= (1 << 20)) {
    char szComps[ZPL_MAX_COMPONENTS + 1];
    zpl_ComponentText(h, szComps);
    std::vector<float> frame(zpl_FrameFloats(h));
    const int64_t nFrames = zpl_FrameCount(h);
    for (int64_t k = 0; k < nFrames && k < 4; k++)
      zpl_ReadFrame(fp, 0, h, k, frame.data());
    zpl_ReadFrame(fp, 0, h, nFrames, frame.data());
  }
  fclose(fp);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (!fuzz_WriteFile("in.zpl", data, size))
    return 0;
  ReadFrames("in.zpl");
  for (int bDepth = 0; bDepth < 2; bDepth++) {
    CSdsPC sds;
    if (!sds.OnOpen("in.zpl", 0, bDepth, 0, 0))
      continue;
    const int n = sds.m_nTraceLen > 0 && sds.m_nTraceLen < 100000 ? sds.m_nTraceLen : 1;
    std::vector<float> buf(n);
    const int nTraces = sds.m_nTraceCount < 64 ? sds.m_nTraceCount : 64;
    for (int i = 0; i < nTraces; i++)
      sds.GetTrace(i, buf.data(), n);
  }
  return 0;
}
