#include <set>
#include <thread>
#include "search/timeman.h"
#include "search_session.h"

namespace {
// Starts an infinite search of the start position and lets it run for ms milliseconds.
void searchStartposFor(EngineSession& s, int ms) {
    s.send("position startpos");
    s.send("go infinite");
    readFor(s.engine, ms);
}

TEST(SearchGo, DepthLimitAndInfoLineForm) {
    EngineSession s;
    std::vector<std::string> lines = s.search("startpos", "go depth 5");
    auto infos = withPrefix(lines, "info score");
    ASSERT_GE(infos.size(), 2u);
    // One line per completed iteration (the last one at depth 4), then the final summary.
    for (size_t i = 0; i + 1 < infos.size(); ++i) EXPECT_EQ(fieldOf(infos[i], "depth"), long(i + 1)) << infos[i];
    EXPECT_EQ(fieldOf(infos.back(), "depth"), 4);
    for (const auto& l : infos) EXPECT_TRUE(std::regex_match(l, INFO_LINE)) << l;
    const std::string& best = lines.back();
    EXPECT_TRUE(std::regex_match(best, std::regex("bestmove [a-h][1-8][a-h][1-8] ponder [a-h][1-8][a-h][1-8]")))
        << best;
    // The bestmove and the ponder move are the start of the final line's pv.
    std::string pv = infos.back().substr(infos.back().find(" pv ") + 4);
    EXPECT_EQ(pv.substr(0, 9), best.substr(9, 4) + " " + best.substr(21, 4));
}

TEST(SearchGo, MoveTimeIsKept) {
    EngineSession s;
    s.send("position startpos moves e2e4 e7e5");
    long ms = s.millisUntilBestMove("go movetime 400");
    EXPECT_TRUE(ms >= 350 && ms <= 1500) << ms;
}

// On the clock a search ends between its soft limit, shortened at most to 0.6 of it by a settled best move, and its
// hard limit. The bounds are wide, for a busy machine: a quarter of the soft limit, the hard limit and a second.
TEST(SearchGo, ClockSearchSpendsItsAllotmentAndNoMore) {
    EngineSession s(false);  // the built-in network: a search of real positions
    for (auto [go, time, movesToGo] :
         {std::tuple{"go wtime 60000 btime 60000", 60000, 0}, {"go wtime 3000 btime 3000 movestogo 1", 3000, 1}}) {
        // The limits the engine works out for this "go", as the search receives them.
        AllotmentInput in{
            .time = time, .movesToGo = movesToGo, .movesToGoGiven = movesToGo > 0, .gameMoveCount = 1, .newGame = true};
        Allotment a = withSafetyMargin(allotTime(in), in);
        s.send("ucinewgame");
        s.send("position startpos moves e2e4");
        long ms = s.millisUntilBestMove(go);
        EXPECT_GE(ms, a.softLimit / 4) << go << ": soft limit " << a.softLimit;
        EXPECT_LE(ms, a.hardLimit + 1000) << go << ": hard limit " << a.hardLimit;
        EXPECT_LT(ms, time) << go << ": the flag fell";
    }
}

// With next to nothing on the clock the hard limit is a millisecond or so:
// the answer comes at once, even with a large increment to come.
TEST(SearchGo, TinyClocksAreAnsweredAtOnce) {
    EngineSession s(false);
    s.send("position startpos moves d2d4");
    for (const char* go :
         {"go wtime 50 btime 50", "go wtime 150 btime 150 winc 3000 binc 3000", "go wtime 120 btime 120 movestogo 1"}) {
        std::vector<std::string> lines;
        long ms = s.millisUntilBestMove(go, &lines);
        EXPECT_LT(ms, 1000) << go;
        EXPECT_TRUE(std::regex_match(lines.back(), std::regex("bestmove [a-h][1-8][a-h][1-8].*"))) << go;
    }
}

TEST(SearchGo, InfiniteWaitsForStopAndAnswersIsReady) {
    EngineSession s;
    s.send("position fen 6k1/5ppp/8/8/8/8/5PPP/3R2K1 w - - 0 1");  // mate in one: the search has nothing left to do
    s.send("go infinite");
    EXPECT_TRUE(withPrefix(readFor(s.engine, 600), "bestmove").empty());
    auto start = std::chrono::steady_clock::now();
    auto lines = s.ready(2000);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    EXPECT_TRUE(withPrefix(lines, "bestmove").empty());
    s.send("stop");
    EXPECT_EQ(s.untilBestMove(3000).back(), "bestmove d1d8");  // nothing follows the mate, so no ponder move
}

// "ponderhit" after the soft limit stops at once; before it the search goes on.
TEST(SearchGo, PonderhitStopsOnlyOnceTheSoftLimitHasPassed) {
    EngineSession s;
    s.send("position startpos moves e2e4");
    s.send("go ponder wtime 1000 btime 1000");
    EXPECT_TRUE(withPrefix(readFor(s.engine, 600), "bestmove").empty());
    s.send("ponderhit");
    s.untilBestMove(3000);
    // 60 s on the clock: the soft limit is about a second, so ponderhit at once leaves the search running.
    s.send("go ponder wtime 60000 btime 60000");
    s.send("ponderhit");
    EXPECT_TRUE(withPrefix(readFor(s.engine, 300), "bestmove").empty());
    s.untilBestMove(10000);
}

TEST(SearchGo, StopAndQuitWithSeveralThreads) {
    EngineSession s;
    s.send("setoption name Threads value 3");
    searchStartposFor(s, 300);
    s.ready(1000);
    s.send("stop");
    s.untilBestMove(3000);
    s.send("go infinite");
    readFor(s.engine, 300);
    s.send("quit");
    EXPECT_EQ(waitExit(s.engine, 5000), 0);
}

// The boss searching alone, ended by the end of its input.
TEST(SearchGo, EndOfInputDuringASearchEndsTheProgram) {
    EngineSession s;
    searchStartposFor(s, 200);
    closeInput(s.engine);
    EXPECT_EQ(waitExit(s.engine, 5000), 0);
}

TEST(SearchGo, GoWhileSearchingStartsAfreshWithoutHanging) {
    EngineSession s;
    searchStartposFor(s, 200);
    s.send("go depth 3");
    s.untilBestMove(3000);
    s.untilBestMove(5000);  // both searches answer
}

TEST(SearchGo, NodesAndMateLimitsStopTheSearch) {
    EngineSession s;
    auto infos = withPrefix(s.search("startpos", "go nodes 20000"), "info score");
    ASSERT_FALSE(infos.empty());
    EXPECT_LT(fieldOf(infos.back(), "nodes"), 40000);
    s.send("position fen k7/8/2K5/8/8/8/8/7R w - - 0 1");
    std::vector<std::string> lines;
    EXPECT_LT(s.millisUntilBestMove("go mate 2", &lines), 3000);
    auto mates = withPrefix(lines, "info score mate 2 ");
    ASSERT_FALSE(mates.empty());
    for (const auto& l : mates) EXPECT_TRUE(std::regex_match(l, INFO_LINE)) << l;
}

// The lines of each completed MultiPV iteration (the final summary left out), checked for their form and ranks.
std::vector<std::vector<std::string>> multiPvIterations(const std::vector<std::string>& lines) {
    std::vector<std::vector<std::string>> iterations;
    auto infos = withPrefix(lines, "info score");
    if (!infos.empty()) infos.pop_back();
    for (const auto& l : infos) {
        long rank = fieldOf(l, "multipv");
        EXPECT_TRUE(std::regex_match(std::regex_replace(l, std::regex(" multipv [0-9]+ "), " "), INFO_LINE)) << l;
        if (rank == 1) iterations.emplace_back();
        EXPECT_TRUE(!iterations.empty() && rank == long(iterations.back().size()) + 1) << l;
        if (!iterations.empty()) iterations.back().push_back(l);
    }
    return iterations;
}

// MultiPV k: each iteration prints lines 1..k, or one per move when fewer may be searched, best first and each
// starting with another move; bestmove is line 1's move. Several mates in one are several lines.
TEST(SearchGo, MultiPvLinesPerIteration) {
    EngineSession s;
    using Moves = std::set<std::string>;  // allowed empty: any move
    for (auto [position, go, multiPv, allowed, mating] :
         {std::tuple{"fen 6k1/5ppp/8/8/8/8/8/RQ1R2K1 w - - 0 1", "go depth 4", 4, Moves{},
                     Moves{"a1a8", "b1b8", "d1d8"}},
          {"fen k7/8/8/8/8/8/6r1/K6B w - - 0 1", "go depth 5", 5, {"a1b1", "h1g2"}, {}},  // two legal moves
          {"startpos", "go searchmoves a2a3 h2h4 e2e4 depth 5", 5, {"a2a3", "h2h4", "e2e4"}, {}}}) {
        s.send("setoption name MultiPV value " + std::to_string(multiPv));
        auto lines = s.search(position, go);
        auto iterations = multiPvIterations(lines);
        ASSERT_FALSE(iterations.empty()) << go;
        const size_t expected = allowed.empty() ? size_t(multiPv) : allowed.size();
        for (const auto& lineSet : iterations) {
            ASSERT_EQ(lineSet.size(), expected) << lineSet[0];
            std::set<std::string> firsts, mates;
            for (const auto& l : lineSet) {
                firsts.insert(firstMove(l));
                if (startsWith(l, "info score mate 1 ")) mates.insert(firstMove(l));
            }
            EXPECT_EQ(firsts.size(), lineSet.size()) << lineSet[0];
            EXPECT_TRUE(allowed.empty() || firsts == allowed) << lineSet[0];
            EXPECT_EQ(mates, mating);
        }
        EXPECT_EQ(lines.back().substr(0, 13), "bestmove " + firstMove(iterations.back()[0]));
    }
    // One listed move, two threads: one line, and bestmove is that move.
    s.send("setoption name Threads value 2");
    s.send("setoption name MultiPV value 3");
    auto lines = s.search("startpos", "go depth 6 searchmoves a2a3");
    EXPECT_EQ(lines.back().substr(0, 13), "bestmove a2a3");
    auto iterations = multiPvIterations(lines);
    EXPECT_EQ(iterations.size(), 5u);
    for (const auto& lineSet : iterations) EXPECT_EQ(lineSet.size(), 1u) << lineSet[0];
}

// Checkmate and stalemate at the root: one info line and no move.
TEST(SearchRoot, NoLegalMoveAtTheRoot) {
    EngineSession s;
    auto mated = s.search("startpos moves f2f3 e7e5 g2g4 d8h4", "go wtime 10000 btime 10000", 3000);
    ASSERT_GE(mated.size(), 2u);
    EXPECT_EQ(std::vector(mated.end() - 2, mated.end()),
              (std::vector<std::string>{"info score mate 0", "bestmove (none)"}));
    auto stalemate = s.search("fen 7k/8/8/8/8/8/5q2/7K w - - 0 1", "go depth 5", 3000);
    ASSERT_GE(stalemate.size(), 2u);
    EXPECT_TRUE(startsWith(stalemate[stalemate.size() - 2], "info score cp 0 depth 0")
                && stalemate.back() == "bestmove (none)")
        << stalemate[stalemate.size() - 2];
}

TEST(SearchRoot, SingleLegalMoveStopsAfterDepthThree) {
    EngineSession s;
    s.send("position fen k7/8/8/8/8/8/1q6/K7 w - - 0 1");
    std::vector<std::string> lines;
    long ms = s.millisUntilBestMove("go wtime 600000 btime 600000", &lines);
    EXPECT_TRUE(ms < 2000 && lines.back() == "bestmove a1b2") << ms << " " << lines.back();
    for (const auto& l : withPrefix(lines, "info score")) EXPECT_LE(fieldOf(l, "depth"), 3) << l;
}

TEST(SearchRoot, AMatedSideSeesANegativeMateAndARepetitionOfTheGameIsADraw) {
    EngineSession s;
    // Kb8 is forced, then Rh8 mates.
    auto infos = withPrefix(s.search("fen k7/8/1K6/8/8/8/8/7R b - - 0 1", "go depth 6"), "info score");
    ASSERT_FALSE(infos.empty());
    EXPECT_TRUE(startsWith(infos.back(), "info score mate -")) << infos.back();
    // Black, a rook down, can repeat the position a third time with Qe1+.
    infos = withPrefix(
        s.search("fen 6k1/5ppp/8/8/8/8/q4PPP/1R4K1 b - - 0 1 moves a2e2 g1h1 e2e1 h1h2 e1e2 h2h1 e2e1 h1h2 e1e2 h2h1",
                 "go depth 6"),
        "info score");
    ASSERT_FALSE(infos.empty());
    EXPECT_LE(std::abs(fieldOf(infos.back(), "cp")), 1) << infos.back();
}
}  // namespace
