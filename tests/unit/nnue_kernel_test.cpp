// The three kernels agree bit for bit, and the reference follows the stated saturations.
#include <cstring>
#include "board/makemove.h"
#include "eval/nnue.h"
#include "eval/tables.h"
#include "eval_helpers.h"
#include "search/bench.h"
#include "search/threads.h"
#include "search_support.h"

namespace {
std::vector<const NnueKernel*> vectorKernels() {
    std::vector<const NnueKernel*> out;
    for (const NnueKernel* k : {&ssse3Kernel, &avx2Kernel, &avx512Kernel})
        if (kernelSupported(*k)) out.push_back(k);
    return out;
}

// Every vector kernel's output against the reference's, which it returns.
int32_t compareKernels(const int16_t* mover, const int16_t* other, const std::string& what) {
    int32_t reference = scalarKernel.propagate(mover, other);
    for (const NnueKernel* k : vectorKernels())
        EXPECT_EQ(reference, k->propagate(mover, other)) << k->name << " " << what;
    return reference;
}

// Random playouts from `fen`: `visit(position, ply)` before each move, until mate, stalemate or `plies` moves.
template <class Visit>
void playOut(const char* fen, TestRng& rng, int plies, Visit visit) {
    TestPosition p(fen);
    for (int ply = 0; ply < plies; ++ply) {
        visit(*p, ply);
        std::vector<Move> moves = legalMoves(*p, ply);
        if (moves.empty()) break;
        makeMove(*p, ply, moves[rng.below(int(moves.size()))]);
    }
}

// The build machine has AVX2; a silently skipped kernel would hide a fault. The comparisons cover AVX-512 VNNI where
// the processor has it.
TEST(NnueKernels, ThisMachineRunsAllThree) { EXPECT_TRUE(kernelSupported(ssse3Kernel) && kernelSupported(avx2Kernel)); }

#if !defined(QUORVANE_FIXED_KERNEL_AVX2) && !defined(QUORVANE_FIXED_KERNEL_SSSE3) \
    && !defined(QUORVANE_FIXED_KERNEL_SCALAR)
TEST(NnueKernels, DefaultBuildRunsTheWidestKernelThisMachineHas) {
    const NnueKernel* widest = &scalarKernel;
    if (__builtin_cpu_supports("ssse3")) widest = &ssse3Kernel;
    if (__builtin_cpu_supports("avx2")) widest = &avx2Kernel;
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("avx512vnni") && __builtin_cpu_supports("avx512vl"))
        widest = &avx512Kernel;
    EXPECT_EQ(widest, &engineKernel()) << engineKernel().name;
    EXPECT_EQ(widest, &widestSupportedKernel());
}

#endif

TEST(NnueKernels, SameOutputOnRandomPositions) {
    const char* fens[] = {START_FEN, "r3k2r/pPppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/1PPBBPPP/R3K2R w KQkq - 0 1",
                          "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1"};
    int compared = 0, distinct = 0;
    int32_t previous = 0;
    for (uint64_t seed : {21, 22, 23}) {
        useRandomNet(seed);
        for (const char* fen : fens) {
            TestRng rng{seed * 7919};
            for (int game = 0; game < 4; ++game)
                playOut(fen, rng, 40, [&](Position& p, int ply) {
                    int32_t reference = nnueEvaluate(p, ply, scalarKernel);
                    Accumulator saved = p.acc[ply];
                    for (const NnueKernel* k : vectorKernels()) {
                        p.acc[ply].computed = 0;
                        EXPECT_EQ(reference, nnueEvaluate(p, ply, *k)) << k->name << " " << getFen(p);
                        EXPECT_EQ(0, std::memcmp(saved.values, p.acc[ply].values, sizeof saved.values)) << k->name;
                    }
                    ++compared;
                    distinct += reference != previous;
                    previous = reference;
                });
        }
    }
    EXPECT_GT(compared, 300);
    EXPECT_GT(distinct, compared / 2);  // the random nets do not collapse to a constant
}

