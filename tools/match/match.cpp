// A match runner for UCI engines: game pairs from an opening file (each
// opening once with each colour), a clock per side, concurrent games and
// adjudication. Moves are checked with the engine's own move generator: an
// illegal move, a crash, a hang or an overstepped clock loses the game and is
// counted as a fault.
//
//   match --engine build/quorvane --engine /usr/games/glaurung --tc 10+0.1
//         --games 400 --concurrency 2 --book ../shared/books/UHO_4060_v3.epd
//   --option 1:Threads=2 sets an option of engine 1; --frc plays Chess960.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "board/attacks.h"
#include "board/movegen.h"
#include "board/zobrist.h"
#include "engine_process.h"
#include "uci/movetext.h"
#include "uci/position_command.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Settings {
    std::vector<std::string> engines, names;
    std::vector<std::vector<std::string>> options{{}, {}};
    double base = 10, increment = 0.1;
    double margin = 0;  // seconds a clock may run below zero before the game is lost
    int games = 100, concurrency = 1;
    std::string book, pgn;
    bool frc = false;
    unsigned seed = 1;
};

struct GameResult {
    double firstScore = -1;  // for engine 1: 1, 0.5, 0; -1 when the game did not count
    std::string result, reason;
    int faultEngine = -1;
    std::string fault;
    std::string moves;
};

std::vector<std::string> words(const std::string& s) {
    std::istringstream in(s);
    std::vector<std::string> out;
    std::string w;
    while (in >> w) out.push_back(w);
    return out;
}

bool startUci(EngineProcess& e, const std::string& command, const std::vector<std::string>& options) {
    if (!startProgram(e, words(command))) return false;
    bool ok = false;
    send(e, "uci");
    readUntilLine(e, "uciok", 10000, &ok);
    if (!ok) return false;
    for (const auto& option : options) {
        size_t eq = option.find('=');
        send(e, "setoption name " + option.substr(0, eq) + " value " + option.substr(eq + 1));
    }
    send(e, "isready");
    readUntilLine(e, "readyok", 20000, &ok);
    return ok;
}

// The last reported score in centipawns from the mover's view (mates as +-100000).
bool lastScore(const std::vector<std::string>& lines, int& score) {
    bool found = false;
    for (const auto& line : lines) {
        auto w = words(line);
        for (size_t i = 0; i + 2 < w.size(); ++i)
            if (w[0] == "info" && w[i] == "score") {
                try {
                    int v = std::stoi(w[i + 2]);
                    score = w[i + 1] == "cp" ? v : (v > 0 ? 100000 : -100000);
                    found = true;
                } catch (...) {
                }
            }
    }
    return found;
}

bool insufficientMaterial(const Position& p) {
    if (p.pieces[WPAWN] | p.pieces[BPAWN] | p.pieces[WROOK] | p.pieces[BROOK] | p.pieces[WQUEEN] | p.pieces[BQUEEN]) return false;
    return popcount(p.pieces[WKNIGHT] | p.pieces[WBISHOP]) <= 1 && popcount(p.pieces[BKNIGHT] | p.pieces[BBISHOP]) <= 1;
}

int repetitions(const Position& p) {
    int count = 0;
    for (int i = p.gamePly - 1; i >= 0 && i >= p.gamePly - 1 - p.fiftyMove; i -= 2)
        if (p.keyHistory[i] == p.key) ++count;
    return count;
}

