#include <algorithm>
#include <set>
#include "board/perft.h"
#include "board_test_util.h"
#include "uci/movetext.h"

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

using MoveGen = BoardTest;

std::vector<Move> captures(Position& p) {
    Move* start = p.plyStates[0].moveStart;
    Move* end = generateCaptures(0, start, p);
    return std::vector<Move>(start, end);
}

std::vector<Move> quiets(Position& p) {
    Move* start = p.plyStates[0].moveStart;
    Move* mid = generateCaptures(0, start, p);
    Move* end = generateQuiets(0, mid, p);
    return std::vector<Move>(mid, end);
}

TEST_F(MoveGen, StartPosition) {
    TestPosition t(START_FEN);
    EXPECT_TRUE(captures(*t).empty());
    auto q = quiets(*t);
    EXPECT_EQ(q.size(), 20u);
    EXPECT_EQ(std::count_if(q.begin(), q.end(), [](Move m) { return moveFlag(m) == FLAG_DOUBLE; }), 8);
}

// Captures are ordered by victim first, then by the cheaper attacker.
TEST_F(MoveGen, CaptureScoresFollowVictimAndMover) {
    // White pawn, knight and queen can all take the black rook on d5; the queen can take the pawn on h5.
    auto c = captures(*TestPosition("4k3/8/8/3r3p/4P3/2N5/8/3QK2Q w - - 0 1"));
    ASSERT_EQ(c.size(), 5u);  // the d1 queen takes on h5 too
    auto scoreOf = [&](const char* from, const char* to) {
        for (Move m : c)
            if (moveFrom(m) == sq(from) && moveTo(m) == sq(to)) return moveScore(m);
        ADD_FAILURE() << from << to;
        return 0;
    };
    EXPECT_GT(scoreOf("e4", "d5"), scoreOf("c3", "d5"));
    EXPECT_GT(scoreOf("c3", "d5"), scoreOf("d1", "d5"));
    EXPECT_GT(scoreOf("d1", "d5"), scoreOf("h1", "h5"));
    // A capture-promotion writes four moves, queen first.
    auto pc = captures(*TestPosition("1n2k3/P7/8/8/8/8/8/4K3 w - - 0 1"));
    ASSERT_EQ(pc.size(), 4u);
    EXPECT_EQ(moveFlag(pc[0]), FLAG_PROMO_Q);
    EXPECT_EQ(moveFlag(pc[3]), FLAG_PROMO_N);
}

TEST_F(MoveGen, PinnedPieces) {
    // The knight on e2 is pinned by the rook on e8: it has no moves at all.
    TestPosition knight("4r1k1/8/8/8/8/8/4N3/4K3 w - - 0 1");
    for (Move m : legalMoves(*knight, 0)) EXPECT_NE(moveFrom(m), sq("e2"));
    for (Move m : quiets(*knight)) EXPECT_NE(moveFrom(m), sq("e2"));
    // A rook pinned on the diagonal b4-e1 still writes its capture; the legality test rejects it.
    TestPosition pin("6k1/8/8/8/1b6/8/3R4/3nK3 w - - 0 1");
    auto c = captures(*pin);
    auto rxd1 =
        std::find_if(c.begin(), c.end(), [](Move m) { return moveFrom(m) == sq("d2") && moveTo(m) == sq("d1"); });
    ASSERT_NE(rxd1, c.end());
    EXPECT_FALSE(isLegal(*pin, 0, *rxd1));
    // The king itself takes the knight on d1 legally.
    auto legal = legalMoves(*pin, 0);
    EXPECT_NE(std::find(legal.begin(), legal.end(), makeMove(sq("e1"), sq("d1"))), legal.end());
    EXPECT_EQ(std::find(legal.begin(), legal.end(), makeMove(sq("d2"), sq("d1"))), legal.end());
}

TEST_F(MoveGen, DoubleCheckAllowsOnlyKingMoves) {
    TestPosition t("4k3/8/8/8/1b6/8/4r3/R3K2R w KQ - 0 1");
    // Bishop b4 and rook e2 both attack e1.
    ASSERT_TRUE(t->plyStates[0].inCheck);
    auto moves = legalMoves(*t, 0);
    ASSERT_FALSE(moves.empty());
    for (Move m : moves) EXPECT_EQ(moveFrom(m), sq("e1"));
}

TEST_F(MoveGen, EvasionsMeetTheCheck) {
    // Rook check from e8: block with the knight or step aside.
    TestPosition check("4r1k1/8/8/8/8/2N5/8/B3K3 w - - 0 1");
    std::set<std::string> texts;
    for (Move m : legalMoves(*check, 0)) texts.insert(moveToText(*check, m));
    EXPECT_TRUE(texts.count("c3e4") && texts.count("e1d2"));   // the knight blocks, the king steps aside
    EXPECT_FALSE(texts.count("e1e2") || texts.count("a1b2"));  // still on the file; does not meet the check
}

TEST_F(MoveGen, EnPassantMoveNamesTheTakenPawn) {
    TestPosition p(START_FEN);
    for (const char* text : {"e2e4", "d7d5", "e4e5", "f7f5"}) {
        Move m = findLegalMove(*p, 0, text);
        ASSERT_NE(m, NO_MOVE) << text;
        makeMove(*p, 0, m);
        p->plyStates[0].castling = p->plyStates[1].castling;
        p->plyStates[0].epSquare = p->plyStates[1].epSquare;
        p->plyStates[0].inCheck = p->plyStates[1].inCheck;
    }
    auto c = captures(*p);
    ASSERT_EQ(c.size(), 1u);
    EXPECT_TRUE(moveFrom(c[0]) == sq("e5") && moveTo(c[0]) == sq("f5") && moveFlag(c[0]) == FLAG_EP);
    EXPECT_EQ(moveToText(*p, c[0]), "e5f6");
}

