// Material, phase and piece-square tables shared by the board's incremental
// sums and the handcrafted evaluation. They are writable so that the tuner
// can change them in place.
#pragma once

#include "board/types.h"

#define TCONST

extern TCONST combEval materialValue[6];                 // pawn .. king, indexed by type - 1
extern TCONST combEval pieceSquareScore[6][NOFSQUARES];  // seen from the owner; see psqIndex
extern const int phaseWeight[7];                         // by piece type

// A white piece reads its square mirrored vertically, a black piece its square as it stands.
constexpr int psqIndex(int colour, int sq) { return colour == WHITE ? sq ^ 56 : sq; }
inline combEval psqOf(int code, int sq) { return pieceSquareScore[typeOf(code) - 1][psqIndex(colourOf(code), sq)]; }
inline combEval materialOf(int code) { return materialValue[typeOf(code) - 1]; }
