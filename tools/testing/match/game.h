// One game between two UCI engines from an opening position: clocks,
// move checking with our own move generator, the rules of chess that end a
// game, and adjudication.
#pragma once

#include <string>
#include <vector>

#include "adjudication.h"
#include "engine_setup.h"

namespace matchtool {

struct GameSettings {
    std::vector<std::string> engines, names;
    std::vector<std::vector<OptionSetting>> options{{}, {}};
    double base = 10, increment = 0.1;
    double margin = 0;  // seconds a clock may run below zero before the game is lost
    AdjudicationRules rules;
};

struct MoveRecord {
    std::string move;
    ReportedScore score;
    double seconds = 0;  // charged to the mover's clock
};

struct GameResult {
    double whiteResult = -1;  // 1, 0.5, 0; -1 when the game did not count
    std::string result, reason;
    int faultEngine = -1;  // the engine that broke a rule (illegal move, time, crash, hang, start-up)
    std::string fault;
    std::string startFen;
    std::vector<MoveRecord> moves;
    EngineSetup setups[2];
};

// Engine `whiteEngine` (0 or 1) plays White from `fen`.
GameResult playGame(const GameSettings& s, const std::string& fen, int whiteEngine);

// Engine 1's points: 1, 0.5, 0; -1 when the game did not count.
double firstEngineScore(const GameResult& g, int whiteEngine);

}  // namespace matchtool
