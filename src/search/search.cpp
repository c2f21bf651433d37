#include "search/search.h"

#include <algorithm>
#include <cstdlib>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/zobrist.h"
#include "eval/evaluate.h"
#include "search/control.h"
#include "search/history.h"
#include "search/movepick.h"
#include "search/threads.h"
#include "search/tt.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"
#include "uci/options.h"

namespace {

constexpr int LAST_PLY = MAX_PLY - 1;  // nodes this deep return their static evaluation

inline int repetitionScore(const worker& w) { return 2 * int(w.nodes.load(std::memory_order_relaxed) & 1) - 1; }

inline bool hasPieces(const Position& p, int colour) {
    return (p.pieces[colour] & ~(p.pieces[WPAWN + colour] | p.pieces[WKING + colour])) != 0;
}

// Reads the clock (and the node budget) when the countdown runs out.
bool outOfTime(worker& w) {
    if (w.nodeLimit) {
        // A search on its own budget stops on this thread's count alone. The
        // countdown runs in alpha-beta nodes only, while the count includes
        // the quiescence nodes below them, so the checks come closer together
        // as the budget runs out.
        uint64_t n = w.nodes.load(std::memory_order_relaxed);
        if (n >= w.nodeLimit) return true;
        w.checkCountdown = int(std::min<uint64_t>((w.nodeLimit - n) / 16, 4096));
        return false;
    }
    w.checkCountdown = timeControl.nodeCheckInterval;
    if (infiniteFlag.get() || ponderingFlag.get()) return false;
    if (elapsedMs() >= timeControl.hardLimit) return true;
    return timeControl.nodes && totalNodes() >= timeControl.nodes;
}

// The key after a plain move or capture. Asking for its bucket before the move
// is made gives the memory the time of making it; castling, promotions and
// changes of castling rights or en-passant file end elsewhere, and their
// bucket is asked for once the move is made.
inline void prefetchChildBucket(const worker& w, const Position& p, Move m) {
    int from = moveFrom(m), to = moveTo(m), piece = p.board[from];
    prefetchBucket(*w.table, p.key ^ sideKey ^ pieceKeys[piece][from] ^ pieceKeys[piece][to] ^ pieceKeys[p.board[to]][to]);
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
}

inline int razorMargin(int depth, bool improving) {
    static constexpr int plain[4] = {0, 90, 140, 200};
    static constexpr int rising[4] = {0, 120, 190, 240};
    return improving ? rising[depth] : plain[depth];
}

// The child search: quiescence once the depth runs out.
inline int childSearch(worker& w, int ply, int depth, int alpha, int beta) {
    return depth < 1 ? -qsearch(w, ply + 1, 0, -beta, -alpha) : -search(w, ply + 1, depth, -beta, -alpha);
}

} // namespace

bool isRepetition(const Position& p, int ply) {
    int halfmoves = p.fiftyMove;
    if (halfmoves < 4) return false;
    int gamePly = p.gamePly;
    int lowest = std::max(0, gamePly - halfmoves - 1);
    int older = 0;
    for (int i = gamePly - 5; i >= lowest; i -= 2)
        if (p.keyHistory[i] == p.key) {
            if (i > gamePly - ply - 1) return true;
            if (++older == 2) return true;
        }
    return false;
}

bool insufficientMaterial(const Position& p) {
    return !(p.pieces[WPAWN] | p.pieces[BPAWN]) && mgOf(p.material[WHITE]) <= 383 && mgOf(p.material[BLACK]) <= 383;
}

void updatePv(worker& w, int ply, Move m) {
    w.pv[ply][ply] = moveBase(m);
    int childLength = w.pvLength[ply + 1];
    for (int i = ply + 1; i < childLength; ++i) w.pv[ply][i] = w.pv[ply + 1][i];
    w.pvLength[ply] = std::max(childLength, ply + 1);
}

