#include <algorithm>
#include "board/movequery.h"
#include "search/movepick.h"
#include "search_support.h"

namespace {
// A worker (with its idle thread) looking at `fen` from ply 1, so that the counter-move stage runs.
struct PickerBench {
    worker w{7};
    explicit PickerBench(const std::string& fen) {
        TestPosition root(fen);
        copyRootPosition(w.position, *root);
        Position& p = w.position;
        p.plyStates[1] = p.plyStates[0];
        p.plyStates[1].moveStart = w.moveStack;
        for (SearchFrame& f : w.frameStack) f = SearchFrame{};
    }
    Move quiet(const char* t, int piece) { return withPiece(findLegalMove(w.position, 0, t), piece); }
    std::vector<std::string> order(Move ttMove, bool inCheck = false) {
        Position& p = w.position;
        p.plyStates[1].moveStart = w.moveStack;
        startPicker(w, 1, ttMove, inCheck);
        ContinuationBlocks blocks = continuationBlocks(w, 1);
        std::vector<std::string> seen;
        while (Move m = nextMove(w, 1, blocks))
            if (isLegal(p, 1, m)) seen.push_back(moveToText(p, m));
        return seen;
    }
};

TEST(Picker, TtMoveGoodCapturesKillersCounterLosingCapturesThenQuietsByHistory) {
    // Nxc7 is a good capture; Nxd6 and Qxd6 lose material.
    PickerBench b("4k3/2p5/3p4/1N6/8/8/8/3QK3 w - - 0 1");
    Position& p = b.w.position;
    Move tt = findLegalMove(p, 0, "e1f2");
    b.w.frames[1].killers[0] = b.quiet("d1d4", WQUEEN);
    b.w.frames[1].killers[1] = b.quiet("d1a4", WQUEEN);
    Move blackMove = withPiece(makeMove(61, 60), BKING);  // ...Kf8-e8 led here
    b.w.frames[1].movedBy = blackMove;
    b.w.history->counterMoveTable[BKING][60] = b.quiet("d1h5", WQUEEN);
    b.w.history->historyTable[WKNIGHT][16] = 5000;  // Nb5-a3 first among the quiets
    b.w.history->historyTable[WKING][11] = 4000;    // then Ke1-d2
    std::vector<std::string> seen = b.order(tt);
    ASSERT_GE(seen.size(), 9u);
    EXPECT_EQ(std::vector(seen.begin(), seen.begin() + 9),
              (std::vector<std::string>{"e1f2", "b5c7", "d1d4", "d1a4", "d1h5", "b5d6", "d1d6", "b5a3", "e1d2"}));
    // Every legal move exactly once.
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(std::adjacent_find(seen.begin(), seen.end()), seen.end());
    EXPECT_EQ(seen.size(), legalMoves(p, 0).size());
}

TEST(Picker, AKillerEqualToTheTtMoveComesOnceAndAStaleKillerChangesNothing) {
    PickerBench b("4k3/8/8/8/8/8/8/3QK3 w - - 0 1");
    const std::vector<std::string> plain = b.order(NO_MOVE);
    b.w.frames[1].killers[0] = withPiece(makeMove(3, 27), WROOK);  // d1d4, but the queen stands there, not a rook
    EXPECT_EQ(b.order(NO_MOVE), plain);
    Move tt = b.quiet("d1d4", WQUEEN);
    b.w.frames[1].killers[0] = tt;
    std::vector<std::string> seen = b.order(moveBase(tt));
    EXPECT_EQ(std::count(seen.begin(), seen.end(), "d1d4"), 1);
    EXPECT_EQ(seen[0], "d1d4");
    EXPECT_EQ(seen.size(), plain.size());
}

TEST(Picker, InCheckTheTtMoveLeadsTheEvasions) {
    PickerBench b("4k3/8/8/8/8/8/3q4/R3K3 w - - 0 1");
    Position& p = b.w.position;
    p.plyStates[1].inCheck = 1;
    EXPECT_EQ(b.order(findLegalMove(p, 0, "e1f1"), true), (std::vector<std::string>{"e1f1", "e1d2"}));
}

// Captures of Nc4: Nxb6 wins the exchange (the c7 pawn takes back), Nxd6 and Qxd6 lose material to the same pawn.
constexpr const char* THREE_CAPTURES = "4k3/2p5/1r1p4/8/2N5/8/8/3QK3 w - - 0 1";
// The legal moves the capture picker offers, in its order.
std::vector<std::string> drainCaptures(PickerBench& b) {
    std::vector<std::string> seen;
    while (Move m = nextCapture(b.w, 1))
        if (isLegal(b.w.position, 1, m)) seen.push_back(moveToText(b.w.position, m));
    return seen;
}
std::vector<std::string> captureOrder(PickerBench& b, Move ttMove, int threshold) {
    startCapturePicker(b.w, 1, ttMove, threshold, false);
    return drainCaptures(b);
}

TEST(CapturePicker, TheStoredCaptureLeadsOnceAndTheThresholdHoldsForAll) {
    PickerBench b(THREE_CAPTURES);
    Position& p = b.w.position;
    const Move losing = findLegalMove(p, 0, "c4d6");
    EXPECT_EQ(captureOrder(b, losing, ANY_EXCHANGE), (std::vector<std::string>{"c4d6", "c4b6", "d1d6"}));
    // A stored capture below the threshold is neither first nor offered later.
    EXPECT_EQ(captureOrder(b, losing, 0), (std::vector<std::string>{"c4b6"}));
    EXPECT_TRUE(captureOrder(b, NO_MOVE, 400).empty());
    // A stored quiet move is no capture: not offered at all.
    std::vector<std::string> seen = captureOrder(b, findLegalMove(p, 0, "e1e2"), ANY_EXCHANGE);
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[0], "c4b6");
}

