// Game records in PGN form. Moves stay in the engines' coordinate notation;
// each carries a comment with the mover's score, depth and the time charged.
#pragma once

#include <string>

#include "game.h"

namespace matchtool {

struct PgnHeader {
    std::string event, white, black, timeControl;
    int round = 0;
};

std::string pgnRecord(const PgnHeader& h, const GameResult& g);

}  // namespace matchtool
