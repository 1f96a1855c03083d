// A temporary directory for the files of one test, removed with its contents;
// optionally the working directory while it lives (Kelvo-0.log lands there).
#pragma once

#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

inline std::string read_text(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

inline std::string write_text(const std::string& path, const std::string& text) {
  std::ofstream f(path, std::ios::binary);
  f << text;
  return path;
}

inline bool file_exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

inline long file_size(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? (long)st.st_size : -1;
}

class CScratchDir {
public:
  explicit CScratchDir(bool bEnter = false) {
    char tmpl[] = "/tmp/kelvo_test_XXXXXX";
    const char* p = mkdtemp(tmpl);
    m_strRoot = p ? p : "";
    if (!p)
      ADD_FAILURE() << "cannot create a temporary directory";
    char cwd[PATH_MAX];
    if (p && bEnter && getcwd(cwd, sizeof(cwd)) && chdir(p) == 0)
      m_strOld = cwd;
  }
  ~CScratchDir() {
    if (!m_strOld.empty() && chdir(m_strOld.c_str()) != 0)
      ADD_FAILURE() << "cannot return to " << m_strOld;
    if (!m_strRoot.empty() && system(("rm -rf '" + m_strRoot + "'").c_str()) != 0)
      ADD_FAILURE() << "cannot remove " << m_strRoot;
  }
  CScratchDir(const CScratchDir&) = delete;
  CScratchDir& operator=(const CScratchDir&) = delete;

  const std::string& Root() const { return m_strRoot; }
  std::string Path(const std::string& name) const { return m_strRoot + "/" + name; }

private:
  std::string m_strRoot, m_strOld;
};

// A test run inside its own scratch directory, reading the log written there.
class ScratchDirTest : public ::testing::Test {
protected:
  std::string Path(const std::string& name) const { return m_dir.Path(name); }
  static std::string Log() { return read_text("Kelvo-0.log"); }
  static bool LogHas(const std::string& s) { return Log().find(s) != std::string::npos; }

  CScratchDir m_dir{true};
};
