// Readers of the job file runtask.ini.
//
// The file is held in memory as a list of its kept lines (headers and keys
// in file order). A reader that finds its key erases the line, so that the
// lines left at the end are those that nobody asked for.
#pragma once

#include <vector>

#include "CString.h"

// Reads a job file into `lines`: lines of at most 255 characters, trailing
// blanks and control characters removed, cut at the first ';', empty lines
// and lines beginning with '#' dropped. Returns 0, or -1 if the file cannot
// be opened (no message).
int task_read_lines(const char* szFile, std::vector<CString>& lines);

// All readers: `section` with its brackets ("[modeling]"), `key` as written.
// Result 0: found (the line is erased); 1: the section exists but the key is
// not in its first block; 2: no such section. When not found, a note is
// printed and the output parameter is left unchanged.
int get_parameter_string(std::vector<CString>& lines, const char* section, const char* key, char* buffer, int size);
int get_parameter_int(std::vector<CString>& lines, const char* section, const char* key, int* value);
int get_parameter_bool(std::vector<CString>& lines, const char* section, const char* key, bool* value);
int get_parameter_double(std::vector<CString>& lines, const char* section, const char* key, double* value);
int get_parameter_float(std::vector<CString>& lines, const char* section, const char* key, float* value);

// Reports the lines left in `lines` as redundant: a warning each, or an
// error each when `bParanoid`. Returns the number of such key lines.
int task_report_redundant(const std::vector<CString>& lines, bool bParanoid);
