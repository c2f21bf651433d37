#include "board/position.h"

#include <cstring>
#include <sstream>
#include <vector>

#include "board/attacks.h"
#include "board/zobrist.h"
#include "eval/tables.h"

bool chess960 = false;
Move mainMoveStack[MOVE_STACK];
const char* START_FEN = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

Bitboard attackersOf(const Position& p, int sq, int by, Bitboard occ) {
    const Bitboard* pc = p.pieces;
    Bitboard queens = pc[WQUEEN + by];
    return (bishopAttacks(sq, occ) & (pc[WBISHOP + by] | queens)) | (rookAttacks(sq, occ) & (pc[WROOK + by] | queens))
           | (pawnAttackers[by][sq] & pc[WPAWN + by]) | (knightAttacks[sq] & pc[WKNIGHT + by])
           | (kingAttacks[sq] & pc[WKING + by]);
}

bool isAttacked(const Position& p, int sq, int by, Bitboard occ) { return attackedBy(p.pieces, sq, by, occ); }

void computeKeys(Position& p) {
    uint64_t key = 0, pawnKey = 0;
    for (int sq = 0; sq < 64; ++sq) {
        int code = p.board[sq];
        if (!code) continue;
        key ^= pieceKeys[code][sq];
        if (typeOf(code) == PAWN || typeOf(code) == KING) pawnKey ^= pieceKeys[code][sq];
    }
    const posinfo& root = p.plyStates[0];
    key ^= castlingKeys[root.castling];
    if (root.epSquare) key ^= epKeys[root.epSquare & 7];
    if (p.sideToMove == BLACK) key ^= sideKey;
    p.key = key;
    p.pawnKey = pawnKey;
}

void computeEvalSums(Position& p) {
    p.material[0] = p.material[1] = 0;
    p.psq[0] = p.psq[1] = 0;
    p.phase = 0;
    for (int type = PAWN; type <= KING; ++type)
        for (int colour = 0; colour < 2; ++colour) {
            int code = makePiece(type, colour);
            Bitboard b = p.pieces[code];
            while (b) {
                int sq = popLsb(b);
                if (type != KING) p.material[colour] += materialOf(code);
                p.psq[colour] += psqOf(code, sq);
                p.phase += phaseWeight[type];
            }
        }
}

void clearPosition(Position& p) {
    std::memset(p.board, 0, sizeof p.board);
    std::memset(p.pieces, 0, sizeof p.pieces);
    p.key = p.pawnKey = 0;
    p.material[0] = p.material[1] = p.psq[0] = p.psq[1] = 0;
    p.phase = 0;
    p.sideToMove = WHITE;
    p.gamePly = p.fiftyMove = 0;
    setRootPlyState(p, posinfo{});
    p.dirty[0].count = 0;
    p.acc[0].computed = 0;
}

namespace {

std::vector<std::string> splitBlanks(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    std::string word;
    while (in >> word) out.push_back(word);
    return out;
}

bool fail(std::string* error, const std::string& why) {
    if (error) *error = why;
    return false;
}

bool parseCount(const std::string& text, long limit, long& value) {
    if (text.empty() || text.size() > 9) return false;
    for (char c : text)
        if (c < '0' || c > '9') return false;
    value = std::stol(text);
    return value <= limit;
}

void putPiece(Position& p, int code, int sq) {
    p.board[sq] = uint8_t(code);
    p.pieces[code] |= bit(sq);
    p.pieces[colourOf(code)] |= bit(sq);
}

// Promoted pieces beyond the pawns a side could have promoted make positions
// that cannot arise in a game; they are refused so that move lists stay bounded.
bool materialIsPossible(const Position& p, int c) {
    int pawns = popcount(p.pieces[WPAWN + c]);
    int extra = 0;
    int base[7] = {0, 0, 2, 2, 2, 1, 1};
    for (int type = KNIGHT; type <= QUEEN; ++type) {
        int n = popcount(p.pieces[makePiece(type, c)]);
        if (n > base[type]) extra += n - base[type];
    }
    return pawns + extra <= 8;
}

// Drops castling rights that the placement cannot support: the king must be on
// its back rank (on the e-file outside Chess960) with the right's rook beside it.
// Returns the rights dropped.
int sanitiseCastling(Position& p) {
    int dropped = 0;
    posinfo& root = p.plyStates[0];
    for (int index = 0; index < 4; ++index) {
        int rightBit = 1 << index;
        if (!(root.castling & rightBit)) continue;
        int colour = index & 1;
        bool isShort = index < 2;
        int backRank = colour == WHITE ? 0 : 7;
        int king = kingSquare(p, colour);
        int rook = p.castlingRook[index];
        bool ok = rook < 64 && rankOf(king) == backRank && rankOf(rook) == backRank
                  && p.board[rook] == makePiece(ROOK, colour)
                  && (isShort ? fileOf(rook) > fileOf(king) : fileOf(rook) < fileOf(king));
        if (ok && !chess960) ok = fileOf(king) == 4 && fileOf(rook) == (isShort ? 7 : 0);
        if (!ok) {
            root.castling &= ~rightBit;
            dropped |= rightBit;
        }
    }
    return dropped;
}

}  // namespace

