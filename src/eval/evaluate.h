// The static evaluation entry point.
#pragma once

#include "board/position.h"

// Gives a position its own evaluation cache and pawn table (allocated on the
// first call for a position whose pointers are still null, cleared on later
// calls). Each search thread calls it for its own position.
void initEvaluation(Position& p);

// Frees what initEvaluation allocated and nulls the pointers.
void releaseEvaluation(Position& p);

// Call after the network's weights or the handcrafted tables change: rebuilds
// the network's derived weight layout and forgets every cached score.
void evaluationChanged();

// When set, every position takes the handcrafted path, however balanced its
// material: the data generator's bootstrap games, played before any network
// exists. Off by default; call evaluationChanged() after changing it, so no
// cached score of the other path is reused.
extern bool handcraftedOnly;

// Score of the position from the side to move's point of view, in centipawns.
int evaluate(int ply, Position& p);

// Brings the network's first layer up to date for a position just reached, when
// the network will score it. The search calls it right after a move, while the
// position's table bucket is still on its way from memory; the later
// evaluation then finds the work done. The score is the same either way.
void prepareEvaluation(int ply, Position& p);

// The choice between the two paths: the network scores a position while the
// endgame half of its material and placement balance stays inside this edge,
// the handcrafted terms from the edge on. The training tools filter their
// positions by the same rule.
constexpr int NETWORK_THRESHOLD = 400;
// Material and piece-square balance, White's view.
combEval materialBalance(const Position& p);
bool usesNetwork(combEval balance);

// The network's raw output becomes centipawns as raw x networkOutputScale /
// NETWORK_OUTPUT_DIVISOR: the more pawns and pieces on the board, the more
// the output weighs.
constexpr int networkOutputScale(int pawns, int phase) { return (pawns + 55) * 16 + phase * 11; }
constexpr int NETWORK_OUTPUT_DIVISOR = 24576;

// The loaded network's score of the position at `ply` in centipawns, side to
// move's view, with the output scaling by pawns and phase applied: the figure
// evaluate() takes from the network, before its own adjustments.
int networkScore(Position& p, int ply);

// The handcrafted path's score, White's point of view: the terms of hce.h with
// material, pawn structure, bishop pair, complexity and tempo, tapered.
int handcraftedScore(Position& p);

// The "evil" command's figure for the main position, computed afresh.
int evaluateForDisplay(Position& p);
