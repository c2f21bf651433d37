// The one test position used by every unit test: a heap position with its own
// move stack and evaluation tables, the board tables built first.
#pragma once
#include <gtest/gtest.h>
#include <memory>
#include <vector>
#include "board/attacks.h"
#include "board/movegen.h"
#include "board/zobrist.h"
#include "eval/evaluate.h"

inline void initBoardTables() {
    static const bool built = (initAttackTables(), initZobrist(), true);
    (void)built;
}

// Suites of board tests name their fixture after themselves: using MoveGen = BoardTest;
struct BoardTest : ::testing::Test {
    static void SetUpTestSuite() { initBoardTables(); }
};

struct TestPosition {
    std::unique_ptr<Position> pos = std::make_unique<Position>();
    std::vector<Move> stack = std::vector<Move>(MOVE_STACK);
    bool ok = false;
    TestPosition() {
        initBoardTables();
        pos->plyStates[0].moveStart = stack.data();
        initEvaluation(*pos);
    }
    ~TestPosition() { releaseEvaluation(*pos); }
    // A FEN that must be readable: a test fails when it is not.
    explicit TestPosition(const std::string& fen) : TestPosition() {
        std::string error;
        ok = set(fen, &error);
        EXPECT_TRUE(ok) << fen << ": " << error;
    }
    // A FEN that may be refused (generated positions): `ok` tells.
    struct MayFail {};
    TestPosition(const std::string& fen, MayFail) : TestPosition() { ok = set(fen); }
    bool set(const std::string& fen, std::string* error = nullptr) { return setFen(*pos, fen, error); }
    Position& operator*() { return *pos; }
    Position* operator->() { return pos.get(); }
};

// The legal moves at `ply`, without their ordering scores.
inline std::vector<Move> legalMoves(Position& p, int ply) {
    Move* start = p.plyStates[ply].moveStart;
    Move* end = generateLegal(ply, p);
    std::vector<Move> out;
    for (Move* m = start; m < end; ++m) out.push_back(moveBase(*m));
    return out;
}
inline bool isCheckmate(Position& p) { return p.plyStates[0].inCheck && legalMoves(p, 0).empty(); }
