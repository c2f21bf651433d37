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

#include "board/attacks.h"
#include "board/zobrist.h"
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

const char* const USAGE =
    "usage: datagen (--out FILE | --texel FILE) (--positions N | --games N) [options]\n"
    "  --out FILE          training data in the trainer's format\n"
    "  --texel FILE        tuning lines (FEN c9 \"result\";) for the engine's texel command\n"
    "  --positions N       stop after the game that brings the positions written to N\n"
    "  --games N           stop after N games\n"
    "  --nodes N           nodes searched per move (5000)\n"
    "  --soft-nodes        finish the iteration that crosses --nodes instead of cutting it (up to 8 times it)\n"
    "  --threads N         games played side by side, one per thread (1)\n"
    "  --seed N            the same seed gives the same data, whatever the thread count (1)\n"
    "  --bootstrap         search with the handcrafted evaluation only; no network needed\n"
    "  --net FILE          network file (220321-307.nnue)\n"
    "  --book FILE         standard openings (../shared/books/UHO_4060_v3.epd)\n"
    "  --frc-book FILE     Chess960 start positions (../shared/books/FRC_openings.epd)\n"
    "  --frc-share F       part of the target played as Chess960 games, 0..1 (0.1)\n"
    "  --random-plies N    random moves after the book line (4)\n"
    "  --opening-limit CP  draw the opening again while its first search scores beyond this (500; 0: never)\n"
    "  --start-share F     part of the standard games played from the initial position instead (0.25)\n"
    "  --start-plies N     random moves from the initial position in those games (8)\n"
    "  --skip-plies N      self-play plies after the opening that are not kept (8)\n"
    "  --syzygy DIRS       tablebase directories, ';'-separated: games end when the tables know the result\n"
    "  --hash MB           transposition table per thread (16)\n"
    "  --win-margin CP     win adjudication margin, White's view (800)\n"
    "  --win-plies N       consecutive plies beyond it (4)\n"
    "  --draw-margin CP    draw adjudication: |score| at most this (10)\n"
    "  --draw-plies N      consecutive plies within it (12)\n"
    "  --draw-start N      self-play plies before a draw may be adjudicated (60)\n"
    "  --max-plies N       self-play plies after which a game is a draw (800)\n"
    "  --report SECONDS    between progress lines (10)\n"
    "SIGINT or SIGTERM ends the run after the games already written, with a complete file.\n";

bool parseArguments(int argc, char** argv, GeneratorSettings& s, bool& bootstrap, std::string& net,
                    std::string& syzygy) {
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--bootstrap") {
            bootstrap = true;
            continue;
        }
        if (a == "--soft-nodes") {
            s.game.nodeLimit = NodeLimit::SOFT;
            continue;
        }
        if (a == "--help" || a == "-h" || i + 1 >= argc) return false;
        std::string v = argv[++i];
        auto number = [&v] { return std::strtoull(v.c_str(), nullptr, 10); };
        auto integer = [&v] { return std::atoi(v.c_str()); };
        if (a == "--out") s.dataPath = v;
        else if (a == "--texel") s.tuningPath = v;
        else if (a == "--positions") s.positions = number();
        else if (a == "--games") s.games = number();
        else if (a == "--nodes") s.game.nodes = number();
        else if (a == "--threads") s.threads = integer();
        else if (a == "--seed") s.seed = number();
        else if (a == "--net") net = v;
        else if (a == "--book") s.bookPath = v;
        else if (a == "--frc-book") s.chess960BookPath = v;
        else if (a == "--frc-share") s.chess960Share = std::atof(v.c_str());
        else if (a == "--random-plies") s.game.randomPlies = integer();
        else if (a == "--opening-limit") s.game.openingLimit = integer();
        else if (a == "--start-share") s.game.startShare = std::atof(v.c_str());
        else if (a == "--start-plies") s.game.startPlies = integer();
        else if (a == "--skip-plies") s.game.skipPlies = integer();
        else if (a == "--syzygy") syzygy = v;
        else if (a == "--hash") s.hashMegabytes = integer();
        else if (a == "--win-margin") s.game.rules.winMargin = integer();
        else if (a == "--win-plies") s.game.rules.winPlies = integer();
        else if (a == "--draw-margin") s.game.rules.drawMargin = integer();
        else if (a == "--draw-plies") s.game.rules.drawPlies = integer();
        else if (a == "--draw-start") s.game.rules.drawStartPly = integer();
        else if (a == "--max-plies") s.game.rules.maxPlies = integer();
        else if (a == "--report") s.reportSeconds = std::atof(v.c_str());
        else {
            std::cerr << "unknown option " << a << "\n";
            return false;
        }
    }
    return (!s.dataPath.empty() || !s.tuningPath.empty()) && (s.positions > 0) != (s.games > 0) && s.threads >= 1
           && s.game.nodes > 0 && s.hashMegabytes >= 1;
}

} // namespace

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
    bool bootstrap = false;
    std::string net = DEFAULT_NET_FILE, syzygy;
    if (!parseArguments(argc, argv, settings, bootstrap, net, syzygy)) {
        std::cerr << USAGE;
        return 2;
    }
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
              << (settings.game.nodeLimit == NodeLimit::SOFT ? " nodes per move (soft), seed " : " nodes per move, seed ")
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
        if (sum.endings[e]) std::printf(" %s %llu;", endingName(Ending(e)), static_cast<unsigned long long>(sum.endings[e]));
    std::printf("\nnodes per position written: %.0f\n", sum.positions ? double(sum.nodes) / double(sum.positions) : 0.0);
    double cpu = std::max(sum.cpuSeconds, 1e-9);
    std::printf("openings drawn again as already decided: %llu\n", static_cast<unsigned long long>(sum.refusedOpenings));
    std::printf("positions the network scores: %llu of %llu (%.1f%%); %.1f per CPU-second, %.1f written per CPU-second "
                "(%.0f CPU-seconds)\n",
                static_cast<unsigned long long>(sum.networkPositions), static_cast<unsigned long long>(sum.positions),
                sum.positions ? 100.0 * double(sum.networkPositions) / double(sum.positions) : 0.0,
                double(sum.networkPositions) / cpu, double(sum.positions) / cpu, sum.cpuSeconds);
    return 0;
}
