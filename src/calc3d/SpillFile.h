// The spill file of a shot's gather: the rows are written out as they are
// recorded, so that a long record need not fit in memory, and read back one
// component at a time when the gather is saved. Any backend can keep its
// gather this way; the file belongs to one process and one shot.
//
// Format, a little-endian image: int32 magic 821222, int32 node, int64
// receiver count n, then for each recording four blocks of n floats: X, Y,
// Z, C.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "common.h"

class CSpillFile {
public:
  static constexpr int32_t kMagic = 821222;

  CSpillFile() = default;
  ~CSpillFile() { Release(); }
  CSpillFile(const CSpillFile&) = delete;
  CSpillFile& operator=(const CSpillFile&) = delete;

  // Opens szFile for writing and writes the header of node nNode with
  // nReceivers receivers. False when it cannot be opened (no message).
  bool Create(const char* szFile, int nNode, size_t nReceivers);
  bool IsWriting() const { return (bool)m_fp; }
  // Appends one recording, n floats of each component. 0, or 1 after the
  // error when not all of it reached the file.
  int Append(const float* pX, const float* pY, const float* pZ, const float* pC);

  // Closes the file being written, then reads back nRows recordings of one
  // component ('X', 'Y', 'C'; any other letter 'Z') from szFile, whose
  // header must name nNode and nReceivers. Row s holds receiver r at
  // [s * nReceivers + r]. The rows stay in a buffer of the object, sized at
  // the first read, until Release. Null after the error on a failure.
  float* Read(const char* szFile, int nNode, size_t nReceivers, size_t nRows, char cComponent);
  // Whether a read has sized the buffer.
  bool HasRead() const { return m_pRead != nullptr; }

  // Closes the file being written (the rows written so far stay in it).
  void Close() { m_fp.reset(); }
  // Closes the file and frees the read buffer.
  void Release();

private:
  CString m_strName; // the file being written, for messages
  size_t m_nReceivers = 0;
  shared_ptr1<FILE> m_fp;
  float* m_pRead = nullptr;
};
