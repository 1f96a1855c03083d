// Reading of runtask.ini into memory and the keyed readers over it.
#include "TaskFile.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common.h"

int task_read_lines(const char* szFile, std::vector<CString>& lines) {
  lines.clear();
  FILE* fp = fopen(szFile, "rt");
  if (!fp)
    return -1;
  char szLine[256];
  while (fgets(szLine, sizeof(szLine), fp)) {
    // Trailing blanks and control characters (line ends included).
    int n = (int)strlen(szLine);
    while (n > 0 && (unsigned char)szLine[n - 1] <= 32)
      szLine[--n] = 0;
    // A comment runs from ';' to the end; what stands before it stays as is.
    char* pComment = strchr(szLine, ';');
    if (pComment)
      *pComment = 0;
    if (szLine[0] == 0 || szLine[0] == '#')
      continue;
    lines.push_back(CString(szLine));
  }
  fclose(fp);
  return 0;
}

// Finds `key` in the first block of `section`. On success the line index is
// stored in *pIndex and the value's first character in *ppValue.
static int task_find(const std::vector<CString>& lines, const char* section, const char* key, size_t* pIndex,
                     const char** ppValue) {
  const size_t nSection = strlen(section);
  const size_t nKey = strlen(key);
  bool bInside = false;
  for (size_t i = 0; i < lines.size(); i++) {
    const char* s = lines[i];
    if (!bInside) {
      if (strncmp(s, section, nSection) == 0)
        bInside = true;
      continue;
    }
    if (s[0] == '[') {
      if (strncmp(s, section, nSection) == 0)
        continue; // the same header again: the block goes on
      return 1;
    }
    if (strncmp(s, key, nKey) != 0)
      continue;
    const char* pEq = strchr(s + nKey, '=');
    if (!pEq)
      continue;
    pEq++;
    while (*pEq != 0 && (unsigned char)*pEq <= 32)
      pEq++;
    *pIndex = i;
    *ppValue = pEq;
    return 0;
  }
  return bInside ? 1 : 2;
}

// Common part of all readers: finds the key, copies at most size-1
// characters of its value into `buffer` and erases the line.
static int task_take(std::vector<CString>& lines, const char* section, const char* key, char* buffer, int size) {
  size_t nIndex = 0;
  const char* pValue = nullptr;
  int rc = task_find(lines, section, key, &nIndex, &pValue);
  if (rc == 1) {
    u_Print("Parameter '%s\\%s' isn't found in the 'runtask.ini' file.\n", section, key);
    return 1;
  }
  if (rc == 2) {
    u_Print("Section '%s\\%s' isn't found in the 'runtask.ini' file.\n", section, key);
    return 2;
  }
  if (size > 0) {
    strncpy(buffer, pValue, size - 1);
    buffer[size - 1] = 0;
  }
  lines.erase(lines.begin() + nIndex);
  return 0;
}

int get_parameter_string(std::vector<CString>& lines, const char* section, const char* key, char* buffer, int size) {
  return task_take(lines, section, key, buffer, size);
}

int get_parameter_int(std::vector<CString>& lines, const char* section, const char* key, int* value) {
  char sz[256];
  int rc = task_take(lines, section, key, sz, sizeof(sz));
  if (rc == 0)
    *value = atoi(sz);
  return rc;
}

int get_parameter_bool(std::vector<CString>& lines, const char* section, const char* key, bool* value) {
  char sz[256];
  int rc = task_take(lines, section, key, sz, sizeof(sz));
  if (rc == 0)
    *value = atoi(sz) != 0;
  return rc;
}

int get_parameter_double(std::vector<CString>& lines, const char* section, const char* key, double* value) {
  char sz[256];
  int rc = task_take(lines, section, key, sz, sizeof(sz));
  if (rc == 0)
    *value = atof(sz);
  return rc;
}

int get_parameter_float(std::vector<CString>& lines, const char* section, const char* key, float* value) {
  char sz[256];
  int rc = task_take(lines, section, key, sz, sizeof(sz));
  if (rc == 0)
    *value = (float)atof(sz);
  return rc;
}

int task_report_redundant(const std::vector<CString>& lines, bool bParanoid) {
  CString strHeader;
  int nCount = 0;
  for (const CString& line : lines) {
    const char* s = line;
    if (s[0] == '[') {
      strHeader = line;
      continue;
    }
    if (bParanoid)
      u_Error("Error! Redundant variable: %s, %s\n", (const char*)strHeader, s);
    else
      u_Warning("Warning! Redundant variable: %s, %s\n", (const char*)strHeader, s);
    nCount++;
  }
  return nCount;
}
