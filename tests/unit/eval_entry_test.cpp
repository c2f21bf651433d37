// The fixed steps of the static evaluation: path choice, bishop pair, complexity, taper, tempo and the cache.
#include "eval/hce.h"
#include "eval/nnue.h"
#include "eval_helpers.h"

namespace {
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
    TestPosition white("r3k3/ppp2ppp/8/8/8/8/PPP2PPP/R2QK3 w - - 0 1"),
        black("r3k3/ppp2ppp/8/8/8/8/PPP2PPP/R2QK3 b - - 0 1");
    EXPECT_GT(handcraftedScore(*white), handcraftedScore(*black));
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
