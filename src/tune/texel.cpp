#include "tune/texel.h"

#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <thread>

#include "board/zobrist.h"
#include "eval/evaluate.h"
#include "eval/hce_params.h"
#include "eval/network.h"
#include "eval/nnue.h"
#include "eval/tables.h"
#include "search/processor_groups.h"
#include "search/tt.h"
#include "uci/options.h"
#include "uci/output.h"

double texelK = 3.55;

namespace {

std::string valueText(combEval v) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "X(%4d,%4d)", mgOf(v), egOf(v));
    return buffer;
}

// Rebuilds a searchable position from the stored board and state bytes.
void positionFromRecord(Position& p, const TuningRecord& r) {
    clearPosition(p);
    std::memcpy(p.board, r.board, 64);
    for (int sq = 0; sq < 64; ++sq) {
        int code = p.board[sq];
        if (!code) continue;
        p.pieces[code] |= bit(sq);
        p.pieces[colourOf(code)] |= bit(sq);
    }
    p.sideToMove = r.sideToMove;
    p.plyStates[0].castling = r.castling;
    p.plyStates[0].epSquare = r.epSquare;
    computeKeys(p);
    computeEvalSums(p);
    p.keyHistory[0] = p.key;
    p.gamePly = 1;
    p.plyStates[0].inCheck = sideInCheck(p, p.sideToMove);
    p.acc[0].computed = 0;
    p.dirty[0].count = 0;
}

int whiteScore(Position& p) {
    int score = int16_t(evaluate(0, p));
    return p.sideToMove == WHITE ? score : -score;
}

// A tuner thread: waits for a slice of records, sums its squared errors.
class texelWorker {
public:
    explicit texelWorker(unsigned index) : index(index) {
        position->plyStates[0].moveStart = moves.data();
        initEvaluation(*position);
        try {
            thread = std::thread([this] { run(); });
        } catch (...) {
            releaseEvaluation(*position);
            throw;
        }
        // Wait for the greeting so that every "Lets go" comes before the tuner's own output.
        std::unique_lock<std::mutex> lock(mutex);
        wake.wait(lock, [this] { return started; });
    }
    virtual ~texelWorker() {
        {
            std::lock_guard<std::mutex> lock(mutex);
            exit = true;
        }
        wake.notify_all();
        thread.join();
        releaseEvaluation(*position);
    }
    void start(const TuningRecord* first, size_t count) {
        std::lock_guard<std::mutex> lock(mutex);
        begin = first;
        length = count;
        busy = true;
        wake.notify_all();
    }
    double wait() {
        std::unique_lock<std::mutex> lock(mutex);
        wake.wait(lock, [this] { return !busy; });
        return sum;
    }

private:
    void run() {
        bindThisThread(index);
        sendLine("Lets go");
        std::unique_lock<std::mutex> lock(mutex);
        started = true;
        wake.notify_all();
        for (;;) {
            wake.wait(lock, [this] { return busy || exit; });
            if (exit) return;
            lock.unlock();
            // The tables changed since the last pass: cached scores are stale.
            initEvaluation(*position);
            double total = 0;
            for (size_t i = 0; i < length; ++i) {
                positionFromRecord(*position, begin[i]);
                double s = sigmoid(whiteScore(*position), texelK);
                double d = begin[i].target - s;
                total += d * d;
            }
            lock.lock();
            sum = total;
            busy = false;
            wake.notify_all();
        }
    }

    unsigned index;
    std::unique_ptr<Position> position = std::make_unique<Position>();
    std::vector<Move> moves = std::vector<Move>(MOVE_STACK);
    std::mutex mutex;
    std::condition_variable wake;
    const TuningRecord* begin = nullptr;
    size_t length = 0;
    double sum = 0;
    bool started = false;
    bool busy = false;
    bool exit = false;
    std::thread thread;
};

std::vector<std::unique_ptr<texelWorker>> pool;

void ensureWorkers(int n) {
    try {
        while (int(pool.size()) < n) pool.push_back(std::make_unique<texelWorker>(unsigned(pool.size())));
    } catch (const std::exception&) {
        // The system refused another thread: tune with those there are, if any.
        if (pool.empty()) throw;
        sendLine("info string Only " + std::to_string(pool.size()) + " of " + std::to_string(n)
                 + " tuner threads could be started");
    }
    while (int(pool.size()) > n) pool.pop_back();
}

