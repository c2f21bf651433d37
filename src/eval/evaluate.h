// The static evaluation entry point.
#pragma once

#include "board/position.h"

// Gives a position the evaluation caches of the thread that owns it.
void initEvaluation(Position& p);

// Score of the position from the side to move's point of view, in centipawns.
int evaluate(int ply, Position& p);

// The "evil" command's figure for the main position.
int evaluateForDisplay(Position& p);

// The "texel" command.
void texelCommand();
