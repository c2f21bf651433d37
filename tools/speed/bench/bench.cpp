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
#include <cstdlib>
#include <iostream>
#include <string>

#include "board/attacks.h"
#include "board/zobrist.h"
#include "eval/network.h"
#include "search/bench.h"
#include "search/reductions.h"
#include "search/threads.h"
#include "search/tt.h"
#include "uci/options.h"

int main(int argc, char** argv) {
    int depth = argc > 1 ? std::atoi(argv[1]) : BENCH_DEFAULT_DEPTH;
    std::string net = argc > 2 ? argv[2] : DEFAULT_NET_FILE;
    int threads = argc > 3 ? std::atoi(argv[3]) : 0;
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
