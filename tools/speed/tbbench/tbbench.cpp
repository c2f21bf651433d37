// Tablebase probing speed on random legal positions of the tables in a
// directory: WDL and DTZ probes per second, against the cost of generating
// the legal moves of the same positions in the same run.
//
//   tbbench [directory] [positions] [seed]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "board/attacks.h"
#include "board/movegen.h"
#include "board/position.h"
#include "board/zobrist.h"
#include "command_line.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"

namespace {

// What a probe or the move generator reads of a position, small enough to
// keep thousands of positions and copy one into the working position quickly.
struct Snapshot {
    uint8_t board[64];
    Bitboard pieces[14];
    uint64_t key, pawnKey;
    uint8_t sideToMove;
    int16_t fiftyMove;
    posinfo root;
};

// Copies what a Snapshot keeps, which has the same names in both records.
template <class To, class From>
void copyKept(To& to, const From& from) {
    std::memcpy(to.board, from.board, sizeof to.board);
    std::memcpy(to.pieces, from.pieces, sizeof to.pieces);
    to.key = from.key;
    to.pawnKey = from.pawnKey;
    to.sideToMove = from.sideToMove;
    to.fiftyMove = from.fiftyMove;
}

Snapshot takeSnapshot(const Position& p) {
    Snapshot s;
    copyKept(s, p);
    s.root = p.plyStates[0];
    return s;
}

void restore(Position& p, const Snapshot& s) {
    copyKept(p, s);
    setRootPlyState(p, s.root);
}

// A random placement of a table's material ("KRPvKR"), or "" when it is not
// a legal position.
std::string randomFen(const std::string& name, std::mt19937_64& rng) {
    uint8_t board[64] = {};
    int colour = 0;
    for (char c : name) {
        if (c == 'v') {
            colour = 1;
            continue;
        }
        int code = int(std::strchr(PIECE_LETTERS, c) - PIECE_LETTERS) + colour;
        for (;;) {
            int sq = int(rng() % 64);
            if (board[sq]) continue;
            if ((c == 'P') && (sq < 8 || sq >= 56)) continue;
            board[sq] = uint8_t(code);
            break;
        }
    }
    return placementFen(board) + (rng() % 2 ? " w - - 0 1" : " b - - 0 1");
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Tablebase probing speed on random legal positions of the tables in a directory.", "tbbench"};
    prepareCommandLine(app);
    std::string dir = "../shared/syzygy";
    int count = 20000;
    uint64_t seed = 1;
    app.add_option("directory", dir, "tablebase directory");
    app.add_option("positions", count, "random positions probed")->check(positiveNumber());
    app.add_option("seed", seed, "seed of the positions");
    if (auto status = parseCommandLine(app, argc, argv)) return *status;

    initAttackTables();
    initZobrist();
    if (!initTablebases(dir) || largestTablebase() == 0) {
        std::fprintf(stderr, "no tables in %s\n", dir.c_str());
        return 1;
    }
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir))
        if (entry.path().extension() == ".rtbw") names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());

    auto pos = std::make_unique<Position>();
    auto stack = std::make_unique<Move[]>(MOVE_STACK);
    pos->plyStates[0].moveStart = stack.get();
    std::mt19937_64 rng(seed);
    std::vector<Snapshot> positions;
    while (int(positions.size()) < count) {
        std::string fen = randomFen(names[rng() % names.size()], rng);
        if (setFen(*pos, fen)) positions.push_back(takeSnapshot(*pos));
    }

    // First touch maps every file; the timed rounds below run on mapped tables.
    long sink = 0;
    for (const Snapshot& s : positions) {
        restore(*pos, s);
        sink += probeWdl(*pos) + probeDtzValue(*pos);
    }

    auto timeRounds = [&](int rounds, auto&& work) {
        auto start = std::chrono::steady_clock::now();
        for (int r = 0; r < rounds; ++r)
            for (const Snapshot& s : positions) {
                restore(*pos, s);
                sink += work();
            }
        return secondsSince(start) / (double(rounds) * double(positions.size()));
    };
    double copyOnly = timeRounds(20, [&] { return long(pos->key & 1); });
    double movegen = timeRounds(20, [&] { return long(generateLegal(0, *pos) - pos->plyStates[0].moveStart); });
    double wdl = timeRounds(3, [&] { return long(probeWdl(*pos)); });
    double dtz = timeRounds(1, [&] { return long(probeDtzValue(*pos)); });
    movegen -= copyOnly;
    wdl -= copyOnly;
    dtz -= copyOnly;

    std::printf("%zu random legal positions of %zu tables (up to %d pieces), seed %llu\n", positions.size(),
                names.size(), largestTablebase(), (unsigned long long)seed);
    std::printf("legal move generation (reference): %12.0f positions/s\n", 1.0 / movegen);
    std::printf("WDL probe:                         %12.0f probes/s  (%.1f x the cost of move generation)\n", 1.0 / wdl,
                wdl / movegen);
    std::printf("DTZ probe:                         %12.0f probes/s  (%.1f x the cost of move generation)\n", 1.0 / dtz,
                dtz / movegen);
    std::printf("checksum %ld\n", sink);
    return 0;
}
