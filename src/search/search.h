// The alpha-beta node and the quiescence search below it.
#pragma once

#include "search/worker.h"

// The root searches each of its moves at ply 1, so a node of `search` is never
// the root; `qsearch` also evaluates the root itself (ply 0).
int search(worker& w, int ply, int depth, int alpha, int beta);
int qsearch(worker& w, int ply, int depth, int alpha, int beta);

// Moves the best move's line up from the child's principal variation.
void updatePv(worker& w, int ply, Move m);