TEST(CapturePicker, AnIgnoredCheckGetsCapturesAndAHeededOneGetsEvasions) {
    // The a1 rook checks; Rxh5 takes a knight but leaves the king in check.
    PickerBench b("4k3/8/8/7n/8/8/8/r3K2R w - - 0 1");
    Position& p = b.w.position;
    ASSERT_TRUE(p.plyStates[1].inCheck);
    std::vector<std::string> captures = captureOrder(b, NO_MOVE, ANY_EXCHANGE);
    EXPECT_NE(std::find(captures.begin(), captures.end(), "h1h5"), captures.end());
    EXPECT_TRUE(p.plyStates[1].inCheck) << "the check is ignored, not cleared";
    startPlainEvasionPicker(b.w, 1);
    std::vector<std::string> evasions = drainCaptures(b);
    std::sort(evasions.begin(), evasions.end());
    EXPECT_EQ(evasions, (std::vector<std::string>{"e1d2", "e1e2", "e1f2"}));
}

TEST(Picker, TheNextPlysListStartsAfterEveryMoveTheNodeHolds) {
    PickerBench b("r3k2r/ppp2ppp/2n2n2/3pp3/3PP3/2N2N2/PPP2PPP/R3K2R w KQkq - 0 1");
    worker& w = b.w;
    Position& p = w.position;
    startPicker(w, 1, findLegalMove(p, 0, "e1g1"), false);
    const PickerState saved = savePicker(w, 1);
    EXPECT_EQ(p.plyStates[2].moveStart, p.plyStates[1].moveStart) << "nothing generated yet";
    ContinuationBlocks blocks = continuationBlocks(w, 1);
    int offered = 0;
    while (nextMove(w, 1, blocks)) {
        ++offered;
        EXPECT_GE(p.plyStates[2].moveStart, w.frames[1].picker.end);
    }
    EXPECT_GT(offered, 30);
    // Put back for the stored move's search, the node hands its list back.
    restorePicker(w, 1, saved);
    EXPECT_EQ(p.plyStates[2].moveStart, p.plyStates[1].moveStart);
    EXPECT_TRUE(sameMove(nextMove(w, 1, blocks), findLegalMove(p, 0, "e1g1")));
}

