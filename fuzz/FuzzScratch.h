// Shared set-up of the fuzz targets: each process works in a scratch
// directory of its own, where the console log is a link to /dev/null and
// standard output is discarded, so that millions of runs leave nothing behind.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ftw.h>
#include <string>
#include <unistd.h>

inline std::string& fuzz_ScratchDir() {
  static std::string s;
  return s;
}

// Removes the scratch directory with all the readers left in it.
inline void fuzz_LeaveScratch() {
  auto rm = [](const char* p, const struct stat*, int, struct FTW*) { return remove(p); };
  if (!fuzz_ScratchDir().empty())
    nftw(fuzz_ScratchDir().c_str(), rm, 8, FTW_DEPTH | FTW_PHYS);
}

// The directory is in memory (/dev/shm) where there is one: every input is
// written to a file.
inline void fuzz_EnterScratch() {
  char shm[] = "/dev/shm/kelvo_fuzz_XXXXXX", tmp[] = "/tmp/kelvo_fuzz_XXXXXX";
  const char* dir = mkdtemp(shm);
  if (!dir)
    dir = mkdtemp(tmp);
  if (!dir || chdir(dir) != 0)
    abort();
  fuzz_ScratchDir() = dir;
  atexit(fuzz_LeaveScratch);
  if (symlink("/dev/null", "Kelvo-0.log") != 0 || !freopen("/dev/null", "w", stdout))
    abort();
}

// Writes the input to a file of the scratch directory; false when it cannot.
inline bool fuzz_WriteFile(const char* name, const uint8_t* data, size_t size) {
  FILE* f = fopen(name, "wb");
  if (!f)
    return false;
  const bool ok = fwrite(data, 1, size, f) == size;
  return fclose(f) == 0 && ok;
}
