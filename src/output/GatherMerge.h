// Joins per-shot SEG-Y files (gathers, time fields) into one SEG-Y file.
#pragma once

class CGatherMerge {
public:
  // Merges the files named by szPattern (one %d) for shot numbers
  // nFirst..nLast into szMerged, which is always written as SEG-Y whatever
  // its extension. Missing or unreadable files are reported and passed
  // over; a file cut short is reported and gives its whole traces. The first
  // readable file fixes the trace length and the time axis; traces of other
  // files are resampled onto it. The merge is written beside szMerged and
  // replaces it only when it holds at least as many traces as an existing
  // szMerged, and when some per-shot file was found; otherwise the existing
  // file stays, with a warning. With bRemove the per-shot files and their
  // .cr0/.cr2 side files are deleted once the merge has replaced szMerged.
  // Result: 0 success (also when nothing was found or the earlier result
  // stays), -1 the result cannot be created or written, or no buffer.
  static int MergeSgy(const char* szMerged, const char* szPattern, int nFirst, int nLast, bool bRemove);
};