// Accumulators over the whole 16-bit range push every layer into its saturations; inputs at the top of their range
// are where a fused multiply-add without saturation would show. The vector kernels list the non-zero input chunks
// before the first layer: the ends of that list (nothing active, everything active, one chunk at either end of the
// input) are where an off-by-one would show.
TEST(NnueKernels, SameOutputOnExtremeAndSparseInputs) {
    TestRng rng{0xfeed};
    alignas(64) int16_t mover[NNUE_HIDDEN], other[NNUE_HIDDEN];
    auto compare = [&](auto moverAt, auto otherAt, const std::string& what) {
        for (int i = 0; i < NNUE_HIDDEN; ++i) mover[i] = int16_t(moverAt(i)), other[i] = int16_t(otherAt(i));
        return compareKernels(mover, other, what);
    };
    auto high = [](int i) { return 127 + i; };
    auto mixed = [](int i) { return i % 3 == 0 ? 127 : i % 3 == 1 ? -5 : 64; };
    auto inactive = [](int) { return -3; };
    for (uint64_t seed : {31, 32}) {
        useRandomNet(seed);
        compare(high, mixed, "high, mixed");
        compare(mixed, high, "mixed, high");
        int32_t none = compare(inactive, inactive, "no input active");
        EXPECT_NE(none, compare([](int i) { return i ? -3 : 90; }, inactive, "first input only"));
        EXPECT_NE(none, compare(
                            inactive, [](int i) { return i == NNUE_HIDDEN - 1 ? 90 : -3; }, "last input only"));
        compare([](int i) { return 1 + i % 127; }, [](int i) { return 127 - i % 100; }, "every input active");
        compare([](int i) { return i % 5 == 0 ? 50 : 0; }, [](int i) { return i % 7 == 3 ? 20 : -1; },
                "scattered inputs");
        for (int round = 0; round < 300; ++round) {
            int spread = round % 3 == 0 ? 65536 : round % 3 == 1 ? 300 : 40;
            auto random = [&](int) { return int(rng.next() % uint64_t(spread)) - spread / 2; };
            compare(random, random, "round " + std::to_string(round));
        }
    }
}

TEST(NnueKernels, SameAccumulatorUpdates) {
    useRandomNet(41);
    TestRng rng{5};
    alignas(64) int16_t base[NNUE_HIDDEN], expected[NNUE_HIDDEN], got[NNUE_HIDDEN];
    for (int round = 0; round < 50; ++round) {
        for (int i = 0; i < NNUE_HIDDEN; ++i) base[i] = int16_t(rng.next());
        int added[40], removed[40];
        int nAdded = rng.below(40), nRemoved = rng.below(40);
        for (int i = 0; i < nAdded; ++i) added[i] = rng.below(NNUE_FEATURES);
        for (int i = 0; i < nRemoved; ++i) removed[i] = rng.below(NNUE_FEATURES);
        scalarKernel.updateAccumulator(expected, base, added, nAdded, removed, nRemoved);
        for (const NnueKernel* k : vectorKernels()) {
            k->updateAccumulator(got, base, added, nAdded, removed, nRemoved);
            EXPECT_EQ(0, std::memcmp(expected, got, sizeof got)) << k->name;
        }
    }
}

