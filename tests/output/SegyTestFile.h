// Test helper: a SEG-Y file read in full by an independent library (segyio),
// so that the files of this project are checked against another reader.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#ifdef KELVO_HAVE_SEGYIO
#include <segyio/segy.h>
#endif

struct CSegyTestFile {
  bool m_bOk = false;
  int m_nTraces = 0;
  int m_nSamples = 0;
  int m_nFormat = 0;
  float m_fDtUs = 0; // sample interval, microseconds
  std::vector<std::vector<char>> m_vHeaders;
  std::vector<std::vector<float>> m_vData;

  // A trace header field by its 1-based byte position (segyio field ids).
  int32_t Field(int nTrace, int nByte) const {
#ifdef KELVO_HAVE_SEGYIO
    int32_t v = 0;
    segy_get_field(m_vHeaders[nTrace].data(), nByte, &v);
    return v;
#else
    (void)nTrace;
    (void)nByte;
    return 0;
#endif
  }

  static CSegyTestFile Read(const std::string& path) {
    CSegyTestFile f;
#ifdef KELVO_HAVE_SEGYIO
    segy_file* fp = segy_open(path.c_str(), "rb");
    if (!fp)
      return f;
    char bin[SEGY_BINARY_HEADER_SIZE];
    if (segy_binheader(fp, bin) != SEGY_OK) {
      segy_close(fp);
      return f;
    }
    f.m_nSamples = segy_samples(bin);
    f.m_nFormat = segy_format(bin);
    const long trace0 = segy_trace0(bin);
    const int bsize = segy_trsize(f.m_nFormat, f.m_nSamples);
    if (segy_traces(fp, &f.m_nTraces, trace0, bsize) != SEGY_OK) {
      segy_close(fp);
      return f;
    }
    segy_sample_interval(fp, 0.0f, &f.m_fDtUs);
    f.m_vHeaders.assign(f.m_nTraces, std::vector<char>(SEGY_TRACE_HEADER_SIZE));
    f.m_vData.assign(f.m_nTraces, std::vector<float>(f.m_nSamples));
    for (int i = 0; i < f.m_nTraces; i++) {
      if (segy_traceheader(fp, i, f.m_vHeaders[i].data(), trace0, bsize) != SEGY_OK ||
          segy_readtrace(fp, i, f.m_vData[i].data(), trace0, bsize) != SEGY_OK) {
        segy_close(fp);
        return f;
      }
      segy_to_native(f.m_nFormat, f.m_nSamples, f.m_vData[i].data());
    }
    segy_close(fp);
    f.m_bOk = true;
#else
    (void)path;
#endif
    return f;
  }
};
