// Every move the search tries comes from here. Three pickers share one state
// per ply (the frame's PickerState) and generate lazily into the ply's part of
// the thread's move list:
// - the main picker of an alpha-beta node: the TT move, good captures,
//   killers, the counter move, losing captures and the quiet moves by history;
//   check evasions, best first, when in check;
// - the capture picker of ProbCut and quiescence: captures whose exchange
//   reaches a threshold, best victim first, the TT move first when it is one;
// - the plain evasion picker of quiescence: evasions as generated.
// The pickers also keep the move-list bounds of the ply records: a ply's list
// ends where the next ply's begins.
#pragma once

#include <climits>

#include "board/movegen.h"
#include "search/see.h"
#include "search/worker.h"

constexpr int BAD_CAPTURE_KEY = 255;

inline bool sameMove(Move a, Move b) { return moveBase(a) == moveBase(b); }
inline Move withPiece(Move m, int piece) { return moveBase(m) | Move(piece) << 24; }
inline int movePiece(Move m) { return int(m >> 24); }

// Moves the entry with the highest order key to `from`, keeping the order of
// the others (first of equal keys wins).
inline void selectBestKey(Move* from, Move* end) {
    Move* best = from;
    for (Move* m = from + 1; m < end; ++m)
        if (moveScore(*m) > moveScore(*best)) best = m;
    Move keep = *best;
    for (Move* m = best; m > from; --m) *m = *(m - 1);
    *from = keep;
}

// A freshly generated list up to `end`, to be taken from its start at `stage`.
inline void beginList(PickerState& s, Move* end, uint8_t stage) {
    s.end = end;
    s.current = s.listStart;
    s.stage = stage;
}

// The best of the moves not yet taken, by order key.
inline Move takeBest(PickerState& s) {
    selectBestKey(s.current, s.end);
    return *s.current++;
}

// Continuation-history blocks of a node: by the previous move and by the one
// before it; null where that move does not exist or was a null move.
struct ContinuationBlocks {
    int16_t* counter;
    int16_t* followUp;
};

inline ContinuationBlocks continuationBlocks(worker& w, int ply) {
    Move previous = w.frames[ply].movedBy;
    Move twoBack = ply >= 1 ? w.frames[ply - 1].movedBy : NO_MOVE;
    ContinuationBlocks c;
    c.counter = previous ? w.history->counterHistory[pieceToIndex(movePiece(previous), moveTo(previous))] : nullptr;
    c.followUp = twoBack ? w.history->followUpHistory[pieceToIndex(movePiece(twoBack), moveTo(twoBack))] : nullptr;
    return c;
}

// ---- Move-list bounds ----------------------------------------------------
// A node that holds no moves yet (before its picker starts, or while it
// searches a null move) lets the next ply's list start where its own would.
inline void holdNoMoves(worker& w, int ply) {
    Position& p = *w.pos;
    p.plyStates[ply + 1].moveStart = p.plyStates[ply].moveStart;
}

// ---- Main picker ---------------------------------------------------------
// Sets up the picker of a node. Works out the pinned pieces first, so that
// moves tried before any generation can be tested with isLegal.
void startPicker(worker& w, int ply, Move ttMove, bool inCheck);

// The next move, or NO_MOVE when the node has none left.
Move nextMove(worker& w, int ply, const ContinuationBlocks& blocks);

// The stage that produced the last move nextMove returned.
inline int lastStage(const worker& w, int ply) { return w.frames[ply].picker.lastStage; }

// The TT move, when the picker offered it (it was pseudo-legal); else NO_MOVE.
inline Move offeredTtMove(const worker& w, int ply) { return w.frames[ply].picker.yielded[0]; }

// A search that tries moves ahead of the rest (the singular test) saves the
// picker and puts it back afterwards, so that the node's loop starts again
// where it stood. Putting it back also hands the moves generated meanwhile
// back to the next ply.
inline PickerState savePicker(const worker& w, int ply) { return w.frames[ply].picker; }
inline void restorePicker(worker& w, int ply, const PickerState& saved) {
    w.frames[ply].picker = saved;
    w.pos->plyStates[ply + 1].moveStart = saved.end;
}

// ---- Capture picker (ProbCut, quiescence) -------------------------------
constexpr int ANY_EXCHANGE = INT_MIN;  // threshold that lets every capture through

// Captures, and quiet queen promotions when `withPromotions`, generated as if
// the side to move were not in check, whose exchange reaches `threshold`. A
// pseudo-legal capture `ttMove` comes first when its exchange reaches the
// threshold, and is not offered again. Works out the pinned pieces first.
void startCapturePicker(worker& w, int ply, Move ttMove, int threshold, bool withPromotions);

// Check evasions in the order the generator writes them.
void startPlainEvasionPicker(worker& w, int ply);

// Whether a generated capture goes out: not the TT move offered before the
// list, and with an exchange that reaches the threshold.
inline bool goesOut(const Position& p, const PickerState& s, Move m) {
    if (s.ttMove && sameMove(m, s.ttMove)) return false;
    return s.threshold == ANY_EXCHANGE || seeTest(p, m, s.threshold);
}

// The next move of the capture or plain evasion picker, or NO_MOVE.
inline Move nextCapture(worker& w, int ply) {
    Position& p = *w.pos;
    PickerState& s = w.frames[ply].picker;
    switch (s.stage) {
    case STAGE_CAPTURE_TT: s.stage = STAGE_GEN_NOISY; return s.ttMove;
    case STAGE_GEN_NOISY:
        beginList(s,
                  s.withPromotions ? generateQuiescenceIgnoringCheck(ply, s.listStart, p)
                                   : generateCapturesIgnoringCheck(ply, s.listStart, p),
                  STAGE_NOISY);
        [[fallthrough]];
    case STAGE_NOISY:
        while (s.current < s.end) {
            Move m = takeBest(s);
            if (goesOut(p, s, m)) return m;
        }
        return NO_MOVE;
    case STAGE_PLAIN_EVASIONS: return s.current < s.end ? *s.current++ : NO_MOVE;
    default: return NO_MOVE;
    }
}
