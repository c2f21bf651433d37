// Ending self-play games early: when both sides' searches agree for several
// plies that one side has won, or that a long game is dead drawn.
#pragma once

#include "training_data.h"

namespace datagen {

struct AdjudicationRules {
    int winMargin = 1000;   // centipawns, White's view, beyond which a ply counts toward a win
    int winPlies = 6;       // consecutive plies beyond the margin
    int drawMargin = 10;    // |score| at most this counts toward a draw
    int drawPlies = 12;     // consecutive near-zero plies
    int drawStartPly = 60;  // self-play plies before a draw may be adjudicated
    int maxPlies = 800;     // self-play plies after which the game is scored a draw
};

struct AdjudicationState {
    int whiteAhead = 0;  // consecutive plies with White's score >= winMargin
    int blackAhead = 0;
    int level = 0;  // consecutive plies with |score| <= drawMargin
};

enum class Verdict { NONE, WHITE_WINS, BLACK_WINS, DRAW, TOO_LONG };

// Takes the search score of one more ply (White's view) and the number of
// self-play plies played before it; returns the verdict it leads to.
Verdict adjudicate(AdjudicationState& s, const AdjudicationRules& rules, int whiteScore, int pliesPlayed);

GameResult whiteResultOf(Verdict v);

}  // namespace datagen
