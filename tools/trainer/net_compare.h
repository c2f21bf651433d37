// How closely the engine's integer inference follows the float network.
#pragma once

#include <vector>

#include "float_net.h"
#include "eval/network.h"
#include "training_data.h"

struct NetComparison {
    size_t positions = 0;
    double meanAbsDifference = 0;  // |float - integer| in centipawns after the output scaling
    double maxAbsDifference = 0;
    double meanAbsFloatError = 0;  // |float - search score|
    double meanAbsIntegerError = 0;  // |integer - search score|
};

NetComparison compareFloatAndInteger(const NetView& floatNet, const NnueNet& integerNet,
                                     const std::vector<TrainingRecord>& records, int threads);
