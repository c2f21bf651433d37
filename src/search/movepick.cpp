#include "search/movepick.h"

#include <utility>

#include "board/movequery.h"

namespace {

inline void selectBestQuiet(Move* from, Move* end, int* scores) {
    Move* best = from;
    int bestScore = scores[0];
    int* bestScorePtr = scores;
    for (Move* m = from + 1; m < end; ++m) {
        int s = scores[m - from];
        if (s > bestScore) {
            bestScore = s;
            best = m;
            bestScorePtr = scores + (m - from);
        }
    }
    std::swap(*from, *best);
    std::swap(*scores, *bestScorePtr);
}

inline bool wasYielded(const SearchFrame& f, Move m) {
    const PickerState& s = f.picker;
    for (Move y : s.yielded)
        if (y && sameMove(y, m)) return true;
    return false;
}

// A killer or counter move is tried early only when it is still a quiet,
// pseudo-legal move of the piece that made it.
inline bool usableQuiet(const Position& p, int ply, const SearchFrame& f, Move m) {
    if (!m || wasYielded(f, m)) return false;
    if (p.board[moveFrom(m)] != movePiece(m)) return false;
    if (isCapture(p, m)) return false;
    return isPseudoLegal(p, ply, m);
}

}  // namespace

void startPicker(worker& w, int ply, Move ttMove, bool inCheck) {
    Position& p = *w.pos;
    SearchFrame& f = w.frames[ply];
    PickerState& s = f.picker;
    s.listStart = p.plyStates[ply].moveStart;
    s.current = s.end = s.captureEnd = s.quietStart = s.listStart;
    s.yielded[0] = s.yielded[1] = s.yielded[2] = s.yielded[3] = NO_MOVE;
    s.ttMove = ttMove;
    holdNoMoves(w, ply);
    if (inCheck) {
        s.end = generateCaptures(ply, s.listStart, p);  // evasions, with the pinned pieces
        if (ttMove)
            for (Move* m = s.listStart; m < s.end; ++m)
                if (sameMove(*m, ttMove)) *m = moveBase(*m) | Move(BAD_CAPTURE_KEY) << 24;
        s.stage = STAGE_EVASIONS;
        return;
    }
    p.plyStates[ply].notPinned = ~pinnedPieces(p, p.sideToMove);
    s.stage = STAGE_TT;
}

