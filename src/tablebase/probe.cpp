#include "tablebase/probe.h"

#include <climits>
#include <cstring>

#include "board/score.h"
#include "tablebase/registry.h"
#include "tablebase/tbboard.h"

namespace {

// DTZ of a position whose best move zeroes, by WDL value -2..2.
const int ZEROING_DTZ[5] = {-1, -101, 0, 101, 1};
// Which DTZ map serves a WDL value, and the flag that says distances are in plies.
const int MAP_OF_WDL[5] = {1, 3, 0, 2, 0};
const int PLIES_FLAG[5] = {8, 0, 0, 0, 4};

// Where the pieces of `b` stand in the numbering of one table: the squares in
// the table's piece order, with colours swapped (and the board turned) when
// `flip` is set, numbered as the stored side `side` (always 0 for DTZ, which
// keeps one side). Returns the index and the file of the leading pawn.
bool tableIndex(const TbTable& t, const TbTableData& data, const TbBoard& b, bool flip, int side, uint64_t* index,
                int* file) {
    int sq[8];
    int colourSwap = flip ? 8 : 0, turn = flip ? 0x38 : 0;
    int n = t.pieceCount;
    if (!t.hasPawns) {
        const TbSideData& s = data.side[0][side];
        for (int i = 0; i < n;) {
            int code = s.pieces[i] ^ colourSwap;
            Bitboard bb = b.pieces[makePiece(code & 7, code >> 3)];
            if (!bb) return false;
            while (bb && i < n) sq[i++] = popLsb(bb);
        }
        *file = 0;
        *index = pawnlessIndex(s, sq, n, t.twoKings);
        return true;
    }
    int lead = data.side[0][0].pieces[0] ^ colourSwap;
    Bitboard bb = b.pieces[makePiece(lead & 7, lead >> 3)];
    int i = 0;
    while (bb && i < n) sq[i++] = popLsb(bb) ^ turn;
    if (i != t.pawnCount[0]) return false;
    *file = leadingPawnFile(sq, i);
    const TbSideData& s = data.side[*file][side];
    while (i < n) {
        int code = s.pieces[i] ^ colourSwap;
        Bitboard group = b.pieces[makePiece(code & 7, code >> 3)];
        if (!group) return false;
        while (group && i < n) sq[i++] = popLsb(group) ^ turn;
    }
    int pawns[2] = {t.pawnCount[0], t.pawnCount[1]};
    *index = pawnIndex(s, sq, n, pawns);
    return true;
}

// Colour orientation of a lookup: the table is stored with the material of
// its name for White; `side` selects the stored side to move.
TbTable* tableFor(const TbBoard& b, bool* flip, int* side) {
    uint64_t key = boardMaterialKey(b, false);
    TbTable* t = lookup(key);
    if (!t) return nullptr;
    if (t->symmetric) {
        *flip = b.side == BLACK;
        *side = 0;
    } else {
        *flip = key != t->key;
        *side = (b.side == WHITE) == !*flip ? 0 : 1;
    }
    return t;
}

// The stored WDL value, right for positions whose best move is not a capture.
bool tableWdl(const TbBoard& b, int* value) {
    if (pieceCountOf(b) == 2) {
        *value = 0;
        return true;
    }
    bool flip;
    int side;
    TbTable* t = tableFor(b, &flip, &side);
    if (!t || !mapTable(*t, TB_WDL)) return false;
    if (side >= t->wdl.sides) return false;
    uint64_t index;
    int file;
    if (!tableIndex(*t, t->wdl, b, flip, side, &index, &file)) return false;
    *value = decompressValue(t->wdl.side[file][side].pairs, index) - 2;
    return true;
}

enum DtzLookup { DTZ_FOUND, DTZ_OTHER_SIDE, DTZ_MISSING };

// The stored distance for a position of known WDL value; the file keeps one
// side to move only.
DtzLookup tableDtz(const TbBoard& b, int wdl, int* value) {
    bool flip;
    int side;
    TbTable* t = tableFor(b, &flip, &side);
    if (!t || !mapTable(*t, TB_DTZ)) return DTZ_MISSING;
    uint64_t index;
    int file;
    if (!tableIndex(*t, t->dtz, b, flip, 0, &index, &file)) return DTZ_MISSING;
    const PairsData& pairs = t->dtz.side[file][0].pairs;
    if (!t->symmetric && (pairs.flags & 1) != side) return DTZ_OTHER_SIDE;
    int v = decompressValue(pairs, index);
    if (pairs.flags & 2) {
        const uint8_t* map = t->dtz.map + t->dtz.mapOffset[file][MAP_OF_WDL[wdl + 2]];
        v = t->dtz.wideMap[file] ? int(map[2 * v] | map[2 * v + 1] << 8) : int(map[v]);
    }
    if (!(pairs.flags & PLIES_FLAG[wdl + 2]) || (wdl & 1)) v *= 2;
    *value = v;
    return DTZ_FOUND;
}

// WDL with the captures searched first (the tables leave positions whose best
// move is a capture undefined). *status: 0 failed, 1 the table's value,
// 2 a capture reaches the result.
int captureSearch(const TbBoard& b, int alpha, int beta, int* status) {
    TbMoveList list;
    generateTbMoves(b, TB_CAPTURES, list);
    for (int i = 0; i < list.count; ++i) {
        int v = -captureSearch(boardAfter(b, list.moves[i]), -beta, -alpha, status);
        if (!*status) return 0;
        if (v > alpha) {
            if (v >= beta) {
                *status = 2;
                return v;
            }
            alpha = v;
        }
    }
    int v;
    if (!tableWdl(b, &v)) {
        *status = 0;
        return 0;
    }
    if (alpha >= v) {
        *status = alpha > 0 ? 2 : 1;
        return alpha;
    }
    *status = 1;
    return v;
}

// The best result of the en-passant captures, -3 when there are none.
int bestEnPassant(const TbBoard& b, bool* ok) {
    int best = -3;
    TbMoveList list;
    generateTbMoves(b, TB_EN_PASSANT, list);
    for (int i = 0; i < list.count; ++i) {
        int status = 1;
        int v = -captureSearch(boardAfter(b, list.moves[i]), -2, 2, &status);
        if (!status) {
            *ok = false;
            return 0;
        }
        if (v > best) best = v;
    }
    return best;
}

bool onlyEnPassantMoves(const TbBoard& b) {
    TbMoveList list;
    generateTbMoves(b, TB_ALL_MOVES, list);
    for (int i = 0; i < list.count; ++i)
        if (moveFlag(list.moves[i]) != FLAG_EP) return false;
    return true;
}

int fullWdl(const TbBoard& b, bool* ok) {
    int status = 1;
    int v = captureSearch(b, -2, 2, &status);
    if (!status) {
        *ok = false;
        return 0;
    }
    if (!b.epSquare) return v;
    int ep = bestEnPassant(b, ok);
    if (!*ok) return 0;
    // En passant is not in the tables: it counts when it is better, or when a
    // drawn-looking position has no other move.
    if (ep > -3 && (ep >= v || (v == 0 && onlyEnPassantMoves(b)))) v = ep;
    return v;
}

int dtz(const TbBoard& b, bool* ok);

bool isMated(const TbBoard& b) { return boardInCheck(b) && !hasLegalMove(b); }

int dtzWithoutEnPassant(const TbBoard& b, bool* ok) {
    int status = 1;
    int wdl = captureSearch(b, -2, 2, &status);
    if (!status) {
        *ok = false;
        return 0;
    }
    if (wdl == 0) return 0;
    if (status == 2) return ZEROING_DTZ[wdl + 2];

    TbMoveList list;
    if (wdl > 0) {
        // A pawn move that keeps the result zeroes at once.
        generateTbMoves(b, TB_PAWN_PUSHES, list);
        for (int i = 0; i < list.count; ++i) {
            int v = -fullWdl(boardAfter(b, list.moves[i]), ok);
            if (!*ok) return 0;
            if (v == wdl) return ZEROING_DTZ[wdl + 2];
        }
    }

    int stored = 0;
    DtzLookup found = tableDtz(b, wdl, &stored);
    if (found == DTZ_MISSING) {
        *ok = false;
        return 0;
    }
    if (found == DTZ_FOUND) return ZEROING_DTZ[wdl + 2] + (wdl > 0 ? stored : -stored);

    // The file keeps the other side to move: look one ply ahead.
    if (wdl > 0) {
        int best = INT_MAX;
        generateTbMoves(b, TB_QUIET_PIECES, list);
        for (int i = 0; i < list.count; ++i) {
            TbBoard next = boardAfter(b, list.moves[i]);
            if (isMated(next)) return 1;
            int v = -dtz(next, ok);
            if (!*ok) return 0;
            if (v > 0 && v + 1 < best) best = v + 1;
        }
        return best;
    }
    int best = -1;
    generateTbMoves(b, TB_ALL_MOVES, list);
    for (int i = 0; i < list.count; ++i) {
        TbBoard next = boardAfter(b, list.moves[i]);
        int v;
        if (next.fifty == 0) {
            if (wdl == -2) {
                v = -1;
            } else {
                int w = fullWdl(next, ok);
                v = w == 2 ? 0 : -101;
            }
        } else {
            v = -dtz(next, ok) - 1;
        }
        if (!*ok) return 0;
        if (v < best) best = v;
    }
    return best;
}

// A mated side has no distance left to go.
int dtz(const TbBoard& b, bool* ok) {
    if (isMated(b)) return 0;
    int v = dtzWithoutEnPassant(b, ok);
    if (!*ok || !b.epSquare) return v;
    int ep = bestEnPassant(b, ok);
    if (!*ok || ep == -3) return v;
    int e = ZEROING_DTZ[ep + 2];
    bool better;
    if (v < -100) better = e >= 0;
    else if (v < 0) better = e >= 0 || e < -100;
    else if (v > 100) better = e > 0;
    else if (v > 0) better = e == 1;
    else better = e >= 0 || onlyEnPassantMoves(b);
    return better ? e : v;
}

bool readBoard(const Position& p, TbBoard& b) {
    int largest = largestTablebase();
    if (!largest || !boardFromPosition(p, b)) return false;
    int n = pieceCountOf(b);
    return n <= largest && n <= 7;
}

// Root move ranking: a result class first (win, draw, loss under the
// fifty-move rule), then progress within the class.
struct RootChoice {
    int result;  // 2 win, 1 draw, 0 loss
    int order;   // smaller is better within the result
    int plies;   // signed distance to zeroing after the move, from the mover's side
    bool mate;
};

bool better(const RootChoice& a, const RootChoice& b) {
    if (a.result != b.result) return a.result > b.result;
    return a.order < b.order;
}

}  // namespace

