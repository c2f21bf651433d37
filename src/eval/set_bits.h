// For every 8-bit mask, the positions of its set bits in rising order: lets
// the vector kernels list the non-zero chunks of their input with one table
// load and one store per eight chunks instead of a branch per chunk.
#pragma once

#include <cstdint>

struct SetBitTable {
    alignas(16) uint16_t positions[256][8];
};

constexpr SetBitTable makeSetBitTable() {
    SetBitTable t{};
    for (int mask = 0; mask < 256; ++mask) {
        int n = 0;
        for (int bit = 0; bit < 8; ++bit)
            if (mask >> bit & 1) t.positions[mask][n++] = uint16_t(bit);
    }
    return t;
}

inline constexpr SetBitTable setBits = makeSetBitTable();
