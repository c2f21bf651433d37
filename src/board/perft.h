// Counting the move tree from a position.
#pragma once

#include <cstdint>

#include "board/position.h"

uint64_t perft(int ply, int depth, Position& p);
