#include "tablebase/decode.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

// Square numbering of the format, a1 = 0 as on the board.
uint64_t choose[8][65];         // choose[k][n] = n over k
int8_t triangleIndex[64];       // the ten squares of a1-d1-d4: off-diagonal 0..5, diagonal 6..9
int8_t diagonalIndex[64];       // a1-h8 diagonal: 0..7
int8_t belowDiagonalIndex[64];  // squares below the a1-h8 diagonal, row by row: 0..27
int16_t kingPairIndex[10][64];  // two kings: 462 legal placements after symmetry
uint8_t pawnFlap[64];           // pawn squares numbered file by file from the edge
uint8_t pawnTwist[64];          // pawn squares numbered from the centre files and far ranks
uint64_t leadStart[6][24];      // first index of each leading-pawn square, per pawn count
uint64_t leadFileSize[6][4];    // indices of the leading pawns per file
const int FOLDED_FILE[8] = {0, 1, 2, 3, 3, 2, 1, 0};

int offDiagonal(int sq) {
    int d = (sq >> 3) - (sq & 7);
    return d > 0 ? 1 : d < 0 ? -1 : 0;
}
int transpose(int sq) { return ((sq & 7) << 3) | (sq >> 3); }

uint32_t le32(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}
uint32_t le16(const uint8_t* p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8; }
uint64_t be64(const uint8_t* p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    return __builtin_bswap64(v);
}
uint32_t be32(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return __builtin_bswap32(v);
}

// Reads one compressed sub-table's header at `p`. Sizes of its index table,
// size table and blocks go to sizes[0..2]; returns the end of the header or
// nullptr when it runs past `end`.
const uint8_t* readPairs(PairsData& d, const uint8_t* p, const uint8_t* end, uint64_t positions, bool wdl,
                         uint64_t sizes[3]) {
    if (end - p < 2) return nullptr;
    d.flags = p[0];
    sizes[0] = sizes[1] = sizes[2] = 0;
    if (p[0] & 0x80) {
        d.constant = true;
        d.constantValue = wdl ? p[1] : 0;
        return p + 2;
    }
    d.constant = false;
    if (end - p < 12) return nullptr;
    d.blockBits = p[1];
    d.indexBits = p[2];
    uint32_t realBlocks = le32(p + 4);
    uint32_t blocks = realBlocks + p[3];
    int maxLength = p[8], minLength = p[9];
    if (d.indexBits == 0 || d.indexBits > 40 || d.blockBits > 40 || minLength < 1 || maxLength < minLength
        || maxLength > 63)
        return nullptr;
    int lengths = maxLength - minLength + 1;
    if (end - p < 12 + 2 * lengths) return nullptr;
    d.minLength = uint8_t(minLength);
    d.lengthOffsets = p + 10;
    uint32_t symbols = le16(p + 10 + 2 * lengths);
    d.symbolPatterns = p + 12 + 2 * lengths;
    const uint8_t* next = d.symbolPatterns + 3 * symbols + (symbols & 1);
    if (next > end) return nullptr;

    uint64_t indices = (positions + (uint64_t(1) << d.indexBits) - 1) >> d.indexBits;
    sizes[0] = 6 * indices;
    sizes[1] = 2 * uint64_t(blocks);
    sizes[2] = uint64_t(realBlocks) << d.blockBits;

    // A pair symbol expands to its two halves; the right half 0xfff marks a value.
    d.symbolLength.assign(symbols, 0);
    std::vector<uint8_t> state(symbols, 0);  // 0 new, 1 in progress, 2 done
    std::vector<uint32_t> stack;
    for (uint32_t s = 0; s < symbols; ++s) {
        if (state[s] == 2) continue;
        stack.push_back(s);
        while (!stack.empty()) {
            uint32_t t = stack.back();
            const uint8_t* w = d.symbolPatterns + 3 * t;
            uint32_t left = ((w[1] & 0xf) << 8) | w[0];
            uint32_t right = (uint32_t(w[2]) << 4) | (w[1] >> 4);
            if (right == 0xfff) {
                d.symbolLength[t] = 0;
                state[t] = 2;
                stack.pop_back();
                continue;
            }
            if (left >= symbols || right >= symbols) return nullptr;
            state[t] = 1;
            bool waiting = false;
            for (uint32_t half : {left, right}) {
                if (state[half] == 1) return nullptr;  // a cycle: not a valid table
                if (state[half] == 0) {
                    stack.push_back(half);
                    waiting = true;
                }
            }
            if (waiting) continue;
            d.symbolLength[t] = uint16_t(d.symbolLength[left] + d.symbolLength[right] + 1);
            state[t] = 2;
            stack.pop_back();
        }
    }

    // Canonical code: the smallest code of each length, left-aligned in 64 bits.
    d.base.assign(lengths, 0);
    for (int i = lengths - 2; i >= 0; --i)
        d.base[i] = (d.base[i + 1] + le16(d.lengthOffsets + 2 * i) - le16(d.lengthOffsets + 2 * (i + 1))) / 2;
    for (int i = 0; i < lengths; ++i) d.base[i] <<= 64 - (minLength + i);
    return next;
}

