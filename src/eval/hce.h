// The handcrafted evaluation's positional terms: mobility, king safety,
// threats, piece placement, passed pawns and endgame knowledge.
#pragma once

#include "board/position.h"
#include "eval/caches.h"

// White-minus-Black positional terms. `subtotal` is material, placement and
// pawn structure; the endgame knowledge scales it for drawish material.
combEval positionalTerms(const Position& p, const PawnEntry& pawns, combEval subtotal);
