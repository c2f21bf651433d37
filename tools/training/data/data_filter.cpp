#include "data_filter.h"

#include <algorithm>
#include <cstdlib>

#include "eval/evaluate.h"  // NETWORK_THRESHOLD
#include "eval/tables.h"

int recordBalance(const TrainingRecord& r) {
    uint8_t board[64];
    unpackPlacement(r, board);
    combEval balance = 0;
    for (int sq = 0; sq < 64; ++sq) {
        int code = board[sq];
        if (!code) continue;
        combEval v = psqOf(code, sq);
        if (typeOf(code) != KING) v += materialOf(code);
        balance += colourOf(code) == WHITE ? v : -v;
    }
    return egOf(balance);
}

bool withinNetworkRange(const TrainingRecord& r, int margin) {
    return margin < 0 || std::abs(recordBalance(r)) < NETWORK_THRESHOLD + margin;
}

size_t keepNetworkPositions(std::vector<TrainingRecord>& records, int margin) {
    size_t before = records.size();
    records.erase(std::remove_if(records.begin(), records.end(),
                                 [margin](const TrainingRecord& r) { return !withinNetworkRange(r, margin); }),
                  records.end());
    return before - records.size();
}
