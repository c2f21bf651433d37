#include "selfplay.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "board/draw.h"
#include "board/movegen.h"
#include "eval/evaluate.h"
#include "position_record.h"
#include "search/threads.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"

namespace datagen {

void clearForGame(GameSearcher& s) {
    worker& w = *s.searcher;
    std::memset(static_cast<void*>(w.history), 0, sizeof(HistoryBlock));
    std::memset(static_cast<void*>(w.frameStack), 0, sizeof w.frameStack);
    std::memset(static_cast<void*>(s.table.buckets), 0, (s.table.mask + 2) * sizeof(HashBucket));
    s.table.searchCounter = 0;
    s.table.age = 0;
    initEvaluation(w.position);
}

namespace {

bool isThreefold(const Position& p) {
    const uint64_t key = p.keyHistory[p.gamePly - 1];
    int lowest = std::max(0, p.gamePly - 1 - p.fiftyMove);
    int seen = 0;
    for (int i = p.gamePly - 3; i >= lowest; i -= 2)
        if (p.keyHistory[i] == key && ++seen == 2) return true;
    return false;
}

bool tablebaseResult(Position& p, GameResult& whiteResult) {
    int largest = largestTablebase();
    if (largest <= 0 || p.plyStates[0].castling || popcount(occupancy(p)) > largest) return false;
    int wdl = probeWdl(p);
    if (wdl < 0) return false;
    // Cursed wins and blessed losses are draws under the fifty-move rule.
    GameResult mover = wdl == 4 ? RESULT_WIN : wdl == 0 ? RESULT_LOSS : RESULT_DRAW;
    whiteResult = moverResult(mover, p.sideToMove);
    return true;
}

bool finish(PlayedGame& out, Ending ending, GameResult whiteResult) {
    out.ending = ending;
    out.whiteResult = whiteResult;
    for (TrainingRecord& r : out.records) r.result = moverResult(whiteResult, r.sideToMove);
    return true;
}

}  // namespace

const char* endingName(Ending e) {
    static const char* const names[ENDING_COUNT] = {"checkmate", "stalemate", "fifty moves",     "repetition",
                                                    "material",  "tablebase", "win adjudicated", "draw adjudicated",
                                                    "length",    "no opening"};
    return names[int(e)];
}

void openSearcher(GameSearcher& s, int hashMegabytes) {
    // Index 0 everywhere: the aspiration steps depend on the index, and a game
    // must not depend on the thread that plays it.
    s.searcher = std::make_unique<worker>(0);
    s.searcher->stop = &s.stop;
    s.searcher->table = &s.table;
    uint64_t buckets = 1024;
    while (buckets * 2 * sizeof(HashBucket) <= uint64_t(hashMegabytes) << 20) buckets *= 2;
    // One spare bucket after the table, as the shared table has.
    s.table.buckets = static_cast<HashBucket*>(std::calloc(buckets + 1, sizeof(HashBucket)));
    if (!s.table.buckets) throw std::bad_alloc();
    s.table.mask = buckets - 1;
    s.game = std::make_unique<Position>();
    s.moves.assign(MOVE_STACK, NO_MOVE);
    s.game->plyStates[0].moveStart = s.moves.data();
    s.game->evalCache = nullptr;
    s.game->pawnHash = nullptr;
}

void closeSearcher(GameSearcher& s) {
    if (s.searcher) releaseEvaluation(s.searcher->position);
    s.searcher.reset();
    std::free(s.table.buckets);
    s.table = TranspositionTable{};
    s.game.reset();
}

bool keepPosition(const Position& p, Move best, int score, int pliesPlayed, int skipPlies) {
    if (pliesPlayed < skipPlies || p.plyStates[0].inCheck || best == NO_MOVE) return false;
    if (isMateScore(score)) return false;
    if (isPromotion(best) || moveFlag(best) == FLAG_EP) return false;
    // Castling is written king takes own rook, so only other moves onto a piece capture.
    return isCastling(best) || p.board[moveTo(best)] == EMPTY;
}

namespace {

const OpeningBook& initialPositionBook() {
    static const OpeningBook book{{"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"}};
    return book;
}

// Sets up the game's opening, drawing again while the position is already
// decided. False when no opening could be set up at all.
bool chooseOpening(GameSearcher& s, const OpeningBook& book, SplitMix& rng, const GameSettings& settings,
                   PlayedGame& out) {
    Position& p = *s.game;
    for (int attempt = 1;; ++attempt) {
        bool fromStart = settings.startShare > 0 && randomUnit(rng) < settings.startShare;
        if (!randomOpening(fromStart ? initialPositionBook() : book, rng,
                           fromStart ? settings.startPlies : settings.randomPlies, p))
            return false;
        clearForGame(s);
        if (settings.openingLimit <= 0 || attempt == OPENING_TRIES) return true;
        newSearch(s.table);
        SoloSearchResult found = searchToNodes(*s.searcher, p, settings.nodes, settings.nodeLimit);
        out.nodes += found.nodes;
        if (std::abs(found.score) <= settings.openingLimit) {
            clearForGame(s);  // the game depends on its opening alone, not on the check
            return true;
        }
        ++out.refusedOpenings;
    }
}

}  // namespace

bool playGame(GameSearcher& s, const OpeningBook& book, uint64_t seed, const GameSettings& settings,
              const std::atomic<bool>& abort, PlayedGame& out) {
    out = PlayedGame{};
    SplitMix rng{seed};
    Position& p = *s.game;
    if (!chooseOpening(s, book, rng, settings, out)) return finish(out, Ending::NO_OPENING, RESULT_DRAW);
    AdjudicationState adjudication;

    for (int ply = 0;; ++ply) {
        if (abort.load(std::memory_order_relaxed)) return false;
        out.plies = ply;
        if (generateLegal(0, p) == p.plyStates[0].moveStart) {
            if (p.plyStates[0].inCheck)
                return finish(out, Ending::CHECKMATE, p.sideToMove == WHITE ? RESULT_LOSS : RESULT_WIN);
            return finish(out, Ending::STALEMATE, RESULT_DRAW);
        }
        if (p.fiftyMove >= 100) return finish(out, Ending::FIFTY_MOVES, RESULT_DRAW);
        if (isThreefold(p)) return finish(out, Ending::REPETITION, RESULT_DRAW);
        if (insufficientMaterial(p)) return finish(out, Ending::MATERIAL, RESULT_DRAW);
        GameResult tbResult;
        if (tablebaseResult(p, tbResult)) return finish(out, Ending::TABLEBASE, tbResult);

        newSearch(s.table);
        SoloSearchResult found = searchToNodes(*s.searcher, p, settings.nodes, settings.nodeLimit);
        out.nodes += found.nodes;
        if (found.move == NO_MOVE) return finish(out, Ending::STALEMATE, RESULT_DRAW);  // cannot happen: moves exist

        if (keepPosition(p, found.move, found.score, ply, settings.skipPlies)) {
            TrainingRecord r;
            if (recordFromPosition(p, found.score, RESULT_DRAW, r)) {
                out.records.push_back(r);
                if (settings.keepFens) out.fens.push_back(getFen(p));
            }
        }
        int whiteScore = p.sideToMove == WHITE ? found.score : -found.score;
        Verdict v = adjudicate(adjudication, settings.rules, whiteScore, ply);
        if (v == Verdict::TOO_LONG) return finish(out, Ending::LENGTH, RESULT_DRAW);
        if (v == Verdict::DRAW) return finish(out, Ending::DRAW_ADJUDICATED, RESULT_DRAW);
        if (v != Verdict::NONE) return finish(out, Ending::WIN_ADJUDICATED, whiteResultOf(v));
        playRootMove(p, found.move);
    }
}

}  // namespace datagen