bool setFen(Position& p, const std::string& fenText, std::string* error, int* droppedCastling) {
    clearPosition(p);
    std::vector<std::string> fields = splitBlanks(fenText);
    if (fields.size() < 2) return fail(error, "a FEN needs at least the placement and the side to move");
    if (fields.size() == 2) fields.push_back("-");
    if (fields.size() == 3) fields.push_back("-");
    if (fields.size() == 4) fields.push_back("0");
    if (fields.size() == 5) fields.push_back("1");

    // Placement.
    int rank = 7, file = 0;
    for (char c : fields[0]) {
        if (c == '/') {
            if (file != 8 || rank == 0) return fail(error, "wrong number of squares in a rank of the placement");
            --rank;
            file = 0;
        } else if (c >= '1' && c <= '8') {
            file += c - '0';
            if (file > 8) return fail(error, "too many squares in a rank of the placement");
        } else {
            const char* letter = c ? std::strchr(PIECE_LETTERS + 2, c) : nullptr;
            if (!letter) return fail(error, std::string("unexpected character '") + c + "' in the placement");
            if (file > 7) return fail(error, "too many squares in a rank of the placement");
            putPiece(p, int(letter - PIECE_LETTERS), rank * 8 + file);
            ++file;
        }
    }
    if (rank != 0 || file != 8) return fail(error, "the placement does not describe eight ranks of eight squares");
    if (popcount(p.pieces[WKING]) != 1 || popcount(p.pieces[BKING]) != 1)
        return fail(error, "each side needs exactly one king");
    if ((p.pieces[WPAWN] | p.pieces[BPAWN]) & 0xff000000000000ffull)
        return fail(error, "pawns cannot stand on the first or last rank");
    if (!materialIsPossible(p, WHITE) || !materialIsPossible(p, BLACK))
        return fail(error, "more pieces than a side can have");

    // Side to move.
    if (fields[1] != "w" && fields[1] != "b") return fail(error, "the side to move must be w or b");
    p.sideToMove = fields[1] == "w" ? WHITE : BLACK;
    if (sideInCheck(p, p.sideToMove ^ 1)) return fail(error, "the side not to move is in check");

    // Castling.
    posinfo& root = p.plyStates[0];
    root.castling = 0;
    const uint8_t NONE = 'A';
    if (chess960) {
        for (int i = 0; i < 4; ++i) p.castlingRook[i] = NONE;
    } else {
        p.castlingRook[CR_WHITE_SHORT] = 7;
        p.castlingRook[CR_BLACK_SHORT] = 63;
        p.castlingRook[CR_WHITE_LONG] = 0;
        p.castlingRook[CR_BLACK_LONG] = 56;
    }
    // A file letter names the rook; the side of the king it stands on says which right it is.
    auto castleWithRookOn = [&](int colour, int sq) {
        int index = (sq >= kingSquare(p, colour) ? CR_WHITE_SHORT : CR_WHITE_LONG) + colour;
        root.castling |= 1 << index;  // the mask bit that goes with castlingRook[index]
        p.castlingRook[index] = uint8_t(sq);
    };
    if (fields[2] != "-") {
        for (char c : fields[2]) {
            if (c == 'K') root.castling |= WHITE_SHORT;
            else if (c == 'Q') root.castling |= WHITE_LONG;
            else if (c == 'k') root.castling |= BLACK_SHORT;
            else if (c == 'q') root.castling |= BLACK_LONG;
            else if (c >= 'A' && c <= 'H') castleWithRookOn(WHITE, c - 'A');
            else if (c >= 'a' && c <= 'h') castleWithRookOn(BLACK, 56 + (c - 'a'));
            else return fail(error, std::string("unexpected castling letter '") + c + "'");
        }
        Bitboard whiteRooks = p.pieces[WROOK], blackRooks = p.pieces[BROOK];
        auto highest = [](Bitboard b) { return b ? 63 - __builtin_clzll(b) : 0; };
        if ((root.castling & WHITE_LONG) && p.castlingRook[CR_WHITE_LONG] == NONE && whiteRooks)
            p.castlingRook[CR_WHITE_LONG] = uint8_t(lsb(whiteRooks));
        if ((root.castling & WHITE_SHORT) && p.castlingRook[CR_WHITE_SHORT] == NONE && whiteRooks)
            p.castlingRook[CR_WHITE_SHORT] = uint8_t(highest(whiteRooks));
        if ((root.castling & BLACK_LONG) && p.castlingRook[CR_BLACK_LONG] == NONE && blackRooks)
            p.castlingRook[CR_BLACK_LONG] = uint8_t(lsb(blackRooks));
        if ((root.castling & BLACK_SHORT) && p.castlingRook[CR_BLACK_SHORT] == NONE && blackRooks)
            p.castlingRook[CR_BLACK_SHORT] = uint8_t(highest(blackRooks));
    }
    int dropped = sanitiseCastling(p);
    if (droppedCastling) *droppedCastling = dropped;

    // En passant: the square of the pawn that can be taken.
    root.epSquare = 0;
    if (fields[3] != "-") {
        const std::string& ep = fields[3];
        if (ep.size() != 2 || ep[0] < 'a' || ep[0] > 'h' || (ep[1] != '3' && ep[1] != '6'))
            return fail(error, "the en-passant field must be a square on the third or sixth rank");
        int target = (ep[1] - '1') * 8 + (ep[0] - 'a');
        int them = p.sideToMove ^ 1;
        int pawnSq = p.sideToMove == BLACK ? target + 8 : target - 8;
        int origin = p.sideToMove == BLACK ? target - 8 : target + 8;
        // A target that no double step can explain is ignored rather than trusted.
        if (rankOf(target) == (p.sideToMove == BLACK ? 2 : 5) && p.board[pawnSq] == makePiece(PAWN, them)
            && !p.board[target] && !p.board[origin])
            root.epSquare = uint8_t(pawnSq);
    }

    long fifty = 0, fullMove = 1;
    if (!parseCount(fields[4], 9999, fifty)) return fail(error, "the half-move clock is not a number from 0 to 9999");
    if (!parseCount(fields[5], 99999, fullMove)) return fail(error, "the move number is not a number");
    p.fiftyMove = int16_t(fifty);
    long ply = 2 * (fullMove - 1) + p.sideToMove;
    if (ply < 0) ply = 0;
    if (ply > 512) ply = 512;
    p.gamePly = int16_t(ply);
    for (int i = 0; i < p.gamePly; ++i) p.keyHistory[i] = 0;

    computeKeys(p);
    p.keyHistory[p.gamePly] = p.key;
    ++p.gamePly;
    root.inCheck = sideInCheck(p, p.sideToMove);
    root.genMarker = 0;
    root.captured = 0;
    computeEvalSums(p);
    p.dirty[0].count = 0;
    p.acc[0].computed = 0;
    return true;
}

