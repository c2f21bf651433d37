// From the float network to the engine's integer network file and back.
#pragma once

#include "net_builder.h"  // writeNet

#include <iosfwd>
#include <memory>
#include <string>

#include "eval/network.h"
#include "float_net.h"

// Rounds every parameter to its integer type (see float_net.h for the scales).
// The hidden-layer biases get +32 so that the engine's shift right by 6, which
// rounds down, rounds to nearest instead.
void quantiseNet(const FloatNet& net, NnueNet& out);
// The float network that the integer one stands for (inverse of quantiseNet up to rounding),
// in the file's own layout.
void dequantiseNet(const NnueNet& net, FloatNet& out);

// Writes the engine's file layout: version, architecture hash, description,
// then the blocks in the order the engine reads them.
bool writeNetFile(const std::string& path, const NnueNet& net, const std::string& description);

inline std::unique_ptr<NnueNet> newNnueNet() { return std::make_unique<NnueNet>(); }
