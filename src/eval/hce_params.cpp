#include "eval/hce_params.h"

#include "eval/tables.h"

combEval passedPawn[8] = {
    X(0, 0), X(0, 4), X(0, 8), X(5, 15), X(15, 32), X(30, 58), X(45, 85), X(0, 0)};
combEval connectedPawn[8] = {
    X(0, 0), X(0, 0), X(4, 0), X(6, 3), X(10, 7), X(18, 15), X(30, 30), X(45, 50)};
combEval isolatedPawn = X(-6, -10);
combEval doubledPawn = X(-8, -20);
combEval backwardPawn = X(-6, -8);
combEval shelterPawn[8] = {
    X(-16, -2), X(0, 0), X(14, 0), X(9, 0), X(2, 0), X(-3, 0), X(-6, 0), X(-8, 0)};
combEval passedOwnKingDistance[8] = {
    X(0, 0), X(0, 0), X(0, 0), X(0, -2), X(0, -4), X(0, -6), X(0, -8), X(0, 0)};
combEval passedEnemyKingDistance[8] = {
    X(0, 0), X(0, 0), X(0, 0), X(0, 4), X(0, 8), X(0, 14), X(0, 18), X(0, 0)};
combEval passedFreePath[8] = {
    X(0, 0), X(0, 0), X(0, 2), X(2, 5), X(5, 12), X(10, 25), X(20, 45), X(0, 0)};
combEval passedUnstoppable = X(0, 300);

combEval knightMobility[9] = {
    X(-31, 5), X(-29, -57), X(-9, -4), X(0, 30), X(11, 38), X(14, 53), X(20, 57), X(28, 57), X(38, 47)};
combEval bishopMobility[14] = {
    X(-62, -3), X(-49, -64), X(-25, -24), X(-18, 5), X(-8, 15), X(-1, 31), X(1, 44), X(2, 49), X(2, 58),
    X(8, 61), X(11, 60), X(29, 54), X(41, 61), X(55, 44)};
combEval rookMobility[15] = {
    X(-8, -31), X(-42, -52), X(-9, -57), X(2, -17), X(5, 4), X(4, 23), X(5, 34), X(12, 35), X(18, 40),
    X(24, 42), X(27, 48), X(33, 51), X(35, 55), X(45, 47), X(77, 28)};
combEval queenMobility[28] = {
    X(-45, -40), X(-69, -12), X(-68, -7), X(-71, 2), X(-50, -51), X(-32, -65), X(-27, -40), X(-26, -16),
    X(-23, -9), X(-21, 10), X(-17, 16), X(-15, 28), X(-12, 26), X(-10, 33), X(-9, 35), X(-10, 42),
    X(-8, 43), X(-12, 46), X(-14, 51), X(-8, 44), X(-8, 41), X(-1, 36), X(-1, 37), X(-1, 30),
    X(-1, 25), X(-13, 26), X(15, 35), X(37, 6)};

combEval knightOutpost = X(25, 15);
combEval bishopOutpost = X(15, 8);
combEval minorBehindPawn = X(8, 2);
combEval bishopPawnSameColour = X(-2, -4);
combEval rookOpenFile = X(35, 10);
combEval rookHalfOpenFile = X(15, 6);
combEval rookOnSeventh = X(10, 25);

combEval kingAttackUnits[6] = {X(0, 0), X(3, 0), X(3, 0), X(4, 0), X(6, 0), X(0, 0)};
combEval safeCheckUnits[6] = {X(0, 0), X(6, 0), X(4, 0), X(7, 0), X(6, 0), X(0, 0)};
combEval kingDanger[64] = {
    X(   0,   0), X(   0,   0), X(  -1,   0), X(  -2,   0), X(  -4,   0), X(  -6,  -1), X(  -9,  -1), X( -12,  -2),
    X( -16,  -3), X( -20,  -4), X( -25,  -5), X( -30,  -6), X( -36,  -7), X( -42,  -8), X( -49,  -9), X( -56, -11),
    X( -64, -12), X( -72, -14), X( -81, -16), X( -90, -18), X(-100, -20), X(-110, -22), X(-121, -24), X(-132, -26),
    X(-144, -28), X(-156, -31), X(-169, -33), X(-182, -36), X(-196, -39), X(-210, -42), X(-225, -45), X(-240, -48),
    X(-256, -51), X(-272, -54), X(-289, -57), X(-306, -61), X(-324, -64), X(-342, -68), X(-361, -72), X(-380, -76),
    X(-400, -80), X(-420, -84), X(-441, -88), X(-462, -92), X(-484, -96), X(-506,-101), X(-529,-105), X(-552,-110),
    X(-576,-115), X(-600,-120), X(-625,-125), X(-650,-130), X(-676,-135), X(-700,-140), X(-700,-145), X(-700,-151),
    X(-700,-156), X(-700,-162), X(-700,-168), X(-700,-174), X(-700,-180), X(-700,-186), X(-700,-192), X(-700,-198)};

