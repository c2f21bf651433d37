// Static exchange evaluation: what the exchange a move starts on its
// destination square wins or loses.
#pragma once

#include "board/position.h"

// SEE piece values by type: none, pawn, knight, bishop, rook, queen, king.
inline constexpr int SEE_VALUE[7] = {0, 88, 372, 372, 566, 1184, 10000};

// Whether the exchange that m starts on its destination wins at least `threshold`
// for the side making it.
bool seeTest(const Position& p, Move m, int threshold);
