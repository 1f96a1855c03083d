// Joins per-shot SEG-Y files (gathers, time fields) into one SEG-Y file.
#pragma once

class CGatherMerge {
public:
  // Merges the files named by szPattern (one %d) for shot numbers
  // nFirst..nLast into szMerged, which is always written as SEG-Y whatever
  // its extension. Missing or unreadable files are reported and passed
  // over. The first readable file fixes the trace length and the time axis;
  // traces of other files are resampled onto it. With bRemove the per-shot
  // files and their .cr0/.cr2 side files are deleted afterwards.
  // Result: 0 success (even when nothing was found), -1 the result cannot be
  // created or written, or no buffer.
  static int MergeSgy(const char* szMerged, const char* szPattern, int nFirst, int nLast, bool bRemove);
};
