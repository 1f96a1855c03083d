#include "StartupScan.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

CStartupScan::CStartupScan(int nCPUs, int (*pfnDeviceCount)())
    : m_nCPUs(nCPUs), m_nThreads(nCPUs), m_pfnDeviceCount(pfnDeviceCount) {}

// Integer behind the '=' of a key line, or false when there is no '='.
static bool scan_value(const char* szLine, int* pValue) {
  const char* p = strchr(szLine, '=');
  if (!p)
    return false;
  p++;
  while (*p != 0 && (unsigned char)*p <= 32)
    p++;
  char sz[128];
  strncpy(sz, p, sizeof(sz) - 1);
  sz[sizeof(sz) - 1] = 0;
  *pValue = atoi(sz);
  return true;
}

static bool starts_with(const char* s, const char* prefix) { return strncmp(s, prefix, strlen(prefix)) == 0; }

void CStartupScan::Scan(const char* szFile) {
  FILE* fp = fopen(szFile, "rt");
  if (!fp)
    return;
  bool bOpen = false;
  char szLine[254];
  while (fgets(szLine, sizeof(szLine), fp)) {
    if (starts_with(szLine, "[optimization]") || starts_with(szLine, "[GPU]") || starts_with(szLine, "[MPI]")) {
      bOpen = true;
      continue;
    }
    if (!bOpen)
      continue;
    int nValue = 0;
    if (starts_with(szLine, "threads per process")) {
      if (scan_value(szLine, &nValue) && m_nGPUs == 0 && nValue > 0 && nValue < m_nCPUs) {
        m_nThreads = nValue;
        printf("...%d nodes per process\n", nValue);
      }
    } else if (starts_with(szLine, "Skip Device Count Detection")) {
      if (scan_value(szLine, &nValue))
        m_bSkip = nValue != 0;
    } else if (starts_with(szLine, "Use CUDA")) {
      if (scan_value(szLine, &nValue) && nValue > 0 && m_pfnDeviceCount) {
        m_nGPUs = m_pfnDeviceCount();
        if (m_nGPUs > 0) {
          printf("...%d GPUs per node\n", m_nGPUs);
          fflush(stdout);
        }
      }
    }
  }
  fclose(fp);
}

int CStartupScan::Wanted() const {
  if (m_nGPUs > 0)
    return m_nGPUs;
  int n = m_nThreads > 0 ? m_nCPUs / m_nThreads : 1;
  return n < 1 ? 1 : n;
}