GameResult playGame(const Settings& s, const std::string& fen, int whiteEngine) {
    GameResult g;
    EngineProcess engines[2];
    for (int i = 0; i < 2; ++i)
        if (!startUci(engines[i], s.engines[i], s.options[i])) {
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
        for (auto& e : engines) killEngine(e);
        return g;
    }
    std::string startFen = getFen(*game);
    double clocks[2] = {s.base, s.base};
    std::vector<int> whiteScores;
    std::vector<bool> scored;
    for (auto& e : engines) {
        send(e, "ucinewgame");
        bool ok;
        send(e, "isready");
        readUntilLine(e, "readyok", 20000, &ok);
    }
    double whiteResult = -1;
    for (int ply = 0; whiteResult < 0; ++ply) {
        int side = game->sideToMove;
        int index = side == WHITE ? whiteEngine : 1 - whiteEngine;
        EngineProcess& e = engines[index];
        auto lose = [&](const std::string& fault, const std::string& why) {
            g.faultEngine = index;
            g.fault = fault;
            g.reason = s.names[index] + " " + why;
            whiteResult = side == WHITE ? 0 : 1;
        };
        send(e, "position fen " + startFen + (g.moves.empty() ? "" : " moves" + g.moves));
        char go[160];
        std::snprintf(go, sizeof go, "go wtime %d btime %d winc %d binc %d", int(clocks[0] * 1000), int(clocks[1] * 1000),
                      int(s.increment * 1000), int(s.increment * 1000));
        auto started = Clock::now();
        send(e, go);
        bool found = false;
        auto lines = readUntil(e, [](const std::string& l) { return startsWith(l, "bestmove"); },
                               int(clocks[side] * 1000) + 5000, &found);
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
        clocks[side] += s.increment;
        auto w = words(lines.back());
        std::string text = w.size() > 1 ? w[1] : "";
        Move m = findLegalMove(*game, 0, text);
        if (m == NO_MOVE) {
            lose("illegal", "played an illegal move '" + text + "'");
            break;
        }
        playRootMove(*game, m);
        g.moves += " " + text;
        int score = 0;
        bool has = lastScore(lines, score);
        whiteScores.push_back(side == WHITE ? score : -score);
        scored.push_back(has);

        Move* start = game->plyStates[0].moveStart;
        Move* end = generateLegal(0, *game);
        if (start == end) {
            if (game->plyStates[0].inCheck) whiteResult = game->sideToMove == WHITE ? 0 : 1, g.reason = "checkmate";
            else whiteResult = 0.5, g.reason = "stalemate";
        } else if (game->fiftyMove >= 100) {
            whiteResult = 0.5, g.reason = "fifty moves";
        } else if (repetitions(*game) >= 3) {
            whiteResult = 0.5, g.reason = "repetition";
        } else if (insufficientMaterial(*game)) {
            whiteResult = 0.5, g.reason = "insufficient material";
        } else if (whiteScores.size() >= 8) {
            // Both engines agree for eight plies: a clear win, or after move 40 a dead draw.
            bool win = true, loss = true, draw = true;
            for (size_t i = whiteScores.size() - 8; i < whiteScores.size(); ++i) {
                if (!scored[i]) win = loss = draw = false;
                win &= whiteScores[i] >= 1000;
                loss &= whiteScores[i] <= -1000;
                draw &= std::abs(whiteScores[i]) <= 8;
            }
            if (win) whiteResult = 1, g.reason = "adjudicated";
            else if (loss) whiteResult = 0, g.reason = "adjudicated";
            else if (draw && ply >= 80) whiteResult = 0.5, g.reason = "adjudicated draw";
            else if (ply >= 600) whiteResult = 0.5, g.reason = "move limit";
        }
    }
    for (auto& e : engines) {
        send(e, "quit");
        if (waitExit(e, 3000) < 0) killEngine(e);
    }
    g.result = whiteResult == 1 ? "1-0" : whiteResult == 0 ? "0-1" : "1/2-1/2";
    g.firstScore = whiteEngine == 0 ? whiteResult : 1 - whiteResult;
    return g;
}

double elo(double score) {
    score = std::min(std::max(score, 1e-6), 1 - 1e-6);
    return -400 * std::log10(1 / score - 1);
}

