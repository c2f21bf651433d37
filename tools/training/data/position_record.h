// Turning engine positions and text lines into training records.
#pragma once

#include <string>

#include "board/position.h"
#include "training_data.h"

// Attack tables and keys, needed before any FEN can be read.
void initRecordTables();

// The record of a position with a score and a result, both from the side to move's view.
bool recordFromPosition(const Position& p, int score, GameResult result, TrainingRecord& r);

// Reads a FEN through the engine's own reader. False, with a reason, for a FEN
// the engine refuses or a position with more than 32 pieces.
bool recordFromFen(const std::string& fen, int score, GameResult result, TrainingRecord& r,
                   std::string* error = nullptr);

// How the numbers of a text line are meant.
struct TextLineOptions {
    bool scoreFromWhite = false;  // false: the score is the side to move's view
    bool resultFromWhite = true;  // true: "1-0" means White won, as in game records
};

// One line "FEN;score;result". The result is "1-0", "0-1", "1/2-1/2" or a
// number 1, 0.5, 0 (also "1.0", "0.0"); blanks around fields are ignored.
bool recordFromTextLine(const std::string& line, const TextLineOptions& options, TrainingRecord& r,
                        std::string* error = nullptr);

// The FEN of a record's placement and side to move (no castling or en passant).
std::string recordFen(const TrainingRecord& r);

// One line of the engine's tuning file: the FEN, "c9" and White's result in quotes.
std::string tuningLine(const std::string& fen, GameResult whiteResult);
// The same for a record (its result turned back to White's view).
std::string tuningLine(const TrainingRecord& r);
