#include "engine_under_test.h"

bool startEngine(EngineProcess& e, const std::vector<std::string>& args, const std::string& workdir) {
    std::vector<std::string> argv{ENGINE_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    return startProgram(e, argv, workdir);
}

std::string runEngine(const std::string& input, const std::vector<std::string>& args, const std::string& workdir,
                      int timeoutMs, int* status) {
    std::vector<std::string> argv{ENGINE_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    return runProgram(argv, input, workdir, timeoutMs, status);
}

void writeZeroNetwork(const std::string& path) { std::ofstream(path, std::ios::binary) << std::string(25184056, '\0'); }
