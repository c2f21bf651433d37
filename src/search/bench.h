// The fixed benchmark: a set of positions searched to a fixed depth from
// cleared tables. Its node count is the search's signature, so it must come
// out the same on every run of the same program.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

inline constexpr int BENCH_DEFAULT_DEPTH = 11;
// The benchmark always runs with this table size, whatever the Hash option says.
inline constexpr int BENCH_HASH_MB = 64;

struct BenchResult {
    int positions = 0;
    int depth = 0;
    uint64_t nodes = 0;
    double seconds = 0;  // searching only, without the table clears between positions
    bool ok = true;      // false when a stored position failed to load
    // Per position, so that time to depth can be compared position by position.
    std::vector<uint64_t> positionNodes;
    std::vector<double> positionSeconds;
};

// Runs every position on the calling thread (onPool false: a reproducible
// count) or on the whole thread pool as "go depth" does. The network must be
// loaded and the pool started; the table is left at BENCH_HASH_MB.
BenchResult runBench(int depth, bool onPool);

// The report, ending in the "N nodes M nps" line that engine-testing tools read.
// On the pool it first gives each position's nodes and time.
void printBenchReport(std::ostream& out, const BenchResult& result, int threads, bool onPool);
