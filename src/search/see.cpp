#include "search/see.h"

#include "board/attacks.h"

namespace {

inline Bitboard diagonalSliders(const Position& p) {
    return p.pieces[WBISHOP] | p.pieces[BBISHOP] | p.pieces[WQUEEN] | p.pieces[BQUEEN];
}
inline Bitboard straightSliders(const Position& p) {
    return p.pieces[WROOK] | p.pieces[BROOK] | p.pieces[WQUEEN] | p.pieces[BQUEEN];
}

Bitboard allAttackers(const Position& p, int sq, Bitboard occ) {
    return (pawnAttackers[WHITE][sq] & p.pieces[WPAWN]) | (pawnAttackers[BLACK][sq] & p.pieces[BPAWN])
           | (knightAttacks[sq] & (p.pieces[WKNIGHT] | p.pieces[BKNIGHT]))
           | (kingAttacks[sq] & (p.pieces[WKING] | p.pieces[BKING])) | (bishopAttacks(sq, occ) & diagonalSliders(p))
           | (rookAttacks(sq, occ) & straightSliders(p));
}

}  // namespace

bool seeTest(const Position& p, Move m, int threshold) {
    int flag = moveFlag(m);
    if (flag == FLAG_EP || flag >= FLAG_SHORT) return threshold <= 0;
    int from = moveFrom(m), to = moveTo(m);
    int balance = SEE_VALUE[typeOf(p.board[to])] - threshold;
    if (balance < 0) return false;
    balance -= SEE_VALUE[typeOf(p.board[from])];
    if (balance >= 0) return true;

    // balance is the mover's margin should the opponent take back for free.
    Bitboard occ = occupancy(p) ^ bit(from);
    Bitboard attackers = allAttackers(p, to, occ) & occ;
    Bitboard diagonal = diagonalSliders(p), straight = straightSliders(p);
    int side = colourOf(p.board[from]) ^ 1;
    bool result = true;
    for (;;) {
        Bitboard mine = attackers & p.pieces[side];
        if (!mine) break;
        int type = PAWN;
        Bitboard pick = 0;
        for (; type < KING; ++type)
            if ((pick = mine & p.pieces[makePiece(type, side)])) break;
        if (type == KING) {
            // A king may only take last, when nothing guards the square any more.
            if (attackers & p.pieces[side ^ 1]) break;
            result = !result;
            break;
        }
        occ ^= pick & (0 - pick);
        if (type == PAWN || type == BISHOP || type == QUEEN) attackers |= bishopAttacks(to, occ) & diagonal;
        if (type == ROOK || type == QUEEN) attackers |= rookAttacks(to, occ) & straight;
        attackers &= occ;
        result = !result;
        balance += SEE_VALUE[type];
        if (balance < 0) break;
        side ^= 1;
        // Seen from the other side; the -1 makes "at least the threshold" exact for both.
        balance = -balance - 1;
    }
    return result;
}
