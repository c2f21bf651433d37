// Questions about one move in a position that the search asks before making
// it: whether a stored move could have been generated here, whether it takes
// a piece and whether it gives check.
#pragma once

#include "board/position.h"

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
