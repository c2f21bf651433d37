// Shared fixtures of the evaluation and network tests.
#pragma once
#include <cctype>
#include <sstream>
#include "eval/network.h"
#include "net_builder.h"
#include "test_position.h"

struct TestRng {
    uint64_t state;
    uint64_t next() {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        return state;
    }
    int below(int n) { return int(next() % uint64_t(n)); }
};

// Fills the process-wide network with a random one (each test process builds its own).
inline void useRandomNet(uint64_t seed) {
    fillRandomNet(nnue, seed);
    evaluationChanged();
}

// Puts `net` into the engine for the life of the record (as if loaded from a
// file), then gives the engine back the network it had before.
struct EngineNetwork {
    std::unique_ptr<NnueNet> saved = std::make_unique<NnueNet>();
    bool savedLoaded = netLoaded;
    explicit EngineNetwork(const NnueNet& net) {
        *saved = nnue;
        nnue = net;
        netLoaded = true;
        evaluationChanged();
    }
    ~EngineNetwork() {
        nnue = *saved;
        netLoaded = savedLoaded;
        evaluationChanged();
    }
};

// The same position with colours exchanged and the board turned upside down.
inline std::string mirrorFen(const std::string& fen) {
    auto swapCase = [](std::string s) {
        for (char& c : s) c = std::isupper(c) ? char(std::tolower(c)) : char(std::toupper(c));
        return s;
    };
    std::istringstream in(fen), ranks;
    std::string board, side, castling = "-", ep = "-", out, rest;
    in >> board >> side >> castling >> ep;
    ranks.str(board);
    for (std::string rank; std::getline(ranks, rank, '/');) out = out.empty() ? rank : rank + "/" + out;
    out = swapCase(out) + (side == "w" ? " b " : " w ") + (castling == "-" ? castling : swapCase(castling));
    if (ep != "-") ep[1] = char('1' + ('8' - ep[1]));
    out += " " + ep;
    while (in >> rest) out += " " + rest;
    return out;
}
