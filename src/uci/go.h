// The "go" command with the time allotment, and the commands that act on a
// running search.
#pragma once

#include <istream>

// What the allotment reads besides the clock of the side to move.
struct AllotmentInput {
    int time = 900000;           // ms left for the side to move
    int inc = 0;                 // its increment
    int movesToGo = 30;
    bool movesToGoGiven = false;
    int moveTime = 0;
    int overhead = 100;          // the MoveOverhead option
    int threads = 1;
    int gameMoveCount = 0;
    bool ponder = false;         // the Ponder option
    bool newGame = false;
    float incrementFactor = 1.37f;
};

struct Allotment {
    int softLimit;
    int hardLimit;
    float timeFactor;
    float incrementFactor;       // recomputed at the first "go" of a game
    int movesToGo;
};

// The soft and hard time limits of one move; a pure function of its input.
Allotment allotTime(const AllotmentInput& in);

// The allotment with the engine's own safety margin on top: the hard limit
// keeps MoveOverhead and a quarter of the remaining clock in reserve (the
// four-moves-to-go floor of 40 ms still holds).
Allotment withSafetyMargin(const Allotment& a, const AllotmentInput& in);
// Nodes between two reads of the clock for a given hard limit.
int clockCheckInterval(int hardLimitMs);

extern float incrementFactor;
extern bool newGameFlag;

void go(std::istream& args);
void stopCommand();
void ponderhitCommand();
void newGameCommand();
