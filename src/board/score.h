// Scores: signed 16-bit centipawns from the side to move's view. The ends of
// the range belong to mates and tablebase results, which count plies from the
// root. Shared vocabulary like the types beside it: the search, the
// evaluation, the tablebase probes and the table's ply adjustment all keep to
// this one convention.
#pragma once

#include <cstdlib>

#include "board/types.h"

constexpr int MATE = 32000;                          // the side mated at ply p scores p - MATE
constexpr int MATE_BOUND = MATE - MAX_PLY;           // 31872: scores at or beyond it are mate or tablebase scores
constexpr int LARGEST_PLAIN_SCORE = MATE_BOUND - 1;  // the most an evaluation may claim
constexpr int NO_SCORE = -MATE;                      // a node's best score before any move is searched
constexpr int NOT_EVALUATED = -32767;                // a frame's evaluation while in check
constexpr int INFINITE_SCORE = 32767;                // the root's widest window

constexpr int mateIn(int ply) { return MATE - ply; }
constexpr int matedIn(int ply) { return ply - MATE; }
inline bool isMateScore(int score) { return std::abs(score) >= MATE_BOUND; }

// A tablebase result found at `ply` (or, at the root, n plies before the next
// zeroing move) sits just inside the mate bound, so that a real mate still
// outranks it.
constexpr int tablebaseWin(int ply) { return MATE_BOUND - ply; }
constexpr int tablebaseLoss(int ply) { return ply - MATE_BOUND; }
