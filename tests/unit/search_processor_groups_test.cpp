#include <gtest/gtest.h>

#include "search/processor_groups.h"

namespace {

TEST(ProcessorGroups, OneNodeWithHyperThreads) {
    auto table = buildNodeTable({1, 8, 16});
    ASSERT_EQ(table.size(), 16u);
    for (unsigned i = 0; i < 16; ++i) EXPECT_EQ(nodeFromTable(table, i), 0) << i;
    EXPECT_EQ(nodeFromTable(table, 16), -1);
    EXPECT_EQ(nodeFromTable(table, 200), -1);
}

TEST(ProcessorGroups, TwoNodesFillCoresFirstThenHyperThreadsRoundRobin) {
    auto table = buildNodeTable({2, 8, 16});
    const std::vector<int> expected = {0, 0, 0, 0, 1, 1, 1, 1, 0, 1, 0, 1, 0, 1, 0, 1};
    EXPECT_EQ(table, expected);
    // Without hyper-threads the table ends with the cores.
    EXPECT_EQ(buildNodeTable({2, 4, 4}), (std::vector<int>{0, 0, 1, 1}));
    // More threads than logical processors stay unbound.
    EXPECT_EQ(nodeFromTable(buildNodeTable({2, 4, 4}), 4), -1);
}

TEST(ProcessorGroups, UnknownTopologyBindsNothing) {
    EXPECT_TRUE(buildNodeTable({0, 0, 0}).empty());
    EXPECT_EQ(nodeToBind(buildNodeTable({0, 0, 0}), 0, 0), -1);
}

TEST(ProcessorGroups, ForcedNodeWins) {
    auto table = buildNodeTable({1, 8, 16});
    for (unsigned i : {0u, 5u, 16u, 40u}) EXPECT_EQ(nodeToBind(table, i, 2), 1) << i;
    EXPECT_EQ(nodeToBind(table, 3, 0), 0);
    EXPECT_EQ(nodeToBind(table, 16, 0), -1);
    EXPECT_EQ(nodeToBind(buildNodeTable({4, 16, 32}), 20, 4), 3);
}

TEST(ProcessorGroups, SystemTopologyIsPlausible) {
    ProcessorTopology t = systemTopology();
    if (t.logicalProcessors == 0) GTEST_SKIP() << "no topology information on this system";
    EXPECT_GE(t.nodes, 1);
    EXPECT_GE(t.cores, 1);
    EXPECT_GE(t.logicalProcessors, t.cores);
    EXPECT_EQ(nodeForThread(0), 0);
    bindThisThread(0);  // must not fail or hang
}

} // namespace