// Hand-computed results of the reference on a net with uniform weights.
TEST(NnueKernels, ReferenceSaturations) {
    std::memset(&nnue, 0, sizeof nnue);
    alignas(64) int16_t mover[NNUE_HIDDEN], other[NNUE_HIDDEN];
    for (int i = 0; i < NNUE_HIDDEN; ++i) mover[i] = 1000, other[i] = -5;  // clip to 127 and 0
    // Layer 1: 256 * 127 = 32512, + bias 300 -> saturates at 32767, >> 6 = 511 -> 127.
    for (int j = 0; j < 32; ++j) nnue.l1Bias[j] = 300;
    // Layer 2: 32 inputs of 127 with weight 2: 8128 - 8128 + ... use weight 1 -> 4064 >> 6 = 63.
    std::memset(nnue.l2Weights, 1, sizeof nnue.l2Weights);
    nnue.l2Bias[0] = -5000;  // 4064 - 5000 < 0 -> clipped to 0
    std::memset(nnue.outputWeights, 3, sizeof nnue.outputWeights);
    nnue.outputBias = -7;
    // Output: 31 neurons of 63 and one of 0, times 3, minus 7. The other perspective feeds the second
    // half of the inputs: swapped, they give 256 * 127 again (weights are uniform), so the same result.
    // With negative layer-1 weights the sum saturates below and the neurons clip to 0.
    for (auto [l1, expected] : {std::pair{1, 31 * 63 * 3 - 7}, {0xff, -7}}) {
        std::memset(nnue.l1Weights, l1, sizeof nnue.l1Weights);
        prepareNetwork();
        EXPECT_EQ(expected, compareKernels(mover, other, "uniform weights"));
        EXPECT_EQ(expected, scalarKernel.propagate(other, mover));
    }
}

// The bench node count is the search's signature; it must not depend on which kernel the processor picks. Every kernel
// searches the benchmark with the shipped network, the reference kernel included.
TEST(NnueKernels, BenchSearchesTheSameNodesUnderEveryKernel) {
    initSearchTables();
    EngineNetwork restore(nnue);
    ASSERT_TRUE(loadNetFile(std::string(TEST_DATA_DIR) + "/../../220321-307.nnue"));
    setThreadCount(1);
    const NnueKernel* chosen = activeKernel;
    std::vector<uint64_t> counts;
    std::vector<const NnueKernel*> kernels = vectorKernels();
    kernels.insert(kernels.begin(), &scalarKernel);
    for (const NnueKernel* k : kernels) {
        activeKernel = k;
        evaluationChanged();
        BenchResult r = runBench(7, false);
        ASSERT_TRUE(r.ok);
        counts.push_back(r.nodes);
    }
    activeKernel = chosen;
    setThreadCount(0);
    resize(1);
    for (size_t i = 1; i < counts.size(); ++i) EXPECT_EQ(counts[i], counts[0]) << kernels[i]->name;
}

// The hand-made material network reproduces its material and placement sum.
// Blended material and placement lead of the side to move, as the net encodes it.
int blendedLead(const Position& p) {
    int lead = 0;
    for (int sq = 0; sq < 64; ++sq) {
        int code = p.board[sq];
        if (!code) continue;
        combEval v = psqOf(code, sq) + (typeOf(code) == KING ? 0 : materialOf(code));
        int value = (3 * mgOf(v) + 2 * egOf(v)) / 5;
        lead += colourOf(code) == p.sideToMove ? value : -value;
    }
    return lead;
}

TEST(MaterialNet, OutputIsEighteenTimesTheLead) {
    fillMaterialNet(nnue);
    evaluationChanged();
    TestRng rng{3};
    int checked = 0, nonZero = 0;
    for (const char* fen : {START_FEN, "r3k2r/pPppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/1PPBBPPP/R3K2R w KQkq - 0 1"})
        playOut(fen, rng, 60, [&](Position& p, int ply) {
            int lead = blendedLead(p);
            if (lead <= -2000 || lead >= 2000) return;
            EXPECT_EQ(18 * lead, nnueEvaluate(p, ply)) << getFen(p);
            ++checked;
            nonZero += lead != 0;
        });
    EXPECT_TRUE(checked > 60 && nonZero > 30) << checked << " " << nonZero;
}

TEST(MaterialNet, ScoresArePlausibleCentipawns) {
    fillMaterialNet(nnue);
    evaluationChanged();
    auto score = [](const char* fen) { return evaluate(0, *TestPosition(fen)); };
    EXPECT_EQ(0, score(START_FEN));
    // A knight up with the full board: near the knight's value, from either side.
    int up = score("r1bqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    EXPECT_TRUE(up > 250 && up < 450) << up;
    EXPECT_EQ(-up, score("r1bqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1"));
}
}  // namespace
