// Shared helpers for the board tests.
#pragma once
#include <random>
#include "board/makemove.h"
#include "test_data.h"
#include "test_position.h"

// The square of a name such as "e4".
inline int sq(const char* name) { return (name[1] - '1') * 8 + (name[0] - 'a'); }

// Restores chess960 to standard chess when a test leaves.
struct Chess960Scope {
    bool saved = chess960;
    explicit Chess960Scope(bool on) { chess960 = on; }
    ~Chess960Scope() { chess960 = saved; }
};
