// The command loop as a GUI or a person at the console sees it.
#include <cstdio>
#include "engine_under_test.h"
#include "eval/nnue_kernels.h"

namespace {
const std::string BOARD_LINE = "+---+---+---+---+---+---+---+---+";
// What the engine prints for `input` after its start-up lines (banner and the network report).
std::vector<std::string> console(const std::string& input, const std::string& dir = "", int timeoutMs = 30000,
                                 int* status = nullptr, const std::vector<std::string>& args = {}) {
    auto all = splitLines(runEngine(input, args, dir, timeoutMs, status));
    auto it = std::find(all.begin(), all.end(), "enter 'help' to see the commands");
    if (it == all.end()) return all;
    ++it;
    while (it != all.end()
           && (startsWith(*it, "info string NetFile") || startsWith(*it, "info string network kernel")
               || *it == "Net read"))
        ++it;
    return std::vector<std::string>(it, all.end());
}

TEST(Frontend, BannerAndIdentification) {
    int status = 0;
    auto out = splitLines(runEngine("uci\nisready\n", {}, "", 20000, &status));
    ASSERT_GE(out.size(), 4u);
    EXPECT_EQ(std::vector(out.begin(), out.begin() + 4),
              (std::vector<std::string>{"Quorvane 3.0 SSSE3", "by Olvredan", "", "enter 'help' to see the commands"}));
    // The option lines themselves are checked with the options.
    auto it = std::find(out.begin(), out.end(), "id name Quorvane 3.0 SSSE3");
    ASSERT_NE(it, out.end());
    ASSERT_EQ(out.end() - it, 18);
    EXPECT_TRUE(it[1] == "id author Olvredan" && it[16] == "uciok" && it[17] == "readyok" && status == 0) << status;
    for (int i = 2; i < 16; ++i) EXPECT_TRUE(startsWith(it[i], "option name ")) << it[i];
}

// The network in the working directory comes first; away from it the engine
// falls back on the copy built into it, and says which one it uses.
TEST(Frontend, StartUpNamesTheNetworkUsed) {
    ScratchDir away("nonet");
    auto out = splitLines(runEngine("quit\n", {}, away.path));
    EXPECT_TRUE(hasLine(out, "Net read")
                && hasLine(out, "info string NetFile used : 220321-307.nnue (the copy built into the engine)"));
    EXPECT_EQ(countPrefix(out, "info string NetFile not found"), 0);
    // The kernel the engine picked is the one this build picks on this processor.
    EXPECT_TRUE(hasLine(out, std::string("info string network kernel ") + engineKernel().name));
    ScratchDir beside("net");
    writeZeroNetwork(beside.path + "/220321-307.nnue");
    out = splitLines(runEngine("quit\n", {}, beside.path));
    EXPECT_TRUE(hasLine(out, "info string NetFile used : 220321-307.nnue"));
}

TEST(Frontend, HelpUnknownAndEmptyCommands) {
    auto out = console("help\nfoo\n\nUCI\nisready extra words\n");
    EXPECT_EQ(
        out,
        (std::vector<std::string>{
            "supported UCI commands 'uci' 'ucinewgame' 'position' 'go' 'ponderhit' 'stop 'quit' 'setoption' 'isready'",
            "other commands 'perft depth', default depth=6, change board with 'position'; 'showboard' shows the "
            "current board",
            "Unknown command", "Unknown command", "Unknown command", "readyok"}));
}

// The picture after the last perft shows the position it left.
TEST(Frontend, PerftCountsRemembersItsDepthAndLeavesThePosition) {
    auto out = console(
        "perft 3\nposition fen r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1\n"
        "perft\nposition startpos moves e2e4 e7e5 g1f3\nperft 2\nshowboard\n");
    auto results = withPrefix(out, "Perft results for depth: ");
    ASSERT_EQ(results.size(), 3u);
    EXPECT_TRUE(startsWith(results[0], "Perft results for depth: 3  8902  Nodes per sec: ")) << results[0];
    EXPECT_TRUE(startsWith(results[1], "Perft results for depth: 3  97862  Nodes per sec: ")) << results[1];
    EXPECT_TRUE(startsWith(results[2], "Perft results for depth: 2  779  Nodes per sec: ")) << results[2];
    ASSERT_EQ(countPrefix(out, BOARD_LINE), 36);  // four pictures
    // The timing line: nanoseconds, then seconds.
    auto timing = std::find_if(out.begin(), out.end(),
                               [](const std::string& l) { return l.find(" ns and ") != std::string::npos; });
    EXPECT_TRUE(timing != out.end() && timing->find(" in seconds") != std::string::npos);
    out.erase(out.begin(), out.end() - 17);
    EXPECT_EQ((std::vector<std::string>{out[0], out[1], out[7], out[9], out[11], out[15]}),
              (std::vector<std::string>{BOARD_LINE, "| r | n | b | q | k | b | n | r |",
                                        "|   |   |   |   | p |   |   |   |", "|   |   |   |   | P |   |   |   |",
                                        "|   |   |   |   |   | N |   |   |", "| R | N | B | Q | K | B |   | R |"}));
}

TEST(Frontend, CommandLineArgumentsRunOneCommand) {
    int status = -1;
    auto out = console("isready\n", "", 20000, &status, {"perft", "2"});
    EXPECT_TRUE(status == 0 && countPrefix(out, "Perft results for depth: 2  400  ") == 1) << status;
    EXPECT_FALSE(hasLine(out, "readyok"));  // standard input is not read
}

TEST(Frontend, BadInputIsReportedAndSurvived) {
    std::string input =
        "position startpos moves e2e4\nposition fen 8/8/8/8/8/8/8/8 w - - 0 1\n"
        "position fen rnbqkbnr/pppppppp/9/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1\n"
        "position startpos moves e7e5x\nposition\nposition fen\nposition startpos moves e2\n"
        "setoption name Hash value lots\nsetoption name Threads value 99999999999999\n"
        "setoption\nsetoption name\nsetoption name UCI_Chess960\nperft x\nperft -3\ngo\ngo depth banana\n"
        "evil\nhashstats\nstop\nponderhit\nucinewgame\nposition startpos moves e2e4\n\x01\x02\xff garbage\n"
        + std::string(100000, 'x') + "\nshowboard\nisready\n";
    int status = -1;
    auto out = console(input, "", 60000, &status);
    ASSERT_FALSE(out.empty());
    EXPECT_TRUE(status == 0 && out.back() == "readyok" && countPrefix(out, "info string") >= 10)
        << status << " " << out.back();
    // The position after the last good command stands: e2e4 played.
    EXPECT_TRUE(hasLine(out, "| P | P | P | P |   | P | P | P |"));
}

struct PerftFiles : ::testing::Test {
    ScratchDir temp{"perft"};
    const std::string& dir = temp.path;
    void writeFile(const std::string& text) { std::ofstream(dir + "/perftFRC.txt") << text; }
    // Both files through the commands, as a person checking the generator would: every count of the
    // kept and shared perft files, the Chess960 ones to depth 6.
    void checkFiles(const std::string& rtestFile, int rtestLines, const std::string& chess960File, int chess960Lines) {
        ASSERT_TRUE(std::filesystem::exists(rtestFile) && std::filesystem::exists(chess960File));
        writeFile(fileBytes(rtestFile));
        auto out = console("setoption name Hash value 1\nrtest\n", dir, 300000);
        ASSERT_FALSE(out.empty());
        EXPECT_EQ(out.back(), "Results of the perft checks is OK: 1");
        EXPECT_TRUE(countPrefix(out, "0;") == 0 && countPrefix(out, "1; ") >= rtestLines) << countPrefix(out, "1; ");
        writeFile(fileBytes(chess960File));
        out = console("setoption name UCI_Chess960 value true\nrtestRFC\n", dir, 600000);
        ASSERT_FALSE(out.empty());
        EXPECT_EQ(out.back(), "Results of the perft checks (0 = wrong, 1 = OK) : 1");
        EXPECT_EQ(countPrefix(out, "Okidoki"), chess960Lines);
    }
};

TEST_F(PerftFiles, MissingFile) {
    auto out = console("rtest\nrtestRFC\n", dir);
    const std::string problem =
        "There seems to be a problem with the perftFile. check of the move generator not executed";
    EXPECT_EQ(out, (std::vector<std::string>{problem, problem, "Results of the perft checks (0 = wrong, 1 = OK) : 0"}));
}

TEST_F(PerftFiles, RtestLineFormatAndStopWord) {
    writeFile(
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1;3;8902\n"
        "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1;2;190\nextended\nthis line is never read;1;1\n");
    auto out = console("rtest\n", dir);
    ASSERT_EQ(out.size(), 3u);
    EXPECT_TRUE(startsWith(out[0], "1; rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1; 3; 8902; 8902; "))
        << out[0];
    EXPECT_TRUE(startsWith(out[1], "0; 8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1; 2; 190; 191; ")) << out[1];
    EXPECT_EQ(out[2], "Results of the perft checks is OK: 0");
    writeFile("full\nrnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1;1;21\n");
    EXPECT_EQ(console("rtest\n", dir), (std::vector<std::string>{"Results of the perft checks is OK: 1"}));
}

TEST_F(PerftFiles, RtestRFCStopsALineAtItsFirstWrongDepth) {
    writeFile(
        "bbqnnrkr/pppppppp/8/8/8/8/PPPPPPPP/BBQNNRKR w KQkq - 0 1;20;401;9006;201143;4975808;121983565\n"
        "bqnbnrkr/pppppppp/8/8/8/8/PPPPPPPP/BQNBNRKR w KQkq - 0 1;20;400;8948;198393;4863733;118108315\n");
    auto out = console("setoption name UCI_Chess960 value true\nrtestRFC\n", dir, 120000);
    EXPECT_EQ(out, (std::vector<std::string>{"info string UCI_Chess960 set to : 1",
                                             "bbqnnrkr/pppppppp/8/8/8/8/PPPPPPPP/BBQNNRKR w KQkq - 0 1",
                                             "WRONGGGGGGGGGGGG 2 correct : 401 berekend : 400",
                                             "bqnbnrkr/pppppppp/8/8/8/8/PPPPPPPP/BQNBNRKR w KQkq - 0 1", "Okidoki",
                                             "Results of the perft checks (0 = wrong, 1 = OK) : 0"}));
}

TEST_F(PerftFiles, KeptFilesPass) {
    checkFiles(testDataPath("perft/rtest.txt"), 48, testDataPath("perft/perftFRC.txt"), 6);
}
TEST_F(PerftFiles, FullSharedFilesPass) {
    SKIP_WITHOUT_SHARED_DATA("perft/perftFRC.txt");
    checkFiles(sharedDataPath("perft/rtest.txt"), 300, sharedDataPath("perft/perftFRC.txt"), 100);
}

// The tuner's console transcript: greetings before the tuner's own output, the K search,
// the tables, the local search and its closing line; without the file it refuses.
TEST(Frontend, TexelCommandTranscript) {
    ScratchDir dir("texel");
    auto refused = console("texel\nisready\n", dir.path);
    EXPECT_EQ(refused, (std::vector<std::string>{
                           "Starting texel tuning....",
                           "There seems to be a problem with the tuning file. tuning not executed", "readyok"}));
    writeZeroNetwork(dir.path + "/220321-307.nnue");
    std::ofstream(dir.path + "/lichess-good.epd") << "4k3/8/8/8/8/8/3P4/4K3 w - - 0 1 c9 \"1-0\";\n"
                                                     "4k3/3p4/8/8/8/8/3P4/4K3 b - - 0 1 c9 \"1/2-1/2\";\n";
    auto out = console("texel\nisready\n", dir.path, 120000);
    ASSERT_GE(out.size(), 4u);
    EXPECT_EQ(out[0], "Starting texel tuning....");
    size_t i = 1;
    while (i < out.size() && out[i] == "Lets go") ++i;
    EXPECT_GE(i, 2u);
    ASSERT_LT(i + 1, out.size());
    EXPECT_EQ(out[i], "Starting texel tuning....");
    // A network of zeros makes every target 1/2, which K = 0 fits exactly: the first trial
    // wins, the first round stops at 0 + 1, and the four finer rounds stay around 0.
    EXPECT_EQ(out[i + 1], "Trying the following K value 0 error:0");
    int trials = countPrefix(out, "Trying the following K value");
    EXPECT_TRUE(trials >= 11 + 4 * 19 && trials <= 11 + 4 * 21) << trials;
    EXPECT_TRUE(hasLine(out, " Optimal K calculated :0"));
    EXPECT_EQ(countPrefix(out, "TCONST combEval pieceSquareScore[6][NOFSQUARES] = "),
              countPrefix(out, " Improving:") + 1);
    EXPECT_EQ(countPrefix(out, "Starting error"), 1);
    EXPECT_TRUE(startsWith(out[out.size() - 2], "Ending error") && out.back() == "readyok") << out[out.size() - 2];
}
}  // namespace
