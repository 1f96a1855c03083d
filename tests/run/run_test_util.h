// Helpers of the run-control tests: temporary directories, files, and a
// capture of standard output (the console of a lone process).
#pragma once

#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

class TempDir {
public:
  TempDir() {
    char tmpl[] = "/tmp/kelvo_run_XXXXXX";
    char* p = mkdtemp(tmpl);
    m_path = p ? p : "/tmp";
  }
  ~TempDir() {
    std::string cmd = "rm -rf '" + m_path + "'";
    if (system(cmd.c_str()) != 0) {
    }
  }
  std::string Path(const std::string& name) const { return m_path + "/" + name; }
  const std::string& Root() const { return m_path; }

private:
  std::string m_path;
};

inline void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream f(path, std::ios::binary);
  f << text;
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

inline bool FileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

// Redirects standard output into a file for the lifetime of the object.
class CaptureStdout {
public:
  CaptureStdout() {
    fflush(stdout);
    m_file = tmpfile();
    m_saved = dup(1);
    dup2(fileno(m_file), 1);
  }
  ~CaptureStdout() { Restore(); }
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

// Runs a test inside a fresh temporary directory (the log files of the
// console land there).
class InTempDir : public ::testing::Test {
protected:
  void SetUp() override {
    char buf[PATH_MAX];
    m_old = getcwd(buf, sizeof(buf)) ? buf : "/tmp";
    ASSERT_EQ(0, chdir(m_dir.Root().c_str()));
  }
  void TearDown() override {
    if (chdir(m_old.c_str()) != 0) {
    }
  }
  TempDir m_dir;
  std::string m_old;
};
