// Census of the hosts of an MPI run, held by world rank 0: which processes
// take part (Active) and which stay idle to the end (Passive).
#pragma once

#include <vector>

// One record per world rank; record 0 stands for rank 0 itself.
struct CHostRecord {
  char szHost[80];
  int nRank;
  int nProcesses; // processes its sender wants on its host
  bool bActive;
};

class CHostCensus {
public:
  // World size plus one zero-filled records; record 0 is active.
  explicit CHostCensus(int nWorldSize);

  void SetRecord(int i, const char* szHost, int nProcesses);

  // Leaves on each host the `nProcesses` lowest ranks above 0 active. Rank 0
  // is not counted against its host.
  void Thin();

  // World ranks of the active records: 0 first, then ascending; the list has
  // world size plus one entries, zero-filled behind the last active rank.
  // Returns the number of active ranks.
  int GetActiveList(std::vector<int>& vList) const;

  // Prints the role of every rank above 0 to standard output.
  void PrintRoles() const;

  // The exchange itself (rank 0 receives, every other rank sends): host name
  // (TAG_CENSUS_HOST), processes wanted (TAG_CENSUS_WANTED), on MPI_COMM_WORLD.
  static void SendOwn(const char* szHost, int nWanted);
  void ReceiveAll();

  int m_nWorldSize;
  std::vector<CHostRecord> m_vRecords;
};
