// The generator's random numbers: a small, fast generator whose stream
// depends only on its seed, so a game can be replayed from its number.
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
// Uniform in [0, 1).
inline double randomUnit(SplitMix& r) { return double(nextRandom(r) >> 11) * 0x1.0p-53; }

// The seed of game `index` of a run: every game has its own stream, whichever
// thread plays it.
inline uint64_t gameSeed(uint64_t runSeed, uint64_t index) {
    SplitMix r{runSeed ^ (index * 0xd1b54a32d192ed03ULL)};
    nextRandom(r);
    return nextRandom(r);
}
