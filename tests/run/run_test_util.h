// Helpers of the run-control tests: a scratch working directory and a
// capture of standard output (the console of a lone process).
#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>

#include "../seisfile/ScratchDir.h"

inline void WriteFile(const std::string& path, const std::string& text) { write_text(path, text); }

// Redirects standard output into a file until Text() is called.
class CaptureStdout {
public:
  CaptureStdout() : m_file(tmpfile()) {
    fflush(stdout);
    m_saved = dup(1);
    dup2(fileno(m_file), 1);
  }
  ~CaptureStdout() {
    Text();
    fclose(m_file);
  }
  std::string Text() {
    if (m_saved >= 0) {
      fflush(stdout);
      dup2(m_saved, 1);
      close(m_saved);
      m_saved = -1;
    }
    std::string s;
    rewind(m_file);
    for (int c; (c = fgetc(m_file)) != EOF;)
      s += (char)c;
    return s;
  }

private:
  FILE* m_file;
  int m_saved = -1;
};

using InTempDir = ScratchDirTest;
