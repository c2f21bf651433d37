#include "generator.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <map>
#include <mutex>
#include <ostream>
#include <thread>

#include "data_filter.h"
#include "position_record.h"
#include "random.h"

namespace datagen {

namespace {

using Clock = std::chrono::steady_clock;

bool stopRequested(const GeneratorSettings& settings) { return settings.stopRequest && settings.stopRequest->load(); }

// The seed of game `index` of a run: every game has its own stream, whichever
// thread plays it, so a game can be replayed from its number.
uint64_t gameSeed(uint64_t runSeed, uint64_t index) {
    SplitMix r{runSeed ^ (index * 0xd1b54a32d192ed03ULL)};
    nextRandom(r);
    return nextRandom(r);
}

// Finished games wait here until every game before them is written.
struct GameQueue {
    std::mutex mutex;
    std::condition_variable ready;
    std::map<uint64_t, PlayedGame> finished;
    std::atomic<uint64_t> nextGame{0};
    std::atomic<bool> stop{false};
    int running = 0;  // game threads still playing
};

// One stretch of games from one book: the standard games, then the Chess960 ones.
struct Phase {
    const OpeningBook* book;
    bool chess960;
    uint64_t firstGame;
    uint64_t games;  // 0: as many as the positions need
    uint64_t positions;
};

struct Output {
    DataWriter data;
    std::ofstream tuning;
    bool wantData = false;
    bool wantTuning = false;
};

void playGames(GameQueue& q, const Phase& phase, const GeneratorSettings& settings) {
    GameSearcher searcher;
    openSearcher(searcher, settings.hashMegabytes);
    GameSettings game = settings.game;
    if (phase.chess960) game.startShare = 0;  // the initial position is a standard one
    for (;;) {
        uint64_t index = q.nextGame.fetch_add(1);
        if (q.stop.load() || (phase.games && index >= phase.firstGame + phase.games)) break;
        PlayedGame played;
        if (!playGame(searcher, *phase.book, gameSeed(settings.seed, index), game, q.stop, played)) break;
        std::lock_guard<std::mutex> lock(q.mutex);
        q.finished.emplace(index, std::move(played));
        q.ready.notify_all();
    }
    closeSearcher(searcher);
    std::lock_guard<std::mutex> lock(q.mutex);
    --q.running;
    q.ready.notify_all();
}

void writeGame(Output& out, const PlayedGame& game) {
    for (size_t i = 0; i < game.records.size(); ++i) {
        if (out.wantData) writeRecord(out.data, game.records[i]);
        if (out.wantTuning) out.tuning << tuningLine(game.fens[i], game.whiteResult) << '\n';
    }
}

std::string clockText(double seconds) {
    long s = std::lround(std::max(0.0, seconds));
    char text[32];
    std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", s / 3600, s / 60 % 60, s % 60);
    return text;
}

void printProgress(std::ostream& log, const GeneratorSummary& sum, const GeneratorSettings& settings, double elapsed) {
    double rate = elapsed > 0 ? double(sum.positions) / elapsed : 0;
    double left = 0;
    if (settings.positions)
        left = rate > 0 ? double(settings.positions - std::min(settings.positions, sum.positions)) / rate : 0;
    else if (sum.games)
        left = double(settings.games - std::min(settings.games, sum.games)) * elapsed / double(sum.games);
    char line[200];
    std::snprintf(line, sizeof line, "games %llu  positions %llu  %.0f pos/s  %.0f pos/s per thread  time %s  left %s",
                  static_cast<unsigned long long>(sum.games), static_cast<unsigned long long>(sum.positions), rate,
                  rate / settings.threads, clockText(elapsed).c_str(), clockText(left).c_str());
    log << line << std::endl;
}

// Runs one phase to its end; returns the index of the first game after it.
uint64_t runPhase(const Phase& phase, const GeneratorSettings& settings, Output& out, GeneratorSummary& sum,
                  std::ostream& log, Clock::time_point start, Clock::time_point& lastReport) {
    GameQueue q;
    q.nextGame = phase.firstGame;
    q.running = settings.threads;
    std::vector<std::thread> threads;
    for (int t = 0; t < settings.threads; ++t)
        threads.emplace_back(playGames, std::ref(q), std::cref(phase), std::cref(settings));

    uint64_t next = phase.firstGame;
    uint64_t phasePositions = 0;
    auto done = [&] {
        if (stopRequested(settings)) return true;
        if (phase.games) return next >= phase.firstGame + phase.games;
        return phasePositions >= phase.positions;
    };
    std::unique_lock<std::mutex> lock(q.mutex);
    while (!done()) {
        auto it = q.finished.find(next);
        if (it != q.finished.end()) {
            PlayedGame game = std::move(it->second);
            q.finished.erase(it);
            lock.unlock();
            writeGame(out, game);
            ++sum.games;
            sum.positions += game.records.size();
            for (const TrainingRecord& r : game.records)
                sum.networkPositions += withinNetworkRange(r, DEFAULT_FILTER_MARGIN);
            sum.refusedOpenings += uint64_t(game.refusedOpenings);
            phasePositions += game.records.size();
            sum.nodes += game.nodes;
            ++sum.whiteResults[game.whiteResult];
            ++sum.endings[int(game.ending)];
            ++next;
            lock.lock();
        } else {
            if (q.running == 0) break;  // every thread gave up (cannot happen while games remain)
            q.ready.wait_for(lock, std::chrono::milliseconds(200));
        }
        auto now = Clock::now();
        if (std::chrono::duration<double>(now - lastReport).count() >= settings.reportSeconds) {
            lastReport = now;
            printProgress(log, sum, settings, std::chrono::duration<double>(now - start).count());
        }
    }
    q.stop = true;
    lock.unlock();
    for (std::thread& t : threads) t.join();
    return next;
}

}  // namespace

bool runGenerator(const GeneratorSettings& settings, std::ostream& log, GeneratorSummary& sum, std::string* error) {
    sum = GeneratorSummary{};
    const double share = std::clamp(settings.chess960Share, 0.0, 1.0);
    OpeningBook standardBook, chess960Book;
    if (share < 1 && !loadBook(settings.bookPath, standardBook, error)) return false;
    if (share > 0 && !loadBook(settings.chess960BookPath, chess960Book, error)) return false;

    Output out;
    out.wantData = !settings.dataPath.empty();
    out.wantTuning = !settings.tuningPath.empty();
    if (out.wantData && !openWriter(out.data, settings.dataPath)) {
        if (error) *error = "cannot write " + settings.dataPath;
        return false;
    }
    if (out.wantTuning) {
        out.tuning.open(settings.tuningPath);
        if (!out.tuning) {
            if (error) *error = "cannot write " + settings.tuningPath;
            if (out.wantData) closeWriter(out.data);
            return false;
        }
    }
    GeneratorSettings run = settings;
    run.threads = std::max(1, settings.threads);
    run.game.keepFens = out.wantTuning;

    // Chess960 is one flag for the whole process, so its games come in a
    // stretch of their own after the standard ones, with every thread joined
    // in between.
    uint64_t chess960Games = uint64_t(std::llround(double(settings.games) * share));
    uint64_t chess960Positions = uint64_t(std::llround(double(settings.positions) * share));
    Phase phases[2] = {
        {&standardBook, false, 0, settings.games - chess960Games, settings.positions - chess960Positions},
        {&chess960Book, true, 0, chess960Games, chess960Positions},
    };
    const bool wasChess960 = chess960;
    auto start = Clock::now();
    std::clock_t cpuStart = std::clock();
    auto lastReport = start;
    uint64_t firstGame = 0;
    for (Phase& phase : phases) {
        if ((phase.games == 0 && phase.positions == 0) || stopRequested(run)) continue;
        phase.firstGame = firstGame;
        chess960 = phase.chess960;
        firstGame = runPhase(phase, run, out, sum, log, start, lastReport);
    }
    chess960 = wasChess960;
    sum.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    sum.cpuSeconds = double(std::clock() - cpuStart) / CLOCKS_PER_SEC;
    printProgress(log, sum, run, sum.seconds);

    bool ok = true;
    if (out.wantData && !closeWriter(out.data)) ok = false;
    if (out.wantTuning) {
        out.tuning.close();
        if (!out.tuning) ok = false;
    }
    if (!ok && error) *error = "writing the output failed";
    return ok;
}

}  // namespace datagen
