// Fitting the win/draw/loss model of the info lines to self-play games.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace wdlfit {

// Game results counted by the material on the board and the search score
// (rounded to SCORE_STEP), both from positions of the training data.
struct WdlCounts {
    uint64_t wins = 0, draws = 0, losses = 0;
    uint64_t total() const { return wins + draws + losses; }
};
using WdlHistogram = std::map<std::pair<int, int>, WdlCounts>;  // (material, score) -> results
constexpr int SCORE_STEP = 5;
constexpr int SCORE_LIMIT = 2000;  // scores beyond it are counted at it

// Adds every position of a training-data file. False, with a reason, for a file that cannot be read.
bool countDataFile(const std::string& path, WdlHistogram& h, std::string* error);
// The histogram as text lines "material score wins draws losses", and back.
std::string histogramText(const WdlHistogram& h, const std::vector<std::string>& comments);
bool parseHistogram(const std::string& text, WdlHistogram& h, std::string* error);

// The logistic curve at one material: win chance 1 / (1 + exp((centre - s) / width)),
// the loss chance the same at -s.
struct Curve {
    double centre = 0, width = 100;
};
// The most likely curve for the cells of one material.
Curve fitCurve(const std::vector<std::pair<int, WdlCounts>>& cells);

constexpr int COEFFICIENTS = 4;
constexpr int MATERIAL_MIN = 10, MATERIAL_MAX = 78, MATERIAL_SCALE = 58;
// Centre and width as cubic polynomials in material / MATERIAL_SCALE, highest power first.
struct WdlModel {
    std::array<double, COEFFICIENTS> centre{}, width{};
    uint64_t positions = 0;
};
// Fits a curve at every material with at least minPositions positions, then
// the polynomials through them, each material weighted by its positions.
WdlModel fitModel(const WdlHistogram& h, uint64_t minPositions);
// The engine's header with the model's constants.
std::string modelHeader(const WdlModel& m, const std::string& command);

}  // namespace wdlfit
