// Which training positions the network will ever be asked to score.
//
// The engine hands a position to its handcrafted evaluation when the endgame
// half of the material and piece-square balance reaches the network threshold;
// the network never sees those positions, so training on them spends effort on
// nothing. A margin keeps the positions near the border, where a capture or two
// in the search can bring the network back.
#pragma once

#include <cstddef>
#include <vector>

#include "training_data.h"

constexpr int DEFAULT_FILTER_MARGIN = 100;  // centipawns beyond the network threshold still kept

// The endgame half of the material and piece-square balance, White's view,
// computed from the record as the engine computes it from a position.
int recordBalance(const TrainingRecord& r);

// Whether the engine's network would score a position this far inside its
// threshold plus `margin` (a negative margin keeps everything).
bool withinNetworkRange(const TrainingRecord& r, int margin);

// Removes, in place and in order, the records outside the network's range;
// returns how many went.
size_t keepNetworkPositions(std::vector<TrainingRecord>& records, int margin);
