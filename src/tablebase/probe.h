// Probing the registered Syzygy tables from a position.
#pragma once

#include "board/position.h"

// Win/draw/loss for the side to move: 0 loss, 1 blessed loss, 2 draw,
// 3 cursed win, 4 win; -1 when the position is not in the tables.
// Call only without castling rights and with at most largestTablebase() pieces.
int probeWdl(Position& p);

// A root move from the distance-to-zeroing tables that keeps the best result
// and makes progress under the fifty-move rule; NO_MOVE when the root is not
// in the tables. *score gets the score to report in centipawns (mate-range
// scores for wins and losses).
Move probeRoot(Position& p, int* score);
