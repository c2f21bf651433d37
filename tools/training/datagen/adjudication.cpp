#include "adjudication.h"

#include <cstdlib>

namespace datagen {

Verdict adjudicate(AdjudicationState& s, const AdjudicationRules& rules, int whiteScore, int pliesPlayed) {
    s.whiteAhead = whiteScore >= rules.winMargin ? s.whiteAhead + 1 : 0;
    s.blackAhead = whiteScore <= -rules.winMargin ? s.blackAhead + 1 : 0;
    s.level = std::abs(whiteScore) <= rules.drawMargin ? s.level + 1 : 0;
    if (s.whiteAhead >= rules.winPlies) return Verdict::WHITE_WINS;
    if (s.blackAhead >= rules.winPlies) return Verdict::BLACK_WINS;
    if (s.level >= rules.drawPlies && pliesPlayed + 1 >= rules.drawStartPly) return Verdict::DRAW;
    if (pliesPlayed + 1 >= rules.maxPlies) return Verdict::TOO_LONG;
    return Verdict::NONE;
}

GameResult whiteResultOf(Verdict v) {
    return v == Verdict::WHITE_WINS ? RESULT_WIN : v == Verdict::BLACK_WINS ? RESULT_LOSS : RESULT_DRAW;
}

}  // namespace datagen
