// The engine binary these tests run (ENGINE_PATH, set by the build), and the files they give it.
#pragma once
#include <algorithm>
#include "engine_process.h"
#include "test_data.h"

// Starts the engine with the given arguments in `workdir` (the current directory when empty).
bool startEngine(EngineProcess& e, const std::vector<std::string>& args = {}, const std::string& workdir = "");
// Runs the engine with `input` on its standard input (then end of input) and
// returns everything it printed; *status gets the exit status (-1 on timeout).
std::string runEngine(const std::string& input, const std::vector<std::string>& args = {},
                      const std::string& workdir = "", int timeoutMs = 30000, int* status = nullptr);
// The lines of `text`, without their line ends.
inline std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> out;
    size_t start = 0;
    for (size_t nl; (nl = text.find('\n', start)) != std::string::npos; start = nl + 1)
        out.push_back(text.substr(start, nl - start));
    if (start < text.size()) out.push_back(text.substr(start));
    return out;
}

// Whether `lines` hold `line`; those of them that start with `prefix`, and how many.
inline bool hasLine(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}
inline std::vector<std::string> withPrefix(const std::vector<std::string>& lines, const std::string& prefix) {
    std::vector<std::string> out;
    for (const auto& l : lines)
        if (startsWith(l, prefix)) out.push_back(l);
    return out;
}
inline int countPrefix(const std::vector<std::string>& lines, const std::string& prefix) {
    return int(std::count_if(lines.begin(), lines.end(), [&](const std::string& l) { return startsWith(l, prefix); }));
}

// Writes an all-zero network file (a valid file whose every weight is zero).
void writeZeroNetwork(const std::string& path);
