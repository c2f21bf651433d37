#include "uci/uci.h"

#include <cstdio>
#include <exception>
#include <iostream>
#include <sstream>

#include "board/attacks.h"
#include "board/zobrist.h"
#include "eval/default_network.h"
#include "eval/evaluate.h"
#include "eval/network.h"
#include "eval/nnue_kernels.h"
#include "search/bench.h"
#include "search/reductions.h"
#include "search/threads.h"
#include "search/tt.h"
#include "tune/texel.h"
#include "uci/go.h"
#include "uci/options.h"
#include "uci/output.h"
#include "uci/perft_commands.h"
#include "uci/position_command.h"

#ifndef QUORVANE_SIMD_NAME
#define QUORVANE_SIMD_NAME " SSSE3"
#endif

namespace {

const char* ENGINE_NAME = "Quorvane 3.0";
const char* SIMD_NAME = QUORVANE_SIMD_NAME;
int perftDepth = 6;

void printHelp() {
    sendLine(
        "supported UCI commands 'uci' 'ucinewgame' 'position' 'go' 'ponderhit' 'stop 'quit' 'setoption' 'isready'");
    sendLine(
        "other commands 'perft depth', default depth=6, change board with 'position'; 'showboard' shows the current "
        "board");
}

void perftArgs(std::istream& args) {
    std::string word;
    if (args >> word) {
        int depth = 0;
        try {
            depth = std::stoi(word);
        } catch (const std::exception&) {
            sendLine("info string perft depth " + excerpt(word) + " is not a number");
            return;
        }
        if (depth < 1 || depth > MAX_PERFT_DEPTH) {
            sendLine("info string perft depth must be between 1 and " + std::to_string(MAX_PERFT_DEPTH));
            return;
        }
        perftDepth = depth;
    }
    perftCommand(mainPosition, perftDepth, consoleOut());
}

// The fixed benchmark at the console or on the command line, as engine-testing
// tools run it: "bench [depth]". It searches with its own table size, so the
// Hash option's table is made again afterwards.
void benchArgs(std::istream& args) {
    int depth = BENCH_DEFAULT_DEPTH;
    std::string word;
    if (args >> word) {
        try {
            depth = std::stoi(word);
        } catch (const std::exception&) {
            sendLine("info string bench depth '" + word + "' is not a number");
            return;
        }
        if (depth < 1 || depth > 30) {
            sendLine("info string bench depth must be between 1 and 30");
            return;
        }
    }
    if (!netLoaded) {
        sendLine(netMissingLine(netFile, true));
        return;
    }
    stopAndWait();
    BenchResult result = runBench(depth, false);
    resize(optionHash);
    printBenchReport(consoleOut(), result, 1, false);
}

}  // namespace

bool executeCommand(const std::string& line) {
    std::istringstream args(line);
    std::string command;
    args >> command;

    if (command == "uci") {
        sendLine(std::string("id name ") + ENGINE_NAME + SIMD_NAME);
        sendLine("id author Olvredan");
        for (const std::string& option : optionDeclarations()) sendLine(option);
        sendLine("uciok");
    } else if (command == "isready") {
        sendLine("readyok");
    } else if (command == "ucinewgame") {
        stopAndWait();
        newGameCommand();
    } else if (command == "position") {
        stopAndWait();
        std::string error;
        if (!positionCommand(args, &error)) sendLine("info string " + error);
    } else if (command == "go") {
        go(args);
    } else if (command == "ponderhit") {
        ponderhitCommand();
    } else if (command == "stop") {
        stopCommand();
    } else if (command == "quit") {
        return false;
    } else if (command == "setoption") {
        stopAndWait();
        setoption(args);
    } else if (command == "perft") {
        perftArgs(args);
    } else if (command == "rtest") {
        // The checks resize the shared table, which a running search still probes.
        stopAndWait();
        rtestCommand(mainPosition, consoleOut());
    } else if (command == "rtestRFC") {
        stopAndWait();
        rtestRFCCommand(mainPosition, consoleOut());
    } else if (command == "texel") {
        stopAndWait();
        sendLine("Starting texel tuning....");
        initZobrist();
        resize(optionHash);
        runTexel(consoleOut(), "lichess-good.epd");
        // The main position's running sums were made with the old tables.
        computeEvalSums(mainPosition);
    } else if (command == "showboard") {
        consoleOut() << boardPicture(mainPosition) << std::flush;
    } else if (command == "evil") {
        sendLine("Evaluation : " + std::to_string(evaluateForDisplay(mainPosition)));
    } else if (command == "hashstats") {
        printStatistics(consoleOut());
    } else if (command == "bench") {
        benchArgs(args);
    } else if (command == "help") {
        printHelp();
    } else {
        sendLine("Unknown command");
    }
    return true;
}

void startUp() {
    sendLine(std::string(ENGINE_NAME) + SIMD_NAME);
    sendLine("by Olvredan");
    sendLine("");
    sendLine("enter 'help' to see the commands");
    perftDepth = 6;
    initAttackTables();
    initReductions();
    initZobrist();
    resize(optionHash);
    sendLine(defaultNetworkLine(netFile, loadDefaultNetwork(netFile, executableDirectory(), builtInNetwork)));
    sendLine(std::string("info string network kernel ") + engineKernel().name);
    initEvaluation(mainPosition);
    setStartPosition();
    setThreadCount(optionThreads);
    std::setvbuf(stdout, nullptr, _IOLBF, 4096);
}

void shutDown() {
    stopAndWait();
    freeTable();
    setThreadCount(0);
}

int runEngine(int argc, char** argv) {
    startUp();
    if (argc > 1) {
        std::string line;
        for (int i = 1; i < argc; ++i) {
            if (i > 1) line += ' ';
            line += argv[i];
        }
        try {
            executeCommand(line);
        } catch (const std::exception& e) {
            sendLine(std::string("info string error: ") + e.what());
        }
        shutDown();
        return 0;
    }
    std::string line;
    for (;;) {
        if (!std::getline(std::cin, line)) line = "quit";
        if (!line.empty() && line.back() == '\r') line.pop_back();
        bool keepGoing = true;
        try {
            keepGoing = executeCommand(line);
        } catch (const std::exception& e) {
            // A bad number or a failed allocation must not take the engine down mid-game.
            sendLine(std::string("info string error: ") + e.what());
        }
        if (!keepGoing) break;
    }
    shutDown();
    return 0;
}
