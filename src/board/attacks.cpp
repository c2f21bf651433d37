#include "board/attacks.h"

#include <cmath>
#include <cstdlib>
#include <vector>

Magic rookMagics[64];
Magic bishopMagics[64];
Bitboard knightAttacks[64];
Bitboard kingAttacks[64];
Bitboard pawnAttackers[2][64];
Bitboard rookEmpty[64];
Bitboard bishopEmpty[64];
Bitboard betweenSquares[64][64];
Bitboard lineThrough[64][64];
uint8_t squareDistance[64][64];
Bitboard epNeighbours[64];
Bitboard fileMask[8];
Bitboard ranksUpward[64];
Bitboard ranksDownward[64];
Bitboard adjacentFiles[64];
Bitboard frontSpan[2][64];
Bitboard kingZone[2][64];
uint8_t lmrTable[128][256];

namespace {

Bitboard attackStore[102400 + 5248];

int chebyshev(int a, int b) {
    int df = std::abs(fileOf(a) - fileOf(b)), dr = std::abs(rankOf(a) - rankOf(b));
    return df > dr ? df : dr;
}

Bitboard leaperTargets(int sq, const int* offsets, int count, int maxDistance) {
    Bitboard b = 0;
    for (int i = 0; i < count; ++i) {
        int t = sq + offsets[i];
        if (t >= 0 && t < 64 && chebyshev(sq, t) <= maxDistance) b |= bit(t);
    }
    return b;
}

Bitboard rayWalk(int sq, Bitboard occ, const int (*dirs)[2]) {
    Bitboard b = 0;
    for (int d = 0; d < 4; ++d) {
        int f = fileOf(sq) + dirs[d][0], r = rankOf(sq) + dirs[d][1];
        while (f >= 0 && f < 8 && r >= 0 && r < 8) {
            int t = r * 8 + f;
            b |= bit(t);
            if (occ & bit(t)) break;
            f += dirs[d][0];
            r += dirs[d][1];
        }
    }
    return b;
}

const int ROOK_DIRS[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
const int BISHOP_DIRS[4][2] = {{1, 1}, {1, -1}, {-1, 1}, {-1, -1}};

Bitboard relevantMask(int sq, bool rook) {
    Bitboard full = rook ? slowRookAttacks(sq, 0) : slowBishopAttacks(sq, 0);
    Bitboard edges = 0;
    Bitboard rank1 = 0xffull, rank8 = 0xffull << 56;
    Bitboard fileA = 0x0101010101010101ull, fileH = fileA << 7;
    if (rankOf(sq) != 0) edges |= rank1;
    if (rankOf(sq) != 7) edges |= rank8;
    if (fileOf(sq) != 0) edges |= fileA;
    if (fileOf(sq) != 7) edges |= fileH;
    if (!rook) edges = rank1 | rank8 | fileA | fileH;
    return full & ~edges;
}

// 15-bit pseudo-random values for the candidate magics; every candidate is
// verified, so the generator only needs to be cheap and deterministic.
uint32_t randomState = 12345;
int random15() {
    randomState = randomState * 1103515245u + 12345u;
    return (randomState >> 16) & 0x7fff;
}

uint32_t attemptCounter = 0;

void findMagic(int sq, Magic& m, bool rook, std::vector<uint32_t>& stamps, std::vector<Bitboard>& slots) {
    Bitboard occupancies[4096], references[4096];
    int size = 0;
    Bitboard subset = 0;
    do {
        occupancies[size] = subset;
        references[size] = rook ? slowRookAttacks(sq, subset) : slowBishopAttacks(sq, subset);
        ++size;
        subset = (subset - m.mask) & m.mask;
    } while (subset);

    for (;;) {
        ++attemptCounter;
        uint64_t candidate = 0;
        int bits = 0;
        while (bits < 9) {
            int index = random15() & 63;
            if (!(candidate & bit(index))) { candidate |= bit(index); ++bits; }
        }
        bool ok = true;
        for (int i = 0; i < size && ok; ++i) {
            unsigned idx = unsigned((occupancies[i] * candidate) >> m.shift) & 0xffff;
            if (stamps[idx] < attemptCounter) {
                stamps[idx] = attemptCounter;
                slots[idx] = references[i];
            } else if (slots[idx] != references[i]) {
                ok = false;
            }
        }
        if (!ok) continue;
        m.magic = candidate;
        for (int i = 0; i < size; ++i)
            m.attacks[(occupancies[i] * candidate) >> m.shift] = references[i];
        return;
    }
}

bool built = false;

} // namespace

Bitboard slowRookAttacks(int sq, Bitboard occ) { return rayWalk(sq, occ, ROOK_DIRS); }
Bitboard slowBishopAttacks(int sq, Bitboard occ) { return rayWalk(sq, occ, BISHOP_DIRS); }

void initAttackTables() {
    if (built) return;
    built = true;

    for (int d = 0; d < 128; ++d)
        for (int m = 0; m < 256; ++m) {
            if (m <= 2) lmrTable[d][m] = 0;
            else if (m == 3) lmrTable[d][m] = 1;
            else lmrTable[d][m] = uint8_t(int(std::sqrt(double((m - 2) * d / 9))));
        }

    const int knightOffsets[8] = {17, 15, 10, 6, -6, -10, -15, -17};
    const int kingOffsets[8] = {9, 8, 7, 1, -1, -7, -8, -9};
    for (int sq = 0; sq < 64; ++sq) {
        knightAttacks[sq] = leaperTargets(sq, knightOffsets, 8, 2);
        kingAttacks[sq] = leaperTargets(sq, kingOffsets, 8, 1);
    }
    for (int sq = 24; sq < 40; ++sq) {
        epNeighbours[sq] = 0;
        if (fileOf(sq) > 0) epNeighbours[sq] |= bit(sq - 1);
        if (fileOf(sq) < 7) epNeighbours[sq] |= bit(sq + 1);
    }
    for (int sq = 16; sq < 64; ++sq) {
        if (fileOf(sq) != 7) pawnAttackers[WHITE][sq] |= bit(sq - 7);
        if (fileOf(sq) != 0) pawnAttackers[WHITE][sq] |= bit(sq - 9);
    }
    for (int sq = 0; sq < 48; ++sq) {
        if (fileOf(sq) != 0) pawnAttackers[BLACK][sq] |= bit(sq + 7);
        if (fileOf(sq) != 7) pawnAttackers[BLACK][sq] |= bit(sq + 9);
    }
    for (int sq = 0; sq < 64; ++sq) {
        rookEmpty[sq] = slowRookAttacks(sq, 0);
        bishopEmpty[sq] = slowBishopAttacks(sq, 0);
    }

    Bitboard* next = attackStore;
    for (int sq = 0; sq < 64; ++sq) {
        Magic& m = rookMagics[sq];
        m.mask = relevantMask(sq, true);
        m.shift = 64 - popcount(m.mask);
        m.attacks = next;
        next += Bitboard(1) << popcount(m.mask);
    }
    for (int sq = 0; sq < 64; ++sq) {
        Magic& m = bishopMagics[sq];
        m.mask = relevantMask(sq, false);
        m.shift = 64 - popcount(m.mask);
        m.attacks = next;
        next += Bitboard(1) << popcount(m.mask);
    }
    std::vector<uint32_t> stamps(65536, 0);
    std::vector<Bitboard> slots(65536, 0);
    for (int sq = 0; sq < 64; ++sq) findMagic(sq, rookMagics[sq], true, stamps, slots);
    for (int sq = 0; sq < 64; ++sq) findMagic(sq, bishopMagics[sq], false, stamps, slots);

    for (int a = 0; a < 64; ++a)
        for (int b = 0; b < 64; ++b) {
            squareDistance[a][b] = uint8_t(chebyshev(a, b));
            betweenSquares[a][b] = lineThrough[a][b] = 0;
            if (a == b) continue;
            if (rookEmpty[a] & bit(b)) {
                betweenSquares[a][b] = rookAttacks(b, bit(a)) & rookAttacks(a, bit(b));
                lineThrough[a][b] = (rookEmpty[a] & rookEmpty[b]) | bit(a) | bit(b);
            } else if (bishopEmpty[a] & bit(b)) {
                betweenSquares[a][b] = bishopAttacks(b, bit(a)) & bishopAttacks(a, bit(b));
                lineThrough[a][b] = (bishopEmpty[a] & bishopEmpty[b]) | bit(a) | bit(b);
            }
        }

    for (int f = 0; f < 8; ++f) fileMask[f] = 0x0101010101010101ull << f;
    for (int sq = 0; sq < 64; ++sq) {
        ranksUpward[sq] = ~0ull << (rankOf(sq) * 8);
        ranksDownward[sq] = ~0ull >> ((7 - rankOf(sq)) * 8);
        int f = fileOf(sq);
        adjacentFiles[sq] = (f > 0 ? fileMask[f - 1] : 0) | (f < 7 ? fileMask[f + 1] : 0);
    }
    for (int sq = 0; sq < 64; ++sq) {
        Bitboard files = fileMask[fileOf(sq)] | adjacentFiles[sq];
        int r = rankOf(sq);
        frontSpan[WHITE][sq] = (r == 0 || r == 7) ? 0 : files & (~0ull << ((r + 1) * 8));
        frontSpan[BLACK][sq] = (r == 0 || r == 7) ? 0 : files & (~0ull >> ((8 - r) * 8));
    }
    for (int sq = 0; sq < 64; ++sq) {
        int f = fileOf(sq);
        if (f < 1) f = 1;
        if (f > 6) f = 6;
        Bitboard files = fileMask[f - 1] | fileMask[f] | fileMask[f + 1];
        int rw = rankOf(sq) < 1 ? 1 : rankOf(sq) > 5 ? 5 : rankOf(sq);
        int rb = rankOf(sq) < 2 ? 2 : rankOf(sq) > 6 ? 6 : rankOf(sq);
        Bitboard white = 0, black = 0;
        for (int r = rw - 1; r <= rw + 2; ++r) white |= 0xffull << (r * 8);
        for (int r = rb - 2; r <= rb + 1; ++r) black |= 0xffull << (r * 8);
        kingZone[WHITE][sq] = files & white;
        kingZone[BLACK][sq] = files & black;
    }
}
