// The static evaluation: its fixed steps (path choice, bishop pair, complexity, taper, tempo and the cache) and the
// handcrafted terms: colour symmetry, pawn structure, and the endgame knowledge that converts (or does not overrate) a
// material edge.
#include <algorithm>
#include <set>
#include "eval/hce.h"
#include "eval/hce_params.h"
#include "eval/nnue.h"
#include "eval/pawns.h"
#include "eval_helpers.h"

namespace {
// White's point of view, handcrafted path regardless of the balance.
int handcrafted(const std::string& fen) { return handcraftedScore(*TestPosition(fen)); }

TEST(EvalSymmetry, MirroredTwinScoresTheSameOnBothPaths) {
    useRandomNet(90);
    const char* fens[] = {
        "r1bqk2r/pppp1ppp/2n2n2/2b1p3/2B1P3/3P1N2/PPP2PPP/RNBQK2R w KQkq - 1 5",
        "r3k2r/pPppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/1PPBBPPP/R3K2R b KQkq - 0 1",
        "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
        "rnb1kbnr/pppp1ppp/8/4p3/6Pq/5P2/PPPPP2P/RNBQKBNR w KQkq - 1 3",  // queen up: handcrafted
        "4k3/8/8/8/8/8/PPP5/3QK3 b - - 0 1",
        "6k1/5ppp/8/8/8/8/1R3PPP/6K1 w - - 0 1",
        "8/8/3k4/8/2P5/1P6/P7/4K3 w - - 0 1",
        "2r3k1/pp3ppp/8/3N4/8/1B6/PP3PPP/6K1 b - - 0 1",
        "r1b1k2r/ppppnppp/2n5/4P3/1bB5/2N2N2/PPP2PPP/R1BQK2R w KQkq - 0 1",
    };
    int network = 0, hand = 0;
    for (const char* fen : fens) {
        TestPosition a(fen), b(mirrorFen(fen));
        (usesNetwork(materialBalance(*a)) ? network : hand)++;
        EXPECT_EQ(evaluate(0, *a), evaluate(0, *b)) << fen;
        EXPECT_EQ(handcraftedScore(*a), -handcraftedScore(*b)) << fen;
    }
    EXPECT_GE(network, 3);
    EXPECT_GE(hand, 3);
}

TEST(EvalPawns, StructureOfAKnownPosition) {
    // White: a2 isolated and passed; c4, c5 doubled (c5 not passed: d6 guards
    // its path); e4/f4 phalanx; h5 passed. Black: nothing passed.
    TestPosition p("4k3/8/3p4/2P1p2P/2P1PP2/8/P7/4K3 w - - 0 1");
    PawnEntry entry{};
    evaluatePawns(*p, entry);
    Bitboard expectedPassed = bit(39) /* h5 */ | bit(8) /* a2 */;
    EXPECT_EQ(expectedPassed, entry.passed & p->pieces[WPAWN]);
    EXPECT_EQ(0u, entry.passed & p->pieces[BPAWN]);
    // Taking the doubled rear pawn away removes a penalty: the score changes by more than that pawn's absence alone.
    PawnEntry other{};
    evaluatePawns(*TestPosition("4k3/8/3p4/2P1p2P/4PP2/8/P7/4K3 w - - 0 1"), other);
    EXPECT_NE(entry.score, other.score);
}

TEST(EvalPawns, TableEntryIsReused) {
    TestPosition p("4k3/8/3p4/2P1p2P/2P1PP2/8/P7/4K3 w - - 0 1");
    const PawnEntry& first = probePawns(*p);
    EXPECT_EQ(p->pawnKey, first.key);
    PawnEntry& stored = p->pawnHash[p->pawnKey & (PAWN_HASH_SIZE - 1)];
    EXPECT_EQ(&stored, &first);
    stored.score = X(1234, 1234);
    EXPECT_EQ(X(1234, 1234), probePawns(*p).score);  // a hit is not recomputed
}

// The first position of each pair is better for White than the second by more than the margin.
TEST(EvalEndgames, KnowledgePointsTheRightWay) {
    for (auto [what, better, worse, margin] :
         {std::tuple{"bare king driven to the edge", "k7/8/8/8/8/8/7Q/4K3 w - - 0 1", "8/8/8/3k4/8/8/7Q/4K3 w - - 0 1",
                     40},
          {"strong king approaching", "k7/8/2K5/8/8/8/7Q/8 w - - 0 1", "k7/8/8/8/8/8/7Q/7K w - - 0 1", 0},
          {"bishop and knight: the bishop's corner", "7k/8/8/8/8/8/8/2B1KN2 w - - 0 1",
           "k7/8/8/8/8/8/8/2B1KN2 w - - 0 1", 50},
          {"passer the king cannot catch", "7k/8/8/8/P7/8/8/4K3 w - - 0 1", "1k6/8/8/8/P7/8/8/4K3 w - - 0 1", 150},
          {"opposite bishops halve a pawn edge, same-coloured do not", "4k3/2b5/8/8/8/8/PPP5/2B1K3 w - - 0 1",
           "4k3/3b4/8/8/8/8/PPP5/2B1K3 w - - 0 1", 0},
          {"knight in the centre, not on the rim", "4k3/pp6/8/8/3N4/8/PP6/4K3 w - - 0 1",
           "4k3/pp6/8/8/8/8/PP6/N3K3 w - - 0 1", 0},
          {"attackers near the king", "6k1/5ppp/8/6N1/8/8/5PPP/3Q2K1 w - - 0 1",
           "6k1/5ppp/8/8/8/8/5PPP/1N1Q2K1 w - - 0 1", 0}})
        EXPECT_GT(handcrafted(better), handcrafted(worse) + margin) << what;
    EXPECT_GT(evaluate(0, *TestPosition("8/8/8/3k4/8/8/8/R3K3 w - - 0 1")), 400);
}

TEST(EvalEndgames, DrawishMaterialIsNotOverrated) {
    EXPECT_LT(std::abs(handcrafted("8/8/3k4/8/8/8/8/1N2KN2 w - - 0 1")), 60);  // two knights
    EXPECT_LT(std::abs(handcrafted("8/8/3k4/8/8/8/8/4KB2 w - - 0 1")), 40);    // one bishop
    EXPECT_LT(std::abs(handcrafted("8/8/3k4/8/8/8/8/4KN2 b - - 0 1")), 40);    // one knight
    int rookVsBishop = handcrafted("8/8/3kb3/8/8/8/8/R3K3 w - - 0 1");
    EXPECT_TRUE(rookVsBishop > 0 && rookVsBishop < 150) << rookVsBishop;
    EXPECT_EQ(handcrafted("8/8/3k4/8/8/8/8/1N2KN2 w - - 0 1"),
              -handcrafted(mirrorFen("8/8/3k4/8/8/8/8/1N2KN2 w - - 0 1")));
}

TEST(EvalParams, EveryTableIsRegisteredOnce) {
    std::set<std::string> names;
    std::set<const combEval*> addresses;
    int entries = 0;
    for (int i = 0; i < evalTableCount; ++i) {
        EXPECT_TRUE(names.insert(evalTables[i].name).second) << evalTables[i].name;
        EXPECT_TRUE(addresses.insert(evalTables[i].values).second) << evalTables[i].name;
        EXPECT_GT(evalTables[i].count, 0);
        entries += evalTables[i].count;
    }
    EXPECT_TRUE(names.count("kingDanger") && names.count("queenMobility") && names.count("pieceSquareScore"));
    EXPECT_GT(entries, 6 + 384 + 9 + 14 + 15 + 28 + 64);
}

// Each pair differs in one feature; the first position has it for White. The terms named for a pair must widen the gap
// between the two: the piece-square tables move with tuning, so the pair is compared with and without those terms.
struct TermPair {
    const char *feature, *with, *without;
    combEval* term;  // the first `count` values of this table, and of a second where one is named
    int count;
    combEval* term2 = nullptr;
    int count2 = 0, margin = 0;
};
// White's lead in the first position over the second, or Black's in their mirror images.
int gap(const TermPair& t, bool mirrored) {
    if (mirrored) return handcrafted(mirrorFen(t.with)) - handcrafted(mirrorFen(t.without));
    return handcrafted(t.with) - handcrafted(t.without);
}

int gapWithoutTerms(const TermPair& t, bool mirrored) {
    std::vector<combEval> saved(t.term, t.term + t.count), saved2(t.term2, t.term2 + t.count2);
    std::fill(t.term, t.term + t.count, 0);
    std::fill(t.term2, t.term2 + t.count2, 0);
    int result = gap(t, mirrored);
    std::copy(saved.begin(), saved.end(), t.term);
    std::copy(saved2.begin(), saved2.end(), t.term2);
    return result;
}

TEST(EvalTerms, EachTermPointsTheRightWay) {
    const TermPair pairs[] = {
        {"pawn attacks a knight", "r3k3/pp3ppp/2n5/3P4/8/8/PP3PPP/R3K3 b - - 0 1",
         "r3k3/pp3ppp/1n6/3P4/8/8/PP3PPP/R3K3 b - - 0 1", threatByPawn, 6},
        {"rook on an open file", "4k3/pp3ppp/8/8/8/8/PP3PPP/3RK3 w - - 0 1", "4k3/pp3ppp/8/8/8/8/PP3PPP/R3K3 w - - 0 1",
         &rookOpenFile, 1},
        {"knight outpost", "r3k3/pp3p1p/6p1/3N4/4P3/8/PP3PPP/4K3 w - - 0 1",
         "r3k3/pp3p1p/6p1/8/4P3/8/PP2NPPP/4K3 w - - 0 1", &knightOutpost, 1},
        {"protected passed pawn", "4k3/8/8/3PP3/8/8/8/4K2r w - - 0 1", "4k3/8/8/3P4/4P3/8/8/4K2r w - - 0 1", passedPawn,
         8, connectedPawn, 8},
        {"no isolated pawn", "r3k3/ppp2ppp/8/8/8/8/PPP2PPP/R3K3 w - - 0 1",
         "r3k3/ppp2ppp/8/8/8/8/PP1P1PPP/R3K3 w - - 0 1", &isolatedPawn, 1},
        {"king shelter intact", "3qr1k1/5ppp/8/8/8/8/5PPP/3QR1K1 w - - 0 1",
         "3qr1k1/5ppp/8/8/6P1/8/5P1P/3QR1K1 w - - 0 1", shelterPawn, 8},
        {"rook on the seventh", "6k1/1R3ppp/8/8/8/8/r4PPP/6K1 b - - 0 1", "6k1/5ppp/8/8/8/8/r4PPP/1R4K1 b - - 0 1",
         &rookOnSeventh, 1},
        // A knight up, then a pair of rooks off: part of the gain is the taper alone, the trade-down term adds to it.
        {"trading pieces when ahead", "4k3/pppp1ppp/8/8/8/5N2/PPPP1PPP/4K3 w - - 0 1",
         "r3k3/pppp1ppp/8/8/8/5N2/PPPP1PPP/R3K3 w - - 0 1", tradeDown, 25, nullptr, 0, 10},
    };
    for (const TermPair& t : pairs) {
        EXPECT_GT(gap(t, false), gapWithoutTerms(t, false) + t.margin) << t.feature;
        EXPECT_LT(gap(t, true), gapWithoutTerms(t, true) - t.margin) << t.feature << " (mirrored)";
        EXPECT_EQ(gap(t, false), -gap(t, true)) << t.feature;
    }
}

const char* MIDDLEGAME = "r1bqk2r/pppp1ppp/2n2n2/2b1p3/2B1P3/3P1N2/PPP2PPP/RNBQK2R w KQkq - 1 5";
// Moves the endgame half of White's placement so that the balance's endgame half becomes `eg`.
void setBalanceEg(Position& p, int eg) {
    int now = egOf(materialBalance(p));
    p.psq[WHITE] += X(0, eg - now);
    ASSERT_EQ(eg, egOf(materialBalance(p)));
}

TEST(EvalPath, EvaluateTakesThePathOfTheBalance) {
    useRandomNet(80);
    for (int side = 0; side < 2; ++side) {
        TestPosition p(side == 0 ? MIDDLEGAME : mirrorFen(MIDDLEGAME));
        for (int eg : {400, -400, 399, -399, 0}) {
            setBalanceEg(*p, eg);
            evaluationChanged();
            p->acc[0].computed = 0;
            int got = evaluate(0, *p);
            int network = networkScore(*p, 0);
            int handcrafted = handcraftedScore(*p) * (p->sideToMove == WHITE ? 1 : -1);
            ASSERT_NE(network, handcrafted);
            EXPECT_EQ(got, (eg == 400 || eg == -400) ? handcrafted : network) << "eg " << eg;
        }
    }
    EXPECT_TRUE(usesNetwork(X(900, 0))) << "the middlegame half does not count";
}

TEST(EvalSteps, BishopPairIsExactlyTwo) {
    auto pair = [](const char* fen) { return bishopPair(*TestPosition(fen)); };
    EXPECT_EQ(BISHOP_PAIR, pair("4k3/8/8/8/8/8/8/2B1KB2 w - - 0 1"));
    EXPECT_EQ(BISHOP_PAIR, pair("4k3/8/8/8/8/8/8/B1B1K3 w - - 0 1"));  // same square colour
    EXPECT_EQ(-BISHOP_PAIR, pair("2b1kb2/8/8/8/8/8/8/4K3 w - - 0 1"));
    for (const char* none :
         {"4k3/8/8/8/8/8/8/B1B1KB2 w - - 0 1", "4k3/8/8/8/8/8/8/4KB2 w - - 0 1", "2b1kb2/8/8/8/8/8/8/2B1KB2 w - - 0 1"})
        EXPECT_EQ(0, pair(none)) << none;  // three, one, a pair each
}

TEST(EvalSteps, ComplexityNeverCrossesZero) {
    for (int eg = -700; eg <= 700; eg += 7)
        for (int pawns = 0; pawns <= 16; ++pawns)
            for (int flags = 0; flags < 4; ++flags) {
                combEval correction = complexityCorrection(eg, pawns, flags & 1, flags & 2);
                int after = eg + egOf(correction);
                EXPECT_TRUE(eg > 0   ? after >= 0
                            : eg < 0 ? after <= 0
                                     : after == 0)
                    << eg << " " << pawns << " " << flags;
                EXPECT_EQ(0, mgOf(correction));
            }
}

TEST(EvalSteps, TaperRoundsTowardZero) {
    // -2.5, 2.5, -47/24 and (200*8 + 100*16)/24 = 133.3 after the two ends.
    struct Case {
        combEval value;
        int phase, expected;
    } cases[] = {{X(-7, 300), 24, -7}, {X(-7, 300), 0, 300}, {X(-5, 0), 12, -2},
                 {X(5, 0), 12, 2},     {X(0, -47), 23, -1},  {X(100, 200), 16, 133}};
    for (const Case& c : cases)
        EXPECT_EQ(c.expected, taper(c.value, c.phase)) << mgOf(c.value) << "/" << egOf(c.value) << " at " << c.phase;
}

// The handcrafted score favours the mover when only the mover changes
// (a quiet position without passed pawns, where nothing else depends on it).
TEST(EvalSteps, TempoFavoursTheMover) {
    EXPECT_GT(handcrafted("r3k3/ppp2ppp/8/8/8/8/PPP2PPP/R2QK3 w - - 0 1"),
              handcrafted("r3k3/ppp2ppp/8/8/8/8/PPP2PPP/R2QK3 b - - 0 1"));
}

TEST(EvalCache, SecondCallIsAHitWithTheMoversSign) {
    for (const char* fen : {MIDDLEGAME, "r1bqk2r/pppp1ppp/2n2n2/2b1p3/2B1P3/3P1N2/PPP2PPP/RNBQK2R b KQkq - 1 5",
                            "4k3/8/8/8/8/8/PPP5/3QK3 b - - 0 1"}) {
        useRandomNet(82);
        TestPosition p(fen);
        int first = evaluate(0, *p);
        const EvalCacheEntry& entry = p->evalCache[p->key & (EVAL_CACHE_SIZE - 1)];
        EXPECT_EQ(p->key, entry.key);
        EXPECT_EQ(p->sideToMove == WHITE ? first : -first, entry.score);  // stored from White's side
        // Either change alters a fresh evaluation, on the path of the position.
        p->psq[WHITE] += X(123, 123);
        fillRandomNet(nnue, 84);
        p->acc[0].computed = 0;
        EXPECT_EQ(first, evaluate(0, *p)) << fen;
        evaluationChanged();
        p->acc[0].computed = 0;
        EXPECT_NE(first, evaluate(0, *p)) << fen;
    }
}

TEST(EvalCache, DisplayIsAlwaysFresh) {
    useRandomNet(83);
    TestPosition p("4k3/8/8/8/8/8/PPP5/3QK3 b - - 0 1");
    int first = evaluateForDisplay(*p);
    EXPECT_EQ(first, evaluate(0, *p));
    p->psq[WHITE] += X(123, 123);
    EXPECT_NE(first, evaluateForDisplay(*p));
}
}  // namespace
