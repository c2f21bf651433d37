// The incrementally updated accumulators against a refresh from scratch.
#include <cstring>
#include "board/makemove.h"
#include "eval/nnue.h"
#include "eval_helpers.h"

namespace {
struct MoveKinds {
    int castlingShort = 0, castlingLong = 0, enPassant = 0, promotionCaptures = 0, kingMoves = 0, nullMoves = 0,
        checks = 0;
};
bool equalsRefresh(const Position& p, int ply) {
    static Accumulator fresh;
    refreshAccumulator(p, fresh);
    return std::memcmp(fresh.values, p.acc[ply].values, sizeof fresh.values) == 0;
}

// Prefers the rare moves so that every kind of changed-piece record turns up.
Move pickMove(Position& p, int ply, TestRng& rng) {
    Move* begin = p.plyStates[ply].moveStart;
    Move* end = generateLegal(ply, p);
    int n = int(end - begin);
    if (n == 0) return NO_MOVE;
    std::vector<Move> special;
    for (Move* m = begin; m < end; ++m)
        if (isCastling(*m) || moveFlag(*m) == FLAG_EP || (isPromotion(*m) && p.board[moveTo(*m)]))
            special.push_back(*m);
    if (!special.empty() && rng.below(3) == 0) return special[rng.below(int(special.size()))];
    return begin[rng.below(n)];
}

// Walks a random tree the way a search does: down, back up a few plies, down
// another branch; evaluates some plies and skips others.
void walk(Position& p, TestRng& rng, int steps, MoveKinds& kinds) {
    std::vector<Move> line;  // NO_MOVE marks a null move
    auto undo = [&] {
        Move m = line.back();
        line.pop_back();
        if (m == NO_MOVE) unmakeNullMove(p, int(line.size()));
        else unmakeMove(p, int(line.size()), m);
    };
    for (int step = 0; step < steps; ++step) {
        int ply = int(line.size());
        bool back = ply >= 90 || (ply > 0 && rng.below(6) == 0);
        if (back) {
            for (int plies = 1 + rng.below(ply < 8 ? ply : 8); plies > 0; --plies) undo();
        } else if (!p.plyStates[ply].inCheck && rng.below(12) == 0) {
            p.plyStates[ply + 1].moveStart = p.plyStates[ply].moveStart;  // no list generated here
            makeNullMove(p, ply);
            line.push_back(NO_MOVE);
            ++kinds.nullMoves;
        } else {
            Move m = pickMove(p, ply, rng);
            if (m == NO_MOVE) {  // mate or stalemate: go back instead
                if (ply == 0) return;
                undo();
                continue;
            }
            if (isCastling(m)) ++(moveFlag(m) == FLAG_SHORT ? kinds.castlingShort : kinds.castlingLong);
            if (moveFlag(m) == FLAG_EP) ++kinds.enPassant;
            if (isPromotion(m) && p.board[moveTo(m)]) ++kinds.promotionCaptures;
            if (typeOf(p.board[moveFrom(m)]) == KING) ++kinds.kingMoves;
            makeMove(p, ply, m);
            line.push_back(m);
        }
        int now = int(line.size());
        if (rng.below(3) != 0) {
            updateAccumulator(p, now);
            ++kinds.checks;
            ASSERT_TRUE(equalsRefresh(p, now)) << "after " << step << " steps at ply " << now << ": " << getFen(p);
        }
    }
}

// rareMoves: castling both ways, en passant and capturing promotions all turn up.
struct WalkCase {
    const char *name, *fen;
    bool frc, rareMoves;
};
class AccumulatorWalk : public ::testing::TestWithParam<WalkCase> {};
TEST_P(AccumulatorWalk, IncrementalEqualsRefresh) {
    useRandomNet(11);
    chess960 = GetParam().frc;
    TestRng rng{0x1234567 + uint64_t(std::strlen(GetParam().fen))};
    MoveKinds kinds;
    walk(*TestPosition(GetParam().fen), rng, 6000, kinds);
    chess960 = false;
    EXPECT_TRUE(kinds.checks > 3000 && kinds.kingMoves > 20 && kinds.nullMoves > 20) << kinds.checks;
    EXPECT_TRUE(
        !GetParam().rareMoves
        || (kinds.castlingShort > 5 && kinds.castlingLong > 5 && kinds.enPassant > 5 && kinds.promotionCaptures > 5))
        << kinds.castlingShort << " " << kinds.castlingLong << " " << kinds.enPassant << " " << kinds.promotionCaptures;
}

INSTANTIATE_TEST_SUITE_P(
    Positions, AccumulatorWalk,
    ::testing::Values(
        WalkCase{"Start", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", false, false},
        WalkCase{"Promotions", "r3k2r/pPppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/1PPBBPPP/R3K2R w KQkq - 0 1", false, true},
        WalkCase{"EnPassant", "r3k2r/p1pp1pP1/8/1pP1p3/4P1p1/8/PpPP1P1P/R3K2R w KQkq b6 0 1", false, true},
        WalkCase{"Chess960KingOnF", "1r3kr1/pp3ppp/8/2pP4/8/8/PP3PPP/1R3KR1 w KQkq c6 0 1", true, false},
        WalkCase{"Chess960KingOnB", "rk2r3/1ppp1ppp/8/p3P3/8/8/PPPP1PPP/RK2R3 w KQkq - 0 1", true, true}),
    [](const ::testing::TestParamInfo<WalkCase>& info) { return std::string(info.param.name); });
TEST(Accumulator, NullMoveKeepsTheParentsSums) {
    useRandomNet(13);
    TestPosition p("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3");
    updateAccumulator(*p, 0);
    generateLegal(0, *p);
    makeNullMove(*p, 0);
    updateAccumulator(*p, 1);
    EXPECT_EQ(0, std::memcmp(p->acc[0].values, p->acc[1].values, sizeof p->acc[0].values));
    // A stale first entry in a null move's record must not be read as a king move.
    p->dirty[1].piece[0] = WKING;
    p->acc[1].computed = 0;
    p->acc[0].values[0][0] ^= 0x55;  // a refresh would not reproduce this
    updateAccumulator(*p, 1);
    EXPECT_EQ(p->acc[0].values[0][0], p->acc[1].values[0][0]);
}

TEST(Accumulator, ComputedPlyIsNotRecomputed) {
    useRandomNet(14);
    TestPosition p("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3");
    int32_t first = nnueEvaluate(*p, 0);
    p->acc[0].values[0][3] = p->acc[0].values[1][3] = 30000;
    nnueEvaluate(*p, 0);
    EXPECT_EQ(30000, p->acc[0].values[0][3]);
    p->acc[0].computed = 0;
    EXPECT_EQ(first, nnueEvaluate(*p, 0));
}

// A chain longer than the pieces on the board is not followed: the result is a
// refresh even when the base accumulator is wrong.
TEST(Accumulator, LongChainsFallBackToRefresh) {
    useRandomNet(15);
    TestPosition p("4k3/8/8/8/8/8/8/R3K2R w - - 0 1");  // 4 pieces
    updateAccumulator(*p, 0);
    p->acc[0].values[0][0] ^= 0x77;
    makeMove(*p, 0, makeMove(0, 8));  // Ra2
    updateAccumulator(*p, 1);         // one record: incremental from the corrupted base
    EXPECT_FALSE(equalsRefresh(*p, 1));
    p->acc[1].computed = 0;
    for (int ply = 1; ply < 4; ++ply) makeNullMove(*p, ply);  // budget 4 - 2 - 1 - 1 - 1 < 1
    updateAccumulator(*p, 4);
    EXPECT_TRUE(equalsRefresh(*p, 4));
}

// A king move refreshes only its own side's half: the other half follows from the parent, as a corrupted parent shows.
TEST(Accumulator, KingMoveRefreshesOnlyItsOwnHalf) {
    useRandomNet(16);
    TestPosition p("4k3/8/8/8/8/8/8/R3K2R b - - 0 1");
    updateAccumulator(*p, 0);
    p->acc[0].values[WHITE][0] ^= 0x77;
    p->acc[0].values[BLACK][0] ^= 0x77;
    makeMove(*p, 0, makeMove(60, 59));  // Kd8
    updateAccumulator(*p, 1);
    static Accumulator fresh;
    refreshAccumulator(*p, fresh);
    EXPECT_NE(fresh.values[WHITE][0], p->acc[1].values[WHITE][0]);
    EXPECT_EQ(0, std::memcmp(fresh.values[BLACK], p->acc[1].values[BLACK], sizeof fresh.values[BLACK]));
}

// Refreshes start from the sums kept for the king's square; those must not outlive the network they were computed with.
TEST(Accumulator, KingSquareSumsAreDroppedWithTheirNetwork) {
    TestPosition p("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
    Move there = makeMove(4, 3);  // Kd1: refreshes White's half
    for (uint64_t seed : {17, 18}) {
        useRandomNet(seed);
        p->acc[0].computed = 0;  // the root's sums belong to the old network too
        makeMove(*p, 0, there);
        updateAccumulator(*p, 1);
        EXPECT_TRUE(equalsRefresh(*p, 1)) << seed;
        unmakeMove(*p, 0, there);
        p->acc[0].computed = 0;
        updateAccumulator(*p, 0);
        EXPECT_TRUE(equalsRefresh(*p, 0)) << seed;
    }
}

TEST(Accumulator, TransformedInputOfMirroredPosition) {
    useRandomNet(16);
    for (const char* fen : {"r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3",
                            "8/5k2/3p4/1p1Pp2p/pP2Pp1P/P4P1K/8/8 b - - 0 1",
                            "r3k2r/pPppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/1PPBBPPP/R3K2R w KQkq - 0 1"}) {
        TestPosition a(fen), b(mirrorFen(fen));
        uint8_t inA[NNUE_INPUTS], inB[NNUE_INPUTS];
        transformedInput(*a, 0, inA);
        transformedInput(*b, 0, inB);
        EXPECT_EQ(0, std::memcmp(inA, inB, NNUE_INPUTS)) << fen;
        EXPECT_EQ(nnueEvaluate(*a, 0), nnueEvaluate(*b, 0)) << fen;
    }
}
}  // namespace
