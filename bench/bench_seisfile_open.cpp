// Opening a large 3-D SEG-Y cube: writes an nx x ny cube of nz samples per
// trace into a temporary directory, then times Create3D_file, OnOpen (one
// small header read per trace) and a Get3D_buf onto a grid of another
// spacing. Usage: bench_seisfile_open [nx ny nz]
#include <stdlib.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "seisfile/SdsPC.h"

static double now() {
  timeval tv;
  gettimeofday(&tv, nullptr);
  return tv.tv_sec + tv.tv_usec * 1e-6;
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
  std::string dir = tmpl, file = dir + "/cube.sgy";
  const double dx = 25.0, dy = 25.0, dz = 10.0;
  CCubeR cube(0, 0, 100, (nx - 1) * dx, (ny - 1) * dy, 100 + (nz - 1) * dz);
  int rc = 0;
  {
    CSdsPC sds;
    double t0 = now();
    if (!sds.Create3D_file(file.c_str(), C3DSizeN(nx, ny, nz), cube, 0, DU_M, 0, nullptr)) {
      fprintf(stderr, "Create3D_file failed\n");
      rc = 1;
    }
    double tCreate = now() - t0;

    t0 = now();
    bool bOpen = rc == 0 && sds.OnOpen(file.c_str(), 0, 1, 0, 0);
    double tOpen = now() - t0;
    if (!bOpen) {
      fprintf(stderr, "OnOpen failed\n");
      rc = 1;
    }

    // Half the lateral resolution, twice the vertical.
    const int gx = nx / 2 + 1, gy = ny / 2 + 1, gz = 2 * nz - 1;
    std::vector<float> buf((size_t)gx * gy * gz);
    t0 = now();
    bool bGrid = bOpen && sds.Get3D_buf(C3DSizeN(gx, gy, gz), cube, buf.data(), -1.0f);
    double tGrid = now() - t0;
    if (bOpen && !bGrid) {
      fprintf(stderr, "Get3D_buf failed\n");
      rc = 1;
    }
    printf("\nbench_seisfile_open: %d x %d traces of %d samples (%d traces)\n", nx, ny, nz, sds.m_nTraceCount);
    printf("  Create3D_file: %8.3f s\n", tCreate);
    printf("  OnOpen:        %8.3f s  (%.2f us per trace)\n", tOpen, tOpen / ((double)nx * ny) * 1e6);
    printf("  Get3D_buf:     %8.3f s  onto %d x %d x %d\n", tGrid, gx, gy, gz);
  }
  std::string cmd = "rm -rf '" + dir + "'";
  if (system(cmd.c_str()) != 0)
    fprintf(stderr, "cannot remove %s\n", dir.c_str());
  return rc;
}