std::string placementFen(const uint8_t board[64]) {
    std::string out;
    for (int rank = 7; rank >= 0; --rank) {
        int empty = 0;
        for (int file = 0; file < 8; ++file) {
            int code = board[rank * 8 + file];
            if (!code) {
                ++empty;
                continue;
            }
            if (empty) out += char('0' + empty);
            empty = 0;
            out += PIECE_LETTERS[code];
        }
        if (empty) out += char('0' + empty);
        if (rank) out += '/';
    }
    return out;
}

std::string getFen(const Position& p) {
    std::string out = placementFen(p.board);
    out += p.sideToMove == WHITE ? " w " : " b ";
    const posinfo& root = p.plyStates[0];
    std::string castling;
    auto letter = [&](int index, char standard) {
        int sq = p.castlingRook[index];
        if (!chess960) return standard;
        char file = char('a' + fileOf(sq));
        return (index & 1) ? file : char(file - 'a' + 'A');
    };
    if (root.castling & WHITE_SHORT) castling += letter(CR_WHITE_SHORT, 'K');
    if (root.castling & WHITE_LONG) castling += letter(CR_WHITE_LONG, 'Q');
    if (root.castling & BLACK_SHORT) castling += letter(CR_BLACK_SHORT, 'k');
    if (root.castling & BLACK_LONG) castling += letter(CR_BLACK_LONG, 'q');
    out += castling.empty() ? "-" : castling;
    out += ' ';
    if (root.epSquare) {
        int target = p.sideToMove == BLACK ? root.epSquare - 8 : root.epSquare + 8;
        out += char('a' + fileOf(target));
        out += char('1' + rankOf(target));
    } else {
        out += '-';
    }
    int fullMove = (p.gamePly - 1 - p.sideToMove) / 2 + 1;
    out += ' ' + std::to_string(p.fiftyMove) + ' ' + std::to_string(fullMove < 1 ? 1 : fullMove);
    return out;
}

