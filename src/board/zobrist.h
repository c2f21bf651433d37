// Zobrist hashing keys, copied into working tables at start-up.
#pragma once

#include <cstdint>

extern uint64_t pieceKeys[14][64];  // rows 0 and 1 stay zero
extern uint64_t castlingKeys[16];
extern uint64_t epKeys[8];
extern uint64_t sideKey;

void initZobrist();
