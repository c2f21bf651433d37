#include "uci/go.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>
#include <vector>

#include "eval/network.h"
#include "search/control.h"
#include "search/strength.h"
#include "search/threads.h"
#include "search/timeman.h"
#include "search/tt.h"
#include "uci/movetext.h"
#include "uci/options.h"
#include "uci/output.h"
#include "uci/position_command.h"

namespace {

bool isGoKeyword(const std::string& token) {
    static const char* const words[] = {"wtime", "btime", "winc",     "binc",     "movestogo", "depth",
                                        "nodes", "mate",  "movetime", "infinite", "ponder",    "searchmoves"};
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

}  // namespace

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
    bool nodesGiven = false, depthGiven = false, moveTimeGiven = false, searchMovesGiven = false;
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
            searchMovesGiven = true;
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
    if (searchMovesGiven && tc.searchMoves.empty())
        sendLine("info string go: searchmoves names no legal move, all moves are searched");
    tc.nodes = uint64_t(nodes);
    if (tc.mate < 0) {
        sendLine("info string go: mate " + std::to_string(tc.mate) + " is ignored");
        tc.mate = 0;
    }

    tc.multiPv = optionMultiPv;
    tc.showWdl = optionShowWdl;
    if (optionLimitStrength) {
        tc.limitElo = optionElo;
        tc.strengthNodes = strengthFor(optionElo).nodes;
    }
    startTimeManagement(tc, mainPosition.sideToMove, optionMoveOverhead, optionThreads, optionPonder);
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
    clearSearchMemory();
    startNewGameClock();
    // Only the first 1024 keys are cleared; the rest need nothing. Repetition
    // detection reads only keys below gamePly, and each of those was written
    // by the FEN, a move played or the root copy before any read; keys from
    // gamePly up are written by the moves that reach them.
    for (int i = 0; i < 1024; ++i) mainPosition.keyHistory[i] = 0;
}
