// How closely the engine's evaluation of its loaded network follows the float
// network the file was made from.
#pragma once

#include <vector>

#include "float_net.h"
#include "training_data.h"

struct NetComparison {
    size_t positions = 0;          // records the engine could set up
    double meanAbsDifference = 0;  // |float - engine| in centipawns after the output scaling
    double maxAbsDifference = 0;
    double meanAbsFloatError = 0;   // |float - search score|
    double meanAbsEngineError = 0;  // |engine - search score|
};

// The engine side goes through the engine's own path: the position set up from
// the record's FEN, the accumulator refreshed, the dense layers of the kernel the
// build uses, and the output scaling by pawns and phase. It reads the network
// that is loaded into the engine.
NetComparison compareFloatAndEngine(const NetView& floatNet, const std::vector<TrainingRecord>& records, int threads);
