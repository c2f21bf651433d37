// What a GUI adds to plain analysis: win/draw/loss figures on the info lines, and play at a chosen rating.
#include <set>
#include "search_session.h"

namespace {
// "wdl W D L" right after the score: three per-mille figures adding up to 1000. Returns W D L, or empty.
std::vector<long> wdlOf(const std::string& line) {
    static const std::regex wdl("^info score (cp|mate) -?[0-9]+ wdl ([0-9]+) ([0-9]+) ([0-9]+) ");
    std::smatch m;
    if (!std::regex_search(line, m, wdl)) return {};
    return {std::stol(m[2]), std::stol(m[3]), std::stol(m[4])};
}

TEST(PlayFeatures, WdlFiguresFollowTheScoreAndKnownResults) {
    EngineSession s;
    s.send("setoption name UCI_ShowWDL value true");
    s.send("setoption name SyzygyPath value " + testDataPath("syzygy"));
    auto infos = withPrefix(s.search("startpos", "go depth 6"), "info score");
    ASSERT_FALSE(infos.empty());
    for (const auto& l : infos) {
        auto w = wdlOf(l);
        ASSERT_EQ(w.size(), 3u) << l;
        EXPECT_EQ(w[0] + w[1] + w[2], 1000) << l;
        EXPECT_TRUE(std::regex_match(std::regex_replace(l, std::regex(" wdl [0-9]+ [0-9]+ [0-9]+"), ""), INFO_LINE))
            << l;
    }
    // A mate in one is a sure win; a drawn ending the tables know is a sure draw, a lost one a sure loss.
    const std::pair<const char*, std::vector<long>> known[] = {
        {"fen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1", {1000, 0, 0}},
        {"fen 8/8/8/4k3/8/8/8/KN6 w - - 0 1", {0, 1000, 0}},
        {"fen 8/8/8/4k3/8/8/2Q5/K7 b - - 0 1", {0, 0, 1000}},
    };
    for (const auto& [position, chances] : known) {
        infos = withPrefix(s.search(position, "go depth 4"), "info score");
        ASSERT_FALSE(infos.empty()) << position;
        for (const auto& l : infos) EXPECT_EQ(wdlOf(l), chances) << l;
    }
    // A winning side sees more wins than the losing side of the same position.
    s.send("setoption name SyzygyPath value <empty>");
    auto white = wdlOf(withPrefix(s.search("fen 4k3/8/8/8/8/8/PPP5/1K1R4 w - - 0 1", "go depth 5"), "info").back());
    auto black = wdlOf(withPrefix(s.search("fen 4k3/8/8/8/8/8/PPP5/1K1R4 b - - 0 1", "go depth 5"), "info").back());
    ASSERT_TRUE(white.size() == 3 && black.size() == 3);
    EXPECT_GT(white[0], 900);
    EXPECT_GT(black[2], 900);
    s.send("setoption name UCI_ShowWDL value false");
    for (const auto& l : withPrefix(s.search("startpos", "go depth 3"), "info score"))
        EXPECT_TRUE(std::regex_match(l, INFO_LINE)) << l;
}

// Under a strength limit the move played is one of the lines searched: low ratings vary among close lines, higher
// ones do not leave a queen, and the search stops at its node budget however long the clock.
TEST(PlayFeatures, AStrengthLimitChoosesAmongTheSearchedLines) {
    EngineSession s;
    s.send("setoption name UCI_LimitStrength value true");
    s.send("setoption name MultiPV value 4");
    const std::string quiet = "fen r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3";
    const std::string queenHangs = "fen rnb1kbnr/pppp1ppp/8/4p3/4P2q/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3";
    for (int elo : {1500, 2000}) {
        s.send("setoption name UCI_Elo value " + std::to_string(elo));
        std::set<std::string> played;
        for (int i = 0; i < (elo == 1500 ? 12 : 4); ++i) {
            auto lines = s.search(i % 2 ? queenHangs : quiet, "go wtime 60000 btime 60000");
            auto infos = withPrefix(lines, "info score");
            ASSERT_GE(infos.size(), 5u);
            // The last iteration's four lines, then the line of the move played.
            std::set<std::string> searched;
            for (size_t k = infos.size() - 5; k + 1 < infos.size(); ++k) searched.insert(firstMove(infos[k]));
            std::string move = bestMoveText(lines.back());
            EXPECT_TRUE(searched.count(move)) << elo << ": " << lines.back();
            EXPECT_EQ(firstMove(infos.back()), move);
            EXPECT_LT(fieldOf(infos.back(), "nodes"), elo == 1500 ? 20000 : 600000) << infos.back();
            if (i % 2 == 0) {
                played.insert(move);
            } else if (elo == 2000) {
                EXPECT_EQ(move, "f3h4");
            }
        }
        if (elo == 1500) {
            EXPECT_GE(played.size(), 2u) << "the low rating always played the same move";
        }
    }
}
}  // namespace
