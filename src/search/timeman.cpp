#include "search/timeman.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "search/pool.h"

GameClock gameClock;

namespace {

using namespace time_rules;

// With exactly four moves to go the hard limit has a floor (time_rules.h).
int64_t withFourMovesFloor(int64_t hard, const AllotmentInput& in) {
    if (in.moveTime != 0 || !in.movesToGoGiven || in.movesToGo != FLOOR_MOVES_TO_GO) return hard;
    return std::max<int64_t>(hard, FLOOR_MS);
}

int clampToInt(int64_t v) { return int(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX)); }

// The moves the clock is split over, the share of one split this move may
// take, and the fraction of the clock left that bounds the hard limit.
struct Split {
    int movesToGo;
    float share;
    double hardFraction;
};

Split splitWithoutMovesToGo(const AllotmentInput& in) {
    float share = SHARE_MANY_THREADS;
    for (const ThreadShare& t : SHARE_BY_THREADS)
        if (in.threads < t.below) {
            share = t.share;
            break;
        }
    if (in.gameMoveCount == UNKNOWN_GAME_MOVES)
        return {MOVES_UNKNOWN_GAME, share * UNKNOWN_GAME_SHARE_SCALE, HARD_FRACTION};
    int moves = MOVES_LATE_GAME;
    for (const StageMoves& s : MOVES_BY_STAGE)
        if (in.gameMoveCount < s.before) {
            moves = s.moves;
            break;
        }
    return {moves, share, HARD_FRACTION};
}

Split splitWithMovesToGo(const AllotmentInput& in) {
    float share = in.threads >= SHARE_GIVEN_MANY_THREADS ? SHARE_GIVEN_THREADS : SHARE_GIVEN;
    if (in.gameMoveCount < SHARE_EARLY_BEFORE) share *= SHARE_EARLY_SCALE;
    else if (in.gameMoveCount < SHARE_MIDDLE_BEFORE) share *= SHARE_MIDDLE_SCALE;
    return {in.movesToGo, share, in.movesToGo == 1 ? HARD_FRACTION_LAST_MOVE : HARD_FRACTION};
}

// Recomputed at the first "go" of a game from its clock and increment.
float incrementFactorOf(const AllotmentInput& in) {
    if (!in.newGame) return in.incrementFactor;
    int64_t ratio =
        std::clamp<int64_t>(int64_t(in.time) / std::max(1, in.inc), INCREMENT_RATIO_MIN, INCREMENT_RATIO_MAX);
    return float(double(float(ratio - INCREMENT_RATIO_MIN) * INCREMENT_FACTOR_SLOPE) + INCREMENT_FACTOR_START);
}

}  // namespace

int gameMoveCountOf(bool fromStartPosition, int gamePly, int movesListed) {
    if (fromStartPosition) return movesListed;
    return gamePly > 1 ? gamePly + movesListed : UNKNOWN_GAME_MOVES;
}

void startNewGameClock() {
    gameClock.gameMoveCount = 0;
    gameClock.newGame = true;
}

Allotment allotTime(const AllotmentInput& in) {
    Allotment out{};
    // A "movestogo 0" or below would divide by zero; it is read as no moves-to-go at all.
    const bool given = in.movesToGoGiven && in.movesToGo > 0;
    Split split = given ? splitWithMovesToGo(in) : splitWithoutMovesToGo(in);
    if (in.ponder) split.share *= PONDER_SHARE_SCALE;
    out.incrementFactor = incrementFactorOf(in);
    out.timeFactor = 1.0f;
    out.movesToGo = split.movesToGo;

    // The clock is the time left plus the increments of the moves to come; the
    // increment stretches how many of them there are when the GUI did not say.
    const int64_t t = in.time, i = in.inc;
    float m = float(split.movesToGo);
    if (!given) m *= out.incrementFactor;
    const int64_t total = (int64_t(m) - 1) * i + t;
    const int64_t avail = t - in.overhead;
    int64_t soft = int64_t(std::max(1.0, double(float(total / split.movesToGo) * split.share)));
    int64_t hard = split.movesToGo == 1
                       ? total - in.overhead
                       : int64_t(std::min(double(avail) * split.hardFraction, HARD_SOFT_RATIO * double(soft)));
    if (!given && LOW_TIME_SOFT_LIMITS > avail / soft) {
        out.timeFactor = LOW_TIME_FACTOR;
        soft /= 2;
        hard /= 2;
    }
    if (in.moveTime != 0) {
        hard = in.moveTime;
        soft = MOVETIME_SOFT_RATIO * int64_t(in.moveTime);
    } else {
        hard = std::max(std::min(hard, avail), soft + 1);
    }
    out.softLimit = clampToInt(soft);
    out.hardLimit = clampToInt(withFourMovesFloor(hard, in));
    return out;
}

