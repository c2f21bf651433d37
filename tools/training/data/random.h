// The tools' random numbers: a small, fast generator (splitmix64) whose stream
// depends only on its seed, so that a generated network or a self-play game
// can be made again from its number.
#pragma once

#include <cstdint>

struct SplitMix {
    uint64_t state;
};

inline uint64_t nextRandom(SplitMix& r) {
    uint64_t z = (r.state += 0x9e3779b97f4a7c15ULL);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
    return z ^ (z >> 31);
}

// A number in 0..n-1 (n > 0); the slight bias of the modulo does not matter here.
inline uint64_t randomBelow(SplitMix& r, uint64_t n) { return nextRandom(r) % n; }
// A number in lo..hi, both included.
inline int randomBetween(SplitMix& r, int lo, int hi) { return lo + int(randomBelow(r, uint64_t(hi - lo + 1))); }
// Uniform in [0, 1).
inline double randomUnit(SplitMix& r) { return double(nextRandom(r) >> 11) * 0x1.0p-53; }
