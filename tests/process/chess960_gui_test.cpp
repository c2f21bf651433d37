// Chess960 as a UCI GUI plays it: the UCI_Chess960 option, start positions with X-FEN castling letters, and castling
// sent and answered as the king taking its own rook.
#include "search_session.h"

namespace {
const std::regex BESTMOVE("^bestmove ([a-h][1-8][a-h][1-8][nbrq]?)( ponder [a-h][1-8][a-h][1-8][nbrq]?)?$");
std::string bestMoveOf(EngineSession& s) {
    auto lines = s.untilBestMove();
    std::smatch m;
    if (lines.empty() || !std::regex_match(lines.back(), m, BESTMOVE)) return "";
    return m[1];
}

// Everything the engine prints in answer to `command`, up to its readyok.
std::vector<std::string> answerTo(EngineSession& s, const std::string& command) {
    s.send(command);
    auto lines = s.ready();
    if (!lines.empty()) lines.pop_back();  // the readyok
    return lines;
}

bool isKingTakesRook(const std::vector<std::string>& board, const std::string& move) {
    // Picture rows: rank 8 on line 1, rank 1 on line 15; squares at columns 2, 6, ...
    auto at = [&](const std::string& sq) {
        int file = sq[0] - 'a', rank = sq[1] - '1';
        return board[size_t(15 - 2 * rank)][size_t(2 + 4 * file)];
    };
    char from = at(move.substr(0, 2)), to = at(move.substr(2, 2));
    return (from == 'K' && to == 'R') || (from == 'k' && to == 'r');
}
}  // namespace
// Games from the Chess960 book: every move the engine answers is taken back
// by the position command exactly as a GUI sends it, castling included.
TEST(Chess960Gui, PlaysBookStartPositionsWithXFenCastling) {
    std::vector<std::string> fens = bookFens("books/FRC_openings.epd", 24);
    ASSERT_EQ(fens.size(), 24u);
    EngineSession s(false);  // the built-in network, so that the play is sensible
    EXPECT_EQ(answerTo(s, "setoption name UCI_Chess960 value true"),
              std::vector<std::string>{"info string UCI_Chess960 set to : 1"});
    // Whether a game castles depends on the network, so play on (up to 24 games) until some have: at least 6 games and
    // 2 castlings.
    int games = 0, castlings = 0;
    for (; (games < 6 || castlings < 2) && games < 24; ++games) {
        const std::string& fen = fens[games];
        s.send("ucinewgame");
        std::string moves;
        for (int ply = 0; ply < 24; ++ply) {
            std::string position = "position fen " + fen + (moves.empty() ? "" : " moves" + moves);
            auto board = answerTo(s, position + "\nshowboard");
            ASSERT_EQ(board.size(), 17u) << position << "\n" << (board.empty() ? "" : board[0]);
            s.send("go nodes 4000");
            std::string move = bestMoveOf(s);
            ASSERT_FALSE(move.empty()) << position;
            castlings += isKingTakesRook(board, move);
            moves += " " + move;
        }
    }
    EXPECT_GE(games, 6);
    EXPECT_GE(castlings, 2) << "too few games castled in " << games << "; the check above hardly ran";
}

// O-O mates here; the engine must say so in the form its mode expects.
TEST(Chess960Gui, CastlingIsAnsweredAsKingTakesRookOnlyInChess960) {
    EngineSession s;
    // The last: the same right named by its rook's file.
    for (auto [chess960, rights, expected] :
         {std::tuple{false, "K", "e1g1"}, {true, "K", "e1h1"}, {true, "H", "e1h1"}}) {
        if (chess960) answerTo(s, "setoption name UCI_Chess960 value true");
        s.send(std::string("position fen 4rkr1/4p1p1/8/8/8/8/8/4K2R w ") + rights + " - 0 1");
        s.send("go depth 3");
        EXPECT_EQ(bestMoveOf(s), expected) << rights << (chess960 ? " in Chess960" : "");
    }
}

// X-FEN letters name the outermost rooks; castling either way, for both sides.
TEST(Chess960Gui, CastlingSentAsKingTakesRookMovesBothPieces) {
    EngineSession s;
    answerTo(s, "setoption name UCI_Chess960 value true");
    auto board = answerTo(s, "position fen r3k2r/8/8/8/8/8/8/RK5R w KQk - 0 1 moves b1a1 e8h8\nshowboard");
    ASSERT_EQ(board.size(), 17u) << (board.empty() ? "" : board[0]);
    EXPECT_EQ(board[1], "| r |   |   |   |   | r | k |   |");
    EXPECT_EQ(board[15], "|   |   | K | R |   |   |   | R |");
    // Castling once takes both of a side's rights.
    auto refused = answerTo(s, "position fen r3k2r/8/8/8/8/8/8/RK5R w KQk - 0 1 moves b1a1 e8h8 c1h1");
    ASSERT_EQ(refused.size(), 1u);
    EXPECT_EQ(refused[0].rfind("info string ", 0), 0u) << refused[0];
    // Only the exact word "true" turns the mode on.
    EXPECT_EQ(answerTo(s, "setoption name UCI_Chess960 value True"),
              std::vector<std::string>{"info string UCI_Chess960 set to : 0"});
}
