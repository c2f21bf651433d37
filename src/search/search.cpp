#include "search/search.h"

#include <algorithm>
#include <cstdlib>

#include "board/attacks.h"
#include "board/draw.h"
#include "board/makemove.h"
#include "board/movequery.h"
#include "board/zobrist.h"
#include "eval/evaluate.h"
#include "search/history.h"
#include "search/movepick.h"
#include "search/reductions.h"
#include "search/search_constants.h"
#include "search/timeman.h"
#include "search/tt.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"
#include "uci/options.h"

namespace {

constexpr int LAST_PLY = MAX_PLY - 1;  // nodes this deep return their static evaluation

inline int repetitionScore(const worker& w) { return 2 * int(w.nodes.load(std::memory_order_relaxed) & 1) - 1; }

inline bool hasNonPawnMaterial(const Position& p, int colour) {
    return (p.pieces[colour] & ~(p.pieces[WPAWN + colour] | p.pieces[WKING + colour])) != 0;
}

// Reads the node budget, or the clock and the "go" limits, when the countdown runs out.
bool outOfTime(worker& w) {
    if (w.solo) {
        // A search on its own budget stops on this thread's count alone. The
        // countdown runs in alpha-beta nodes only, while the count includes
        // the quiescence nodes below them, so the checks come closer together
        // as the budget runs out.
        uint64_t n = w.nodes.load(std::memory_order_relaxed);
        if (n >= w.nodeBudget) return true;
        w.checkCountdown = int(std::min<uint64_t>((w.nodeBudget - n) / 16, 4096));
        return false;
    }
    return searchLimitReached(w.checkCountdown);
}

// The key after a plain move or capture. Asking for its bucket before the move
// is made gives the memory the time of making it; castling, promotions and
// changes of castling rights or en-passant file end elsewhere, and their
// bucket is asked for once the move is made.
inline void prefetchChildBucket(const worker& w, const Position& p, Move m) {
    int from = moveFrom(m), to = moveTo(m), piece = p.board[from];
    prefetchBucket(*w.table,
                   p.key ^ sideKey ^ pieceKeys[piece][from] ^ pieceKeys[piece][to] ^ pieceKeys[p.board[to]][to]);
}

inline void makeSearchMove(worker& w, int ply, Move m) {
    Position& p = *w.pos;
    prefetchChildBucket(w, p, m);
    Move tagged = withPiece(m, p.board[moveFrom(m)]);
    w.frames[ply].current = tagged;
    SearchFrame& child = w.frames[ply + 1];
    child.movedBy = tagged;
    child.afterNull = 0;
    w.pvLength[ply + 1] = ply + 1;
    makeMove(p, ply, m);
    prefetchBucket(*w.table, p.key);
    prepareEvaluation(ply + 1, p);
}

// Repetition and insufficient material end a node below the root: true, with
// `score` set, when they do.
bool drawnBelowRoot(const worker& w, int ply, int& score) {
    if (ply == 0) return false;
    if (isRepetition(*w.pos, ply)) {
        score = repetitionScore(w);
        return true;
    }
    if (!insufficientMaterial(*w.pos)) return false;
    score = 0;
    return true;
}

// No score inside the node can beat a mate found nearer the root: narrows the
// window to the reachable mate scores, true when nothing is left of it.
inline bool mateDistanceCut(int ply, int& alpha, int& beta) {
    alpha = std::max(alpha, matedIn(ply));
    beta = std::min(beta, mateIn(ply) + 1);
    return alpha >= beta;
}

// The child search: quiescence once the depth runs out.
inline int childSearch(worker& w, int ply, int depth, int alpha, int beta) {
    return depth < 1 ? -qsearch(w, ply + 1, 0, -beta, -alpha) : -search(w, ply + 1, depth, -beta, -alpha);
}

// ---- Tablebase probe ----------------------------------------------------
// A position the WDL tables know ends the node when its score lies outside
// the window; a draw always does. True, with `result` set, when it ends.
bool tablebaseCutoff(worker& w, int ply, int depth, int alpha, int beta, int& result) {
    Position& p = *w.pos;
    const int tbPieces = largestTablebase();
    if (tbPieces <= 0 || p.fiftyMove != 0 || p.plyStates[ply].castling) return false;
    const int pieces = popcount(occupancy(p));
    if (pieces > tbPieces || (pieces == tbPieces && depth < optionSyzygyProbeDepth)) return false;
    const int wdl = probeWdl(p);
    if (wdl == -1) return false;
    w.tbHits.store(w.tbHits.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    const int tbDepth = std::min(MAX_STORED_DEPTH, depth + tbPieces);
    if (wdl == 4) {
        const int score = tablebaseWin(ply);
        if (score < beta) return false;
        store(*w.table, p.key, NO_MOVE, score, tbDepth, LOWER, ply);
        result = score;
    } else if (wdl == 0) {
        const int score = tablebaseLoss(ply);
        if (score > alpha) return false;
        store(*w.table, p.key, NO_MOVE, score, tbDepth, UPPER, ply);
        result = score;
    } else {
        store(*w.table, p.key, NO_MOVE, 0, tbDepth, EXACT, ply);
        result = 0;
    }
    return true;
}

// ---- Null move ----------------------------------------------------------
// Hands the opponent a free move: when a reduced search still fails high,
// the real moves would too. Deep cut-offs are verified by a search without
// the null move, against zugzwang. True, with `result` set, when the node is
// cut (or the search stopped).
bool nullMoveCutoff(worker& w, int ply, int depth, int beta, int value, int& result) {
    Position& p = *w.pos;
    SearchFrame& f = w.frames[ply];
    SearchFrame& child = w.frames[ply + 1];
    if (f.nullDisabled || w.frames[ply - 1].afterNull || value < beta || !hasNonPawnMaterial(p, p.sideToMove))
        return false;

    const int reduced = depth - depth / NULL_MOVE_DEPTH_DIVISOR
                        - std::min(NULL_MOVE_MAX_EVAL_REDUCTION, (value - beta) / NULL_MOVE_EVAL_STEP)
                        - NULL_MOVE_REDUCTION;
    f.current = NO_MOVE;
    child.movedBy = NO_MOVE;
    child.afterNull = 1;
    makeNullMove(p, ply);
    const int score = childSearch(w, ply, reduced, beta - 1, beta);
    unmakeNullMove(p, ply);
    if (w.stop->get()) {
        result = 0;
        return true;
    }
    if (score < beta) return false;
    if (depth < NULL_VERIFICATION_DEPTH) {
        result = score > MATE_BOUND ? beta : score;
        return true;
    }

    // The verification searches this node again, so it keeps what it overwrites.
    const Move keepTt = f.ttMove;
    const int16_t keepEval = f.staticEval;
    const int verified = reduced < 1 ? qsearch(w, ply, 0, beta - 1, beta)
                                     : search(w, ply, std::min(NULL_VERIFICATION_MAX_DEPTH, reduced), beta - 1, beta);
    f.ttMove = keepTt;
    f.staticEval = keepEval;
    f.bestMove = NO_MOVE;
    child.nullDisabled = f.nullDisabled;
    if (w.stop->get()) {
        result = 0;
        return true;
    }
    if (verified < beta) return false;
    result = verified > MATE_BOUND ? beta : verified;
    return true;
}

// ---- ProbCut ------------------------------------------------------------
// A capture that beats beta by a margin in a shallower search would beat beta
// in the full one. The stored move, when it is a capture, goes first. True,
// with `result` set, when the node is cut (or the search stopped).
bool probCut(worker& w, int ply, int depth, int beta, int eval, int& result) {
    Position& p = *w.pos;
    const int pcBeta = beta + PROBCUT_MARGIN;
    startCapturePicker(w, ply, w.frames[ply].ttMove, std::max(0, pcBeta - eval), false);
    int tried = 0;
    Move m;
    while ((m = nextCapture(w, ply))) {
        if (!isLegal(p, ply, m)) continue;
        if (++tried > PROBCUT_MAX_MOVES) break;
        makeSearchMove(w, ply, m);
        int score = -qsearch(w, ply + 1, 0, -pcBeta, -pcBeta + 1);
        if (score >= pcBeta) score = -search(w, ply + 1, depth - PROBCUT_REDUCTION, -pcBeta, -pcBeta + 1);
        unmakeMove(p, ply, m);
        if (w.stop->get()) {
            result = 0;
            return true;
        }
        if (score >= pcBeta) {
            store(*w.table, p.key, moveBase(m), score, depth - PROBCUT_REDUCTION + 1, LOWER, ply);
            result = score;
            return true;
        }
    }
    return false;
}

// ---- Singular extension test --------------------------------------------
// Whether the stored move is clearly better than every alternative: the
// other moves are searched, shallower and with no null move below, against a
// bound under the stored score, until one reaches it or enough were tried.
// The picker is rewound afterwards, so the move loop starts again from the
// stored move. `stopped` tells that the search was stopped meanwhile.
bool isSingular(worker& w, int ply, int depth, int ttScore, const ContinuationBlocks& blocks, bool& stopped) {
    Position& p = *w.pos;
    SearchFrame& f = w.frames[ply];
    SearchFrame& child = w.frames[ply + 1];
    const int singularBeta = ttScore - (SINGULAR_MARGIN_NUMERATOR * depth) / SINGULAR_MARGIN_DENOMINATOR;
    const PickerState saved = savePicker(w, ply);
    child.nullDisabled = 1;
    bool singular = true;
    int alternatives = 0, losingTried = 0;
    Move alt;
    while ((alt = nextMove(w, ply, blocks))) {
        if (!isLegal(p, ply, alt)) continue;
        if (lastStage(w, ply) == STAGE_BAD_CAPTURES) {
            if (losingTried > SINGULAR_MAX_LOSING_CAPTURES) continue;
            ++losingTried;
        }
        makeSearchMove(w, ply, alt);
        const int score = -search(w, ply + 1, depth / 2 - 1, -singularBeta - 1, -singularBeta);
        unmakeMove(p, ply, alt);
        if (w.stop->get()) {
            stopped = true;
            return false;
        }
        if (score >= singularBeta) {
            singular = false;
            break;
        }
        if (lastStage(w, ply) != STAGE_BAD_CAPTURES && ++alternatives > SINGULAR_MAX_ALTERNATIVES) break;
    }
    child.nullDisabled = f.nullDisabled;
    restorePicker(w, ply, saved);
    return singular;
}

}  // namespace

void updatePv(worker& w, int ply, Move m) {
    w.pv[ply][ply] = moveBase(m);
    int childLength = w.pvLength[ply + 1];
    for (int i = ply + 1; i < childLength; ++i) w.pv[ply][i] = w.pv[ply + 1][i];
    w.pvLength[ply] = std::max(childLength, ply + 1);
}

int search(worker& w, int ply, int depth, int alpha, int beta) {
    Position& p = *w.pos;
    w.pvLength[ply] = ply;

    // ---- Node count and time check --------------------------------------
    countNode(w);
    if (ply > w.selDepth) w.selDepth = ply;
    if (--w.checkCountdown < 0 && outOfTime(w)) {
        w.stop->set();
        return 0;
    }
    if (w.stop->get()) return 0;

    // ---- Draws, mate distance and the deepest ply -----------------------
    int result;
    if (drawnBelowRoot(w, ply, result)) return result;
    if (mateDistanceCut(ply, alpha, beta)) return alpha;
    if (ply >= LAST_PLY) return evaluate(ply, p);

    SearchFrame& f = w.frames[ply];
    SearchFrame& child = w.frames[ply + 1];
    child.nullDisabled = f.nullDisabled;
    f.ttMove = NO_MOVE;
    f.bestMove = NO_MOVE;
    const bool pvNode = beta > alpha + 1;
    const int alphaStart = alpha;
    const int us = p.sideToMove;

    // ---- Transposition table --------------------------------------------
    HashEntry entry = probe(*w.table, p.key);
    const int ttBound = entryBound(entry);
    const int ttDepth = entryDepth(entry);
    const int ttScore = scoreFromTable(entryScore(entry), ply);
    if (ttBound) {
        if (!pvNode && ttDepth >= depth && !f.afterNull) {
            if ((ttBound & LOWER) && ttScore >= beta) return ttScore;
            if ((ttBound & UPPER) && ttScore <= alpha) return ttScore;
            if (ttBound == EXACT) return ttScore;
        }
        f.ttMove = entryMove(entry);
    }

    if (tablebaseCutoff(w, ply, depth, alpha, beta, result)) return result;

    // ---- Static evaluation and forward pruning --------------------------
    const bool inCheck = p.plyStates[ply].inCheck;
    bool improving = false;
    holdNoMoves(w, ply);
    if (inCheck) {
        f.staticEval = NOT_EVALUATED;
    } else {
        const int eval = evaluate(ply, p);
        f.staticEval = int16_t(eval);
        int value = eval;
        if (ttBound == EXACT || (ttBound == LOWER && ttScore > eval) || (ttBound == UPPER && ttScore < eval))
            value = ttScore;
        improving = ply < 2 || w.frames[ply - 2].staticEval <= eval;

        if (!pvNode) {
            // Reverse futility: far enough above beta that one quiet move will not change it.
            if (depth < REVERSE_FUTILITY_DEPTH && !isMateScore(value) && value >= beta + REVERSE_FUTILITY_MARGIN * depth
                && hasNonPawnMaterial(p, us))
                return value;

            if (depth < RAZOR_DEPTH) {
                // Razoring: far enough below alpha that only captures could help.
                if (value + RAZOR_MARGINS[improving ? 1 : 0][depth] < alpha) {
                    int score = qsearch(w, ply, 0, alpha, beta);
                    if (score < alpha) return score;
                }
            } else {
                if (nullMoveCutoff(w, ply, depth, beta, value, result)) return result;
                if (depth >= PROBCUT_DEPTH && !isMateScore(value) && probCut(w, ply, depth, beta, eval, result))
                    return result;
            }
        }
    }

    // ---- Internal iterative reduction -----------------------------------
    // A PV node without a stored move is searched shallower.
    if (!f.ttMove && depth > IIR_DEPTH && pvNode) depth -= IIR_REDUCTION;

    // ---- Move loop ------------------------------------------------------
    const ContinuationBlocks blocks = continuationBlocks(w, ply);
    startPicker(w, ply, f.ttMove, inCheck);
    int bestScore = NO_SCORE;
    int searched = 0, counted = 0, quietsSeen = 0, extendedQuiets = 0;
    bool anyLegal = false;
    Move quietsTried[MAX_PENALISED_QUIETS];
    int quietsTriedCount = 0;
    const int them = us ^ 1;

    Move m;
    while ((m = nextMove(w, ply, blocks))) {
        const int stage = lastStage(w, ply);
        if (!isLegal(p, ply, m)) continue;
        anyLegal = true;
        const bool capture = isCapture(p, m);
        const int piece = p.board[moveFrom(m)];
        const int to = moveTo(m);
        const int index = pieceToIndex(piece, to);

        // Pruning of losing captures and of quiet moves with a bad history.
        if (searched > 0) {
            if (stage == STAGE_BAD_CAPTURES && depth <= BAD_CAPTURE_PRUNE_DEPTH
                && !seeTest(p, m, -BAD_CAPTURE_SEE_MARGIN * depth))
                continue;
            if (stage == STAGE_QUIETS && depth < HISTORY_PRUNE_DEPTH && blocks.counter && blocks.followUp
                && w.history->historyTable[piece][to] < 0 && blocks.followUp[index] < 0 && blocks.counter[index] < 0)
                continue;
        }

        bool singular = false;
        if (stage == STAGE_TT && depth >= SINGULAR_DEPTH && searched == 0
            && ttDepth >= depth - SINGULAR_ENTRY_DEPTH_MARGIN && ttBound && ttBound != UPPER && !isMateScore(ttScore)) {
            bool stopped = false;
            singular = isSingular(w, ply, depth, ttScore, blocks, stopped);
            if (stopped) return 0;
        }

        // Extensions: checks that do not lose material, quiet moves that the
        // continuation histories rate highly, and a singular stored move.
        const bool check = givesCheck(p, m);
        if (!capture) ++quietsSeen;
        if (stage != STAGE_BAD_CAPTURES) ++counted;
        int newDepth = depth - 1;
        if (check && (moveFlag(m) == FLAG_EP || isCastling(m) || seeTest(p, m, 0))) newDepth = depth;
        else if (!check && !capture && quietsSeen <= QUIET_EXTENSION_MOVES && blocks.followUp && blocks.counter
                 && blocks.followUp[index] > QUIET_EXTENSION_HISTORY && blocks.counter[index] > QUIET_EXTENSION_HISTORY)
            newDepth = depth;
        if (singular) newDepth = depth;
        if (!capture && newDepth == depth) ++extendedQuiets;

        makeSearchMove(w, ply, m);
        int score;
        if (searched == 0) {
            score = childSearch(w, ply, newDepth, alpha, beta);
        } else {
            // Late-move reduction, then a null-window search, widened where it beats alpha.
            int r = 0;
            if (depth > LMR_DEPTH && !capture) {
                r = lmrTable[std::min(depth, 127)][std::min(counted, 255)];
                if (!improving) ++r;
                if (extendedQuiets >= LMR_EXTENDED_QUIETS) ++r;
                int historySum = w.history->historyTable[piece][to] + (blocks.followUp ? blocks.followUp[index] : 0)
                                 + (blocks.counter ? blocks.counter[index] : 0);
                r -= std::clamp((historySum - LMR_HISTORY_OFFSET) / LMR_HISTORY_DIVISOR, LMR_HISTORY_MIN,
                                LMR_HISTORY_MAX);
                r = std::max(0, r);
            }
            if (r > 0 && pvNode) --r;
            if (typeOf(piece) == PAWN) {
                if (r > 0 && (rankOf(to) == 6 || rankOf(to) == 1)) --r;
                // A killer pawn move with no enemy pawn ahead may go one ply deeper than the rest.
                if ((sameMove(m, f.killers[0]) || sameMove(m, f.killers[1]))
                    && !(frontSpan[us][to] & p.pieces[WPAWN + them]))
                    --r;
            }
            score = childSearch(w, ply, newDepth - r, alpha, alpha + 1);
            if (r != 0 && newDepth >= 1 && score > alpha) score = -search(w, ply + 1, newDepth, -alpha - 1, -alpha);
            if (score > alpha && score < beta) score = childSearch(w, ply, newDepth, alpha, beta);
        }
        unmakeMove(p, ply, m);
        ++searched;
        if (w.stop->get()) return 0;

        // ---- Best move, beta cut-off and history update -----------------
        if (score > bestScore) {
            bestScore = score;
            if (score > alpha) {
                f.bestMove = moveBase(m);
                alpha = score;
                if (pvNode) updatePv(w, ply, m);
                if (score >= beta) {
                    store(*w.table, p.key, moveBase(m), score, std::min(depth, MAX_STORED_DEPTH), LOWER, ply);
                    if (inCheck) return score;
                    if (!capture) {
                        Move ttMove = offeredTtMove(w, ply);
                        if (ttMove && !sameMove(ttMove, m) && !isCapture(p, ttMove)
                            && quietsTriedCount < MAX_PENALISED_QUIETS)
                            quietsTried[quietsTriedCount++] = withPiece(ttMove, p.board[moveFrom(ttMove)]);
                        updateHistories(w, ply, depth, withPiece(m, piece), blocks, quietsTried, quietsTriedCount);
                    }
                    return score;
                }
            }
        }
        // The last slot is kept for the stored move, which is penalised on a cut-off too.
        if (!capture && stage == STAGE_QUIETS && quietsTriedCount < MAX_PENALISED_QUIETS - 1)
            quietsTried[quietsTriedCount++] = withPiece(m, piece);
    }

    // ---- Mate, stalemate, fifty moves and the table entry ---------------
    if (!anyLegal) return inCheck ? matedIn(ply) : 0;
    if (p.fiftyMove > 99) return 0;
    store(*w.table, p.key, f.bestMove, bestScore, std::min(depth, MAX_STORED_DEPTH),
          bestScore > alphaStart ? EXACT : UPPER, ply);
    return bestScore;
}

int qsearch(worker& w, int ply, int depth, int alpha, int beta) {
    Position& p = *w.pos;
    w.pvLength[ply] = ply;
    countNode(w);
    int drawScore;
    if (drawnBelowRoot(w, ply, drawScore)) return drawScore;
    if (mateDistanceCut(ply, alpha, beta)) return alpha;
    if (ply >= LAST_PLY) return evaluate(ply, p);

    HashEntry entry = probe(*w.table, p.key);
    const int ttBound = entryBound(entry);
    const int ttScore = scoreFromTable(entryScore(entry), ply);
    if (ttBound) {
        if ((ttBound & LOWER) && ttScore >= beta) return ttScore;
        if ((ttBound & UPPER) && ttScore <= alpha) return ttScore;
        if (ttBound == EXACT) return ttScore;
    }

    // Far below the horizon checks are no longer answered with evasions; the
    // captures tried must still get the king out of check.
    const bool ignoredCheck = depth < QS_CHECK_HORIZON && p.plyStates[ply].inCheck;
    const bool inCheck = p.plyStates[ply].inCheck && !ignoredCheck;
    int best;
    if (inCheck) {
        best = matedIn(ply);
    } else {
        int standPat = evaluate(ply, p);
        if ((ttBound == LOWER && ttScore > standPat) || (ttBound == UPPER && ttScore < standPat)) standPat = ttScore;
        if (standPat >= beta) return standPat;
        alpha = std::max(alpha, standPat);
        best = standPat;
    }

    // In check, the evasions as generated; otherwise the captures, with the
    // quiet queen promotions in the first plies and without the losing
    // captures from QS_SEE_DEPTH up.
    if (inCheck) startPlainEvasionPicker(w, ply);
    else startCapturePicker(w, ply, NO_MOVE, depth >= QS_SEE_DEPTH ? 0 : ANY_EXCHANGE, depth > QS_CHECKS_DEPTH);
    int searched = 0;
    Move m;
    while ((m = nextCapture(w, ply))) {
        prefetchChildBucket(w, p, m);
        if (!isLegal(p, ply, m)) continue;
        makeMove(p, ply, m);
        prefetchBucket(*w.table, p.key);
        if (ignoredCheck && sideInCheck(p, p.sideToMove ^ 1)) {
            unmakeMove(p, ply, m);
            continue;
        }
        prepareEvaluation(ply + 1, p);
        int score;
        if (searched == 0) {
            score = -qsearch(w, ply + 1, depth - 1, -beta, -alpha);
        } else {
            score = -qsearch(w, ply + 1, depth - 1, -alpha - 1, -alpha);
            if (score > alpha && score < beta) score = -qsearch(w, ply + 1, depth - 1, -beta, -alpha);
        }
        unmakeMove(p, ply, m);
        ++searched;
        if (score > best) {
            best = score;
            if (score > alpha) {
                alpha = score;
                if (score >= beta) return score;
            }
        }
    }
    return best;
}
