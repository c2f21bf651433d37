// The engine as users start it: by absolute path from a folder that has
// nothing of the project in it, and as engine-testing tools run "bench".
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "engine_under_test.h"

namespace {

std::vector<std::string> outputLines(const std::string& text) {
    std::vector<std::string> out;
    size_t start = 0;
    for (size_t nl; (nl = text.find('\n', start)) != std::string::npos; start = nl + 1) out.push_back(text.substr(start, nl - start));
    return out;
}

// The "N nodes M nps" line that closes a bench report, or -1 nodes.
long long benchNodes(const std::string& output) {
    static const std::regex last("^([0-9]+) nodes ([0-9]+) nps$");
    auto lines = outputLines(output);
    std::smatch m;
    if (lines.empty() || !std::regex_match(lines.back(), m, last)) return -1;
    return std::stoll(m[1]);
}

} // namespace

TEST(AnyFolder, PlaysAGameStartedFromAnUnrelatedFolder) {
    TempDir away("quorvane-away-");
    EngineProcess e;
    ASSERT_TRUE(startEngine(e, {}, away.path));
    send(e, "uci");
    bool found = false;
    readUntilLine(e, "uciok", 20000, &found);
    ASSERT_TRUE(found);
    send(e, "ucinewgame");
    std::string moves;
    const std::regex bestmove("^bestmove ([a-h][1-8][a-h][1-8][nbrq]?)( ponder [a-h][1-8][a-h][1-8][nbrq]?)?$");
    for (int ply = 0; ply < 8; ++ply) {
        send(e, "position startpos" + (moves.empty() ? "" : " moves" + moves));
        send(e, ply % 2 ? "go nodes 3000" : "go depth 5");
        auto lines = readUntil(e, [](const std::string& l) { return startsWith(l, "bestmove"); }, 30000, &found);
        ASSERT_TRUE(found) << "ply " << ply;
        for (const std::string& l : lines) EXPECT_FALSE(startsWith(l, "info string NetFile not found")) << l;
        std::smatch m;
        ASSERT_TRUE(std::regex_match(lines.back(), m, bestmove)) << lines.back();
        moves += ' ';
        moves += m[1].str();
    }
    send(e, "quit");
    EXPECT_EQ(waitExit(e, 10000), 0);
}

// "quorvane bench [depth]": the benchmark tool's count, the same on every run,
// closing with the line that engine-testing tools read; exit status 0.
TEST(AnyFolder, BenchOnTheCommandLineMatchesTheBenchmarkTool) {
    TempDir away("quorvane-bench-");
    int status = -1;
    std::string first = runEngine("", {"bench", "5"}, away.path, 120000, &status);
    EXPECT_EQ(status, 0);
    long long nodes = benchNodes(first);
    ASSERT_GT(nodes, 0) << first;
    EXPECT_NE(first.find("Nodes searched : " + std::to_string(nodes) + "\n"), std::string::npos) << first;
    EXPECT_EQ(benchNodes(runEngine("", {"bench", "5"}, away.path, 120000)), nodes);

    // The tool reads the same network from its file.
    EngineProcess tool;
    ASSERT_TRUE(startProgram(tool, {BENCH_PATH, "5", std::string(TEST_DATA_DIR) + "/../../220321-307.nnue"}, away.path));
    std::string report;
    for (std::string line; readLine(tool, line, 120000);) report += line + "\n";
    EXPECT_EQ(waitExit(tool, 10000), 0);
    EXPECT_EQ(benchNodes(report), nodes) << report;
}

TEST(AnyFolder, BenchAtTheConsoleKeepsTheEngineUsable) {
    std::string out = runEngine("bench 3\nbench x\nposition startpos moves e2e4\ngo depth 3\n", {}, "", 120000);
    auto lines = outputLines(out);
    std::vector<std::string> nodeLines;
    for (const std::string& l : lines)
        if (std::regex_match(l, std::regex("^[0-9]+ nodes [0-9]+ nps$"))) nodeLines.push_back(l);
    EXPECT_EQ(nodeLines.size(), 1u) << out;
    EXPECT_NE(out.find("info string bench depth 'x' is not a number\n"), std::string::npos) << out;
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(startsWith(lines.back(), "bestmove ")) << out;
}
