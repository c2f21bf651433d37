#include "wdl_fit.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <sstream>

#include "training_data.h"

namespace wdlfit {

namespace {

int recordMaterial(const TrainingRecord& r) {
    static constexpr int VALUE[7] = {0, 1, 3, 3, 5, 9, 0};  // by piece type, as the engine's model counts
    int total = 0, pieces = std::popcount(r.occupancy);
    for (int n = 0; n < pieces; ++n) total += VALUE[packedPiece(r, n) >> 1];
    return total;
}

double chance(double centre, double width, double s) { return 1.0 / (1.0 + std::exp((centre - s) / width)); }

double logLikelihood(const std::vector<std::pair<int, WdlCounts>>& cells, double centre, double width) {
    double sum = 0;
    for (const auto& [score, c] : cells) {
        double w = chance(centre, width, score), l = chance(centre, width, -score);
        double d = std::max(1e-12, 1.0 - w - l);
        sum += c.wins * std::log(std::max(1e-12, w)) + c.draws * std::log(d) + c.losses * std::log(std::max(1e-12, l));
    }
    return sum;
}

// Weighted least squares of y against a cubic in x (normal equations, Gaussian elimination).
std::array<double, COEFFICIENTS> fitPolynomial(const std::vector<double>& x, const std::vector<double>& y,
                                               const std::vector<double>& weight) {
    constexpr int N = COEFFICIENTS;
    double a[N][N + 1] = {};
    for (size_t k = 0; k < x.size(); ++k) {
        double powers[N];
        for (int i = 0; i < N; ++i) powers[i] = std::pow(x[k], N - 1 - i);
        for (int i = 0; i < N; ++i) {
            for (int j = 0; j < N; ++j) a[i][j] += weight[k] * powers[i] * powers[j];
            a[i][N] += weight[k] * powers[i] * y[k];
        }
    }
    for (int col = 0; col < N; ++col) {
        int pivot = col;
        for (int row = col + 1; row < N; ++row)
            if (std::abs(a[row][col]) > std::abs(a[pivot][col])) pivot = row;
        std::swap(a[col], a[pivot]);
        for (int row = 0; row < N; ++row) {
            if (row == col || a[col][col] == 0) continue;
            double f = a[row][col] / a[col][col];
            for (int j = col; j <= N; ++j) a[row][j] -= f * a[col][j];
        }
    }
    std::array<double, N> c{};
    for (int i = 0; i < N; ++i) c[i] = a[i][i] != 0 ? a[i][N] / a[i][i] : 0;
    return c;
}

}  // namespace

bool countDataFile(const std::string& path, WdlHistogram& h, std::string* error) {
    DataReader reader;
    if (!openReader(reader, path, error)) return false;
    std::vector<TrainingRecord> block;
    while (readRecords(reader, block, 1 << 16) > 0) {
        for (const TrainingRecord& r : block) {
            int score = std::clamp<int>(r.score, -SCORE_LIMIT, SCORE_LIMIT);
            score = int(std::lround(double(score) / SCORE_STEP)) * SCORE_STEP;
            WdlCounts& c = h[{recordMaterial(r), score}];
            if (r.result == RESULT_WIN) ++c.wins;
            else if (r.result == RESULT_LOSS) ++c.losses;
            else ++c.draws;
        }
        block.clear();
    }
    std::fclose(reader.file);
    return true;
}

std::string histogramText(const WdlHistogram& h, const std::vector<std::string>& comments) {
    std::ostringstream out;
    for (const std::string& c : comments) out << "# " << c << "\n";
    out << "# material score wins draws losses\n";
    for (const auto& [key, c] : h)
        out << key.first << " " << key.second << " " << c.wins << " " << c.draws << " " << c.losses << "\n";
    return out.str();
}

bool parseHistogram(const std::string& text, WdlHistogram& h, std::string* error) {
    std::istringstream in(text);
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        int material, score;
        WdlCounts c;
        std::string rest;
        if (!(fields >> material >> score >> c.wins >> c.draws >> c.losses) || (fields >> rest)) {
            if (error) *error = "line " + std::to_string(number) + ": expected five whole numbers";
            return false;
        }
        WdlCounts& sum = h[{material, score}];
        sum.wins += c.wins, sum.draws += c.draws, sum.losses += c.losses;
    }
    return true;
}

Curve fitCurve(const std::vector<std::pair<int, WdlCounts>>& cells) {
    // A grid that narrows around the best point: the likelihood has one
    // maximum in the region that matters, and this needs no derivatives.
    Curve best{150, 150};
    double bestValue = logLikelihood(cells, best.centre, best.width);
    for (double step : {32.0, 8.0, 2.0, 0.5, 0.125}) {
        Curve around = best;
        for (int i = -6; i <= 6; ++i)
            for (int j = -6; j <= 6; ++j) {
                Curve c{around.centre + i * step, around.width + j * step};
                if (c.width < 5 || c.centre < -500 || c.centre > 2000 || c.width > 1500) continue;
                double v = logLikelihood(cells, c.centre, c.width);
                if (v > bestValue) bestValue = v, best = c;
            }
    }
    return best;
}

WdlModel fitModel(const WdlHistogram& h, uint64_t minPositions) {
    std::map<int, std::vector<std::pair<int, WdlCounts>>> byMaterial;
    WdlModel model;
    for (const auto& [key, c] : h) {
        byMaterial[key.first].push_back({key.second, c});
        model.positions += c.total();
    }
    std::vector<double> x, centres, widths, weights;
    for (const auto& [material, cells] : byMaterial) {
        uint64_t n = 0;
        for (const auto& cell : cells) n += cell.second.total();
        if (n < minPositions || material < MATERIAL_MIN || material > MATERIAL_MAX) continue;
        Curve curve = fitCurve(cells);
        x.push_back(double(material) / MATERIAL_SCALE);
        centres.push_back(curve.centre);
        widths.push_back(curve.width);
        weights.push_back(double(n));
    }
    if (x.size() >= COEFFICIENTS) {
        model.centre = fitPolynomial(x, centres, weights);
        model.width = fitPolynomial(x, widths, weights);
    }
    return model;
}

std::string modelHeader(const WdlModel& m, const std::string& command) {
    auto list = [](const std::array<double, COEFFICIENTS>& c) {
        std::string s;
        char buffer[32];
        for (double v : c) {
            std::snprintf(buffer, sizeof buffer, "%.6g", v);
            s += (s.empty() ? "" : ", ") + std::string(buffer);
        }
        return s;
    };
    std::ostringstream out;
    out << "// The win/draw/loss model of the info lines, fitted to " << m.positions << " self-play positions by\n"
        << "//   " << command << "\n"
        << "// (tools/training/wdl/README.md). Written by that command; fit again rather than edit.\n"
        << "#pragma once\n\n"
        << "constexpr int WDL_COEFFICIENTS = " << COEFFICIENTS << ";\n"
        << "constexpr int WDL_MATERIAL_MIN = " << MATERIAL_MIN << ", WDL_MATERIAL_MAX = " << MATERIAL_MAX
        << ", WDL_MATERIAL_SCALE = " << MATERIAL_SCALE << ";\n"
        << "// Centre and width of the curve as polynomials in material / WDL_MATERIAL_SCALE, highest power first.\n"
        << "constexpr double WDL_CENTRE[WDL_COEFFICIENTS] = {" << list(m.centre) << "};\n"
        << "constexpr double WDL_WIDTH[WDL_COEFFICIENTS] = {" << list(m.width) << "};\n";
    return out.str();
}

}  // namespace wdlfit
