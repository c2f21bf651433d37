#include "search/wdl.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "board/score.h"
#include "search/wdl_params.h"

namespace {

// The curve's centre (the score at which a win is as likely as not) and
// width, as polynomials in the material.
double polynomial(const double (&c)[WDL_COEFFICIENTS], double x) {
    double v = 0;
    for (double k : c) v = v * x + k;
    return v;
}

}  // namespace

int wdlMaterial(const Position& p) {
    static constexpr int VALUE[7] = {0, 1, 3, 3, 5, 9, 0};  // by piece type, pawn = 1 .. king = 6
    int total = 0;
    for (int code = WPAWN; code <= BKING; ++code) total += VALUE[code >> 1] * std::popcount(p.pieces[code]);
    return total;
}

WdlChances wdlCertain(int outcome) {
    if (outcome > 0) return {1000, 0, 0};
    if (outcome < 0) return {0, 0, 1000};
    return {0, 1000, 0};
}

WdlChances wdlOfScore(int score, int material) {
    if (isMateScore(score)) return wdlCertain(score > 0 ? 1 : -1);
    double x = std::clamp(material, WDL_MATERIAL_MIN, WDL_MATERIAL_MAX) / double(WDL_MATERIAL_SCALE);
    double centre = std::max(0.0, polynomial(WDL_CENTRE, x));
    double width = std::max(1.0, polynomial(WDL_WIDTH, x));
    auto chance = [&](double s) { return 1.0 / (1.0 + std::exp((centre - s) / width)); };
    int win = int(std::lround(1000 * chance(score)));
    int loss = int(std::lround(1000 * chance(-score)));
    // With the centre at or above zero the two chances never add up to more
    // than one; rounding may still pass 1000 by one.
    if (win + loss > 1000) (win > loss ? win : loss) = 1000 - std::min(win, loss);
    return {win, 1000 - win - loss, loss};
}
