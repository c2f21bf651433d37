// Shared set-up for the search tests: tables built once, positions with their
// own move stacks, and moves found by their text.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "board/attacks.h"
#include "board/movegen.h"
#include "board/position.h"
#include "board/zobrist.h"
#include "search/tt.h"
#include "uci/movetext.h"

inline void initSearchTables() {
    static bool done = false;
    if (done) return;
    initAttackTables();
    initZobrist();
    resize(1);
    done = true;
}

struct TestPosition {
    std::unique_ptr<Move[]> stack{new Move[MOVE_STACK]};
    std::unique_ptr<Position> pos{new Position()};
    explicit TestPosition(const std::string& fen) {
        initSearchTables();
        pos->plyStates[0].moveStart = stack.get();
        std::string error;
        EXPECT_TRUE(setFen(*pos, fen, &error)) << fen << ": " << error;
    }
    Position& operator*() { return *pos; }
    Position* operator->() { return pos.get(); }
};

// The legal move with this text at ply 0, or NO_MOVE.
inline Move moveFromText(Position& p, const std::string& text) { return findLegalMove(p, 0, text); }
