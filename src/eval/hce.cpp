#include "eval/hce.h"

#include "board/attacks.h"
#include "board/movegen.h"
#include "eval/hce_params.h"
#include "eval/tables.h"

namespace {

constexpr Bitboard FILE_A = 0x0101010101010101ULL;
constexpr Bitboard DARK_SQUARES = 0xaa55aa55aa55aa55ULL;

constexpr int relativeRank(int colour, int sq) { return colour == WHITE ? rankOf(sq) : 7 - rankOf(sq); }

inline Bitboard pawnAttackSpan(int colour, Bitboard pawns) {
    return colour == WHITE ? ((pawns & ~FILE_A) << 7) | ((pawns & ~(FILE_A << 7)) << 9)
                           : ((pawns & ~FILE_A) >> 9) | ((pawns & ~(FILE_A << 7)) >> 7);
}

struct Attacks {
    Bitboard byType[2][7];  // by piece type 1..6
    Bitboard all[2];
    Bitboard zone[2];      // each king's zone
    int zoneAttackers[2];  // enemy pieces attacking that zone
    int units[2];          // attack units against that king
    bool queenAttacks[2];
};

// Mobility, piece placement and king-zone attacks of one side's pieces.
combEval pieceTerms(const Position& p, int us, Attacks& a) {
    int them = us ^ 1;
    Bitboard occ = occupancy(p);
    Bitboard ownPawns = p.pieces[WPAWN + us], enemyPawns = p.pieces[WPAWN + them];
    Bitboard mobilityArea = ~(ownPawns | p.pieces[WKING + us] | a.byType[them][PAWN]);
    Bitboard pinned = pinnedPieces(p, us);
    int ownKing = kingSquare(p, us);
    Bitboard enemyZone = a.zone[them];
    combEval score = 0;

    auto count = [&](int type, Bitboard att) {
        a.byType[us][type] |= att;
        if (att & enemyZone) {
            ++a.zoneAttackers[them];
            a.units[them] += mgOf(kingAttackUnits[type - 1]) + popcount(att & enemyZone);
            if (type == QUEEN) a.queenAttacks[them] = true;
        }
        return popcount(att & mobilityArea);
    };
    auto outpost = [&](int sq) {
        int r = relativeRank(us, sq);
        return r >= 3 && r <= 5 && (pawnAttackers[us][sq] & ownPawns)
               && !(frontSpan[us][sq] & adjacentFiles[sq] & enemyPawns);
    };
    auto behindPawn = [&](int sq) { return (ownPawns & bit(us == WHITE ? sq + 8 : sq - 8)) != 0; };

    for (Bitboard b = p.pieces[WKNIGHT + us]; b;) {
        int sq = popLsb(b);
        int reach = count(KNIGHT, knightAttacks[sq]);
        score += knightMobility[(pinned & bit(sq)) ? 0 : reach];  // a pinned knight cannot move
        if (outpost(sq)) score += knightOutpost;
        if (relativeRank(us, sq) < 7 && behindPawn(sq)) score += minorBehindPawn;
    }
    for (Bitboard b = p.pieces[WBISHOP + us]; b;) {
        int sq = popLsb(b);
        Bitboard att = bishopAttacks(sq, occ);
        if (pinned & bit(sq)) att &= lineThrough[ownKing][sq];
        score += bishopMobility[count(BISHOP, att)];
        if (outpost(sq)) score += bishopOutpost;
        if (relativeRank(us, sq) < 7 && behindPawn(sq)) score += minorBehindPawn;
        Bitboard sameColour = (DARK_SQUARES & bit(sq)) ? DARK_SQUARES : ~DARK_SQUARES;
        score += bishopPawnSameColour * popcount(ownPawns & sameColour);
    }
    for (Bitboard b = p.pieces[WROOK + us]; b;) {
        int sq = popLsb(b);
        Bitboard att = rookAttacks(sq, occ);
        if (pinned & bit(sq)) att &= lineThrough[ownKing][sq];
        score += rookMobility[count(ROOK, att)];
        Bitboard file = fileMask[fileOf(sq)];
        if (!(file & ownPawns)) score += (file & enemyPawns) ? rookHalfOpenFile : rookOpenFile;
        if (relativeRank(us, sq) == 6
            && ((enemyPawns & (0xffULL << (us == WHITE ? 48 : 8))) || relativeRank(us, kingSquare(p, them)) == 7))
            score += rookOnSeventh;
    }
    for (Bitboard b = p.pieces[WQUEEN + us]; b;) {
        int sq = popLsb(b);
        Bitboard att = queenAttacks(sq, occ);
        if (pinned & bit(sq)) att &= lineThrough[ownKing][sq];
        score += queenMobility[count(QUEEN, att)];
    }
    a.byType[us][KING] = kingAttacks[ownKing];
    for (int t = PAWN; t <= KING; ++t) a.all[us] |= a.byType[us][t];
    return score;
}

// Danger to the king of `us` from the attacks gathered against its zone.
combEval kingSafety(const Position& p, int us, const Attacks& a) {
    int them = us ^ 1;
    int king = kingSquare(p, us);
    Bitboard occ = occupancy(p);
    Bitboard safe = ~a.all[us] & ~p.pieces[them];
    Bitboard bishopChecks = bishopAttacks(king, occ), rookChecks = rookAttacks(king, occ);
    int units = a.units[us];
    if (knightAttacks[king] & a.byType[them][KNIGHT] & safe) units += mgOf(safeCheckUnits[KNIGHT - 1]);
    if (bishopChecks & a.byType[them][BISHOP] & safe) units += mgOf(safeCheckUnits[BISHOP - 1]);
    if (rookChecks & a.byType[them][ROOK] & safe) units += mgOf(safeCheckUnits[ROOK - 1]);
    if ((bishopChecks | rookChecks) & a.byType[them][QUEEN] & safe) units += mgOf(safeCheckUnits[QUEEN - 1]);
    if (a.zoneAttackers[us] < 2 && !a.queenAttacks[us]) units /= 2;
    return kingDanger[units < 0 ? 0 : units > 63 ? 63 : units];
}

// Threats by `us` against the other side's pieces.
combEval threats(const Position& p, int us, const Attacks& a) {
    int them = us ^ 1;
    Bitboard defended = a.all[them];
    Bitboard pawnDefended = a.byType[them][PAWN];
    combEval score = 0;
    Bitboard byMinor = a.byType[us][KNIGHT] | a.byType[us][BISHOP];
    for (int t = PAWN; t <= QUEEN; ++t) {
        Bitboard victims = p.pieces[makePiece(t, them)];
        Bitboard weak = victims & ~defended;
        if (t != PAWN) score += threatByPawn[t - 1] * popcount(victims & a.byType[us][PAWN]);
        Bitboard minorTargets =
            t >= ROOK ? victims : (victims & ~pawnDefended & (t == PAWN ? ~defended : ~Bitboard(0)));
        score += threatByMinor[t - 1] * popcount(minorTargets & byMinor);
        Bitboard rookTargets = t == QUEEN ? victims : weak;
        score += threatByRook[t - 1] * popcount(rookTargets & a.byType[us][ROOK]);
        score += threatByKing * popcount(weak & a.byType[us][KING]);
        if (t != PAWN) score += hangingPiece * popcount(weak & a.all[us]);
    }
    return score;
}

// Passed pawns beyond the pawn table: a free stop square, and a pawn the
// enemy king cannot catch when the enemy has nothing but pawns.
combEval passedTerms(const Position& p, int us, Bitboard passed, const Attacks& a) {
    int them = us ^ 1;
    combEval score = 0;
    bool enemyOnlyPawns = (p.pieces[them] & ~p.pieces[WPAWN + them] & ~p.pieces[WKING + them]) == 0;
    bool unstoppable = false;
    Bitboard occ = occupancy(p);
    for (Bitboard b = passed & p.pieces[us]; b;) {
        int sq = popLsb(b);
        int r = relativeRank(us, sq);
        int stop = us == WHITE ? sq + 8 : sq - 8;
        if (!(occ & bit(stop)) && !(a.all[them] & bit(stop))) score += passedFreePath[r];
        if (enemyOnlyPawns && !(frontSpan[us][sq] & fileMask[fileOf(sq)] & occ)) {
            int promotion = us == WHITE ? fileOf(sq) + 56 : fileOf(sq);
            int moves = 7 - r - (r == 1 ? 1 : 0);
            int kingMoves = squareDistance[kingSquare(p, them)][promotion] - (p.sideToMove == them ? 1 : 0);
            if (moves < kingMoves) unstoppable = true;
        }
    }
    if (unstoppable) score += passedUnstoppable;
    return score;
}

int nonPawnEg(const Position& p, int colour) {
    int sum = 0;
    for (int t = KNIGHT; t <= QUEEN; ++t) sum += popcount(p.pieces[makePiece(t, colour)]) * egOf(materialValue[t - 1]);
    return sum;
}

int centreDistance(int sq) {
    int f = fileOf(sq), r = rankOf(sq);
    return (f < 4 ? 3 - f : f - 4) + (r < 4 ? 3 - r : r - 4);
}

combEval scaled(combEval v, combEval factor) { return X(mgOf(v) * mgOf(factor) / 64, egOf(v) * egOf(factor) / 64); }

// Material that cannot or can hardly win is scaled toward a draw; a bare king
// facing enough material is driven to the edge (or to the right corner).
combEval endgameKnowledge(const Position& p, combEval subtotal) {
    int strong = egOf(subtotal) >= 0 ? WHITE : BLACK, weak = strong ^ 1;
    int strongPieces = nonPawnEg(p, strong), weakPieces = nonPawnEg(p, weak);
    Bitboard strongPawns = p.pieces[WPAWN + strong], weakPawns = p.pieces[WPAWN + weak];
    int knights = popcount(p.pieces[WKNIGHT + strong]), bishops = popcount(p.pieces[WBISHOP + strong]);
    int minors = knights + bishops;
    bool onlyMinors = p.pieces[WROOK + strong] == 0 && p.pieces[WQUEEN + strong] == 0;

    if (!strongPawns) {
        if (onlyMinors && (minors <= 1 || bishops == 0))
            return scaled(subtotal, drawScale[DRAW_ONLY_MINORS]) - subtotal;
        if (strongPieces - weakPieces < 400) return scaled(subtotal, drawScale[DRAW_NO_PAWNS_SMALL_EDGE]) - subtotal;
    }
    Bitboard whiteBishops = p.pieces[WBISHOP], blackBishops = p.pieces[BBISHOP];
    Bitboard others =
        p.pieces[WKNIGHT] | p.pieces[BKNIGHT] | p.pieces[WROOK] | p.pieces[BROOK] | p.pieces[WQUEEN] | p.pieces[BQUEEN];
    if (!others && popcount(whiteBishops) == 1 && popcount(blackBishops) == 1
        && ((whiteBishops & DARK_SQUARES) != 0) != ((blackBishops & DARK_SQUARES) != 0))
        return scaled(subtotal, drawScale[DRAW_OPPOSITE_BISHOPS]) - subtotal;

    combEval score = 0;
    int lead = egOf(subtotal) < 0 ? -egOf(subtotal) : egOf(subtotal);
    if (lead >= 300) score += tradeDown[clampedPhase(p)];
    if (!weakPawns && strongPieces - weakPieces >= 400) {
        int weakKing = kingSquare(p, weak), strongKing = kingSquare(p, strong);
        score += mopUpProximity[squareDistance[weakKing][strongKing]];
        if (knights == 1 && bishops == 1 && onlyMinors && !strongPawns && weakPieces == 0) {
            // Mate is forced only in a corner of the bishop's colour.
            bool darkBishop = (p.pieces[WBISHOP + strong] & DARK_SQUARES) != 0;
            int a = darkBishop ? 0 : 7, b = darkBishop ? 63 : 56;  // a1 is dark
            int d = squareDistance[weakKing][a] < squareDistance[weakKing][b] ? squareDistance[weakKing][a]
                                                                              : squareDistance[weakKing][b];
            score += bishopKnightCorner[d];
        } else {
            score += mopUpCentre[centreDistance(weakKing)];
        }
    }
    return strong == WHITE ? score : -score;
}

}  // namespace

