// Playing at a chosen rating (UCI_LimitStrength with UCI_Elo): each move is
// searched with a node budget that shrinks with the rating, over a few root
// lines, and the move played is drawn among those lines, a worse one the
// likelier the lower the rating. Every move played is a searched legal move,
// and the usual time limits still end the search first where they are shorter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

constexpr int STRENGTH_ELO_MIN = 1500;
// The highest rating measured to hold at 10s+0.1s: above it the budget is no
// longer what limits the play, and full strength itself scores under 40%
// against the reference's 2500 at that clock.
constexpr int STRENGTH_ELO_MAX = 2400;
constexpr int STRENGTH_ELO_DEFAULT = 2000;
// Root lines searched under a strength limit, whatever MultiPV asks to print,
// where the rating leaves room for a choice.
constexpr int STRENGTH_LINES = 4;

struct StrengthLimit {
    uint64_t nodes;   // the search's node budget for one move
    double spreadCp;  // a line this far below the best is played e^-1 times as often
    int lines;        // root lines searched to choose among
};
StrengthLimit strengthFor(int elo);

// Index of the line to play, given the lines' scores best first and a random
// number in [0, 1).
size_t chooseLimitedLine(const std::vector<int>& scores, int elo, double random01);
