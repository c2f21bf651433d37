// The steps of the static evaluation, one function each, so that each can be
// checked on its own.
#pragma once

#include "board/position.h"

constexpr int NETWORK_THRESHOLD = 400;  // endgame material edge from which the handcrafted terms score
constexpr combEval BISHOP_PAIR = X(20, 58);
constexpr combEval TEMPO = X(25, 17);

int clampedPhase(const Position& p);
combEval materialBalance(const Position& p);
bool usesNetwork(combEval balance);

// Network output scaled to centipawns, side to move's point of view.
int networkScore(Position& p, int ply);

// Handcrafted score from White's point of view (steps after the path choice).
int handcraftedScore(Position& p);

combEval bishopPair(const Position& p);
// Pulls the endgame half toward zero, never past it.
combEval complexityCorrection(int eg, int pawns, bool bothFlanks, bool pawnEnding);
// Blends the halves by phase (24 = middlegame), rounding toward zero.
int taper(combEval total, int phase);
