#include "net_compare.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "board/position.h"
#include "eval/evaluate.h"
#include "parallel.h"
#include "position_record.h"
#include "training.h"

NetComparison compareFloatAndEngine(const NetView& floatNet, const std::vector<TrainingRecord>& records, int threads) {
    struct Sums {
        size_t positions = 0;
        double diff = 0, maxDiff = 0, floatError = 0, engineError = 0;
    };
    std::vector<Sums> sums(threads);
    parallelFor(threads, [&](int id) {
        size_t from = records.size() * id / threads, to = records.size() * (id + 1) / threads;
        Activations a;
        auto position = std::make_unique<Position>();
        Sums& s = sums[id];
        for (size_t i = from; i < to; ++i) {
            if (!setFen(*position, recordFen(records[i]))) continue;
            Sample sample = makeSample(records[i], 1.0f, DEFAULT_SIGMOID_K);
            double floating = forward(floatNet, sample, a);
            double engine = networkScore(*position, 0);
            double diff = std::abs(floating - engine);
            ++s.positions;
            s.diff += diff;
            s.maxDiff = std::max(s.maxDiff, diff);
            s.floatError += std::abs(floating - records[i].score);
            s.engineError += std::abs(engine - records[i].score);
        }
    });
    NetComparison c;
    for (const Sums& s : sums) {
        c.positions += s.positions;
        c.meanAbsDifference += s.diff;
        c.maxAbsDifference = std::max(c.maxAbsDifference, s.maxDiff);
        c.meanAbsFloatError += s.floatError;
        c.meanAbsEngineError += s.engineError;
    }
    double n = std::max<double>(1, double(c.positions));
    c.meanAbsDifference /= n;
    c.meanAbsFloatError /= n;
    c.meanAbsEngineError /= n;
    return c;
}
