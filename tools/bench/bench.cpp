// Searches a fixed set of positions to a fixed depth on one thread and prints
// the total node count (the search's signature) and the speed.
//
//   bench [depth [network file [threads]]]
//
// Without a thread count the search runs on the calling thread (the node
// count is then reproducible); with one it runs on the thread pool as "go
// depth" does, which is how the time to depth of several threads is taken.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include "board/attacks.h"
#include "board/position.h"
#include "board/zobrist.h"
#include "eval/evaluate.h"
#include "eval/network.h"
#include "search/threads.h"
#include "search/tt.h"
#include "uci/options.h"

namespace {

const char* const BENCH_FENS[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 10",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 11",
    "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
    "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
    "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
    "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3",
    "r1bqk2r/pppp1ppp/2n2n2/2b1p3/2B1P3/2N2N2/PPPP1PPP/R1BQK2R w KQkq - 6 5",
    "rnbqkb1r/pp2pppp/3p1n2/8/3NP3/8/PPP2PPP/RNBQKB1R w KQkq - 1 5",
    "r2q1rk1/pp2ppbp/2np1np1/8/3NP3/2N1BP2/PPPQ2PP/R3KB1R w KQ - 3 10",
    "rnbqkb1r/ppp1pppp/5n2/3p4/2PP4/8/PP2PPPP/RNBQKBNR w KQkq - 1 3",
    "r1bq1rk1/ppp2ppp/2np1n2/2b1p3/2B1P3/2PP1N2/PP3PPP/RNBQ1RK1 w - - 1 7",
    "2r3k1/pp3ppp/4p3/3pP3/3P4/P4N2/1P3PPP/2R3K1 w - - 0 25",
    "r1b2rk1/2q1bppp/p2ppn2/1p6/3BPP2/2N2B2/PPP3PP/R2Q1R1K w - - 2 14",
    "3r1rk1/p4ppp/1qp1b3/4P3/1p6/3B1Q2/PPP3PP/R4R1K w - - 0 20",
    "6k1/5ppp/8/8/8/8/5PPP/3R2K1 w - - 0 1",
    "8/8/1p2k3/p1p1p1p1/P1P1P1P1/1P2K3/8/8 w - - 0 40",
    "8/5k2/3p4/1p1Pp2p/pP2Pp1P/P4P1K/8/8 b - - 99 50",
    "4k3/8/8/8/8/8/4P3/4K3 w - - 0 1",
    "8/8/8/4k3/8/8/3QK3/8 w - - 0 1",
    "8/3k4/8/8/8/8/2R5/3K4 w - - 0 1",
    "r1bqkbnr/pppppppp/n7/8/8/P7/1PPPPPPP/RNBQKBNR w KQkq - 1 2",
    "rnb2k1r/pp1Pbppp/2p5/q7/2B5/8/PPPQNnPP/RNB1K2R w KQ - 3 9",
    "2kr3r/p1ppqpb1/bn2Qnp1/3PN3/1p2P3/2N5/PPPBBPPP/R3K2R b KQ - 3 2",
    "1k6/1b6/8/8/7R/8/8/4K2R b K - 0 1",
    "r1bqkb1r/pp3ppp/2nppn2/1N6/4P3/2N5/PPP2PPP/R1BQKB1R w KQkq - 0 7",
    "4rrk1/pp1n3p/3q2pQ/2p1pb2/2PP4/2P3N1/P2B2PP/4RRK1 b - - 7 19",
    "r3r1k1/2p2ppp/p1p1bn2/8/1q2P3/2NPQN2/PPP3PP/R4RK1 b - - 2 15",
    "r1bbk1nr/pp3p1p/2n5/1N4p1/2Np1B2/8/PPP2PPP/2KR1B1R w kq - 0 13",
    "r1bq1rk1/ppp1nppp/4n3/3p3Q/3P4/1BP1B3/PP1N2PP/R4RK1 w - - 1 16",
};

} // namespace

int main(int argc, char** argv) {
    int depth = argc > 1 ? std::atoi(argv[1]) : 11;
    std::string net = argc > 2 ? argv[2] : DEFAULT_NET_FILE;
    int threads = argc > 3 ? std::atoi(argv[3]) : 0;
    initAttackTables();
    initZobrist();
    resize(64);
    loadNetFile(net);
    optionThreads = threads > 0 ? threads : 1;
    setThreadCount(optionThreads);

    static Move stack[MOVE_STACK];
    static Position root;
    root.plyStates[0].moveStart = stack;
    initEvaluation(root);

    uint64_t total = 0;
    double seconds = 0;  // searching only: clearing the table between positions is not counted
    for (const char* const& fen : BENCH_FENS) {
        if (!setFen(root, fen)) {
            std::fprintf(stderr, "bad position %s\n", fen);
            return 1;
        }
        clear();
        clearSearchTables();
        auto start = std::chrono::steady_clock::now();
        uint64_t nodes = threads > 0 ? searchFixedDepthWithPool(root, depth) : searchFixedDepth(root, depth);
        double taken = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        // Per position, so that time to depth can be compared position by position.
        if (threads > 0)
            std::printf("Position %2d    : %llu nodes %.1f ms\n", int(&fen - BENCH_FENS) + 1,
                        static_cast<unsigned long long>(nodes), taken * 1000);
        total += nodes;
        seconds += taken;
    }
    std::printf("Positions      : %zu\n", sizeof BENCH_FENS / sizeof BENCH_FENS[0]);
    std::printf("Depth          : %d\n", depth);
    std::printf("Threads        : %d%s\n", optionThreads, threads > 0 ? " (pool)" : "");
    std::printf("Nodes searched : %llu\n", static_cast<unsigned long long>(total));
    std::printf("Time (ms)      : %.0f\n", seconds * 1000);
    std::printf("Nodes/second   : %.0f\n", total / (seconds > 0 ? seconds : 1e-9));
    setThreadCount(0);
    freeTable();
    return 0;
}