void setGroups(TbSideData& s, int n, int first, int second) {
    std::memset(s.groupSize, 0, sizeof s.groupSize);
    s.groupSize[0] = uint8_t(first);
    int i = first;
    if (second) {
        s.groupSize[i] = uint8_t(second);
        i += second;
    }
    while (i < n) {
        int j = i;
        while (j < n && s.pieces[j] == s.pieces[i]) ++j;
        s.groupSize[i] = uint8_t(j - i);
        i = j;
    }
}

// Factors of one side: the leading group, with leadPlacements placements,
// takes its place `order` among the other groups, counted from the least
// significant; a second pawn group (order2 < 0xf) takes its place order2.
void groupFactors(TbSideData& s, int n, int order, uint64_t leadPlacements, int order2) {
    int lead = s.groupSize[0];
    int i = lead;
    if (order2 < 0xf) i += s.groupSize[i];
    int freeSquares = 64 - i;
    uint64_t f = 1;
    for (int k = 0; i < n || k == order || k == order2; ++k) {
        if (k == order) {
            s.factor[0] = f;
            f *= leadPlacements;
        } else if (k == order2) {
            s.factor[lead] = f;
            f *= choose[s.groupSize[lead]][48 - lead];
        } else {
            s.factor[i] = f;
            f *= choose[s.groupSize[i]][freeSquares];
            freeSquares -= s.groupSize[i];
            i += s.groupSize[i];
        }
    }
    s.size = f;
}

void pawnlessFactors(TbSideData& s, int n, int order, bool twoKings) {
    groupFactors(s, n, order, twoKings ? 462 : 31332, 0xf);
}

void pawnFactors(TbSideData& s, int n, int order, int order2, int file) {
    groupFactors(s, n, order, leadFileSize[s.groupSize[0] - 1][file], order2);
}

// Piece orders, groups and factors of every file and side; returns the end.
const uint8_t* readPieceOrders(TbTableData& out, const uint8_t* p, const uint8_t* end, const TbShape& shape,
                               int sides) {
    int n = shape.pieceCount;
    int files = shape.hasPawns ? 4 : 1;
    int extra = shape.hasPawns && shape.pawnCount[1] > 0 ? 1 : 0;
    for (int f = 0; f < files; ++f) {
        if (end - p < n + 1 + extra) return nullptr;
        for (int s = 0; s < sides; ++s) {
            TbSideData& side = out.side[f][s];
            int shift = s ? 4 : 0;
            std::memset(side.pieces, 0, sizeof side.pieces);
            for (int i = 0; i < n; ++i) side.pieces[i] = (p[1 + extra + i] >> shift) & 0xf;
            int order = (p[0] >> shift) & 0xf;
            if (shape.hasPawns) {
                int order2 = extra ? (p[1] >> shift) & 0xf : 0xf;
                setGroups(side, n, shape.pawnCount[0], shape.pawnCount[1]);
                pawnFactors(side, n, order, order2, f);
            } else {
                setGroups(side, n, shape.twoKings ? 2 : 3, 0);
                pawnlessFactors(side, n, order, shape.twoKings);
            }
        }
        p += n + 1 + extra;
    }
    return p;
}

