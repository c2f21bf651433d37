// Probing the registered Syzygy tables from a position.
#pragma once

#include "board/position.h"

// Win/draw/loss for the side to move: 0 loss, 1 blessed loss, 2 draw,
// 3 cursed win, 4 win; -1 when the position is not in the tables.
// Call only without castling rights and with at most largestTablebase() pieces.
int probeWdl(Position& p);

// A root move from the distance-to-zeroing tables that keeps the best result
// and makes progress under the fifty-move rule; NO_MOVE when the root is not
// in the tables. *score gets the score to report in centipawns: 0 for a draw
// (cursed wins and blessed losses included), tablebaseWin(n) for a win whose
// next zeroing move comes n plies from now (mateIn(1) for a mate in one), and
// tablebaseLoss(n) for a loss.
Move probeRoot(Position& p, int* score);

// Lower-level results, for tests and tools. TB_FAILED when not in the tables.
constexpr int TB_FAILED = -1000;
// -2 loss, -1 blessed loss, 0 draw, 1 cursed win, 2 win.
int probeWdlValue(Position& p);
// Distance to the next zeroing move in plies, positive when the side to move
// wins and negative when it loses, 0 for a draw. Cursed wins and blessed
// losses lie beyond 100 plies (101 + the distance of the stored table).
int probeDtzValue(Position& p);
