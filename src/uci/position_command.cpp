#include "uci/position_command.h"

#include <cstring>
#include <istream>
#include <memory>

#include "board/makemove.h"
#include "search/timeman.h"
#include "uci/movetext.h"
#include "uci/output.h"

Position mainPosition;

namespace {

// Long games would run past the key history; keep only its recent end, which
// is all that repetition detection can reach.
void compactHistory(Position& p) {
    const int keep = 512;
    if (p.gamePly < KEY_HISTORY - PLY_STACK - 8) return;
    std::memmove(p.keyHistory, p.keyHistory + (p.gamePly - keep), keep * sizeof(uint64_t));
    p.gamePly = keep;
}

}  // namespace

void playRootMove(Position& p, Move m) {
    makeMove(p, 0, m);
    posinfo& root = p.plyStates[0];
    const posinfo& after = p.plyStates[1];
    root.castling = after.castling;
    root.epSquare = after.epSquare;
    root.inCheck = after.inCheck;
    // The position at ply 0 changed: its accumulator must be built afresh.
    p.dirty[0].count = 0;
    p.acc[0].computed = 0;
    compactHistory(p);
}

void setStartPosition() {
    mainPosition.plyStates[0].moveStart = mainMoveStack;
    setFen(mainPosition, START_FEN);
    gameClock.gameMoveCount = 0;
}

bool positionCommand(std::istream& args, std::string* error) {
    std::string word;
    if (!(args >> word)) {
        *error = "position needs 'startpos' or 'fen'";
        return false;
    }
    std::string fen;
    bool fromStart = false;
    std::string pending;
    if (word == "startpos") {
        fromStart = true;
        fen = START_FEN;
        args >> pending;  // expected to be "moves"; any other word is dropped too
        pending.clear();
    } else if (word == "fen") {
        while (args >> word && word != "moves") fen += word + " ";
    } else {
        *error = "position needs 'startpos' or 'fen', not " + excerpt(word);
        return false;
    }

    auto next = std::make_unique<Position>();
    next->plyStates[0].moveStart = mainMoveStack;
    next->evalCache = mainPosition.evalCache;
    next->pawnHash = mainPosition.pawnHash;
    next->threadIndex = mainPosition.threadIndex;
    int dropped = 0;
    if (!setFen(*next, fen, error, &dropped)) {
        *error = "invalid FEN (" + *error + "), position unchanged";
        return false;
    }
    int played = 0;
    while (args >> word) {
        Move m = findLegalMove(*next, 0, word);
        if (m == NO_MOVE) {
            *error = "illegal or malformed move " + excerpt(word) + " after " + std::to_string(played)
                     + " moves, position unchanged";
            return false;
        }
        playRootMove(*next, m);
        ++played;
    }
    computeKeys(*next);
    next->keyHistory[next->gamePly - 1] = next->key;
    next->plyStates[0].inCheck = sideInCheck(*next, next->sideToMove);
    next->dirty[0].count = 0;
    next->acc[0].computed = 0;
    mainPosition = *next;
    if (dropped) {
        std::string letters;
        for (int i = 0; i < 4; ++i)
            if (dropped & (1 << i)) letters += "KkQq"[i];
        sendLine("info string castling rights " + letters + " dropped: no king and rook stand ready for them");
    }
    gameClock.gameMoveCount = gameMoveCountOf(fromStart, next->gamePly, played);
    return true;
}
