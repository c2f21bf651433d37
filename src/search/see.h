// Static exchange evaluation and the move tests the search needs before
// making a move: pseudo-legality of stored moves and whether a move checks.
#pragma once

#include "board/position.h"

// SEE piece values by type: none, pawn, knight, bishop, rook, queen, king.
inline constexpr int SEE_VALUE[7] = {0, 88, 372, 372, 566, 1184, 10000};

// Whether the exchange that m starts on its destination wins at least `threshold`
// for the side making it.
bool seeTest(const Position& p, Move m, int threshold);

// Whether m (a move word from the table, a killer or a counter move) could
// have been generated in this position. Legality is a separate test (isLegal).
bool isPseudoLegal(const Position& p, int ply, Move m);

// Whether m, a legal move of the side to move, gives check.
bool givesCheck(const Position& p, Move m);

// Whether m takes a piece (en passant included).
inline bool isCapture(const Position& p, Move m) {
    int flag = moveFlag(m);
    return flag == FLAG_EP || (flag < FLAG_SHORT && p.board[moveTo(m)] != EMPTY);
}
