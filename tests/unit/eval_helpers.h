// Shared fixtures of the evaluation and network tests.
#pragma once

#include <cctype>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "board/position.h"
#include "board/zobrist.h"
#include "eval/evaluate.h"
#include "net_builder.h"
#include "eval/network.h"
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
    EngineNetwork(const EngineNetwork&) = delete;
    EngineNetwork& operator=(const EngineNetwork&) = delete;
};

// The same position with colours exchanged and the board turned upside down.
inline std::string mirrorFen(const std::string& fen) {
    std::vector<std::string> parts;
    size_t start = 0;
    while (start < fen.size()) {
        size_t end = fen.find(' ', start);
        if (end == std::string::npos) end = fen.size();
        if (end > start) parts.push_back(fen.substr(start, end - start));
        start = end + 1;
    }
    std::vector<std::string> ranks;
    start = 0;
    const std::string& board = parts[0];
    while (true) {
        size_t end = board.find('/', start);
        ranks.push_back(board.substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (end == std::string::npos) break;
        start = end + 1;
    }
    std::string out;
    for (int i = int(ranks.size()) - 1; i >= 0; --i) {
        for (char c : ranks[i]) out += std::isalpha(c) ? char(std::isupper(c) ? std::tolower(c) : std::toupper(c)) : c;
        if (i) out += '/';
    }
    out += parts.size() > 1 && parts[1] == "w" ? " b " : " w ";
    std::string castling = parts.size() > 2 ? parts[2] : "-";
    if (castling != "-") {
        std::string swapped;
        for (char c : castling) swapped += std::isupper(c) ? char(std::tolower(c)) : char(std::toupper(c));
        castling = swapped;
    }
    out += castling;
    std::string ep = parts.size() > 3 ? parts[3] : "-";
    if (ep != "-") ep[1] = char('1' + ('8' - ep[1]));
    out += " " + ep;
    for (size_t i = 4; i < parts.size(); ++i) out += " " + parts[i];
    return out;
}
