#include "search/pool.h"

std::vector<worker*> pool;

uint64_t totalNodes() {
    uint64_t sum = 0;
    for (const worker* w : pool) sum += w->nodes.load(std::memory_order_relaxed);
    return sum;
}

uint64_t totalTbHits() {
    uint64_t sum = 0;
    for (const worker* w : pool) sum += w->tbHits.load(std::memory_order_relaxed);
    return sum;
}
