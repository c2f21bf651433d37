// The shared transposition table: buckets of four entries, probed and stored
// by every search thread without locks.
#pragma once

#include <atomic>
#include <cstdint>
#include <iosfwd>

#include "board/score.h"
#include "board/types.h"

enum Bound : int { UPPER = 1, LOWER = 2, EXACT = 3 };

// One 64-bit word: move (0-31), score (32-47), depth (48-55), bound (56-57), age (58-63).
using HashEntry = uint64_t;

inline Move entryMove(HashEntry e) { return Move(e & 0xffffffffu); }
inline int entryScore(HashEntry e) { return int16_t(e >> 32); }
inline int entryDepth(HashEntry e) { return int8_t(e >> 48); }
inline int entryBound(HashEntry e) { return int(e >> 56) & 3; }
inline int entryAge(HashEntry e) { return int(e >> 58); }

struct HashBucket {
    uint64_t entries[4];
    uint64_t keys[4];
};
static_assert(sizeof(HashBucket) == 64);

struct TranspositionTable {
    HashBucket* buckets = nullptr;
    uint64_t mask = 0;
    uint8_t age = 0;
    uint32_t searchCounter = 0;
};

extern TranspositionTable tt;

// The search passes its thread's table (the shared `tt` unless the thread
// searches on its own); the forms without a table use `tt`.
HashEntry probe(const TranspositionTable& table, uint64_t key);
void store(TranspositionTable& table, uint64_t key, Move move, int score, int depth, int bound, int ply);
inline HashEntry probe(uint64_t key) { return probe(tt, key); }
inline void store(uint64_t key, Move move, int score, int depth, int bound, int ply) {
    store(tt, key, move, score, depth, bound, ply);
}
// Starts loading the bucket of `key` into the cache ahead of its probe.
inline void prefetchBucket(const TranspositionTable& table, uint64_t key) {
    __builtin_prefetch(table.buckets + (key & table.mask));
}
// Returns the size obtained in MiB: less than asked for when memory is short.
int resize(int megabytes);
void clear();
void newSearch();
void newSearch(TranspositionTable& table);  // a table of a search run on its own
void printStatistics(std::ostream& out);
void freeTable();

// Bucket ranges cleared by worker i of n; exposed so the split can be checked.
void clearRange(uint64_t bucketCount, int worker, int workers, uint64_t& first, uint64_t& length);

// Scores read from the table are relative to the node; these convert both ways.
inline int scoreToTable(int score, int ply) {
    return score >= MATE_BOUND ? score + ply : score <= -MATE_BOUND ? score - ply : score;
}
inline int scoreFromTable(int score, int ply) {
    return score >= MATE_BOUND ? score - ply : score <= -MATE_BOUND ? score + ply : score;
}
