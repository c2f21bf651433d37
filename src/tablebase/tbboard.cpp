#include "tablebase/tbboard.h"

#include "board/attacks.h"
#include "board/zobrist.h"
#include "tablebase/registry.h"

namespace {

int pieceAt(const TbBoard& b, int sq, int colour) {
    for (int code = WPAWN + colour; code <= BKING; code += 2)
        if (b.pieces[code] & bit(sq)) return code;
    return EMPTY;
}

void addPawnMove(TbMoveList& list, int from, int to) {
    if (to >= 56 || to < 8) {
        for (int flag : {FLAG_PROMO_Q, FLAG_PROMO_R, FLAG_PROMO_B, FLAG_PROMO_N})
            list.moves[list.count++] = makeMove(from, to, flag);
    } else {
        list.moves[list.count++] = makeMove(from, to);
    }
}

void addTargets(TbMoveList& list, int from, Bitboard targets) {
    while (targets) list.moves[list.count++] = makeMove(from, popLsb(targets));
}

void pseudoLegal(const TbBoard& b, TbMoveKind kind, TbMoveList& list) {
    int us = b.side, them = us ^ 1;
    Bitboard own = b.pieces[us], enemy = b.pieces[them], occ = own | enemy;
    list.count = 0;
    Bitboard pawns = b.pieces[WPAWN + us];
    int up = us == WHITE ? 8 : -8;

    if (kind == TB_EN_PASSANT || kind == TB_ALL_MOVES) {
        if (b.epSquare) {
            Bitboard takers = pawns & epNeighbours[b.epSquare];
            while (takers) list.moves[list.count++] = makeMove(popLsb(takers), b.epSquare, FLAG_EP);
        }
        if (kind == TB_EN_PASSANT) return;
    }
    if (kind != TB_QUIET_PIECES) {
        for (Bitboard p = pawns; p;) {
            int from = popLsb(p);
            if (kind != TB_PAWN_PUSHES) {
                Bitboard hits = pawnAttacks(us, from) & enemy;
                while (hits) addPawnMove(list, from, popLsb(hits));
            }
            if (kind == TB_CAPTURES) continue;
            int to = from + up;
            if (occ & bit(to)) continue;
            addPawnMove(list, from, to);
            int startRank = us == WHITE ? 1 : 6;
            if (rankOf(from) == startRank && !(occ & bit(to + up)))
                list.moves[list.count++] = makeMove(from, to + up, FLAG_DOUBLE);
        }
        if (kind == TB_PAWN_PUSHES) return;
    }
    Bitboard targets = kind == TB_CAPTURES ? enemy : kind == TB_QUIET_PIECES ? ~occ : ~own;
    for (Bitboard p = b.pieces[WKNIGHT + us]; p;) {
        int from = popLsb(p);
        addTargets(list, from, knightAttacks[from] & targets);
    }
    for (Bitboard p = b.pieces[WBISHOP + us] | b.pieces[WQUEEN + us]; p;) {
        int from = popLsb(p);
        addTargets(list, from, bishopAttacks(from, occ) & targets);
    }
    for (Bitboard p = b.pieces[WROOK + us] | b.pieces[WQUEEN + us]; p;) {
        int from = popLsb(p);
        addTargets(list, from, rookAttacks(from, occ) & targets);
    }
    int king = lsb(b.pieces[WKING + us]);
    addTargets(list, king, kingAttacks[king] & targets);
}

}  // namespace

bool boardFromPosition(const Position& p, TbBoard& b) {
    uint64_t key = castlingKeys[0];
    for (int code = 0; code < 14; ++code) {
        b.pieces[code] = p.pieces[code];
        if (code < WPAWN) continue;
        for (Bitboard bb = p.pieces[code]; bb;) key ^= pieceKeys[code][popLsb(bb)];
    }
    b.side = p.sideToMove;
    b.fifty = p.fiftyMove;
    if (b.side == BLACK) key ^= sideKey;
    // The key holds the en-passant file whenever a pawn has just double-stepped.
    uint64_t rest = p.key ^ key;
    b.epSquare = 0;
    if (!rest) return true;
    for (int file = 0; file < 8; ++file)
        if (rest == epKeys[file]) {
            b.epSquare = (b.side == WHITE ? 32 : 24) + file;
            return true;
        }
    return false;
}

void generateTbMoves(const TbBoard& b, TbMoveKind kind, TbMoveList& list) {
    pseudoLegal(b, kind, list);
    int kept = 0;
    for (int i = 0; i < list.count; ++i) {
        TbBoard next = boardAfter(b, list.moves[i]);
        int king = lsb(next.pieces[WKING + b.side]);
        if (!attackedBy(next.pieces, king, b.side ^ 1, next.pieces[0] | next.pieces[1]))
            list.moves[kept++] = list.moves[i];
    }
    list.count = kept;
}

bool hasLegalMove(const TbBoard& b) {
    TbMoveList list;
    generateTbMoves(b, TB_ALL_MOVES, list);
    return list.count > 0;
}

TbBoard boardAfter(const TbBoard& b, Move m) {
    TbBoard n = b;
    int us = b.side, them = us ^ 1;
    int from = moveFrom(m), to = moveTo(m), flag = moveFlag(m);
    int piece = pieceAt(b, from, us);
    bool zeroing = typeOf(piece) == PAWN;
    Bitboard fromBit = bit(from);
    if (flag == FLAG_EP) {
        int landing = to + (us == WHITE ? 8 : -8);
        n.pieces[WPAWN + them] ^= bit(to);
        n.pieces[them] ^= bit(to);
        n.pieces[piece] ^= fromBit | bit(landing);
        n.pieces[us] ^= fromBit | bit(landing);
    } else {
        int captured = pieceAt(b, to, them);
        if (captured) {
            n.pieces[captured] ^= bit(to);
            n.pieces[them] ^= bit(to);
            zeroing = true;
        }
        n.pieces[piece] ^= fromBit;
        n.pieces[isPromotion(m) ? flag + us : piece] ^= bit(to);
        n.pieces[us] ^= fromBit | bit(to);
    }
    n.epSquare = flag == FLAG_DOUBLE ? to : 0;
    n.fifty = zeroing ? 0 : b.fifty + 1;
    n.side = them;
    return n;
}

bool boardInCheck(const TbBoard& b) {
    int king = lsb(b.pieces[WKING + b.side]);
    return attackedBy(b.pieces, king, b.side ^ 1, b.pieces[0] | b.pieces[1]);
}

int pieceCountOf(const TbBoard& b) { return popcount(b.pieces[0] | b.pieces[1]); }

uint64_t boardMaterialKey(const TbBoard& b, bool mirrored) {
    int counts[2][7] = {};
    for (int type = PAWN; type <= QUEEN; ++type)
        for (int colour = 0; colour < 2; ++colour)
            counts[colour ^ int(mirrored)][type] = popcount(b.pieces[makePiece(type, colour)]);
    return materialKey(counts);
}