int clampedPhase(const Position& p) { return p.phase < 0 ? 0 : p.phase > 24 ? 24 : p.phase; }

combEval positionalTerms(const Position& p, const PawnEntry& pawns, combEval subtotal) {
    Attacks a{};
    for (int c = 0; c < 2; ++c) {
        a.byType[c][PAWN] = pawnAttackSpan(c, p.pieces[WPAWN + c]);
        a.zone[c] = kingZone[c][kingSquare(p, c)];
    }
    combEval score = pieceTerms(p, WHITE, a) - pieceTerms(p, BLACK, a);
    score += kingSafety(p, WHITE, a) - kingSafety(p, BLACK, a);
    score += threats(p, WHITE, a) - threats(p, BLACK, a);
    score += passedTerms(p, WHITE, pawns.passed, a) - passedTerms(p, BLACK, pawns.passed, a);
    return score + endgameKnowledge(p, subtotal + score);
}

combEval bishopPair(const Position& p) {
    combEval v = 0;
    if (popcount(p.pieces[WBISHOP]) == 2) v += BISHOP_PAIR;
    if (popcount(p.pieces[BBISHOP]) == 2) v -= BISHOP_PAIR;
    return v;
}

combEval complexityCorrection(int eg, int pawns, bool bothFlanks, bool pawnEnding) {
    int complexity = 4 * pawns + 67 * (bothFlanks ? 1 : 0) + (pawnEnding ? -24 : -102);
    int magnitude = eg < 0 ? -eg : eg;
    int bounded = complexity > -magnitude ? complexity : -magnitude;
    int sign = (eg > 0) - (eg < 0);
    return X(0, sign * bounded);
}

int taper(combEval total, int phase) { return (egOf(total) * (24 - phase) + mgOf(total) * phase) / 24; }
