#include "board/makemove.h"

#include "board/zobrist.h"
#include "eval/tables.h"

namespace {

inline void removePiece(Position& p, int code, int sq) {
    p.board[sq] = 0;
    p.pieces[code] ^= bit(sq);
    p.pieces[colourOf(code)] ^= bit(sq);
}

inline void placePiece(Position& p, int code, int sq) {
    p.board[sq] = uint8_t(code);
    p.pieces[code] |= bit(sq);
    p.pieces[colourOf(code)] |= bit(sq);
}

inline void addDirty(DirtyPiece& d, int code, int from, int to) {
    d.piece[d.count] = uint8_t(code);
    d.from[d.count] = uint8_t(from);
    d.to[d.count] = uint8_t(to);
    ++d.count;
}

inline int castlingIndex(int flag, int us) { return (flag == FLAG_SHORT ? CR_WHITE_SHORT : CR_WHITE_LONG) + us; }

}  // namespace

int castlingAfterMove(const Position& p, int castling, int from, int to) {
    if (!castling) return castling;
    int us = p.sideToMove, them = us ^ 1;
    int piece = p.board[from];
    int shortBit = us == WHITE ? WHITE_SHORT : BLACK_SHORT;
    int longBit = us == WHITE ? WHITE_LONG : BLACK_LONG;
    if (piece == makePiece(KING, us)) castling &= ~(shortBit | longBit);
    else if (piece == makePiece(ROOK, us)) {
        if (from == p.castlingRook[CR_WHITE_LONG + us]) castling &= ~longBit;
        else if (from == p.castlingRook[CR_WHITE_SHORT + us]) castling &= ~shortBit;
    }
    int theirShort = them == WHITE ? WHITE_SHORT : BLACK_SHORT;
    int theirLong = them == WHITE ? WHITE_LONG : BLACK_LONG;
    if (castling & (theirShort | theirLong)) {
        if (to == p.castlingRook[CR_WHITE_LONG + them]) castling &= ~theirLong;
        else if (to == p.castlingRook[CR_WHITE_SHORT + them]) castling &= ~theirShort;
    }
    return castling;
}

void makeMove(Position& p, int ply, Move m) {
    posinfo& cur = p.plyStates[ply];
    posinfo& next = p.plyStates[ply + 1];
    DirtyPiece& dirty = p.dirty[ply + 1];
    dirty.count = 0;
    p.acc[ply + 1].computed = 0;

    int us = p.sideToMove, them = us ^ 1;
    int from = moveFrom(m), to = moveTo(m), flag = moveFlag(m);
    int piece = p.board[from];

    copyUndoFields(next.saved, p);

    int captured = flag >= FLAG_SHORT ? 0 : p.board[to];
    next.captured = uint8_t(captured);
    uint64_t key = p.key;

    if (captured) {
        p.material[them] -= materialOf(captured);
        p.psq[them] -= psqOf(captured, to);
        p.phase -= phaseWeight[typeOf(captured)];
        removePiece(p, captured, to);
        key ^= pieceKeys[captured][to];
        if (typeOf(captured) == PAWN) p.pawnKey ^= pieceKeys[captured][to];
    }

    int castling = castlingAfterMove(p, cur.castling, from, to);
    next.castling = uint8_t(castling);
    if (castling != cur.castling) key ^= castlingKeys[cur.castling] ^ castlingKeys[castling];
    if (cur.epSquare) key ^= epKeys[cur.epSquare & 7];
    key ^= sideKey;
    next.epSquare = 0;

    switch (flag) {
    case FLAG_EP: {
        int landing = us == WHITE ? to + 8 : to - 8;
        p.psq[us] += psqOf(piece, landing) - psqOf(piece, from);
        removePiece(p, piece, from);
        placePiece(p, piece, landing);
        uint64_t change = pieceKeys[piece][from] ^ pieceKeys[piece][landing];
        key ^= change;
        p.pawnKey ^= change;
        addDirty(dirty, piece, from, landing);
        break;
    }
    case FLAG_SHORT:
    case FLAG_LONG: {
        int rookSq = p.castlingRook[castlingIndex(flag, us)];
        int rookTo = flag == FLAG_SHORT ? to - 1 : to + 1;
        int rook = makePiece(ROOK, us);
        p.psq[us] += psqOf(piece, to) - psqOf(piece, from) + psqOf(rook, rookTo) - psqOf(rook, rookSq);
        removePiece(p, piece, from);
        removePiece(p, rook, rookSq);
        placePiece(p, piece, to);
        placePiece(p, rook, rookTo);
        uint64_t kingChange = pieceKeys[piece][from] ^ pieceKeys[piece][to];
        key ^= kingChange ^ pieceKeys[rook][rookSq] ^ pieceKeys[rook][rookTo];
        p.pawnKey ^= kingChange;
        addDirty(dirty, piece, from, to);
        addDirty(dirty, rook, rookSq, rookTo);
        break;
    }
    case FLAG_PROMO_N:
    case FLAG_PROMO_B:
    case FLAG_PROMO_R:
    case FLAG_PROMO_Q: {
        int promoted = flag + us;
        p.material[us] += materialOf(promoted) - materialOf(piece);
        p.psq[us] += psqOf(promoted, to) - psqOf(piece, from);
        p.phase += phaseWeight[typeOf(promoted)];
        removePiece(p, piece, from);
        placePiece(p, promoted, to);
        key ^= pieceKeys[piece][from] ^ pieceKeys[promoted][to];
        p.pawnKey ^= pieceKeys[piece][from];
        addDirty(dirty, piece, from, OFF_BOARD);
        addDirty(dirty, promoted, OFF_BOARD, to);
        break;
    }
    default: {
        p.psq[us] += psqOf(piece, to) - psqOf(piece, from);
        removePiece(p, piece, from);
        placePiece(p, piece, to);
        uint64_t change = pieceKeys[piece][from] ^ pieceKeys[piece][to];
        key ^= change;
        int type = typeOf(piece);
        if (type == PAWN || type == KING) p.pawnKey ^= change;
        if (flag == FLAG_DOUBLE) {
            next.epSquare = uint8_t(to);
            key ^= epKeys[to & 7];
        }
        addDirty(dirty, piece, from, to);
        break;
    }
    }
    if (captured) addDirty(dirty, captured, to, OFF_BOARD);

    p.key = key;
    p.keyHistory[p.gamePly] = key;
    ++p.gamePly;
    p.fiftyMove = (captured || typeOf(piece) == PAWN) ? 0 : p.fiftyMove + 1;
    p.sideToMove = uint8_t(them);
    next.inCheck = sideInCheck(p, them);
}

