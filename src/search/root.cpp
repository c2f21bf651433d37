#include "search/root.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <random>

#include "board/makemove.h"
#include "board/movegen.h"
#include "search/control.h"
#include "search/movepick.h"
#include "search/pool.h"
#include "search/search.h"
#include "search/strength.h"
#include "search/timeman.h"
#include "search/tt.h"
#include "search/wdl.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"
#include "uci/movetext.h"
#include "uci/output.h"

const int DEPTH_CYCLE[16] = {1, 2, 2, 3, 3, 3, 4, 4, 6, 3, 2, 2, 4, 5, 3, 2};
const int DEPTH_JUMP[16] = {0, 1, 0, 1, 1, 0, 0, 2, 1, 3, 0, 2, 2, 1, 1, 0};

// Rows 0 and 1 are the tried ones; the others spread the helpers' windows
// around them, narrower and wider, so threads do not all fail at once.
// clang-format off
const int16_t ASPIRATION_STEPS[32][5] = {
    {15, 35, 40, 80, 160}, {9, 24, 34, 75, 113},  {12, 30, 45, 90, 150}, {18, 40, 60, 100, 200},
    {10, 26, 38, 70, 120}, {14, 32, 50, 85, 170}, {20, 45, 70, 120, 240}, {8, 20, 32, 64, 128},
    {16, 36, 48, 96, 180}, {11, 28, 42, 80, 140}, {13, 33, 44, 88, 165}, {22, 50, 75, 130, 260},
    {9, 22, 36, 72, 110},  {17, 38, 55, 95, 190}, {12, 27, 40, 78, 135}, {25, 55, 80, 150, 300},
    {10, 24, 40, 76, 125}, {15, 30, 50, 90, 175}, {19, 42, 64, 110, 220}, {7, 18, 30, 60, 115},
    {14, 34, 46, 84, 160}, {11, 25, 38, 74, 130}, {21, 48, 70, 125, 250}, {13, 29, 43, 86, 155},
    {16, 40, 58, 100, 200}, {9, 26, 37, 70, 118}, {18, 36, 54, 92, 185}, {12, 32, 48, 82, 145},
    {23, 52, 78, 140, 280}, {10, 23, 35, 68, 112}, {15, 37, 52, 94, 178}, {20, 44, 66, 116, 230},
};
// clang-format on

