// Pawn structure and king shelter: everything that depends only on the pawns
// and the kings, which is what the pawn key covers.
#pragma once

#include "board/position.h"
#include "eval/caches.h"

// Fills score and passed of an entry for the position (not the key).
void evaluatePawns(const Position& p, PawnEntry& entry);

// The position's pawn-table entry, computed and stored on a miss.
const PawnEntry& probePawns(const Position& p);
