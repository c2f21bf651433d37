// Shared set-up for the search tests: tables built once, positions with their
// own move stacks, and moves found by their text.
#pragma once
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
