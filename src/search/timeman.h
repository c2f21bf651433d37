// Time management: the soft and hard limits of one move, worked out when a
// search starts; after each iteration, how stable the best move is; and the
// two tests that end a search, the soft one between iterations and the hard
// one in the nodes. The search consults it while it runs, so it lives here;
// the "go" command only feeds it the clock, the options and the game's stage.
#pragma once

#include "search/control.h"
#include "search/time_rules.h"

// What the allotment reads besides the "go" line's clock of the side to move.
struct AllotmentInput {
    int time = 900000;  // ms left for the side to move
    int inc = 0;        // its increment
    int movesToGo = 30;
    bool movesToGoGiven = false;
    int moveTime = 0;
    int overhead = 100;  // the MoveOverhead option
    int threads = 1;
    int gameMoveCount = 0;
    bool ponder = false;  // the Ponder option
    bool newGame = false;
    float incrementFactor = float(time_rules::INCREMENT_FACTOR_START);
};

struct Allotment {
    int softLimit;
    int hardLimit;
    float timeFactor;
    float incrementFactor;  // recomputed at the first "go" of a game
    int movesToGo;
};

// What the allotment keeps from one "go" to the next.
struct GameClock {
    float incrementFactor =
        float(time_rules::INCREMENT_FACTOR_START);  // how far the increment stretches the moves to go
    bool newGame = true;                            // recompute incrementFactor at the next "go"
    int gameMoveCount = 0;                          // the game's moves so far, as the position command counts them
};
extern GameClock gameClock;

// A game move count that means "a FEN position with no moves before it": the
// allotment then spreads the clock as at the start of an unknown game.
constexpr int UNKNOWN_GAME_MOVES = 1024;

// The position command's count: with the start position the moves it lists;
// with a FEN, its game ply after them plus their number, or
// UNKNOWN_GAME_MOVES when the FEN's game ply is at most 1.
int gameMoveCountOf(bool fromStartPosition, int gamePly, int movesListed);
// "ucinewgame": the count starts again and incrementFactor is recomputed.
void startNewGameClock();

// ---- Start: the limits of one search ------------------------------------

// The soft and hard time limits of one move; a pure function of its input.
Allotment allotTime(const AllotmentInput& in);
// The allotment with the engine's own safety margin on top: the hard limit
// keeps MoveOverhead and a quarter of the remaining clock in reserve.
Allotment withSafetyMargin(const Allotment& a, const AllotmentInput& in);
// Nodes between two reads of the clock for a given hard limit.
int clockCheckInterval(int hardLimitMs);

// Fills the time fields of a "go" command's limits (softLimit, hardLimit,
// timeFactor, movesToGo, nodeCheckInterval) and updates gameClock.
void startTimeManagement(TimeControl& tc, int sideToMove, int moveOverhead, int threads, bool ponder);
// Limits for a search that only its depth ends (the benchmark).
void startWithoutTimeLimit(TimeControl& tc);

// ---- Update after an iteration ------------------------------------------

// The stability scale after an iteration (depth, best-move changes in it):
// a best move that keeps changing stretches the soft limit, a settled one
// shrinks it.
double nextStabilityScale(double scale, int depth, int bestMoveChanges);

// ---- Should the search stop ---------------------------------------------

// Between iterations: raises timeUp once the soft limit, stretched by the
// thread's stability scale, has passed; true when the thread should not start
// another iteration.
bool softLimitReached(double stabilityScale);
// In the nodes, when a thread's countdown runs out: reloads it and tells
// whether the hard limit has passed or the "go" node count is reached.
// Neither applies while pondering or under "infinite".
bool searchLimitReached(int& checkCountdown);
