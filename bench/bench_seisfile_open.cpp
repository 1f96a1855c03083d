// Opening a large 3-D trace file: writes an nx x ny cube of nz samples per
// trace into a temporary directory, as SEG-Y and as SDS, and times
// Create3D_file, OnOpen by a scan of every trace header, OnOpen through the
// .cr2 cache of the same file, and (SEG-Y) a Get3D_buf onto a grid of
// another spacing. Usage: bench_seisfile_open [nx ny nz]
#include <stdlib.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "seisfile/SdsPC.h"

static double now() {
  timeval tv;
  gettimeofday(&tv, nullptr);
  return tv.tv_sec + tv.tv_usec * 1e-6;
}

// One file type: false on any failure, with a line on stderr.
static bool bench_file(const std::string& file, int nx, int ny, int nz, bool bGrid) {
  const double dx = 25.0, dy = 25.0, dz = 10.0;
  CCubeR cube(0, 0, 100, (nx - 1) * dx, (ny - 1) * dy, 100 + (nz - 1) * dz);
  CSdsPC sds;
  double t0 = now();
  if (!sds.Create3D_file(file.c_str(), C3DSizeN(nx, ny, nz), cube, 0, DU_M, 0, nullptr)) {
    fprintf(stderr, "Create3D_file failed\n");
    return false;
  }
  const double tCreate = now() - t0;

  // Each open is timed as the best of a few, on a machine shared with others.
  double tScan = 1e30, tCache = 1e30;
  for (int r = 0; r < 3; r++) {
    t0 = now();
    if (!sds.OnOpen(file.c_str(), 0, 1, 0, 0)) {
      fprintf(stderr, "OnOpen failed\n");
      return false;
    }
    tScan = std::min(tScan, now() - t0);
  }
  const int nTraces = sds.m_nTraceCount;
  t0 = now();
  const bool bSaved = sds.SetInfoHeaderFromFile(file.c_str(), 1);
  const double tSave = now() - t0;

  CSdsPC cached;
  for (int r = 0; r < 5; r++) {
    t0 = now();
    if (!bSaved || !cached.OnOpen(file.c_str(), 0, 1, 0, 0) || !cached.m_bInfoSaved ||
        cached.m_nTraceCount != nTraces) {
      fprintf(stderr, "OnOpen through the cache failed\n");
      return false;
    }
    tCache = std::min(tCache, now() - t0);
  }
  if (memcmp(cached.m_pSR, sds.m_pSR, sizeof(SDS_TRACEINFO) * nTraces) != 0) {
    fprintf(stderr, "OnOpen through the cache differs from the scan\n");
    return false;
  }

  printf("\n%s: %d x %d traces of %d samples (%d traces)\n", file.c_str() + file.rfind('/') + 1, nx, ny, nz, nTraces);
  printf("  Create3D_file:      %8.3f s\n", tCreate);
  printf("  OnOpen, scan:       %8.3f s  (%.2f us per trace; best of 3)\n", tScan, tScan / nTraces * 1e6);
  printf("  .cr2 written:       %8.3f s\n", tSave);
  printf("  OnOpen, .cr2 cache: %8.3f s  (best of 5; %.1f times faster than the scan)\n", tCache, tScan / tCache);
  if (bGrid) {
    // Half the lateral resolution, twice the vertical.
    const int gx = nx / 2 + 1, gy = ny / 2 + 1, gz = 2 * nz - 1;
    std::vector<float> buf((size_t)gx * gy * gz);
    t0 = now();
    if (!cached.Get3D_buf(C3DSizeN(gx, gy, gz), cube, buf.data(), -1.0f)) {
      fprintf(stderr, "Get3D_buf failed\n");
      return false;
    }
    printf("  Get3D_buf:          %8.3f s  onto %d x %d x %d\n", now() - t0, gx, gy, gz);
  }
  return true;
}

int main(int argc, char** argv) {
  int nx = 1000, ny = 1000, nz = 8;
  if (argc >= 4) {
    nx = atoi(argv[1]);
    ny = atoi(argv[2]);
    nz = atoi(argv[3]);
  }
  if (nx < 2 || ny < 2 || nz < 2) {
    fprintf(stderr, "sizes must be at least 2\n");
    return 1;
  }
  char tmpl[] = "/tmp/kelvo_bench_XXXXXX";
  if (!mkdtemp(tmpl)) {
    perror("mkdtemp");
    return 1;
  }
  const std::string dir = tmpl;
  int rc = 0;
  for (const char* name : {"cube.sgy", "cube.rec"}) {
    if (!bench_file(dir + "/" + name, nx, ny, nz, name[5] == 's'))
      rc = 1;
    for (const char* side : {"", ".cr2"})
      remove((dir + "/" + name + side).c_str());
  }
  std::string cmd = "rm -rf '" + dir + "'";
  if (system(cmd.c_str()) != 0)
    fprintf(stderr, "cannot remove %s\n", dir.c_str());
  return rc;
}
