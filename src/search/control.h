// What a running search is told from outside: the limits of the "go" command,
// the flags that the command thread and the boss raise while threads search,
// and whether the search reports. The front end writes them, the root and the
// nodes read them; the thread pool only carries them.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <vector>

#include "board/types.h"

struct TimeControl {
    int64_t startTime = 0;  // ms of the monotonic clock
    int time[2] = {900000, 900000};
    int inc[2] = {0, 0};
    int movesToGo = 30;
    bool movesToGoGiven = false;
    int depth = 0;       // 0: no limit
    int mate = 0;        // 0: none
    uint64_t nodes = 0;  // 0: no limit
    int moveTime = 0;    // 0: none
    bool infinite = false;
    bool pondering = false;
    int nodeCheckInterval = 4096;
    int softLimit = 0;
    int hardLimit = 0;
    float timeFactor = 1.0f;
    std::vector<Move> searchMoves;  // "searchmoves": the root moves allowed; empty for all
    int multiPv = 1;                // MultiPV: the best root moves searched and reported, each with its line
    bool showWdl = false;           // UCI_ShowWDL: info lines carry win/draw/loss chances
    int limitElo = 0;               // UCI_LimitStrength: the rating played at; 0 for full strength
    uint64_t strengthNodes = 0;     // ... and the nodes after which no new iteration starts
};

// Written by the command thread only while the search threads are idle.
extern TimeControl timeControl;

// Flags polled by every searching thread. Relaxed order is enough: a late
// view only delays a thread by a few nodes.
struct SearchFlag {
    std::atomic<uint8_t> value{0};
    bool get() const { return value.load(std::memory_order_relaxed) != 0; }
    void set(bool on = true) { value.store(on ? 1 : 0, std::memory_order_relaxed); }
};

extern SearchFlag stopFlag;
extern SearchFlag ponderingFlag;
extern SearchFlag infiniteFlag;
extern SearchFlag timeUpFlag;

// Whether the boss prints its info and bestmove lines (the benchmark turns them off).
extern bool searchOutputEnabled;

inline int64_t nowMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
inline int64_t elapsedMs() { return nowMs() - timeControl.startTime; }
