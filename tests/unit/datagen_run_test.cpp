#include <map>
#include <sstream>
#include "datagen_support.h"
#include "search/search.h"
#include "tune/texel.h"

using namespace datagen;

namespace {
struct DatagenRun : DatagenTest {
    void SetUp() override {
        DatagenTest::SetUp();
        book = std::make_unique<TempBook>("run_book.epd", MIDDLEGAME_BOOK);
        settings.bookPath = book->path;
        settings.chess960BookPath = testDataPath("books/FRC_openings.epd");
        settings.games = 2;
        settings.game.nodes = 1000;
        settings.hashMegabytes = 1;
    }
    // Runs the generator into a data file (and a tuning file when asked), logging to `log` where one is given; returns
    // the summary.
    GeneratorSummary run(const std::string& name, bool tuning = false, std::ostream* log = nullptr) {
        settings.dataPath = files.path + "/" + name + ".bin";
        settings.tuningPath = tuning ? files.path + "/" + name + ".epd" : "";
        GeneratorSummary summary;
        std::ostringstream text;
        std::string error;
        EXPECT_TRUE(runGenerator(settings, log ? *log : text, summary, &error)) << error;
        EXPECT_TRUE(log || text.str().find("positions " + std::to_string(summary.positions)) != std::string::npos)
            << text.str();
        return summary;
    }
    std::unique_ptr<TempBook> book;
    GeneratorSettings settings;
    ScratchDir files{"datagen_run"};
};

TEST_F(DatagenRun, TheSameSeedGivesTheSameFileWhateverTheThreadCount) {
    settings.seed = 7;
    run("one_thread");
    std::string first = fileBytes(settings.dataPath);
    settings.threads = 2;
    run("two_threads");
    EXPECT_EQ(fileBytes(settings.dataPath), first);
    settings.seed = 8;
    run("other_seed");
    EXPECT_NE(fileBytes(settings.dataPath), first);
}

TEST_F(DatagenRun, PositionTargetsEndAfterTheGameThatReachesThem) {
    settings.games = 0, settings.positions = 30, settings.threads = 2;
    GeneratorSummary summary = run("target");
    EXPECT_GE(summary.positions, 30u);
    std::vector<TrainingRecord> records;
    ASSERT_TRUE(readAllRecords(settings.dataPath, records));
    EXPECT_EQ(records.size(), summary.positions);
}

TEST_F(DatagenRun, TuningLinesSplitIntoTheRecordedPositionAndWhitesResult) {
    settings.chess960Share = 0.5;  // one game from the Chess960 book, whose castling letters must read back too
    GeneratorSummary summary = run("tuning", true);
    EXPECT_FALSE(chess960) << "the process-wide flag is restored";
    EXPECT_EQ(summary.games, 2u);
    std::vector<TrainingRecord> records;
    ASSERT_TRUE(readAllRecords(settings.dataPath, records));
    ASSERT_GT(records.size(), 10u);  // what each record holds: DatagenGames.RecordsCarryTheGameResultFromTheMoversView
    std::ifstream in(settings.tuningPath);
    std::string line, fen, result;
    size_t n = 0;
    while (std::getline(in, line)) {
        splitTuningLine(line, fen, result);
        ASSERT_LT(n, records.size());
        ASSERT_TRUE(result == "1-0" || result == "0-1" || result == "1/2") << line;
        TrainingRecord fromLine;
        std::string error;
        ASSERT_TRUE(recordFromFen(fen, records[n].score, RESULT_DRAW, fromLine, &error)) << line << ": " << error;
        EXPECT_TRUE(fromLine.occupancy == records[n].occupancy && fromLine.sideToMove == records[n].sideToMove) << line;
        GameResult white = result == "1-0" ? RESULT_WIN : result == "0-1" ? RESULT_LOSS : RESULT_DRAW;
        EXPECT_EQ(records[n].result, moverResult(white, records[n].sideToMove)) << line;
        ++n;
    }
    EXPECT_TRUE(n == records.size() && n == summary.positions) << n;
    EXPECT_EQ(tuningLine("8/8/8/4k3/8/8/3QK3/8 b - - 0 1", RESULT_DRAW),
              "8/8/8/4k3/8/8/3QK3/8 b - - 0 1 c9 \"1/2-1/2\";");
}

// Raises the stop request as soon as a progress line reports `games` games written.
struct StopAfterGames : std::stringbuf {
    StopAfterGames(std::atomic<bool>& flag, int games)
        : flag_(flag), trigger_("games " + std::to_string(games) + " ") {}
    int sync() override {
        if (str().find(trigger_) != std::string::npos) flag_ = true;
        return 0;
    }
    std::atomic<bool>& flag_;
    std::string trigger_;
};

TEST_F(DatagenRun, AStopRequestEndsWithACompleteFileOfTheGamesWritten) {
    std::atomic<bool> stop{false};
    settings.seed = 11, settings.games = 1000, settings.stopRequest = &stop;
    settings.reportSeconds = 0;  // a progress line after every game
    StopAfterGames buffer(stop, 3);
    std::ostream log(&buffer);
    GeneratorSummary stopped = run("stopped", false, &log);
    EXPECT_TRUE(stop.load() && stopped.games == 3u) << stopped.games;
    std::string interrupted = fileBytes(settings.dataPath);
    // The same three games asked for outright: the same bytes, header count included.
    settings.stopRequest = nullptr, settings.games = 3;
    GeneratorSummary asked = run("asked");
    EXPECT_TRUE(asked.positions == stopped.positions && fileBytes(settings.dataPath) == interrupted);
    // A request standing before the start writes an empty but valid file.
    settings.stopRequest = &stop;
    GeneratorSummary none = run("none");
    EXPECT_EQ(none.games, 0u);
    std::vector<TrainingRecord> records;
    std::string error;
    ASSERT_TRUE(readAllRecords(settings.dataPath, records, &error)) << error;
    EXPECT_TRUE(records.empty());
}

TEST_F(DatagenRun, RefusesAMissingBook) {
    settings.bookPath = datagenTempPath("no_such_book.epd");
    settings.dataPath = datagenTempPath("never.bin");
    GeneratorSummary summary;
    std::ostringstream log;
    std::string error;
    EXPECT_FALSE(runGenerator(settings, log, summary, &error));
    EXPECT_NE(error.find("book"), std::string::npos);
}

// The search entry the generator's game threads use: on the calling thread, with its own stop flag, table and budget.
using DatagenSearch = DatagenSearcherTest;

TEST_F(DatagenSearch, StopsAtItsOwnBudgetAndLeavesTheSharedFlagsAlone) {
    TestPosition root("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3");
    stopFlag.set();  // a stop meant for the pool's search does not end this one
    timeUpFlag.set(false);
    for (uint64_t budget : {1000u, 3000u, 12000u}) {
        SoloSearchResult r = searchToNodes(*searcher.searcher, *root, budget);
        EXPECT_TRUE(r.move != NO_MOVE && r.depth >= 1 && std::abs(r.score) < 300) << budget;
        EXPECT_GE(r.nodes, budget);
        EXPECT_LT(r.nodes, budget + budget / 20 + 50) << "the budget is checked where it runs out";
    }
    EXPECT_TRUE(stopFlag.get() && !timeUpFlag.get()) << "the pool's flags untouched, no clock read";
    stopFlag.set(false);
    uint64_t used = 0;
    for (uint64_t i = 0; i <= searcher.table.mask; ++i) used += searcher.table.buckets[i].keys[0] != 0;
    EXPECT_GT(used, 100u) << "the search stored into the thread's own table";
}

// A soft budget never cuts an iteration: the search that crosses it is finished and no further one starts, so every
// budget that falls inside the same iteration gives the same search, node for node.
TEST_F(DatagenSearch, SoftBudgetFinishesTheIterationThatCrossesIt) {
    TestPosition root("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3");
    auto fresh = [&](uint64_t budget, NodeLimit limit) {
        datagen::clearForGame(searcher);
        newSearch(searcher.table);
        return searchToNodes(*searcher.searcher, *root, budget, limit);
    };
    std::map<int, SoloSearchResult> byDepth;
    for (uint64_t budget = 500; budget <= 8000; budget += 500) {
        SoloSearchResult soft = fresh(budget, NodeLimit::SOFT);
        SoloSearchResult hard = fresh(budget, NodeLimit::HARD);
        EXPECT_GE(soft.nodes, budget);
        EXPECT_GE(soft.depth, hard.depth) << budget;
        auto [seen, added] = byDepth.emplace(soft.depth, soft);
        EXPECT_TRUE(seen->second.nodes == soft.nodes && seen->second.move == soft.move
                    && seen->second.score == soft.score)
            << "budget " << budget << " ends depth " << soft.depth << " elsewhere than a smaller budget did";
    }
    EXPECT_LE(byDepth.size(), 6u) << "16 budgets, but only a few iteration ends to stop at";
    for (const auto& [depth, r] : byDepth) EXPECT_LE(r.nodes, 8000 * SOFT_NODE_CAP);
}

TEST_F(DatagenSearch, FindsTheMateAndReportsNoMoveWithoutOne) {
    TestPosition mateInOne("6k1/5ppp/8/8/8/8/5PPP/3R2K1 w - - 0 1");
    SoloSearchResult r = searchToNodes(*searcher.searcher, *mateInOne, 2000);
    EXPECT_TRUE(moveTo(r.move) == 59 && r.score == MATE - 1);  // Rd8#
    TestPosition mated("3R2k1/5ppp/8/8/8/8/5PPP/6K1 b - - 1 1");
    EXPECT_EQ(searchToNodes(*searcher.searcher, *mated, 2000).move, NO_MOVE);
}

// Far below the horizon a check is no longer answered with evasions, but the node keeps its check flag: a re-search of
// the same node must see the check again, or its captures could leave the king attacked.
TEST_F(DatagenSearch, QuiescenceKeepsTheCheckFlagOfAnIgnoredCheck) {
    TestPosition root("4k3/8/8/3p4/8/2N5/4r3/4K3 w - - 0 1");
    ASSERT_TRUE(root->plyStates[0].inCheck);
    worker& w = *searcher.searcher;
    copyRootPosition(w.position, *root);
    w.pos = &w.position;
    int first = qsearch(w, 0, -14, -INFINITE_SCORE, INFINITE_SCORE);
    EXPECT_TRUE(w.position.plyStates[0].inCheck);
    EXPECT_EQ(first, qsearch(w, 0, -14, -INFINITE_SCORE, INFINITE_SCORE));
    EXPECT_TRUE(positionIsConsistent(w.position, 0));
}
}  // namespace
