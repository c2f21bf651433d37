// The root of the search: root special cases, iterative deepening with
// aspiration windows and helper-thread depth skipping, and the report lines.
#pragma once

#include <string>
#include <vector>

#include "search/wdl.h"
#include "search/worker.h"

// Runs one thread's whole search; `leader` is true for the boss, which prints
// the info lines and makes the root decisions that concern the whole search.
void iterativeDeepening(worker& w, bool leader);

// The boss's final lines: the last info line and "bestmove" (with "ponder").
void reportResult(boss& b);

// "info score ..." with the counts of all threads; `multiPv` above 0 adds
// "multipv <multiPv>" after the score, the line's rank under MultiPV. With
// UCI_ShowWDL on, "wdl W D L" follows the score: `known` where the result is
// certain, otherwise the model's chances for the score.
std::string infoLine(int score, int depth, int selDepth, uint64_t nodes, int64_t elapsed, uint64_t tbHits,
                     const std::vector<Move>& pv, const Position& root, int multiPv = 0,
                     const WdlChances* known = nullptr);

// Depth scheme of the helper threads, by index mod 16.
extern const int DEPTH_CYCLE[16];
extern const int DEPTH_JUMP[16];
// Aspiration steps, by index mod 32.
extern const int16_t ASPIRATION_STEPS[32][5];