int usage() {
    std::cerr << "usage: match --engine CMD --engine CMD [--name N --name N] [--option I:Name=Value] [--tc B+I]\n"
                 "             [--games N] [--concurrency N] --book FILE [--frc] [--seed N] [--pgn FILE] [--margin MS]\n";
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    Settings s;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        auto next = [&]() -> std::string { return i + 1 < argc ? argv[++i] : ""; };
        if (a == "--engine") s.engines.push_back(next());
        else if (a == "--name") s.names.push_back(next());
        else if (a == "--option") {
            std::string o = next();
            int which = o.empty() ? 0 : o[0] - '1';
            if (which < 0 || which > 1 || o.size() < 3) return usage();
            s.options[which].push_back(o.substr(2));
        } else if (a == "--tc") {
            std::string tc = next();
            size_t plus = tc.find('+');
            s.base = std::stod(tc.substr(0, plus));
            s.increment = plus == std::string::npos ? 0 : std::stod(tc.substr(plus + 1));
        } else if (a == "--games") s.games = std::stoi(next());
        else if (a == "--concurrency") s.concurrency = std::stoi(next());
        else if (a == "--book") s.book = next();
        else if (a == "--frc") s.frc = true;
        else if (a == "--seed") s.seed = unsigned(std::stoul(next()));
        else if (a == "--pgn") s.pgn = next();
        else if (a == "--margin") s.margin = std::stod(next()) / 1000.0;
        else return usage();
    }
    if (s.engines.size() != 2 || s.book.empty()) return usage();
    while (s.names.size() < 2) s.names.push_back("engine" + std::to_string(s.names.size() + 1));
    initAttackTables();
    initZobrist();
    chess960 = s.frc;
    if (s.frc)
        for (auto& o : s.options) o.push_back("UCI_Chess960=true");

    std::vector<std::string> book;
    std::ifstream in(s.book);
    for (std::string line; std::getline(in, line);)
        if (!line.empty()) book.push_back(line.substr(0, line.find(';')));
    if (book.empty()) {
        std::cerr << "match: no openings in " << s.book << "\n";
        return 1;
    }
    std::mt19937 rng(s.seed);
    std::vector<std::string> openings;
    for (int i = 0; i < (s.games + 1) / 2; ++i) openings.push_back(book[rng() % book.size()]);

    std::mutex lock;
    int nextGame = 0, wins = 0, draws = 0, losses = 0;
    std::vector<double> scores;
    std::map<std::string, int> faults;
    std::ofstream record;
    if (!s.pgn.empty()) record.open(s.pgn);
    auto worker = [&] {
        for (;;) {
            int game;
            {
                std::lock_guard<std::mutex> guard(lock);
                if (nextGame >= s.games) return;
                game = nextGame++;
            }
            int whiteEngine = game % 2;
            GameResult r = playGame(s, openings[game / 2], whiteEngine);
            std::lock_guard<std::mutex> guard(lock);
            if (r.faultEngine >= 0) ++faults[s.names[r.faultEngine] + " " + r.fault];
            if (r.firstScore >= 0) {
                scores.push_back(r.firstScore);
                wins += r.firstScore == 1;
                draws += r.firstScore == 0.5;
                losses += r.firstScore == 0;
            }
            std::printf("game %d: %s vs %s %s (%s)  [%s: +%d =%d -%d]\n", game + 1, s.names[whiteEngine].c_str(),
                        s.names[1 - whiteEngine].c_str(), r.result.c_str(), r.reason.c_str(), s.names[0].c_str(), wins,
                        draws, losses);
            std::fflush(stdout);
            if (record)
                record << "[White \"" << s.names[whiteEngine] << "\"]\n[Black \"" << s.names[1 - whiteEngine]
                       << "\"]\n[FEN \"" << openings[game / 2] << "\"]\n[Result \"" << r.result << "\"]\n[Termination \""
                       << r.reason << "\"]\n" << r.moves << " " << r.result << "\n\n" << std::flush;
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < std::max(1, s.concurrency); ++i) threads.emplace_back(worker);
    for (auto& t : threads) t.join();

    size_t n = scores.size();
    double mean = 0, variance = 0;
    for (double x : scores) mean += x;
    mean = n ? mean / double(n) : 0.5;
    for (double x : scores) variance += (x - mean) * (x - mean);
    variance = n ? variance / double(n) : 0;
    double margin = n ? 1.96 * std::sqrt(variance / double(n)) : 0;
    double low = elo(std::max(mean - margin, 0.001)), high = elo(std::min(mean + margin, 0.999));
    std::printf("Score of %s vs %s: %d - %d - %d  [%.3f] %zu games\n", s.names[0].c_str(), s.names[1].c_str(), wins,
                losses, draws, mean, n);
    std::printf("Elo difference: %.1f +/- %.1f\n", elo(mean), (high - low) / 2);
    std::printf("Faults:");
    if (faults.empty()) std::printf(" none");
    for (auto& [what, count] : faults) std::printf(" %s: %d;", what.c_str(), count);
    std::printf("\n");
    return 0;
}
