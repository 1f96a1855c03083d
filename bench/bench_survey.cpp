// A large SEG-Y file as the survey: writes nShots shots of nRcv receivers
// each (1,000,000 traces by default, two samples a trace) into a temporary
// directory, then times LoadSurvey (the distinct shot points of the trace
// table) and SetActiveShot for every shot (one pass over the file each).
// Usage: bench_survey [shots receivers-per-shot]
#include <stdlib.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "survey/Survey3D.h"

static double now() {
  timeval tv;
  gettimeofday(&tv, nullptr);
  return tv.tv_sec + tv.tv_usec * 1e-6;
}

static void put32(unsigned char* p, int32_t v) {
  const uint32_t u = (uint32_t)v;
  p[0] = u >> 24, p[1] = (u >> 16) & 0xFF, p[2] = (u >> 8) & 0xFF, p[3] = u & 0xFF;
}

static void put16(unsigned char* p, int16_t v) {
  const uint16_t u = (uint16_t)v;
  p[0] = u >> 8, p[1] = u & 0xFF;
}

// Big-endian SEG-Y of IBM floats: shot s at (1000 + 50 s, 2000) metres,
// receivers on a line of 5 m steps; coordinates in centimetres.
static bool write_survey(const std::string& path, int nShots, int nRcv) {
  FILE* fp = fopen(path.c_str(), "wb");
  if (!fp)
    return false;
  const int ns = 2;
  std::vector<unsigned char> fh(3600, 0);
  memset(fh.data(), 0x40, 3200); // EBCDIC blanks
  put16(&fh[3216], 2000);
  put16(&fh[3220], ns);
  put16(&fh[3224], 1);
  bool ok = fwrite(fh.data(), 1, fh.size(), fp) == fh.size();
  // Many traces are written at once.
  const int nBatch = 4096, nBytes = 240 + 4 * ns;
  std::vector<unsigned char> buf((size_t)nBatch * nBytes);
  int nInBatch = 0;
  for (int s = 0; ok && s < nShots; s++) {
    for (int r = 0; ok && r < nRcv; r++) {
      unsigned char* h = &buf[(size_t)nInBatch * nBytes];
      memset(h, 0, nBytes);
      put32(h + 8, 1 + s);
      put32(h + 12, 1 + r);
      put32(h + 16, 100 + s);
      put16(h + 28, 1);
      put32(h + 40, -200); // receiver elevation, decimetres
      put32(h + 44, -500); // source elevation
      put16(h + 68, -10);
      put16(h + 70, -100);
      put32(h + 72, (1000 + 50 * s) * 100);
      put32(h + 76, 2000 * 100);
      put32(h + 80, (500 + 5 * (r % 1000)) * 100);
      put32(h + 84, (1500 + 5 * (r / 1000)) * 100);
      put16(h + 114, ns);
      put16(h + 116, 2000);
      put32(h + 188, 1 + r / 1000);
      put32(h + 192, 1 + r % 1000);
      if (++nInBatch == nBatch) {
        ok = fwrite(buf.data(), nBytes, nBatch, fp) == (size_t)nBatch;
        nInBatch = 0;
      }
    }
  }
  if (ok && nInBatch)
    ok = fwrite(buf.data(), nBytes, nInBatch, fp) == (size_t)nInBatch;
  return fclose(fp) == 0 && ok;
}

int main(int argc, char** argv) {
  int nShots = 20, nRcv = 50000;
  if (argc >= 3) {
    nShots = atoi(argv[1]);
    nRcv = atoi(argv[2]);
  }
  if (nShots < 1 || nRcv < 1) {
    fprintf(stderr, "counts must be at least 1\n");
    return 1;
  }
  char tmpl[] = "/tmp/kelvo_bench_XXXXXX";
  if (!mkdtemp(tmpl)) {
    perror("mkdtemp");
    return 1;
  }
  const std::string dir = tmpl, file = dir + "/survey.sgy";
  int rc = 0;
  double t0 = now();
  if (!write_survey(file, nShots, nRcv)) {
    fprintf(stderr, "writing %s failed\n", file.c_str());
    rc = 1;
  }
  const double tWrite = now() - t0;

  double tLoad = 0, tActivate = 0;
  size_t nReceivers = 0;
  if (rc == 0) {
    CSurvey3D survey;
    t0 = now();
    rc = survey.LoadSurvey(file.c_str(), false);
    tLoad = now() - t0;
    if (rc == 0 && (int)survey.m_vShots.size() != nShots) {
      fprintf(stderr, "%d shots found, %d written\n", (int)survey.m_vShots.size(), nShots);
      rc = 1;
    }
    t0 = now();
    for (int s = 1; rc == 0 && s <= nShots; s++) {
      rc = survey.SetActiveShot(s);
      nReceivers += survey.m_vReceivers.size();
    }
    tActivate = now() - t0;
    if (rc == 0 && nReceivers != (size_t)nShots * nRcv) {
      fprintf(stderr, "%zu receivers activated, %zu written\n", nReceivers, (size_t)nShots * nRcv);
      rc = 1;
    }
  }
  remove(file.c_str());
  rmdir(dir.c_str());
  if (rc != 0)
    return 1;
  const double nTraces = (double)nShots * nRcv;
  printf("survey of %.0f traces (%d shots x %d receivers)\n", nTraces, nShots, nRcv);
  printf("  write          %8.3f s\n", tWrite);
  printf("  LoadSurvey     %8.3f s  (%.2f M traces/s)\n", tLoad, nTraces / tLoad * 1e-6);
  printf("  SetActiveShot  %8.3f s  for %d shots, %.3f s a shot\n", tActivate, nShots, tActivate / nShots);
  return 0;
}
