// The per-thread evaluation caches reached through a Position.
#pragma once

#include "board/types.h"
#include "eval/net_shape.h"

struct Position;

struct EvalCacheEntry {
    uint64_t key;
    int16_t score;  // White's point of view
};

struct PawnEntry {
    uint64_t key;     // pawn key (pawns and kings)
    Bitboard passed;  // passed pawns of both colours
    combEval score;   // pawn structure and king shelter, White minus Black
};

// The last accumulator half computed from scratch for each perspective and own
// king square, with the pieces it holds: a refresh after a king move then only
// adds and removes what differs from the board the king last stood on.
struct KingRefreshEntry {
    alignas(64) int16_t values[NNUE_HIDDEN];
    Bitboard pieces[14];     // by piece code
    unsigned netGeneration;  // 0: empty; otherwise the network the sums belong to
};
struct RefreshCache {
    KingRefreshEntry entries[2][NNUE_KING_SQUARES];  // [perspective][own king square]
};

// The thread's refresh cache, reached through its Position; null for a
// Position without evaluation tables.
RefreshCache* refreshCacheOf(const Position& p);

constexpr int EVAL_CACHE_SIZE = 16384;
constexpr int PAWN_HASH_SIZE = 65536;
static_assert(sizeof(EvalCacheEntry) == 16 && sizeof(PawnEntry) == 24);
