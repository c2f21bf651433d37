// The root move from the tables: it keeps the result, makes progress towards
// zeroing, resists longest when lost and respects the fifty-move counter.
#include "board/makemove.h"
#include "board/score.h"
#include "tablebase/probe.h"
#include "tb_support.h"

namespace {
using TbRoot = TbTest;

std::string withClock(const std::string& fen, int clock) {
    size_t end = fen.rfind(' '), field = fen.rfind(' ', end - 1);  // the half-move clock lies between
    return fen.substr(0, field + 1) + std::to_string(clock) + fen.substr(end);
}

// The lines of the reference list with these pieces and this result.
std::vector<ExpectedProbe> linesOf(std::initializer_list<std::string> pieces, int wdl,
                                   const std::string& dir = SYZYGY_DIR) {
    std::vector<ExpectedProbe> out;
    for (const ExpectedProbe& e : readExpectedProbes(dir))
        if (e.wdl == wdl && std::find(pieces.begin(), pieces.end(), piecesOf(e.fen)) != pieces.end()) out.push_back(e);
    return out;
}
}  // namespace
TEST_F(TbRoot, WinningMoveKeepsTheWinAndComesCloserToZeroing) {
    int checked = 0;
    for (const ExpectedProbe& e : linesOf({"KKQR", "KKR", "KKQ", "KKPR"}, 2)) {
        TestPosition p(e.fen);
        if (isCheckmate(*p)) continue;
        int score = 0;
        Move m = probeRoot(*p, &score);
        ASSERT_NE(m, NO_MOVE) << e.fen;
        auto legal = legalMoves(*p, 0);
        ASSERT_NE(std::find(legal.begin(), legal.end(), moveBase(m)), legal.end()) << e.fen;
        EXPECT_GE(score, tablebaseWin(100)) << e.fen;
        makeMove(*p, 0, m);
        EXPECT_EQ(probeWdlValue(*p), -2) << e.fen;
        // Distances kept in moves are rounded, so the child may show the root's own distance, never more.
        int after = std::abs(probeDtzValue(*p));
        EXPECT_TRUE(p.pos->fiftyMove == 0 || (after <= e.dtz && (e.dtz <= 2 || after < e.dtz)))
            << e.fen << " " << after;
        ++checked;
    }
    EXPECT_GT(checked, 50);
}

TEST_F(TbRoot, DrawnMoveKeepsTheDraw) {
    int checked = 0;
    for (const ExpectedProbe& e : linesOf({"KKRR", "KKQQ", "KKNR", "KKPP", "KKBN"}, 0)) {
        TestPosition p(e.fen);
        int score = 1;
        Move m = probeRoot(*p, &score);
        if (m == NO_MOVE) {  // stalemate: nothing to play
            EXPECT_TRUE(legalMoves(*p, 0).empty()) << e.fen;
            continue;
        }
        EXPECT_EQ(score, 0) << e.fen;
        makeMove(*p, 0, m);
        EXPECT_EQ(probeWdlValue(*p), 0) << e.fen;
        ++checked;
    }
    EXPECT_GT(checked, 30);
}

TEST_F(TbRoot, LosingMoveResistsLongest) {
    int checked = 0;
    for (const ExpectedProbe& e : linesOf({"KKQR", "KKR", "KKNP"}, -2)) {
        TestPosition p(e.fen);
        int score = 0;
        Move chosen = probeRoot(*p, &score);
        if (chosen == NO_MOVE) continue;  // mated
        EXPECT_TRUE(score < 0 && score >= tablebaseLoss(0)) << e.fen;
        // Plies until the opponent's next zeroing move after each reply.
        auto resistance = [&](Move m) {
            makeMove(*p, 0, m);
            int plies = p.pos->fiftyMove == 0 ? 0 : std::abs(probeDtzValue(*p));
            unmakeMove(*p, 0, m);
            return plies;
        };
        int best = resistance(chosen);
        for (Move m : legalMoves(*p, 0)) EXPECT_LE(resistance(m), best) << e.fen;
        EXPECT_EQ(score, tablebaseLoss(best + 1)) << e.fen;
        ++checked;
    }
    EXPECT_GT(checked, 30);
}

TEST_F(TbRoot, FiftyMoveCounterTurnsATooDistantWinIntoADraw) {
    int checked = 0;
    for (const ExpectedProbe& e : linesOf({"KKQR"}, 2)) {
        if (e.dtz < 10) continue;
        int score = 0;
        ASSERT_NE(probeRoot(*TestPosition(e.fen), &score), NO_MOVE);
        int plies = tablebaseWin(0) - score;  // to the next zeroing move after the chosen one
        ASSERT_GT(plies, 1);
        probeRoot(*TestPosition(withClock(e.fen, 100 - plies)), &score);
        EXPECT_EQ(score, tablebaseWin(plies)) << e.fen;
        EXPECT_NE(probeRoot(*TestPosition(withClock(e.fen, 101 - plies)), &score), NO_MOVE);
        EXPECT_EQ(score, 0) << e.fen;
        if (++checked == 10) break;
    }
    EXPECT_EQ(checked, 10);
}

TEST_F(TbRoot, MateInOneIsPlayed) {
    TestPosition p("8/3R4/8/k1K5/8/8/8/8 w - - 0 1");
    int score = 0;
    Move m = probeRoot(*p, &score);
    EXPECT_TRUE(moveFrom(m) == 51 && moveTo(m) == 48 && score == mateIn(1)) << score;  // Rd7-a7
}

TEST_F(TbRoot, PositionsOutsideTheTablesGiveNoMove) {
    int score = 5;
    TestPosition castling("r3k3/8/8/8/8/8/8/4K3 b q - 0 1");
    EXPECT_EQ(probeRoot(*castling, &score), NO_MOVE);
    EXPECT_TRUE(score == 0 && probeWdl(*castling) == -1);
    EXPECT_EQ(probeWdl(*TestPosition("r3k3/8/8/8/8/8/8/4K3 b - - 0 1")), 4);  // KRvK, the rook's side to move
    EXPECT_EQ(probeRoot(*TestPosition("4k3/8/8/8/8/8/PPPPPPPP/4K3 w - - 0 1"), &score), NO_MOVE);
    TestPosition missing("4k3/8/8/8/8/8/8/QQ2K1qq w - - 0 1");  // KQQvKQQ is not among the files
    EXPECT_EQ(probeRoot(*missing, &score), NO_MOVE);
}

// KBBvKN, the one shared table with cursed wins and blessed losses, is 13 MB.
TEST_F(TbRoot, CursedWinsAndBlessedLossesScoreAsDrawsButKeepTheirSide) {
    SKIP_WITHOUT_SHARED_DATA("syzygy/KBBvKN.rtbz");
    ASSERT_TRUE(initTablebases(sharedSyzygyDir()));
    int checked = 0;
    for (int wdl : {1, -1}) {
        for (const ExpectedProbe& e : linesOf({"BBKKN"}, wdl, sharedSyzygyDir())) {
            TestPosition p(e.fen);
            int score = 7;
            Move m = probeRoot(*p, &score);
            ASSERT_NE(m, NO_MOVE) << e.fen;
            EXPECT_EQ(score, 0) << e.fen;
            makeMove(*p, 0, m);
            // The opponent stays on the other side; a "loss" there lies exactly
            // at the rule's limit, which the move just used up.
            int child = probeWdlValue(*p);
            EXPECT_TRUE(child == -wdl || (child == -2 * wdl && std::abs(probeDtzValue(*p)) >= 99)) << e.fen;
            ++checked;
        }
    }
    EXPECT_GT(checked, 20);
}
