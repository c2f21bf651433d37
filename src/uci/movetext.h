// Coordinate move text in both directions, with Chess960 castling written as
// the king taking its own rook.
#pragma once

#include <string>

#include "board/position.h"

std::string squareText(int sq);
std::string moveToText(const Position& p, Move m);

// Decodes text on the position (side to move) without any legality check.
// Returns NO_MOVE when the text is not four or five characters of coordinates.
Move decodeMove(const Position& p, const std::string& text);

// Decodes and matches against the legal moves at `ply`; NO_MOVE when the text
// names no legal move.
Move findLegalMove(Position& p, int ply, const std::string& text);
