#include "search/threads.h"

#include <chrono>
#include <cstring>
#include <string>
#include <system_error>

#include "eval/evaluate.h"
#include "search/control.h"
#include "search/processor_groups.h"
#include "search/root.h"
#include "search/timeman.h"
#include "search/tt.h"
#include "uci/output.h"

worker::worker(unsigned threadIndex) : index(threadIndex) {
    history = new HistoryBlock();
    std::memset(static_cast<void*>(frameStack), 0, sizeof frameStack);
    position.plyStates[0].moveStart = moveStack;
    position.evalCache = nullptr;
    position.pawnHash = nullptr;
    position.threadIndex = index;
    initEvaluation(position);
    try {
        thread = std::thread(&worker::idleLoop, this);
    } catch (...) {
        releaseEvaluation(position);
        delete history;
        throw;
    }
    std::unique_lock<std::mutex> lock(mutex);
    wake.wait(lock, [this] { return !searching; });
}

worker::~worker() {
    {
        std::lock_guard<std::mutex> lock(mutex);
        exit = true;
        searching = true;
    }
    wake.notify_all();
    thread.join();
    releaseEvaluation(position);
    delete history;
}

void worker::idleLoop() {
    bindThisThread(index);
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        searching = false;
        wake.notify_all();
        wake.wait(lock, [this] { return searching; });
        if (exit) return;
        lock.unlock();
        search();
        bindThisThread(index);
        lock.lock();
    }
}

void worker::search() { searchRoot(); }
void worker::searchRoot() { iterativeDeepening(*this, false); }

boss::boss() : worker(0) {}
boss::~boss() = default;

void boss::search() {
    reportedMove = reportedPonder = NO_MOVE;
    for (size_t i = 1; i < pool.size(); ++i) wakeThread(*pool[i]);
    searchRoot();
    timeUpFlag.set();
    // Under "ponder" and "infinite" the result waits for "stop" or "ponderhit".
    if (!stopFlag.get())
        while ((ponderingFlag.get() || infiniteFlag.get()) && !stopFlag.get())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    stopFlag.set();
    for (size_t i = 1; i < pool.size(); ++i) waitIdle(*pool[i]);
    if (searchOutputEnabled) reportResult(*this);
}

void boss::searchRoot() { iterativeDeepening(*this, true); }

void waitIdle(worker& w) {
    std::unique_lock<std::mutex> lock(w.mutex);
    w.wake.wait(lock, [&w] { return !w.searching; });
}

void wakeThread(worker& w) {
    {
        std::lock_guard<std::mutex> lock(w.mutex);
        w.searching = true;
    }
    w.wake.notify_all();
}

int setThreadCount(int n) {
    if (!pool.empty()) waitIdle(*pool[0]);
    while (!pool.empty()) {
        delete pool.back();
        pool.pop_back();
    }
    try {
        if (n >= 1) pool.push_back(new boss());
        while (int(pool.size()) < n) pool.push_back(new worker(unsigned(pool.size())));
    } catch (const std::exception&) {
        // The system refused another thread (a process or memory limit): search with those there are.
        sendLine("info string Only " + std::to_string(pool.size()) + " of " + std::to_string(n)
                 + " search threads could be started");
    }
    clearSearchTables();
    return int(pool.size());
}

void stopAndWait() {
    if (pool.empty()) return;
    stopFlag.set();
    waitIdle(*pool[0]);
}

void clearSearchTables() {
    for (worker* w : pool) {
        std::memset(static_cast<void*>(w->history), 0, sizeof(HistoryBlock));
        std::memset(static_cast<void*>(w->frameStack), 0, sizeof w->frameStack);
    }
}

void clearSearchMemory() {
    clear();
    clearSearchTables();
}

void startSearch(const Position& root) {
    for (worker* w : pool) {
        copyRootPosition(w->position, root);
        w->position.threadIndex = w->index;
        w->pos = &w->position;
        // Counters are cleared here, before any thread runs, so that the
        // boss never adds up a count left from the previous search.
        w->nodes.store(0, std::memory_order_relaxed);
        w->tbHits.store(0, std::memory_order_relaxed);
        w->currentDepth.store(0, std::memory_order_relaxed);
        w->completedDepth = 0;
        w->rootMoves.clear();
    }
    if (!pool.empty()) wakeThread(*pool[0]);
}

namespace {

void prepareFixedDepth(int depth) {
    timeControl = TimeControl{};
    timeControl.startTime = nowMs();
    timeControl.depth = depth;
    startWithoutTimeLimit(timeControl);
    stopFlag.set(false);
    timeUpFlag.set(false);
    ponderingFlag.set(false);
    infiniteFlag.set(false);
    newSearch();
}

}  // namespace

uint64_t searchFixedDepth(const Position& root, int depth) {
    worker& w = *pool[0];
    waitIdle(w);
    prepareFixedDepth(depth);
    copyRootPosition(w.position, root);
    bool output = searchOutputEnabled;
    searchOutputEnabled = false;
    iterativeDeepening(w, true);
    searchOutputEnabled = output;
    return w.nodes.load(std::memory_order_relaxed);
}

uint64_t searchFixedDepthWithPool(const Position& root, int depth) {
    waitIdle(*pool[0]);
    prepareFixedDepth(depth);
    bool output = searchOutputEnabled;
    searchOutputEnabled = false;
    startSearch(root);
    waitIdle(*pool[0]);
    searchOutputEnabled = output;
    return totalNodes();
}

SoloSearchResult searchToNodes(worker& w, const Position& root, uint64_t nodes, NodeLimit limit) {
    w.stop->set(false);
    w.solo = true;
    nodes = std::max<uint64_t>(nodes, 1);
    w.softNodeBudget = limit == NodeLimit::SOFT ? nodes : 0;
    w.nodeBudget = limit == NodeLimit::SOFT ? nodes * SOFT_NODE_CAP : nodes;
    copyRootPosition(w.position, root);
    w.pos = &w.position;
    iterativeDeepening(w, true);
    bool hasMove = !w.rootMoves.empty();
    return {hasMove ? w.rootBestMove : NO_MOVE, w.rootBestScore, w.completedDepth,
            w.nodes.load(std::memory_order_relaxed)};
}
