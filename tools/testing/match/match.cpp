// A match runner for UCI engines: game pairs from an opening file (each
// opening once with each colour), a clock per side, concurrent games and
// adjudication. Moves are checked with the engine's own move generator: an
// illegal move, a crash, a hang or an overstepped clock loses the game and is
// counted as a fault. A fixed number of games, or a sequential probability
// ratio test that stops as soon as the evidence decides.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>

#include "board/attacks.h"
#include "board/position.h"
#include "board/zobrist.h"
#include "command_line.h"
#include "game.h"
#include "pgn.h"
#include "stats.h"

using namespace matchtool;

namespace {

struct Sprt {
    bool on = false;
    double elo0 = 0, elo1 = 5, alpha = 0.05, beta = 0.05;
};

struct Settings {
    GameSettings game;
    int games = 100, concurrency = 1;
    bool gamesGiven = false;
    std::string book, pgn;
    bool sequentialBook = false;
    bool frc = false;
    unsigned seed = 1;
    Sprt sprt;
};

// "B+I": base seconds and increment seconds per move; false for other text.
bool parseTimeControl(const std::string& text, double& base, double& increment) {
    size_t plus = text.find('+');
    std::string baseText = text.substr(0, plus),
                incrementText = plus == std::string::npos ? "0" : text.substr(plus + 1);
    char *baseEnd = nullptr, *incrementEnd = nullptr;
    base = std::strtod(baseText.c_str(), &baseEnd);
    increment = std::strtod(incrementText.c_str(), &incrementEnd);
    return !baseText.empty() && !incrementText.empty() && *baseEnd == '\0' && *incrementEnd == '\0';
}

void declareOptions(CLI::App& app, Settings& s, std::string& timeControl, double& marginMs,
                    std::vector<std::string>& userOptions, std::vector<double>& sprt, std::string& bookOrder) {
    app.add_option("--engine", s.game.engines, "CMD of an engine; given twice")->required()->allow_extra_args(false);
    app.add_option("--name", s.game.names, "names for the two engines (engine1, engine2)")->allow_extra_args(false);
    app.add_option("--option", userOptions,
                   "I:Name=Value: a UCI option for engine I (1 or 2); repeatable. Each engine gets Threads=1 and "
                   "Ponder=false unless set here")
        ->allow_extra_args(false)
        ->check(CLI::Validator(
            [](std::string& o) {
                return o.size() >= 3 && (o[0] == '1' || o[0] == '2') && o[1] == ':' ? "" : "not I:Name=Value: " + o;
            },
            "I:Name=Value"));
    app.add_option("--tc", timeControl, "B+I: base seconds + increment seconds per move")
        ->check(CLI::Validator(
            [](std::string& tc) {
                double base, increment;
                return parseTimeControl(tc, base, increment) ? "" : "not B+I: " + tc;
            },
            "B+I"));
    app.add_option("--margin", marginMs, "milliseconds a clock may run below zero before the game is lost");
    app.add_option("--games", s.games,
                   "games to play, in pairs of one opening with each colour (with --sprt the most to play, 20000 "
                   "unless given)")
        ->check(positiveNumber());
    app.add_option("--sprt", sprt,
                   "E0 E1 [ALPHA BETA]: stop when the test between Elo E0 and E1 decides (alpha, "
                   "beta 0.05)")
        ->expected(2, 4);
    app.add_option("--concurrency", s.concurrency, "games played at the same time");
    app.add_option("--book", s.book, "FILE of openings")->required();
    app.add_option("--book-order", bookOrder, "openings drawn at random with the seed or in file order")
        ->check(CLI::IsMember({"random", "sequential"}));
    app.add_option("--seed", s.seed, "seed of the opening draw");
    app.add_option("--pgn", s.pgn, "FILE to write every game to");
    app.add_flag("--frc", s.frc, "Chess960 openings (sends UCI_Chess960=true)");
}

// Returns 0 when the command line is good, else the exit status.
int parseArguments(int argc, char** argv, Settings& s) {
    CLI::App app{"Plays games between two UCI engines.", "match"};
    prepareCommandLine(app);
    std::string timeControl = "10+0.1", bookOrder = "random";
    double marginMs = 0;
    std::vector<std::string> userOptions;
    std::vector<double> sprt;
    declareOptions(app, s, timeControl, marginMs, userOptions, sprt, bookOrder);
    app.callback([&] {
        if (s.game.engines.size() != 2) throw CLI::ValidationError("--engine", "give exactly two engines");
        if (!sprt.empty()) {
            if (sprt.size() == 3) throw CLI::ValidationError("--sprt", "takes E0 E1 or E0 E1 ALPHA BETA");
            s.sprt.on = true;
            s.sprt.elo0 = sprt[0];
            s.sprt.elo1 = sprt[1];
            if (sprt.size() == 4) s.sprt.alpha = sprt[2], s.sprt.beta = sprt[3];
            if (!(s.sprt.elo1 > s.sprt.elo0)) throw CLI::ValidationError("--sprt", "E1 must be above E0");
            if (!(s.sprt.alpha > 0 && s.sprt.alpha < 0.5) || !(s.sprt.beta > 0 && s.sprt.beta < 0.5))
                throw CLI::ValidationError("--sprt", "ALPHA and BETA lie between 0 and 0.5");
        }
    });
    if (auto status = parseCommandLine(app, argc, argv)) return *status == 0 ? 1 : *status;
    for (const std::string& o : userOptions) s.game.options[size_t(o[0] - '1')].push_back(parseSetting(o.substr(2)));
    parseTimeControl(timeControl, s.game.base, s.game.increment);
    s.game.margin = marginMs / 1000.0;
    s.sequentialBook = bookOrder == "sequential";
    s.gamesGiven = app.count("--games") > 0;
    if (s.sprt.on && !s.gamesGiven) s.games = 20000;
    while (s.game.names.size() < 2) s.game.names.push_back("engine" + std::to_string(s.game.names.size() + 1));
    return 0;
}

std::vector<std::string> chooseOpenings(const Settings& s, const std::vector<std::string>& book) {
    std::vector<std::string> openings;
    std::mt19937 rng(s.seed);
    for (int i = 0; i < (s.games + 1) / 2; ++i)
        openings.push_back(s.sequentialBook ? book[size_t(i) % book.size()] : book[rng() % book.size()]);
    return openings;
}

std::string sprtText(const Sprt& t, const MatchTally& tally) {
    SprtBounds b = sprtBounds(t.alpha, t.beta);
    char text[96];
    std::snprintf(text, sizeof text, "LLR %.2f [%.2f, %.2f]", sprtLlr(tally.pairs, t.elo0, t.elo1), b.lower, b.upper);
    return text;
}

void printSummary(const Settings& s, const MatchTally& t, const std::map<std::string, int>& faults) {
    const auto& names = s.game.names;
    int n = t.wins + t.draws + t.losses;
    int pairs = 0;
    for (int c : t.pairs) pairs += c;
    double score = n ? (t.wins + 0.5 * t.draws) / n : 0.5;
    std::printf("Score of %s vs %s: %d - %d - %d  [%.3f] %d games\n", names[0].c_str(), names[1].c_str(), t.wins,
                t.losses, t.draws, score, n);
    EloEstimate e = pairs ? pairElo(t) : gameElo(t);
    // At a 0% or 100% score the interval has no width to report.
    double half = std::isfinite(e.elo) ? (e.high - e.low) / 2 : INFINITY;
    std::printf("Elo difference: %.1f +/- %.1f (95%%: %.1f to %.1f, from %d %s)\n", e.elo, half, e.low, e.high,
                pairs ? pairs : n, pairs ? "game pairs" : "games");
    std::printf("Pairs by %s's points (0, 0.5, 1, 1.5, 2): [%d, %d, %d, %d, %d]\n", names[0].c_str(), t.pairs[0],
                t.pairs[1], t.pairs[2], t.pairs[3], t.pairs[4]);
    if (s.sprt.on) {
        SprtVerdict v = sprtVerdict(t.pairs, s.sprt.elo0, s.sprt.elo1, s.sprt.alpha, s.sprt.beta);
        std::printf("SPRT elo0 %g elo1 %g alpha %g beta %g: %s: %s\n", s.sprt.elo0, s.sprt.elo1, s.sprt.alpha,
                    s.sprt.beta, sprtText(s.sprt, t).c_str(),
                    v == SprtVerdict::H1   ? "H1 accepted"
                    : v == SprtVerdict::H0 ? "H0 accepted"
                                           : "no decision");
    }
    std::printf("Faults:");
    if (faults.empty()) std::printf(" none");
    for (const auto& [what, count] : faults) std::printf(" %s: %d;", what.c_str(), count);
    std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
    Settings s;
    if (int status = parseArguments(argc, argv, s)) return status == 1 ? 0 : status;
    initAttackTables();
    initZobrist();
    chess960 = s.frc;
    if (s.frc)
        for (auto& o : s.game.options) o.push_back({"UCI_Chess960", "true"});

    std::vector<std::string> book;
    std::ifstream in(s.book);
    for (std::string line; std::getline(in, line);)
        if (!line.empty()) book.push_back(line.substr(0, line.find(';')));
    if (book.empty()) {
        std::cerr << "match: no openings in " << s.book << "\n";
        return 1;
    }
    std::vector<std::string> openings = chooseOpenings(s, book);

    std::mutex lock;
    int nextGame = 0;
    bool stop = false, setupShown = false;
    MatchTally tally;
    std::map<int, double> halfPairs;  // pair index -> engine 1's score in the first finished game
    std::map<std::string, int> faults;
    std::ofstream record;
    if (!s.pgn.empty()) record.open(s.pgn);
    const auto& names = s.game.names;
    char timeControl[64];
    std::snprintf(timeControl, sizeof timeControl, "%g+%g", s.game.base, s.game.increment);
    auto worker = [&] {
        for (;;) {
            int game;
            {
                std::lock_guard<std::mutex> guard(lock);
                if (stop || nextGame >= s.games) return;
                game = nextGame++;
            }
            int whiteEngine = game % 2;
            GameResult r = playGame(s.game, openings[size_t(game / 2)], whiteEngine);
            std::lock_guard<std::mutex> guard(lock);
            if (!setupShown && r.fault != "start-up") {
                setupShown = true;
                for (int i = 0; i < 2; ++i) std::printf("%s\n", describeSetup(names[size_t(i)], r.setups[i]).c_str());
            }
            if (r.faultEngine >= 0) ++faults[names[size_t(r.faultEngine)] + " " + r.fault];
            double score = firstEngineScore(r, whiteEngine);
            if (score >= 0) {
                tally.wins += score == 1;
                tally.draws += score == 0.5;
                tally.losses += score == 0;
                auto other = halfPairs.find(game / 2);
                if (other == halfPairs.end()) halfPairs[game / 2] = score;
                else ++tally.pairs[size_t(std::lround(2 * (other->second + score)))], halfPairs.erase(other);
            }
            std::string progress;
            if (s.sprt.on) {
                progress = "  " + sprtText(s.sprt, tally);
                if (sprtVerdict(tally.pairs, s.sprt.elo0, s.sprt.elo1, s.sprt.alpha, s.sprt.beta) != SprtVerdict::NONE)
                    stop = true;
            }
            std::printf("game %d: %s vs %s %s (%s)  [%s: +%d =%d -%d]%s\n", game + 1,
                        names[size_t(whiteEngine)].c_str(), names[size_t(1 - whiteEngine)].c_str(), r.result.c_str(),
                        r.reason.c_str(), names[0].c_str(), tally.wins, tally.draws, tally.losses, progress.c_str());
            std::fflush(stdout);
            if (record && r.whiteResult >= 0)
                record << pgnRecord(
                    {"match", names[size_t(whiteEngine)], names[size_t(1 - whiteEngine)], timeControl, game + 1}, r)
                       << std::flush;
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < std::max(1, s.concurrency); ++i) threads.emplace_back(worker);
    for (auto& t : threads) t.join();
    printSummary(s, tally, faults);
    return 0;
}
