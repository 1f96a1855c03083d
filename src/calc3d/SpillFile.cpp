#include "calc3d/SpillFile.h"

#include <cstring>
#include <new>
#include <vector>

bool CSpillFile::Create(const char* szFile, int nNode, size_t nReceivers) {
  m_fp.reset();
  m_strName = szFile;
  m_nReceivers = nReceivers;
  FILE* fp = fopen(szFile, "wb");
  if (!fp)
    return false;
  m_fp.reset(fp, file_deleter);
  const int32_t nMagic = kMagic, nWriter = nNode;
  const int64_t nCount = (int64_t)nReceivers;
  fwrite(&nMagic, sizeof(nMagic), 1, fp);
  fwrite(&nWriter, sizeof(nWriter), 1, fp);
  fwrite(&nCount, sizeof(nCount), 1, fp);
  return true;
}

int CSpillFile::Append(const float* pX, const float* pY, const float* pZ, const float* pC) {
  FILE* fp = m_fp.get();
  const size_t n = m_nReceivers;
  size_t nItems = fwrite(pX, sizeof(float), n, fp);
  nItems += fwrite(pY, sizeof(float), n, fp);
  nItems += fwrite(pZ, sizeof(float), n, fp);
  nItems += fwrite(pC, sizeof(float), n, fp);
  if (nItems != 4 * n) {
    u_Error("Error! Unable to write to the seismic file %s.\n", (const char*)m_strName);
    return 1;
  }
  return 0;
}

float* CSpillFile::Read(const char* szFile, int nNode, size_t nReceivers, size_t nRows, char cComponent) {
  m_fp.reset();
  FILE* fp = fopen(szFile, "rb");
  if (!fp) {
    u_Error("Error! Unable to open file '%s' for reading.\n", szFile);
    return nullptr;
  }
  shared_ptr1<FILE> hold(fp, file_deleter);
  const size_t n = nReceivers;
  if (!m_pRead) {
    m_pRead = new (std::nothrow) float[n * nRows]();
    if (!m_pRead) {
      u_Error("Error! Not enough memory. Please, try to increase spatial steps.\n");
      return nullptr;
    }
  }
  int32_t nMagic = 0, nWriter = 0;
  int64_t nCount = 0;
  if (fread(&nMagic, sizeof(nMagic), 1, fp) != 1 || fread(&nWriter, sizeof(nWriter), 1, fp) != 1 ||
      fread(&nCount, sizeof(nCount), 1, fp) != 1) {
    u_Error("Error! Unable to read file '%s'.\n", szFile);
    return nullptr;
  }
  if (nMagic != kMagic || nWriter != nNode || nCount != (int64_t)n) {
    u_Error("Error! Unexpected format of file '%s' : %d!=%d or %d!=%d or %d!=%d.\n", szFile, nMagic, kMagic, nWriter,
            nNode, (int)nCount, (int)n);
    return nullptr;
  }
  int nBlock = 2;
  if (cComponent == 'X')
    nBlock = 0;
  else if (cComponent == 'Y')
    nBlock = 1;
  else if (cComponent == 'C')
    nBlock = 3;
  std::vector<float> row(4 * n);
  for (size_t s = 0; s < nRows; s++) {
    if (fread(row.data(), sizeof(float), 4 * n, fp) != 4 * n) {
      u_Error("Error! Unexpected end of file '%s'\n", szFile);
      return nullptr;
    }
    std::memcpy(m_pRead + s * n, row.data() + nBlock * n, n * sizeof(float));
  }
  return m_pRead;
}

void CSpillFile::Release() {
  m_fp.reset();
  delete[] m_pRead;
  m_pRead = nullptr;
}
