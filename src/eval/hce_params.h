// Every constant of the handcrafted evaluation, each a combEval table or a
// single combEval, listed in evalTables so that a tuner can reach them all.
#pragma once

#include "board/types.h"

// Pawn structure, indexed by the pawn's rank seen from its owner (0 = first rank).
extern combEval passedPawn[8];
extern combEval connectedPawn[8];
extern combEval isolatedPawn;
extern combEval doubledPawn;
extern combEval backwardPawn;
// Nearest own pawn in front of the king on each of the three files around it,
// by its rank seen from the owner (0 = no pawn there).
extern combEval shelterPawn[8];
// Per square of king distance to a passed pawn's stop square, by the pawn's rank.
extern combEval passedOwnKingDistance[8];
extern combEval passedEnemyKingDistance[8];
// A passed pawn whose stop square is empty and not attacked, by rank.
extern combEval passedFreePath[8];
// A passed pawn that the enemy king cannot catch when the enemy has only pawns.
extern combEval passedUnstoppable;

// Mobility by the number of squares a piece reaches.
extern combEval knightMobility[9];
extern combEval bishopMobility[14];
extern combEval rookMobility[15];
extern combEval queenMobility[28];

// Pieces.
extern combEval knightOutpost;
extern combEval bishopOutpost;
extern combEval minorBehindPawn;
extern combEval bishopPawnSameColour;  // per own pawn on the bishop's square colour
extern combEval rookOpenFile;
extern combEval rookHalfOpenFile;
extern combEval rookOnSeventh;

// King safety. Attack units are read from the middlegame half.
extern combEval kingAttackUnits[6];  // per piece of that type attacking the king zone
extern combEval safeCheckUnits[6];   // per safe checking square of that piece type
extern combEval kingDanger[64];      // by total attack units

// Threats, indexed by the type of the attacked piece (pawn .. king).
extern combEval threatByPawn[6];
extern combEval threatByMinor[6];
extern combEval threatByRook[6];
extern combEval threatByKing;
extern combEval hangingPiece;

// Won endings without enemy pawns: drive the bare king away from the centre,
// bring the own king near it, and for bishop and knight to the bishop's corner.
extern combEval mopUpCentre[7];         // by the weaker king's distance from the centre
extern combEval mopUpProximity[8];      // by the distance between the kings
extern combEval bishopKnightCorner[8];  // by the weaker king's distance to a bishop-coloured corner
// For the side with a clear material lead, by phase (0..24): fewer pieces left is easier to convert.
extern combEval tradeDown[25];

// Scale factors (in 64ths, middlegame and endgame half) for drawish material.
enum DrawClass { DRAW_ONLY_MINORS, DRAW_NO_PAWNS_SMALL_EDGE, DRAW_OPPOSITE_BISHOPS, DRAW_CLASSES };
extern combEval drawScale[DRAW_CLASSES];

struct EvalTable {
    const char* name;
    combEval* values;
    int count;
};
extern const EvalTable evalTables[];
extern const int evalTableCount;
