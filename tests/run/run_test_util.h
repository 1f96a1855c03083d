// Helpers of the run-control tests: a scratch working directory and a
// capture of standard output (the console of a lone process).
#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>

#include "seisfile/ScratchDir.h"

inline void WriteFile(const std::string& path, const std::string& text) { write_text(path, text); }
inline std::string ReadFile(const std::string& path) { return read_text(path); }

// Redirects standard output into a file for the lifetime of the object.
class CaptureStdout {
public:
  CaptureStdout() {
    fflush(stdout);
    m_file = tmpfile();
    m_saved = dup(1);
    dup2(fileno(m_file), 1);
  }
  ~CaptureStdout() {
    Restore();
    if (m_file)
      fclose(m_file);
  }
  std::string Text() {
    Restore();
    std::string s;
    rewind(m_file);
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof(buf), m_file)) > 0)
      s.append(buf, n);
    return s;
  }

private:
  void Restore() {
    if (m_saved >= 0) {
      fflush(stdout);
      dup2(m_saved, 1);
      close(m_saved);
      m_saved = -1;
    }
  }
  FILE* m_file = nullptr;
  int m_saved = -1;
};

using InTempDir = ScratchDirTest;