bool isFixedPawnEntry(const TuneParam& p, int i) { return p.fixedEdgeRanks && (i < 8 || i >= 56); }

}  // namespace

double sigmoid(double score, double k) { return 1.0 / (std::exp(-k * score / 400.0) + 1.0); }

void splitTuningLine(const std::string& line, std::string& position, std::string& result) {
    std::istringstream in(line);
    std::string token;
    position.clear();
    result.clear();
    while (in >> token) {
        if (token == "c9") {
            if (in >> token) result = token.size() > 1 ? token.substr(1, 3) : std::string();
            break;
        }
        position += (position.empty() ? "" : " ") + token;
    }
}

bool makeRecord(Position& p, TuningRecord& r) {
    combEval balance = (p.material[WHITE] - p.material[BLACK]) + (p.psq[WHITE] - p.psq[BLACK]);
    if (!netLoaded || std::abs(egOf(balance)) >= 600) return false;
    p.acc[0].computed = 0;
    int net = nnueEvaluate(p, 0) / 58;
    if (p.sideToMove == BLACK) net = -net;
    if (int16_t(net) == 32767) return false;
    std::memcpy(r.board, p.board, 64);
    r.castling = p.plyStates[0].castling;
    r.epSquare = p.plyStates[0].epSquare;
    r.sideToMove = p.sideToMove;
    r.target = sigmoid(net, texelK);
    r.second = 0;
    return true;
}

bool loadTuningFile(const std::string& path, std::vector<TuningRecord>& records) {
    std::ifstream in(path);
    if (!in) return false;
    auto p = std::make_unique<Position>();
    std::vector<Move> moves(MOVE_STACK);
    p->plyStates[0].moveStart = moves.data();
    std::string line, position, result;
    while (std::getline(in, line)) {
        splitTuningLine(line, position, result);
        if (position.empty() || !setFen(*p, position)) continue;
        TuningRecord r;
        if (makeRecord(*p, r)) records.push_back(r);
    }
    return true;
}

std::vector<TuneParam> buildParameterList() {
    std::vector<TuneParam> params;
    for (int t = 0; t < evalTableCount; ++t) {
        const EvalTable& table = evalTables[t];
        std::string name = table.name;
        if (name == "materialValue") {
            // Pawn and king stay fixed: the pawn is the unit, the king is never counted.
            params.push_back({"materialValue[6]", 9, table.values + 1, 4, 2, true, false});
        } else if (name == "pieceSquareScore") {
            for (int type = 0; type < 6; ++type)
                params.push_back({"pieceSquareScore[" + std::to_string(type) + "]", 10,
                                  table.values + type * NOFSQUARES, NOFSQUARES, 1, true, type == 0});
        } else if (table.count == 1) {
            params.push_back({name, 11, table.values, 1, 1, true, false});
        } else if (table.count == 8 && table.values[0] == 0 && table.values[7] == 0
                   && name.find("assed") != std::string::npos) {
            // Indexed by rank: a pawn never stands on its first or last rank.
            params.push_back({name + "[8]", 6, table.values + 1, 6, 1, true, false});
        } else {
            params.push_back(
                {name + "[" + std::to_string(table.count) + "]", 11, table.values, table.count, 1, true, false});
        }
    }
    return params;
}

namespace {
// What a layout kind's array holds before and after the tuned values.
struct ArrayFrame {
    const char* before;
    const char* after;
};

ArrayFrame arrayFrame(int kind) {
    switch (kind) {
    case 5: return {" X(   0,   0), ", "};\n"};
    case 6: return {" X(   0,   0), ", ", X( 0, 0) };\n"};
    case 7: return {" X(   0,   0),  X(   0,   0), ", ", X( 0, 0) };\n"};
    case 8: return {" 0, ", "};\n"};
    case 9: return {" X(  82,  94), ", ", X(12000, 12000) };\n"};
    default: return {"", ",\n};\n"};
    }
}
}  // namespace