namespace {

int mateMoves(int score) {
    int moves = (MATE - std::abs(score)) / 2 + 1;
    return score < 0 ? -moves : moves;
}

void moveToFront(std::vector<Move>& moves, size_t i) {
    std::rotate(moves.begin(), moves.begin() + long(i), moves.begin() + long(i) + 1);
}

void resetForSearch(worker& w) {
    w.nodes.store(0, std::memory_order_relaxed);
    w.tbHits.store(0, std::memory_order_relaxed);
    w.currentDepth.store(0, std::memory_order_relaxed);
    w.selDepth = 0;
    w.checkCountdown = w.solo ? int(std::min<uint64_t>(w.nodeBudget / 16, 4096)) : timeControl.nodeCheckInterval;
    w.completedDepth = 0;
    w.bestMoveChanges = 0;
    w.stabilityScale = 1.0;
    w.rootBestMove = NO_MOVE;
    w.rootFromTablebases = false;
    w.rootPv.clear();
    w.rootMoves.clear();
    w.rootLines.clear();
    w.completedLines.clear();
    for (SearchFrame& f : w.frameStack) {
        f.movedBy = f.current = f.ttMove = f.bestMove = NO_MOVE;
        f.staticEval = 0;
        f.nullDisabled = 0;
        f.afterNull = 0;
    }
}

// Helpers skip depths that more than half of the threads already search.
bool crowdedDepth(const worker& w, int depth) {
    int already = 0;
    for (const worker* other : pool)
        if (other != &w && other->currentDepth.load(std::memory_order_relaxed) >= depth) ++already;
    return already >= int(pool.size()) / 2 + 1;
}

// Searches one root move with its aspiration window; returns its score (junk once stopped).
int searchRootMove(worker& w, int depth, bool firstMove, int bestScore) {
    const int16_t* steps = ASPIRATION_STEPS[w.index % 32];
    int alpha, beta;
    if (firstMove) {
        if (depth <= 4) {
            alpha = -INFINITE_SCORE;
            beta = INFINITE_SCORE;
        } else {
            alpha = std::max(-INFINITE_SCORE, bestScore - steps[0]);
            beta = std::min(INFINITE_SCORE, bestScore + steps[0]);
        }
    } else {
        alpha = bestScore;
        beta = bestScore + 1;
    }
    int lowWidenings = 0, highWidenings = 0;
    for (;;) {
        int score = -search(w, 1, depth, -beta, -alpha);
        if (w.stop->get()) return score;
        if (firstMove && score <= alpha) {
            beta = (alpha + beta) / 2;
            alpha = lowWidenings < 5 ? std::max(-INFINITE_SCORE, score - steps[lowWidenings++]) : -MATE;
        } else if (score >= beta) {
            beta = highWidenings < 5 ? std::min(INFINITE_SCORE, score + steps[highWidenings++]) : MATE;
        } else {
            return score;
        }
    }
}

// Makes root move m, searches it and takes it back; returns its score (junk once stopped).
int searchRootChild(worker& w, int depth, Move m, bool firstMove, int bestScore) {
    Position& p = w.position;
    SearchFrame& root = w.frames[0];
    root.nullDisabled = 0;
    Move tagged = withPiece(m, p.board[moveFrom(m)]);
    root.current = tagged;
    w.frames[1].movedBy = tagged;
    w.frames[1].afterNull = 0;
    w.pvLength[1] = 1;
    makeMove(p, 0, m);
    int score = searchRootMove(w, depth, firstMove, bestScore);
    unmakeMove(p, 0, m);
    return score;
}

// One iteration of the usual search for the best move alone: the first move
// with the aspiration window, the others with a null window on the best.
void searchBestMove(worker& w, int depth) {
    int iterationBest = NO_SCORE;
    for (size_t i = 0; i < w.rootMoves.size(); ++i) {
        Move m = w.rootMoves[i];
        int score = searchRootChild(w, depth, m, i == 0, i == 0 ? w.rootBestScore : iterationBest);
        if (w.stop->get()) break;
        if (i == 0 || score > iterationBest) {
            iterationBest = score;
            if (i > 0) ++w.bestMoveChanges;
            w.rootBestMove = m;
            w.rootBestScore = score;
            w.pvLength[0] = 0;
            updatePv(w, 0, m);
            w.rootPv.assign(w.pv[0], w.pv[0] + w.pvLength[0]);
            moveToFront(w.rootMoves, i);
        }
    }
}

void takeBestLine(worker& w, const RootLine& line) {
    w.rootBestMove = line.move;
    w.rootBestScore = line.score;
    w.rootPv = line.pv;
}

// One MultiPV iteration. Line i is the best of the root moves that lines
// 0..i-1 left, searched like the best move alone: first the move that held
// line i in the last iteration, with an aspiration window around its score.
void searchLines(worker& w, int depth, size_t lineCount) {
    std::vector<RootLine>& lines = w.rootLines;
    for (size_t i = 0; i < lineCount; ++i) {
        int lineBest = NO_SCORE;
        for (size_t j = i; j < lines.size(); ++j) {
            Move m = lines[j].move;
            int score = searchRootChild(w, depth, m, j == i, j == i ? lines[i].score : lineBest);
            if (w.stop->get()) return;
            if (j == i || score > lineBest) {
                lineBest = score;
                w.pvLength[0] = 0;
                updatePv(w, 0, m);
                lines[j].score = score;
                lines[j].pv.assign(w.pv[0], w.pv[0] + w.pvLength[0]);
                std::rotate(lines.begin() + long(i), lines.begin() + long(j), lines.begin() + long(j) + 1);
                // The first line is the best move's search: a stop takes its best so far.
                if (i == 0) {
                    if (j > 0) ++w.bestMoveChanges;
                    takeBestLine(w, lines[0]);
                }
            }
        }
    }
    // Windows of their own can leave a later line above an earlier one.
    std::stable_sort(lines.begin(), lines.begin() + long(lineCount),
                     [](const RootLine& a, const RootLine& b) { return a.score > b.score; });
    if (!sameMove(lines[0].move, w.rootBestMove)) ++w.bestMoveChanges;
    takeBestLine(w, lines[0]);
    for (size_t i = 0; i < lines.size(); ++i) w.rootMoves[i] = lines[i].move;
}

bool provenMate(int score, int depth) { return isMateScore(score) && MATE - std::abs(score) <= depth + 1; }

// Searches run on their own (with a node budget of their own) print nothing.
bool reports(const worker& w) { return searchOutputEnabled && !w.solo; }

// With MultiPV above 1 every line names its rank, a lone line too.
int firstLineRank() { return timeControl.multiPv > 1 ? 1 : 0; }

void printIteration(const worker& w, int depth) {
    if (!reports(w)) return;
    if (w.rootLines.empty()) {
        sendLine(infoLine(w.rootBestScore, depth, w.selDepth, totalNodes(), elapsedMs(), totalTbHits(), w.rootPv,
                          w.position, firstLineRank()));
        return;
    }
    // The lines of one iteration show the same counts.
    const uint64_t nodes = totalNodes(), tbHits = totalTbHits();
    const int64_t elapsed = elapsedMs();
    const size_t lineCount = std::min(w.rootLines.size(), size_t(timeControl.multiPv));
    for (size_t i = 0; i < lineCount; ++i) {
        const RootLine& line = w.rootLines[i];
        sendLine(infoLine(line.score, depth, w.selDepth, nodes, elapsed, tbHits, line.pv, w.position,
                          firstLineRank() ? int(i) + 1 : 0));
    }
}

// Root positions without a legal move end the search at once.
void reportNoMove(worker& w) {
    w.stop->set();
    if (!reports(w)) return;
    // With UCI_ShowWDL the result, mated or stalemate, is certain.
    const bool mated = w.position.plyStates[0].inCheck;
    const char* wdl = !timeControl.showWdl ? "" : mated ? " wdl 0 0 1000" : " wdl 0 1000 0";
    if (mated) sendLine(std::string("info score mate 0") + wdl);
    else sendLine(std::string("info score cp 0") + wdl + " depth 0 seldepth 0 nodes 0 nps 0 time 0 tbhits 0 pv");
}

// The tables' result at the root is certain; a searched score is not.
const WdlChances* knownResult(const worker& w) {
    static const WdlChances outcomes[3] = {wdlCertain(-1), wdlCertain(0), wdlCertain(1)};
    if (!w.rootFromTablebases) return nullptr;
    return &outcomes[w.rootBestScore > 0 ? 2 : w.rootBestScore < 0 ? 0 : 1];
}

// Under a strength limit the move is drawn among the boss's lines of its last
// completed iteration, which stand best first (with MultiPV above the
// strength's own lines, among the strength's lines only).
RootLine limitedChoice(const boss& b) {
    static std::mt19937_64 random(uint64_t(std::chrono::steady_clock::now().time_since_epoch().count()));
    const size_t count = std::min(b.completedLines.size(), size_t(strengthFor(timeControl.limitElo).lines));
    std::vector<int> scores;
    for (size_t i = 0; i < count; ++i) scores.push_back(b.completedLines[i].score);
    double random01 = double(random() >> 11) / double(uint64_t(1) << 53);
    return b.completedLines[chooseLimitedLine(scores, timeControl.limitElo, random01)];
}

bool rootTablebaseMove(worker& w) {
    int largest = largestTablebase();
    if (largest <= 0 || popcount(occupancy(w.position)) > largest) return false;
    int score = 0;
    Move m = probeRoot(w.position, &score);
    if (!m) return false;
    w.stop->set();
    w.rootBestMove = m;
    w.rootBestScore = score;
    w.rootPv = {m};
    w.rootFromTablebases = true;
    w.selDepth = 127;
    w.completedDepth = 127;
    // The final report sums the threads' counters: the probe is its one node and hit.
    w.nodes.fetch_add(1, std::memory_order_relaxed);
    w.tbHits.fetch_add(1, std::memory_order_relaxed);
    if (reports(w)) sendLine(infoLine(score, 127, 127, 1, 1, 1, w.rootPv, w.position, firstLineRank(), knownResult(w)));
    return true;
}

}  // namespace