void unmakeMove(Position& p, int ply, Move m) {
    const posinfo& next = p.plyStates[ply + 1];
    p.sideToMove ^= 1;
    int us = p.sideToMove;
    int from = moveFrom(m), to = moveTo(m), flag = moveFlag(m);

    switch (flag) {
    case FLAG_EP: {
        int landing = us == WHITE ? to + 8 : to - 8;
        int piece = p.board[landing];
        removePiece(p, piece, landing);
        placePiece(p, piece, from);
        break;
    }
    case FLAG_SHORT:
    case FLAG_LONG: {
        int rookSq = p.castlingRook[castlingIndex(flag, us)];
        int rookTo = flag == FLAG_SHORT ? to - 1 : to + 1;
        int king = makePiece(KING, us), rook = makePiece(ROOK, us);
        removePiece(p, king, to);
        removePiece(p, rook, rookTo);
        placePiece(p, king, from);
        placePiece(p, rook, rookSq);
        break;
    }
    case FLAG_PROMO_N:
    case FLAG_PROMO_B:
    case FLAG_PROMO_R:
    case FLAG_PROMO_Q:
        removePiece(p, flag + us, to);
        placePiece(p, makePiece(PAWN, us), from);
        break;
    default: {
        int piece = p.board[to];
        removePiece(p, piece, to);
        placePiece(p, piece, from);
        break;
    }
    }
    if (next.captured) placePiece(p, next.captured, to);

    copyUndoFields(p, next.saved);
    --p.gamePly;
}

void makeNullMove(Position& p, int ply) {
    posinfo& cur = p.plyStates[ply];
    posinfo& next = p.plyStates[ply + 1];
    copyUndoFields(next.saved, p);
    next.captured = 0;
    next.castling = cur.castling;
    next.epSquare = 0;
    next.inCheck = 0;
    uint64_t key = p.key ^ sideKey;
    if (cur.epSquare) key ^= epKeys[cur.epSquare & 7];
    p.key = key;
    p.keyHistory[p.gamePly] = key;
    ++p.gamePly;
    ++p.fiftyMove;
    p.sideToMove ^= 1;
    // The pieces did not change, so the accumulator of this ply stays valid.
    p.dirty[ply + 1].count = 0;
    p.acc[ply + 1].computed = 0;
}

void unmakeNullMove(Position& p, int ply) {
    const posinfo& next = p.plyStates[ply + 1];
    p.sideToMove ^= 1;
    p.key = next.saved.key;
    p.fiftyMove = next.saved.fiftyMove;
    --p.gamePly;
}
