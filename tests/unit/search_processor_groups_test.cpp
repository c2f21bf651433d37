#include <gtest/gtest.h>

#include <sstream>

#include "search/processor_groups.h"
#include "search/threads.h"
#include "search_support.h"
#include "uci/options.h"

namespace {

// Threads fill the cores of the nodes first, then the hyper-threads round
// robin; threads beyond the logical processors, and every thread of an unknown
// topology, stay unbound; a forced node wins over the table.
TEST(ProcessorGroups, ThreadsAreSpreadOverTheNodes) {
    auto one = buildNodeTable({1, 8, 16});
    EXPECT_EQ(one, std::vector<int>(16, 0));
    EXPECT_EQ(buildNodeTable({2, 8, 16}), (std::vector<int>{0, 0, 0, 0, 1, 1, 1, 1, 0, 1, 0, 1, 0, 1, 0, 1}));
    EXPECT_EQ(buildNodeTable({2, 4, 4}), (std::vector<int>{0, 0, 1, 1}));
    EXPECT_TRUE(buildNodeTable({0, 0, 0}).empty());
    for (unsigned beyond : {16u, 200u}) EXPECT_EQ(nodeFromTable(one, beyond), -1) << beyond;
    EXPECT_EQ(nodeToBind(buildNodeTable({0, 0, 0}), 0, 0), -1);
    EXPECT_EQ(nodeToBind(one, 3, 0), 0);
    EXPECT_EQ(nodeToBind(one, 16, 0), -1);
    for (unsigned i : {0u, 5u, 16u, 40u}) EXPECT_EQ(nodeToBind(one, i, 2), 1) << i;
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

// Setting the forced node to its current value keeps the pool; another value
// rebuilds it, which starts every thread's history afresh.
TEST(ProcessorGroups, NumaNodeOptionRebuildsThePoolOnlyOnChange) {
    initSearchTables();
    optionThreads = 2;
    setThreadCount(2);
    auto set = [](const std::string& value) {
        std::istringstream args("name WindowsNumaNode value " + value);
        setoption(args);
    };
    auto mark = [] { pool[1]->history->historyTable[WPAWN][12] = 777; };
    auto rebuilt = [] { return pool[1]->history->historyTable[WPAWN][12] == 0; };
    set("0");
    mark();
    set("0");
    EXPECT_FALSE(rebuilt());
    set("2");
    EXPECT_TRUE(rebuilt());
    EXPECT_EQ(optionNumaNode, 2);
    EXPECT_EQ(pool.size(), 2u);
    mark();
    set("9");  // clamped to 4: a change
    EXPECT_TRUE(rebuilt());
    EXPECT_EQ(optionNumaNode, 4);
    mark();
    set("4");
    EXPECT_FALSE(rebuilt());
    set("0");
    optionThreads = 1;
    setThreadCount(0);
}

} // namespace
