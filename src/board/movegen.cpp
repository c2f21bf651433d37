#include "board/movegen.h"

#include "board/attacks.h"

namespace {

constexpr Bitboard FILE_A = 0x0101010101010101ull;
constexpr Bitboard FILE_H = FILE_A << 7;
constexpr Bitboard RANK_1 = 0xffull;
constexpr Bitboard RANK_3 = 0xffull << 16;
constexpr Bitboard RANK_6 = 0xffull << 40;
constexpr Bitboard RANK_8 = 0xffull << 56;

inline Move* finish(int ply, Move* end, Position& p) {
    p.plyStates[ply].moveEnd = end;
    p.plyStates[ply + 1].moveStart = end;
    return end;
}

inline Move* addPromotions(Move* out, int from, int to, int score) {
    *out++ = makeMove(from, to, FLAG_PROMO_Q, score);
    *out++ = makeMove(from, to, FLAG_PROMO_R, score);
    *out++ = makeMove(from, to, FLAG_PROMO_B, score);
    *out++ = makeMove(from, to, FLAG_PROMO_N, score);
    return out;
}

// Captures of one piece kind onto the enemy squares of `targets` per piece.
template <typename Attacks>
inline Move* pieceCaptures(Move* out, const Position& p, Bitboard movers, Bitboard enemy, int term, Attacks attacks) {
    while (movers) {
        int from = popLsb(movers);
        Bitboard t = attacks(from) & enemy;
        while (t) {
            int to = popLsb(t);
            *out++ = makeMove(from, to, 0, p.board[to] * 8 - term);
        }
    }
    return out;
}

template <typename Attacks>
inline Move* pieceQuiets(Move* out, Bitboard movers, Bitboard empty, Attacks attacks) {
    while (movers) {
        int from = popLsb(movers);
        Bitboard t = attacks(from) & empty;
        while (t) *out++ = makeMove(from, popLsb(t));
    }
    return out;
}

Bitboard computeNotPinned(Position& p, int ply) {
    Bitboard notPinned = ~pinnedPieces(p, p.sideToMove);
    p.plyStates[ply].notPinned = notPinned;
    return notPinned;
}

// Pawn captures in one direction: promotions first, then the others.
inline Move* pawnCapturesTowards(Move* out, const Position& p, Bitboard targets, int delta, int promoScore,
                                 bool allPromotions, int plainTerm) {
    Bitboard promo = targets & (RANK_1 | RANK_8);
    Bitboard plain = targets & ~(RANK_1 | RANK_8);
    while (promo) {
        int to = popLsb(promo);
        int score = p.board[to] * 8 - promoScore;
        if (allPromotions) out = addPromotions(out, to - delta, to, score);
        else *out++ = makeMove(to - delta, to, FLAG_PROMO_Q, score);
    }
    while (plain) {
        int to = popLsb(plain);
        *out++ = makeMove(to - delta, to, 0, p.board[to] * 8 - plainTerm);
    }
    return out;
}

Move* pawnCaptures(Move* out, const Position& p, bool allPromotions) {
    int us = p.sideToMove;
    Bitboard pawns = p.pieces[WPAWN + us];
    Bitboard enemy = p.pieces[us ^ 1];
    if (us == WHITE) {
        out = pawnCapturesTowards(out, p, ((pawns & ~FILE_H) << 9) & enemy, 9, 14, allPromotions, 2);
        out = pawnCapturesTowards(out, p, ((pawns & ~FILE_A) << 7) & enemy, 7, 14, allPromotions, 2);
    } else {
        out = pawnCapturesTowards(out, p, ((pawns & ~FILE_A) >> 9) & enemy, -9, 14, allPromotions, 2);
        out = pawnCapturesTowards(out, p, ((pawns & ~FILE_H) >> 7) & enemy, -7, 14, allPromotions, 2);
    }
    return out;
}

Move* enPassantCaptures(Move* out, const Position& p, int ply) {
    int ep = p.plyStates[ply].epSquare;
    if (!ep) return out;
    Bitboard takers = epNeighbours[ep] & p.pieces[WPAWN + p.sideToMove];
    while (takers) *out++ = makeMove(popLsb(takers), ep, FLAG_EP, 14);
    return out;
}

Move* sliderAndKingCaptures(Move* out, const Position& p, Bitboard notPinned) {
    int us = p.sideToMove;
    Bitboard occ = occupancy(p);
    Bitboard enemy = p.pieces[us ^ 1];
    out = pieceCaptures(out, p, p.pieces[WKNIGHT + us] & notPinned, enemy, 4, [](int s) { return knightAttacks[s]; });
    out = pieceCaptures(out, p, p.pieces[WBISHOP + us], enemy, 6, [occ](int s) { return bishopAttacks(s, occ); });
    out = pieceCaptures(out, p, p.pieces[WROOK + us], enemy, 8, [occ](int s) { return rookAttacks(s, occ); });
    out = pieceCaptures(out, p, p.pieces[WQUEEN + us], enemy, 10, [occ](int s) { return queenAttacks(s, occ); });
    return out;
}

Move* kingCaptures(Move* out, const Position& p) {
    int us = p.sideToMove;
    int ksq = kingSquare(p, us);
    Bitboard t = kingAttacks[ksq] & p.pieces[us ^ 1];
    while (t) {
        int to = popLsb(t);
        *out++ = makeMove(ksq, to, 0, p.board[to] * 8 - 12);
    }
    return out;
}

Move* castlingMoves(Move* out, const Position& p, int ply) {
    int us = p.sideToMove;
    int rights = p.plyStates[ply].castling & (us == WHITE ? (WHITE_SHORT | WHITE_LONG) : (BLACK_SHORT | BLACK_LONG));
    if (!rights || p.plyStates[ply].inCheck) return out;
    int king = kingSquare(p, us);
    int backRank = us == WHITE ? 0 : 56;
    Bitboard occ = occupancy(p);
    for (int side = 0; side < 2; ++side) {  // short first
        int index =
            side == 0 ? (us == WHITE ? CR_WHITE_SHORT : CR_BLACK_SHORT) : (us == WHITE ? CR_WHITE_LONG : CR_BLACK_LONG);
        if (!(rights & (1 << index))) continue;
        int rook = p.castlingRook[index];
        int kingTo = backRank + (side == 0 ? 6 : 2);
        int rookTo = backRank + (side == 0 ? 5 : 3);
        Bitboard path = betweenSquares[king][kingTo] | betweenSquares[rook][rookTo] | bit(kingTo) | bit(rookTo);
        if (path & occ & ~bit(king) & ~bit(rook)) continue;
        Bitboard kingPath = betweenSquares[king][kingTo];
        bool attacked = false;
        while (kingPath && !attacked) attacked = isAttacked(p, popLsb(kingPath), us ^ 1, occ);
        if (attacked) continue;
        *out++ = makeMove(king, kingTo, side == 0 ? FLAG_SHORT : FLAG_LONG);
    }
    return out;
}

}  // namespace

