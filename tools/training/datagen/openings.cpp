#include "openings.h"

#include <fstream>
#include <sstream>

#include "board/makemove.h"
#include "board/movegen.h"

namespace datagen {

bool loadBook(const std::string& path, OpeningBook& book, std::string* error) {
    std::ifstream in(path);
    if (!in) {
        if (error) *error = "cannot read the book " + path;
        return false;
    }
    book.fens.clear();
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string board, side, castling, ep;
        if (!(fields >> board >> side >> castling >> ep)) continue;
        // EPD lines end in operations rather than clocks; the clocks start afresh.
        book.fens.push_back(board + " " + side + " " + castling + " " + ep + " 0 1");
    }
    if (book.fens.empty()) {
        if (error) *error = "no positions in the book " + path;
        return false;
    }
    return true;
}

bool randomOpening(const OpeningBook& book, SplitMix& rng, int randomPlies, Position& p) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string& fen = book.fens[randomBelow(rng, book.fens.size())];
        if (!setFen(p, fen)) continue;
        bool alive = true;
        for (int ply = 0; ply < randomPlies && alive; ++ply) {
            Move* first = p.plyStates[0].moveStart;
            Move* end = generateLegal(0, p);
            if (end == first) alive = false;
            else playRootMove(p, first[randomBelow(rng, uint64_t(end - first))]);
        }
        if (alive && generateLegal(0, p) != p.plyStates[0].moveStart) return true;
    }
    return false;
}

}  // namespace datagen
