// Match statistics: Elo estimates with 95% intervals from game results and
// from game pairs (one opening played with each colour), and the log-likelihood
// ratio of a sequential probability ratio test over game pairs.
#pragma once

#include <array>

namespace matchtool {

// Results from engine 1's point of view.
struct MatchTally {
    int wins = 0, draws = 0, losses = 0;
    // Completed pairs by engine 1's points in the pair: 0, 0.5, 1, 1.5, 2.
    std::array<int, 5> pairs{};
};

struct EloEstimate {
    double elo = 0, low = 0, high = 0;  // 95% interval; infinite at a 0% or 100% score
};

// Logistic model: an Elo difference and its expected score.
double eloFromScore(double score);
double scoreFromElo(double elo);

// From single games (win, draw, loss frequencies).
EloEstimate gameElo(const MatchTally& t);
// From game pairs: the pairs' spread replaces the games', which removes the
// part of the variance that comes from the openings.
EloEstimate pairElo(const MatchTally& t);

struct SprtBounds {
    double lower, upper;  // accept H0 at or below `lower`, H1 at or above `upper`
};
SprtBounds sprtBounds(double alpha, double beta);

// Log-likelihood ratio of H1 (engine 1 is elo1 stronger) against H0 (elo0
// stronger), logistic Elo, in the normal approximation of the generalised SPRT
// over pair scores: N (s1 - s0) (2 mean - s0 - s1) / (2 variance), with mean
// and variance of the pair score (points / 2) and s0, s1 the expected scores.
double sprtLlr(const std::array<int, 5>& pairs, double elo0, double elo1);

// The test's verdict. The normal approximation needs the pairs' spread, which a
// handful of pairs cannot show (one pair has none), so nothing is decided
// before SPRT_MIN_PAIRS pairs, whatever the ratio.
constexpr int SPRT_MIN_PAIRS = 10;
enum class SprtVerdict { NONE, H0, H1 };
SprtVerdict sprtVerdict(const std::array<int, 5>& pairs, double elo0, double elo1, double alpha, double beta);

}  // namespace matchtool
