// The numbers a shot gather of this system carries in its SEG-Y trace
// headers for other readers, at their standard byte positions. The setters
// write in the machine's byte order, for a header read with byte swapping
// (CSdsPC::GetTraceHeader with bCheck set) and written back the same way.
#pragma once

#include <cstdint>
#include <cstring>

#include "seisfile/SdsPC.h"

// 0-based offsets of 32-bit trace-header fields.
enum {
  SGY_TH_FILE_ID = 8,     // bytes 9-12: original field record number
  SGY_TH_TRACE_ID = 12,   // bytes 13-16: trace number within the field record
  SGY_TH_SHOT_ID = 16,    // bytes 17-20: energy source point number
  SGY_TH_OFFSET = 36,     // bytes 37-40: signed source-receiver distance
  SGY_TH_INLINE = 188,    // bytes 189-192: inline number
  SGY_TH_CROSSLINE = 192, // bytes 193-196: crossline number
};

inline void sgy_set_file_id(SGY_TRACEHEADER& h, int32_t v) { h.SetInt32(SGY_TH_FILE_ID, v); }
inline void sgy_set_trace_id(SGY_TRACEHEADER& h, int32_t v) { h.SetInt32(SGY_TH_TRACE_ID, v); }
inline void sgy_set_shot_id(SGY_TRACEHEADER& h, int32_t v) { h.SetInt32(SGY_TH_SHOT_ID, v); }
inline void sgy_set_inline(SGY_TRACEHEADER& h, int32_t v) { h.SetInt32(SGY_TH_INLINE, v); }
inline void sgy_set_crossline(SGY_TRACEHEADER& h, int32_t v) { h.SetInt32(SGY_TH_CROSSLINE, v); }

// Copies, byte for byte and so in either byte order, the numbers that a
// merged gather keeps from a per-shot gather: shot id, signed offset, inline
// and crossline.
inline void sgy_copy_gather_numbers(SGY_TRACEHEADER& to, const SGY_TRACEHEADER& from) {
  for (int nOffset : {SGY_TH_SHOT_ID, SGY_TH_OFFSET, SGY_TH_INLINE, SGY_TH_CROSSLINE})
    memcpy(to.m_buf + nOffset, from.m_buf + nOffset, 4);
}
