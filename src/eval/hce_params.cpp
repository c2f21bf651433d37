#include "eval/hce_params.h"

#include "eval/tables.h"

// clang-format off
combEval passedPawn[8] = {
    X(0, 0), X(5, 11), X(1, 15), X(3, 19), X(12, 37), X(31, 63), X(40, 86), X(0, 0)};
combEval connectedPawn[8] = {
    X(0, 0), X(-3, 7), X(5, 6), X(5, 2), X(7, 4), X(22, 22), X(28, 26), X(45, 50)};
combEval isolatedPawn = X(-2, -2);
combEval doubledPawn = X(-12, -9);
combEval backwardPawn = X(-2, -8);
combEval shelterPawn[8] = {
    X(-17, -5), X(6, 7), X(15, 0), X(2, -2), X(5, 0), X(0, 7), X(5, 10), X(-8, 0)};
combEval passedOwnKingDistance[8] = {
    X(0, 0), X(-3, 3), X(-3, 5), X(-4, 1), X(-6, -3), X(-4, -9), X(-9, -8), X(0, 0)};
combEval passedEnemyKingDistance[8] = {
    X(0, 0), X(-1, 4), X(-5, 7), X(-3, 8), X(4, 13), X(9, 25), X(11, 27), X(0, 0)};
combEval passedFreePath[8] = {
    X(0, 0), X(-3, 3), X(-6, 3), X(-4, 13), X(0, 18), X(21, 34), X(31, 56), X(0, 0)};
combEval passedUnstoppable = X(-10, 289);

combEval knightMobility[9] = {
    X(-24, 12), X(-31, -46), X(-17, -1), X(-6, 26), X(6, 39), X(9, 48), X(14, 56), X(29, 57), X(36, 51)};
combEval bishopMobility[14] = {
    X(-52, 8), X(-38, -53), X(-21, -15), X(-17, 15), X(-6, 18), X(-5, 34), X(-7, 45), X(-3, 55), X(-6, 61),
    X(2, 68), X(17, 70), X(40, 65), X(33, 53), X(63, 55)};
combEval rookMobility[15] = {
    X(-18, -37), X(-33, -53), X(-1, -46), X(6, -6), X(10, 11), X(5, 31), X(8, 40), X(13, 37), X(21, 46),
    X(24, 51), X(19, 59), X(22, 54), X(30, 58), X(49, 54), X(80, 38)};
combEval queenMobility[28] = {
    X(-35, -38), X(-76, -11), X(-76, -6), X(-60, 12), X(-49, -50), X(-30, -62), X(-31, -46), X(-30, -15),
    X(-21, -15), X(-20, 8), X(-17, 15), X(-21, 22), X(-16, 23), X(-10, 32), X(-16, 31), X(-13, 38),
    X(-10, 47), X(-7, 56), X(-15, 55), X(1, 55), X(-4, 47), X(6, 46), X(-6, 29), X(6, 26),
    X(9, 36), X(-11, 19), X(25, 46), X(48, 17)};

combEval knightOutpost = X(14, 16);
combEval bishopOutpost = X(17, 19);
combEval minorBehindPawn = X(1, 3);
combEval bishopPawnSameColour = X(-9, 5);
combEval rookOpenFile = X(24, 18);
combEval rookHalfOpenFile = X(16, 16);
combEval rookOnSeventh = X(16, 25);

combEval kingAttackUnits[6] = {X(0, 0), X(1, 0), X(2, 0), X(4, 0), X(4, 0), X(0, 0)};
combEval safeCheckUnits[6] = {X(0, 0), X(5, 0), X(7, 0), X(10, 0), X(9, 0), X(0, 0)};
combEval kingDanger[64] = {
    X(  -7,  11), X(  -1,  11), X(  -3,   8), X(  -8,   9), X(   3,   3), X(  -2,  -5), X( -17, -11), X( -19,  -7),
    X(  -7, -10), X( -29, -12), X( -19, -15), X( -30,  -8), X( -26, -13), X( -35, -13), X( -41,  -4), X( -61, -20),
    X( -60, -19), X( -65, -17), X( -81, -21), X( -87, -29), X(-93, -29), X(-109, -33), X(-117, -31), X(-126, -36),
    X(-135, -35), X(-148, -39), X(-163, -31), X(-190, -43), X(-192, -45), X(-213, -46), X(-230, -48), X(-236, -47),
    X(-252, -48), X(-267, -52), X(-280, -50), X(-298, -56), X(-318, -63), X(-340, -66), X(-352, -66), X(-370, -69),
    X(-390, -72), X(-411, -79), X(-434, -85), X(-453, -88), X(-476, -97), X(-504, -100), X(-522, -105), X(-551, -110),
    X(-577, -115), X(-602, -120), X(-624, -125), X(-650, -130), X(-672, -135), X(-700, -140), X(-697, -145), X(-700, -151),
    X(-700, -156), X(-700, -162), X(-700, -168), X(-700, -174), X(-700, -180), X(-700, -186), X(-700, -192), X(-700, -198)};

