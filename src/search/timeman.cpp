#include "search/timeman.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "search/pool.h"

GameClock gameClock;

namespace {

// With exactly four moves to go the hard limit never drops below 40 ms, even
// when the clock has less than that; no other moves-to-go has a floor.
int64_t withFourMovesFloor(int64_t hard, const AllotmentInput& in) {
    if (in.moveTime != 0 || !in.movesToGoGiven || in.movesToGo != 4) return hard;
    return std::max<int64_t>(hard, 40);
}

int clampToInt(int64_t v) { return int(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX)); }

} // namespace

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
    const int64_t t = in.time, i = in.inc, g = in.gameMoveCount, overhead = in.overhead;
    int movesToGo = in.movesToGo;
    // A "movestogo 0" or below would divide by zero; it is read as no moves-to-go at all.
    bool given = in.movesToGoGiven && movesToGo > 0;
    double maxFraction = 0.5;
    float base;
    if (!given) {
        base = in.threads < 4 ? 0.66f : in.threads < 32 ? 0.76f : in.threads < 129 ? 0.86f : 0.92f;
        if (g == UNKNOWN_GAME_MOVES) {
            base *= 1.4f;
            movesToGo = 30;
        } else {
            movesToGo = g < 18 ? 40 : g < 51 ? 22 : g < 81 ? 25 : g < 201 ? 20 : 15;
        }
    } else {
        base = in.threads >= 4 ? 0.8f : 0.73f;
        if (g < 18) base *= 0.9f;
        else if (g < 51) base *= 1.1f;
        if (movesToGo == 1) maxFraction = 0.9;
    }
    out.incrementFactor = in.incrementFactor;
    if (in.newGame) {
        int64_t ratio = std::clamp<int64_t>(t / std::max<int64_t>(1, i), 100, 360);
        out.incrementFactor = float(double(float(ratio - 100) * 0.0014615385f) + 1.37);
    }
    if (in.ponder) base *= 1.1f;
    out.timeFactor = 1.0f;
    float m = float(movesToGo);
    if (!given) m *= out.incrementFactor;
    int64_t n = int64_t(m);
    int64_t total = (n - 1) * i + t;
    int64_t avail = t - overhead;
    int64_t soft = int64_t(std::max(1.0, double(float(total / movesToGo) * base)));
    int64_t hard = movesToGo == 1 ? total - overhead : int64_t(std::min(double(avail) * maxFraction, 5.0 * double(soft)));
    // Little time left: both limits are halved, and the soft test counts time
    // spent timeFactor times over, so iterations end early in proportion.
    if (!given && 4 > avail / soft) {
        out.timeFactor = 5.0f;
        soft /= 2;
        hard /= 2;
    }
    if (in.moveTime != 0) {
        hard = in.moveTime;
        soft = 10 * int64_t(in.moveTime);
    } else {
        hard = std::max(std::min(hard, avail), soft + 1);
    }
    out.softLimit = clampToInt(soft);
    out.hardLimit = clampToInt(withFourMovesFloor(hard, in));
    out.movesToGo = movesToGo;
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
