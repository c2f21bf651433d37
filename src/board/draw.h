// The draw rules the search and the game runners share. Both are asked at
// every node, so they stay inline.
#pragma once

#include <algorithm>

#include "board/position.h"

// At most this much middlegame material on each side, without pawns, is a draw:
// a lone minor piece, with the shipped material values.
constexpr int INSUFFICIENT_MATERIAL = 383;

// Whether the position at `ply` repeats one in the searched line, or twice one
// of the game before the root.
inline bool isRepetition(const Position& p, int ply) {
    int halfmoves = p.fiftyMove;
    if (halfmoves < 4) return false;
    int gamePly = p.gamePly;
    int lowest = std::max(0, gamePly - halfmoves - 1);
    int older = 0;
    for (int i = gamePly - 5; i >= lowest; i -= 2)
        if (p.keyHistory[i] == p.key) {
            if (i > gamePly - ply - 1) return true;
            if (++older == 2) return true;
        }
    return false;
}

// No pawns and at most a minor piece's material on each side.
inline bool insufficientMaterial(const Position& p) {
    return !(p.pieces[WPAWN] | p.pieces[BPAWN]) && mgOf(p.material[WHITE]) <= INSUFFICIENT_MATERIAL
           && mgOf(p.material[BLACK]) <= INSUFFICIENT_MATERIAL;
}
