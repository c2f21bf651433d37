// Starts the engine binary as a child process and talks to it over pipes,
// the way a chess GUI does.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

struct EngineProcess {
    pid_t pid = -1;
    int toEngine = -1;
    int fromEngine = -1;  // stdout and stderr together
    std::string pending;  // bytes read but not yet returned as lines
    std::vector<std::string> transcript;
};

// Starts a program (argv[0] looked up on PATH) in `workdir` (the current
// directory when empty).
bool startProgram(EngineProcess& e, const std::vector<std::string>& argv, const std::string& workdir = "");
void send(EngineProcess& e, const std::string& line);
// Closes the engine's standard input (end of input).
void closeInput(EngineProcess& e);
// One line of output, or false after timeoutMs without a complete line.
bool readLine(EngineProcess& e, std::string& line, int timeoutMs);
// Reads lines until one satisfies `done`; returns every line read (that one included).
std::vector<std::string> readUntil(EngineProcess& e, const std::function<bool(const std::string&)>& done, int timeoutMs,
                                   bool* found = nullptr);
// Reads lines until one equals `expected` exactly.
std::vector<std::string> readUntilLine(EngineProcess& e, const std::string& expected, int timeoutMs,
                                       bool* found = nullptr);
// Every line that arrives within `ms`.
std::vector<std::string> readFor(EngineProcess& e, int ms);
// Exit status after the process ends, or -1 if it is still running after timeoutMs (then it is killed).
int waitExit(EngineProcess& e, int timeoutMs);
void killEngine(EngineProcess& e);

// Runs a program with `input` on its standard input (then end of input) and
// returns everything it printed; *status gets the exit status (-1 on timeout).
std::string runProgram(const std::vector<std::string>& argv, const std::string& input, const std::string& workdir = "",
                       int timeoutMs = 30000, int* status = nullptr);

bool startsWith(const std::string& s, const std::string& prefix);