std::string boardPicture(const Position& p) {
    const char* line = "+---+---+---+---+---+---+---+---+\n";
    std::string out = line;
    for (int rank = 7; rank >= 0; --rank) {
        for (int file = 0; file < 8; ++file) {
            out += "| ";
            out += PIECE_LETTERS[p.board[rank * 8 + file]];
            out += ' ';
        }
        out += "|\n";
        out += line;
    }
    return out;
}

void copyRootPosition(Position& dst, const Position& src) {
    std::memcpy(dst.board, src.board, sizeof src.board);
    std::memcpy(dst.pieces, src.pieces, sizeof src.pieces);
    copyUndoFields(dst, src);
    dst.sideToMove = src.sideToMove;
    dst.gamePly = src.gamePly;
    std::memcpy(dst.castlingRook, src.castlingRook, sizeof src.castlingRook);
    std::memcpy(dst.keyHistory, src.keyHistory, sizeof(uint64_t) * src.gamePly);
    setRootPlyState(dst, src.plyStates[0]);
    dst.dirty[0].count = 0;
    dst.acc[0].computed = 0;
}

bool positionIsConsistent(const Position& p, int ply, std::string* why) {
    static thread_local Position copy;
    std::memcpy(copy.board, p.board, sizeof p.board);
    std::memset(copy.pieces, 0, sizeof copy.pieces);
    for (int sq = 0; sq < 64; ++sq)
        if (p.board[sq]) putPiece(copy, p.board[sq], sq);
    for (int i = 0; i < 14; ++i)
        if (copy.pieces[i] != p.pieces[i])
            return fail(why, "bitboard " + std::to_string(i) + " differs from the mailbox");
    copy.sideToMove = p.sideToMove;
    copy.plyStates[0].castling = p.plyStates[ply].castling;
    copy.plyStates[0].epSquare = p.plyStates[ply].epSquare;
    computeKeys(copy);
    if (copy.key != p.key) return fail(why, "key differs");
    computeEvalSums(copy);
    if (copy.material[0] != p.material[0] || copy.material[1] != p.material[1])
        return fail(why, "material sums differ");
    if (copy.psq[0] != p.psq[0] || copy.psq[1] != p.psq[1]) return fail(why, "piece-square sums differ");
    if (copy.phase != p.phase) return fail(why, "phase differs");
    if (copy.pawnKey != p.pawnKey) return fail(why, "pawn key differs");
    return true;
}
