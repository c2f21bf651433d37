#include "eval/evaluate.h"

#include <iostream>

// Placeholder until the evaluation arrives: material and placement only.
void initEvaluation(Position&) {}

int evaluate(int, Position& p) {
    combEval total = p.material[0] - p.material[1] + p.psq[0] - p.psq[1];
    int phase = p.phase > 24 ? 24 : p.phase;
    int score = (egOf(total) * (24 - phase) + mgOf(total) * phase) / 24;
    return p.sideToMove == WHITE ? score : -score;
}

int evaluateForDisplay(Position& p) { return evaluate(0, p); }

void texelCommand() {
    std::cout << "There seems to be a problem with the tuning file. tuning not executed\n" << std::flush;
}
