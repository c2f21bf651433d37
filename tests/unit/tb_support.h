// Shared set-up for the tablebase tests: board tables, keys and positions.
#pragma once

#include <memory>
#include <string>

#include "board/attacks.h"
#include "board/position.h"
#include "board/zobrist.h"
#include "tablebase/registry.h"

inline const std::string SYZYGY_DIR = std::string(SHARED_DIR) + "/syzygy";

inline void initBoardTables() {
    static bool done = false;
    if (done) return;
    initAttackTables();
    initZobrist();
    done = true;
}

// A heap position with its own move stack, read from a FEN.
struct TestPosition {
    std::unique_ptr<Position> pos = std::make_unique<Position>();
    std::unique_ptr<Move[]> stack = std::make_unique<Move[]>(MOVE_STACK);

    explicit TestPosition(const std::string& fen) {
        initBoardTables();
        pos->plyStates[0].moveStart = stack.get();
        std::string error;
        ok = setFen(*pos, fen, &error);
    }
    Position& operator*() { return *pos; }
    bool ok = false;
};