void printParam(std::ostream& out, const TuneParam& p) {
    std::string values;
    for (int i = 0; i < p.count; ++i) values += (i ? ", " : "") + valueText(p.values[i]);
    if (p.count == 1 && p.kind == 11) {
        out << "TCONST combEval " << p.name << " = " << values << ";\n";
    } else if (p.kind == 10) {
        out << "{" << values << "},\n";  // a row of pieceSquareScore
    } else {
        ArrayFrame frame = arrayFrame(p.kind);
        out << "TCONST combEval " << p.name << " = {" << frame.before << values << frame.after;
    }
}

void printParameters(std::ostream& out, const std::vector<TuneParam>& params) {
    bool inSquares = false;
    for (const TuneParam& p : params) {
        if (p.kind == 10 && !inSquares) {
            out << "TCONST combEval pieceSquareScore[6][NOFSQUARES] = \n{\n";
            inSquares = true;
        } else if (p.kind != 10 && inSquares) {
            out << "};\n";
            inSquares = false;
        }
        printParam(out, p);
    }
    if (inSquares) out << "};\n";
    out << std::flush;
}

double tuningError(const std::vector<TuningRecord>& records, int workers) {
    if (records.empty()) return 0;
    ensureWorkers(workers < 1 ? 1 : workers);
    // The tables may have changed since the last call: nothing derived from them may be reused.
    evaluationChanged();
    size_t n = pool.size();
    size_t slice = records.size() / n;
    for (size_t i = 0; i < n; ++i) {
        size_t first = i * slice;
        size_t count = i == n - 1 ? records.size() - first : slice;
        pool[i]->start(records.data() + first, count);
    }
    double sum = 0;
    for (auto& w : pool) sum += w->wait();
    return sum / double(records.size());
}

namespace {

int tunerWorkers() {
    unsigned hw = std::thread::hardware_concurrency();
    return hw ? int(hw) : 1;
}

double findK(std::ostream& out, const std::vector<TuningRecord>& records, int workers) {
    double best = 1.0, step = 1.0, minError = 99999999999.0;
    for (int round = 0; round < 5; ++round) {
        for (double k = best - step; k <= best + step; k += step / 10) {
            texelK = k;
            double error = tuningError(records, workers);
            out << "Trying the following K value " << k << " error:" << error << std::endl;
            if (error < minError) {
                minError = error;
                best = k;
            }
        }
        step /= 10;
    }
    out << " Optimal K calculated :" << best << std::endl;
    return best;
}

void localSearch(std::ostream& out, std::vector<TuneParam>& params, const std::vector<TuningRecord>& records,
                 int workers) {
    double minError = tuningError(records, workers);
    out << "Starting error " << minError << std::endl;
    bool improved = true;
    while (improved) {
        improved = false;
        for (TuneParam& p : params) {
            if (!p.active) continue;
            for (int i = 0; i < p.count; ++i) {
                if (isFixedPawnEntry(p, i)) continue;
                // The middlegame and endgame halves are separate values to the search.
                for (int half = 0; half < 2; ++half) {
                    combEval original = p.values[i];
                    int mg = mgOf(original), eg = egOf(original);
                    for (int direction : {1, -1}) {
                        p.values[i] = half == 0 ? X(mg + direction * p.step, eg) : X(mg, eg + direction * p.step);
                        double error = tuningError(records, workers);
                        if (error < minError) {
                            minError = error;
                            improved = true;
                            out << "Min error " << error << " parameter " << p.name << " stepsize " << p.step
                                << std::endl;
                            break;
                        }
                        p.values[i] = original;
                    }
                }
            }
        }
        if (improved) {
            out << " Improving:" << std::endl;
            printParameters(out, params);
        }
    }
    double ending = tuningError(records, workers);
    out << "Ending error " << ending << " Minimum error " << minError << std::endl;
}

}  // namespace

void runTexel(std::ostream& out, const std::string& path) {
    std::vector<TuningRecord> records;
    if (!loadTuningFile(path, records)) {
        out << "There seems to be a problem with the tuning file. tuning not executed\n" << std::flush;
        return;
    }
    int workers = tunerWorkers();
    ensureWorkers(workers);
    out << "Starting texel tuning...." << std::endl;
    std::vector<TuneParam> params = buildParameterList();
    texelK = findK(out, records, workers);
    printParameters(out, params);
    localSearch(out, params, records, workers);
    pool.clear();
}
