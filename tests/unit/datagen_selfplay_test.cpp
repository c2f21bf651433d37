#include "datagen_support.h"
#include "tablebase/registry.h"
#include "uci/movetext.h"

using namespace datagen;

namespace {
using DatagenRules = DatagenTest;

TEST_F(DatagenRules, KeepsOnlyQuietPositionsWithMeaningfulScoresAfterTheOpening) {
    const char* quiet = "r3k2r/ppp2ppp/2n1bn2/3pp3/3PP3/2N1BN2/PPP2PPP/R3K2R w KQkq - 0 9";
    for (auto [fen, move, score, ply, kept, what] :
         {std::tuple{quiet, "a2a3", 35, 8, true, "quiet move"},
          {quiet, "e1g1", -35, 20, true, "castling"},
          {quiet, "a2a3", 35, 7, false, "inside the skipped plies"},
          {quiet, "e4d5", 35, 20, false, "capture"},
          {quiet, "a2a3", MATE_BOUND - 1, 20, true, "largest plain score"},
          {quiet, "a2a3", MATE_BOUND, 20, false, "mate and tablebase scores"},
          {quiet, "a2a3", matedIn(5), 20, false, "mated"},
          {"8/4P1k1/8/8/8/8/6K1/8 w - - 0 1", "e7e8q", 900, 20, false, "promotion"},
          {"4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1", "e5d6", 0, 20, false, "en passant"},
          {"4k3/8/8/8/8/8/4r3/4K3 w - - 0 1", "e1d1", 0, 20, false, "in check"}}) {
        TestPosition p(fen);
        Move m = findLegalMove(*p, 0, move);
        ASSERT_TRUE(m) << what;
        EXPECT_EQ(keepPosition(*p, m, score, ply, 8), kept) << what;
    }
    EXPECT_FALSE(keepPosition(*TestPosition(quiet), NO_MOVE, 0, 20, 8));
}

TEST_F(DatagenRules, Chess960CastlingOntoTheOwnRookIsNoCapture) {
    chess960 = true;
    TestPosition p("bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKR1 w Gg - 0 1");
    Move castle = NO_MOVE;
    for (Move *m = p->plyStates[0].moveStart, *end = generateLegal(0, *p); m < end; ++m)
        if (isCastling(*m)) castle = *m;
    chess960 = false;
    ASSERT_TRUE(castle);
    EXPECT_NE(p->board[moveTo(castle)], EMPTY) << "written as king takes rook";
    EXPECT_TRUE(keepPosition(*p, castle, 10, 20, 8));
}

TEST_F(DatagenRules, AdjudicationNeedsAnUnbrokenRun) {
    const AdjudicationRules rules{
        .winMargin = 500, .winPlies = 4, .drawMargin = 10, .drawPlies = 6, .drawStartPly = 40, .maxPlies = 300};
    AdjudicationState s;
    int ply = 0;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(adjudicate(s, rules, 600, ply++), Verdict::NONE);
    EXPECT_EQ(adjudicate(s, rules, 499, ply++), Verdict::NONE) << "a ply inside the margin starts the count again";
    for (int i = 0; i < 3; ++i) EXPECT_EQ(adjudicate(s, rules, 700, ply++), Verdict::NONE);
    EXPECT_EQ(adjudicate(s, rules, mateIn(3), ply++), Verdict::WHITE_WINS) << "mate scores count as beyond the margin";
    s = {};
    for (int i = 0; i < 3; ++i) EXPECT_EQ(adjudicate(s, rules, -500, i), Verdict::NONE);
    EXPECT_EQ(adjudicate(s, rules, -500, 3), Verdict::BLACK_WINS);
    EXPECT_EQ(whiteResultOf(Verdict::BLACK_WINS), RESULT_LOSS);
    s = {};
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(adjudicate(s, rules, i % 2 ? 10 : -10, i), Verdict::NONE) << "too early for a draw";
    for (int i = 20; i < 39; ++i) adjudicate(s, rules, 3, i);
    EXPECT_EQ(adjudicate(s, rules, 0, 39), Verdict::DRAW);
    s = {};
    for (int i = 100; i < 105; ++i) EXPECT_EQ(adjudicate(s, rules, 0, i), Verdict::NONE);
    EXPECT_EQ(adjudicate(s, rules, 11, 105), Verdict::NONE) << "one ply beyond the draw margin breaks the run";
    EXPECT_EQ(adjudicate(s, rules, 200, 298), Verdict::NONE);
    EXPECT_EQ(adjudicate(s, rules, 200, 299), Verdict::TOO_LONG);
    EXPECT_EQ(whiteResultOf(Verdict::TOO_LONG), RESULT_DRAW);
}

struct DatagenGames : DatagenSearcherTest {
    PlayedGame play(const std::vector<std::string>& lines, uint64_t seed, GameSettings settings) {
        OpeningBook book;
        TempBook file("book.epd", lines);
        std::string error;
        EXPECT_TRUE(loadBook(file.path, book, &error)) << error;
        PlayedGame game;
        std::atomic<bool> never{false};
        EXPECT_TRUE(playGame(searcher, book, seed, settings, never, game));
        return game;
    }
};

// Games from the book line as it stands: no random plies, every position kept.
GameSettings bookLineSettings(uint64_t nodes) {
    return {.nodes = nodes, .randomPlies = 0, .skipPlies = 0, .rules = {}};
}
TEST_F(DatagenGames, RecordsCarryTheGameResultFromTheMoversView) {
    const GameSettings settings{.nodes = 1000, .keepFens = true, .rules = {}};
    for (uint64_t seed : {1, 2}) {
        PlayedGame game = play(MIDDLEGAME_BOOK, seed, settings);
        ASSERT_EQ(game.fens.size(), game.records.size());
        EXPECT_GT(game.records.size(), 0u);
        EXPECT_LE(int(game.records.size()), game.plies - settings.skipPlies + 1);
        bool decisive = game.ending == Ending::CHECKMATE || game.ending == Ending::WIN_ADJUDICATED
                        || game.ending == Ending::TABLEBASE;
        EXPECT_EQ(decisive, game.whiteResult != RESULT_DRAW) << endingName(game.ending);
        for (size_t i = 0; i < game.records.size(); ++i) {
            const TrainingRecord& r = game.records[i];
            TestPosition p(recordFen(r), TestPosition::MayFail{});  // read back through the engine's FEN reader
            ASSERT_TRUE(p.ok && popcount(p->pieces[WKING]) == 1 && popcount(p->pieces[BKING]) == 1) << recordFen(r);
            EXPECT_FALSE(sideInCheck(*p, p->sideToMove)) << game.fens[i];
            EXPECT_LT(std::abs(r.score), MATE_BOUND);
            EXPECT_EQ(r.result, moverResult(game.whiteResult, r.sideToMove));
            TrainingRecord fromFen;
            ASSERT_TRUE(recordFromFen(game.fens[i], r.score, GameResult(r.result), fromFen));
            EXPECT_EQ(fromFen, r) << "the FEN kept for the tuning file is the recorded position";
        }
    }
}

TEST_F(DatagenGames, CheckmateEndsTheGameAndTheMatingMoveIsNotKept) {
    PlayedGame game = play({"6k1/5ppp/8/8/8/8/5PPP/3R2K1 w - - 0 1"}, 3, bookLineSettings(2000));
    EXPECT_TRUE(game.ending == Ending::CHECKMATE && game.whiteResult == RESULT_WIN && game.plies == 1)
        << endingName(game.ending);
    EXPECT_TRUE(game.records.empty()) << "the only position searched had a mate score";
}

// A decided opening is drawn again; when the book holds nothing else, the
// last try is played whatever its score rather than no game at all.
TEST_F(DatagenGames, DecidedOpeningsAreDrawnAgain) {
    const std::string queenUp = "rnb1kbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - 0 3";
    GameSettings settings = bookLineSettings(600);
    settings.keepFens = true, settings.openingLimit = 300, settings.rules.maxPlies = 6;
    PlayedGame onlyDecided = play({queenUp}, 5, settings);
    EXPECT_EQ(onlyDecided.refusedOpenings, OPENING_TRIES - 1);
    // Beside balanced lines (each with both queens), no game starts from the decided one.
    std::vector<std::string> mixed = MIDDLEGAME_BOOK;
    mixed.insert(mixed.end(), MIDDLEGAME_BOOK.size(), queenUp);  // half the book
    int refused = 0;
    for (uint64_t seed = 1; seed <= 12; ++seed) {
        PlayedGame game = play(mixed, seed, settings);
        refused += game.refusedOpenings;
        ASSERT_FALSE(game.fens.empty());
        const std::string& first = game.fens.front();
        EXPECT_NE(first.substr(0, first.find(' ')).find('q'), std::string::npos) << "seed " << seed << ": " << first;
    }
    EXPECT_GT(refused, 3) << "twelve games hardly drew the decided line";
    // Without a limit the decided line is played at once.
    settings.openingLimit = 0;
    EXPECT_EQ(play({queenUp}, 5, settings).refusedOpenings, 0);
}

TEST_F(DatagenGames, AShareOfGamesStartsFromTheInitialPosition) {
    // A book line that no walk from the initial position could reach in a few moves.
    const std::string bareKings = "4k3/pppppppp/8/8/8/8/PPPPPPPP/4K3 w - - 0 1";
    GameSettings settings = bookLineSettings(300);
    settings.keepFens = true, settings.startShare = 0.5, settings.startPlies = 6, settings.rules.maxPlies = 3;
    int fromStart = 0;
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        PlayedGame game = play({bareKings}, seed, settings);
        ASSERT_FALSE(game.fens.empty());
        bool initial = popcount(occupancy(*TestPosition(game.fens.front()))) > 20;  // the book line has 18 pieces
        fromStart += initial;
        EXPECT_TRUE(!initial || game.fens.front().rfind("rnbqkbnr/pppppppp/8/8/8/8/", 0) != 0) << "random moves made";
    }
    EXPECT_GT(fromStart, 8);
    EXPECT_LT(fromStart, 32);
}

