#include "HostCensus.h"

#include <mpi.h>

#include <cstdio>
#include <cstring>

#include "cluster/MessageTags.h"

CHostCensus::CHostCensus(int nWorldSize) : m_nWorldSize(nWorldSize) {
  m_vRecords.resize(nWorldSize + 1);
  memset(m_vRecords.data(), 0, m_vRecords.size() * sizeof(CHostRecord));
  m_vRecords[0].bActive = true;
}

void CHostCensus::SetRecord(int i, const char* szHost, int nProcesses) {
  CHostRecord& r = m_vRecords[i];
  memset(r.szHost, 0, sizeof(r.szHost));
  memcpy(r.szHost, szHost, strnlen(szHost, sizeof(r.szHost) - 1));
  r.nRank = i;
  r.nProcesses = nProcesses;
  r.bActive = true;
}

void CHostCensus::Thin() {
  for (int i = 1; i < m_nWorldSize; i++) {
    if (!m_vRecords[i].bActive)
      continue;
    int nLeft = m_vRecords[i].nProcesses;
    for (int j = 1; j < m_nWorldSize; j++) {
      if (strcmp(m_vRecords[j].szHost, m_vRecords[i].szHost) != 0)
        continue;
      if (--nLeft < 0)
        m_vRecords[j].bActive = false;
    }
  }
}

int CHostCensus::GetActiveList(std::vector<int>& vList) const {
  vList.assign(m_nWorldSize + 1, 0);
  int n = 1; // entry 0 is rank 0
  for (int i = 1; i < m_nWorldSize; i++)
    if (m_vRecords[i].bActive)
      vList[n++] = i;
  return n;
}

void CHostCensus::PrintRoles() const {
  for (int i = 1; i < m_nWorldSize; i++)
    printf("--Node: rank %d, %s, %s\n", i, m_vRecords[i].szHost, m_vRecords[i].bActive ? "Active" : "Passive");
  fflush(stdout);
}

void CHostCensus::SendOwn(const char* szHost, int nWanted) {
  char sz[80];
  memset(sz, 0, sizeof(sz));
  strncpy(sz, szHost, sizeof(sz) - 1);
  MPI_Send(sz, 80, MPI_CHAR, 0, TAG_CENSUS_HOST, MPI_COMM_WORLD);
  MPI_Send(&nWanted, 1, MPI_INT, 0, TAG_CENSUS_WANTED, MPI_COMM_WORLD);
}

void CHostCensus::ReceiveAll() {
  for (int i = 1; i < m_nWorldSize; i++) {
    char sz[81];
    int nWanted = 0;
    MPI_Status st;
    MPI_Recv(sz, 80, MPI_CHAR, i, TAG_CENSUS_HOST, MPI_COMM_WORLD, &st);
    sz[80] = 0;
    MPI_Recv(&nWanted, 1, MPI_INT, i, TAG_CENSUS_WANTED, MPI_COMM_WORLD, &st);
    SetRecord(i, sz, nWanted);
  }
}
