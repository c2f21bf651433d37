// The handcrafted evaluation's positional terms: mobility, king safety,
// threats, piece placement, passed pawns and endgame knowledge.
#pragma once

#include "board/position.h"
#include "eval/caches.h"

constexpr combEval BISHOP_PAIR = X(20, 58);
constexpr combEval TEMPO = X(25, 17);

// The game phase, 24 with all pieces on the board, held to 0..24 (promotions
// can push the sum past 24).
int clampedPhase(const Position& p);

// White-minus-Black positional terms. `subtotal` is material, placement and
// pawn structure; the endgame knowledge scales it for drawish material.
combEval positionalTerms(const Position& p, const PawnEntry& pawns, combEval subtotal);

// The bishop-pair bonus, White minus Black.
combEval bishopPair(const Position& p);
// Pulls the endgame half toward zero, never past it.
combEval complexityCorrection(int eg, int pawns, bool bothFlanks, bool pawnEnding);
// Blends the halves by phase (24 = middlegame), rounding toward zero.
int taper(combEval total, int phase);