const uint8_t* alignTo(const uint8_t* p, const uint8_t* file, int alignment) {
    uint64_t offset = uint64_t(p - file);
    return file + ((offset + alignment - 1) & ~uint64_t(alignment - 1));
}

// Index tables, size tables and blocks follow the headers in this order, each
// list running over files and sides; blocks start on 64-byte boundaries.
bool placeTables(PairsData* pairs[], uint64_t (*sizes)[3], int count, const uint8_t*& p, const uint8_t* file,
                 const uint8_t* end) {
    for (int i = 0; i < count; ++i) {
        pairs[i]->indexTable = p;
        p += sizes[i][0];
    }
    for (int i = 0; i < count; ++i) {
        pairs[i]->sizeTable = p;
        p += sizes[i][1];
    }
    for (int i = 0; i < count; ++i) {
        p = alignTo(p, file, 64);
        pairs[i]->blocks = p;
        p += sizes[i][2];
    }
    return p <= end;
}

}  // namespace

void initIndexTables() {
    for (int n = 0; n <= 64; ++n) {
        choose[0][n] = 1;
        for (int k = 1; k < 8; ++k) choose[k][n] = n == 0 ? 0 : choose[k][n - 1] + choose[k - 1][n - 1];
    }

    const int triangle[10] = {1, 2, 3, 10, 11, 19, 0, 9, 18, 27};  // b1 c1 d1 c2 d2 d3 a1 b2 c3 d4
    std::memset(triangleIndex, -1, sizeof triangleIndex);
    for (int i = 0; i < 10; ++i) triangleIndex[triangle[i]] = int8_t(i);
    int below = 0;
    for (int sq = 0; sq < 64; ++sq) {
        diagonalIndex[sq] = offDiagonal(sq) == 0 ? int8_t(sq >> 3) : -1;
        belowDiagonalIndex[sq] = offDiagonal(sq) < 0 ? int8_t(below++) : -1;
    }

    // The first king stands in the triangle. With it on the diagonal the second
    // stands on or below the diagonal, and placements with both kings on the
    // diagonal come last.
    int next = 0;
    for (int pass = 0; pass < 3; ++pass)
        for (int t = pass == 0 ? 0 : 6; t < (pass == 0 ? 6 : 10); ++t) {
            int k1 = triangle[t];
            for (int k2 = 0; k2 < 64; ++k2) {
                int fileGap = std::abs((k1 & 7) - (k2 & 7)), rankGap = std::abs((k1 >> 3) - (k2 >> 3));
                bool wanted = pass == 0 || (pass == 1 ? offDiagonal(k2) < 0 : offDiagonal(k2) == 0);
                if (pass == 0) kingPairIndex[t][k2] = -1;
                if (wanted && std::max(fileGap, rankGap) > 1) kingPairIndex[t][k2] = int16_t(next++);
                else if (pass == 1) kingPairIndex[t][k2] = -1;
            }
        }

    for (int sq = 8; sq < 56; ++sq) {
        int file = sq & 7, rank = sq >> 3;
        int fromEdge = file < 4 ? file : 7 - file;
        pawnFlap[sq] = uint8_t(6 * fromEdge + rank - 1);
        int fromCentre = 3 - fromEdge;
        pawnTwist[sq] = uint8_t(12 * fromCentre + 2 * (6 - rank) + (file < 4 ? 1 : 0));
    }
    for (int t = 0; t < 6; ++t)
        for (int file = 0; file < 4; ++file) {
            uint64_t s = 0;
            for (int r = 0; r < 6; ++r) {
                int j = 6 * file + r;
                int sq = (r + 1) * 8 + file;
                leadStart[t][j] = s;
                s += t == 0 ? 1 : choose[t][pawnTwist[sq]];
            }
            leadFileSize[t][file] = s;
        }
}

