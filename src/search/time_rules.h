// The numbers of the time allotment, in one place. allotTime (timeman.cpp)
// reads them as one rule: split the clock evenly over the moves still to come,
// let this move take a share of that split, and keep the hard limit within a
// fraction of what is left.
#pragma once

namespace time_rules {

// ---- Moves still to come, when the GUI does not say ----------------------

// By the game's stage (its moves so far, as the position command counts
// them): the number of moves the clock is split over.
struct StageMoves {
    int before;  // game move counts below this ...
    int moves;   // ... split the clock over this many moves
};
inline constexpr StageMoves MOVES_BY_STAGE[] = {{18, 40}, {51, 22}, {81, 25}, {201, 20}};
inline constexpr int MOVES_LATE_GAME = 15;
// A FEN position without its history: the clock is split over this many
// moves, and each move may take a larger share.
inline constexpr int MOVES_UNKNOWN_GAME = 30;
inline constexpr float UNKNOWN_GAME_SHARE_SCALE = 1.4f;

// ---- The share of the even split that one move may take ------------------

// Without movestogo, by thread count: more threads reach a depth sooner, so
// a move may take a larger share of the split.
struct ThreadShare {
    int below;    // thread counts below this ...
    float share;  // ... take this share
};
inline constexpr ThreadShare SHARE_BY_THREADS[] = {{4, 0.66f}, {32, 0.76f}, {129, 0.86f}};
inline constexpr float SHARE_MANY_THREADS = 0.92f;

// With movestogo: the share, a little less early in the game (below
// SHARE_EARLY_BEFORE moves) and a little more in the opening-to-middlegame
// stretch (below SHARE_MIDDLE_BEFORE moves).
inline constexpr int SHARE_GIVEN_MANY_THREADS = 4;
inline constexpr float SHARE_GIVEN = 0.73f;
inline constexpr float SHARE_GIVEN_THREADS = 0.8f;
inline constexpr int SHARE_EARLY_BEFORE = 18;
inline constexpr float SHARE_EARLY_SCALE = 0.9f;
inline constexpr int SHARE_MIDDLE_BEFORE = 51;
inline constexpr float SHARE_MIDDLE_SCALE = 1.1f;

// Pondering: the opponent's thinking time is partly ours, so a move may take more.
inline constexpr float PONDER_SHARE_SCALE = 1.1f;

// ---- How far the increment stretches the moves to go ----------------------

// At the first "go" of a game the clock-to-increment ratio, clamped to
// [INCREMENT_RATIO_MIN, INCREMENT_RATIO_MAX], sets the factor: from
// INCREMENT_FACTOR_START at the lowest ratio, rising by INCREMENT_FACTOR_SLOPE
// per unit of ratio to 1.75 at the highest. The start is added in double
// precision, which the results depend on to the last bit.
inline constexpr double INCREMENT_FACTOR_START = 1.37;
inline constexpr float INCREMENT_FACTOR_SLOPE = 0.0014615385f;
inline constexpr int INCREMENT_RATIO_MIN = 100;
inline constexpr int INCREMENT_RATIO_MAX = 360;

// ---- The hard limit ---------------------------------------------------------

// At most this fraction of the clock left (after MoveOverhead) ...
inline constexpr double HARD_FRACTION = 0.5;
// ... or this much of it when the move is the last before the time control.
inline constexpr double HARD_FRACTION_LAST_MOVE = 0.9;
// ... and at most this many times the soft limit.
inline constexpr double HARD_SOFT_RATIO = 5.0;

// Little time left: when the clock holds fewer than LOW_TIME_SOFT_LIMITS soft
// limits, both limits are halved and the soft test counts time spent
// LOW_TIME_FACTOR times over, so iterations end early in proportion.
inline constexpr int LOW_TIME_SOFT_LIMITS = 4;
inline constexpr float LOW_TIME_FACTOR = 5.0f;

// "movetime": the hard limit is the time given; the soft limit this many
// times it, so that only the hard limit ends the search.
inline constexpr int MOVETIME_SOFT_RATIO = 10;

// With exactly FLOOR_MOVES_TO_GO moves to go the hard limit never drops below
// FLOOR_MS, even when the clock has less than that; no other moves-to-go has
// a floor.
inline constexpr int FLOOR_MOVES_TO_GO = 4;
inline constexpr int FLOOR_MS = 40;

}  // namespace time_rules
