// Test helper: a fresh temporary directory, removed with its contents.
#pragma once

#include <cstdlib>
#include <string>
#include <sys/stat.h>

class COutputTestDir {
public:
  COutputTestDir() {
    char tmpl[] = "/tmp/kelvo-output-XXXXXX";
    const char* p = mkdtemp(tmpl);
    m_strPath = p ? p : "/tmp";
  }
  ~COutputTestDir() {
    if (m_strPath.rfind("/tmp/kelvo-output-", 0) == 0) {
      const std::string cmd = "rm -rf '" + m_strPath + "'";
      if (system(cmd.c_str()) != 0) {
      }
    }
  }
  COutputTestDir(const COutputTestDir&) = delete;
  COutputTestDir& operator=(const COutputTestDir&) = delete;

  const std::string& Path() const { return m_strPath; }
  std::string File(const std::string& name) const { return m_strPath + "/" + name; }
  static bool Exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
  }
  static long Size(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? (long)st.st_size : -1;
  }

private:
  std::string m_strPath;
};