bool readWdlHeader(TbTableData& out, const uint8_t* file, uint64_t size, const TbShape& shape) {
    const uint8_t* end = file + size;
    int sides = (file[4] & 1) ? 2 : 1;
    int files = shape.hasPawns ? 4 : 1;
    out.sides = sides;
    if (bool(file[4] & 2) != shape.hasPawns) return false;
    const uint8_t* p = readPieceOrders(out, file + 5, end, shape, sides);
    if (!p) return false;
    p = alignTo(p, file, 2);

    PairsData* pairs[8];
    uint64_t sizes[8][3];
    int count = 0;
    for (int f = 0; f < files; ++f)
        for (int s = 0; s < sides; ++s) {
            TbSideData& side = out.side[f][s];
            p = readPairs(side.pairs, p, end, side.size, true, sizes[count]);
            if (!p) return false;
            pairs[count++] = &side.pairs;
        }
    // A symmetric table stores one side; the prober swaps colours for the other.
    return placeTables(pairs, sizes, count, p, file, end);
}

bool readDtzHeader(TbTableData& out, const uint8_t* file, uint64_t size, const TbShape& shape) {
    const uint8_t* end = file + size;
    int files = shape.hasPawns ? 4 : 1;
    out.sides = 1;
    if (bool(file[4] & 2) != shape.hasPawns) return false;
    const uint8_t* p = readPieceOrders(out, file + 5, end, shape, 1);
    if (!p) return false;
    p = alignTo(p, file, 2);

    PairsData* pairs[4];
    uint64_t sizes[4][3];
    for (int f = 0; f < files; ++f) {
        TbSideData& side = out.side[f][0];
        p = readPairs(side.pairs, p, end, side.size, false, sizes[f]);
        if (!p) return false;
        pairs[f] = &side.pairs;
    }

    // Maps from stored symbols to distances: win, loss, cursed win, blessed loss.
    out.map = p;
    for (int f = 0; f < files; ++f) {
        uint8_t flags = out.side[f][0].pairs.flags;
        out.wideMap[f] = (flags & 16) != 0;
        if (!(flags & 2)) continue;
        if (!out.wideMap[f]) {
            for (int i = 0; i < 4; ++i) {
                if (p >= end) return false;
                out.mapOffset[f][i] = uint32_t(p + 1 - out.map);
                p += 1 + p[0];
            }
        } else {
            p = alignTo(p, file, 2);
            for (int i = 0; i < 4; ++i) {
                if (end - p < 2) return false;
                out.mapOffset[f][i] = uint32_t(p + 2 - out.map);
                p += 2 + 2 * le16(p);
            }
        }
    }
    p = alignTo(p, file, 2);
    return placeTables(pairs, sizes, files, p, file, end);
}

int decompressValue(const PairsData& d, uint64_t index) {
    if (d.constant) return d.constantValue;

    uint64_t mainIndex = index >> d.indexBits;
    int64_t inBlock = int64_t(index & ((uint64_t(1) << d.indexBits) - 1)) - (int64_t(1) << (d.indexBits - 1));
    const uint8_t* entry = d.indexTable + 6 * mainIndex;
    uint32_t block = le32(entry);
    inBlock += le16(entry + 4);
    while (inBlock < 0) inBlock += int64_t(le16(d.sizeTable + 2 * --block)) + 1;
    while (inBlock > int64_t(le16(d.sizeTable + 2 * block))) inBlock -= int64_t(le16(d.sizeTable + 2 * block++)) + 1;

    const uint8_t* ptr = d.blocks + (uint64_t(block) << d.blockBits);
    uint64_t code = be64(ptr);
    ptr += 8;
    int used = 0;  // bits consumed beyond the last refill
    int minLength = d.minLength;
    uint32_t sym;
    for (;;) {
        int len = minLength;
        while (code < d.base[len - minLength]) ++len;
        sym = le16(d.lengthOffsets + 2 * (len - minLength)) + uint32_t((code - d.base[len - minLength]) >> (64 - len));
        int64_t spread = int64_t(d.symbolLength[sym]) + 1;
        if (inBlock < spread) break;
        inBlock -= spread;
        code <<= len;
        used += len;
        if (used >= 32) {
            used -= 32;
            code |= uint64_t(be32(ptr)) << used;
            ptr += 4;
        }
    }
    while (d.symbolLength[sym] != 0) {
        const uint8_t* w = d.symbolPatterns + 3 * sym;
        uint32_t left = ((w[1] & 0xf) << 8) | w[0];
        int64_t spread = int64_t(d.symbolLength[left]) + 1;
        if (inBlock < spread) {
            sym = left;
        } else {
            inBlock -= spread;
            sym = (uint32_t(w[2]) << 4) | (w[1] >> 4);
        }
    }
    return d.symbolPatterns[3 * sym];
}

