// The developer commands around perft: "perft" at the console, and "rtest" and
// "rtestRFC", which check the move generator against a file of known counts.
#pragma once

#include <iosfwd>
#include <string>

#include "board/position.h"

// The deepest perft the commands and the file checks accept: the per-ply
// records have room for far more, and a deeper count would not finish anyway.
constexpr int MAX_PERFT_DEPTH = 20;

// The "perft" command: draws the board, counts to `depth`, prints time and speed.
void perftCommand(const Position& main, int depth, std::ostream& out);

// The file that "rtest" and "rtestRFC" read: perftFRC.txt in the working directory.
extern std::string perftFile;

// Both return 1 when every count matched, 0 otherwise. "rtest" resizes the
// shared transposition table after each line, so no search may be running.
int rtestCommand(const Position& main, std::ostream& out);
int rtestRFCCommand(const Position& main, std::ostream& out);
