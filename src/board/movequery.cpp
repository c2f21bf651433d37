#include "board/movequery.h"

#include "board/attacks.h"

namespace {

constexpr Bitboard LAST_RANKS = 0xffull | 0xffull << 56;

}  // namespace

bool isPseudoLegal(const Position& p, int ply, Move m) {
    int from = moveFrom(m), to = moveTo(m), flag = moveFlag(m);
    if (from >= 64 || to >= 64 || (from == to && flag < FLAG_SHORT)) return false;
    int us = p.sideToMove;
    int piece = p.board[from];
    if (piece == EMPTY || colourOf(piece) != us) return false;
    int type = typeOf(piece);
    int target = p.board[to];
    Bitboard occ = occupancy(p);
    int up = us == WHITE ? 8 : -8;

    switch (flag) {
    case FLAG_NORMAL: break;
    case FLAG_PROMO_N:
    case FLAG_PROMO_B:
    case FLAG_PROMO_R:
    case FLAG_PROMO_Q:
        if (type != PAWN || !(bit(to) & LAST_RANKS)) return false;
        if (to == from + up) return target == EMPTY;
        return target != EMPTY && colourOf(target) != us && (pawnAttacks(us, from) & bit(to));
    case FLAG_EP:
        return type == PAWN && p.plyStates[ply].epSquare == to && to != 0 && (epNeighbours[to] & bit(from))
               && p.board[to] == makePiece(PAWN, us ^ 1) && p.board[to + up] == EMPTY;
    case FLAG_DOUBLE:
        return type == PAWN && rankOf(from) == (us == WHITE ? 1 : 6) && to == from + 2 * up
               && p.board[from + up] == EMPTY && target == EMPTY;
    case FLAG_SHORT:
    case FLAG_LONG: {
        if (type != KING || p.plyStates[ply].inCheck) return false;
        int index = (flag == FLAG_SHORT ? CR_WHITE_SHORT : CR_WHITE_LONG) + us;
        if (!(p.plyStates[ply].castling & (1 << index))) return false;
        int backRank = us == WHITE ? 0 : 56;
        int kingTo = backRank + (flag == FLAG_SHORT ? 6 : 2);
        int rookTo = backRank + (flag == FLAG_SHORT ? 5 : 3);
        int rook = p.castlingRook[index];
        if (to != kingTo || p.board[rook] != makePiece(ROOK, us)) return false;
        Bitboard path = betweenSquares[from][kingTo] | betweenSquares[rook][rookTo] | bit(kingTo) | bit(rookTo);
        if (path & occ & ~bit(from) & ~bit(rook)) return false;
        Bitboard kingPath = betweenSquares[from][kingTo];
        while (kingPath)
            if (isAttacked(p, popLsb(kingPath), us ^ 1, occ)) return false;
        return true;
    }
    default: return false;
    }

    if (target != EMPTY && colourOf(target) == us) return false;
    switch (type) {
    case PAWN:
        if (bit(to) & LAST_RANKS) return false;
        if (to == from + up) return target == EMPTY;
        return target != EMPTY && (pawnAttacks(us, from) & bit(to));
    case KNIGHT: return knightAttacks[from] & bit(to);
    case BISHOP: return bishopAttacks(from, occ) & bit(to);
    case ROOK: return rookAttacks(from, occ) & bit(to);
    case QUEEN: return queenAttacks(from, occ) & bit(to);
    default: return kingAttacks[from] & bit(to);
    }
}

bool givesCheck(const Position& p, Move m) {
    int us = p.sideToMove, them = us ^ 1;
    int from = moveFrom(m), to = moveTo(m), flag = moveFlag(m);
    int ksq = kingSquare(p, them);
    int piece = p.board[from];
    Bitboard occ = occupancy(p) ^ bit(from);
    Bitboard ours[7] = {};
    for (int type = PAWN; type <= KING; ++type) ours[type] = p.pieces[makePiece(type, us)];
    ours[typeOf(piece)] ^= bit(from);

    if (flag == FLAG_EP) {
        int landing = to + (us == WHITE ? 8 : -8);
        occ = (occ ^ bit(to)) | bit(landing);
        ours[PAWN] |= bit(landing);
    } else if (flag >= FLAG_SHORT) {
        int index = (flag == FLAG_SHORT ? CR_WHITE_SHORT : CR_WHITE_LONG) + us;
        int rook = p.castlingRook[index];
        int rookTo = flag == FLAG_SHORT ? to - 1 : to + 1;
        occ = (occ ^ bit(rook)) | bit(to) | bit(rookTo);
        ours[ROOK] = (ours[ROOK] ^ bit(rook)) | bit(rookTo);
        ours[KING] |= bit(to);
    } else {
        occ |= bit(to);
        int landedType = isPromotion(m) ? flag >> 1 : typeOf(piece);
        ours[landedType] |= bit(to);
    }
    return (pawnAttacks(them, ksq) & ours[PAWN]) || (knightAttacks[ksq] & ours[KNIGHT])
           || (bishopAttacks(ksq, occ) & (ours[BISHOP] | ours[QUEEN]))
           || (rookAttacks(ksq, occ) & (ours[ROOK] | ours[QUEEN]));
}
