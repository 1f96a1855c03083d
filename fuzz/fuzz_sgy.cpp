// SEG-Y opener and trace reader on arbitrary bytes: open as a time and as a
// depth file, read every trace (both routes), ask whether the file is whole.
#include <vector>

#include "FuzzScratch.h"
#include "seisfile/SdsPC.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz_EnterScratch();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (!fuzz_WriteFile("in.sgy", data, size))
    return 0;
  int nFound = 0, nExpected = 0;
  CSdsPC check;
  check.IsSgyComplete("in.sgy", nFound, nExpected);
  for (int bDepth = 0; bDepth < 2; bDepth++) {
    CSdsPC sds;
    if (!sds.OnOpen("in.sgy", 0, bDepth, 0, 0))
      continue;
    const int n = sds.m_nTraceLen > 0 && sds.m_nTraceLen < 100000 ? sds.m_nTraceLen : 1;
    std::vector<float> buf(n), fine(2 * n);
    // A resampling onto twice the native rate, as a caller sizes it.
    const double dt = sds.m_rDT / 2;
    const bool bResample = dt > 0 && dt < 1e30 && sds.m_rT0 > -1e30 && sds.m_rT0 < 1e30;
    double axis[3] = {sds.m_rT0, sds.m_rT0 + (2 * n - 2) * dt, dt};
    const int nTraces = sds.m_nTraceCount < 64 ? sds.m_nTraceCount : 64;
    for (int i = 0; i < nTraces; i++) {
      sds.GetTrace(i, buf.data(), n);
      if (bResample)
        sds.GetTrace(i, fine.data(), axis, nullptr, 0.0f);
    }
    sds.GetTrace(nTraces, buf.data(), n);
    sds.GetTrace(-1, buf.data(), n);
  }
  return 0;
}
