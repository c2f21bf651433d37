#include "search/strength.h"

#include <algorithm>
#include <cmath>

namespace {

// The two ends of the scale; in between, both figures change geometrically
// with the rating. The nodes set the depth of play, the spread the mistakes:
// alone, a budget of a few hundred nodes still finds every short tactic.
constexpr double NODES_AT_MIN = 1200, NODES_AT_MAX = 400000;
constexpr double SPREAD_AT_MIN = 50, SPREAD_AT_MAX = 2;
// Score differences count up to this much, so a mate line weighs like a large material edge.
constexpr int LARGEST_DIFFERENCE = 1000;

double along(double atMin, double atMax, int elo) {
    double t = double(std::clamp(elo, STRENGTH_ELO_MIN, STRENGTH_ELO_MAX) - STRENGTH_ELO_MIN)
               / (STRENGTH_ELO_MAX - STRENGTH_ELO_MIN);
    return atMin * std::pow(atMax / atMin, t);
}

}  // namespace

StrengthLimit strengthFor(int elo) {
    return {uint64_t(std::llround(along(NODES_AT_MIN, NODES_AT_MAX, elo))), along(SPREAD_AT_MIN, SPREAD_AT_MAX, elo)};
}

size_t chooseLimitedLine(const std::vector<int>& scores, int elo, double random01) {
    if (scores.size() <= 1) return 0;
    const double spread = strengthFor(elo).spreadCp;
    std::vector<double> weights;
    double total = 0;
    for (int s : scores) {
        int behind = std::min(LARGEST_DIFFERENCE, std::max(0, scores[0] - s));
        weights.push_back(std::exp(-behind / spread));
        total += weights.back();
    }
    double pick = random01 * total;
    for (size_t i = 0; i < weights.size(); ++i) {
        if (pick < weights[i]) return i;
        pick -= weights[i];
    }
    return 0;
}