int search(worker& w, int ply, int depth, int alpha, int beta) {
    Position& p = *w.pos;
    w.pvLength[ply] = ply;
    countNode(w);
    if (ply > w.selDepth) w.selDepth = ply;
    if (--w.checkCountdown < 0 && outOfTime(w)) {
        w.stop->set();
        return 0;
    }
    if (w.stop->get()) return 0;

    if (ply > 0) {
        if (isRepetition(p, ply)) return repetitionScore(w);
        if (insufficientMaterial(p)) return 0;
        alpha = std::max(alpha, ply - MATE);
        beta = std::min(beta, MATE + 1 - ply);
        if (alpha >= beta) return alpha;
        if (ply >= LAST_PLY) return evaluate(ply, p);
    }

    SearchFrame& f = w.frames[ply];
    SearchFrame& child = w.frames[ply + 1];
    child.nullDisabled = f.nullDisabled;
    f.ttMove = NO_MOVE;
    f.bestMove = NO_MOVE;
    const bool pvNode = beta > alpha + 1;
    const int alphaStart = alpha;
    const int us = p.sideToMove;

    HashEntry entry = probe(*w.table, p.key);
    const int ttBound = entryBound(entry);
    const int ttDepth = entryDepth(entry);
    const int ttScore = scoreFromTable(entryScore(entry), ply);
    if (ttBound) {
        if (!pvNode && ttDepth >= depth && ply > 0 && !f.afterNull) {
            if ((ttBound & LOWER) && ttScore >= beta) return ttScore;
            if ((ttBound & UPPER) && ttScore <= alpha) return ttScore;
            if (ttBound == EXACT) return ttScore;
        }
        f.ttMove = entryMove(entry);
    }
    if (ply == 0) f.ttMove = w.rootBestMove;

    const int tbPieces = largestTablebase();
    if (ply > 0 && tbPieces > 0 && p.fiftyMove == 0 && !p.plyStates[ply].castling) {
        int pieces = popcount(occupancy(p));
        if (pieces < tbPieces || (pieces == tbPieces && depth >= optionSyzygyProbeDepth)) {
            int wdl = probeWdl(p);
            if (wdl != -1) {
                w.tbHits.store(w.tbHits.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
                int tbDepth = std::min(127, depth + tbPieces);
                if (wdl == 4) {
                    int score = MATE_IN_MAX - ply;
                    if (score >= beta) {
                        store(*w.table, p.key, NO_MOVE, score, tbDepth, LOWER, ply);
                        return score;
                    }
                } else if (wdl == 0) {
                    int score = ply - MATE_IN_MAX;
                    if (score <= alpha) {
                        store(*w.table, p.key, NO_MOVE, score, tbDepth, UPPER, ply);
                        return score;
                    }
                } else {
                    store(*w.table, p.key, NO_MOVE, 0, tbDepth, EXACT, ply);
                    return 0;
                }
            }
        }
    }

    const bool inCheck = p.plyStates[ply].inCheck;
    bool improving = false;
    p.plyStates[ply + 1].moveStart = p.plyStates[ply].moveStart;
    if (inCheck) {
        f.staticEval = NOT_EVALUATED;
    } else {
        const int eval = evaluate(ply, p);
        f.staticEval = int16_t(eval);
        int value = eval;
        if (ttBound == EXACT || (ttBound == LOWER && ttScore > eval) || (ttBound == UPPER && ttScore < eval)) value = ttScore;
        improving = ply < 2 || w.frames[ply - 2].staticEval <= eval;

        if (!pvNode) {
            // Reverse futility: far enough above beta that one quiet move will not change it.
            if (depth < 7 && std::abs(value) < MATE_IN_MAX && value >= beta + 65 * depth && hasPieces(p, us)) return value;

            if (depth < 4) {
                if (value + razorMargin(depth, improving) < alpha) {
                    int score = qsearch(w, ply, 0, alpha, beta);
                    if (score < alpha) return score;
                }
            } else {
                if (!f.nullDisabled && !w.frames[ply - 1].afterNull && value >= beta && hasPieces(p, us)) {
                    int reduced = depth - depth / 4 - std::min(3, (value - beta) / 90) - 3;
                    f.current = NO_MOVE;
                    child.movedBy = NO_MOVE;
                    child.afterNull = 1;
                    makeNullMove(p, ply);
                    int score = childSearch(w, ply, reduced, beta - 1, beta);
                    unmakeNullMove(p, ply);
                    if (w.stop->get()) return 0;
                    if (score >= beta) {
                        if (depth < 10) return score > MATE_IN_MAX ? beta : score;
                        // Deep cut-offs are verified without the null move, against zugzwang.
                        Move keepTt = f.ttMove;
                        int16_t keepEval = f.staticEval;
                        int verified = reduced < 1 ? qsearch(w, ply, 0, beta - 1, beta)
                                                   : search(w, ply, std::min(3, reduced), beta - 1, beta);
                        f.ttMove = keepTt;
                        f.staticEval = keepEval;
                        f.bestMove = NO_MOVE;
                        child.nullDisabled = f.nullDisabled;
                        if (w.stop->get()) return 0;
                        if (verified >= beta) return verified > MATE_IN_MAX ? beta : verified;
                    }
                }

                if (depth >= 5 && std::abs(value) <= MATE_IN_MAX - 1) {
                    const int pcBeta = beta + 110;
                    const int threshold = std::max(0, pcBeta - eval);
                    PickerState& s = f.picker;
                    p.plyStates[ply].notPinned = ~pinnedPieces(p, us);
                    p.plyStates[ply + 1].moveStart = p.plyStates[ply].moveStart;
                    Move ttCapture = f.ttMove && isPseudoLegal(p, ply, f.ttMove) && isCapture(p, f.ttMove) ? f.ttMove : NO_MOVE;
                    Move candidate = ttCapture && seeTest(p, ttCapture, threshold) ? ttCapture : NO_MOVE;
                    bool generated = false;
                    int tried = 0;
                    for (;;) {
                        if (!candidate) {
                            if (!generated) {
                                s.listStart = p.plyStates[ply].moveStart;
                                s.end = generateCaptures(ply, s.listStart, p);
                                s.current = s.listStart;
                                generated = true;
                            }
                            candidate = nextProbCutMove(w, ply, ttCapture, threshold);
                            if (!candidate) break;
                        }
                        Move m = candidate;
                        candidate = NO_MOVE;
                        if (!isLegal(p, ply, m)) continue;
                        if (++tried > 11) break;
                        makeSearchMove(w, ply, m);
                        int score = -qsearch(w, ply + 1, 0, -pcBeta, -pcBeta + 1);
                        if (score >= pcBeta) score = -search(w, ply + 1, depth - 4, -pcBeta, -pcBeta + 1);
                        unmakeMove(p, ply, m);
                        if (w.stop->get()) return 0;
                        if (score >= pcBeta) {
                            store(*w.table, p.key, moveBase(m), score, depth - 3, LOWER, ply);
                            return score;
                        }
                    }
                    p.plyStates[ply + 1].moveStart = p.plyStates[ply].moveStart;
                }
            }
        }
    }

    // Internal iterative reduction: a PV node without a stored move is searched shallower.
    if (!f.ttMove && depth > 7 && pvNode) depth -= 2;

    const ContinuationBlocks blocks = continuationBlocks(w, ply);
    startPicker(w, ply, f.ttMove, inCheck);
    int bestScore = NO_SCORE;
    int searched = 0, counted = 0, quietsSeen = 0, extendedQuiets = 0;
    bool anyLegal = false;
    Move quietsTried[64];
    int quietsTriedCount = 0;
    const int them = us ^ 1;

    Move m;
    while ((m = nextMove(w, ply, blocks))) {
        const int stage = f.picker.lastStage;
        if (!isLegal(p, ply, m)) continue;
        anyLegal = true;
        const bool capture = isCapture(p, m);
        const int piece = p.board[moveFrom(m)];
        const int to = moveTo(m);
        const int index = pieceToIndex(piece, to);

        if (ply > 0 && searched > 0) {
            if (stage == STAGE_BAD_CAPTURES && depth <= 6 && !seeTest(p, m, -110 * depth)) continue;
            if (stage == STAGE_QUIETS && depth < 4 && blocks.counter && blocks.followUp && w.history->historyTable[piece][to] < 0
                && blocks.followUp[index] < 0 && blocks.counter[index] < 0)
                continue;
        }

        // Singular extension: is the stored move clearly better than every alternative?
        bool singular = false;
        if (stage == STAGE_TT && ply > 0 && depth >= 7 && searched == 0 && ttDepth >= depth - 3 && ttBound && ttBound != UPPER
            && std::abs(ttScore) < MATE_IN_MAX) {
            const int singularBeta = ttScore - (5 * depth) / 4;
            PickerState saved = f.picker;
            child.nullDisabled = 1;
            singular = true;
            int alternatives = 0, losingTried = 0;
            Move alt;
            while ((alt = nextMove(w, ply, blocks))) {
                if (!isLegal(p, ply, alt)) continue;
                if (f.picker.lastStage == STAGE_BAD_CAPTURES) {
                    if (losingTried > 3) continue;
                    ++losingTried;
                }
                makeSearchMove(w, ply, alt);
                int score = -search(w, ply + 1, depth / 2 - 1, -singularBeta - 1, -singularBeta);
                unmakeMove(p, ply, alt);
                if (w.stop->get()) return 0;
                if (score >= singularBeta) {
                    singular = false;
                    break;
                }
                if (f.picker.lastStage != STAGE_BAD_CAPTURES && ++alternatives > 4) break;
            }
            child.nullDisabled = f.nullDisabled;
            f.picker = saved;
            p.plyStates[ply + 1].moveStart = p.plyStates[ply].moveStart;
        }

        const bool check = givesCheck(p, m);
        f.givesCheck = check;
        if (!capture) ++quietsSeen;
        if (stage != STAGE_BAD_CAPTURES) ++counted;
        int newDepth = depth - 1;
        if (check && (moveFlag(m) == FLAG_EP || isCastling(m) || seeTest(p, m, 0))) newDepth = depth;
        else if (!check && !capture && quietsSeen <= 4 && blocks.followUp && blocks.counter && blocks.followUp[index] > 4096
                 && blocks.counter[index] > 4096)
            newDepth = depth;
        if (singular) newDepth = depth;
        if (!capture && newDepth == depth) ++extendedQuiets;

        makeSearchMove(w, ply, m);
        int score;
        if (searched == 0) {
            score = childSearch(w, ply, newDepth, alpha, beta);
        } else {
            int r = 0;
            if (depth > 2 && !capture) {
                r = lmrTable[std::min(depth, 127)][std::min(counted, 255)];
                if (!improving) ++r;
                if (extendedQuiets >= 4) ++r;
                int historySum = w.history->historyTable[piece][to] + (blocks.followUp ? blocks.followUp[index] : 0)
                               + (blocks.counter ? blocks.counter[index] : 0);
                r -= std::clamp((historySum - 5120) / 9216, -2, 1);
                r = std::max(0, r);
            }
            if (r > 0 && pvNode) --r;
            if (typeOf(piece) == PAWN) {
                if (r > 0 && (rankOf(to) == 6 || rankOf(to) == 1)) --r;
                if ((sameMove(m, f.killers[0]) || sameMove(m, f.killers[1])) && !(frontSpan[us][to] & p.pieces[WPAWN + them])) --r;
            }
            score = childSearch(w, ply, newDepth - r, alpha, alpha + 1);
            if (r != 0 && newDepth >= 1 && score > alpha) score = -search(w, ply + 1, newDepth, -alpha - 1, -alpha);
            if (score > alpha && score < beta) score = childSearch(w, ply, newDepth, alpha, beta);
        }
        unmakeMove(p, ply, m);
        ++searched;
        if (w.stop->get()) return 0;

        if (score > bestScore) {
            bestScore = score;
            if (score > alpha) {
                f.bestMove = moveBase(m);
                alpha = score;
                if (pvNode) updatePv(w, ply, m);
                if (score >= beta) {
                    store(*w.table, p.key, moveBase(m), score, std::min(depth, 127), LOWER, ply);
                    if (inCheck) return score;
                    if (!capture) {
                        Move ttMove = f.picker.yielded[0];
                        if (ttMove && !sameMove(ttMove, m) && !isCapture(p, ttMove) && quietsTriedCount < 64)
                            quietsTried[quietsTriedCount++] = withPiece(ttMove, p.board[moveFrom(ttMove)]);
                        updateHistories(w, ply, depth, withPiece(m, piece), blocks, quietsTried, quietsTriedCount);
                    }
                    return score;
                }
            }
        }
        if (!capture && stage == STAGE_QUIETS && quietsTriedCount < 63) quietsTried[quietsTriedCount++] = withPiece(m, piece);
    }

    if (!anyLegal) return inCheck ? ply - MATE : 0;
    if (p.fiftyMove > 99) return 0;
    store(*w.table, p.key, f.bestMove, bestScore, std::min(depth, 127), bestScore > alphaStart ? EXACT : UPPER, ply);
    return bestScore;
}

int qsearch(worker& w, int ply, int depth, int alpha, int beta) {
    Position& p = *w.pos;
    w.pvLength[ply] = ply;
    countNode(w);
    if (ply > 0) {
        if (isRepetition(p, ply)) return repetitionScore(w);
        if (insufficientMaterial(p)) return 0;
    }
    alpha = std::max(alpha, ply - MATE);
    beta = std::min(beta, MATE + 1 - ply);
    if (alpha >= beta) return alpha;
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
    const bool ignoredCheck = depth < -13 && p.plyStates[ply].inCheck;
    const bool inCheck = p.plyStates[ply].inCheck && !ignoredCheck;
    int best;
    if (inCheck) {
        best = ply - MATE;
    } else {
        int standPat = evaluate(ply, p);
        if ((ttBound == LOWER && ttScore > standPat) || (ttBound == UPPER && ttScore < standPat)) standPat = ttScore;
        if (standPat >= beta) return standPat;
        alpha = std::max(alpha, standPat);
        best = standPat;
    }

    Move* start = p.plyStates[ply].moveStart;
    // The generators answer a check with evasions; an ignored check hides it
    // from them only for this call. The flag itself stays set, since a
    // re-search of this node (same ply, same move made) must see the check
    // again, or its captures could leave the king attacked.
    if (ignoredCheck) p.plyStates[ply].inCheck = 0;
    Move* end = depth > -5 ? generateQuiescence(ply, start, p) : generateCaptures(ply, start, p);
    if (ignoredCheck) p.plyStates[ply].inCheck = 1;
    int searched = 0;
    for (Move* cur = start; cur < end; ++cur) {
        if (!inCheck) selectBestKey(cur, end);
        Move m = *cur;
        if (!inCheck && depth >= -4 && moveFlag(m) != FLAG_EP && !isCastling(m) && !seeTest(p, m, 0)) continue;
        prefetchChildBucket(w, p, m);
        if (!isLegal(p, ply, m)) continue;
        makeMove(p, ply, m);
        prefetchBucket(*w.table, p.key);
        if (ignoredCheck && sideInCheck(p, p.sideToMove ^ 1)) {
            unmakeMove(p, ply, m);
            continue;
        }
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
