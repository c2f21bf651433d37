#include <algorithm>
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
}  // namespace
