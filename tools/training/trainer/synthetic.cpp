#include "synthetic.h"

#include <memory>
#include <random>

#include "board/position.h"
#include "position_record.h"

std::vector<TrainingRecord> syntheticRecords(size_t count, uint64_t seed) {
    static constexpr int VALUE[7] = {0, 100, 300, 320, 500, 900, 0};
    static const bool tablesReady = (initRecordTables(), true);
    (void)tablesReady;
    auto position = std::make_unique<Position>();
    std::mt19937_64 rng(seed);
    std::vector<TrainingRecord> out;
    out.reserve(count);
    while (out.size() < count) {
        uint8_t board[64] = {};
        auto freeSquare = [&](bool pawn) {
            for (;;) {
                int sq = int(rng() % 64);
                if (board[sq] || (pawn && (sq < 8 || sq >= 56))) continue;
                return sq;
            }
        };
        board[freeSquare(false)] = WKING;
        board[freeSquare(false)] = BKING;
        int extra = int(rng() % 31);
        int balance = 0;
        for (int i = 0; i < extra; ++i) {
            int code = WPAWN + int(rng() % 10);
            board[freeSquare(typeOf(code) == PAWN)] = uint8_t(code);
            balance += colourOf(code) == WHITE ? VALUE[typeOf(code)] : -VALUE[typeOf(code)];
        }
        TrainingRecord r;
        packPlacement(board, r);
        r.sideToMove = uint8_t(rng() & 1);
        int score = (r.sideToMove == WHITE ? balance : -balance) + int(rng() % 41) - 20;
        r.score = int16_t(score);
        r.result = score > 150 ? RESULT_WIN : score < -150 ? RESULT_LOSS : RESULT_DRAW;
        // Kings side by side, the side not to move in check, impossible material: the engine refuses these.
        if (setFen(*position, recordFen(r))) out.push_back(r);
    }
    return out;
}
