#include "ClusterPlan.h"

int CClusterPlan::GroupSize(double fNeed, double fAvail, int nRequested) {
  int g = 1;
  if (fNeed > fAvail && fAvail > 0)
    g = (int)(fNeed / fAvail) + 1;
  if (nRequested > 0)
    g = nRequested;
  return g;
}

void CClusterPlan::Partition(int nWorkers, int g) {
  m_nGroups = g > 0 ? nWorkers / g : 0;
  m_vLeaders.clear();
  m_vGroup.assign(nWorkers, 0);
  m_vSize.assign(nWorkers, 0);
  m_vRank.assign(nWorkers, 0);
  for (int w = 1; w <= nWorkers && m_nGroups > 0; w++) {
    const int k = (w - 1) % g;
    if (k == 0 && (int)m_vLeaders.size() < m_nGroups)
      m_vLeaders.push_back(w);
    const bool bLast = (int)m_vLeaders.size() == m_nGroups;
    m_vGroup[w - 1] = (int)m_vLeaders.size();
    m_vSize[w - 1] = bLast ? g + nWorkers % g : g;
    m_vRank[w - 1] = bLast ? w - m_vLeaders.back() : k;
  }
}
