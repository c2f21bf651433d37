// The staged move picker of the alpha-beta node: the TT move, good captures,
// killers, the counter move, losing captures and the quiet moves by history,
// generated lazily into the ply's part of the thread's move list.
#pragma once

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

// Sets up the picker of a node. Works out the pinned pieces first, so that
// moves tried before any generation can be tested with isLegal.
void startPicker(worker& w, int ply, Move ttMove, bool inCheck);

// The next move, or NO_MOVE when the node has none left. The frame's stage
// tells which stage produced it.
Move nextMove(worker& w, int ply, const ContinuationBlocks& blocks);

// The next capture of a freshly generated list whose SEE reaches threshold;
// NO_MOVE when none is left (ProbCut's source of moves).
Move nextProbCutMove(worker& w, int ply, Move ttMove, int threshold);
