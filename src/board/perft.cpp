#include "board/perft.h"

#include "board/makemove.h"
#include "board/movegen.h"

uint64_t perft(int ply, int depth, Position& p) {
    if (depth <= 1) return uint64_t(countLegalMoves(ply, p));
    Move* start = p.plyStates[ply].moveStart;
    Move* end = generateCaptures(ply, start, p);
    if (p.plyStates[ply].genMarker != 'c') end = generateQuiets(ply, end, p);
    uint64_t nodes = 0;
    for (Move* m = start; m < end; ++m) {
        if (!isLegal(p, ply, *m)) continue;
        makeMove(p, ply, *m);
        nodes += perft(ply + 1, depth - 1, p);
        unmakeMove(p, ply, *m);
    }
    return nodes;
}
