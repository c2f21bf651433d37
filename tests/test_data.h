// Where the tests find their data. The small sets they always need are kept in tests/data; larger optional data (whole
// opening books, 5-piece tables, the full perft files) lives in one folder named by the environment variable
// QUORVANE_SHARED_DIR, by default ../shared beside the repository. Tests that need the optional data are skipped, with
// the path they looked for, when it is absent.
#pragma once
#include <gtest/gtest.h>
#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

inline std::string testDataPath(const std::string& relative) { return std::string(TEST_DATA_DIR) + "/" + relative; }
// The positions of a book in tests/data (each line up to a ';'), at most `limit` of them.
inline std::vector<std::string> bookFens(const std::string& relative, size_t limit = 100000) {
    std::ifstream in(testDataPath(relative));
    std::vector<std::string> out;
    for (std::string line; out.size() < limit && std::getline(in, line);) out.push_back(line.substr(0, line.find(';')));
    return out;
}
inline std::string sharedDataPath(const std::string& relative) {
    const char* chosen = std::getenv("QUORVANE_SHARED_DIR");
    return (chosen && *chosen ? std::string(chosen) : std::string(DEFAULT_SHARED_DIR)) + "/" + relative;
}
// A path in the system's temporary folder, unique to this test process.
inline std::string tempFilePath(const std::string& name) {
    return (std::filesystem::temp_directory_path() / ("quorvane_" + std::to_string(::getpid()) + "_" + name)).string();
}
// A fresh empty folder of that kind, removed with what the test wrote into it.
struct ScratchDir {
    std::string path;
    explicit ScratchDir(const std::string& name) : path(tempFilePath(name)) {
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path);
    }
    ~ScratchDir() { std::filesystem::remove_all(path); }
};
// A whole file's bytes ("" when it cannot be read).
inline std::string fileBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// Skips the running test (from its body or SetUp) when a file or folder of the
// optional data is missing; the skip message names it.
#define SKIP_WITHOUT_SHARED_DATA(relative)                                                                           \
    do {                                                                                                             \
        const std::string wanted_ = sharedDataPath(relative);                                                        \
        if (!std::filesystem::exists(wanted_))                                                                       \
            GTEST_SKIP() << "optional test data " << wanted_ << " not found (QUORVANE_SHARED_DIR names its folder)"; \
    } while (0)
