#include "search/tt.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <ostream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#if defined(__linux__)
#include <sys/mman.h>
#endif
#if defined(__unix__)
#include <unistd.h>
#endif

#include "board/position.h"
#include "uci/options.h"
#include "uci/output.h"

TranspositionTable tt;

namespace {

inline uint64_t loadWord(uint64_t& word) { return std::atomic_ref<uint64_t>(word).load(std::memory_order_relaxed); }
inline void storeWord(uint64_t& word, uint64_t value) {
    std::atomic_ref<uint64_t>(word).store(value, std::memory_order_relaxed);
}

// Almost every probe misses the processor's address cache on 4 KiB pages; asking
// for 2 MiB pages over the table (where the system offers them on request)
// makes those lookups cheap. The table stays the heap block it was.
void preferLargePages(void* start, size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    constexpr uintptr_t LARGE = uintptr_t(2) << 20;
    uintptr_t first = (reinterpret_cast<uintptr_t>(start) + LARGE - 1) & ~(LARGE - 1);
    uintptr_t end = (reinterpret_cast<uintptr_t>(start) + bytes) & ~(LARGE - 1);
    if (end > first) madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
#else
    (void)start;
    (void)bytes;
#endif
}

}  // namespace

HashEntry probe(const TranspositionTable& table, uint64_t key) {
    HashBucket& b = table.buckets[key & table.mask];
    for (int i = 0; i < 4; ++i)
        if (loadWord(b.keys[i]) == key) return loadWord(b.entries[i]);
    return 0;
}

void store(TranspositionTable& table, uint64_t key, Move move, int score, int depth, int bound, int ply) {
    score = scoreToTable(score, ply);
    uint64_t word = uint64_t(uint32_t(move)) | uint64_t(uint16_t(int16_t(score))) << 32
                    | uint64_t(uint8_t(int8_t(depth))) << 48 | uint64_t(bound & 3) << 56
                    | uint64_t(table.age & 63) << 58;
    HashBucket& b = table.buckets[key & table.mask];
    int chosen = -1;
    int lowest = 32768;
    for (int i = 0; i < 4; ++i) {
        uint64_t k = loadWord(b.keys[i]);
        if (k == key) {
            chosen = i;
            break;
        }
        uint64_t e = loadWord(b.entries[i]);
        if (e == 0) {
            chosen = i;
            break;
        }
        int value = entryDepth(e) + (entryBound(e) == EXACT ? 1 : 0) - 4 * ((table.age - entryAge(e)) & 63);
        if (value < lowest) {
            lowest = value;
            chosen = i;
        }
    }
    storeWord(b.keys[chosen], key);
    storeWord(b.entries[chosen], word);
}

void clearRange(uint64_t bucketCount, int worker, int workers, uint64_t& first, uint64_t& length) {
    uint64_t mask = bucketCount - 1;
    uint64_t chunk = bucketCount / uint64_t(workers);
    first = uint64_t(worker) * chunk;
    // The last worker takes the remainder and the spare bucket after the table.
    length = worker == workers - 1 ? mask - first + 2 : chunk;
}

void clear() {
    int n = optionThreads < 1 ? 1 : optionThreads;
    uint64_t count = tt.mask + 1;
    if (uint64_t(n) > count) n = 1;
    auto clearPart = [count](int i, int parts) {
        uint64_t first, length;
        clearRange(count, i, parts, first, length);
        std::memset(static_cast<void*>(tt.buckets + first), 0, length * sizeof(HashBucket));
    };
    std::vector<std::thread> workers;
    int started = 0;
    try {
        for (; started < n; ++started) workers.emplace_back(clearPart, started, n);
    } catch (const std::system_error&) {
        // Out of threads (a memory limit, say): this thread clears what was not handed out.
        sendLine("info string Hash clear: only " + std::to_string(started) + " of " + std::to_string(n)
                 + " threads could be started, the rest is cleared on one thread");
        for (int i = started; i < n; ++i) clearPart(i, n);
    }
    for (auto& w : workers) w.join();
    tt.searchCounter = 0;
}

