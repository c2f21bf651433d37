// The engine binary these tests run (ENGINE_PATH, set by the build), and the scratch folders and files they give it.
#pragma once
#include <string>
#include <vector>
#include "engine_process.h"

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

// A fresh empty directory under the system's temporary directory.
std::string makeTempDir(const std::string& prefix);
// A fresh directory that is removed, with what the test wrote into it, when the record goes.
struct TempDir {
    std::string path;
    explicit TempDir(const std::string& prefix) : path(makeTempDir(prefix)) {}
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
};

// Writes an all-zero network file (a valid file whose every weight is zero).
void writeZeroNetwork(const std::string& path);
