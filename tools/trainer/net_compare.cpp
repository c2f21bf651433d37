#include "net_compare.h"

#include <algorithm>
#include <cmath>

#include "parallel.h"
#include "quantise.h"
#include "training.h"

NetComparison compareFloatAndInteger(const NetView& floatNet, const NnueNet& integerNet,
                                     const std::vector<TrainingRecord>& records, int threads) {
    struct Sums { double diff = 0, maxDiff = 0, floatError = 0, intError = 0; };
    std::vector<Sums> sums(threads);
    parallelFor(threads, [&](int id) {
        size_t from = records.size() * id / threads, to = records.size() * (id + 1) / threads;
        Activations a;
        Sums& s = sums[id];
        for (size_t i = from; i < to; ++i) {
            Sample sample = makeSample(records[i], 1.0f, DEFAULT_SIGMOID_K);
            double floating = forward(floatNet, sample, a);
            double integer = referenceScore(integerNet, sample.features);
            double diff = std::abs(floating - integer);
            s.diff += diff;
            s.maxDiff = std::max(s.maxDiff, diff);
            s.floatError += std::abs(floating - records[i].score);
            s.intError += std::abs(integer - records[i].score);
        }
    });
    NetComparison c;
    c.positions = records.size();
    for (const Sums& s : sums) {
        c.meanAbsDifference += s.diff;
        c.maxAbsDifference = std::max(c.maxAbsDifference, s.maxDiff);
        c.meanAbsFloatError += s.floatError;
        c.meanAbsIntegerError += s.intError;
    }
    double n = std::max<double>(1, double(records.size()));
    c.meanAbsDifference /= n;
    c.meanAbsFloatError /= n;
    c.meanAbsIntegerError /= n;
    return c;
}
