// Shared helpers of the trace-file tests: a scratch directory, raw file
// access and an independent SEG-Y writer/reader built on segyio.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "seisfile/SdsPC.h"

#ifdef KELVO_HAVE_SEGYIO
#include <segyio/segy.h>
#endif

// Creates a private directory for the files of one test and removes it.
class CSeisTempDir : public ::testing::Test {
protected:
  std::string m_strDir;
  void SetUp() override {
    char tmpl[] = "/tmp/kelvo_seis_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    m_strDir = tmpl;
  }
  void TearDown() override {
    std::string cmd = "rm -rf '" + m_strDir + "'";
    if (system(cmd.c_str()) != 0)
      ADD_FAILURE() << "cannot remove " << m_strDir;
  }
  std::string Path(const char* name) const { return m_strDir + "/" + name; }
};

inline std::vector<unsigned char> read_file(const std::string& path) {
  std::vector<unsigned char> v;
  FILE* f = fopen(path.c_str(), "rb");
  if (!f)
    return v;
  int c;
  while ((c = fgetc(f)) != EOF)
    v.push_back((unsigned char)c);
  fclose(f);
  return v;
}

inline void write_file(const std::string& path, const std::vector<unsigned char>& v) {
  FILE* f = fopen(path.c_str(), "wb");
  ASSERT_NE(f, nullptr);
  if (!v.empty()) {
    ASSERT_EQ(fwrite(v.data(), 1, v.size(), f), v.size());
  }
  fclose(f);
}

inline int32_t be32(const unsigned char* p) {
  return (int32_t)(((uint32_t)p[0] << 24) | ((uint32_t)p[1] << 16) | ((uint32_t)p[2] << 8) | p[3]);
}
inline int16_t be16(const unsigned char* p) { return (int16_t)(((unsigned)p[0] << 8) | p[1]); }

// One trace as a foreign writer would produce it.
struct STestTrace {
  int32_t sx = 0, sy = 0, gx = 0, gy = 0, selev = 0, gelev = 0;
  int16_t scalco = 1, scalel = 1;
  int16_t traceId = 1;
  int32_t fieldRecord = 0, traceNo = 0, energySource = 0;
  int16_t nsOwn = -1; // samples field of the trace header; -1 takes the file's
  std::vector<float> samples;
};

#ifdef KELVO_HAVE_SEGYIO
// Writes a SEG-Y file with segyio: format 1, 2, 3 or 5, little- or big-endian.
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
  char bin[400];
  memset(bin, 0, sizeof(bin));
  segy_set_bfield(bin, SEGY_BIN_SAMPLES, ns);
  segy_set_bfield(bin, SEGY_BIN_INTERVAL, dtMicro);
  segy_set_bfield(bin, SEGY_BIN_FORMAT, format);
  ok = ok && segy_set_format(fp, format | (lsb ? SEGY_LSB : SEGY_MSB)) == SEGY_OK;
  ok = ok && segy_write_binheader(fp, bin) == SEGY_OK;
  const long trace0 = 3600;
  const int bsize = segy_trsize(format, ns);
  for (size_t i = 0; ok && i < traces.size(); i++) {
    const STestTrace& t = traces[i];
    char th[240];
    memset(th, 0, sizeof(th));
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
    segy_set_field(th, SEGY_TR_SAMPLE_COUNT, t.nsOwn >= 0 ? t.nsOwn : ns);
    segy_set_field(th, SEGY_TR_SAMPLE_INTER, dtMicro);
    ok = segy_write_traceheader(fp, (int)i, th, trace0, bsize) == SEGY_OK;
    // Samples are handed to segyio big-endian; it reverses them for LSB files.
    std::vector<unsigned char> raw(bsize, 0);
    for (int k = 0; k < ns && k < (int)t.samples.size(); k++) {
      float v = t.samples[k];
      unsigned char* p = raw.data() + k * (format == 3 ? 2 : 4);
      if (format == 1) {
        float f = v;
        segy_from_native(SEGY_IBM_FLOAT_4_BYTE, 1, &f);
        memcpy(p, &f, 4);
      } else if (format == 5) {
        uint32_t b;
        memcpy(&b, &v, 4);
        p[0] = b >> 24, p[1] = b >> 16, p[2] = b >> 8, p[3] = b;
      } else if (format == 2) {
        uint32_t b = (uint32_t)(int32_t)v;
        p[0] = b >> 24, p[1] = b >> 16, p[2] = b >> 8, p[3] = b;
      } else {
        uint16_t b = (uint16_t)(int16_t)v;
        p[0] = b >> 8, p[1] = b & 0xFF;
      }
    }
    ok = ok && segy_writetrace(fp, (int)i, raw.data(), trace0, bsize) == SEGY_OK;
  }
  segy_close(fp);
  return ok;
}
#endif
