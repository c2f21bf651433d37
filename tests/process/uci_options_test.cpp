#include <sstream>
#include "search_session.h"

namespace {
// Sends a setoption line and returns the next line the engine prints.
std::string reply(EngineSession& s, const std::string& line) {
    s.send(line);
    std::string out;
    EXPECT_TRUE(readLine(s.engine, out, 10000)) << line;
    return out;
}

std::string lastWord(const std::string& line) { return line.substr(line.find_last_of(" :") + 1); }
// What a GUI reads from an "option" line.
struct Declared {
    std::string name, type, defaultValue;
    long min = 0, max = 0;
};

Declared parseDeclaration(const std::string& line) {
    std::istringstream in(line);
    Declared d;
    std::string word;
    while (in >> word) {
        if (word == "name") {
            in >> d.name;
            while (in >> word && word != "type") d.name += " " + word;
            in >> d.type;
        } else if (word == "type") in >> d.type;
        else if (word == "default") in >> d.defaultValue;
        else if (word == "min") in >> d.min;
        else if (word == "max") in >> d.max;
    }
    return d;
}

// The engine holds to what it declares: the options in the order of the "uci" answer, each spin option's default
// inside its range and values beyond the range brought back to its ends, the check options off by default, the
// button (a two-word name) answering when pressed.
TEST(UciOptions, DeclarationsAreWhatSetoptionEnforces) {
    EngineSession s;
    s.send("uci");
    auto lines = s.until("uciok", 5000);
    std::vector<Declared> declared;
    std::vector<std::string> names;
    for (const auto& line : withPrefix(lines, "option "))
        names.push_back(declared.emplace_back(parseDeclaration(line)).name);
    EXPECT_EQ(names,
              (std::vector<std::string>{"Threads", "Hash", "Ponder", "MoveOverhead", "SyzygyPath", "SyzygyProbeDepth",
                                        "WindowsNumaNode", "NetFile", "UCI_Chess960", "MultiPV", "Clear Hash",
                                        "UCI_ShowWDL", "UCI_LimitStrength", "UCI_Elo"}));
    for (const auto& d : declared) {
        const std::string set = "setoption name " + d.name + " value ";
        if (d.type == "spin") {
            long value = std::stol(d.defaultValue);
            EXPECT_TRUE(d.min <= value && value <= d.max) << d.name;
            EXPECT_EQ(lastWord(reply(s, set + std::to_string(d.min - 1))), std::to_string(d.min)) << d.name;
            EXPECT_EQ(lastWord(reply(s, set + std::to_string(d.min))), std::to_string(d.min)) << d.name;
            // A table of the largest size or 256 threads would only take time here.
            if (d.name == "Hash" || d.name == "Threads") continue;
            EXPECT_EQ(lastWord(reply(s, set + std::to_string(d.max + 1))), std::to_string(d.max)) << d.name;
        } else if (d.type == "check") {
            EXPECT_EQ(d.defaultValue, "false") << d.name;
            EXPECT_EQ(lastWord(reply(s, set + "true")), "1") << d.name;
            EXPECT_EQ(lastWord(reply(s, set + "false")), "0") << d.name;
        } else if (d.type == "button") {
            EXPECT_EQ(reply(s, "setoption name " + d.name), "info string Hash cleared");
        } else {
            EXPECT_EQ(d.type, "string") << d.name;
            EXPECT_EQ(d.defaultValue, "<empty>") << d.name;
        }
    }
}

// The reply texts, with their differing colon spacing, name the value stored.
TEST(UciOptions, RepliesNameTheStoredValue) {
    EngineSession s;
    EXPECT_EQ(reply(s, "setoption name Hash value -5"), "info string Size of Hashtable set to : 1");
    EXPECT_EQ(reply(s, "setoption name Hash value 3"), "info string Size of Hashtable set to : 3");
    EXPECT_EQ(reply(s, "setoption name Threads value 3"), "info string Number of threads set to : 3");
    EXPECT_EQ(reply(s, "setoption name MoveOverhead value 70000"), "info string MoveOverhead set to : 60000");
    EXPECT_EQ(reply(s, "setoption name Ponder value true"), "info string Ponder set to : 1");
    EXPECT_EQ(reply(s, "setoption name Ponder value True"), "info string Ponder set to : 0");
    EXPECT_EQ(reply(s, "setoption name SyzygyProbeDepth value 200"), "info string SyzygyProbeDepth set to: 127");
    EXPECT_EQ(reply(s, "setoption name SyzygyPath value " + s.dir),
              "info string No Syzygy tablebases found in directory :" + s.dir);
    EXPECT_EQ(reply(s, "setoption name WindowsNumaNode value 9"), "info string WindowsNumaNode set to: 4");
    EXPECT_EQ(reply(s, "setoption name WindowsNumaNode value 4"), "info string WindowsNumaNode set to: 4");
    EXPECT_EQ(reply(s, "setoption name UCI_Chess960 value true"), "info string UCI_Chess960 set to : 1");
    EXPECT_EQ(reply(s, "setoption name MultiPV value 3"), "info string MultiPV set to : 3");
    EXPECT_EQ(reply(s, "setoption name MultiPV value many"),
              "info string invalid stoi argument: 'many' is not a number, option unchanged");
    EXPECT_EQ(reply(s, "setoption name UCI_Elo value 99999"), "info string UCI_Elo set to : 2400");
    EXPECT_EQ(reply(s, "setoption name UCI_ShowWDL value true"), "info string UCI_ShowWDL set to : 1");
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
    s.search("startpos", "go depth 3");  // all of them search and stop again
}

TEST(UciOptions, NetFileLoadsOrRefuses) {
    EngineSession s;
    std::string path = s.dir + "/220321-307.nnue";
    s.send("setoption name NetFile value " + path);
    auto lines = s.until("info string NetFile", 10000);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "info string NetFile used : " + path);
    std::string missing = s.dir + "/none.nnue";
    EXPECT_EQ(
        reply(s, "setoption name NetFile value " + missing),
        "info string NetFile not found/correct: " + missing + ". Unable to calculate the best move for a position.");
    EXPECT_EQ(reply(s, "go depth 2"), "info string NetFile not found/correct: " + missing
                                          + ". Unable to calculate the best move for the position.");
    EXPECT_EQ(reply(s, "isready"), "readyok");  // and no bestmove before it
}