std::string infoLine(int score, int depth, int selDepth, uint64_t nodes, int64_t elapsed, uint64_t tbHits,
                     const std::vector<Move>& pv, const Position& root, int multiPv, const WdlChances* known) {
    std::string line = "info score ";
    if (isMateScore(score)) line.append("mate ").append(std::to_string(mateMoves(score)));
    else line.append("cp ").append(std::to_string(score));
    if (timeControl.showWdl) {
        WdlChances c = known ? *known : wdlOfScore(score, wdlMaterial(root));
        line.append(" wdl ").append(std::to_string(c.win)).append(" ").append(std::to_string(c.draw));
        line.append(" ").append(std::to_string(c.loss));
    }
    if (multiPv > 0) line.append(" multipv ").append(std::to_string(multiPv));
    int64_t ms = elapsed > 0 ? elapsed : 1;
    auto field = [&line](const char* name, auto value) { line.append(name).append(std::to_string(value)); };
    field(" depth ", depth);
    field(" seldepth ", selDepth);
    field(" nodes ", nodes);
    field(" nps ", nodes * 1000 / uint64_t(ms));
    field(" time ", elapsed);
    field(" tbhits ", tbHits);
    line.append(" pv");
    // The moves are written on a scratch copy so castling and en passant read right.
    static thread_local Position scratch;
    static thread_local Move scratchMoves[MOVE_STACK];
    scratch.plyStates[0].moveStart = scratchMoves;
    copyRootPosition(scratch, root);
    int ply = 0;
    for (Move m : pv) {
        line.append(" ").append(moveToText(scratch, m));
        if (ply + 1 >= PLY_STACK - 1) break;
        makeMove(scratch, ply, m);
        ++ply;
    }
    return line;
}

