// The strength limit's scale and its draw among the searched lines.
#include <gtest/gtest.h>

#include "search/strength.h"

namespace {

TEST(StrengthLimit, HigherRatingsSearchMoreAndStrayLess) {
    StrengthLimit previous = strengthFor(STRENGTH_ELO_MIN);
    for (int elo = STRENGTH_ELO_MIN + 100; elo <= STRENGTH_ELO_MAX; elo += 100) {
        StrengthLimit s = strengthFor(elo);
        EXPECT_GT(s.nodes, previous.nodes) << elo;
        EXPECT_LT(s.spreadCp, previous.spreadCp) << elo;
        previous = s;
    }
    // Ratings beyond the scale play as its ends.
    EXPECT_EQ(strengthFor(100).nodes, strengthFor(STRENGTH_ELO_MIN).nodes);
    EXPECT_EQ(strengthFor(4000).nodes, strengthFor(STRENGTH_ELO_MAX).nodes);
}

// How often each line is drawn over an even spread of random numbers.
std::vector<int> draws(const std::vector<int>& scores, int elo) {
    std::vector<int> count(scores.size());
    for (int i = 0; i < 1000; ++i) ++count.at(chooseLimitedLine(scores, elo, (i + 0.5) / 1000));
    return count;
}

TEST(StrengthLimit, CloseLinesAreDrawnOftenAndLostOnesAlmostNever) {
    EXPECT_EQ(draws({40, 40, 40, 40}, STRENGTH_ELO_MIN), (std::vector<int>{250, 250, 250, 250}));
    // A lone line, and lines far behind, leave the best one.
    EXPECT_EQ(draws({12}, STRENGTH_ELO_MIN), (std::vector<int>{1000}));
    EXPECT_EQ(draws({300, -700, -32000, -800}, STRENGTH_ELO_MAX), (std::vector<int>{1000, 0, 0, 0}));
    // A line 30 cp behind is played often at the low end of the scale and rarely at the high end.
    auto low = draws({30, 0}, STRENGTH_ELO_MIN), high = draws({30, 0}, STRENGTH_ELO_MAX);
    EXPECT_GT(low[1], 300);
    EXPECT_LT(high[1], 30);
    EXPECT_GT(low[1], draws({30, 0}, STRENGTH_ELO_DEFAULT)[1]);
}

}  // namespace
