#include "engine_under_test.h"
#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {
std::vector<std::string> engineCommand(const std::vector<std::string>& args) {
    std::vector<std::string> argv{ENGINE_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    return argv;
}
}  // namespace
bool startEngine(EngineProcess& e, const std::vector<std::string>& args, const std::string& workdir) {
    return startProgram(e, engineCommand(args), workdir);
}

std::string runEngine(const std::string& input, const std::vector<std::string>& args, const std::string& workdir,
                      int timeoutMs, int* status) {
    return runProgram(engineCommand(args), input, workdir, timeoutMs, status);
}

std::string makeTempDir(const std::string& prefix) {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/" + prefix + "XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    char* dir = mkdtemp(buffer.data());
    return dir ? std::string(dir) : std::string();
}

TempDir::~TempDir() {
    std::error_code ignored;
    if (!path.empty()) std::filesystem::remove_all(path, ignored);
}

void writeZeroNetwork(const std::string& path) {
    std::ofstream out(path, std::ios::binary);
    std::string zeros(1 << 20, '\0');
    size_t total = 25184056;
    while (total > 0) {
        size_t n = total < zeros.size() ? total : zeros.size();
        out.write(zeros.data(), std::streamsize(n));
        total -= n;
    }
}
