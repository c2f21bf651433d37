// Basic vocabulary of the engine: bitboards, squares, piece codes, moves and
// packed middlegame/endgame scores.
#pragma once

#include <cstdint>

using Bitboard = uint64_t;

constexpr int NOFSQUARES = 64;
constexpr int MAX_PLY = 128;            // deepest search ply; nodes at 127 return the static evaluation
constexpr int PLY_STACK = MAX_PLY + 8;  // per-ply records, with room for the quiescence tail
constexpr int MOVE_STACK = 256 * PLY_STACK;
constexpr int KEY_HISTORY = 4096;  // game plies kept for repetition detection

enum Colour : int { WHITE = 0, BLACK = 1 };

// Piece codes are the index of the letter in PIECE_LETTERS.
enum PieceCode : int {
    EMPTY = 0,
    WPAWN = 2,
    BPAWN,
    WKNIGHT,
    BKNIGHT,
    WBISHOP,
    BBISHOP,
    WROOK,
    BROOK,
    WQUEEN,
    BQUEEN,
    WKING,
    BKING
};
enum PieceType : int { PAWN = 1, KNIGHT, BISHOP, ROOK, QUEEN, KING };

inline constexpr char PIECE_LETTERS[] = "  PpNnBbRrQqKk";
inline constexpr char TYPE_LETTERS[] = " pnbrqk";
inline constexpr char PROMO_LETTERS[] = "  ppnnbbrrqq";

constexpr int colourOf(int code) { return code & 1; }
constexpr int typeOf(int code) { return code >> 1; }
constexpr int makePiece(int type, int colour) { return type * 2 + colour; }

constexpr int fileOf(int sq) { return sq & 7; }
constexpr int rankOf(int sq) { return sq >> 3; }

// Move flags.
enum MoveFlag : int {
    FLAG_NORMAL = 0,
    FLAG_PROMO_N = 4,
    FLAG_PROMO_B = 6,
    FLAG_PROMO_R = 8,
    FLAG_PROMO_Q = 10,
    FLAG_EP = 12,
    FLAG_DOUBLE = 13,
    FLAG_SHORT = 14,
    FLAG_LONG = 15
};

// A move is four bytes: from, to, flag, ordering score (low to high).
using Move = uint32_t;
constexpr Move NO_MOVE = 0;

constexpr Move makeMove(int from, int to, int flag = 0, int score = 0) {
    return uint32_t(from) | uint32_t(to) << 8 | uint32_t(flag) << 16 | uint32_t(score) << 24;
}
constexpr int moveFrom(Move m) { return m & 0xff; }
constexpr int moveTo(Move m) { return (m >> 8) & 0xff; }
constexpr int moveFlag(Move m) { return (m >> 16) & 0xff; }
constexpr int moveScore(Move m) { return m >> 24; }
constexpr Move moveBase(Move m) { return m & 0xffffff; }  // from, to, flag without score
constexpr bool isPromotion(Move m) {
    int f = moveFlag(m);
    return f >= 4 && f <= 10 && !(f & 1);
}
constexpr bool isCastling(Move m) { return moveFlag(m) >= FLAG_SHORT; }

// Bit helpers.
inline int popcount(Bitboard b) { return __builtin_popcountll(b); }
inline int lsb(Bitboard b) { return __builtin_ctzll(b); }
inline int popLsb(Bitboard& b) {
    int s = __builtin_ctzll(b);
    b &= b - 1;
    return s;
}
constexpr Bitboard bit(int sq) { return Bitboard(1) << sq; }
inline bool moreThanOne(Bitboard b) { return (b & (b - 1)) != 0; }

// combEval: a middlegame/endgame pair in one 32-bit integer, eg * 65536 + mg.
using combEval = int32_t;
constexpr combEval X(int mg, int eg) { return combEval(int64_t(eg) * 65536 + mg); }
constexpr int mgOf(combEval v) { return int16_t(uint32_t(v) & 0xffff); }
constexpr int egOf(combEval v) { return int16_t((uint32_t(v) + 32768u) >> 16); }
