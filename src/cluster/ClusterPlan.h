// How the workers of a cluster run share the shots: the group size that the
// memory need of a shot asks for, and the places of the workers in groups.
#pragma once

#include <vector>

class CClusterPlan {
public:
  // Processes per group: enough nodes of fAvail MB for fNeed MB, or the
  // requested size when above 0.
  static int GroupSize(double fNeed, double fAvail, int nRequested);

  // Consecutive workers 1..nWorkers form nWorkers / g groups of g; the last
  // group takes the workers left over.
  void Partition(int nWorkers, int g);

  int m_nGroups = 0;
  std::vector<int> m_vLeaders; // world rank of each group's leader, ascending
  std::vector<int> m_vGroup;   // per worker (index w - 1): group number from 1
  std::vector<int> m_vSize;    // per worker: size of its group
  std::vector<int> m_vRank;    // per worker: rank in its group
};
