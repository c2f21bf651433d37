#include "board/attacks.h"

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

// Multipliers found once by findMagic below with the generator above; using
// them saves the search at every start-up. Each is verified when its table is
// filled, and the search runs again for any square whose multiplier fails.
const uint64_t ROOK_MAGICS[64] = {
    0x01800080a0400032ull, 0x41c0100020044004ull, 0x0500102000405900ull, 0x4300082005001001ull, 0x0e00201008040201ull,
    0xa10001000c004208ull, 0x0200280200018144ull, 0x0900010000408132ull, 0x0104800220894000ull, 0x20804002c0201004ull,
    0x1041004012200102ull, 0x20c0801800100480ull, 0x0023000800900700ull, 0x4005800400800601ull, 0x6004004201080410ull,
    0x2002000400448302ull, 0x0004658010804000ull, 0xc140002010022800ull, 0x001081801008a001ull, 0x0c84808050000800ull,
    0x0004818028004c00ull, 0x4003010004000628ull, 0x6109008080020001ull, 0x0088020020408403ull, 0x2609004100208000ull,
    0x21200c8080400020ull, 0x0010e00080300280ull, 0x0408028080285000ull, 0x02002501000800b0ull, 0x4c44040080020080ull,
    0x4000102400028118ull, 0x1048004200140081ull, 0x0102224000800282ull, 0x08b0002008c00040ull, 0x8002200511004100ull,
    0x1000809004801801ull, 0xc002009006002008ull, 0x4005800400800601ull, 0x4000700144000802ull, 0x0000426902000084ull,
    0x120220c000808001ull, 0x1048a00450004000ull, 0x200040208a020011ull, 0x00410a0060420010ull, 0x0040680100310004ull,
    0x440a00800400800aull, 0x8882000801060004ull, 0x0000044c02920001ull, 0x0003014180002500ull, 0x0202010820409200ull,
    0x2202008040182200ull, 0x8420100182080080ull, 0x40012800800c0280ull, 0x0401104020048801ull, 0x00c00508100a0400ull,
    0x040050408c010200ull, 0x0000c50210208001ull, 0x0840001081002241ull, 0x0101400900200211ull, 0x000090010020088dull,
    0x0002001060280482ull, 0x2071000204000801ull, 0x1002060108100084ull, 0x00000c0900806042ull,
};
const uint64_t BISHOP_MAGICS[64] = {
    0x004004980a002020ull, 0x00821001010100c8ull, 0x0a10040141480000ull, 0x2002208206090000ull, 0x0201104041080102ull,
    0x01028a1041000004ull, 0x80020a4120080020ull, 0x0000a40108080680ull, 0x0400210410021041ull, 0x00001004010c1160ull,
    0x0002042124010088ull, 0x4000082080602082ull, 0x00400c0c21200400ull, 0x01040104208400c0ull, 0x4000009084304004ull,
    0x4410008210822000ull, 0x1004824004080201ull, 0x5302000802080200ull, 0x008800100080260cull, 0x9004000844001820ull,
    0x1004060080a00022ull, 0x01c8200202100200ull, 0x0080830848041000ull, 0x8000408202020160ull, 0x1008080040900128ull,
    0x2002108021040088ull, 0x0041010430004201ull, 0x2408080009202020ull, 0x8421004024004040ull, 0x000202010a481200ull,
    0x0004821003080208ull, 0x0209020004a20100ull, 0x0021882000482002ull, 0x0008024220083800ull, 0x0201002800408680ull,
    0x00501a0080080180ull, 0x6410008200802200ull, 0x0011090104020044ull, 0x0404081200048180ull, 0x00a5020020008420ull,
    0x0501080212004002ull, 0x0001090820060240ull, 0x4001040024080601ull, 0x0080c04010440201ull, 0x8000182504008040ull,
    0x00100130030002a0ull, 0x00108200a4004110ull, 0x1012241100200200ull, 0x0044010402230001ull, 0x0102014422480000ull,
    0x00050202010400c2ull, 0x4040000484044820ull, 0x0000329002060400ull, 0x4090060810010001ull, 0x00a0042408005008ull,
    0xc004140082020020ull, 0x0001014804040a20ull, 0x00800105080a0220ull, 0x0800010044040c0cull, 0x0080000880841c20ull,
    0x0009800820205100ull, 0x0280841404080200ull, 0x0000285001180102ull, 0x0030411044008020ull,
};

// Fills the square's attack slots from a multiplier; false on a harmful collision.
bool fillWithMagic(int sq, Magic& m, bool rook, uint64_t candidate) {
    Bitboard subset = 0;
    size_t size = size_t(1) << popcount(m.mask);
    for (size_t i = 0; i < size; ++i) m.attacks[i] = 0;
    do {
        Bitboard reference = rook ? slowRookAttacks(sq, subset) : slowBishopAttacks(sq, subset);
        Bitboard& slot = m.attacks[(subset * candidate) >> m.shift];
        // Every attack set contains at least one square, so 0 marks a free slot.
        if (slot && slot != reference) return false;
        slot = reference;
        subset = (subset - m.mask) & m.mask;
    } while (subset);
    m.magic = candidate;
    return true;
}

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
            if (!(candidate & bit(index))) {
                candidate |= bit(index);
                ++bits;
            }
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
        for (int i = 0; i < size; ++i) m.attacks[(occupancies[i] * candidate) >> m.shift] = references[i];
        return;
    }
}

bool built = false;

}  // namespace

uint64_t searchMagic(int sq, bool rook) {
    static Bitboard scratch[4096];
    Magic m = rook ? rookMagics[sq] : bishopMagics[sq];
    m.attacks = scratch;
    std::vector<uint32_t> stamps(65536, 0);
    std::vector<Bitboard> slots(65536, 0);
    findMagic(sq, m, rook, stamps, slots);
    return m.magic;
}

Bitboard slowRookAttacks(int sq, Bitboard occ) { return rayWalk(sq, occ, ROOK_DIRS); }
Bitboard slowBishopAttacks(int sq, Bitboard occ) { return rayWalk(sq, occ, BISHOP_DIRS); }

void initAttackTables() {
    if (built) return;
    built = true;

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
    std::vector<uint32_t> stamps;
    std::vector<Bitboard> slots;
    auto search = [&](int sq, Magic& m, bool rook) {
        if (stamps.empty()) {
            stamps.assign(65536, 0);
            slots.assign(65536, 0);
        }
        findMagic(sq, m, rook, stamps, slots);
    };
    for (int sq = 0; sq < 64; ++sq)
        if (!fillWithMagic(sq, rookMagics[sq], true, ROOK_MAGICS[sq])) search(sq, rookMagics[sq], true);
    for (int sq = 0; sq < 64; ++sq)
        if (!fillWithMagic(sq, bishopMagics[sq], false, BISHOP_MAGICS[sq])) search(sq, bishopMagics[sq], false);

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
