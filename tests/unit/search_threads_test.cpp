#include <sstream>
#include "search/processor_groups.h"
#include "search/threads.h"
#include "search_support.h"
#include "uci/options.h"

namespace {
bool isSearching(worker& w) {
    std::lock_guard<std::mutex> lock(w.mutex);
    return w.searching;
}

struct ThreadPool : ::testing::Test {
    void SetUp() override { initSearchTables(); }
    void TearDown() override { setThreadCount(0); }
};

TEST_F(ThreadPool, BuildsABossAndWorkersThatSleepUntilWoken) {
    setThreadCount(4);
    ASSERT_EQ(pool.size(), 4u);
    EXPECT_NE(dynamic_cast<boss*>(pool[0]), nullptr);
    for (size_t i = 0; i < pool.size(); ++i)
        EXPECT_TRUE(pool[i]->index == i && !isSearching(*pool[i]) && reinterpret_cast<uintptr_t>(pool[i]) % 64 == 0)
            << i;
    setThreadCount(2);
    EXPECT_EQ(pool.size(), 2u);
    setThreadCount(0);
    EXPECT_TRUE(pool.empty());
}

TEST_F(ThreadPool, EveryThreadSearchesAndAllAreIdleAfterwards) {
    setThreadCount(3);
    uint64_t nodes =
        searchFixedDepthWithPool(*TestPosition("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3"), 7);
    uint64_t sum = 0;
    for (worker* w : pool) {
        EXPECT_TRUE(w->nodes.load() > 0 && !isSearching(*w) && w->rootBestMove != NO_MOVE) << "thread " << w->index;
        sum += w->nodes.load();
    }
    EXPECT_TRUE(nodes == sum && stopFlag.get() && pool[0]->completedDepth >= 6) << nodes << " " << sum;
}

TEST_F(ThreadPool, ClearingTheTablesZeroesEveryHistory) {
    setThreadCount(2);
    searchFixedDepthWithPool(*TestPosition(START_FEN), 6);
    bool anyHistory = false;
    for (worker* w : pool)
        for (auto& row : w->history->historyTable)
            for (int16_t h : row) anyHistory |= h != 0;
    EXPECT_TRUE(anyHistory);
    clearSearchTables();
    for (worker* w : pool)
        for (auto& row : w->history->historyTable)
            for (int16_t h : row) EXPECT_EQ(h, 0);
}

TEST_F(ThreadPool, StopAndWaitEndsAnEndlessSearch) {
    setThreadCount(2);
    TestPosition p(START_FEN);
    timeControl = TimeControl{};
    timeControl.startTime = nowMs();
    timeControl.hardLimit = timeControl.softLimit = 1 << 30;
    stopFlag.set(false);
    timeUpFlag.set(false);
    infiniteFlag.set(true);
    ponderingFlag.set(false);
    bool output = searchOutputEnabled;
    searchOutputEnabled = false;
    startSearch(*p);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_TRUE(isSearching(*pool[0]));
    stopAndWait();
    EXPECT_FALSE(isSearching(*pool[0]) || isSearching(*pool[1]));
    infiniteFlag.set(false);
    searchOutputEnabled = output;
}

// Threads fill the cores of the nodes first, then the hyper-threads round robin; threads beyond the logical processors,
// and every thread of an unknown topology, stay unbound; a forced node wins over the table.
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
    EXPECT_TRUE(t.nodes >= 1 && t.cores >= 1 && t.logicalProcessors >= t.cores) << t.nodes << " " << t.cores;
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
    EXPECT_TRUE(rebuilt() && optionNumaNode == 2 && pool.size() == 2u);
    mark();
    set("9");  // clamped to 4: a change
    EXPECT_TRUE(rebuilt() && optionNumaNode == 4);
    mark();
    set("4");
    EXPECT_FALSE(rebuilt());
    set("0");
    optionThreads = 1;
    setThreadCount(0);
}
}  // namespace
