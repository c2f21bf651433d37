// The alpha-beta node and the quiescence search below it.
#pragma once

#include "search/worker.h"

// The root searches each of its moves at ply 1, so a node of `search` is never
// the root; `qsearch` also evaluates the root itself (ply 0).
int search(worker& w, int ply, int depth, int alpha, int beta);
int qsearch(worker& w, int ply, int depth, int alpha, int beta);

// Whether the position at `ply` repeats one in the searched line, or twice one
// of the game before the root.
bool isRepetition(const Position& p, int ply);
// No pawns and at most a minor piece's material on each side.
bool insufficientMaterial(const Position& p);

// Moves the best move's line up from the child's principal variation.
void updatePv(worker& w, int ply, Move m);
