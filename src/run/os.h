// Small operating-system helpers.
#pragma once
#include "CString.h"

namespace os {
int GetCPUCount();
inline bool isApp64() { return true; }
// "version major.minor.patch" with the revision as a letter or "(rev. n)".
void GetAppVersionString(CString& str);
// Parses a version text "a, b, c, d" into the string as above.
void FormatVersionString(const char* version, CString& str);
// "mm:ss", "h:m:s" or "d days, h:m:s".
void SecToString(double seconds, char* out);
} // namespace os

// Creates every missing directory along the path; 0 when the path exists at the end.
int make_dir(const char* path);
