// Networks made without training: random weights for checking the inference,
// and a hand-made material and placement network for playing where no trained
// one is at hand. Both are deterministic.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "eval/net_layout.h"

// Weights small enough to keep the accumulators near the clipping range, with
// dense-layer sums that often hit the 16- and 8-bit saturations.
void fillRandomNet(NnueNet& net, uint64_t seed);

// Output proportional to material plus placement (blended middlegame and
// endgame values) from the side to move's point of view.
void fillMaterialNet(NnueNet& net);

// Writes the net in the file layout the engine reads.
bool writeNet(std::ostream& out, const NnueNet& net, const std::string& description);
