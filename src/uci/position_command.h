// The "position" command: sets the main position from a FEN or the start
// position and plays a list of moves on it.
#pragma once

#include <iosfwd>
#include <string>

#include "board/position.h"

extern Position mainPosition;

// Applies a "position" command's arguments. On any problem the main position
// is left as it was and the reason comes back in *error.
bool positionCommand(std::istream& args, std::string* error);

// Plays a legal move on a position kept at ply 0, the way a game record grows:
// the key history gains one entry and the root record takes the new state.
void playRootMove(Position& p, Move m);

// Sets the main position to the start position (used at start-up).
void setStartPosition();
