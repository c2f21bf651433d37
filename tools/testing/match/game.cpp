#include "game.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <sstream>

#include "board/draw.h"
#include "board/movegen.h"
#include "uci/movetext.h"
#include "uci/position_command.h"

namespace matchtool {

namespace {

using Clock = std::chrono::steady_clock;

// Occurrences of the current position since the last irreversible move, itself included.
int repetitions(const Position& p) {
    int count = 0;
    for (int i = p.gamePly - 1; i >= 0 && i >= p.gamePly - 1 - p.fiftyMove; i -= 2)
        if (p.keyHistory[i] == p.key) ++count;
    return count;
}

// The rules of chess after a move: White's result and why, or -1 while the game goes on.
double ruleResult(Position& game, std::string& reason) {
    Move* start = game.plyStates[0].moveStart;
    if (generateLegal(0, game) == start) {
        reason = game.plyStates[0].inCheck ? "checkmate" : "stalemate";
        return game.plyStates[0].inCheck ? (game.sideToMove == WHITE ? 0 : 1) : 0.5;
    }
    if (game.fiftyMove >= 100) return reason = "fifty moves", 0.5;
    if (repetitions(game) >= 3) return reason = "repetition", 0.5;
    if (insufficientMaterial(game)) return reason = "insufficient material", 0.5;
    return -1;
}

std::string secondWord(const std::string& line) {
    std::istringstream in(line);
    std::string first, second;
    in >> first >> second;
    return second;
}

std::string goCommand(const double clocks[2], double increment) {
    // An empty clock with no increment is still sent as 1 ms.
    auto ms = [](double seconds) { return std::max(1, int(seconds * 1000)); };
    char go[160];
    std::snprintf(go, sizeof go, "go wtime %d btime %d winc %d binc %d", ms(clocks[WHITE]), ms(clocks[BLACK]),
                  int(increment * 1000), int(increment * 1000));
    return go;
}

}  // namespace

GameResult playGame(const GameSettings& s, const std::string& fen, int whiteEngine) {
    GameResult g;
    EngineProcess engines[2];
    auto stopEngines = [&] {
        for (auto& e : engines) {
            send(e, "quit");
            if (waitExit(e, 3000) < 0) killEngine(e);
        }
    };
    for (int i = 0; i < 2; ++i)
        if (!startUciEngine(engines[i], s.engines[i], s.options[i], g.setups[i])) {
            g.faultEngine = i;
            g.fault = "start-up";
            g.reason = s.names[i] + " did not start";
            for (auto& e : engines) killEngine(e);
            return g;
        }
    auto game = std::make_unique<Position>();
    std::vector<Move> stack(MOVE_STACK);
    game->plyStates[0].moveStart = stack.data();
    std::string error;
    if (!setFen(*game, fen, &error)) {
        g.reason = "bad opening: " + error;
        stopEngines();
        return g;
    }
    g.startFen = getFen(*game);
    for (auto& e : engines) {
        send(e, "ucinewgame");
        send(e, "isready");
        readUntilLine(e, "readyok", 20000);
    }
    double clocks[2] = {s.base, s.base};  // by colour
    std::vector<PlyScore> history;
    std::string moveList;
    double whiteResult = -1;
    while (whiteResult < 0) {
        int side = game->sideToMove;
        int index = side == WHITE ? whiteEngine : 1 - whiteEngine;
        EngineProcess& e = engines[index];
        auto lose = [&](const std::string& fault, const std::string& why) {
            g.faultEngine = index;
            g.fault = fault;
            g.reason = s.names[index] + " " + why;
            whiteResult = side == WHITE ? 0 : 1;
        };
        send(e, "position fen " + g.startFen + (moveList.empty() ? "" : " moves" + moveList));
        // The clock starts when "go" is sent and stops when "bestmove" has been read.
        std::string go = goCommand(clocks, s.increment);
        auto started = Clock::now();
        send(e, go);
        bool found = false;
        auto lines = readUntil(
            e, [](const std::string& l) { return startsWith(l, "bestmove"); },
            std::max(0, int(clocks[side] * 1000)) + 5000, &found);
        double used = std::chrono::duration<double>(Clock::now() - started).count();
        if (!found) {
            lose(e.fromEngine < 0 ? "crash" : "hang", e.fromEngine < 0 ? "crashed" : "did not answer");
            break;
        }
        clocks[side] -= used;
        if (clocks[side] < -s.margin) {
            lose("time", "lost on time (" + std::to_string(int(clocks[side] * 1000)) + " ms on its clock)");
            break;
        }
        // An overrun inside the margin is latency, not thinking time: the clock
        // stops at zero instead of carrying a debt into the next move, where
        // small overruns would add up to a loss the margin was meant to forgive.
        clocks[side] = std::max(clocks[side], 0.0) + s.increment;
        std::string text = secondWord(lines.back());
        Move m = findLegalMove(*game, 0, text);
        if (m == NO_MOVE) {
            lose("illegal", "played an illegal move '" + text + "'");
            break;
        }
        playRootMove(*game, m);
        moveList += " " + text;
        ReportedScore score = lastExactScore(lines);
        g.moves.push_back({text, score, used});
        history.push_back({score.found, side == WHITE ? centipawns(score) : -centipawns(score)});
        whiteResult = ruleResult(*game, g.reason);
        if (whiteResult < 0) {
            Verdict v = adjudicate(history, s.rules);
            whiteResult = v.whiteResult;
            g.reason = v.reason;
        }
    }
    stopEngines();
    g.whiteResult = whiteResult;
    g.result = whiteResult == 1 ? "1-0" : whiteResult == 0 ? "0-1" : "1/2-1/2";
    return g;
}

double firstEngineScore(const GameResult& g, int whiteEngine) {
    if (g.whiteResult < 0) return -1;
    return whiteEngine == 0 ? g.whiteResult : 1 - g.whiteResult;
}

}  // namespace matchtool
