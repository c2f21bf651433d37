#include "datagen_support.h"

#include <atomic>
#include <cstdio>
#include <sstream>

#include "eval/texel.h"

using namespace datagen;

namespace {

class DatagenRun : public DatagenTest {
protected:
    void SetUp() override {
        DatagenTest::SetUp();
        book = std::make_unique<TempBook>("run_book.epd", MIDDLEGAME_BOOK);
        settings.bookPath = book->path;
        settings.chess960BookPath = testDataPath("books/FRC_openings.epd");
        settings.games = 2;
        settings.game.nodes = 1000;
        settings.hashMegabytes = 1;
    }
    void TearDown() override {
        for (const std::string& f : written) std::remove(f.c_str());
        DatagenTest::TearDown();
    }
    // Runs the generator into a data file (and a tuning file when asked); returns the summary.
    GeneratorSummary run(const std::string& name, bool tuning = false) {
        settings.dataPath = datagenTempPath(name + ".bin");
        settings.tuningPath = tuning ? datagenTempPath(name + ".epd") : "";
        written.push_back(settings.dataPath);
        if (tuning) written.push_back(settings.tuningPath);
        GeneratorSummary summary;
        std::ostringstream log;
        std::string error;
        EXPECT_TRUE(runGenerator(settings, log, summary, &error)) << error;
        EXPECT_NE(log.str().find("positions " + std::to_string(summary.positions)), std::string::npos) << log.str();
        return summary;
    }
    static std::string bytesOf(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        std::ostringstream s;
        s << in.rdbuf();
        return s.str();
    }

    std::unique_ptr<TempBook> book;
    GeneratorSettings settings;
    std::vector<std::string> written;
};

TEST_F(DatagenRun, TheSameSeedGivesTheSameFileWhateverTheThreadCount) {
    settings.seed = 7;
    run("one_thread");
    std::string first = bytesOf(settings.dataPath);
    settings.threads = 2;
    run("two_threads");
    EXPECT_EQ(bytesOf(settings.dataPath), first);
    settings.seed = 8;
    run("other_seed");
    EXPECT_NE(bytesOf(settings.dataPath), first);
}

TEST_F(DatagenRun, PositionTargetsEndAfterTheGameThatReachesThem) {
    settings.games = 0;
    settings.positions = 30;
    settings.threads = 2;
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
        EXPECT_EQ(fromLine.occupancy, records[n].occupancy);
        EXPECT_EQ(fromLine.sideToMove, records[n].sideToMove);
        GameResult white = result == "1-0" ? RESULT_WIN : result == "0-1" ? RESULT_LOSS : RESULT_DRAW;
        EXPECT_EQ(records[n].result, moverResult(white, records[n].sideToMove)) << line;
        ++n;
    }
    EXPECT_EQ(n, records.size());
    EXPECT_EQ(n, summary.positions);
    EXPECT_EQ(tuningLine("8/8/8/4k3/8/8/3QK3/8 b - - 0 1", RESULT_DRAW), "8/8/8/4k3/8/8/3QK3/8 b - - 0 1 c9 \"1/2-1/2\";");
}

// Raises the stop request as soon as a progress line reports `games` games written.
class StopAfterGames : public std::stringbuf {
public:
    StopAfterGames(std::atomic<bool>& flag, int games) : flag_(flag), trigger_("games " + std::to_string(games) + " ") {}
    int sync() override {
        if (str().find(trigger_) != std::string::npos) flag_ = true;
        return 0;
    }

private:
    std::atomic<bool>& flag_;
    std::string trigger_;
};

TEST_F(DatagenRun, AStopRequestEndsWithACompleteFileOfTheGamesWritten) {
    settings.seed = 11;
    settings.games = 1000;
    settings.reportSeconds = 0;  // a progress line after every game
    std::atomic<bool> stop{false};
    settings.stopRequest = &stop;
    StopAfterGames buffer(stop, 3);
    std::ostream log(&buffer);
    settings.dataPath = datagenTempPath("stopped.bin");
    written.push_back(settings.dataPath);
    GeneratorSummary stopped;
    std::string error;
    ASSERT_TRUE(runGenerator(settings, log, stopped, &error)) << error;
    EXPECT_TRUE(stop.load());
    EXPECT_EQ(stopped.games, 3u);
    std::string interrupted = bytesOf(settings.dataPath);

    // The same three games asked for outright: the same bytes, header count included.
    settings.stopRequest = nullptr;
    settings.games = 3;
    GeneratorSummary asked = run("asked");
    EXPECT_EQ(asked.positions, stopped.positions);
    EXPECT_EQ(bytesOf(settings.dataPath), interrupted);

    // A request standing before the start writes an empty but valid file.
    settings.stopRequest = &stop;
    GeneratorSummary none = run("none");
    EXPECT_EQ(none.games, 0u);
    std::vector<TrainingRecord> records;
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

} // namespace
