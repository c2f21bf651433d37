// The hand-made material network reproduces its material and placement sum.
#include <gtest/gtest.h>

#include "board/makemove.h"
#include "board/movegen.h"
#include "eval/evaluate.h"
#include "eval/nnue.h"
#include "eval/tables.h"
#include "eval_helpers.h"

namespace {

// Blended material and placement lead of the side to move, as the net encodes it.
int blendedLead(const Position& p) {
    int lead = 0;
    for (int sq = 0; sq < 64; ++sq) {
        int code = p.board[sq];
        if (!code) continue;
        combEval v = psqOf(code, sq) + (typeOf(code) == KING ? 0 : materialOf(code));
        int value = (3 * mgOf(v) + 2 * egOf(v)) / 5;
        lead += colourOf(code) == p.sideToMove ? value : -value;
    }
    return lead;
}

TEST(MaterialNet, OutputIsEighteenTimesTheLead) {
    fillMaterialNet(nnue);
    evaluationChanged();
    TestRng rng{3};
    int checked = 0, nonZero = 0;
    for (const char* fen : {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
                            "r3k2r/pPppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/1PPBBPPP/R3K2R w KQkq - 0 1"}) {
        TestPosition p(fen);
        for (int ply = 0; ply < 60; ++ply) {
            int lead = blendedLead(*p);
            if (lead > -2000 && lead < 2000) {
                EXPECT_EQ(18 * lead, nnueEvaluate(*p, ply)) << getFen(*p);
                ++checked;
                nonZero += lead != 0;
            }
            Move* end = generateLegal(ply, *p);
            int n = int(end - p->plyStates[ply].moveStart);
            if (!n) break;
            makeMove(*p, ply, p->plyStates[ply].moveStart[rng.below(n)]);
        }
    }
    EXPECT_GT(checked, 60);
    EXPECT_GT(nonZero, 30);
}

TEST(MaterialNet, ScoresArePlausibleCentipawns) {
    fillMaterialNet(nnue);
    evaluationChanged();
    EXPECT_EQ(0, [] { TestPosition p("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"); return evaluate(0, *p); }());
    // A knight up with the full board: near the knight's value, from either side.
    TestPosition up("r1bqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    int score = evaluate(0, *up);
    EXPECT_GT(score, 250);
    EXPECT_LT(score, 450);
    TestPosition down("r1bqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1");
    EXPECT_EQ(-score, evaluate(0, *down));
}

} // namespace