namespace {

// The table is zeroed as soon as it is made, so every page of it becomes real
// memory at once: a size beyond half the machine's memory would push the system
// into swapping or its out-of-memory killer. 0 where the system does not say.
uint64_t tableMemoryLimit() {
#if defined(__unix__)
    long pages = sysconf(_SC_PHYS_PAGES), pageSize = sysconf(_SC_PAGE_SIZE);
    if (pages > 0 && pageSize > 0) return uint64_t(pages) * uint64_t(pageSize) / 2;
#endif
    return 0;
}

}  // namespace

int resize(int megabytes) {
    uint64_t buckets = 16384;
    if (megabytes >= 2)
        for (uint64_t p = 1; p + 1 <= uint64_t(megabytes);) {
            p *= 2;
            buckets *= 2;
        }
    if (uint64_t limit = tableMemoryLimit())
        while (buckets > 16384 && (buckets + 1) * sizeof(HashBucket) > limit) buckets /= 2;
    std::free(tt.buckets);
    tt.buckets = nullptr;
    for (;;) {
        // Zeroed memory, touched below all the same: pages first met by a
        // search cost it page faults (with large pages, a stall while the system
        // finds them) in its first, shortest moments.
        tt.buckets = static_cast<HashBucket*>(std::calloc(buckets + 1, sizeof(HashBucket)));
        if (tt.buckets || buckets <= 16384) break;
        buckets /= 2;
    }
    if (!tt.buckets) throw std::bad_alloc();
    preferLargePages(tt.buckets, (buckets + 1) * sizeof(HashBucket));
    tt.mask = buckets - 1;
    clear();
    tt.searchCounter = 0;
    int got = int(buckets * 64 >> 20);
    if (got < megabytes) sendLine("info string Not enough memory, hash table has " + std::to_string(got) + " MB");
    return got;
}

void freeTable() {
    std::free(tt.buckets);
    tt.buckets = nullptr;
    tt.mask = 0;
}

void newSearch() { newSearch(tt); }

void newSearch(TranspositionTable& table) {
    table.age = uint8_t(table.searchCounter & 63);
    table.searchCounter += 1;
}

void printStatistics(std::ostream& out) {
    uint64_t used = 0, hashMoves = 0;
    uint64_t ageCount[64] = {}, depthCount[256] = {}, typeCount[4] = {};
    for (uint64_t i = 0; i <= tt.mask; ++i)
        for (int s = 0; s < 4; ++s) {
            // Read as the search threads write, so that "hashstats" may run beside a search.
            uint64_t e = loadWord(tt.buckets[i].entries[s]);
            if (!(e >> 56)) continue;
            ++used;
            ++ageCount[entryAge(e)];
            ++depthCount[uint8_t(entryDepth(e))];
            ++typeCount[entryBound(e)];
            if (entryMove(e)) ++hashMoves;
        }
    uint64_t usedShown = used ? used : 1;
    uint64_t total = (tt.mask + 1) * 6;
    out << "Size of info : pos structure : " << sizeof(Position) << " posinfo structure : " << sizeof(posinfo)
        << std::endl;
    out << "Hash Statistics " << std::endl << "Number of entries " << total << std::endl;
    out << "Used entries " << usedShown << std::endl;
    out << "Type of entries UPPER - LOWER - EXACT " << typeCount[0] << "\t - " << typeCount[1] << "\t - "
        << typeCount[2] << "\t - " << typeCount[3] << std::endl;
    out << "Percentage of entries UPPER - LOWER - EXACT " << typeCount[0] * 100 / usedShown << "\t - "
        << typeCount[1] * 100 / usedShown << "\t - " << typeCount[2] * 100 / usedShown << std::endl;
    out << "Number of Hashmoves " << hashMoves << std::endl;
    out << "Age distribution nof - prcused - prctotal" << std::endl;
    for (int a = 0; a < 64; ++a)
        out << "  " << ageCount[a] << " - " << (ageCount[a] / usedShown) * 100 << " - " << (ageCount[a] / total) * 100
            << std::endl;
    out << "Depth distribution " << std::endl;
    for (int d = 0; d < 128; ++d)
        out << "  " << depthCount[d] << " - " << (depthCount[d] / usedShown) * 100 << " - "
            << (depthCount[d] / total) * 100 << std::endl;
}
