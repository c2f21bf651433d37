// Random positions with a learnable score, for benchmarks and tests.
#pragma once

#include <cstdint>
#include <vector>

#include "training_data.h"

// Two kings and a random number of other pieces on random squares (pawns
// never on the first or last rank), kept only when the engine would accept the
// position; the score is the material balance from the side to move's view plus
// a little noise, and the result follows the score.
std::vector<TrainingRecord> syntheticRecords(size_t count, uint64_t seed);
