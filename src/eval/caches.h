// The per-thread evaluation caches reached through a Position.
#pragma once

#include "board/types.h"

struct EvalCacheEntry {
    uint64_t key;
    int16_t score;  // White's point of view
};

struct PawnEntry {
    uint64_t key;       // pawn key (pawns and kings)
    Bitboard passed;    // passed pawns of both colours
    combEval score;     // pawn structure and king shelter, White minus Black
};

constexpr int EVAL_CACHE_SIZE = 16384;
constexpr int PAWN_HASH_SIZE = 65536;
static_assert(sizeof(EvalCacheEntry) == 16 && sizeof(PawnEntry) == 24);