TEST(See, ExchangeReachesTheThresholdOrNot) {
    for (auto [fen, move, threshold, expected] : {
             // Pawn takes an undefended knight: wins 372.
             std::tuple{"4k3/8/8/3n4/4P3/8/8/4K3 w - - 0 1", "e4d5", 372, true},
             {"4k3/8/8/3n4/4P3/8/8/4K3 w - - 0 1", "e4d5", 373, false},
             // Rook takes a pawn defended by a pawn: 88 - 566.
             {"4k3/8/2p5/3p4/8/8/8/3RK3 w - - 0 1", "d1d5", 0, false},
             {"4k3/8/2p5/3p4/8/8/8/3RK3 w - - 0 1", "d1d5", -478, true},
             {"4k3/8/2p5/3p4/8/8/8/3RK3 w - - 0 1", "d1d5", -477, false},
             // Knight takes a pawn defended by a bishop: loses 284.
             {"4k3/8/8/3p4/2b5/4N3/8/4K3 w - - 0 1", "e3d5", 0, false},
             // Queen takes a pawn guarded only by the king, backed by a rook behind: the king may not take.
             {"8/8/3k4/3p4/8/8/3Q4/3RK3 w - - 0 1", "d2d5", 88, true},
             // Without the rook behind, the king takes the queen.
             {"8/8/3k4/3p4/8/8/3Q4/4K3 w - - 0 1", "d2d5", 0, false},
             // Rooks doubled on a file win the defended pawn (x-ray through the first rook).
             {"3r2k1/8/8/3p4/8/8/3R4/3RK3 w - - 0 1", "d2d5", 0, true},
             {"3r2k1/3r4/8/3p4/8/8/3R4/3RK3 w - - 0 1", "d2d5", 0, false},
             // Equal trade: knight for knight passes at 0, fails at 1.
             {"4k3/8/4p3/3n4/8/4N3/8/4K3 w - - 0 1", "e3d5", 0, true},
             {"4k3/8/4p3/3n4/8/4N3/8/4K3 w - - 0 1", "e3d5", 1, false},
             // A quiet move onto an attacked square loses the piece.
             {"4k3/8/8/3p4/8/8/8/2B1K3 w - - 0 1", "c1e3", 0, true},
             {"4k3/8/8/8/3p4/8/8/2B1K3 w - - 0 1", "c1e3", 0, false},
             // En passant and castling pass at thresholds up to 0 only.
             {"4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1", "e5d6", 0, true},
             {"4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1", "e5d6", 1, false},
             {"4k3/8/8/8/8/8/8/4K2R w K - 0 1", "e1g1", 0, true},
             {"4k3/8/8/8/8/8/8/4K2R w K - 0 1", "e1g1", 1, false},
         }) {
        TestPosition p(fen);
        Move m = findLegalMove(*p, 0, move);
        ASSERT_NE(m, NO_MOVE) << move;
        EXPECT_EQ(seeTest(*p, m, threshold), expected) << fen << " " << move << " threshold " << threshold;
    }
}

TEST(GivesCheck, DirectDiscoveredAndSpecialMoves) {
    for (auto [fen, move, check] : {
             std::tuple{"4k3/8/8/8/8/8/8/R3K3 w Q - 0 1", "a1a8", true},
             {"4k3/8/8/8/8/8/8/R3K3 w Q - 0 1", "a1a7", false},
             {"4k3/8/8/8/8/8/8/R3K3 w Q - 0 1", "e1c1", false},
             {"3k4/8/8/8/8/8/8/R3K3 w Q - 0 1", "e1c1", true},     // the rook lands on d1
             {"4k3/8/8/8/4N3/8/8/4R1K1 w - - 0 1", "e4f6", true},  // knight check and discovered rook check
             {"4k3/8/8/8/4N3/8/8/4R1K1 w - - 0 1", "e4c3", true},  // discovered only
             {"4k3/8/8/8/4N3/8/8/5RK1 w - - 0 1", "e4c3", false},
             {"8/8/8/k1pP3R/8/8/8/4K3 w - c6 0 1", "d5c6", true},  // en passant opens the rank
             {"2k5/4P3/8/8/8/8/8/4K3 w - - 0 1", "e7e8q", true},
             {"2k5/4P3/8/8/8/8/8/4K3 w - - 0 1", "e7e8n", false},
         }) {
        TestPosition p(fen);
        Move m = findLegalMove(*p, 0, move);
        ASSERT_NE(m, NO_MOVE) << fen << " " << move;
        EXPECT_EQ(givesCheck(*p, m), check) << fen << " " << move;
    }
}

TEST(PseudoLegal, StoredMovesAreCheckedAgainstThePosition) {
    TestPosition p("r3k2r/8/8/3pP3/8/8/1P6/R3K2R w KQkq d6 0 1");
    (*p).plyStates[0].notPinned = ~0ull;
    EXPECT_TRUE(isPseudoLegal(*p, 0, findLegalMove(*p, 0, "e1g1")));
    EXPECT_TRUE(isPseudoLegal(*p, 0, findLegalMove(*p, 0, "e5d6")));
    EXPECT_TRUE(isPseudoLegal(*p, 0, findLegalMove(*p, 0, "b2b4")));
    EXPECT_TRUE(isPseudoLegal(*p, 0, makeMove(0, 3)));              // a1d1
    EXPECT_TRUE(isPseudoLegal(*p, 0, makeMove(0, 56)));             // a1xa8
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(0, 57)));            // a rook does not go a1-b8
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(9, 25)));            // b2b4 without the double-step flag
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(60, 52)));           // a black piece
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(20, 28)));           // empty from-square
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(36, 44, FLAG_EP)));  // no pawn to take there
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(9, 17, FLAG_PROMO_Q)));
    TestPosition blocked("r3k2r/8/8/8/8/8/8/R3KB1R w KQkq - 0 1");
    EXPECT_FALSE(isPseudoLegal(*blocked, 0, makeMove(4, 6, FLAG_SHORT)));
    EXPECT_TRUE(isPseudoLegal(*blocked, 0, makeMove(4, 2, FLAG_LONG)));
}
}  // namespace
