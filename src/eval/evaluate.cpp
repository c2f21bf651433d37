#include "eval/evaluate.h"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>

#include "board/score.h"
#include "eval/caches.h"
#include "eval/hce.h"
#include "eval/net_layout.h"
#include "eval/nnue.h"
#include "eval/pawns.h"

namespace {

constexpr Bitboard QUEENSIDE_FILES = 0x0f0f0f0f0f0f0f0fULL;

// One allocation per position: the generation tells whether the contents
// predate the last change of weights.
struct EvalTables {
    unsigned generation;
    alignas(64) EvalCacheEntry cache[EVAL_CACHE_SIZE];
    alignas(64) PawnEntry pawns[PAWN_HASH_SIZE];
    RefreshCache refresh;
};

unsigned currentGeneration = 1;

EvalTables* tablesOf(const Position& p) {
    return reinterpret_cast<EvalTables*>(reinterpret_cast<char*>(p.evalCache) - offsetof(EvalTables, cache));
}

void clearTables(EvalTables* t) {
    std::memset(t->cache, 0, sizeof t->cache);
    std::memset(t->pawns, 0, sizeof t->pawns);
    std::memset(static_cast<void*>(&t->refresh), 0, sizeof t->refresh);
    t->generation = currentGeneration;
}

// Beyond this the search would read a mate or tablebase score.
int clampScore(int v) {
    return v < -LARGEST_PLAIN_SCORE ? -LARGEST_PLAIN_SCORE : v > LARGEST_PLAIN_SCORE ? LARGEST_PLAIN_SCORE : v;
}

}  // namespace

bool handcraftedOnly = false;

RefreshCache* refreshCacheOf(const Position& p) { return p.evalCache ? &tablesOf(p)->refresh : nullptr; }

void initEvaluation(Position& p) {
    EvalTables* t = p.evalCache ? tablesOf(p) : new EvalTables;
    clearTables(t);
    p.evalCache = t->cache;
    p.pawnHash = t->pawns;
}

void releaseEvaluation(Position& p) {
    if (p.evalCache) delete tablesOf(p);
    p.evalCache = nullptr;
    p.pawnHash = nullptr;
}

void evaluationChanged() {
    prepareNetwork();
    ++currentGeneration;
}

combEval materialBalance(const Position& p) { return p.material[0] - p.material[1] + p.psq[0] - p.psq[1]; }

bool usesNetwork(combEval balance) {
    int eg = egOf(balance);
    return eg > -NETWORK_THRESHOLD && eg < NETWORK_THRESHOLD;
}

int networkScore(Position& p, int ply) {
    int32_t out = nnueEvaluate(p, ply);
    int pawns = popcount(p.pieces[WPAWN] | p.pieces[BPAWN]);
    int32_t scale = networkOutputScale(pawns, clampedPhase(p));
    int32_t product = int32_t(uint32_t(out) * uint32_t(scale));  // 32-bit arithmetic, as the format intends
    return clampScore(product / NETWORK_OUTPUT_DIVISOR);
}

int handcraftedScore(Position& p) {
    combEval balance = materialBalance(p);
    const PawnEntry& pawns = probePawns(p);
    combEval subtotal = balance + pawns.score;
    combEval total = subtotal + positionalTerms(p, pawns, subtotal);
    total += bishopPair(p);

    Bitboard allPawns = p.pieces[WPAWN] | p.pieces[BPAWN];
    bool bothFlanks = (allPawns & QUEENSIDE_FILES) && (allPawns & ~QUEENSIDE_FILES);
    bool pawnEnding = popcount(occupancy(p) & ~allPawns) == 2;
    total += complexityCorrection(egOf(total), popcount(allPawns), bothFlanks, pawnEnding);

    total += p.sideToMove == WHITE ? TEMPO : -TEMPO;
    return clampScore(taper(total, clampedPhase(p)));
}

void prepareEvaluation(int ply, Position& p) {
    if (!handcraftedOnly && usesNetwork(materialBalance(p))) updateAccumulator(p, ply);
}

int evaluate(int ply, Position& p) {
    EvalCacheEntry& entry = p.evalCache[p.key & (EVAL_CACHE_SIZE - 1)];
    if (tablesOf(p)->generation != currentGeneration) {
        clearTables(tablesOf(p));
    } else if (entry.key == p.key) {
        return p.sideToMove == WHITE ? entry.score : -entry.score;
    }
    int white;
    if (!handcraftedOnly && usesNetwork(materialBalance(p))) {
        int score = networkScore(p, ply);
        white = p.sideToMove == WHITE ? score : -score;
    } else {
        white = handcraftedScore(p);
    }
    entry.key = p.key;
    entry.score = int16_t(white);
    return p.sideToMove == WHITE ? white : -white;
}

int evaluateForDisplay(Position& p) {
    if (!p.evalCache) initEvaluation(p);
    p.evalCache[p.key & (EVAL_CACHE_SIZE - 1)].key = ~p.key;  // never a stale figure
    p.acc[0].computed = 0;
    return evaluate(0, p);
}