int probeWdlValue(Position& p) {
    TbBoard b;
    if (!readBoard(p, b)) return TB_FAILED;
    bool ok = true;
    int v = fullWdl(b, &ok);
    return ok ? v : TB_FAILED;
}

int probeDtzValue(Position& p) {
    TbBoard b;
    if (!readBoard(p, b)) return TB_FAILED;
    bool ok = true;
    int v = dtz(b, &ok);
    return ok ? v : TB_FAILED;
}

int probeWdl(Position& p) {
    int v = probeWdlValue(p);
    return v == TB_FAILED ? -1 : v + 2;
}

Move probeRoot(Position& p, int* score) {
    *score = 0;
    TbBoard b;
    if (!readBoard(p, b)) return NO_MOVE;
    TbMoveList list;
    generateTbMoves(b, TB_ALL_MOVES, list);
    if (!list.count) return NO_MOVE;

    Move bestMove = NO_MOVE;
    RootChoice best{};
    for (int i = 0; i < list.count; ++i) {
        TbBoard next = boardAfter(b, list.moves[i]);
        bool ok = true;
        RootChoice c{};
        if (isMated(next)) {
            c.mate = true;
            c.plies = 1;
        } else if (next.fifty == 0) {
            c.plies = ZEROING_DTZ[-fullWdl(next, &ok) + 2];
        } else {
            int d = -dtz(next, &ok);
            c.plies = d > 0 ? d + 1 : d < 0 ? d - 1 : 0;
        }
        if (!ok) return NO_MOVE;
        // A distance that the fifty-move counter cannot afford ends in a draw.
        int v = c.plies;
        if (v > 0 && v + b.fifty <= 100) {
            c.result = 2;
            c.order = c.mate ? 0 : v;
        } else if (v < 0 && -v + b.fifty <= 100) {
            c.result = 0;
            c.order = v;  // the longest resistance first
        } else {
            c.result = 1;
            c.order = v > 0 ? v - 1000 : v == 0 ? 0 : 1000 + v;  // chances for the opponent to go wrong first
        }
        if (!bestMove || better(c, best)) {
            best = c;
            bestMove = list.moves[i];
        }
    }
    if (best.result == 2) *score = best.mate ? mateIn(1) : tablebaseWin(best.plies);
    else if (best.result == 0) *score = tablebaseLoss(-best.plies);
    return bestMove;
}