Bitboard pinnedPieces(const Position& p, int us) {
    int them = us ^ 1;
    int ksq = kingSquare(p, us);
    Bitboard occ = occupancy(p);
    Bitboard queens = p.pieces[WQUEEN + them];
    Bitboard snipers =
        (rookEmpty[ksq] & (p.pieces[WROOK + them] | queens)) | (bishopEmpty[ksq] & (p.pieces[WBISHOP + them] | queens));
    Bitboard pinned = 0;
    while (snipers) {
        Bitboard between = betweenSquares[ksq][popLsb(snipers)] & occ;
        if (between && !moreThanOne(between)) pinned |= between;
    }
    return pinned & p.pieces[us];
}

namespace {

// In check the evasions stand in for the captures, and are all there is.
Move* evasionsInstead(int ply, Move* out, Position& p) {
    computeNotPinned(p, ply);
    out = generateEvasions(ply, out, p);
    p.plyStates[ply].genMarker = 'c';
    return out;
}

}  // namespace

Move* generateCaptures(int ply, Move* out, Position& p) {
    return p.plyStates[ply].inCheck ? evasionsInstead(ply, out, p) : generateCapturesIgnoringCheck(ply, out, p);
}

Move* generateCapturesIgnoringCheck(int ply, Move* out, Position& p) {
    Bitboard notPinned = computeNotPinned(p, ply);
    p.plyStates[ply].genMarker = 0;
    out = pawnCaptures(out, p, true);
    out = sliderAndKingCaptures(out, p, notPinned);
    out = enPassantCaptures(out, p, ply);
    out = kingCaptures(out, p);
    return finish(ply, out, p);
}

