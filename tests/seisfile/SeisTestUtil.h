// Shared helpers of the trace-file tests: raw file bytes and big-endian fields.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ScratchDir.h"
#include "SegyTestFile.h"
#include "seisfile/SdsPC.h"

inline std::vector<unsigned char> read_file(const std::string& path) {
  const std::string s = read_text(path);
  return std::vector<unsigned char>(s.begin(), s.end());
}

inline void write_file(const std::string& path, const std::vector<unsigned char>& v) {
  write_text(path, std::string(v.begin(), v.end()));
}

inline int32_t be32(const unsigned char* p) {
  return (int32_t)(((uint32_t)p[0] << 24) | ((uint32_t)p[1] << 16) | ((uint32_t)p[2] << 8) | p[3]);
}