Allotment withSafetyMargin(const Allotment& a, const AllotmentInput& in) {
    Allotment out = a;
    if (in.moveTime != 0) return out;
    // A process scheduled late loses the time between the GUI's clock and its
    // own: keep MoveOverhead plus a quarter of the rest back. The part kept is
    // a larger share of the clock the less time is left.
    int64_t avail = int64_t(in.time) - in.overhead;
    int64_t cap = std::max<int64_t>(1, avail - avail / 4);
    out.hardLimit = clampToInt(withFourMovesFloor(std::min<int64_t>(out.hardLimit, cap), in));
    return out;
}

int clockCheckInterval(int hardLimitMs) {
    // A clock read costs nanoseconds; short limits read it often so that a
    // slow stretch (a loaded machine, a big quiescence tree) cannot overrun them.
    // On a loaded machine a thread may manage only a few thousand nodes per
    // second, so even 1024 nodes can be tens of milliseconds.
    return hardLimitMs < 1000 ? 128 : hardLimitMs < 10000 ? 512 : 4096;
}

void startTimeManagement(TimeControl& tc, int sideToMove, int moveOverhead, int threads, bool ponder) {
    AllotmentInput in;
    in.time = tc.time[sideToMove];
    in.inc = tc.inc[sideToMove];
    in.movesToGo = tc.movesToGo;
    in.movesToGoGiven = tc.movesToGoGiven;
    in.moveTime = tc.moveTime;
    in.overhead = moveOverhead;
    in.threads = threads;
    in.gameMoveCount = gameClock.gameMoveCount;
    in.ponder = ponder;
    in.newGame = gameClock.newGame;
    in.incrementFactor = gameClock.incrementFactor;
    Allotment a = withSafetyMargin(allotTime(in), in);
    gameClock.incrementFactor = a.incrementFactor;
    gameClock.newGame = false;
    tc.movesToGo = a.movesToGo;
    tc.softLimit = a.softLimit;
    tc.hardLimit = a.hardLimit;
    tc.timeFactor = a.timeFactor;
    tc.nodeCheckInterval = clockCheckInterval(tc.hardLimit);
    // Small node budgets are checked more often than every 4096 nodes.
    if (tc.nodes > 0 && tc.nodes < 4096ull * 64)
        tc.nodeCheckInterval = std::min(tc.nodeCheckInterval, int(std::max<uint64_t>(64, tc.nodes / 64)));
}

void startWithoutTimeLimit(TimeControl& tc) { tc.softLimit = tc.hardLimit = INT_MAX; }

double nextStabilityScale(double scale, int depth, int bestMoveChanges) {
    if (depth <= 4) {
        scale = 1.0;
    } else if (bestMoveChanges == 1) {
        scale *= 0.9;
    } else {
        double x = 0.2 * bestMoveChanges;
        scale = scale <= 1.0 ? 1.0 + x : 0.8 * scale + x;
    }
    return std::max(std::min(scale, 2.0), 0.6);
}

bool softLimitReached(double stabilityScale) {
    float spent = float(elapsedMs()) * timeControl.timeFactor;
    if (spent > float(timeControl.softLimit * stabilityScale)) timeUpFlag.set();
    return !infiniteFlag.get() && !ponderingFlag.get() && timeUpFlag.get();
}

bool searchLimitReached(int& checkCountdown) {
    checkCountdown = timeControl.nodeCheckInterval;
    if (infiniteFlag.get() || ponderingFlag.get()) return false;
    if (elapsedMs() >= timeControl.hardLimit) return true;
    return timeControl.nodes && totalNodes() >= timeControl.nodes;
}
