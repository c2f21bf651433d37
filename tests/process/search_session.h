// An engine started in a fresh directory holding an all-zero network, so
// that it agrees to search; removed again with the directory at the end.
#pragma once
#include <chrono>
#include <regex>
#include "engine_under_test.h"

struct EngineSession {
    ScratchDir temp{"search"};
    const std::string& dir = temp.path;
    EngineProcess engine;
    // Without the zero network the engine starts on the network built into it.
    explicit EngineSession(bool withNetwork = true) {
        if (withNetwork) writeZeroNetwork(dir + "/220321-307.nnue");
        EXPECT_TRUE(startEngine(engine, {}, dir));
        ready(20000);
    }
    ~EngineSession() {
        if (engine.pid > 0) {
            send("quit");
            waitExit(engine, 10000);
        }
    }
    void send(const std::string& line) { ::send(engine, line); }
    // Lines up to and including the first one starting with `prefix`, which must come within timeoutMs; where `found`
    // is given, it tells instead whether the line came.
    std::vector<std::string> until(const std::string& prefix, int timeoutMs, bool* found = nullptr) {
        bool came = false;
        auto lines = readUntil(
            engine, [&](const std::string& l) { return startsWith(l, prefix); }, timeoutMs, &came);
        if (found) *found = came;
        else EXPECT_TRUE(came) << "no " << prefix << " within " << timeoutMs << " ms";
        return lines;
    }
    // Sends "isready"; returns the lines up to the "readyok".
    std::vector<std::string> ready(int timeoutMs = 10000) {
        send("isready");
        return until("readyok", timeoutMs);
    }
    std::vector<std::string> untilBestMove(int timeoutMs = 20000) { return until("bestmove", timeoutMs); }
    // Sends "position <position>" and `go`; returns the lines up to the bestmove.
    std::vector<std::string> search(const std::string& position, const std::string& go, int timeoutMs = 20000) {
        send("position " + position);
        send(go);
        return untilBestMove(timeoutMs);
    }
    // Sends `line` and answers how many ms passed until the bestmove.
    long millisUntilBestMove(const std::string& line, std::vector<std::string>* lines = nullptr,
                             int timeoutMs = 20000) {
        auto start = std::chrono::steady_clock::now();
        send(line);
        auto got = untilBestMove(timeoutMs);
        if (lines) *lines = got;
        return long(
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count());
    }
};

inline const std::regex INFO_LINE(
    "info score (cp -?[0-9]+|mate -?[0-9]+) depth [0-9]+ seldepth [0-9]+ nodes [0-9]+ nps [0-9]+ time [0-9]+ tbhits "
    "[0-9]+ "
    "pv( [a-h][1-8][a-h][1-8][nbrq]?)+");

// The first move of an info line's pv; the move of a bestmove line.
inline std::string firstMove(const std::string& line) {
    std::string pv = line.substr(line.find(" pv ") + 4);
    return pv.substr(0, pv.find(' '));
}
inline std::string bestMoveText(const std::string& line) { return line.substr(9, line.find(' ', 9) - 9); }

// The number after `key` in an info line, or -1.
inline long fieldOf(const std::string& line, const std::string& key) {
    std::string k = " " + key + " ";
    size_t at = line.find(k);
    if (at == std::string::npos) return -1;
    return std::stol(line.substr(at + k.size()));
}
