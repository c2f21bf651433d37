#include "eval/pawns.h"

#include "board/attacks.h"
#include "eval/hce_params.h"

namespace {

constexpr int relativeRank(int colour, int sq) { return colour == WHITE ? rankOf(sq) : 7 - rankOf(sq); }
constexpr Bitboard RANK_1_MASK = 0xffULL;

combEval pawnsOf(const Position& p, int us, Bitboard& passedOut) {
    int them = us ^ 1;
    Bitboard own = p.pieces[WPAWN + us], enemy = p.pieces[WPAWN + them];
    int ownKing = kingSquare(p, us), enemyKing = kingSquare(p, them);
    int forward = us == WHITE ? 8 : -8;
    combEval score = 0;
    for (Bitboard b = own; b;) {
        int sq = popLsb(b);
        int r = relativeRank(us, sq);
        Bitboard ahead = frontSpan[us][sq];
        Bitboard fileAhead = ahead & fileMask[fileOf(sq)];
        Bitboard neighbours = adjacentFiles[sq] & own;
        Bitboard phalanx = neighbours & (RANK_1_MASK << (8 * rankOf(sq)));
        Bitboard supporters = pawnAttackers[us][sq] & own;
        int stop = sq + forward;

        if (fileAhead & own) score += doubledPawn;
        if (!neighbours) score += isolatedPawn;
        else if (!(neighbours & ~ahead) && (pawnAttackers[them][stop] & enemy)) score += backwardPawn;
        if (phalanx | supporters) score += connectedPawn[r];

        if (!(ahead & enemy) && !(fileAhead & own)) {
            passedOut |= bit(sq);
            score += passedPawn[r];
            int ownDistance = squareDistance[ownKing][stop], enemyDistance = squareDistance[enemyKing][stop];
            score += passedOwnKingDistance[r] * (ownDistance < 5 ? ownDistance : 5);
            score += passedEnemyKingDistance[r] * (enemyDistance < 5 ? enemyDistance : 5);
        }
    }

    // Shelter: the nearest own pawn in front of the king on its file and the two beside it.
    int kingFile = fileOf(ownKing);
    int firstFile = kingFile == 0 ? 0 : kingFile - 1, lastFile = kingFile == 7 ? 7 : kingFile + 1;
    Bitboard inFront = own & (us == WHITE ? ranksUpward[ownKing] : ranksDownward[ownKing]);
    for (int f = firstFile; f <= lastFile; ++f) {
        Bitboard onFile = inFront & fileMask[f];
        if (!onFile) {
            score += shelterPawn[0];
            continue;
        }
        int nearest = us == WHITE ? lsb(onFile) : 63 - __builtin_clzll(onFile);
        score += shelterPawn[relativeRank(us, nearest)];
    }
    return score;
}

}  // namespace

void evaluatePawns(const Position& p, PawnEntry& entry) {
    Bitboard passed = 0;
    entry.score = pawnsOf(p, WHITE, passed) - pawnsOf(p, BLACK, passed);
    entry.passed = passed;
}

const PawnEntry& probePawns(const Position& p) {
    PawnEntry& entry = p.pawnHash[p.pawnKey & (PAWN_HASH_SIZE - 1)];
    if (entry.key != p.pawnKey) {
        evaluatePawns(p, entry);
        entry.key = p.pawnKey;
    }
    return entry;
}