TEST_F(MoveGen, EnPassantThatExposesTheKingIsIllegal) {
    // Taking on d6 would clear the fifth rank between the king on a5 and the rook on h5.
    for (Move m : legalMoves(*TestPosition("8/8/8/K2pP2r/8/8/8/7k w - d6 0 1"), 0)) EXPECT_NE(moveFlag(m), FLAG_EP);
    // Without the rook it is legal.
    auto freeMoves = legalMoves(*TestPosition("8/8/8/K2pP3/8/8/8/7k w - d6 0 1"), 0);
    EXPECT_EQ(std::count_if(freeMoves.begin(), freeMoves.end(), [](Move m) { return moveFlag(m) == FLAG_EP; }), 1);
}

// Castling in chess and Chess960: the squares the king crosses must be safe, those both pieces cross empty.
TEST_F(MoveGen, CastlingNeedsSafeAndEmptySquares) {
    auto q = quiets(*TestPosition("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1"));
    EXPECT_EQ(std::count_if(q.begin(), q.end(), [](Move m) { return isCastling(m); }), 2);
    for (auto [frc, fen, from, to, flag, legal, why] :
         {std::tuple{false, "r3kr2/8/8/8/8/8/8/R3K2R w KQq - 0 1", "e1", "g1", FLAG_SHORT, 0, "a rook on f8 covers f1"},
          {false, "r3kr2/8/8/8/8/8/8/R3K2R w KQq - 0 1", "e1", "c1", FLAG_LONG, 1, "long castling stays"},
          {false, "1r2k3/8/8/8/8/8/8/R3K3 w Q - 0 1", "e1", "c1", FLAG_LONG, 1, "an attacked b1 does not stop it"},
          {false, "2r1k3/8/8/8/8/8/8/R3K3 w Q - 0 1", "e1", "c1", FLAG_LONG, 0, "an attacked destination does"},
          {false, "4r1k1/8/8/8/8/8/8/R3K2R w KQ - 0 1", "e1", "g1", FLAG_SHORT, 0, "out of check"},
          {false, "4r1k1/8/8/8/8/8/8/R3K2R w KQ - 0 1", "e1", "c1", FLAG_LONG, 0, "out of check, long"},
          {true, "r3k2r/8/8/8/8/8/8/RK5R w AH - 0 1", "b1", "c1", FLAG_LONG, 1, "king b1, rook a1: c1 and d1 empty"},
          {true, "r3k2r/8/8/8/8/8/8/RK5R w AH - 0 1", "b1", "g1", FLAG_SHORT, 1, "king b1, rook h1"},
          {true, "r3k2r/8/8/8/8/8/8/RK1N3R w AH - 0 1", "b1", "c1", FLAG_LONG, 0, "d1 taken"},
          {true, "4k3/8/8/8/8/8/8/r1RK4 w C - 0 1", "d1", "c1", FLAG_LONG, 0,
           "the rook behind gives check once the castling rook leaves"},
          {true, "4k3/8/8/8/8/8/8/5KR1 w G - 0 1", "f1", "g1", FLAG_SHORT, 1,
           "king and rook on each other's targets"}}) {
        Chess960Scope scope(frc);
        auto moves = legalMoves(*TestPosition(fen), 0);
        EXPECT_EQ(std::count(moves.begin(), moves.end(), makeMove(sq(from), sq(to), flag)), legal)
            << fen << ": " << why;
    }
    // King f1 and rook g1: after castling short the king is on g1 and the rook on f1.
    Chess960Scope on(true);
    TestPosition fg("4k3/8/8/8/8/8/8/5KR1 w G - 0 1");
    Move castle = makeMove(sq("f1"), sq("g1"), FLAG_SHORT);
    makeMove(*fg, 0, castle);
    EXPECT_TRUE(fg->board[sq("g1")] == WKING && fg->board[sq("f1")] == WROOK && popcount(occupancy(*fg)) == 3);
    EXPECT_TRUE(positionIsConsistent(*fg, 1));
    unmakeMove(*fg, 0, castle);
    EXPECT_TRUE(fg->board[sq("f1")] == WKING && fg->board[sq("g1")] == WROOK);
}

using Perft = BoardTest;
// Tricky positions with counts from an independent generator, deeper than the kept file goes.
TEST_F(Perft, PromotionsPinsAndCastlingEdgeCases) {
    for (auto [fen, depth, nodes, frc] : {
             std::tuple{"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", 5, uint64_t(4865609), false},
             {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", 4, 4085603, false},
             {"8/8/1k6/2b5/2pP4/8/5K2/8 b - d3 0 1", 6, 1440467, false},
             {"8/5bk1/8/2Pp4/8/1K6/8/8 w - d6 0 1", 6, 824064, false},
             {"K1k5/8/P7/8/8/8/8/8 w - - 0 1", 6, 2217, false},
             {"8/P1k5/K7/8/8/8/8/8 w - - 0 1", 6, 92683, false},
             {"r3k2r/1b4bq/8/8/8/8/7B/R3K2R w KQkq - 0 1", 4, 1274206, false},
             // A pawn pinned on the long diagonal takes its pinner while promoting.
             {"r1b2b2/1p5n/2kqp1rp/p7/1PnP2pP/8/PB1Q1PpN/RN2R1KB b - - 1 24", 3, 66571, false},
             {"nqnbrk2/1pp1p3/5ppr/p1P4p/P2p1P2/1b4P1/3PP1KP/NQNB1RBR w e - 0 10", 5, 23987105, true},
         }) {
        Chess960Scope mode(frc);
        EXPECT_EQ(perft(0, depth, *TestPosition(fen)), nodes) << fen;
    }
}
}  // namespace
