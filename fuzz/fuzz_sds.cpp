// SDS trace-file reader on arbitrary bytes: open as a time and as a depth
// file, read the traces (plain and resampled), then open for update and
// write a trace back in the file's own sample format.
#include <vector>

#include "FuzzScratch.h"
#include "seisfile/SdsPC.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz_EnterScratch();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (!fuzz_WriteFile("in.rec", data, size))
    return 0;
  for (int bDepth = 0; bDepth < 2; bDepth++) {
    CSdsPC sds;
    if (!sds.OnOpen("in.rec", 0, bDepth, 0, 0))
      continue;
    const int n = sds.m_nTraceLen > 0 && sds.m_nTraceLen < 100000 ? sds.m_nTraceLen : 1;
    std::vector<float> buf(n + 3), fine(2 * n);
    const double dt = sds.m_rDT / 2;
    const bool bResample = dt > 0 && dt < 1e30 && sds.m_rT0 > -1e30 && sds.m_rT0 < 1e30;
    double axis[3] = {sds.m_rT0, sds.m_rT0 + (2 * n - 2) * dt, dt};
    const int nTraces = sds.m_nTraceCount < 64 ? sds.m_nTraceCount : 64;
    for (int i = 0; i < nTraces; i++) {
      sds.GetTrace(i, buf.data(), n + 3); // longer than the trace
      sds.GetTrace(i, buf.data(), 2);     // shorter than the trace
      if (bResample)
        sds.GetTrace(i, fine.data(), axis, nullptr, 0.0f);
    }
    sds.GetTrace(nTraces, buf.data(), n);
  }
  CSdsPC upd;
  if (upd.OnOpen("in.rec", 1, 0, 0, 0) && upd.m_nTraceLen > 0 && upd.m_nTraceLen < 100000) {
    std::vector<float> t(upd.m_nTraceLen);
    for (size_t k = 0; k < t.size(); k++)
      t[k] = (float)(k * 37 % 300) - 150.0f;
    upd.SetTrace(upd.m_nTraceCount - 1, t.data(), (int)t.size());
  }
  return 0;
}
