#include "engine_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

namespace {

using Clock = std::chrono::steady_clock;

int msLeft(Clock::time_point deadline) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left < 0 ? 0 : int(left);
}

bool takeLine(EngineProcess& e, std::string& line) {
    size_t nl = e.pending.find('\n');
    if (nl == std::string::npos) return false;
    line = e.pending.substr(0, nl);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    e.pending.erase(0, nl + 1);
    e.transcript.push_back(line);
    return true;
}

// Writes all of `text` unless the pipe closes first.
void writeAll(int fd, const std::string& text) {
    const char* data = text.data();
    size_t left = text.size();
    while (left > 0 && fd >= 0) {
        ssize_t n = write(fd, data, left);
        if (n <= 0) break;
        data += n;
        left -= size_t(n);
    }
}

}  // namespace

bool startsWith(const std::string& s, const std::string& prefix) { return s.rfind(prefix, 0) == 0; }

bool startProgram(EngineProcess& e, const std::vector<std::string>& command, const std::string& workdir) {
    if (command.empty()) return false;
    signal(SIGPIPE, SIG_IGN);
    int in[2], out[2];
    if (pipe(in) != 0 || pipe(out) != 0) return false;
    pid_t pid = fork();
    if (pid < 0) return false;
    if (pid == 0) {
        dup2(in[0], 0);
        dup2(out[1], 1);
        dup2(out[1], 2);
        close(in[0]);
        close(in[1]);
        close(out[0]);
        close(out[1]);
        if (!workdir.empty() && chdir(workdir.c_str()) != 0) _exit(127);
        std::vector<char*> argv;
        for (const auto& a : command) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    e.pid = pid;
    e.toEngine = in[1];
    e.fromEngine = out[0];
    return true;
}

void send(EngineProcess& e, const std::string& line) { writeAll(e.toEngine, line + "\n"); }

void closeInput(EngineProcess& e) {
    if (e.toEngine >= 0) close(e.toEngine);
    e.toEngine = -1;
}

bool readLine(EngineProcess& e, std::string& line, int timeoutMs) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        if (takeLine(e, line)) return true;
        if (e.fromEngine < 0) return false;
        pollfd pfd{e.fromEngine, POLLIN, 0};
        int ready = poll(&pfd, 1, msLeft(deadline));
        if (ready <= 0) return false;
        char buffer[4096];
        ssize_t n = read(e.fromEngine, buffer, sizeof buffer);
        if (n <= 0) {
            close(e.fromEngine);
            e.fromEngine = -1;
            if (!e.pending.empty()) e.pending += '\n';
            continue;
        }
        e.pending.append(buffer, size_t(n));
    }
}

std::vector<std::string> readUntil(EngineProcess& e, const std::function<bool(const std::string&)>& done, int timeoutMs,
                                   bool* found) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    std::vector<std::string> lines;
    std::string line;
    if (found) *found = false;
    while (readLine(e, line, msLeft(deadline))) {
        lines.push_back(line);
        if (done(line)) {
            if (found) *found = true;
            break;
        }
    }
    return lines;
}

std::vector<std::string> readUntilLine(EngineProcess& e, const std::string& expected, int timeoutMs, bool* found) {
    return readUntil(
        e, [&](const std::string& l) { return l == expected; }, timeoutMs, found);
}

std::vector<std::string> readFor(EngineProcess& e, int ms) {
    return readUntil(
        e, [](const std::string&) { return false; }, ms);
}

int waitExit(EngineProcess& e, int timeoutMs) {
    if (e.pid < 0) return -1;
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        int status = 0;
        pid_t r = waitpid(e.pid, &status, WNOHANG);
        if (r == e.pid) {
            e.pid = -1;
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        if (msLeft(deadline) == 0) {
            killEngine(e);
            return -1;
        }
        // Keep draining output so the engine never blocks on a full pipe.
        std::string line;
        readLine(e, line, 5);
    }
}

void killEngine(EngineProcess& e) {
    if (e.pid > 0) {
        kill(e.pid, SIGKILL);
        waitpid(e.pid, nullptr, 0);
        e.pid = -1;
    }
    closeInput(e);
    if (e.fromEngine >= 0) close(e.fromEngine);
    e.fromEngine = -1;
}

std::string runProgram(const std::vector<std::string>& argv, const std::string& input, const std::string& workdir,
                       int timeoutMs, int* status) {
    EngineProcess e;
    if (!startProgram(e, argv, workdir)) {
        if (status) *status = -1;
        return "";
    }
    writeAll(e.toEngine, input);
    closeInput(e);
    std::string all;
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    std::string line;
    while (readLine(e, line, msLeft(deadline))) all += line + "\n";
    int code = waitExit(e, msLeft(deadline) + 1000);
    if (status) *status = code;
    return all;
}
