// Writer of one shot gather: a 2-D array of traces, one per receiver, with
// the geometry and the receiver numbers of the survey in its trace headers.
#pragma once

#include <cstddef>
#include <vector>

#include "common.h"

class CGatherWriter {
public:
  // Shot the gather belongs to.
  C3DPointR m_ptShot;
  int m_nShot = 0;   // shot number: the part number of every trace
  int m_nShotId = 0; // shot id written to bytes 17-20 when the headers are completed
  // Time axis of the traces: first sample and interval, seconds.
  double m_t0 = 0;
  double m_dt = 0;

  // Writes nTraces traces of nSamples samples, sample k of trace i at
  // pData[k * nTraces + i]. The file type follows the name. The four number
  // lists are optional; each holds one value per receiver. Inline and
  // crossline numbers go to the SEG-Y headers when some trace has both above
  // 0, trace ids (bytes 13-16) and file ids (bytes 9-12) where they are at
  // least 0; a start time other than 0 to the delay field (bytes 109-110).
  // Result: 0 success, -1 bad input or no memory, 1 the file was not written.
  int Write(const char* path, size_t nTraces, size_t nSamples, float* pData, const std::vector<C3DPointR>& receivers,
            const std::vector<int>* pInline, const std::vector<int>* pCrossline, const std::vector<int>* pTraceId,
            const std::vector<int>* pFileId) const;

private:
  // Reopens a written SEG-Y file and puts the receiver numbers, the shot id
  // (with numbers or ids) and the start time into its trace headers.
  // Failures leave the fields as they were; the result tells whether every
  // trace was completed.
  bool CompleteHeaders(const char* path, size_t nTraces, bool bNumbers, bool bIds, const std::vector<int>* pInline,
                       const std::vector<int>* pCrossline, const std::vector<int>* pTraceId,
                       const std::vector<int>* pFileId) const;
};

// The system's text for a failed write's errno, for the messages of the
// writers.
const char* output_SystemReason(int nErr);
