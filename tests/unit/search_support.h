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
#include "search/reductions.h"
#include "search/tt.h"
#include "test_position.h"
#include "uci/movetext.h"

inline void initSearchTables() {
    static const bool built = [] {
        initBoardTables();
        initReductions();
        resize(1);
        return true;
    }();
    (void)built;
}

// The legal move with this text at ply 0, or NO_MOVE.
inline Move moveFromText(Position& p, const std::string& text) { return findLegalMove(p, 0, text); }
