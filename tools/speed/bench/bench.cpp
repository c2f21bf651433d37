// Searches the fixed benchmark positions to a fixed depth and prints the
// total node count (the search's signature) and the speed.
//
//   bench [depth [network file [threads]]]
//
// Without a thread count the search runs on the calling thread (the node
// count is then reproducible); with one it runs on the thread pool as "go
// depth" does, which is how the time to depth of several threads is taken.
// The engine's own "bench [depth]" command runs the same code.
#include <cstdio>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "board/attacks.h"
#include "board/zobrist.h"
#include "command_line.h"
#include "eval/network.h"
#include "search/bench.h"
#include "search/reductions.h"
#include "search/threads.h"
#include "search/tt.h"
#include "uci/options.h"

int main(int argc, char** argv) {
    CLI::App app{"Searches the fixed benchmark positions to a fixed depth; prints the node count and the speed.",
                 "bench"};
    prepareCommandLine(app);
    int depth = BENCH_DEFAULT_DEPTH, threads = 0;
    std::string net = DEFAULT_NET_FILE;
    app.add_option("depth", depth, "search depth");
    app.add_option("net", net, "network file");
    app.add_option("threads", threads, "threads of the thread pool (0: the calling thread, reproducible)");
    if (auto status = parseCommandLine(app, argc, argv)) return *status;
    initAttackTables();
    initReductions();
    initZobrist();
    loadNetFile(net);
    optionThreads = threads > 0 ? threads : 1;
    setThreadCount(optionThreads);

    BenchResult result = runBench(depth, threads > 0);
    if (!result.ok) {
        std::fprintf(stderr, "a benchmark position failed to load\n");
        return 1;
    }
    printBenchReport(std::cout, result, optionThreads, threads > 0);
    setThreadCount(0);
    freeTable();
    return 0;
}
