#include "uci/perft_commands.h"

#include <charconv>
#include <chrono>
#include <fstream>
#include <memory>
#include <ostream>
#include <sstream>
#include <vector>

#include "board/perft.h"
#include "search/tt.h"

std::string perftFile = "perftFRC.txt";

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

// A whole decimal number and nothing else; false for a sign, a letter, an empty
// field or a value beyond 64 bits.
bool readCount(const std::string& field, uint64_t& out) {
    std::string text = trim(field);
    if (text.empty()) return false;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), out);
    return error == std::errc() && end == text.data() + text.size();
}

std::string shortened(const std::string& text) { return text.size() <= 40 ? text : text.substr(0, 40) + "..."; }

// Splits a file line at ';' and checks its numbers; a line that fails is
// reported with its number and counts as a failed check.
bool readPerftLine(const std::string& text, int lineNumber, size_t fields, std::vector<std::string>& parts,
                   std::vector<uint64_t>& numbers, std::ostream& out) {
    parts.clear();
    numbers.clear();
    std::stringstream ss(text);
    std::string part;
    while (std::getline(ss, part, ';')) parts.push_back(part);
    if (!text.empty() && text.back() == ';') parts.push_back("");
    std::string where = "info string perft file line " + std::to_string(lineNumber) + ": ";
    if (parts.size() != fields) {
        out << where << "expected " << fields << " fields separated by ';', found " << parts.size() << std::endl;
        return false;
    }
    for (size_t i = 1; i < parts.size(); ++i) {
        uint64_t n = 0;
        if (!readCount(parts[i], n)) {
            out << where << "field " << i + 1 << " '" << shortened(trim(parts[i])) << "' is not a whole number"
                << std::endl;
            return false;
        }
        numbers.push_back(n);
    }
    return true;
}

const char* FILE_PROBLEM = "There seems to be a problem with the perftFile. check of the move generator not executed\n";

}  // namespace

void perftCommand(const Position& main, int depth, std::ostream& out) {
    auto copy = copyOf(main);
    out << boardPicture(*copy);
    auto start = Clock::now();
    uint64_t nodes = perft(0, depth, *copy);
    int64_t ns = nanosSince(start);
    double seconds = double(ns) / 1000000000.0;
    out << ns << " ns and " << seconds << " in seconds\n";
    out << "Perft results for depth: " << depth << "  " << nodes
        << "  Nodes per sec: " << (seconds > 0 ? double(nodes) / seconds : 0.0) << std::endl;
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
    std::vector<std::string> parts;
    std::vector<uint64_t> numbers;
    for (int lineNumber = 1; std::getline(file, line); ++lineNumber) {
        std::string text = trim(line);
        if (text == "full" || text == "extended") break;
        if (text.empty()) continue;
        if (!readPerftLine(text, lineNumber, 3, parts, numbers, out)) {
            result = 0;
            continue;
        }
        if (numbers[0] < 1 || numbers[0] > MAX_PERFT_DEPTH) {
            out << "info string perft file line " << lineNumber << ": depth " << numbers[0] << " is not between 1 and "
                << MAX_PERFT_DEPTH << std::endl;
            result = 0;
            continue;
        }
        int depth = int(numbers[0]);
        uint64_t expected = numbers[1];
        std::string error;
        uint64_t nodes = 0;
        int64_t ns = 0;
        bool ok = setFen(*copy, parts[0], &error);
        if (ok) {
            auto start = Clock::now();
            nodes = perft(0, depth, *copy);
            ns = nanosSince(start);
        } else {
            out << "info string perft file line " << lineNumber << ": " << error << std::endl;
        }
        bool match = ok && nodes == expected;
        if (!match) result = 0;
        out << (match ? 1 : 0) << "; " << parts[0] << "; " << depth << "; " << expected << "; " << nodes << "; " << ns
            << std::endl;
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
        std::vector<std::string> parts;
        std::vector<uint64_t> expected;
        for (int lineNumber = 1; std::getline(file, line); ++lineNumber) {
            std::string text = trim(line);
            if (text.empty()) continue;
            if (!readPerftLine(text, lineNumber, 7, parts, expected, out)) {
                result = 0;
                continue;
            }
            std::string error;
            out << parts[0] << std::endl;
            if (!setFen(*copy, parts[0], &error)) {
                out << "info string perft file line " << lineNumber << ": " << error << std::endl;
                result = 0;
                continue;
            }
            bool allMatch = true;
            for (int d = 1; d <= 6; ++d) {
                uint64_t nodes = perft(0, d, *copy);
                if (nodes != expected[d - 1]) {
                    out << "WRONGGGGGGGGGGGG " << d << " correct : " << expected[d - 1] << " berekend : " << nodes
                        << std::endl;
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