void iterativeDeepening(worker& w, bool leader) {
    Position& p = w.position;
    resetForSearch(w);
    w.rootBestScore = qsearch(w, 0, 0, -INFINITE_SCORE, INFINITE_SCORE);

    // The root's legal moves are copied out, but stay in the list: ply 1's
    // list starts after them for the whole search.
    Move* end = generateLegal(0, p);
    for (Move* m = p.plyStates[0].moveStart; m < end; ++m) w.rootMoves.push_back(moveBase(*m));
    if (w.rootMoves.empty()) {
        if (leader) reportNoMove(w);
        return;
    }
    // "go searchmoves": only the listed moves are searched (a search on its own budget takes them all).
    const size_t legalMoves = w.rootMoves.size();
    const bool restricted = !w.solo && !timeControl.searchMoves.empty();
    if (restricted) {
        const std::vector<Move>& allowed = timeControl.searchMoves;
        std::erase_if(w.rootMoves, [&](Move r) {
            return std::none_of(allowed.begin(), allowed.end(), [&](Move a) { return sameMove(a, r); });
        });
        if (w.rootMoves.empty()) w.rootMoves.push_back(moveBase(allowed[0]));
    }
    // MultiPV: as many lines as there are moves to search; a search on its own reports one.
    // A strength limit searches a few lines to choose among, whatever MultiPV prints.
    size_t wanted = size_t(std::max(1, timeControl.multiPv));
    if (timeControl.limitElo) wanted = std::max(wanted, size_t(strengthFor(timeControl.limitElo).lines));
    const size_t lineCount = w.solo ? 1 : std::min(w.rootMoves.size(), wanted);
    // The tablebase root move is one line; several are searched (the nodes still probe the tables).
    if (leader && !restricted && lineCount == 1 && rootTablebaseMove(w)) return;

    // The stored best move of this position goes first.
    Move stored = entryMove(probe(*w.table, p.key));
    for (size_t i = 0; i < w.rootMoves.size(); ++i)
        if (stored && sameMove(w.rootMoves[i], stored)) moveToFront(w.rootMoves, i);
    w.rootBestMove = w.rootMoves[0];
    w.rootPv = {w.rootBestMove};
    if (lineCount > 1)
        for (Move m : w.rootMoves) w.rootLines.push_back({m, w.rootBestScore, {m}});
    const bool singleMove = legalMoves == 1;
    const int depthLimit = w.solo ? 0 : timeControl.depth;

    for (int depth = 1; depth <= 127; ++depth) {
        if (!leader) {
            int k = int(w.index % 16);
            if ((k + depth) % DEPTH_CYCLE[k] == 0) depth = std::min(127, depth + DEPTH_JUMP[k]);
            if (depth >= 10 && crowdedDepth(w, depth)) continue;
        }
        w.currentDepth.store(depth, std::memory_order_relaxed);
        w.bestMoveChanges = 0;

        if (lineCount > 1) searchLines(w, depth, lineCount);
        else searchBestMove(w, depth);
        if (w.stop->get()) break;

        w.completedDepth = depth;
        // An iteration cut short reorders its lines; the move to play is drawn among whole ones.
        if (timeControl.limitElo && lineCount > 1)
            w.completedLines.assign(w.rootLines.begin(), w.rootLines.begin() + long(lineCount));
        if (leader) printIteration(w, depth);

        const int score = w.rootBestScore;
        bool goOn = true;
        if (lineCount == 1 && provenMate(score, depth)) goOn = false;
        // Under MultiPV the deepening ends once every line is a proven mate.
        if (lineCount > 1
            && std::all_of(w.rootLines.begin(), w.rootLines.begin() + long(lineCount),
                           [depth](const RootLine& l) { return provenMate(l.score, depth); }))
            goOn = false;
        if (leader && timeControl.mate > 0 && score >= MATE_BOUND && mateMoves(score) <= timeControl.mate) goOn = false;
        if (singleMove && depth >= 3) goOn = false;
        if (depthLimit > 0) {
            if (!infiniteFlag.get() && depth >= depthLimit - 1) goOn = false;
        } else if (!w.solo) {
            w.stabilityScale = nextStabilityScale(w.stabilityScale, depth, w.bestMoveChanges);
            if (softLimitReached(w.stabilityScale)) goOn = false;
        } else if (w.softNodeBudget > 0 && w.nodes.load(std::memory_order_relaxed) >= w.softNodeBudget) {
            goOn = false;
        }
        // A strength limit lets the iteration that crosses its budget finish, so every line has a score.
        if (!w.solo && timeControl.strengthNodes && totalNodes() >= timeControl.strengthNodes) goOn = false;
        if (!goOn) break;
    }
}

void reportResult(boss& b) {
    if (b.rootMoves.empty()) {
        sendLine("bestmove (none)");
        return;
    }
    const worker* chosen = &b;
    for (const worker* w : pool)
        if (w->completedDepth > chosen->completedDepth && w->rootBestMove) chosen = w;
    RootLine played{chosen->rootBestMove, chosen->rootBestScore, chosen->rootPv};
    if (timeControl.limitElo && b.completedLines.size() > 1) played = limitedChoice(b);
    b.reportedMove = played.move;
    b.reportedPonder = played.pv.size() > 1 && sameMove(played.pv[0], played.move) ? played.pv[1] : NO_MOVE;
    sendLine(infoLine(played.score, chosen->completedDepth, chosen->selDepth, totalNodes(), elapsedMs(), totalTbHits(),
                      played.pv, b.position, firstLineRank(), knownResult(*chosen)));
    std::string line = "bestmove " + moveToText(b.position, b.reportedMove);
    if (b.reportedPonder) {
        Position& p = b.position;
        makeMove(p, 0, b.reportedMove);
        line += " ponder " + moveToText(p, b.reportedPonder);
        unmakeMove(p, 0, b.reportedMove);
    }
    sendLine(line);
}
