#include <chrono>
#include <thread>

#include "search/control.h"
#include "search/threads.h"
#include "search_support.h"

namespace {

bool isSearching(worker& w) {
    std::lock_guard<std::mutex> lock(w.mutex);
    return w.searching;
}

class ThreadPool : public ::testing::Test {
protected:
    void SetUp() override { initSearchTables(); }
    void TearDown() override { setThreadCount(0); }
};

TEST_F(ThreadPool, BuildsABossAndWorkersThatSleepUntilWoken) {
    setThreadCount(4);
    ASSERT_EQ(pool.size(), 4u);
    EXPECT_NE(dynamic_cast<boss*>(pool[0]), nullptr);
    for (size_t i = 0; i < pool.size(); ++i) {
        EXPECT_EQ(pool[i]->index, i);
        EXPECT_FALSE(isSearching(*pool[i]));
        EXPECT_EQ(reinterpret_cast<uintptr_t>(pool[i]) % 64, 0u);
    }
    setThreadCount(2);
    EXPECT_EQ(pool.size(), 2u);
    setThreadCount(0);
    EXPECT_TRUE(pool.empty());
}

TEST_F(ThreadPool, EveryThreadSearchesAndAllAreIdleAfterwards) {
    setThreadCount(3);
    TestPosition p("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3");
    uint64_t nodes = searchFixedDepthWithPool(*p, 7);
    uint64_t sum = 0;
    for (worker* w : pool) {
        EXPECT_GT(w->nodes.load(), 0u) << "thread " << w->index;
        EXPECT_FALSE(isSearching(*w));
        EXPECT_NE(w->rootBestMove, NO_MOVE);
        sum += w->nodes.load();
    }
    EXPECT_EQ(nodes, sum);
    EXPECT_TRUE(stopFlag.get());
    EXPECT_GE(pool[0]->completedDepth, 6);
}

TEST_F(ThreadPool, ClearingTheTablesZeroesEveryHistory) {
    setThreadCount(2);
    TestPosition p(START_FEN);
    searchFixedDepthWithPool(*p, 6);
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
    EXPECT_FALSE(isSearching(*pool[0]));
    EXPECT_FALSE(isSearching(*pool[1]));
    infiniteFlag.set(false);
    searchOutputEnabled = output;
}

} // namespace
