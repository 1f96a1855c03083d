// Group size and partition of the workers of a cluster run.
#include <gtest/gtest.h>

#include <vector>

#include "cluster/ClusterPlan.h"

TEST(ClusterPlan, GroupSizeFromMemory) {
  // Shot memory, free memory, the task's group size: truncation plus one.
  EXPECT_EQ(1, CClusterPlan::GroupSize(1000, 1000, 0));
  EXPECT_EQ(2, CClusterPlan::GroupSize(1001, 1000, 0));
  EXPECT_EQ(3, CClusterPlan::GroupSize(2000, 1000, 0));
  EXPECT_EQ(1, CClusterPlan::GroupSize(5000, 0, 0)) << "no memory figure: no group";
  EXPECT_EQ(4, CClusterPlan::GroupSize(100, 1000, 4)) << "the task's group size wins";
}

TEST(ClusterPlan, PartitionIntoGroupsWithTheLastTakingTheRest) {
  const struct {
    int workers, g, groups;
    std::vector<int> leaders, group, size, rank;
  } cases[] = {
      {7, 3, 2, {1, 4}, {1, 1, 1, 2, 2, 2, 2}, {3, 3, 3, 4, 4, 4, 4}, {0, 1, 2, 0, 1, 2, 3}},
      {6, 2, 3, {1, 3, 5}, {1, 1, 2, 2, 3, 3}, {2, 2, 2, 2, 2, 2}, {0, 1, 0, 1, 0, 1}},
      {2, 3, 0, {}, {}, {}, {}}, // more per group than workers: no group at all
  };
  for (const auto& c : cases) {
    CClusterPlan plan;
    plan.Partition(c.workers, c.g);
    EXPECT_EQ(c.groups, plan.m_nGroups) << c.workers << "/" << c.g;
    EXPECT_EQ(c.leaders, plan.m_vLeaders) << c.workers << "/" << c.g;
    if (c.groups > 0) {
      EXPECT_EQ((std::vector<std::vector<int>>{c.group, c.size, c.rank}),
                (std::vector<std::vector<int>>{plan.m_vGroup, plan.m_vSize, plan.m_vRank}))
          << c.workers << "/" << c.g;
    }
  }
}
