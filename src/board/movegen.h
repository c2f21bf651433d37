// Staged move generators. Normal generation is pseudo-legal (the caller tests
// legality after or before making the move); check evasions are legal.
#pragma once

#include "board/position.h"

// Each generator writes from `out`, records the end as this ply's end and the
// next ply's start, and returns it.
Move* generateCaptures(int ply, Move* out, Position& p);
Move* generateQuiets(int ply, Move* out, Position& p);  // after generateCaptures of the same ply
Move* generateQuiescence(int ply, Move* out, Position& p);
Move* generateEvasions(int ply, Move* out, Position& p);

// The captures (and, for quiescence, the quiet queen promotions) as if the
// side to move were not in check: for a search that has stopped answering
// checks, and tests each move's king safety itself. The two above hand over
// to these when there is no check.
Move* generateCapturesIgnoringCheck(int ply, Move* out, Position& p);
Move* generateQuiescenceIgnoringCheck(int ply, Move* out, Position& p);

// Whether a pseudo-legal move of the side to move leaves its own king safe.
// Needs the ply's notPinned mask, so call it after generating that ply's moves.
bool isLegal(const Position& p, int ply, Move m);

// All legal moves of ply `ply`, written from the ply's list start; returns the end.
Move* generateLegal(int ply, Position& p);

// Number of legal moves, counted without writing most of them.
int countLegalMoves(int ply, Position& p);

Bitboard pinnedPieces(const Position& p, int colour);
