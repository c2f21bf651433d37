// Opening positions for self-play: a line of a book (EPD or FEN lines) and a
// few random legal moves after it.
#pragma once

#include "uci/position_command.h"  // playRootMove

#include <string>
#include <vector>

#include "board/position.h"
#include "random.h"

namespace datagen {

struct OpeningBook {
    std::vector<std::string> fens;  // the first four fields of each line, clocks added
};

// Reads every non-empty line; false with a reason when the file cannot be read
// or holds no position.
bool loadBook(const std::string& path, OpeningBook& book, std::string* error);

// Sets p (whose plyStates[0].moveStart must point at a move buffer) to a
// random book line followed by `randomPlies` random legal moves. Lines the
// engine cannot read and walks that end the game are drawn again; false only
// when no try out of many succeeds.
bool randomOpening(const OpeningBook& book, SplitMix& rng, int randomPlies, Position& p);

}  // namespace datagen