combEval threatByPawn[6] = {X(0, 0), X(52, 35), X(54, 43), X(69, 29), X(64, 31), X(0, 0)};
combEval threatByMinor[6] = {X(11, 20), X(31, 25), X(20, 27), X(50, 39), X(54, 65), X(0, 0)};
combEval threatByRook[6] = {X(6, 31), X(10, 31), X(14, 21), X(1, 14), X(43, 40), X(0, 0)};
combEval threatByKing = X(21, 40);
combEval hangingPiece = X(24, 9);

combEval mopUpCentre[7] = {X(0, -11), X(-5, -1), X(-11, 9), X(-10, 24), X(0, 39), X(1, 68), X(0, 90)};
combEval mopUpProximity[8] = {X(0, 0), X(0, 40), X(-3, 21), X(-11, 13), X(-11, 5), X(-2, -2), X(-7, -6), X(2, 2)};
combEval bishopKnightCorner[8] = {
    X(0, 120), X(0, 100), X(0, 80), X(0, 60), X(0, 40), X(0, 20), X(0, 0), X(0, 0)};

combEval tradeDown[25] = {
    X(0, 104), X(10, 103), X(11, 99), X(11, 95), X(11, 91), X(11, 87), X(11, 83), X(11, 79), X(11, 75),
    X(11, 71), X(8, 64), X(10, 59), X(5, 48), X(-2, 42), X(-11, 29), X(1, 38), X(-11, 21), X(-9, 20),
    X(-11, 13), X(-11, 9), X(-11, 5), X(-11, 1), X( -11,   5), X( -11,  -7), X(   7,   0)};

combEval drawScale[DRAW_CLASSES] = {X(15, 4), X(26, 23), X(67, 38)};

// clang-format on
#define EVAL_TABLE(t) \
    { #t, &t[0], int(sizeof(t) / sizeof(combEval)) }
#define EVAL_VALUE(v) \
    { #v, &v, 1 }

const EvalTable evalTables[] = {
    EVAL_TABLE(materialValue),
    {"pieceSquareScore", &pieceSquareScore[0][0], 6 * NOFSQUARES},
    EVAL_TABLE(passedPawn),
    EVAL_TABLE(connectedPawn),
    EVAL_VALUE(isolatedPawn),
    EVAL_VALUE(doubledPawn),
    EVAL_VALUE(backwardPawn),
    EVAL_TABLE(shelterPawn),
    EVAL_TABLE(passedOwnKingDistance),
    EVAL_TABLE(passedEnemyKingDistance),
    EVAL_TABLE(passedFreePath),
    EVAL_VALUE(passedUnstoppable),
    EVAL_TABLE(knightMobility),
    EVAL_TABLE(bishopMobility),
    EVAL_TABLE(rookMobility),
    EVAL_TABLE(queenMobility),
    EVAL_VALUE(knightOutpost),
    EVAL_VALUE(bishopOutpost),
    EVAL_VALUE(minorBehindPawn),
    EVAL_VALUE(bishopPawnSameColour),
    EVAL_VALUE(rookOpenFile),
    EVAL_VALUE(rookHalfOpenFile),
    EVAL_VALUE(rookOnSeventh),
    EVAL_TABLE(kingAttackUnits),
    EVAL_TABLE(safeCheckUnits),
    EVAL_TABLE(kingDanger),
    EVAL_TABLE(threatByPawn),
    EVAL_TABLE(threatByMinor),
    EVAL_TABLE(threatByRook),
    EVAL_VALUE(threatByKing),
    EVAL_VALUE(hangingPiece),
    EVAL_TABLE(mopUpCentre),
    EVAL_TABLE(mopUpProximity),
    EVAL_TABLE(bishopKnightCorner),
    EVAL_TABLE(tradeDown),
    EVAL_TABLE(drawScale),
};
const int evalTableCount = int(sizeof(evalTables) / sizeof(evalTables[0]));
