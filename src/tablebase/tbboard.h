// A small copy of a position for probing: bitboards, side to move, en-passant
// pawn and fifty-move counter, with its own legal move generation so that
// probing never touches the searching thread's move stack.
#pragma once

#include "board/position.h"

struct TbBoard {
    Bitboard pieces[14];  // laid out as in Position: 0 white, 1 black, 2..13 by piece code
    int side;
    int epSquare;  // square of the pawn that may be taken en passant, 0 for none
    int fifty;
};

struct TbMoveList {
    Move moves[256];
    int count;
};

enum TbMoveKind : int {
    TB_ALL_MOVES,     // every legal move
    TB_CAPTURES,      // captures other than en passant, promotions with capture included
    TB_EN_PASSANT,    // en-passant captures only
    TB_PAWN_PUSHES,   // pawn moves that capture nothing, promotions included
    TB_QUIET_PIECES,  // moves of pieces other than pawns that capture nothing
};

// Reads the position. False when it has castling rights (or a key that does
// not describe it), which the tables do not cover.
bool boardFromPosition(const Position& p, TbBoard& b);

void generateTbMoves(const TbBoard& b, TbMoveKind kind, TbMoveList& list);
bool hasLegalMove(const TbBoard& b);
TbBoard boardAfter(const TbBoard& b, Move m);
bool boardInCheck(const TbBoard& b);
int pieceCountOf(const TbBoard& b);
// Material key of the position and of its colour-swapped twin.
uint64_t boardMaterialKey(const TbBoard& b, bool mirrored);
