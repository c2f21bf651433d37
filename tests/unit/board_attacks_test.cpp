#include "board_test_util.h"

namespace {
using AttackTables = BoardTest;

TEST_F(AttackTables, MagicLookupsMatchRayWalksOnRandomOccupancies) {
    std::mt19937_64 rng(7);
    for (int s = 0; s < 64; ++s)
        for (int i = 0; i < 300; ++i) {
            Bitboard occ = rng() & rng();
            ASSERT_EQ(rookAttacks(s, occ), slowRookAttacks(s, occ)) << s;
            ASSERT_EQ(bishopAttacks(s, occ), slowBishopAttacks(s, occ)) << s;
        }
}

// The trial search finds nine-bit multipliers that map every occupancy subset without a harmful collision.
TEST_F(AttackTables, MagicSearchFindsValidMultipliers) {
    for (int s : {0, 27, 63})
        for (bool rook : {true, false}) {
            const Magic& m = rook ? rookMagics[s] : bishopMagics[s];
            uint64_t magic = searchMagic(s, rook);
            EXPECT_EQ(popcount(magic), 9);
            std::vector<Bitboard> slots(size_t(1) << popcount(m.mask), 0);
            Bitboard subset = 0;
            do {
                Bitboard reference = rook ? slowRookAttacks(s, subset) : slowBishopAttacks(s, subset);
                Bitboard& slot = slots[(subset * magic) >> m.shift];
                ASSERT_TRUE(slot == 0 || slot == reference) << s;
                slot = reference;
                subset = (subset - m.mask) & m.mask;
            } while (subset);
        }
}

TEST_F(AttackTables, LeapersStayOnTheBoard) {
    EXPECT_EQ(knightAttacks[sq("a1")], bit(sq("b3")) | bit(sq("c2")));
    EXPECT_EQ(popcount(knightAttacks[sq("d4")]), 8);
    EXPECT_EQ(popcount(knightAttacks[sq("h5")]), 4);
    EXPECT_EQ(kingAttacks[sq("h1")], bit(sq("g1")) | bit(sq("g2")) | bit(sq("h2")));
    EXPECT_EQ(popcount(kingAttacks[sq("e4")]), 8);
}

TEST_F(AttackTables, PawnAttackersAreFilledFromTheThirdRank) {
    EXPECT_EQ(pawnAttackers[WHITE][sq("e4")], bit(sq("d3")) | bit(sq("f3")));
    EXPECT_EQ(pawnAttackers[WHITE][sq("a4")], bit(sq("b3")));
    EXPECT_EQ(pawnAttackers[BLACK][sq("e5")], bit(sq("d6")) | bit(sq("f6")));
    EXPECT_EQ(pawnAttackers[BLACK][sq("h3")], bit(sq("g4")));
    EXPECT_EQ(pawnAttackers[WHITE][sq("c2")] | pawnAttackers[BLACK][sq("c7")], 0u);
    // Pawn attacks work on every rank, also where pawnAttackers is left empty.
    EXPECT_EQ(pawnAttacks(BLACK, sq("g2")), bit(sq("f1")) | bit(sq("h1")));
    EXPECT_EQ(pawnAttacks(WHITE, sq("a7")), bit(sq("b8")));
    EXPECT_EQ(pawnAttacks(WHITE, sq("e4")), pawnAttackers[BLACK][sq("e4")]);
    EXPECT_EQ(epNeighbours[sq("a4")], bit(sq("b4")));
    EXPECT_EQ(epNeighbours[sq("e5")], bit(sq("d5")) | bit(sq("f5")));
}

TEST_F(AttackTables, SquareRelations) {
    Bitboard diagonal = 0;
    for (const char* s : {"b2", "c3", "d4", "e5", "f6", "g7"}) diagonal |= bit(sq(s));
    EXPECT_EQ(betweenSquares[sq("a1")][sq("h8")], diagonal);
    EXPECT_EQ(betweenSquares[sq("a1")][sq("b3")] | betweenSquares[sq("a1")][sq("a2")], 0u);
    EXPECT_EQ(betweenSquares[sq("e1")][sq("e8")], fileMask[4] & ~bit(sq("e1")) & ~bit(sq("e8")));
    EXPECT_EQ(lineThrough[sq("c3")][sq("e5")], diagonal | bit(sq("a1")) | bit(sq("h8")));
    EXPECT_EQ(lineThrough[sq("a1")][sq("b3")], 0u);
    EXPECT_TRUE(squareDistance[sq("a1")][sq("h8")] == 7 && squareDistance[sq("e4")][sq("f6")] == 2);
}

TEST_F(AttackTables, EvaluationMasks) {
    EXPECT_EQ(adjacentFiles[sq("a5")], fileMask[1]);
    EXPECT_EQ(adjacentFiles[sq("h5")], fileMask[6]);
    EXPECT_EQ(adjacentFiles[sq("d5")], fileMask[2] | fileMask[4]);
    EXPECT_EQ(frontSpan[WHITE][sq("e7")], bit(sq("d8")) | bit(sq("e8")) | bit(sq("f8")));
    EXPECT_EQ(frontSpan[BLACK][sq("a2")], bit(sq("a1")) | bit(sq("b1")));
    EXPECT_EQ(frontSpan[WHITE][sq("e1")], 0u);
    EXPECT_EQ(ranksUpward[sq("c7")], 0xffffull << 48);
    EXPECT_EQ(ranksDownward[sq("c2")], 0xffffull);
    // A king on g1 guards f..h on ranks 1 to 4; on a8 (Black) files a..c on ranks 8 down to 5.
    EXPECT_EQ(kingZone[WHITE][sq("g1")], (fileMask[5] | fileMask[6] | fileMask[7]) & 0xffffffffull);
    EXPECT_EQ(kingZone[BLACK][sq("a8")], (fileMask[0] | fileMask[1] | fileMask[2]) & (0xffffffffull << 32));
    EXPECT_EQ(popcount(kingZone[WHITE][sq("d4")]), 12);
}
}  // namespace
