// A scripted UCI engine for testing match runners. It answers at once with a mate in one when it has one, else a move
// that stalemates, else its first legal move, and reports whatever score it is told to. On its Nth move it can break a
// rule instead:
//
//   --score cp|mate V       the score of every move, from its own view (cp 0)
//   --score-first           put "score" before "depth" on the info line
//   --bound cp|mate V       after the exact score, print this one as a lowerbound
//   --fault KIND --at N     on move N: illegal (a move no piece can make),
//                           crash (abort), quit (exit without a move), or
//                           flag (answer 300 ms after its clock has run out),
//                           overrun (answer 60 ms after its clock has run out,
//                           on moves N, N+1 and N+2)
//   --threads-default N     declare Threads with this default (1)
//   --record FILE           append every setoption line it receives
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>
#include <vector>
#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/zobrist.h"
#include "uci/movetext.h"
#include "uci/position_command.h"

namespace {
struct Script {
    std::string score = "cp 0", bound, fault, threadsDefault = "1", record;
    bool scoreFirst = false;
    int faultAt = 0;
};

Move chooseMove(Position& p) {
    std::vector<Move> moves(p.plyStates[0].moveStart, generateLegal(0, p));
    if (moves.empty()) return NO_MOVE;
    Move stalemate = NO_MOVE;
    for (Move m : moves) {
        makeMove(p, 0, m);
        Move* start = p.plyStates[1].moveStart;
        bool noMoves = generateLegal(1, p) == start, check = p.plyStates[1].inCheck;
        unmakeMove(p, 0, m);
        if (noMoves && check) return m;
        if (noMoves && stalemate == NO_MOVE) stalemate = m;
    }
    return stalemate != NO_MOVE ? stalemate : moves.front();
}

// A king step of two ranks: never a legal move.
std::string illegalMove(const Position& p) {
    int king = lsb(p.pieces[p.sideToMove == WHITE ? WKING : BKING]);
    return squareText(king) + squareText(rankOf(king) < 4 ? king + 16 : king - 16);
}

int clockMs(const std::vector<std::string>& go, const std::string& key) {
    for (size_t i = 0; i + 1 < go.size(); ++i)
        if (go[i] == key) return std::atoi(go[i + 1].c_str());
    return 0;
}
}  // namespace
int main(int argc, char** argv) {
    Script script;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        auto next = [&]() -> std::string { return i + 1 < argc ? argv[++i] : ""; };
        auto twoWords = [&] { return next().append(" ").append(next()); };
        if (a == "--score") script.score = twoWords();
        else if (a == "--bound") script.bound = twoWords();
        else if (a == "--score-first") script.scoreFirst = true;
        else if (a == "--fault") script.fault = next();
        else if (a == "--at") script.faultAt = std::atoi(next().c_str());
        else if (a == "--threads-default") script.threadsDefault = next();
        else if (a == "--record") script.record = next();
    }
    initAttackTables();
    initZobrist();
    setStartPosition();
    int movesPlayed = 0;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream in(line);
        std::string command;
        in >> command;
        if (command == "uci") {
            std::cout << "id name Fake\n"
                      << "option name Threads type spin default " << script.threadsDefault << " min 1 max 64\n"
                      << "option name Hash type spin default 16 min 1 max 1024\n"
                      << "option name Ponder type check default true\n"
                      << "uciok" << std::endl;
        } else if (command == "isready") {
            std::cout << "readyok" << std::endl;
        } else if (command == "setoption" && !script.record.empty()) {
            std::ofstream(script.record, std::ios::app) << line << "\n";
        } else if (command == "position") {
            std::string error;
            positionCommand(in, &error);
        } else if (command == "go") {
            ++movesPlayed;
            std::vector<std::string> go;
            for (std::string w; in >> w;) go.push_back(w);
            bool faultNow = movesPlayed == script.faultAt;
            if (faultNow && script.fault == "crash") std::abort();
            if (faultNow && script.fault == "quit") return 0;
            bool overrun =
                script.fault == "overrun" && movesPlayed >= script.faultAt && movesPlayed < script.faultAt + 3;
            if ((faultNow && script.fault == "flag") || overrun) {
                int ms = clockMs(go, mainPosition.sideToMove == WHITE ? "wtime" : "btime") + (overrun ? 60 : 300);
                std::this_thread::sleep_for(std::chrono::milliseconds(ms));
            }
            Move m = chooseMove(mainPosition);
            std::string text = faultNow && script.fault == "illegal" ? illegalMove(mainPosition)
                               : m == NO_MOVE                        ? "0000"
                                                                     : moveToText(mainPosition, m);
            if (script.scoreFirst) std::cout << "info score " << script.score << " depth 1 nodes 1 pv " << text << "\n";
            else std::cout << "info depth 1 seldepth 1 score " << script.score << " nodes 1 pv " << text << "\n";
            if (!script.bound.empty()) std::cout << "info depth 2 score " << script.bound << " lowerbound nodes 2\n";
            std::cout << "bestmove " << text << std::endl;
        } else if (command == "quit") {
            break;
        }
    }
    return 0;
}
