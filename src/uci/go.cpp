#include "uci/go.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "eval/network.h"
#include "search/control.h"
#include "search/threads.h"
#include "search/tt.h"
#include "uci/options.h"
#include "uci/output.h"
#include "uci/position_command.h"

float incrementFactor = 1.37f;
bool newGameFlag = true;

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
        if (g == 1024) {
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
    if (!given && 4 > avail / soft) {
        out.timeFactor = 5.0f;
        soft /= 2;
        hard /= 2;
    } else if (given && movesToGo == 4) {
        hard = std::max<int64_t>(hard, 40);
    }
    if (in.moveTime != 0) {
        hard = in.moveTime;
        soft = 10 * int64_t(in.moveTime);
    } else {
        hard = std::max(std::min(hard, avail), soft + 1);
        // Four moves to go keeps its floor also when hardly any time is left.
        if (given && movesToGo == 4) hard = std::max<int64_t>(hard, 40);
    }
    auto toInt = [](int64_t v) { return int(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX)); };
    out.softLimit = toInt(soft);
    out.hardLimit = toInt(hard);
    out.movesToGo = movesToGo;
    return out;
}

namespace {

// Reads the value after a keyword; false (and the rest of the line ignored) when it is not a number.
template <typename T>
bool readValue(std::istream& args, T& field) {
    T value{};
    if (args >> value) {
        field = value;
        return true;
    }
    field = value;
    return false;
}

} // namespace

void go(std::istream& args) {
    if (!netLoaded) {
        sendLine(netMissingLine(netFile, true));
        return;
    }
    const int64_t start = nowMs();
    // A search still running ends here with its own bestmove, so that the
    // command loop is never held up behind an endless search.
    stopAndWait();

    TimeControl tc;
    tc.startTime = start;
    std::string token;
    bool reading = true;
    while (reading && args >> token) {
        if (token == "ponder") tc.pondering = true;
        else if (token == "infinite") tc.infinite = true;
        else if (token == "wtime") reading = readValue(args, tc.time[WHITE]);
        else if (token == "btime") reading = readValue(args, tc.time[BLACK]);
        else if (token == "winc") reading = readValue(args, tc.inc[WHITE]);
        else if (token == "binc") reading = readValue(args, tc.inc[BLACK]);
        else if (token == "movestogo") {
            tc.movesToGoGiven = true;
            reading = readValue(args, tc.movesToGo);
        } else if (token == "depth") reading = readValue(args, tc.depth);
        else if (token == "mate") reading = readValue(args, tc.mate);
        else if (token == "movetime") reading = readValue(args, tc.moveTime);
        else if (token == "nodes") reading = readValue(args, tc.nodes);
    }

    const int side = mainPosition.sideToMove;
    AllotmentInput in;
    in.time = tc.time[side];
    in.inc = tc.inc[side];
    in.movesToGo = tc.movesToGo;
    in.movesToGoGiven = tc.movesToGoGiven;
    in.moveTime = tc.moveTime;
    in.overhead = optionMoveOverhead;
    in.threads = optionThreads;
    in.gameMoveCount = gameMoveCount;
    in.ponder = optionPonder;
    in.newGame = newGameFlag;
    in.incrementFactor = incrementFactor;
    Allotment a = allotTime(in);
    incrementFactor = a.incrementFactor;
    newGameFlag = false;
    tc.movesToGo = a.movesToGo;
    tc.softLimit = a.softLimit;
    tc.hardLimit = a.hardLimit;
    tc.timeFactor = a.timeFactor;
    // Small node budgets are checked more often than every 4096 nodes.
    if (tc.nodes > 0 && tc.nodes < 4096ull * 64) tc.nodeCheckInterval = int(std::max<uint64_t>(64, tc.nodes / 64));

    timeControl = tc;
    stopFlag.set(false);
    timeUpFlag.set(false);
    ponderingFlag.set(tc.pondering);
    infiniteFlag.set(tc.infinite);
    newSearch();
    startSearch(mainPosition);
}

void stopCommand() { stopFlag.set(); }

void ponderhitCommand() {
    if (timeUpFlag.get()) stopFlag.set();
    else ponderingFlag.set(false);
}

void newGameCommand() {
    clear();
    gameMoveCount = 0;
    newGameFlag = true;
    for (int i = 0; i < 1024; ++i) mainPosition.keyHistory[i] = 0;
}
