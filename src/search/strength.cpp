#include "search/strength.h"

#include <algorithm>
#include <cmath>

namespace {

// Points of the scale, set by games (tools/testing/match/calibrate_elo.sh); in
// between, both figures change geometrically with the rating. The last point
// lies beyond the option's range and only gives the curve its slope up to the
// top. The nodes set the depth of play, the spread the mistakes: alone, a
// budget of a thousand nodes still finds every short tactic.
struct Anchor {
    int elo;
    double nodes, spreadCp;
};
constexpr Anchor ANCHORS[] = {{1500, 1200, 50}, {2000, 32000, 8}, {2500, 4000000, 0.5}};
// Below this spread the lines after the first are all but never played, so
// only the best move is searched, at full depth.
constexpr double SINGLE_LINE_SPREAD = 2;
// Score differences count up to this much, so a mate line weighs like a large material edge.
constexpr int LARGEST_DIFFERENCE = 1000;

}  // namespace

StrengthLimit strengthFor(int elo) {
    elo = std::clamp(elo, STRENGTH_ELO_MIN, STRENGTH_ELO_MAX);
    size_t i = 0;
    while (i + 2 < std::size(ANCHORS) && elo > ANCHORS[i + 1].elo) ++i;
    const Anchor &low = ANCHORS[i], &high = ANCHORS[i + 1];
    double t = double(elo - low.elo) / (high.elo - low.elo);
    double nodes = low.nodes * std::pow(high.nodes / low.nodes, t);
    double spread = low.spreadCp * std::pow(high.spreadCp / low.spreadCp, t);
    return {uint64_t(std::llround(nodes)), spread, spread < SINGLE_LINE_SPREAD ? 1 : STRENGTH_LINES};
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
