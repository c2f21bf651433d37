// Updates of the move-ordering tables on a quiet beta cut-off.
#pragma once

#include "search/movepick.h"
#include "search/search_constants.h"

// The gravity rule: entries move toward +-HISTORY_GRAVITY and slow down as they get there.
inline void rewardEntry(int16_t& h, int bonus) { h = int16_t(h + bonus - h * bonus / HISTORY_GRAVITY); }
inline void penaliseEntry(int16_t& h, int bonus) { h = int16_t(h - bonus - h * bonus / HISTORY_GRAVITY); }

inline void updateQuietEntry(worker& w, const ContinuationBlocks& blocks, int piece, int to, int bonus, bool reward) {
    int index = pieceToIndex(piece, to);
    auto apply = reward ? rewardEntry : penaliseEntry;
    if (blocks.followUp) apply(blocks.followUp[index], bonus);
    if (blocks.counter) apply(blocks.counter[index], bonus);
    apply(w.history->historyTable[piece][to], bonus);
}

// cutMove and the penalised moves carry their moving piece in the top byte.
inline void updateHistories(worker& w, int ply, int depth, Move cutMove, const ContinuationBlocks& blocks,
                            const Move* penalised, int penalisedCount) {
    SearchFrame& f = w.frames[ply];
    if (!sameMove(cutMove, f.killers[0])) {
        f.killers[1] = f.killers[0];
        f.killers[0] = cutMove;
    }
    Move previous = f.movedBy;
    if (previous) w.history->counterMoveTable[movePiece(previous)][moveTo(previous)] = cutMove;
    // Deep cut-offs are rare and would hit the tables at the bonus cap; they leave them alone.
    if (depth >= HISTORY_DEPTH_LIMIT) return;
    int bonus = HISTORY_BONUS * (depth * depth < HISTORY_BONUS_CAP ? depth * depth : HISTORY_BONUS_CAP);
    updateQuietEntry(w, blocks, movePiece(cutMove), moveTo(cutMove), bonus, true);
    for (int i = 0; i < penalisedCount; ++i)
        updateQuietEntry(w, blocks, movePiece(penalised[i]), moveTo(penalised[i]), bonus, false);
}
