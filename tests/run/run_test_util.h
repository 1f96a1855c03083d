// Helpers of the run-control and whole-job tests: a scratch working
// directory, a capture of standard output (the console of a lone process), a
// run of the kelvo program and the fixture of whole-job tests.
#pragma once

#include <sys/wait.h>
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

#ifdef KELVO_BINARY
// Runs the kelvo program in dir with the given arguments, its console going
// to console.txt there: the exit status (-1 when it did not exit), and the
// console text in out.
inline int RunKelvo(const std::string& dir, std::string& out, const std::string& args = "") {
  const int st =
      system(("cd '" + dir + "' && OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 '" KELVO_BINARY "' " +
              args + " > console.txt 2>&1")
                 .c_str());
  out = read_text(dir + "/console.txt");
  return st != -1 && WIFEXITED(st) ? WEXITSTATUS(st) : -1;
}

// A whole-job test with a scratch directory (not entered), skipped without
// segyio to read the results or without the program.
class KelvoJobTest : public ::testing::Test {
protected:
  void SetUp() override {
#ifndef KELVO_HAVE_SEGYIO
    GTEST_SKIP() << "segyio not available";
#endif
    if (!file_exists(KELVO_BINARY))
      GTEST_SKIP() << "kelvo program not built";
  }
  CScratchDir m_dir;
};
#endif
