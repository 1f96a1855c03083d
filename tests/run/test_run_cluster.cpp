// Group size and partition of the workers of a cluster run.
#include <gtest/gtest.h>

#include <vector>

#include "cluster/ClusterPlan.h"

namespace {

TEST(ClusterPlan, GroupSizeFromMemory) {
  EXPECT_EQ(1, CClusterPlan::GroupSize(500, 1000, 0)) << "a shot that fits needs no group";
  EXPECT_EQ(1, CClusterPlan::GroupSize(1000, 1000, 0));
  EXPECT_EQ(2, CClusterPlan::GroupSize(1001, 1000, 0));
  EXPECT_EQ(3, CClusterPlan::GroupSize(2000, 1000, 0)) << "truncation plus one";
  EXPECT_EQ(1, CClusterPlan::GroupSize(5000, 0, 0)) << "no memory figure: no group";
  EXPECT_EQ(4, CClusterPlan::GroupSize(100, 1000, 4)) << "the task's group size wins";
  EXPECT_EQ(1, CClusterPlan::GroupSize(9000, 1000, 1));
}

TEST(ClusterPlan, LastGroupTakesTheRest) {
  // 7 workers in groups of 3: ranks 1-3 form group 1, ranks 4-7 group 2 of size 4.
  CClusterPlan plan;
  plan.Partition(7, 3);
  EXPECT_EQ(2, plan.m_nGroups);
  EXPECT_EQ((std::vector<int>{1, 4}), plan.m_vLeaders);
  EXPECT_EQ((std::vector<int>{1, 1, 1, 2, 2, 2, 2}), plan.m_vGroup);
  EXPECT_EQ((std::vector<int>{3, 3, 3, 4, 4, 4, 4}), plan.m_vSize);
  EXPECT_EQ((std::vector<int>{0, 1, 2, 0, 1, 2, 3}), plan.m_vRank);
}

TEST(ClusterPlan, EvenGroupsAndLoneWorkers) {
  CClusterPlan plan;
  plan.Partition(6, 2);
  EXPECT_EQ(3, plan.m_nGroups);
  EXPECT_EQ((std::vector<int>{1, 3, 5}), plan.m_vLeaders);
  EXPECT_EQ((std::vector<int>{0, 1, 0, 1, 0, 1}), plan.m_vRank);
  EXPECT_EQ((std::vector<int>{2, 2, 2, 2, 2, 2}), plan.m_vSize);

  plan.Partition(3, 1);
  EXPECT_EQ((std::vector<int>{1, 2, 3}), plan.m_vLeaders);
  EXPECT_EQ((std::vector<int>{1, 1, 1}), plan.m_vSize);
  EXPECT_EQ((std::vector<int>{0, 0, 0}), plan.m_vRank);

  // One group of all: 5 workers, g = 3 gives a single group of 5.
  plan.Partition(5, 3);
  EXPECT_EQ((std::vector<int>{1}), plan.m_vLeaders);
  EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 4}), plan.m_vRank);
  EXPECT_EQ((std::vector<int>{5, 5, 5, 5, 5}), plan.m_vSize);

  // More per group than workers: no group at all.
  plan.Partition(2, 3);
  EXPECT_EQ(0, plan.m_nGroups);
  EXPECT_TRUE(plan.m_vLeaders.empty());
}

} // namespace
