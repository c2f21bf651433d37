// One self-play game: the engine's own search at a fixed node budget per
// move, from a random opening, with the game's end found by the rules or by
// adjudication, and the positions worth training on kept with their scores.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "adjudication.h"
#include "openings.h"
#include "search/threads.h"
#include "search/worker.h"
#include "training_data.h"

namespace datagen {

struct GameSettings {
    uint64_t nodes = 5000;  // per move
    NodeLimit nodeLimit = NodeLimit::HARD;
    int randomPlies = 4;    // random legal moves after the book line
    int skipPlies = 8;      // self-play plies after the opening that are never kept
    bool keepFens = false;  // also keep each kept position's FEN (for the tuning file)
    // An opening whose first search already scores beyond this (either side) is
    // drawn again: a decided game teaches little beyond the result. 0 keeps all.
    int openingLimit = 0;
    // Share of the games that start from the initial position with
    // startPlies random moves instead of a book line.
    double startShare = 0;
    int startPlies = 8;
    AdjudicationRules rules;
};

constexpr int OPENING_TRIES = 16;  // openings drawn before the last one is played whatever its score

enum class Ending {
    CHECKMATE,
    STALEMATE,
    FIFTY_MOVES,
    REPETITION,
    MATERIAL,
    TABLEBASE,
    WIN_ADJUDICATED,
    DRAW_ADJUDICATED,
    LENGTH,
    NO_OPENING
};
constexpr int ENDING_COUNT = 10;
const char* endingName(Ending e);

struct PlayedGame {
    std::vector<TrainingRecord> records;  // kept positions, results filled in once the game ends
    std::vector<std::string> fens;        // the same positions' FENs when keepFens
    GameResult whiteResult = RESULT_DRAW;
    Ending ending = Ending::NO_OPENING;
    int plies = 0;       // self-play plies, the opening's excluded
    uint64_t nodes = 0;  // the searches of refused openings included
    int refusedOpenings = 0;
};

// One game thread's own search state: a search thread record that never joins
// the pool, its stop flag and table, and the game's position.
struct GameSearcher {
    std::unique_ptr<worker> searcher;
    SearchFlag stop;
    TranspositionTable table{};
    std::unique_ptr<Position> game;
    std::vector<Move> moves;
};
void openSearcher(GameSearcher& s, int hashMegabytes);
void closeSearcher(GameSearcher& s);
// Every game starts from empty tables, histories and evaluation caches, so that
// it depends on its seed alone and not on the games its thread played before.
void clearForGame(GameSearcher& s);

// Whether a searched position goes into the data: not in check, a quiet best
// move (no capture, no promotion), no mate or tablebase score, and past the
// first `skipPlies` self-play plies.
bool keepPosition(const Position& p, Move best, int score, int pliesPlayed, int skipPlies);

// Plays game number `seed` (its whole course follows from the seed, the book
// and the settings). False when `abort` was raised before the game ended.
bool playGame(GameSearcher& s, const OpeningBook& book, uint64_t seed, const GameSettings& settings,
              const std::atomic<bool>& abort, PlayedGame& out);

}  // namespace datagen
