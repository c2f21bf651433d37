#include "uci/movetext.h"

#include <cstring>

#include "board/movegen.h"

std::string squareText(int sq) { return std::string{char('a' + fileOf(sq)), char('1' + rankOf(sq))}; }

std::string moveToText(const Position& p, Move m) {
    int from = moveFrom(m), to = moveTo(m), flag = moveFlag(m);
    int us = p.sideToMove;
    switch (flag) {
    case FLAG_PROMO_N:
    case FLAG_PROMO_B:
    case FLAG_PROMO_R:
    case FLAG_PROMO_Q: return squareText(from) + squareText(to) + PROMO_LETTERS[flag];
    case FLAG_EP: return squareText(from) + squareText(us == WHITE ? to + 8 : to - 8);
    case FLAG_SHORT:
    case FLAG_LONG:
        if (chess960) {
            bool isShort = fileOf(to) == 6;
            int rook = p.castlingRook[(isShort ? CR_WHITE_SHORT : CR_WHITE_LONG) + us];
            return squareText(from) + squareText(rook);
        }
        return squareText(from) + squareText(to);
    default: return squareText(from) + squareText(to);
    }
}

Move decodeMove(const Position& p, const std::string& text) {
    if (text.size() != 4 && text.size() != 5) return NO_MOVE;
    for (int i = 0; i < 4; ++i) {
        char c = text[i];
        bool ok = (i % 2 == 0) ? (c >= 'a' && c <= 'h') : (c >= '1' && c <= '8');
        if (!ok) return NO_MOVE;
    }
    int from = (text[1] - '1') * 8 + (text[0] - 'a');
    int to = (text[3] - '1') * 8 + (text[2] - 'a');
    int flag = 0;
    if (text.size() == 5) {
        const char* found = text[4] ? std::strchr(TYPE_LETTERS, text[4]) : nullptr;
        if (!found) return NO_MOVE;
        flag = int(found - TYPE_LETTERS) * 2;
    }
    int us = p.sideToMove;
    int piece = p.board[from];
    if (piece == makePiece(KING, us)) {
        if (!chess960) {
            if (text == "e1g1" || text == "e8g8") flag = FLAG_SHORT;
            else if (text == "e1c1" || text == "e8c8") flag = FLAG_LONG;
        } else if (p.board[to] == makePiece(ROOK, us)) {
            int backRank = us == WHITE ? 0 : 56;
            if (to != p.castlingRook[CR_WHITE_LONG + us]) {
                flag = FLAG_SHORT;
                to = backRank + 6;
            } else {
                flag = FLAG_LONG;
                to = backRank + 2;
            }
        }
    } else if (piece == makePiece(PAWN, us)) {
        if (fileOf(from) != fileOf(to) && !p.board[to]) {
            flag = FLAG_EP;
            to = us == WHITE ? to - 8 : to + 8;
        } else if (to - from == 16 || from - to == 16) {
            flag = FLAG_DOUBLE;
        }
    }
    // A promotion letter belongs only to a pawn reaching the last rank; on any
    // other move it would be silently dropped above, so the text is refused.
    if (text.size() == 5) {
        bool promotes = piece == makePiece(PAWN, us) && rankOf(to) == (us == WHITE ? 7 : 0);
        bool letterOk = text[4] == 'n' || text[4] == 'b' || text[4] == 'r' || text[4] == 'q';
        if (!promotes || !letterOk) return NO_MOVE;
    }
    return makeMove(from, to, flag);
}

Move findLegalMove(Position& p, int ply, const std::string& text) {
    Move decoded = decodeMove(p, text);
    if (decoded == NO_MOVE) return NO_MOVE;
    Move* start = p.plyStates[ply].moveStart;
    Move* end = generateLegal(ply, p);
    for (Move* m = start; m < end; ++m)
        if (moveBase(*m) == moveBase(decoded)) return moveBase(*m);
    return NO_MOVE;
}
