// Shared helpers for the board tests: one-time table set-up and positions
// with their own move stacks.
#pragma once

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "board/zobrist.h"

inline void initBoardTables() {
    initAttackTables();
    initZobrist();
}

// A heap position with its own move stack (positions are too large for small stacks).
struct TestPosition {
    std::unique_ptr<Position> pos = std::make_unique<Position>();
    std::vector<Move> stack = std::vector<Move>(MOVE_STACK);
    TestPosition() { pos->plyStates[0].moveStart = stack.data(); }
    explicit TestPosition(const std::string& fen) : TestPosition() { set(fen); }
    bool set(const std::string& fen, std::string* error = nullptr) { return setFen(*pos, fen, error); }
    Position& operator*() { return *pos; }
    Position* operator->() { return pos.get(); }
};

inline std::vector<Move> legalMoves(Position& p, int ply) {
    Move* start = p.plyStates[ply].moveStart;
    Move* end = generateLegal(ply, p);
    std::vector<Move> out;
    for (Move* m = start; m < end; ++m) out.push_back(moveBase(*m));
    return out;
}

// Restores chess960 to standard chess when a test leaves.
struct Chess960Scope {
    bool saved = chess960;
    explicit Chess960Scope(bool on) { chess960 = on; }
    ~Chess960Scope() { chess960 = saved; }
};

inline std::string sharedPath(const std::string& relative) { return std::string(SHARED_DIR) + "/" + relative; }
