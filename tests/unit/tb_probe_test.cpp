// Probing the tables beyond the reference list: en passant, which the tables do not hold, positions reached by moves
// during a search, several threads mapping and probing at once; the whole list; and the root move, which keeps the
// result, makes progress towards zeroing, resists longest when lost and respects the fifty-move counter.
#include <random>
#include <thread>
#include "board/makemove.h"
#include "board/score.h"
#include "tablebase/probe.h"
#include "tb_support.h"

namespace {
using TbProbe = TbTest;

// The best result over the legal moves, each child probed after the move is made as the search makes it.
int bestChildWdl(Position& p) {
    int best = -3;
    for (Move m : legalMoves(p, 0)) {
        makeMove(p, 0, m);
        int v = -probeWdlValue(p);
        unmakeMove(p, 0, m);
        best = std::max(best, v);
    }
    return best;
}

// Random KPvKP positions in which Black has just double-stepped beside a white pawn on the fifth rank.
std::vector<std::string> enPassantPositions(int wanted) {
    std::mt19937 rng(12345);
    std::vector<std::string> out;
    while (int(out.size()) < wanted) {
        int file = int(rng() % 8), black = file + (rng() % 2 ? 1 : -1);
        if (black < 0 || black > 7) continue;
        std::string board(64, '1');  // a digit per empty square, as the FEN reader allows
        board[32 + file] = 'P';
        board[32 + black] = 'p';
        int wk = int(rng() % 64), bk = int(rng() % 64);
        if (board[wk] != '1' || board[bk] != '1' || wk == bk) continue;
        if (wk == 40 + black || bk == 40 + black || wk == 48 + black || bk == 48 + black) continue;
        board[wk] = 'K';
        board[bk] = 'k';
        std::string fen;
        for (int rank = 7; rank >= 0; --rank) fen += board.substr(size_t(rank) * 8, 8) + (rank ? "/" : "");
        TestPosition p(fen + " w - " + char('a' + black) + "6 0 1", TestPosition::MayFail{});
        if (p.ok && p.pos->plyStates[0].epSquare) out.push_back(getFen(*p));
    }
    return out;
}
TEST_F(TbProbe, EnPassantIsTakenIntoAccount) {
    int differ = 0;
    for (const std::string& fen : enPassantPositions(150)) {
        TestPosition p(fen);
        int wdl = probeWdlValue(*p);
        ASSERT_NE(wdl, TB_FAILED) << fen;
        EXPECT_EQ(wdl, bestChildWdl(*p)) << fen;
        int dtz = probeDtzValue(*p);
        EXPECT_TRUE((wdl > 0) == (dtz > 0) && (wdl < 0) == (dtz < 0)) << fen << " " << wdl << " " << dtz;
        differ += probeWdlValue(*TestPosition(fen.substr(0, fen.find(" w ")) + " w - - 0 1")) != wdl;
    }
    EXPECT_GT(differ, 0);  // the capture changes the result somewhere
}

TEST_F(TbProbe, PositionAfterADoubleStepProbesLikeItsFen) {
    // Black's pawn can take the pawn that just passed it.
    TestPosition p("8/8/8/8/3p4/8/4P3/K6k w - - 0 1");
    Move push = NO_MOVE;
    for (Move m : legalMoves(*p, 0))
        if (moveFlag(m) == FLAG_DOUBLE) push = m;
    ASSERT_NE(push, NO_MOVE);
    makeMove(*p, 0, push);
    TestPosition fen("8/8/8/8/3pP3/8/8/K6k b - e3 0 1");
    EXPECT_TRUE(probeWdlValue(*p) == probeWdlValue(*fen) && probeDtzValue(*p) == probeDtzValue(*fen));
    EXPECT_NE(probeWdlValue(*fen), probeWdlValue(*TestPosition("8/8/8/8/3pP3/8/8/K6k b - - 0 1")));
}

TEST_F(TbProbe, SeveralThreadsProbingAtOnceAgreeWithOne) {
    std::vector<ExpectedProbe> cases = readExpectedProbes();
    std::vector<int> wdl(cases.size()), dtz(cases.size());
    for (size_t i = 0; i < cases.size(); ++i) {
        TestPosition p(cases[i].fen);
        wdl[i] = probeWdlValue(*p);
        dtz[i] = probeDtzValue(*p);
    }
    // Start again with nothing mapped, so that the threads race to map files.
    ASSERT_TRUE(initTablebases(SYZYGY_DIR));
    const int THREADS = 4;
    std::atomic<int> waiting{THREADS};
    std::vector<int> mismatches(THREADS, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t)
        threads.emplace_back([&, t] {
            auto pos = std::make_unique<Position>();
            auto stack = std::make_unique<Move[]>(MOVE_STACK);
            pos->plyStates[0].moveStart = stack.get();
            waiting.fetch_sub(1);
            while (waiting.load() > 0) std::this_thread::yield();
            size_t n = cases.size();
            for (size_t k = 0; k < n; ++k) {
                size_t i = (k * (2 * t + 1) + size_t(t) * 97) % n;  // a different order in each thread
                setFen(*pos, cases[i].fen);
                if (probeWdlValue(*pos) != wdl[i]) ++mismatches[t];
                if (k % 2 == size_t(t % 2) && probeDtzValue(*pos) != dtz[i]) ++mismatches[t];
            }
        });
    for (std::thread& th : threads) th.join();
    for (int t = 0; t < THREADS; ++t) EXPECT_EQ(mismatches[t], 0) << "thread " << t;
}

// Every line of the reference list beside the tables of `dir`.
void checkReferenceList(const std::string& dir, size_t expectedLines, int expectedMates) {
    initBoardTables();
    ASSERT_TRUE(initTablebases(dir));
    std::vector<ExpectedProbe> cases = readExpectedProbes(dir);
    ASSERT_EQ(cases.size(), expectedLines);
    int wrong = 0, mates = 0;
    for (const ExpectedProbe& e : cases) {
        TestPosition p(e.fen);
        ASSERT_TRUE(p.ok) << e.fen;
        int wdl = probeWdlValue(*p), dtz = probeDtzValue(*p);
        // The list calls a checkmated side to move a "Win" at distance 0; it has lost, and the probe must say so.
        if (isCheckmate(*p)) {
            EXPECT_TRUE(wdl == -2 && dtz == 0) << e.fen << ": " << wdl << " " << dtz;
            ++mates;
            continue;
        }
        if (wdl != e.wdl || dtz == TB_FAILED || std::abs(dtz) != e.dtz) {
            ADD_FAILURE() << e.fen << ": wdl " << wdl << " dtz " << dtz << ", expected " << e.wdl << " " << e.dtz;
            if (++wrong > 40) break;
        }
        // The search's code is the same value shifted.
        EXPECT_EQ(probeWdl(*p), e.wdl + 2);
    }
    EXPECT_TRUE(mates == expectedMates && wrong == 0) << mates << " mates, " << wrong << " wrong";
    initTablebases("");
}
TEST(TbExpected, EveryKeptReferencePositionMatches) { checkReferenceList(SYZYGY_DIR, 2100, 1); }
// The whole list, with the 5-piece tables.
TEST(TbExpected, EverySharedReferencePositionMatches) {
    SKIP_WITHOUT_SHARED_DATA("syzygy/expected.txt");
    checkReferenceList(sharedSyzygyDir(), 2500, 3);
}

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
    for (int wdl : {1, -1})
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
    EXPECT_GT(checked, 20);
}
}  // namespace