Move nextMove(worker& w, int ply, const ContinuationBlocks& blocks) {
    Position& p = *w.pos;
    SearchFrame& f = w.frames[ply];
    PickerState& s = f.picker;
    switch (s.stage) {
    case STAGE_TT:
        s.stage = STAGE_GEN_CAPTURES;
        if (s.ttMove && isPseudoLegal(p, ply, s.ttMove)) {
            s.yielded[0] = s.ttMove;
            s.lastStage = STAGE_TT;
            return s.ttMove;
        }
        [[fallthrough]];
    case STAGE_GEN_CAPTURES:
        s.captureEnd = generateCaptures(ply, s.listStart, p);
        beginList(s, s.captureEnd, STAGE_GOOD_CAPTURES);
        [[fallthrough]];
    case STAGE_GOOD_CAPTURES:
        while (s.current < s.end) {
            Move m = takeBest(s);
            if (wasYielded(f, m)) {
                s.current[-1] = moveBase(m);
                continue;
            }
            if (!seeTest(p, m, 0)) {
                s.current[-1] = moveBase(m) | Move(BAD_CAPTURE_KEY) << 24;
                continue;
            }
            s.lastStage = STAGE_GOOD_CAPTURES;
            return m;
        }
        s.stage = STAGE_KILLER1;
        [[fallthrough]];
    case STAGE_KILLER1:
        s.stage = STAGE_KILLER2;
        if (usableQuiet(p, ply, f, f.killers[0])) {
            s.yielded[1] = f.killers[0];
            s.lastStage = STAGE_KILLER1;
            return f.killers[0];
        }
        [[fallthrough]];
    case STAGE_KILLER2:
        s.stage = STAGE_COUNTER;
        if (usableQuiet(p, ply, f, f.killers[1])) {
            s.yielded[2] = f.killers[1];
            s.lastStage = STAGE_KILLER2;
            return f.killers[1];
        }
        [[fallthrough]];
    case STAGE_COUNTER: {
        s.stage = STAGE_REWIND;
        Move previous = f.movedBy;
        Move counter = previous ? w.history->counterMoveTable[movePiece(previous)][moveTo(previous)] : f.spareMove;
        if (ply > 0 && usableQuiet(p, ply, f, counter)) {
            s.yielded[3] = counter;
            s.lastStage = STAGE_COUNTER;
            return counter;
        }
    }
        [[fallthrough]];
    case STAGE_REWIND:
        s.current = s.listStart;
        s.stage = STAGE_BAD_CAPTURES;
        [[fallthrough]];
    case STAGE_BAD_CAPTURES:
        while (s.current < s.captureEnd) {
            Move m = *s.current++;
            if (moveScore(m) == BAD_CAPTURE_KEY && !wasYielded(f, m)) {
                s.lastStage = STAGE_BAD_CAPTURES;
                return m;
            }
        }
        s.stage = STAGE_GEN_QUIETS;
        [[fallthrough]];
    case STAGE_GEN_QUIETS: {
        s.quietStart = s.captureEnd;
        s.end = generateQuiets(ply, s.captureEnd, p);
        int* scores = w.quietScores + (s.quietStart - w.moveStack);
        for (Move* m = s.quietStart; m < s.end; ++m, ++scores) {
            int piece = p.board[moveFrom(*m)];
            int to = moveTo(*m);
            int score = w.history->historyTable[piece][to];
            int index = pieceToIndex(piece, to);
            if (blocks.followUp) score += blocks.followUp[index];
            if (blocks.counter) score += blocks.counter[index];
            *scores = score;
        }
        s.current = s.quietStart;
        s.stage = STAGE_QUIETS;
    }
        [[fallthrough]];
    case STAGE_QUIETS:
        while (s.current < s.end) {
            selectBestQuiet(s.current, s.end, w.quietScores + (s.current - w.moveStack));
            Move m = *s.current++;
            if (wasYielded(f, m)) continue;
            s.lastStage = STAGE_QUIETS;
            return m;
        }
        s.stage = STAGE_DONE;
        return NO_MOVE;
    case STAGE_EVASIONS:
        if (s.current < s.end) {
            s.lastStage = STAGE_EVASIONS;
            return takeBest(s);
        }
        return NO_MOVE;
    default: return NO_MOVE;
    }
}

void startCapturePicker(worker& w, int ply, Move ttMove, int threshold, bool withPromotions) {
    Position& p = *w.pos;
    PickerState& s = w.frames[ply].picker;
    s.listStart = s.current = s.end = p.plyStates[ply].moveStart;
    holdNoMoves(w, ply);
    // The TT move is tried before anything is generated, and its legality test needs the pins.
    if (ttMove) p.plyStates[ply].notPinned = ~pinnedPieces(p, p.sideToMove);
    s.threshold = threshold;
    s.withPromotions = withPromotions;
    s.ttMove = ttMove && isPseudoLegal(p, ply, ttMove) && isCapture(p, ttMove) ? ttMove : NO_MOVE;
    const bool ttFirst = s.ttMove && (threshold == ANY_EXCHANGE || seeTest(p, s.ttMove, threshold));
    s.stage = ttFirst ? STAGE_CAPTURE_TT : STAGE_GEN_NOISY;
}

void startPlainEvasionPicker(worker& w, int ply) {
    Position& p = *w.pos;
    PickerState& s = w.frames[ply].picker;
    s.listStart = s.current = p.plyStates[ply].moveStart;
    s.end = generateCaptures(ply, s.listStart, p);  // in check: the evasions, with the pinned pieces
    s.stage = STAGE_PLAIN_EVASIONS;
}
