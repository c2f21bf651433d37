#include "search/bench.h"

#include <chrono>
#include <cstdio>
#include <memory>
#include <ostream>

#include "board/position.h"
#include "eval/evaluate.h"
#include "search/threads.h"
#include "search/tt.h"

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

}  // namespace

BenchResult runBench(int depth, bool onPool) {
    BenchResult result;
    result.depth = depth;
    resize(BENCH_HASH_MB);
    auto stack = std::make_unique<Move[]>(MOVE_STACK);
    auto root = std::make_unique<Position>();
    root->plyStates[0].moveStart = stack.get();
    initEvaluation(*root);
    for (const char* fen : BENCH_FENS) {
        if (!setFen(*root, fen)) {
            result.ok = false;
            break;
        }
        clear();
        clearSearchTables();
        auto start = std::chrono::steady_clock::now();
        uint64_t nodes = onPool ? searchFixedDepthWithPool(*root, depth) : searchFixedDepth(*root, depth);
        double taken = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        result.nodes += nodes;
        result.seconds += taken;
        result.positionNodes.push_back(nodes);
        result.positionSeconds.push_back(taken);
        ++result.positions;
    }
    releaseEvaluation(*root);
    return result;
}

void printBenchReport(std::ostream& out, const BenchResult& r, int threads, bool onPool) {
    auto nps = static_cast<unsigned long long>(double(r.nodes) / (r.seconds > 0 ? r.seconds : 1e-9));
    char text[512];
    if (onPool)
        for (size_t i = 0; i < r.positionNodes.size(); ++i) {
            std::snprintf(text, sizeof text, "Position %2d    : %llu nodes %.1f ms\n", int(i) + 1,
                          static_cast<unsigned long long>(r.positionNodes[i]), r.positionSeconds[i] * 1000);
            out << text;
        }
    std::snprintf(text, sizeof text,
                  "Positions      : %d\nDepth          : %d\nThreads        : %d%s\nNodes searched : %llu\n"
                  "Time (ms)      : %.0f\nNodes/second   : %llu\n%llu nodes %llu nps\n",
                  r.positions, r.depth, threads, onPool ? " (pool)" : "", static_cast<unsigned long long>(r.nodes),
                  r.seconds * 1000, nps, static_cast<unsigned long long>(r.nodes), nps);
    out << text << std::flush;
}
