#include <sstream>
#include "search/processor_groups.h"
#include "search/root.h"
#include "search/search.h"
#include "search/threads.h"
#include "search/timeman.h"
#include "search_support.h"
#include "uci/options.h"

namespace {
// However the best move behaves, the soft limit is stretched at most to twice
// its size and shrunk at most to 0.6 of it; shallow iterations say nothing yet.
TEST(StabilityScale, StaysWithinItsBoundsAndFollowsTheBestMove) {
    for (int changes : {0, 1, 2, 5, 30}) {
        double scale = 1.0;
        for (int depth = 1; depth < 40; ++depth) {
            double next = nextStabilityScale(scale, depth, changes);
            ASSERT_GE(next, 0.6) << changes;
            ASSERT_LE(next, 2.0) << changes;
            EXPECT_TRUE(depth > 4 || next == 1.0) << depth;
            EXPECT_TRUE(depth <= 4 || changes != 1 || next <= scale) << depth;
            EXPECT_TRUE(depth <= 4 || changes < 2 || next > 1.0) << depth << " " << changes;
            scale = next;
        }
    }
}

TEST(InfoLine, CentipawnsMatesAndMoveText) {
    TestPosition p("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
    Move castle = findLegalMove(*p, 0, "e1g1");
    ASSERT_NE(castle, NO_MOVE);
    std::vector<Move> pv = {castle};
    EXPECT_EQ(infoLine(35, 7, 11, 5000, 250, 2, pv, *p),
              "info score cp 35 depth 7 seldepth 11 nodes 5000 nps 20000 time 250 tbhits 2 pv e1g1");
    EXPECT_EQ(infoLine(mateIn(1), 1, 1, 10, 0, 0, pv, *p),
              "info score mate 1 depth 1 seldepth 1 nodes 10 nps 10000 time 0 tbhits 0 pv e1g1");
    EXPECT_EQ(infoLine(mateIn(5), 5, 6, 10, 1, 0, pv, *p).substr(0, 18), "info score mate 3 ");
    EXPECT_EQ(infoLine(matedIn(4), 5, 6, 10, 1, 0, pv, *p).substr(0, 19), "info score mate -3 ");
    EXPECT_EQ(infoLine(LARGEST_PLAIN_SCORE, 5, 6, 10, 1, 0, pv, *p).substr(0, 22), "info score cp 31871 de");
    // Under MultiPV the rank follows the score.
    EXPECT_EQ(infoLine(matedIn(4), 5, 6, 10, 1, 0, pv, *p, 12).substr(0, 31), "info score mate -3 multipv 12 d");
}

TEST(InfoLine, PrincipalVariationIsWrittenMoveAfterMove) {
    TestPosition p("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1");
    Move ep = findLegalMove(*p, 0, "e5d6");
    ASSERT_NE(ep, NO_MOVE);
    std::vector<Move> pv = {ep, makeMove(60, 51)};  // exd6, Kd7
    std::string line = infoLine(0, 2, 2, 1, 1, 0, pv, *p);
    EXPECT_EQ(line.substr(line.find(" pv ")), " pv e5d6 e8d7");
}

// Every thread's widening sequence grows step by step, so a re-search never narrows a window it has already widened.
TEST(AspirationSteps, EveryRowWidensStepByStep) {
    for (int r = 0; r < 32; ++r) {
        EXPECT_GT(ASPIRATION_STEPS[r][0], 0) << "row " << r;
        for (int k = 1; k < 5; ++k) EXPECT_GT(ASPIRATION_STEPS[r][k], ASPIRATION_STEPS[r][k - 1]) << "row " << r;
    }
}

struct FixedDepthSearch : ::testing::Test {
    static void SetUpTestSuite() {
        initSearchTables();
        setThreadCount(1);
    }
    static void TearDownTestSuite() { setThreadCount(0); }
    // The root's score and best move after a search of `depth` from fresh tables.
    std::pair<int, std::string> search(const std::string& fen, int depth) {
        TestPosition p(fen);
        clear();
        clearSearchTables();
        searchFixedDepth(*p, depth);
        return {pool[0]->rootBestScore, moveToText(*p, pool[0]->rootBestMove)};
    }
    int scoreOf(const std::string& fen, int depth) { return search(fen, depth).first; }
};

TEST_F(FixedDepthSearch, FiftyMoveRuleTurnsAWinIntoADraw) {
    EXPECT_GT(scoreOf("7k/8/8/8/8/8/8/K5Q1 w - - 0 80", 4), 800);
    EXPECT_EQ(scoreOf("7k/8/8/8/8/8/8/K5Q1 w - - 99 80", 4), 0);
}

TEST_F(FixedDepthSearch, FindsAMateInTwoAndScoresItFromTheRoot) {
    // The rooks mate on the back rank.
    EXPECT_EQ(scoreOf("6k1/5ppp/8/8/8/8/1R3PPP/1R4K1 w - - 0 1", 4), MATE - 1);  // mate in one: Rb8#
    // King and rook against king: no mate in one, but mate in two.
    EXPECT_EQ(scoreOf("k7/8/2K5/8/8/8/8/7R w - - 0 1", 5), MATE - 3);
    EXPECT_EQ(search("k7/8/1K6/8/8/8/8/7R w - - 0 1", 5), std::pair(MATE - 1, std::string("h1h8")));
}

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
