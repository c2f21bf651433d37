#include "uci/output.h"

#include <cstdio>
#include <mutex>

namespace {
std::mutex outputMutex;
}

void sendLine(const std::string& line) {
    std::lock_guard<std::mutex> lock(outputMutex);
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}
