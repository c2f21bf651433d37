// Endings played out by the engine against itself with the shared tables: won
// positions end in mate by the tables' moves, drawn ones stay drawn.
#include "search_session.h"

namespace {
const std::string SYZYGY = testDataPath("syzygy");
struct Outcome {
    bool mated = false;  // the side to move at the end is checkmated
    int plies = 0;
    std::vector<int> rootScores;  // the probe's score of each move, from the mover's view
};

// Both sides play the engine's move for 'limit' plies or until mate.
Outcome playOut(EngineSession& s, const std::string& fen, int limit) {
    Outcome o;
    std::string moves;
    for (; o.plies < limit; ++o.plies) {
        s.send("position fen " + fen + (moves.empty() ? "" : " moves" + moves));
        s.send("go movetime 200");
        auto lines = s.untilBestMove(20000);
        if (lines.empty()) break;
        if (lines.back() == "bestmove (none)") {
            o.mated = hasLine(lines, "info score mate 0");
            break;
        }
        static const std::regex probeLine(
            "^info score (cp|mate) (-?[0-9]+) depth 127 seldepth 127 nodes 1 .*tbhits 1 pv (\\S+)$");
        std::smatch m;
        bool probed = false;
        for (const auto& l : lines)
            if (std::regex_match(l, m, probeLine)) {
                int value = std::stoi(m[2]);
                o.rootScores.push_back(m[1] == "cp" ? value : (value > 0 ? 30000 : -30000));
                probed = true;
            }
        EXPECT_TRUE(probed) << "no root probe line at ply " << o.plies;
        moves += ' ';
        moves += bestMoveText(lines.back());
    }
    return o;
}

TEST(TablebasePlay, WinsKQvKRAndKRvKByTheTables) {
    EngineSession s;
    s.send("setoption name SyzygyPath value " + SYZYGY);
    auto reply = s.until("info string", 20000);
    ASSERT_FALSE(reply.empty());
    EXPECT_EQ(reply.back(), "info string Syzygy tablebases used from directory : " + SYZYGY);
    for (const char* fen : {"8/8/2k5/8/8/2r5/8/3QK3 w - - 0 1", "8/8/8/4k3/8/8/8/R3K3 w - - 0 1"}) {
        Outcome o = playOut(s, fen, 160);
        EXPECT_TRUE(o.mated) << fen << " not mated after " << o.plies << " plies";
        EXPECT_EQ(o.plies % 2, 1) << fen << ": the defending side must be the one mated";
        ASSERT_FALSE(o.rootScores.empty());
        for (size_t i = 0; i < o.rootScores.size(); i += 2) EXPECT_GT(o.rootScores[i], 0) << fen << " ply " << i;
    }
}

TEST(TablebasePlay, DrawnEndingsStayDrawn) {
    EngineSession s;
    s.send("setoption name SyzygyPath value " + SYZYGY);
    s.until("info string", 20000);
    for (const char* fen : {"8/8/2k5/8/8/2r5/8/3RK3 w - - 0 1", "8/8/4k3/8/8/8/4P3/4K3 b - - 0 1"}) {
        Outcome o = playOut(s, fen, 40);
        EXPECT_FALSE(o.mated) << fen;
        for (int score : o.rootScores) EXPECT_EQ(score, 0) << fen;
    }
}

TEST(TablebasePlay, WithoutTablesTheSearchRuns) {
    EngineSession s;
    s.send("position fen 8/8/2k5/8/8/2r5/8/3QK3 w - - 0 1");
    s.send("go depth 6");
    for (const auto& l : s.untilBestMove(20000)) EXPECT_EQ(l.find("depth 127"), std::string::npos) << l;
}
}  // namespace
