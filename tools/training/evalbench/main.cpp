// Cost of the static evaluation against the cost of walking the move tree,
// measured in one run:
//   walk     legal move generation at every node + make/unmake per node (the reference)
//   line     incremental accumulator update + the three layers, per node, for each kernel
//   refresh  accumulator refresh from scratch, per call
//   layers   the three layers alone, per call
// each with a random net (dense first-layer inputs) and the material net (sparse ones).
//   hce      the handcrafted path (pawn table warm), per call
// and, given a network file, with that network (the inputs a real search sees).
// usage: evalbench [depth] [network file]   (default 3)
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/zobrist.h"
#include "command_line.h"
#include "eval/evaluate.h"
#include "eval/network.h"
#include "eval/nnue.h"
#include "net_builder.h"

namespace {

const char* FENS[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "r1bq1rk1/pp2nppp/2n1p3/3pP3/1b1P4/2NB1N2/PP3PPP/R1BQK2R w KQ - 0 9",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
};

using Clock = std::chrono::steady_clock;
int64_t sink = 0;

uint64_t walk(Position& p, int ply, int depth, const NnueKernel* kernel) {
    if (kernel) sink += nnueEvaluate(p, ply, *kernel);
    // Every node generates its moves, as every search node does.
    Move* begin = p.plyStates[ply].moveStart;
    Move* end = generateLegal(ply, p);
    if (depth == 0) return 1;
    uint64_t nodes = 1;
    for (Move* m = begin; m < end; ++m) {
        makeMove(p, ply, *m);
        nodes += walk(p, ply + 1, depth - 1, kernel);
        unmakeMove(p, ply, *m);
    }
    return nodes;
}

struct Measure {
    double nsPerNode;
    uint64_t nodes;
};

Measure timeWalk(std::vector<std::unique_ptr<Position>>& positions, int depth, const NnueKernel* kernel) {
    double best = 1e30;
    uint64_t nodes = 0;
    for (int round = 0; round < 5; ++round) {
        nodes = 0;
        auto start = Clock::now();
        for (auto& p : positions) {
            p->acc[0].computed = 0;
            nodes += walk(*p, 0, depth, kernel);
        }
        double ns = std::chrono::duration<double, std::nano>(Clock::now() - start).count();
        if (ns < best) best = ns;
    }
    return {best / double(nodes), nodes};
}

template <typename F>
double timePerCall(int calls, F&& f) {
    double best = 1e30;
    for (int round = 0; round < 5; ++round) {
        auto start = Clock::now();
        for (int i = 0; i < calls; ++i) f(i);
        double ns = std::chrono::duration<double, std::nano>(Clock::now() - start).count();
        if (ns < best) best = ns;
    }
    return best / calls;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Cost of the static evaluation against the cost of walking the move tree.", "evalbench"};
    prepareCommandLine(app);
    int depth = 3;
    std::string netFile;
    app.add_option("depth", depth, "depth of the walk");
    app.add_option("net", netFile, "network file, measured beside the random and the material nets");
    if (auto status = parseCommandLine(app, argc, argv)) return *status;
    initAttackTables();
    initZobrist();

    std::vector<Move> moveStack(MOVE_STACK * 4);
    std::vector<std::unique_ptr<Position>> positions;
    int index = 0;
    for (const char* fen : FENS) {
        auto p = std::make_unique<Position>();
        p->plyStates[0].moveStart = moveStack.data() + MOVE_STACK * index++;
        setFen(*p, fen);
        initEvaluation(*p);
        positions.push_back(std::move(p));
    }

    Measure reference = timeWalk(positions, depth, nullptr);
    std::printf("walk (movegen + make/unmake): %8.1f ns/node over %llu nodes (reference 1.00)\n", reference.nsPerNode,
                (unsigned long long)reference.nodes);
    // The random net's inputs are almost never zero (the first layer's worst
    // case); the material net's are mostly zero.
    for (int netKind = 0; netKind < (netFile.empty() ? 2 : 3); ++netKind) {
        if (netKind == 0) fillRandomNet(nnue, 1);
        else if (netKind == 1) fillMaterialNet(nnue);
        else if (!loadNetFile(netFile)) {
            std::printf("cannot read network %s\n", netFile.c_str());
            return 1;
        }
        evaluationChanged();
        const char* netName = netKind == 0 ? "random" : netKind == 1 ? "material" : "file";
        for (const NnueKernel* k : {&scalarKernel, &ssse3Kernel, &avx2Kernel, &avx512Kernel}) {
            if (!kernelSupported(*k)) continue;
            Measure with = timeWalk(positions, depth, k);
            double eval = with.nsPerNode - reference.nsPerNode;
            Position& middle = *positions[2];
            updateAccumulator(middle, 0, *k);
            double refresh = timePerCall(20000, [&](int) { refreshAccumulator(middle, middle.acc[1], *k); });
            double layers = timePerCall(100000, [&](int i) {
                sink += k->propagate(middle.acc[0].values[i & 1], middle.acc[0].values[(i & 1) ^ 1]);
            });
            int added[2] = {1000, 20000}, removed[2] = {3000, 40000};
            double update = timePerCall(200000, [&](int i) {
                k->updateAccumulator(middle.acc[2].values[i & 1], middle.acc[0].values[i & 1], added, 1 + (i & 1),
                                     removed, 2);
            });
            std::printf("%-8s net, %-6s: update of one perspective, rows in cache %5.1f ns\n", netName, k->name,
                        update);
            std::printf(
                "%-8s net, %-6s: line %7.1f ns/node (%5.2f x walk) | refresh %7.1f ns (%5.2f x) | layers alone %7.1f "
                "ns\n",
                netName, k->name, eval, eval / reference.nsPerNode, refresh, refresh / reference.nsPerNode, layers);
        }
    }
    Position& middle = *positions[2];
    double hce = timePerCall(200000, [&](int) { sink += handcraftedScore(middle); });
    std::printf("handcrafted path:                %8.1f ns/call (%.2f x walk)\n", hce, hce / reference.nsPerNode);
    std::printf("engine kernel: %s\n", engineKernel().name);
    for (auto& p : positions) releaseEvaluation(*p);
    return sink == 42 ? 1 : 0;
}