Move* generateQuiets(int ply, Move* out, Position& p) {
    int us = p.sideToMove;
    Bitboard occ = occupancy(p);
    Bitboard empty = ~occ;
    Bitboard notPinned = p.plyStates[ply].notPinned;
    Bitboard pawns = p.pieces[WPAWN + us];
    int up = us == WHITE ? 8 : -8;
    Bitboard single = us == WHITE ? (pawns << 8) & empty : (pawns >> 8) & empty;
    Bitboard promo = single & (RANK_1 | RANK_8);
    while (promo) {
        int to = popLsb(promo);
        out = addPromotions(out, to - up, to, 0);
    }
    Bitboard plain = single & ~(RANK_1 | RANK_8);
    Bitboard doubles = us == WHITE ? ((single & RANK_3) << 8) & empty : ((single & RANK_6) >> 8) & empty;
    while (plain) {
        int to = popLsb(plain);
        *out++ = makeMove(to - up, to);
    }
    while (doubles) {
        int to = popLsb(doubles);
        *out++ = makeMove(to - 2 * up, to, FLAG_DOUBLE);
    }
    out = castlingMoves(out, p, ply);
    out = pieceQuiets(out, p.pieces[WKNIGHT + us] & notPinned, empty, [](int s) { return knightAttacks[s]; });
    out = pieceQuiets(out, p.pieces[WBISHOP + us], empty, [occ](int s) { return bishopAttacks(s, occ); });
    out = pieceQuiets(out, p.pieces[WROOK + us], empty, [occ](int s) { return rookAttacks(s, occ); });
    out = pieceQuiets(out, p.pieces[WQUEEN + us], empty, [occ](int s) { return queenAttacks(s, occ); });
    out = pieceQuiets(out, p.pieces[WKING + us], empty, [](int s) { return kingAttacks[s]; });
    return finish(ply, out, p);
}

Move* generateQuiescence(int ply, Move* out, Position& p) {
    return p.plyStates[ply].inCheck ? evasionsInstead(ply, out, p) : generateQuiescenceIgnoringCheck(ply, out, p);
}

Move* generateQuiescenceIgnoringCheck(int ply, Move* out, Position& p) {
    Bitboard notPinned = computeNotPinned(p, ply);
    p.plyStates[ply].genMarker = 0;
    int us = p.sideToMove;
    out = pawnCaptures(out, p, false);
    out = sliderAndKingCaptures(out, p, notPinned);
    out = kingCaptures(out, p);
    out = enPassantCaptures(out, p, ply);
    Bitboard pawns = p.pieces[WPAWN + us];
    Bitboard empty = ~occupancy(p);
    int up = us == WHITE ? 8 : -8;
    Bitboard promo = (us == WHITE ? (pawns << 8) : (pawns >> 8)) & empty & (RANK_1 | RANK_8);
    while (promo) {
        int to = popLsb(promo);
        *out++ = makeMove(to - up, to, FLAG_PROMO_Q, 1);
    }
    return finish(ply, out, p);
}

