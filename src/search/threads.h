// The life of the search threads: one boss and Threads - 1 workers that
// sleep between searches and are woken by "go".
#pragma once

#include <cstdint>
#include <vector>

#include "search/pool.h"
#include "search/worker.h"

// Rebuilds the pool with n threads (none when n < 1). Returns the number
// started, fewer than n when the system refuses more threads.
int setThreadCount(int n);
// Sets the stop flag and waits until no thread searches.
void stopAndWait();
// Zeroes every thread's history tables.
void clearSearchTables();
// What a new game and "Clear Hash" forget: the shared table and the history tables.
void clearSearchMemory();

void waitIdle(worker& w);
void wakeThread(worker& w);

// Copies the root position into every thread and wakes the boss.
void startSearch(const Position& root);

// A fixed-depth search on the calling thread with the boss's tables, for the
// benchmark; the pool must hold at least one idle thread. Returns the nodes.
uint64_t searchFixedDepth(const Position& root, int depth);
// The same on the whole pool, as "go depth" runs it; returns the nodes of all threads.
uint64_t searchFixedDepthWithPool(const Position& root, int depth);

// The result of a search run on its own.
struct SoloSearchResult {
    Move move;  // NO_MOVE when the root has no legal move
    int score;  // side to move's view
    int depth;  // last completed iteration
    uint64_t nodes;
};

// Searches `root` on the calling thread until w has searched `nodes` nodes,
// with w's own stop flag and table (set w.stop and w.table first) and nothing
// printed. w takes no part in the pool's searches meanwhile. The global time
// control is not read: with one thread per search and a node budget the
// result depends only on the root and w's tables.
//
// NodeLimit::SOFT finishes the iteration that crosses `nodes` instead of
// cutting it: every result then comes from a complete iteration. Such a search
// still stops at SOFT_NODE_CAP times `nodes`, so that one explosive iteration
// cannot stall a game.
enum class NodeLimit { HARD, SOFT };
constexpr uint64_t SOFT_NODE_CAP = 8;
SoloSearchResult searchToNodes(worker& w, const Position& root, uint64_t nodes, NodeLimit limit = NodeLimit::HARD);
