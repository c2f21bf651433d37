// The board record: mailbox and bitboards side by side, keys, incremental
// evaluation sums, counters and the per-ply state stack.
#pragma once

#include <string>

#include "board/types.h"
#include "eval/net_shape.h"

// Pieces changed by the move that led to a ply, for the network's incremental update.
constexpr uint8_t OFF_BOARD = 65;
struct DirtyPiece {
    uint8_t count;
    uint8_t piece[3];
    uint8_t from[3];
    uint8_t to[3];
};

struct alignas(64) Accumulator {
    int16_t values[2][NNUE_HIDDEN];  // White's perspective, Black's perspective
    uint8_t computed;
};

// Castling mask bits and the matching index into castlingRook.
enum CastlingBit : int { WHITE_SHORT = 1, BLACK_SHORT = 2, WHITE_LONG = 4, BLACK_LONG = 8 };
constexpr int CR_WHITE_SHORT = 0, CR_BLACK_SHORT = 1, CR_WHITE_LONG = 2, CR_BLACK_LONG = 3;

// What unmaking restores by copying rather than recomputing, under the names
// the position gives it.
struct UndoCopy {
    uint64_t key;
    uint64_t pawnKey;
    combEval material[2];
    combEval psq[2];
    int16_t phase;
    int16_t fiftyMove;
};

// Per search ply: generator bounds, pin information and what unmaking needs.
struct posinfo {
    Move* moveStart;
    Move* moveEnd;
    Bitboard notPinned;
    UndoCopy saved;
    uint8_t captured;
    uint8_t castling;
    uint8_t epSquare;  // square of the pawn that just double-stepped, 0 for none
    uint8_t inCheck;
    uint8_t genMarker;  // 'c' when check evasions replaced the normal captures
};

struct EvalCacheEntry;
struct PawnEntry;

struct Position {
    uint8_t board[64];
    Bitboard pieces[14];  // 0 all white, 1 all black, 2..13 by piece code
    uint64_t key;
    uint64_t pawnKey;
    combEval material[2];
    combEval psq[2];
    int16_t phase;
    uint8_t sideToMove;
    int16_t gamePly;
    int16_t fiftyMove;
    uint8_t castlingRook[4];  // white short, black short, white long, black long
    uint64_t keyHistory[KEY_HISTORY];
    posinfo plyStates[PLY_STACK];
    DirtyPiece dirty[PLY_STACK];
    Accumulator acc[PLY_STACK];
    // Owned by the thread that searches this position.
    EvalCacheEntry* evalCache;
    PawnEntry* pawnHash;
    unsigned threadIndex;
};

// Copies the fields of an UndoCopy between records that have them.
template <class To, class From>
inline void copyUndoFields(To& to, const From& from) {
    to.key = from.key;
    to.pawnKey = from.pawnKey;
    to.material[0] = from.material[0];
    to.material[1] = from.material[1];
    to.psq[0] = from.psq[0];
    to.psq[1] = from.psq[1];
    to.phase = from.phase;
    to.fiftyMove = from.fiftyMove;
}

// Sets the root ply record, keeping the move stack p generates into.
inline void setRootPlyState(Position& p, const posinfo& root) {
    Move* stack = p.plyStates[0].moveStart;
    p.plyStates[0] = root;
    p.plyStates[0].moveStart = stack;
}

extern bool chess960;  // the UCI_Chess960 option

inline Bitboard occupancy(const Position& p) { return p.pieces[0] | p.pieces[1]; }
inline int kingSquare(const Position& p, int colour) { return lsb(p.pieces[WKING + colour]); }

// Enemy pieces of colour `by` that attack sq with the given occupancy.
Bitboard attackersOf(const Position& p, int sq, int by, Bitboard occ);
bool isAttacked(const Position& p, int sq, int by, Bitboard occ);
inline bool sideInCheck(const Position& p, int colour) {
    return isAttacked(p, kingSquare(p, colour), colour ^ 1, occupancy(p));
}

void computeKeys(Position& p);      // key and pawn key from scratch
void computeEvalSums(Position& p);  // material, psq and phase from scratch
void clearPosition(Position& p);

// Reads a FEN into p. Returns false and leaves a reason in *error when the text
// cannot describe a playable position (p is then unspecified). Castling rights
// that no king and rook can use are dropped; *droppedCastling gets their bits.
bool setFen(Position& p, const std::string& fen, std::string* error = nullptr, int* droppedCastling = nullptr);
// The first FEN field (the pieces, rank 8 first) of a mailbox of piece codes.
std::string placementFen(const uint8_t board[64]);
std::string getFen(const Position& p);
std::string boardPicture(const Position& p);

// Copies the searchable state of src into dst (history up to the current ply,
// the root ply record) without touching dst's thread-owned pointers.
void copyRootPosition(Position& dst, const Position& src);

extern Move mainMoveStack[MOVE_STACK];

// A full consistency check (keys, sums, bitboards against the mailbox); for tests.
bool positionIsConsistent(const Position& p, int ply, std::string* why = nullptr);

extern const char* START_FEN;