namespace {

// Adds the groups from `i` on: each group's squares, renumbered past the
// pieces placed before it, as a combination.
uint64_t groupIndex(const TbSideData& side, int* sq, int n, int i, uint64_t index) {
    while (i < n) {
        int t = side.groupSize[i];
        if (!t) break;  // only a damaged header leaves a group empty
        std::sort(sq + i, sq + i + t);
        uint64_t s = 0;
        for (int m = 0; m < t; ++m) {
            int p = sq[i + m], below = 0;
            for (int l = 0; l < i; ++l) below += sq[l] < p;
            s += choose[m + 1][p - below];
        }
        index += s * side.factor[i];
        i += t;
    }
    return index;
}

}  // namespace

uint64_t pawnlessIndex(const TbSideData& side, int* sq, int n, bool twoKings) {
    if (sq[0] & 4)
        for (int i = 0; i < n; ++i) sq[i] ^= 7;
    if (sq[0] & 0x20)
        for (int i = 0; i < n; ++i) sq[i] ^= 0x38;
    int unique = twoKings ? 2 : 3;
    for (int i = 0; i < n; ++i) {
        int d = offDiagonal(sq[i]);
        if (!d) continue;
        if (i < unique && d > 0)
            for (int j = 0; j < n; ++j) sq[j] = transpose(sq[j]);
        break;
    }

    uint64_t index;
    if (twoKings) {
        index = uint64_t(kingPairIndex[triangleIndex[sq[0]]][sq[1]]);
    } else {
        int a = sq[0], b = sq[1], c = sq[2];
        int bAbove = b > a, cAbove = (c > a) + (c > b);
        if (offDiagonal(a)) index = uint64_t(triangleIndex[a]) * 63 * 62 + (b - bAbove) * 62 + (c - cAbove);
        else if (offDiagonal(b))
            index = 6 * 63 * 62 + diagonalIndex[a] * 28 * 62 + belowDiagonalIndex[b] * 62 + (c - cAbove);
        else if (offDiagonal(c))
            index = 6 * 63 * 62 + 4 * 28 * 62 + diagonalIndex[a] * 7 * 28 + (diagonalIndex[b] - bAbove) * 28
                    + belowDiagonalIndex[c];
        else
            index = 6 * 63 * 62 + 4 * 28 * 62 + 4 * 7 * 28 + diagonalIndex[a] * 7 * 6 + (diagonalIndex[b] - bAbove) * 6
                    + (diagonalIndex[c] - cAbove);
    }
    return groupIndex(side, sq, n, unique, index * side.factor[0]);
}

int leadingPawnFile(int* sq, int leadCount) {
    for (int i = 1; i < leadCount; ++i)
        if (pawnFlap[sq[0]] > pawnFlap[sq[i]]) std::swap(sq[0], sq[i]);
    return FOLDED_FILE[sq[0] & 7];
}

uint64_t pawnIndex(const TbSideData& side, int* sq, int n, const int pawnCount[2]) {
    if (sq[0] & 4)
        for (int i = 0; i < n; ++i) sq[i] ^= 7;
    int lead = pawnCount[0];
    std::sort(sq + 1, sq + lead, [](int x, int y) { return pawnTwist[x] < pawnTwist[y]; });
    uint64_t index = leadStart[lead - 1][pawnFlap[sq[0]]];
    for (int k = 1; k < lead; ++k) index += choose[k][pawnTwist[sq[k]]];
    index *= side.factor[0];

    int i = lead;
    if (pawnCount[1]) {
        int t = pawnCount[1];
        std::sort(sq + i, sq + i + t);
        uint64_t s = 0;
        for (int m = 0; m < t; ++m) {
            int p = sq[i + m], below = 0;
            for (int l = 0; l < lead; ++l) below += sq[l] < p;
            s += choose[m + 1][p - below - 8];
        }
        index += s * side.factor[i];
        i += t;
    }
    return groupIndex(side, sq, n, i, index);
}
