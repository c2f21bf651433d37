#include "search_session.h"

namespace {

TEST(UciOptions, DeclarationLinesInOrder) {
    EngineSession s;
    s.send("uci");
    bool found = false;
    auto lines = readUntilLine(s.engine, "uciok", 5000, &found);
    ASSERT_TRUE(found);
    std::vector<std::string> options = withPrefix(lines, "option ");
    const std::vector<std::string> expected = {
        "option name Threads type spin default 1 min 1 max 256",
        "option name Hash type spin default 256 min 1 max 262144",
        "option name Ponder type check default false",
        "option name MoveOverhead type spin default 100 min 1 max 60000",
        "option name SyzygyPath type string default <empty>",
        "option name SyzygyProbeDepth type spin default 0 min 0 max 127",
        "option name WindowsNumaNode type spin default 0 min 0 max 4",
        "option name NetFile type string default <empty>",
        "option name UCI_Chess960 type check default false",
    };
    EXPECT_EQ(options, expected);
}

// Sends a setoption line and returns the next line the engine prints.
std::string reply(EngineSession& s, const std::string& line) {
    s.send(line);
    std::string out;
    EXPECT_TRUE(readLine(s.engine, out, 10000)) << line;
    return out;
}

TEST(UciOptions, RepliesAndClamping) {
    EngineSession s;
    EXPECT_EQ(reply(s, "setoption name Hash value 0"), "info string Size of Hashtable set to : 1");
    EXPECT_EQ(reply(s, "setoption name Hash value -5"), "info string Size of Hashtable set to : 1");
    EXPECT_EQ(reply(s, "setoption name Hash value 3"), "info string Size of Hashtable set to : 3");
    EXPECT_EQ(reply(s, "setoption name Threads value 0"), "info string Number of threads set to : 1");
    EXPECT_EQ(reply(s, "setoption name Threads value 3"), "info string Number of threads set to : 3");
    EXPECT_EQ(reply(s, "setoption name MoveOverhead value 0"), "info string MoveOverhead set to : 1");
    EXPECT_EQ(reply(s, "setoption name MoveOverhead value 70000"), "info string MoveOverhead set to : 60000");
    EXPECT_EQ(reply(s, "setoption name MoveOverhead value 250"), "info string MoveOverhead set to : 250");
    EXPECT_EQ(reply(s, "setoption name Ponder value true"), "info string Ponder set to : 1");
    EXPECT_EQ(reply(s, "setoption name Ponder value True"), "info string Ponder set to : 0");
    EXPECT_EQ(reply(s, "setoption name SyzygyProbeDepth value 200"), "info string SyzygyProbeDepth set to: 127");
    EXPECT_EQ(reply(s, "setoption name SyzygyProbeDepth value -1"), "info string SyzygyProbeDepth set to: 0");
    EXPECT_EQ(reply(s, "setoption name SyzygyPath value " + s.dir),
              "info string No Syzygy tablebases found in directory :" + s.dir);
    EXPECT_EQ(reply(s, "setoption name WindowsNumaNode value 9"), "info string WindowsNumaNode set to: 4");
    EXPECT_EQ(reply(s, "setoption name WindowsNumaNode value 4"), "info string WindowsNumaNode set to: 4");
    EXPECT_EQ(reply(s, "setoption name UCI_Chess960 value true"), "info string UCI_Chess960 set to : 1");
    EXPECT_EQ(reply(s, "setoption name UCI_Chess960 value false"), "info string UCI_Chess960 set to : 0");
    // Unknown and two-word names get no reply at all.
    s.send("setoption name Hash Size value 8");
    s.send("setoption name hash value 8");
    EXPECT_EQ(reply(s, "isready"), "readyok");
}

TEST(UciOptions, ThreadsAreClampedToTwoHundredFiftySix) {
    EngineSession s;
    // 256 threads take a while to start under the sanitizers.
    s.send("setoption name Threads value 1000");
    auto lines = s.until("info string", 120000);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "info string Number of threads set to : 256");
    // All of them search and stop again.
    s.send("position startpos");
    s.send("go depth 3");
    s.untilBestMove();
}

TEST(UciOptions, NetFileLoadsOrRefuses) {
    EngineSession s;
    std::string path = s.dir + "/220321-307.nnue";
    s.send("setoption name NetFile value " + path);
    bool found = false;
    auto lines = s.until("info string NetFile", 10000, &found);
    ASSERT_TRUE(found);
    EXPECT_EQ(lines.back(), "info string NetFile used : " + path);
    std::string missing = s.dir + "/none.nnue";
    EXPECT_EQ(reply(s, "setoption name NetFile value " + missing),
              "info string NetFile not found/correct: " + missing + ". Unable to calculate the best move for a position.");
    EXPECT_EQ(reply(s, "go depth 2"),
              "info string NetFile not found/correct: " + missing + ". Unable to calculate the best move for the position.");
    EXPECT_EQ(reply(s, "isready"), "readyok");  // and no bestmove before it
}

// Setting NetFile reads that file as named, from the working directory, and
// nowhere else: the built-in copy is only the start-up default's fallback.
TEST(UciOptions, NoNetworkNoSearch) {
    EngineSession s(false);
    EXPECT_EQ(reply(s, "setoption name NetFile value 220321-307.nnue"),
              "info string NetFile not found/correct: 220321-307.nnue. Unable to calculate the best move for a position.");
    s.send("go depth 3");
    std::string line;
    ASSERT_TRUE(readLine(s.engine, line, 5000));
    EXPECT_EQ(line, "info string NetFile not found/correct: 220321-307.nnue. Unable to calculate the best move for the position.");
    s.send("isready");
    ASSERT_TRUE(readLine(s.engine, line, 5000));
    EXPECT_EQ(line, "readyok");
}

TEST(UciOptions, HashStatisticsOfAnEmptyTable) {
    EngineSession s;
    s.send("setoption name Hash value 1");
    s.send("hashstats");
    bool found = false;
    auto lines = s.until("Depth distribution", 10000, &found);
    ASSERT_TRUE(found);
    auto has = [&](const std::string& l) { return std::find(lines.begin(), lines.end(), l) != lines.end(); };
    EXPECT_TRUE(has("Number of entries 98304"));
    EXPECT_TRUE(has("Used entries 1"));
    EXPECT_TRUE(has("Type of entries UPPER - LOWER - EXACT 0\t - 0\t - 0\t - 0"));
    EXPECT_TRUE(has("Percentage of entries UPPER - LOWER - EXACT 0\t - 0\t - 0"));
    EXPECT_TRUE(has("Number of Hashmoves 0"));
    auto ages = readFor(s.engine, 300);
    ASSERT_GE(ages.size(), 128u);
    for (size_t i = 0; i < 128; ++i) EXPECT_EQ(ages[i], "  0 - 0 - 0");
}

} // namespace