TEST_F(DatagenGames, TablebasesEndGamesWithTheirResult) {
    ASSERT_TRUE(initTablebases(testDataPath("syzygy")));
    ASSERT_GE(largestTablebase(), 4);
    const GameSettings settings{.nodes = 500, .randomPlies = 0, .rules = {}};
    PlayedGame win = play({"8/8/8/4k3/8/8/3QK3/8 b - - 0 1"}, 1, settings);
    PlayedGame draw = play({"8/8/3rk3/8/8/3RK3/8/8 w - - 0 1"}, 1, settings);
    initTablebases("");
    EXPECT_TRUE(win.ending == Ending::TABLEBASE && win.whiteResult == RESULT_WIN) << endingName(win.ending);
    EXPECT_TRUE(draw.ending == Ending::TABLEBASE && draw.whiteResult == RESULT_DRAW) << endingName(draw.ending);
}

// Reaching the tables by a capture: six pieces, one more than the largest
// shared table (KRPvKR), and the free knight on d5 is taken at once.
TEST_F(DatagenGames, ACaptureIntoTheTablesEndsTheGame) {
    SKIP_WITHOUT_SHARED_DATA("syzygy/KRPvKR.rtbw");
    ASSERT_TRUE(initTablebases(sharedDataPath("syzygy")));
    ASSERT_EQ(largestTablebase(), 5);
    PlayedGame reached = play({"r3k3/8/8/3n4/8/8/4P3/3RK3 w - - 0 1"}, 1, bookLineSettings(500));
    initTablebases("");
    EXPECT_EQ(reached.ending, Ending::TABLEBASE);
    EXPECT_EQ(reached.plies, 1);
    EXPECT_TRUE(reached.records.empty()) << "the best move was a capture";
}
}  // namespace
