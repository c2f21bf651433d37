#include "board/perft.h"

#include <chrono>
#include <fstream>
#include <memory>
#include <ostream>
#include <sstream>
#include <vector>

#include "board/makemove.h"
#include "board/movegen.h"
#include "search/tt.h"

std::string perftFile = "perftFRC.txt";

uint64_t perft(int ply, int depth, Position& p) {
    if (depth <= 1) return uint64_t(countLegalMoves(ply, p));
    Move* start = p.plyStates[ply].moveStart;
    Move* end = generateCaptures(ply, start, p);
    if (p.plyStates[ply].genMarker != 'c') end = generateQuiets(ply, end, p);
    uint64_t nodes = 0;
    for (Move* m = start; m < end; ++m) {
        if (!isLegal(p, ply, *m)) continue;
        makeMove(p, ply, *m);
        nodes += perft(ply + 1, depth - 1, p);
        unmakeMove(p, ply, *m);
    }
    return nodes;
}

namespace {

using Clock = std::chrono::steady_clock;

int64_t nanosSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start).count();
}

std::unique_ptr<Position> copyOf(const Position& main) {
    auto copy = std::make_unique<Position>();
    *copy = main;
    copy->plyStates[0].moveStart = mainMoveStack;
    return copy;
}

std::string trim(const std::string& s) {
    size_t a = s.find_first_not_of(" \t\r\n"), b = s.find_last_not_of(" \t\r\n");
    return a == std::string::npos ? std::string() : s.substr(a, b - a + 1);
}

const char* FILE_PROBLEM = "There seems to be a problem with the perftFile. check of the move generator not executed\n";

} // namespace

void perftCommand(const Position& main, int depth, std::ostream& out) {
    auto copy = copyOf(main);
    out << boardPicture(*copy);
    auto start = Clock::now();
    uint64_t nodes = perft(0, depth, *copy);
    int64_t ns = nanosSince(start);
    double seconds = double(ns) / 1000000000.0;
    out << ns << " ns and " << seconds << " in seconds\n";
    out << "Perft results for depth: " << depth << "  " << nodes << "  Nodes per sec: "
        << (seconds > 0 ? double(nodes) / seconds : 0.0) << std::endl;
}

int rtestCommand(const Position& main, std::ostream& out) {
    std::ifstream file(perftFile);
    if (!file) {
        out << FILE_PROBLEM << std::flush;
        return 0;
    }
    auto copy = copyOf(main);
    int result = 1;
    std::string line;
    while (std::getline(file, line)) {
        std::string text = trim(line);
        if (text == "full" || text == "extended") break;
        if (text.empty()) continue;
        std::vector<std::string> parts;
        std::stringstream ss(text);
        std::string part;
        while (std::getline(ss, part, ';')) parts.push_back(part);
        if (parts.size() < 3) {
            out << "info string perft line not understood: " << text << std::endl;
            result = 0;
            continue;
        }
        int depth = std::stoi(parts[1]);
        uint64_t expected = std::stoull(parts[2]);
        std::string error;
        uint64_t nodes = 0;
        int64_t ns = 0;
        bool ok = setFen(*copy, parts[0], &error);
        if (ok && depth >= 1) {
            auto start = Clock::now();
            nodes = perft(0, depth, *copy);
            ns = nanosSince(start);
        } else if (!ok) {
            out << "info string " << error << std::endl;
        }
        bool match = ok && depth >= 1 && nodes == expected;
        if (!match) result = 0;
        out << (match ? 1 : 0) << "; " << parts[0] << "; " << depth << "; " << expected << "; " << nodes << "; " << ns << std::endl;
        resize(128);
    }
    out << "Results of the perft checks is OK: " << result << std::endl;
    return result;
}

int rtestRFCCommand(const Position& main, std::ostream& out) {
    std::ifstream file(perftFile);
    int result = 0;
    if (!file) {
        out << FILE_PROBLEM << std::flush;
    } else {
        result = 1;
        auto copy = copyOf(main);
        std::string line;
        while (std::getline(file, line)) {
            std::string text = trim(line);
            if (text.empty()) continue;
            std::vector<std::string> parts;
            std::stringstream ss(text);
            std::string part;
            while (std::getline(ss, part, ';')) parts.push_back(part);
            if (parts.size() < 7) {
                out << "info string perft line not understood: " << text << std::endl;
                result = 0;
                continue;
            }
            uint64_t expected[6];
            for (int d = 0; d < 6; ++d) expected[d] = std::stoull(parts[d + 1]);
            std::string error;
            out << parts[0] << std::endl;
            if (!setFen(*copy, parts[0], &error)) {
                out << "info string " << error << std::endl;
                result = 0;
                continue;
            }
            bool allMatch = true;
            for (int d = 1; d <= 6; ++d) {
                uint64_t nodes = perft(0, d, *copy);
                if (nodes != expected[d - 1]) {
                    out << "WRONGGGGGGGGGGGG " << d << " correct : " << expected[d - 1] << " berekend : " << nodes << std::endl;
                    allMatch = false;
                    result = 0;
                    break;
                }
            }
            if (allMatch) out << "Okidoki" << std::endl;
        }
    }
    out << "Results of the perft checks (0 = wrong, 1 = OK) : " << result << std::endl;
    return result;
}
