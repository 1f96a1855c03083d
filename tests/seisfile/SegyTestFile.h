// SEG-Y files written and read by an independent library (segyio), so that
// the files of this project are checked against another implementation.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#ifdef KELVO_HAVE_SEGYIO
#include <segyio/segy.h>
#endif

// One trace as a foreign writer would produce it.
struct STestTrace {
  int32_t sx = 0, sy = 0, gx = 0, gy = 0, selev = 0, gelev = 0;
  int16_t scalco = 1, scalel = 1;
  int16_t traceId = 1;
  int32_t fieldRecord = 0, traceNo = 0, energySource = 0;
  int32_t cdpx = 0, cdpy = 0, iline = 0, xline = 0; // bytes 181-196
  std::vector<float> samples;
};

#ifdef KELVO_HAVE_SEGYIO
// Writes a SEG-Y file: format 1, 2, 3 or 5, little- or big-endian.
inline bool segyio_write(const std::string& path, int format, bool lsb, int ns, int dtMicro,
                         const std::vector<STestTrace>& traces) {
  segy_file* fp = segy_open(path.c_str(), "w+b");
  if (!fp)
    return false;
  char text[3201];
  memset(text, ' ', 3200);
  text[3200] = 0;
  memcpy(text, "C 1 written by another program", 30);
  bool ok = segy_write_textheader(fp, 0, text) == SEGY_OK;
  char bin[400] = {};
  segy_set_bfield(bin, SEGY_BIN_SAMPLES, ns);
  segy_set_bfield(bin, SEGY_BIN_INTERVAL, dtMicro);
  segy_set_bfield(bin, SEGY_BIN_FORMAT, format);
  ok = ok && segy_set_format(fp, format | (lsb ? SEGY_LSB : SEGY_MSB)) == SEGY_OK;
  ok = ok && segy_write_binheader(fp, bin) == SEGY_OK;
  const long trace0 = 3600;
  const int bsize = segy_trsize(format, ns);
  for (size_t i = 0; ok && i < traces.size(); i++) {
    const STestTrace& t = traces[i];
    char th[240] = {};
    segy_set_field(th, SEGY_TR_SEQ_LINE, (int)i + 1);
    segy_set_field(th, SEGY_TR_FIELD_RECORD, t.fieldRecord);
    segy_set_field(th, SEGY_TR_NUMBER_ORIG_FIELD, t.traceNo);
    segy_set_field(th, SEGY_TR_ENERGY_SOURCE_POINT, t.energySource);
    segy_set_field(th, SEGY_TR_TRACE_ID, t.traceId);
    segy_set_field(th, SEGY_TR_RECV_GROUP_ELEV, t.gelev);
    segy_set_field(th, SEGY_TR_SOURCE_SURF_ELEV, t.selev);
    segy_set_field(th, SEGY_TR_ELEV_SCALAR, t.scalel);
    segy_set_field(th, SEGY_TR_SOURCE_GROUP_SCALAR, t.scalco);
    segy_set_field(th, SEGY_TR_SOURCE_X, t.sx);
    segy_set_field(th, SEGY_TR_SOURCE_Y, t.sy);
    segy_set_field(th, SEGY_TR_GROUP_X, t.gx);
    segy_set_field(th, SEGY_TR_GROUP_Y, t.gy);
    segy_set_field(th, SEGY_TR_CDP_X, t.cdpx);
    segy_set_field(th, SEGY_TR_CDP_Y, t.cdpy);
    segy_set_field(th, SEGY_TR_INLINE, t.iline);
    segy_set_field(th, SEGY_TR_CROSSLINE, t.xline);
    segy_set_field(th, SEGY_TR_SAMPLE_COUNT, ns);
    segy_set_field(th, SEGY_TR_SAMPLE_INTER, dtMicro);
    ok = segy_write_traceheader(fp, (int)i, th, trace0, bsize) == SEGY_OK;
    // Samples are handed to segyio big-endian; it reverses them for LSB files.
    std::vector<unsigned char> raw(bsize, 0);
    for (int k = 0; k < ns && k < (int)t.samples.size(); k++) {
      float v = t.samples[k];
      unsigned char* p = raw.data() + k * (format == 3 ? 2 : 4);
      uint32_t b = 0;
      if (format == 1) {
        segy_from_native(SEGY_IBM_FLOAT_4_BYTE, 1, &v);
        memcpy(p, &v, 4);
        continue;
      }
      if (format == 3) {
        uint16_t h = (uint16_t)(int16_t)v;
        p[0] = h >> 8, p[1] = h & 0xFF;
        continue;
      }
      if (format == 5)
        memcpy(&b, &v, 4);
      else
        b = (uint32_t)(int32_t)v;
      p[0] = b >> 24, p[1] = b >> 16, p[2] = b >> 8, p[3] = b;
    }
    ok = ok && segy_writetrace(fp, (int)i, raw.data(), trace0, bsize) == SEGY_OK;
  }
  segy_close(fp);
  return ok;
}
#endif

// A SEG-Y file read in full: binary header, trace headers and samples.
struct CSegyTestFile {
  bool m_bOk = false;
  int m_nTraces = 0;
  int m_nSamples = 0;
  int m_nFormat = 0;
  float m_fDtUs = 0; // sample interval, microseconds
  std::vector<std::vector<char>> m_vHeaders;
  std::vector<std::vector<float>> m_vData;

  // A trace header field by its segyio field id (its 1-based byte position).
  int32_t Field(int nTrace, int nField) const {
    int32_t v = 0;
#ifdef KELVO_HAVE_SEGYIO
    segy_get_field(m_vHeaders[nTrace].data(), nField, &v);
#else
    (void)nTrace, (void)nField;
#endif
    return v;
  }

  static CSegyTestFile Read(const std::string& path) {
    CSegyTestFile f;
#ifdef KELVO_HAVE_SEGYIO
    segy_file* fp = segy_open(path.c_str(), "rb");
    if (!fp)
      return f;
    char bin[SEGY_BINARY_HEADER_SIZE];
    bool ok = segy_binheader(fp, bin) == SEGY_OK;
    f.m_nSamples = segy_samples(bin);
    f.m_nFormat = segy_format(bin);
    const long trace0 = segy_trace0(bin);
    const int bsize = segy_trsize(f.m_nFormat, f.m_nSamples);
    ok = ok && segy_traces(fp, &f.m_nTraces, trace0, bsize) == SEGY_OK;
    segy_sample_interval(fp, 0.0f, &f.m_fDtUs);
    f.m_vHeaders.assign(f.m_nTraces, std::vector<char>(SEGY_TRACE_HEADER_SIZE));
    f.m_vData.assign(f.m_nTraces, std::vector<float>(f.m_nSamples));
    for (int i = 0; ok && i < f.m_nTraces; i++) {
      ok = segy_traceheader(fp, i, f.m_vHeaders[i].data(), trace0, bsize) == SEGY_OK &&
           segy_readtrace(fp, i, f.m_vData[i].data(), trace0, bsize) == SEGY_OK;
      segy_to_native(f.m_nFormat, f.m_nSamples, f.m_vData[i].data());
    }
    segy_close(fp);
    f.m_bOk = ok;
#else
    (void)path;
#endif
    return f;
  }
};