combEval threatByPawn[6] = {X(0, 0), X(60, 40), X(60, 45), X(80, 40), X(75, 35), X(0, 0)};
combEval threatByMinor[6] = {X(3, 15), X(25, 30), X(30, 35), X(55, 50), X(50, 60), X(0, 0)};
combEval threatByRook[6] = {X(2, 20), X(20, 30), X(22, 30), X(0, 15), X(45, 40), X(0, 0)};
combEval threatByKing = X(10, 40);
combEval hangingPiece = X(35, 20);

combEval mopUpCentre[7] = {X(0, 0), X(0, 10), X(0, 20), X(0, 35), X(0, 50), X(0, 70), X(0, 90)};
combEval mopUpProximity[8] = {X(0, 0), X(0, 40), X(0, 32), X(0, 24), X(0, 16), X(0, 8), X(0, 0), X(0, 0)};
combEval bishopKnightCorner[8] = {
    X(0, 120), X(0, 100), X(0, 80), X(0, 60), X(0, 40), X(0, 20), X(0, 0), X(0, 0)};

combEval tradeDown[25] = {
    X(0, 96), X(0, 92), X(0, 88), X(0, 84), X(0, 80), X(0, 76), X(0, 72), X(0, 68), X(0, 64),
    X(0, 60), X(0, 56), X(0, 52), X(0, 48), X(0, 44), X(0, 40), X(0, 36), X(0, 32), X(0, 28),
    X(0, 24), X(0, 20), X(0, 16), X(0, 12), X(0,  8), X(0,  4), X(0,  0)};

combEval drawScale[DRAW_CLASSES] = {X(4, 4), X(24, 24), X(64, 32)};

#define EVAL_TABLE(t) {#t, &t[0], int(sizeof(t) / sizeof(combEval))}
#define EVAL_VALUE(v) {#v, &v, 1}

const EvalTable evalTables[] = {
    EVAL_TABLE(materialValue), {"pieceSquareScore", &pieceSquareScore[0][0], 6 * NOFSQUARES},
    EVAL_TABLE(passedPawn), EVAL_TABLE(connectedPawn), EVAL_VALUE(isolatedPawn), EVAL_VALUE(doubledPawn),
    EVAL_VALUE(backwardPawn), EVAL_TABLE(shelterPawn), EVAL_TABLE(passedOwnKingDistance),
    EVAL_TABLE(passedEnemyKingDistance), EVAL_TABLE(passedFreePath), EVAL_VALUE(passedUnstoppable),
    EVAL_TABLE(knightMobility), EVAL_TABLE(bishopMobility), EVAL_TABLE(rookMobility), EVAL_TABLE(queenMobility),
    EVAL_VALUE(knightOutpost), EVAL_VALUE(bishopOutpost), EVAL_VALUE(minorBehindPawn),
    EVAL_VALUE(bishopPawnSameColour), EVAL_VALUE(rookOpenFile), EVAL_VALUE(rookHalfOpenFile),
    EVAL_VALUE(rookOnSeventh), EVAL_TABLE(kingAttackUnits), EVAL_TABLE(safeCheckUnits), EVAL_TABLE(kingDanger),
    EVAL_TABLE(threatByPawn), EVAL_TABLE(threatByMinor), EVAL_TABLE(threatByRook), EVAL_VALUE(threatByKing),
    EVAL_VALUE(hangingPiece), EVAL_TABLE(mopUpCentre), EVAL_TABLE(mopUpProximity), EVAL_TABLE(bishopKnightCorner), EVAL_TABLE(tradeDown),
    EVAL_TABLE(drawScale),
};
const int evalTableCount = int(sizeof(evalTables) / sizeof(evalTables[0]));
