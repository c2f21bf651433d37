// Attack tables built once at start-up: magic sliders, leapers, pawn attackers,
// square relations and the masks the evaluation reads.
#pragma once

#include "board/types.h"

struct Magic {
    Bitboard* attacks;
    Bitboard mask;
    uint64_t magic;
    int shift;
};

extern Magic rookMagics[64];
extern Magic bishopMagics[64];

extern Bitboard knightAttacks[64];
extern Bitboard kingAttacks[64];
extern Bitboard pawnAttackers[2][64];
extern Bitboard rookEmpty[64];
extern Bitboard bishopEmpty[64];
extern Bitboard betweenSquares[64][64];
extern Bitboard lineThrough[64][64];
extern uint8_t squareDistance[64][64];
extern Bitboard epNeighbours[64];
extern Bitboard fileMask[8];
extern Bitboard ranksUpward[64];
extern Bitboard ranksDownward[64];
extern Bitboard adjacentFiles[64];
extern Bitboard frontSpan[2][64];
extern Bitboard kingZone[2][64];

// Builds every table; safe to call more than once (later calls do nothing).
void initAttackTables();

inline Bitboard rookAttacks(int sq, Bitboard occ) {
    const Magic& m = rookMagics[sq];
    return m.attacks[((occ & m.mask) * m.magic) >> m.shift];
}
inline Bitboard bishopAttacks(int sq, Bitboard occ) {
    const Magic& m = bishopMagics[sq];
    return m.attacks[((occ & m.mask) * m.magic) >> m.shift];
}
inline Bitboard queenAttacks(int sq, Bitboard occ) { return rookAttacks(sq, occ) | bishopAttacks(sq, occ); }
// Squares attacked by a pawn of colour c standing on sq. Computed by shifts
// because pawnAttackers is empty for the ranks next to the edges.
inline Bitboard pawnAttacks(int c, int sq) {
    Bitboard b = bit(sq);
    constexpr Bitboard fileA = 0x0101010101010101ull, fileH = fileA << 7;
    return c == WHITE ? ((b & ~fileA) << 7) | ((b & ~fileH) << 9) : ((b & ~fileA) >> 9) | ((b & ~fileH) >> 7);
}

// Whether a piece of colour `by` attacks sq with the given occupancy, in
// bitboards indexed by piece code as Position keeps them.
inline bool attackedBy(const Bitboard* pieces, int sq, int by, Bitboard occ) {
    Bitboard queens = pieces[WQUEEN + by];
    return (bishopAttacks(sq, occ) & (pieces[WBISHOP + by] | queens))
           || (rookAttacks(sq, occ) & (pieces[WROOK + by] | queens)) || (pawnAttackers[by][sq] & pieces[WPAWN + by])
           || (knightAttacks[sq] & pieces[WKNIGHT + by]) || (kingAttacks[sq] & pieces[WKING + by]);
}

// Runs the random trial search for one square's multiplier (the start-up uses
// stored results of the same search).
uint64_t searchMagic(int sq, bool rook);

// Walks the rays from sq, stopping on the first occupied square (included).
Bitboard slowRookAttacks(int sq, Bitboard occ);
Bitboard slowBishopAttacks(int sq, Bitboard occ);
