// Win, draw and loss chances of a score, in per mille, for the "wdl" figures
// of the info lines. The model is fitted to the engine's own self-play games
// (tools/training/wdl): a logistic curve in the score whose centre and width
// depend on the material left on the board.
#pragma once

#include "board/position.h"

struct WdlChances {
    int win, draw, loss;  // per mille, adding up to 1000
};

// Pawn units on the board, both sides together: pawn 1, knight and bishop 3, rook 5, queen 9.
int wdlMaterial(const Position& p);

// The chances of a search score (side to move's view) with `material` on the
// board. Mate scores are certain; tablebase wins and losses sit far enough out
// that the curve makes them certain too.
WdlChances wdlOfScore(int score, int material);

// A result known for sure, as the tablebases give it: +1 win, 0 draw, -1 loss.
WdlChances wdlCertain(int outcome);
