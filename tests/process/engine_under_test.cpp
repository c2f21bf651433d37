#include "engine_under_test.h"

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
