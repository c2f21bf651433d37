// The search threads: a `worker` owns a copy of the root position with its
// frames, history tables and move lists; the `boss` (index 0) also leads the
// search and reports its result.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "board/position.h"
#include "board/score.h"
#include "search/control.h"
#include "search/tt.h"

constexpr int FRAME_OFFSET = 2;  // frames[-2] and frames[-1] exist so ply - 2 never needs a test

// Picker stages; the numbers are the order in which they run.
enum PickStage : uint8_t {
    STAGE_TT = 0,
    STAGE_GEN_CAPTURES = 1,
    STAGE_GOOD_CAPTURES = 2,
    STAGE_KILLER1 = 3,
    STAGE_KILLER2 = 4,
    STAGE_COUNTER = 5,
    STAGE_REWIND = 6,
    STAGE_BAD_CAPTURES = 7,
    STAGE_GEN_QUIETS = 8,
    STAGE_QUIETS = 9,
    STAGE_DONE = 10,
    STAGE_EVASIONS = 99,
    // The capture picker of ProbCut and quiescence.
    STAGE_CAPTURE_TT = 20,
    STAGE_GEN_NOISY = 21,
    STAGE_NOISY = 22,
    STAGE_PLAIN_EVASIONS = 23
};

struct PickerState {
    uint8_t stage;      // the stage to run next
    uint8_t lastStage;  // the stage that produced the last move
    Move ttMove;
    Move yielded[4];  // TT move, killers and counter move once tried, so they are not tried twice
    Move* current;
    Move* end;
    Move* listStart;
    Move* captureEnd;
    Move* quietStart;
    int threshold;        // capture picker: the exchange a capture must reach
    bool withPromotions;  // capture picker: quiet queen promotions too
};

struct SearchFrame {
    Move movedBy;  // move that led to this node, moving piece in the top byte; 0 after a null move
    Move current;  // move being searched here, moving piece in the top byte
    Move ttMove;
    Move bestMove;
    Move killers[2];
    // The counter-move stage offers this slot instead of a table entry when a
    // null move led to the node. Nothing writes it: it stays zero, so such a
    // node has no counter move.
    Move spareMove;
    int16_t staticEval;
    int16_t nullDisabled;
    uint8_t afterNull;  // the move that led here was a null move
    PickerState picker;
};

using PieceToHistory = int16_t[12 * 64];
inline int pieceToIndex(int piece, int to) { return (piece - 2) * 64 + to; }

// The history tables of one thread, zeroed together.
struct HistoryBlock {
    int16_t historyTable[14][64];
    Move counterMoveTable[14][64];
    PieceToHistory followUpHistory[12 * 64];
    PieceToHistory counterHistory[12 * 64];
};

// One line of a MultiPV search: a root move with its score and principal
// variation from the last iteration that searched it as a line's best.
struct RootLine {
    Move move;
    int score;
    std::vector<Move> pv;
};

class alignas(64) worker {
public:
    explicit worker(unsigned index);
    virtual ~worker();
    // The entry the idle loop calls once the thread is woken.
    virtual void search();
    // One thread's root search; the boss's variant also reports.
    virtual void searchRoot();

    void idleLoop();

    Position position;
    Position* pos = &position;
    SearchFrame frameStack[PLY_STACK + FRAME_OFFSET + 2];
    SearchFrame* frames = frameStack + FRAME_OFFSET;
    HistoryBlock* history;
    Move moveStack[MOVE_STACK];
    int quietScores[MOVE_STACK];  // ordering sums of the quiet moves, parallel to moveStack
    Move pv[PLY_STACK][PLY_STACK];
    int pvLength[PLY_STACK];

    std::vector<Move> rootMoves;  // in search order, the best so far first
    std::vector<Move> rootPv;     // principal variation of the best root move
    // MultiPV > 1: every root move, the lines of the last iteration first, best first; empty otherwise.
    std::vector<RootLine> rootLines;
    std::vector<RootLine> completedLines;  // under a strength limit, the lines of the last completed iteration
    std::atomic<uint64_t> nodes{0};
    std::atomic<uint64_t> tbHits{0};
    std::atomic<int> currentDepth{0};
    int selDepth = 0;
    int checkCountdown = 4096;
    int rootBestScore = 0;
    Move rootBestMove = NO_MOVE;
    int completedDepth = 0;
    bool rootFromTablebases = false;  // the root move came from the tables, not a search
    int bestMoveChanges = 0;
    double stabilityScale = 1.0;

    // Pool threads share the "go" command's stop flag and the shared table. A
    // search run on its own (searchToNodes: one game per thread in the data
    // generator) points them at the thread's own, reads none of the "go"
    // limits, prints nothing and ends on a node budget of its own.
    SearchFlag* stop = &stopFlag;
    TranspositionTable* table = &tt;
    bool solo = false;
    uint64_t nodeBudget = 0;  // of a solo search: the count at which it stops mid-iteration
    // Of a solo search on a soft budget: no iteration starts once it is spent,
    // but the one that crosses it is finished (nodeBudget is then only a cap).
    uint64_t softNodeBudget = 0;

    std::mutex mutex;
    std::condition_variable wake;
    unsigned index;
    bool exit = false;
    bool searching = true;
    std::thread thread;
};

class alignas(64) boss : public worker {
public:
    boss();
    ~boss() override;
    void search() override;
    void searchRoot() override;

    // The result report's choice: cleared when a search starts, then the best
    // move of the thread with the deepest finished iteration and, when that
    // thread's principal variation starts with it, the reply after it, which
    // "bestmove" offers as its ponder move.
    Move reportedMove = NO_MOVE;
    Move reportedPonder = NO_MOVE;
};

// Counts a node in the owner's counter (only the owner writes it).
inline void countNode(worker& w) {
    w.nodes.store(w.nodes.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}