Move* generateEvasions(int ply, Move* out, Position& p) {
    int us = p.sideToMove, them = us ^ 1;
    int ksq = kingSquare(p, us);
    Bitboard occ = occupancy(p);
    Bitboard own = p.pieces[us];
    Bitboard checkers = attackersOf(p, ksq, them, occ);
    Bitboard notPinned = p.plyStates[ply].notPinned;

    Bitboard occNoKing = occ ^ bit(ksq);
    Bitboard targets = kingAttacks[ksq] & ~own;
    while (targets) {
        int to = popLsb(targets);
        if (isAttacked(p, to, them, occNoKing)) continue;
        int victim = p.board[to];
        int score = !victim ? 202 : (bit(to) == checkers ? victim - 35 : victim - 36);
        *out++ = makeMove(ksq, to, 0, score & 0xff);
    }

    if (checkers && !moreThanOne(checkers)) {
        int checker = lsb(checkers);
        Bitboard block = betweenSquares[ksq][checker];
        Bitboard pawns = p.pieces[WPAWN + us] & notPinned;
        // Pawn captures of the checker.
        Bitboard capturers = pawnAttackers[us][checker] & pawns;
        bool lastRank = rankOf(checker) == 0 || rankOf(checker) == 7;
        while (capturers) {
            int from = popLsb(capturers);
            if (lastRank) out = addPromotions(out, from, checker, 250);
            else *out++ = makeMove(from, checker, 0, 250);
        }
        int ep = p.plyStates[ply].epSquare;
        if (ep && ep == checker) {
            Bitboard takers = epNeighbours[ep] & pawns;
            while (takers) *out++ = makeMove(popLsb(takers), ep, FLAG_EP, 250);
        }
        // Pawn pushes onto the blocking squares.
        int up = us == WHITE ? 8 : -8;
        Bitboard empty = ~occ;
        Bitboard single = us == WHITE ? (pawns << 8) & empty : (pawns >> 8) & empty;
        Bitboard doubles = us == WHITE ? ((single & RANK_3) << 8) & empty : ((single & RANK_6) >> 8) & empty;
        single &= block;
        doubles &= block;
        Bitboard promo = single & (RANK_1 | RANK_8);
        Bitboard plain = single & ~(RANK_1 | RANK_8);
        while (promo) {
            int to = popLsb(promo);
            out = addPromotions(out, to - up, to, 210);
        }
        while (plain) {
            int to = popLsb(plain);
            *out++ = makeMove(to - up, to, 0, 210);
        }
        while (doubles) {
            int to = popLsb(doubles);
            *out++ = makeMove(to - 2 * up, to, FLAG_DOUBLE, 210);
        }
        // Pieces capturing the checker or blocking.
        Bitboard dest = block | checkers;
        auto pieceEvasions = [&](Bitboard movers, int captureScore, auto attacks) {
            movers &= notPinned;
            while (movers) {
                int from = popLsb(movers);
                Bitboard t = attacks(from) & dest;
                while (t) {
                    int to = popLsb(t);
                    *out++ = makeMove(from, to, 0, to == checker ? captureScore : captureScore - 30);
                }
            }
        };
        pieceEvasions(p.pieces[WKNIGHT + us], 236, [](int s) { return knightAttacks[s]; });
        pieceEvasions(p.pieces[WBISHOP + us], 235, [occ](int s) { return bishopAttacks(s, occ); });
        pieceEvasions(p.pieces[WROOK + us], 234, [occ](int s) { return rookAttacks(s, occ); });
        pieceEvasions(p.pieces[WQUEEN + us], 233, [occ](int s) { return queenAttacks(s, occ); });
    }
    return finish(ply, out, p);
}

bool isLegal(const Position& p, int ply, Move m) {
    int us = p.sideToMove, them = us ^ 1;
    int from = moveFrom(m), to = moveTo(m), flag = moveFlag(m);
    int ksq = kingSquare(p, us);
    Bitboard occ = occupancy(p);
    Bitboard queens = p.pieces[WQUEEN + them];
    Bitboard diagonal = p.pieces[WBISHOP + them] | queens;
    Bitboard straight = p.pieces[WROOK + them] | queens;

    if (flag == FLAG_EP) {
        int landing = us == WHITE ? to + 8 : to - 8;
        Bitboard after = (occ ^ bit(from) ^ bit(to)) | bit(landing);
        return !(bishopAttacks(ksq, after) & diagonal) && !(rookAttacks(ksq, after) & straight);
    }
    if (from == ksq) {
        if (flag >= FLAG_SHORT) {
            int index = (flag == FLAG_SHORT ? CR_WHITE_SHORT : CR_WHITE_LONG) + us;
            int rook = p.castlingRook[index];
            int rookTo = to + (flag == FLAG_SHORT ? -1 : 1);
            if (chess960) {
                Bitboard after = (occ ^ bit(from) ^ bit(rook)) | bit(to) | bit(rookTo);
                return !isAttacked(p, to, them, after);
            }
            return !isAttacked(p, to, them, occ ^ bit(from));
        }
        return !isAttacked(p, to, them, occ ^ bit(from));
    }
    if (!(p.plyStates[ply].notPinned & bit(from))) return (lineThrough[ksq][from] & bit(to)) != 0;
    return true;
}

