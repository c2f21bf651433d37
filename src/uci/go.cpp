#include "uci/go.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>
#include <vector>

#include "eval/network.h"
#include "search/control.h"
#include "search/threads.h"
#include "search/tt.h"
#include "uci/movetext.h"
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

Allotment withSafetyMargin(const Allotment& a, const AllotmentInput& in) {
    Allotment out = a;
    if (in.moveTime != 0) return out;
    // A process scheduled late loses the time between the GUI's clock and its
    // own: keep MoveOverhead plus a quarter of the rest back. The part kept is
    // a larger share of the clock the less time is left.
    int64_t avail = int64_t(in.time) - in.overhead;
    int64_t cap = std::max<int64_t>(1, avail - avail / 4);
    out.hardLimit = int(std::min<int64_t>(out.hardLimit, cap));
    if (in.movesToGoGiven && in.movesToGo == 4) out.hardLimit = std::max(out.hardLimit, 40);
    return out;
}

int clockCheckInterval(int hardLimitMs) {
    // A clock read costs nanoseconds; short limits read it often so that a
    // slow stretch (a loaded machine, a big quiescence tree) cannot overrun them.
    // On a loaded machine a thread may manage only a few thousand nodes per
    // second, so even 1024 nodes can be tens of milliseconds.
    return hardLimitMs < 1000 ? 128 : hardLimitMs < 10000 ? 512 : 4096;
}

namespace {

bool isGoKeyword(const std::string& token) {
    static const char* const words[] = {"wtime", "btime", "winc", "binc", "movestogo", "depth", "nodes",
                                        "mate", "movetime", "infinite", "ponder", "searchmoves"};
    for (const char* w : words)
        if (token == w) return true;
    return false;
}

// The number after a keyword. A missing or malformed value is reported and the
// field keeps its default, so that the search still starts and answers.
template <typename T>
bool readValue(std::istream& args, const std::string& keyword, T& field) {
    std::string text;
    if (!(args >> text)) {
        sendLine("info string go: " + keyword + " needs a number, ignored");
        return false;
    }
    T value{};
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        sendLine("info string go: " + keyword + " " + excerpt(text) + " is not a whole number, ignored");
        return false;
    }
    field = value;
    return true;
}

// Reads the moves after "searchmoves" up to the next keyword; returns that keyword, if any.
std::string readSearchMoves(std::istream& args, std::vector<Move>& moves) {
    std::string token;
    while (args >> token) {
        if (isGoKeyword(token)) return token;
        Move m = findLegalMove(mainPosition, 0, token);
        if (m == NO_MOVE) sendLine("info string go: searchmoves " + excerpt(token) + " is not a legal move, ignored");
        else if (std::find(moves.begin(), moves.end(), m) == moves.end()) moves.push_back(m);
    }
    return "";
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
    if (pool.empty() && setThreadCount(optionThreads) == 0) {
        sendLine("info string no search thread could be started, no search");
        return;
    }

    TimeControl tc;
    tc.startTime = start;
    int64_t nodes = 0;
    bool nodesGiven = false, depthGiven = false, moveTimeGiven = false;
    std::string token;
    bool pending = false;
    while (pending || args >> token) {
        pending = false;
        if (token == "ponder") tc.pondering = true;
        else if (token == "infinite") tc.infinite = true;
        else if (token == "wtime") readValue(args, token, tc.time[WHITE]);
        else if (token == "btime") readValue(args, token, tc.time[BLACK]);
        else if (token == "winc") readValue(args, token, tc.inc[WHITE]);
        else if (token == "binc") readValue(args, token, tc.inc[BLACK]);
        else if (token == "movestogo") {
            tc.movesToGoGiven = true;
            readValue(args, token, tc.movesToGo);
        } else if (token == "depth") {
            depthGiven = readValue(args, token, tc.depth);
        } else if (token == "mate") readValue(args, token, tc.mate);
        else if (token == "movetime") {
            moveTimeGiven = readValue(args, token, tc.moveTime);
        } else if (token == "nodes") {
            nodesGiven = readValue(args, token, nodes);
        } else if (token == "searchmoves") {
            token = readSearchMoves(args, tc.searchMoves);
            pending = !token.empty();
        }
    }
    // Values a GUI could send but the limits cannot mean: the nearest sensible search.
    if (depthGiven && tc.depth < 1) {
        sendLine("info string go: depth " + std::to_string(tc.depth) + " is searched as depth 1");
        tc.depth = 1;
    }
    if (moveTimeGiven && tc.moveTime < 1) {
        sendLine("info string go: movetime " + std::to_string(tc.moveTime) + " is searched as 1 ms");
        tc.moveTime = 1;
    }
    if (nodesGiven && nodes < 1) {
        sendLine("info string go: nodes " + std::to_string(nodes) + " is searched as 1 node");
        nodes = 1;
    }
    tc.nodes = uint64_t(nodes);
    if (tc.mate < 0) {
        sendLine("info string go: mate " + std::to_string(tc.mate) + " is ignored");
        tc.mate = 0;
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
    Allotment a = withSafetyMargin(allotTime(in), in);
    incrementFactor = a.incrementFactor;
    newGameFlag = false;
    tc.movesToGo = a.movesToGo;
    tc.softLimit = a.softLimit;
    tc.hardLimit = a.hardLimit;
    tc.timeFactor = a.timeFactor;
    tc.nodeCheckInterval = clockCheckInterval(tc.hardLimit);
    // Small node budgets are checked more often than every 4096 nodes.
    if (tc.nodes > 0 && tc.nodes < 4096ull * 64)
        tc.nodeCheckInterval = std::min(tc.nodeCheckInterval, int(std::max<uint64_t>(64, tc.nodes / 64)));

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
    // Only the first 1024 keys are cleared; the rest need nothing. Repetition
    // detection reads only keys below gamePly, and each of those was written
    // by the FEN, a move played or the root copy before any read; keys from
    // gamePly up are written by the moves that reach them.
    for (int i = 0; i < 1024; ++i) mainPosition.keyHistory[i] = 0;
}
