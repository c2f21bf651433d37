#include "search/reductions.h"

#include <cmath>

uint8_t lmrTable[128][256];

namespace {
bool filled = false;
}  // namespace

void initReductions() {
    if (filled) return;
    filled = true;
    // Moves numbered up to 2 keep their depth and the third loses a ply; later
    // ones lose the square root of depth * (number - 2) / 9, rounded down.
    for (int d = 0; d < 128; ++d)
        for (int m = 0; m < 256; ++m) {
            if (m <= 2) lmrTable[d][m] = 0;
            else if (m == 3) lmrTable[d][m] = 1;
            else lmrTable[d][m] = uint8_t(int(std::sqrt(double((m - 2) * d / 9))));
        }
}