Move* generateLegal(int ply, Position& p) {
    Move* start = p.plyStates[ply].moveStart;
    Move* end = generateCaptures(ply, start, p);
    if (p.plyStates[ply].genMarker != 'c') end = generateQuiets(ply, end, p);
    Move* write = start;
    for (Move* m = start; m < end; ++m)
        if (isLegal(p, ply, *m)) *write++ = *m;
    return finish(ply, write, p);
}

int countLegalMoves(int ply, Position& p) {
    if (p.plyStates[ply].inCheck) {
        Move* start = p.plyStates[ply].moveStart;
        computeNotPinned(p, ply);
        Move* end = generateEvasions(ply, start, p);
        int n = 0;
        for (Move* m = start; m < end; ++m) n += isLegal(p, ply, *m);
        return n;
    }
    int us = p.sideToMove, them = us ^ 1;
    int ksq = kingSquare(p, us);
    Bitboard occ = occupancy(p);
    Bitboard own = p.pieces[us], enemy = p.pieces[them];
    Bitboard empty = ~occ;
    Bitboard pinned = pinnedPieces(p, us);
    p.plyStates[ply].notPinned = ~pinned;
    int n = 0;

    Bitboard occNoKing = occ ^ bit(ksq);
    Bitboard targets = kingAttacks[ksq] & ~own;
    while (targets) n += !isAttacked(p, popLsb(targets), them, occNoKing);

    Bitboard knights = p.pieces[WKNIGHT + us] & ~pinned;
    while (knights) n += popcount(knightAttacks[popLsb(knights)] & ~own);
    // A pinned slider keeps to the line through its king.
    auto sliderMoves = [&](Bitboard sliders, auto attacks) {
        while (sliders) {
            int from = popLsb(sliders);
            Bitboard t = attacks(from, occ) & ~own;
            if (pinned & bit(from)) t &= lineThrough[ksq][from];
            n += popcount(t);
        }
    };
    sliderMoves(p.pieces[WBISHOP + us] | p.pieces[WQUEEN + us], bishopAttacks);
    sliderMoves(p.pieces[WROOK + us] | p.pieces[WQUEEN + us], rookAttacks);

    // Free pawns by whole sets; promotions count four moves each.
    Bitboard pawns = p.pieces[WPAWN + us];
    Bitboard free = pawns & ~pinned;
    Bitboard lastRanks = RANK_1 | RANK_8;
    Bitboard single, doubles, left, right;
    if (us == WHITE) {
        single = (free << 8) & empty;
        doubles = ((single & RANK_3) << 8) & empty;
        left = ((free & ~FILE_A) << 7) & enemy;
        right = ((free & ~FILE_H) << 9) & enemy;
    } else {
        single = (free >> 8) & empty;
        doubles = ((single & RANK_6) >> 8) & empty;
        left = ((free & ~FILE_A) >> 9) & enemy;
        right = ((free & ~FILE_H) >> 7) & enemy;
    }
    n += popcount(single & ~lastRanks) + 4 * popcount(single & lastRanks) + popcount(doubles);
    n += popcount(left & ~lastRanks) + 4 * popcount(left & lastRanks);
    n += popcount(right & ~lastRanks) + 4 * popcount(right & lastRanks);
    Bitboard pinnedPawns = pawns & pinned;
    while (pinnedPawns) {
        int from = popLsb(pinnedPawns);
        Bitboard line = lineThrough[ksq][from];
        Bitboard t = pawnAttacks(us, from) & enemy;
        int up = us == WHITE ? 8 : -8;
        if (!(occ & bit(from + up))) {
            t |= bit(from + up);
            int startRank = us == WHITE ? 1 : 6;
            if (rankOf(from) == startRank && !(occ & bit(from + 2 * up))) t |= bit(from + 2 * up);
        }
        t &= line;
        n += popcount(t & ~lastRanks) + 4 * popcount(t & lastRanks);
    }

    Move buffer[8];
    Move* end = enPassantCaptures(buffer, p, ply);
    end = castlingMoves(end, p, ply);
    for (Move* m = buffer; m < end; ++m) n += isLegal(p, ply, *m);
    return n;
}
