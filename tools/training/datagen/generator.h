// The generator's run: game threads playing self-play games side by side and
// one writer that stores their positions in game order, so that a seed gives
// the same file whatever the number of threads.
#pragma once

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "selfplay.h"

namespace datagen {

struct GeneratorSettings {
    std::string dataPath;          // training data in the trainer's format; empty for none
    std::string tuningPath;        // tuning lines for the "texel" command; empty for none
    std::string bookPath;          // standard openings
    std::string chess960BookPath;  // Chess960 start positions
    uint64_t positions = 0;        // stop after the game that brings the count to this, or
    uint64_t games = 0;            // after this many games (one of the two is set)
    double chess960Share = 0;      // part of the target played from the Chess960 book
    int threads = 1;
    uint64_t seed = 1;
    int hashMegabytes = 16;     // per game thread
    double reportSeconds = 10;  // between progress lines
    // When set (by a signal handler, say), the run ends after the games already
    // written and closes its files, so an interrupted file is complete and counted.
    const std::atomic<bool>* stopRequest = nullptr;
    GameSettings game;
};

struct GeneratorSummary {
    uint64_t games = 0;
    uint64_t positions = 0;
    uint64_t networkPositions = 0;  // of those, the ones the trainer keeps for the network
    uint64_t refusedOpenings = 0;
    uint64_t nodes = 0;
    uint64_t whiteResults[3] = {};  // by GameResult
    uint64_t endings[ENDING_COUNT] = {};
    double seconds = 0;
    double cpuSeconds = 0;  // of the whole process, all threads
};

// Plays and writes; progress lines go to `log`. False with a reason when a
// file cannot be read or written.
bool runGenerator(const GeneratorSettings& settings, std::ostream& log, GeneratorSummary& summary, std::string* error);

}  // namespace datagen
