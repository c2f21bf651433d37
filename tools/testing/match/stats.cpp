#include "stats.h"

#include <cmath>
#include <limits>

namespace matchtool {

namespace {

constexpr double Z95 = 1.959963984540054;

struct Moments {
    double n = 0, mean = 0, variance = 0;
};

// Mean and variance of a distribution given as counts at evenly spaced scores 0..1.
template <size_t K>
Moments moments(const std::array<double, K>& counts) {
    Moments m;
    for (double c : counts) m.n += c;
    if (m.n <= 0) return m;
    for (size_t k = 0; k < K; ++k) m.mean += counts[k] * double(k) / double(K - 1);
    m.mean /= m.n;
    for (size_t k = 0; k < K; ++k) {
        double d = double(k) / double(K - 1) - m.mean;
        m.variance += counts[k] * d * d;
    }
    m.variance /= m.n;
    return m;
}

EloEstimate estimate(const Moments& m) {
    EloEstimate e;
    if (m.n <= 0) return e;
    double half = Z95 * std::sqrt(m.variance / m.n);
    e.elo = eloFromScore(m.mean);
    e.low = eloFromScore(m.mean - half);
    e.high = eloFromScore(m.mean + half);
    return e;
}

}  // namespace

double eloFromScore(double score) {
    const double inf = std::numeric_limits<double>::infinity();
    if (score <= 0) return -inf;
    if (score >= 1) return inf;
    return -400 * std::log10(1 / score - 1);
}

double scoreFromElo(double elo) { return 1 / (1 + std::pow(10.0, -elo / 400)); }

EloEstimate gameElo(const MatchTally& t) {
    return estimate(moments(std::array<double, 3>{double(t.losses), double(t.draws), double(t.wins)}));
}

EloEstimate pairElo(const MatchTally& t) {
    std::array<double, 5> counts;
    for (int k = 0; k < 5; ++k) counts[size_t(k)] = t.pairs[size_t(k)];
    return estimate(moments(counts));
}

SprtBounds sprtBounds(double alpha, double beta) {
    return {std::log(beta / (1 - alpha)), std::log((1 - beta) / alpha)};
}

double sprtLlr(const std::array<int, 5>& pairs, double elo0, double elo1) {
    std::array<double, 5> counts;
    for (int k = 0; k < 5; ++k) counts[size_t(k)] = pairs[size_t(k)];
    Moments m = moments(counts);
    if (m.n <= 0) return 0;
    if (m.variance <= 0) {
        // Every pair ended the same way: spread a trace of each outcome so the
        // ratio stays finite and still follows the evidence.
        for (double& c : counts) c += 1e-3;
        m = moments(counts);
        m.n -= 5e-3;
    }
    double s0 = scoreFromElo(elo0), s1 = scoreFromElo(elo1);
    return m.n * (s1 - s0) * (2 * m.mean - s0 - s1) / (2 * m.variance);
}

SprtVerdict sprtVerdict(const std::array<int, 5>& pairs, double elo0, double elo1, double alpha, double beta) {
    int n = 0;
    for (int c : pairs) n += c;
    if (n < SPRT_MIN_PAIRS) return SprtVerdict::NONE;
    double llr = sprtLlr(pairs, elo0, elo1);
    SprtBounds b = sprtBounds(alpha, beta);
    return llr >= b.upper ? SprtVerdict::H1 : llr <= b.lower ? SprtVerdict::H0 : SprtVerdict::NONE;
}

}  // namespace matchtool