// Setting NetFile reads that file as named, from the working directory, and
// nowhere else: the built-in copy is only the start-up default's fallback.
TEST(UciOptions, NoNetworkNoSearch) {
    EngineSession s(false);
    EXPECT_EQ(
        reply(s, "setoption name NetFile value 220321-307.nnue"),
        "info string NetFile not found/correct: 220321-307.nnue. Unable to calculate the best move for a position.");
    EXPECT_EQ(
        reply(s, "go depth 3"),
        "info string NetFile not found/correct: 220321-307.nnue. Unable to calculate the best move for the position.");
    EXPECT_EQ(reply(s, "isready"), "readyok");
}

// A table filled by a search and emptied again by the Clear Hash button.
TEST(UciOptions, HashStatisticsOfAClearedTable) {
    EngineSession s;
    s.send("setoption name Hash value 1");
    s.search("startpos", "go depth 6");
    EXPECT_EQ(reply(s, "setoption name Clear Hash"), "info string Hash cleared");
    s.send("hashstats");
    auto lines = s.until("Depth distribution", 10000);
    for (const char* line :
         {"Number of entries 98304", "Used entries 1", "Type of entries UPPER - LOWER - EXACT 0\t - 0\t - 0\t - 0",
          "Percentage of entries UPPER - LOWER - EXACT 0\t - 0\t - 0", "Number of Hashmoves 0"})
        EXPECT_TRUE(hasLine(lines, line)) << line;
    auto ages = readFor(s.engine, 300);
    ASSERT_GE(ages.size(), 128u);
    for (size_t i = 0; i < 128; ++i) EXPECT_EQ(ages[i], "  0 - 0 - 0");
}
}  // namespace
