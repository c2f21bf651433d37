// The match runner's statistics and adjudication. Expected figures were worked out separately from the published
// formulas (logistic Elo; the normal approximation of the generalised SPRT over game-pair scores).
#include <gtest/gtest.h>
#include <cmath>
#include "adjudication.h"
#include "engine_options.h"
#include "stats.h"

using namespace matchtool;

namespace {
TEST(MatchStats, LogisticEloAndItsInverse) {
    EXPECT_NEAR(eloFromScore(0.75), 400 * std::log10(3.0), 1e-9);  // 190.85
    EXPECT_NEAR(eloFromScore(0.5), 0, 1e-12);
    EXPECT_NEAR(eloFromScore(0.25), -eloFromScore(0.75), 1e-9);
    for (double elo : {-600.0, -35.5, 0.0, 10.0, 400.0}) EXPECT_NEAR(eloFromScore(scoreFromElo(elo)), elo, 1e-9);
    EXPECT_TRUE(std::isinf(eloFromScore(1.0)) && eloFromScore(1.0) > 0);
    EXPECT_TRUE(std::isinf(eloFromScore(0.0)) && eloFromScore(0.0) < 0);
}

TEST(MatchStats, IntervalFromGames) {
    // 60 wins, 20 draws, 20 losses: score 0.7, per-game variance 0.16,
    // 0.7 -+ 1.96 * 0.04 gives 86.2 to 218.3 around 147.2.
    EloEstimate e = gameElo({.wins = 60, .draws = 20, .losses = 20});
    EXPECT_NEAR(e.elo, 147.1907, 1e-3);
    EXPECT_NEAR(e.low, 86.2250, 1e-3);
    EXPECT_NEAR(e.high, 218.2518, 1e-3);
}

TEST(MatchStats, IntervalFromPairsIgnoresOpeningNoise) {
    // Every pair split 1-1: the openings decided the games, the engines are even,
    // and pairs see no spread at all while single games see the widest.
    MatchTally t{.wins = 50, .losses = 50, .pairs = {0, 0, 50, 0, 0}};
    EloEstimate pairs = pairElo(t), games = gameElo(t);
    EXPECT_TRUE(std::abs(pairs.elo) < 1e-9 && std::abs(pairs.high - pairs.low) < 1e-9)
        << pairs.low << " " << pairs.high;
    EXPECT_GT(games.high - games.low, 100);
    // Pairs [10, 40, 80, 60, 10]: mean 0.525, variance 0.055625 over 200 pairs,
    // 0.525 -+ 1.96 * 0.016677 gives 0.49231 to 0.55769.
    t.pairs = {10, 40, 80, 60, 10};
    EloEstimate e = pairElo(t);
    EXPECT_NEAR(e.elo, 17.3863, 1e-3);
    EXPECT_NEAR(e.low, -5.3415, 1e-3);
    EXPECT_NEAR(e.high, 40.2640, 1e-3);
}

TEST(MatchStats, SprtBoundsAndLlr) {
    SprtBounds b = sprtBounds(0.05, 0.05);
    EXPECT_NEAR(b.lower, -2.944438979, 1e-9);  // ln(0.05 / 0.95)
    EXPECT_NEAR(b.upper, 2.944438979, 1e-9);
    SprtBounds uneven = sprtBounds(0.05, 0.1);
    EXPECT_NEAR(uneven.lower, -2.251291799, 1e-9);  // ln(0.1 / 0.95)
    EXPECT_NEAR(uneven.upper, 2.890371758, 1e-9);   // ln(0.9 / 0.05)
    // By hand: pairs [0, 1, 2, 1, 0] have mean 0.5 and variance 0.03125; s1 = 1 / (1 + 10^(-10/400)) = 0.5143871841,
    // LLR = 4 (s1 - 0.5)(1 - 0.5 - s1) / 0.0625 = -0.0132474.
    EXPECT_NEAR(sprtLlr({0, 1, 2, 1, 0}, 0, 10), -0.0132474284, 1e-9);
    // Pairs [10, 40, 80, 60, 10] (mean 0.525, variance 0.055625).
    EXPECT_NEAR(sprtLlr({10, 40, 80, 60, 10}, 0, 5), 0.5536806915, 1e-8);
    EXPECT_NEAR(sprtLlr({10, 40, 80, 60, 10}, -5, 5), 1.2934978353, 1e-8);
    // Swapping the hypotheses and mirroring the results gives the same evidence.
    EXPECT_NEAR(sprtLlr({10, 60, 80, 40, 10}, -5, 0), -sprtLlr({10, 40, 80, 60, 10}, 0, 5), 1e-9);
    EXPECT_EQ(sprtLlr({0, 0, 0, 0, 0}, 0, 5), 0);
}

TEST(MatchStats, SprtWithoutSpreadStillDecides) {
    // Every pair won outright: the ratio is finite and grows with the evidence.
    double few = sprtLlr({0, 0, 0, 0, 3}, 0, 5), more = sprtLlr({0, 0, 0, 0, 6}, 0, 5);
    EXPECT_TRUE(std::isfinite(few) && few > 2.95 && more > few) << few << " " << more;
    EXPECT_LT(sprtLlr({3, 0, 0, 0, 0}, 0, 5), -2.95);
}

TEST(MatchStats, SprtDecidesOnlyOnceThePairsShowTheirSpread) {
    // One lost pair has no spread: its ratio is far below the bound, yet proves nothing.
    ASSERT_LT(sprtLlr({0, 1, 0, 0, 0}, 0, 15), -2.95);
    EXPECT_EQ(sprtVerdict({0, 1, 0, 0, 0}, 0, 15, 0.05, 0.05), SprtVerdict::NONE);
    EXPECT_EQ(sprtVerdict({0, 0, 0, 0, SPRT_MIN_PAIRS - 1}, 0, 15, 0.05, 0.05), SprtVerdict::NONE);
    EXPECT_EQ(sprtVerdict({0, 0, 0, 0, SPRT_MIN_PAIRS}, 0, 15, 0.05, 0.05), SprtVerdict::H1);
    EXPECT_EQ(sprtVerdict({SPRT_MIN_PAIRS, 0, 0, 0, 0}, 0, 15, 0.05, 0.05), SprtVerdict::H0);
    // Enough pairs close to even: no decision either way.
    EXPECT_EQ(sprtVerdict({10, 40, 80, 60, 10}, 0, 5, 0.05, 0.05), SprtVerdict::NONE);
    // The same shares held six times as long (ratio 6 x 0.554) decide for the better engine.
    EXPECT_EQ(sprtVerdict({60, 240, 480, 360, 60}, 0, 5, 0.05, 0.05), SprtVerdict::H1);
}

TEST(MatchScores, InfoLinesInAnyOrderAndTheLastExactOne) {
    ReportedScore a = infoScore("info depth 12 seldepth 18 score cp -35 nodes 1000 pv e2e4");
    EXPECT_TRUE(a.found && !a.mate && !a.bound && a.value == -35 && a.depth == 12);
    ReportedScore b = infoScore("info score mate -3 depth 9 nodes 5 time 1 pv a1a8");
    EXPECT_TRUE(b.found && b.mate && b.value == -3 && b.depth == 9);
    EXPECT_EQ(centipawns(b), -MATE_CENTIPAWNS);
    EXPECT_EQ(centipawns(infoScore("info depth 1 score mate 0")), -MATE_CENTIPAWNS);
    EXPECT_EQ(centipawns(infoScore("info depth 1 score mate 7")), MATE_CENTIPAWNS);
    EXPECT_TRUE(infoScore("info depth 7 score cp 120 lowerbound nodes 9").bound);
    EXPECT_TRUE(infoScore("info depth 7 score cp -80 upperbound").bound);
    // Free text, lines without a score, malformed numbers.
    for (const char* line : {"info string score cp 900 from the book", "info nodes 5038 nps 10035 time 502 hashfull 0",
                             "info depth 3 score cp", "info depth 3 score cp 12x", "bestmove e2e4 score cp 5"})
        EXPECT_FALSE(infoScore(line).found) << line;
    // The last exact score of a move's output counts; bounds are skipped.
    ReportedScore s = lastExactScore({"info depth 10 score cp 20 pv e2e4", "info depth 11 score cp 300 lowerbound",
                                      "info nodes 99 time 5", "bestmove e2e4"});
    EXPECT_TRUE(s.found && s.value == 20);
    EXPECT_FALSE(lastExactScore({"info depth 1 score cp 5 upperbound", "bestmove a2a3"}).found);
}

std::vector<PlyScore> plies(std::initializer_list<int> whiteView) {
    std::vector<PlyScore> out;
    for (int v : whiteView) out.push_back({true, v});
    return out;
}

TEST(MatchAdjudication, WinNeedsEightAgreeingPlies) {
    EXPECT_EQ(adjudicate(plies({1000, 1200, 1500, 1000, 1100, 2000, 1000, 1000})).whiteResult, 1);
    EXPECT_EQ(adjudicate(plies({0, -1000, -1200, -1500, -1000, -1100, -2000, -1000, -1000})).whiteResult, 0);
    EXPECT_EQ(adjudicate(plies({1000, 1200, 1500, 1000, 1100, 2000, 1000})).whiteResult, -1);  // seven plies
    EXPECT_EQ(adjudicate(plies({1000, 1200, 1500, 999, 1100, 2000, 1000, 1000})).whiteResult, -1);
    auto gap = plies({1000, 1200, 1500, 1000, 1100, 2000, 1000, 1000});
    gap[4].scored = false;  // one move without a score
    EXPECT_EQ(adjudicate(gap).whiteResult, -1);
}

TEST(MatchAdjudication, DrawsOnlyLateAndAtTheLimit) {
    std::vector<PlyScore> level(79, PlyScore{true, 3});
    EXPECT_EQ(adjudicate(level).whiteResult, -1);
    level.push_back({true, -8});
    Verdict v = adjudicate(level);
    EXPECT_TRUE(v.whiteResult == 0.5 && v.reason == "adjudicated draw") << v.reason;
    level.back().white = 9;
    EXPECT_EQ(adjudicate(level).whiteResult, -1);
    std::vector<PlyScore> longGame(600, PlyScore{false, 0});
    EXPECT_EQ(adjudicate(longGame).reason, "move limit");
}

TEST(MatchOptions, DeclarationsWithSpacesAndLists) {
    UciOption o;
    for (auto [line, name, type, defaultValue] :
         {std::tuple{"option name Threads type spin default 2 min 1 max 8", "Threads", "spin", "2"},
          {"option name Number of Threads type spin default 1 min 1 max 16", "Number of Threads", "spin", "1"},
          {"option name Search Log Filename type string default SearchLog.txt", "Search Log Filename", "string",
           "SearchLog.txt"},
          {"option name King Safety Curve type combo default Quadratic var Quadratic var Linear", "King Safety Curve",
           "combo", "Quadratic"},
          {"option name Clear Hash type button", "Clear Hash", "button", ""}}) {
        ASSERT_TRUE(parseOptionLine(line, o)) << line;
        EXPECT_TRUE(o.name == name && o.type == type && o.defaultValue == defaultValue) << line;
    }
    EXPECT_FALSE(parseOptionLine("id name Fake 1.0", o));
    EXPECT_FALSE(parseOptionLine("option name type spin", o));
}

TEST(MatchOptions, OneThreadAndNoPonderUnlessTheUserSaysOtherwise) {
    const std::vector<UciOption> both = {{"Threads", "spin", "2"}, {"Hash", "spin", "32"}, {"Ponder", "check", "true"}};
    auto sent = settingsToSend(both, {parseSetting("Hash=64")});
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_EQ(sent[0].name + "=" + sent[0].value + " " + sent[1].name + "=" + sent[1].value + " " + sent[2].name + "="
                  + sent[2].value,
              "Threads=1 Ponder=false Hash=64");
    // The user's choice wins, whatever its case; nothing is added for options the engine lacks.
    sent = settingsToSend(both, {parseSetting("threads=4"), parseSetting("PONDER=true")});
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_TRUE(sent[0].value == "4" && sent[1].value == "true");
    EXPECT_TRUE(settingsToSend({{"Hash", "spin", "16"}}, {}).empty());
    // Option names may contain spaces and values may contain '='.
    OptionSetting book = parseSetting("Book File=/books/a=b.bin");
    EXPECT_TRUE(book.name == "Book File" && book.value == "/books/a=b.bin") << book.name;
}
}  // namespace
