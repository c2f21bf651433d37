// Self-play training data for the network, and tuning lines for the "texel"
// command, from games the engine plays against itself at a fixed node budget.
//
//   datagen --out games.bin --positions 1000000 --threads 2 [options]
//
// Run it with --help for the options.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "board/attacks.h"
#include "board/zobrist.h"
#include "command_line.h"
#include "eval/evaluate.h"
#include "eval/network.h"
#include "generator.h"
#include "search/reductions.h"
#include "tablebase/registry.h"

using namespace datagen;

namespace {

// Ctrl-C or a kill ends the run after the games already written, with the
// file's header counting them.
std::atomic<bool> interrupted{false};
extern "C" void onInterrupt(int) { interrupted = true; }

struct Choices {
    bool bootstrap = false, softNodes = false;
    std::string net = DEFAULT_NET_FILE, syzygy;
};

void declareOptions(CLI::App& app, GeneratorSettings& s, Choices& c) {
    GameSettings& g = s.game;
    app.add_option("--out", s.dataPath, "FILE: training data in the trainer's format");
    app.add_option("--texel", s.tuningPath, "FILE: tuning lines (FEN c9 \"result\";) for the engine's texel command");
    app.add_option("--positions", s.positions, "stop after the game that brings the positions written to N")
        ->default_str("");
    app.add_option("--games", s.games, "stop after N games")->default_str("");
    app.add_option("--nodes", g.nodes, "nodes searched per move")->check(positiveNumber());
    app.add_flag("--soft-nodes", c.softNodes,
                 "finish the iteration that crosses --nodes instead of cutting it (up to 8 times it)");
    app.add_option("--threads", s.threads, "games played side by side, one per thread")->check(positiveNumber());
    app.add_option("--seed", s.seed, "the same seed gives the same data, whatever the thread count");
    app.add_flag("--bootstrap", c.bootstrap, "search with the handcrafted evaluation only; no network needed");
    app.add_option("--net", c.net, "network file");
    app.add_option("--book", s.bookPath, "standard openings");
    app.add_option("--frc-book", s.chess960BookPath, "Chess960 start positions");
    app.add_option("--frc-share", s.chess960Share, "part of the target played as Chess960 games, 0..1");
    app.add_option("--random-plies", g.randomPlies, "random moves after the book line");
    app.add_option("--opening-limit", g.openingLimit,
                   "CP: draw the opening again while its first search scores beyond this (0: never)");
    app.add_option("--start-share", g.startShare,
                   "part of the standard games played from the initial position instead");
    app.add_option("--start-plies", g.startPlies, "random moves from the initial position in those games");
    app.add_option("--skip-plies", g.skipPlies, "self-play plies after the opening that are not kept");
    app.add_option("--syzygy", c.syzygy,
                   "tablebase directories, ';'-separated: games end when the tables know the result");
    app.add_option("--hash", s.hashMegabytes, "MB of transposition table per thread")->check(positiveNumber());
    app.add_option("--win-margin", g.rules.winMargin, "CP: win adjudication margin, White's view");
    app.add_option("--win-plies", g.rules.winPlies, "consecutive plies beyond it");
    app.add_option("--draw-margin", g.rules.drawMargin, "CP: draw adjudication: |score| at most this");
    app.add_option("--draw-plies", g.rules.drawPlies, "consecutive plies within it");
    app.add_option("--draw-start", g.rules.drawStartPly, "self-play plies before a draw may be adjudicated");
    app.add_option("--max-plies", g.rules.maxPlies, "self-play plies after which a game is a draw");
    app.add_option("--report", s.reportSeconds, "SECONDS between progress lines");
    app.footer("SIGINT or SIGTERM ends the run after the games already written, with a complete file.");
    app.callback([&s] {
        if (s.dataPath.empty() && s.tuningPath.empty()) throw CLI::RequiredError("--out or --texel");
        if ((s.positions > 0) == (s.games > 0))
            throw CLI::ValidationError("--positions, --games", "give one of the two");
    });
}

}  // namespace

int main(int argc, char** argv) {
    GeneratorSettings settings;
    settings.bookPath = "../shared/books/UHO_4060_v3.epd";
    settings.chess960BookPath = "../shared/books/FRC_openings.epd";
    settings.chess960Share = 0.1;
    settings.game.openingLimit = 500;
    settings.game.startShare = 0.25;
    // Decided games end sooner: positions deep into a won game mostly go to the
    // handcrafted evaluation and teach the network little.
    settings.game.rules.winMargin = 800;
    settings.game.rules.winPlies = 4;
    settings.stopRequest = &interrupted;
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
    CLI::App app{
        "Self-play training data for the network, and tuning lines for the \"texel\" command.\n"
        "One of --out and --texel, and one of --positions and --games, are needed.",
        "datagen"};
    prepareCommandLine(app);
    Choices choices;
    declareOptions(app, settings, choices);
    if (auto status = parseCommandLine(app, argc, argv)) return *status;
    if (choices.softNodes) settings.game.nodeLimit = NodeLimit::SOFT;
    bool bootstrap = choices.bootstrap;
    const std::string& net = choices.net;
    const std::string& syzygy = choices.syzygy;
    initAttackTables();
    initReductions();
    initZobrist();
    if (bootstrap) {
        handcraftedOnly = true;
    } else if (!loadNetFile(net) || !netLoaded) {
        std::cerr << "cannot load the network " << net << " (--bootstrap plays without one)\n";
        return 1;
    }
    if (!syzygy.empty()) {
        initTablebases(syzygy);
        std::cout << "tablebases up to " << largestTablebase() << " pieces\n";
    }
    std::cout << "datagen: " << settings.threads << " threads, " << settings.game.nodes
              << (settings.game.nodeLimit == NodeLimit::SOFT ? " nodes per move (soft), seed "
                                                             : " nodes per move, seed ")
              << settings.seed << (bootstrap ? ", handcrafted evaluation only" : ", network " + net) << std::endl;

    GeneratorSummary sum;
    std::string error;
    if (!runGenerator(settings, std::cout, sum, &error)) {
        std::cerr << "datagen: " << error << "\n";
        return 1;
    }
    std::printf("results (White's view): %llu wins, %llu draws, %llu losses\n",
                static_cast<unsigned long long>(sum.whiteResults[RESULT_WIN]),
                static_cast<unsigned long long>(sum.whiteResults[RESULT_DRAW]),
                static_cast<unsigned long long>(sum.whiteResults[RESULT_LOSS]));
    std::printf("endings:");
    for (int e = 0; e < ENDING_COUNT; ++e)
        if (sum.endings[e])
            std::printf(" %s %llu;", endingName(Ending(e)), static_cast<unsigned long long>(sum.endings[e]));
    std::printf("\nnodes per position written: %.0f\n",
                sum.positions ? double(sum.nodes) / double(sum.positions) : 0.0);
    double cpu = std::max(sum.cpuSeconds, 1e-9);
    std::printf("openings drawn again as already decided: %llu\n",
                static_cast<unsigned long long>(sum.refusedOpenings));
    std::printf(
        "positions the network scores: %llu of %llu (%.1f%%); %.1f per CPU-second, %.1f written per CPU-second "
        "(%.0f CPU-seconds)\n",
        static_cast<unsigned long long>(sum.networkPositions), static_cast<unsigned long long>(sum.positions),
        sum.positions ? 100.0 * double(sum.networkPositions) / double(sum.positions) : 0.0,
        double(sum.networkPositions) / cpu, double(sum.positions) / cpu, sum.cpuSeconds);
    return 0;
}
