// Making and unmaking moves with every incremental update: board and
// bitboards, keys, evaluation sums, castling, en passant, clocks, key history
// and the changed-piece list of the network.
#pragma once

#include "board/position.h"

void makeMove(Position& p, int ply, Move m);
void unmakeMove(Position& p, int ply, Move m);

// The side to move passes: used by the search's null-move pruning.
void makeNullMove(Position& p, int ply);
void unmakeNullMove(Position& p, int ply);

// The castling mask after a move from `from` to `to` by the side to move.
int castlingAfterMove(const Position& p, int castling, int from, int to);
