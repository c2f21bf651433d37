// The match runner against scripted engines: every way a game can end is scored for the right engine, with either
// engine as White and with either engine named first.
#include <regex>
#include <sstream>
#include "engine_under_test.h"

namespace {
const std::string FAKE = FAKE_ENGINE_PATH;
struct MatchRun {
    std::string output;
    std::vector<std::string> pgnResults, pgnWhites;  // the Result and White tags of each game, in order
};

std::vector<std::string> tagValues(const std::string& pgn, const std::string& tag) {
    std::vector<std::string> out;
    std::regex pattern("\\[" + tag + " \"([^\"]*)\"\\]");
    for (std::sregex_iterator i(pgn.begin(), pgn.end(), pattern), end; i != end; ++i) out.push_back((*i)[1]);
    return out;
}

// Plays the openings in order, each with both colours, at one game at a time.
MatchRun runMatch(const std::string& first, const std::string& second, const std::vector<std::string>& openings,
                  std::vector<std::string> extra = {}, int games = 0, const std::string& tc = "2+0") {
    ScratchDir dir("match_tool");
    std::string book = dir.path + "/book.epd", pgn = dir.path + "/games.pgn";
    std::ofstream bookFile(book);
    for (const auto& o : openings) bookFile << o << "\n";
    bookFile.close();
    std::vector<std::string> argv{MATCH_PATH, "--engine", first, "--engine", second, "--book", book, "--pgn", pgn};
    argv.insert(argv.end(), {"--name", "first", "--name", "second", "--book-order", "sequential", "--tc", tc, "--games",
                             std::to_string(games ? games : int(2 * openings.size()))});
    argv.insert(argv.end(), extra.begin(), extra.end());
    EngineProcess e;
    MatchRun run;
    if (!startProgram(e, argv)) return run;
    for (std::string line; readLine(e, line, 60000);) run.output += line + "\n";
    waitExit(e, 5000);
    run.pgnResults = tagValues(fileBytes(pgn), "Result");
    run.pgnWhites = tagValues(fileBytes(pgn), "White");
    return run;
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }
const std::string START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
const std::string MIDDLE_GAME_BLACK = "r1bq1rk1/ppp2ppp/2n2n2/3pp3/1b1PP3/2N2N2/PPP1BPPP/R1BQK2R b KQ - 3 6";
TEST(MatchTool, RuleBreakerLosesWithEitherColourAndEitherSeat) {
    for (auto [fault, counted] : {std::pair<std::string, std::string>{"illegal", "illegal"},
                                  {"crash", "crash"},
                                  {"quit", "crash"},
                                  {"flag", "time"}}) {
        std::string bad = FAKE + " --fault " + fault + " --at 2";
        // A short clock keeps the flagging games short.
        std::string tc = fault == "flag" ? "0.5+0" : "2+0";
        // Named first: the summary counts its losses.
        MatchRun a = runMatch(bad, FAKE, {START, MIDDLE_GAME_BLACK}, {}, 0, tc);
        EXPECT_TRUE(contains(a.output, "Score of first vs second: 0 - 4 - 0")) << fault << "\n" << a.output;
        EXPECT_TRUE(contains(a.output, "first " + counted + ": 4;")) << a.output;
        EXPECT_EQ(a.pgnWhites, (std::vector<std::string>{"first", "second", "first", "second"}));
        EXPECT_EQ(a.pgnResults, (std::vector<std::string>{"0-1", "1-0", "0-1", "1-0"})) << fault;
        // Named second: the same games from the other side.
        MatchRun b = runMatch(FAKE, bad, {START}, {}, 0, tc);
        EXPECT_TRUE(contains(b.output, "Score of first vs second: 2 - 0 - 0")) << fault << "\n" << b.output;
        EXPECT_TRUE(contains(b.output, "Pairs by first's points (0, 0.5, 1, 1.5, 2): [0, 0, 0, 0, 1]")) << b.output;
        EXPECT_EQ(b.pgnResults, (std::vector<std::string>{"1-0", "0-1"})) << fault;
    }
}

TEST(MatchTool, MarginForgivesEachOverrunButNotALongerOne) {
    // Three moves in a row 60 ms past the clock: inside a 150 ms margin each time, though together they are 180 ms.
    std::string late = FAKE + " --fault overrun --at 1";
    MatchRun forgiven = runMatch(late, FAKE, {START}, {"--margin", "150"}, 0, "0.3+0");
    EXPECT_TRUE(contains(forgiven.output, "Faults: none")) << forgiven.output;
    EXPECT_EQ(forgiven.pgnResults.size(), 2u);
    MatchRun strict = runMatch(late, FAKE, {START}, {"--margin", "30"}, 0, "0.3+0");
    EXPECT_TRUE(contains(strict.output, "Score of first vs second: 0 - 2 - 0")) << strict.output;
    EXPECT_TRUE(contains(strict.output, "first time: 2;")) << strict.output;
}

TEST(MatchTool, AgreedScoresAdjudicateForTheSideBothEnginesSee) {
    // The loser admits it in centipawns or as a mate against it; the winner reports in the other field order.
    for (const auto& [losing, winning] :
         {std::pair<std::string, std::string>{"cp -1500", "cp 1200"}, {"mate -3", "mate 4"}}) {
        std::string loser = FAKE + " --score " + losing, winner = FAKE + " --score-first --score " + winning;
        MatchRun a = runMatch(loser, winner, {START, MIDDLE_GAME_BLACK});
        EXPECT_TRUE(contains(a.output, "Score of first vs second: 0 - 4 - 0")) << losing << "\n" << a.output;
        EXPECT_EQ(a.pgnResults, (std::vector<std::string>{"0-1", "1-0", "0-1", "1-0"})) << losing;
        EXPECT_TRUE(contains(a.output, "(adjudicated)") && contains(a.output, "Faults: none")) << a.output;
    }
}

TEST(MatchTool, OneSidedOrBoundScoresDoNotAdjudicate) {
    // A mate claimed by one engine only; both engines claiming a win; a winning
    // score that is only a lower bound while the exact score is level.
    const std::vector<std::pair<std::string, std::string>> cases = {
        {FAKE + " --score mate 1", FAKE + " --score cp 0"},
        {FAKE + " --score mate 2", FAKE + " --score cp 5000"},
        {FAKE + " --score cp 0 --bound cp 3000", FAKE + " --score cp -3000"},
    };
    for (const auto& [first, second] : cases) {
        MatchRun run = runMatch(first, second, {START});
        EXPECT_FALSE(contains(run.output, "(adjudicated)")) << first << " / " << second << "\n" << run.output;
        EXPECT_EQ(run.pgnResults.size(), 2u);
    }
}

TEST(MatchTool, RulesOfChessEndGamesForTheRightSide) {
    // Mate in one for White, mate in one for Black, a stalemating pawn push.
    MatchRun run = runMatch(FAKE, FAKE,
                            {"6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - 0 1", "r5k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1",
                             "k7/2K5/8/1P6/8/8/8/8 w - - 0 1"});
    EXPECT_EQ(run.pgnResults, (std::vector<std::string>{"1-0", "1-0", "0-1", "0-1", "1/2-1/2", "1/2-1/2"}));
    EXPECT_TRUE(contains(run.output, "Score of first vs second: 2 - 2 - 2")) << run.output;
    EXPECT_TRUE(contains(run.output, "(checkmate)") && contains(run.output, "(stalemate)"));
}

TEST(MatchTool, EnginesGetOneThreadAndNoPonderUnlessTold) {
    ScratchDir dir("match_options");
    std::string log1 = dir.path + "/one.txt", log2 = dir.path + "/two.txt";
    MatchRun run =
        runMatch(FAKE + " --threads-default 4 --record " + log1, FAKE + " --threads-default 4 --record " + log2,
                 {START}, {"--option", "2:Threads=3", "--option", "2:Bogus=7"}, 1);
    EXPECT_EQ(fileBytes(log1), "setoption name Threads value 1\nsetoption name Ponder value false\n");
    EXPECT_EQ(fileBytes(log2),
              "setoption name Ponder value false\nsetoption name Threads value 3\nsetoption name Bogus value 7\n");
    EXPECT_TRUE(contains(
        run.output, "first (Fake): sent Threads=1 [default 4] Ponder=false [default true]; left at default: Hash=16"))
        << run.output;
    EXPECT_TRUE(contains(run.output, "Bogus=7 [not offered]")) << run.output;
}

TEST(MatchTool, SequentialTestStopsWhenItDecides) {
    std::string strong = FAKE + " --score cp 2000", weak = FAKE + " --score cp -2000";
    for (bool firstStronger : {true, false}) {
        MatchRun run = runMatch(firstStronger ? strong : weak, firstStronger ? weak : strong,
                                {START, MIDDLE_GAME_BLACK}, {"--sprt", "0", "10"}, 200);
        EXPECT_TRUE(contains(run.output, firstStronger ? "H1 accepted" : "H0 accepted")) << run.output;
        // Every pair is won outright, yet no verdict comes before ten pairs; then the match stops.
        EXPECT_TRUE(run.pgnResults.size() >= 20u && run.pgnResults.size() < 30u) << run.pgnResults.size();
        EXPECT_TRUE(std::regex_search(run.output, std::regex("LLR -?[0-9.]+ \\[-2.94, 2.94\\]")));
    }
}
}  // namespace
