// "bench" as engine-testing tools run it: the same node count on every run, in
// every build, equal to the count the repository records as the search's signature.
#include <regex>
#include "engine_under_test.h"

namespace {
// The "N nodes M nps" line that closes a bench report, or -1 nodes.
long long benchNodes(const std::string& output) {
    static const std::regex last("^([0-9]+) nodes ([0-9]+) nps$");
    auto lines = splitLines(output);
    std::smatch m;
    if (lines.empty() || !std::regex_match(lines.back(), m, last)) return -1;
    return std::stoll(m[1]);
}

// The count recorded in tests/data/bench_signature.txt (lines starting with '#' are comments).
long long recordedSignature() {
    std::ifstream in(std::string(TEST_DATA_DIR) + "/bench_signature.txt");
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && line[0] != '#') return std::stoll(line);
    return -1;
}
}  // namespace
// "quorvane bench [depth]": the benchmark tool's count, the same on every run,
// closing with the line that engine-testing tools read; exit status 0.
TEST(Bench, OnTheCommandLineMatchesTheBenchmarkTool) {
    ScratchDir away("bench");
    int status = -1;
    std::string first = runEngine("", {"bench", "5"}, away.path, 120000, &status);
    EXPECT_EQ(status, 0);
    long long nodes = benchNodes(first);
    ASSERT_GT(nodes, 0) << first;
    EXPECT_NE(first.find("Nodes searched : " + std::to_string(nodes) + "\n"), std::string::npos) << first;
    EXPECT_EQ(benchNodes(runEngine("", {"bench", "5"}, away.path, 120000)), nodes);
#ifdef BENCH_PATH  // the tool is built where CLI11 is found
    // The tool reads the same network from its file.
    EngineProcess tool;
    ASSERT_TRUE(
        startProgram(tool, {BENCH_PATH, "5", std::string(TEST_DATA_DIR) + "/../../220321-307.nnue"}, away.path));
    std::string report;
    for (std::string line; readLine(tool, line, 120000);) report += line + "\n";
    EXPECT_EQ(waitExit(tool, 10000), 0);
    EXPECT_EQ(benchNodes(report), nodes) << report;
#endif
}

TEST(Bench, AtTheConsoleKeepsTheEngineUsable) {
    std::string out = runEngine("bench 3\nbench x\nposition startpos moves e2e4\ngo depth 3\n", {}, "", 120000);
    auto lines = splitLines(out);
    int reports = 0;
    for (const std::string& l : lines) reports += std::regex_match(l, std::regex("^[0-9]+ nodes [0-9]+ nps$"));
    EXPECT_EQ(reports, 1) << out;
    EXPECT_NE(out.find("info string bench depth 'x' is not a number\n"), std::string::npos) << out;
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(startsWith(lines.back(), "bestmove ")) << out;
}

// The guard on the search's signature: a change that alters the node count
// fails here until the record is updated with it.
TEST(BenchSignature, DefaultBenchSearchesTheRecordedNodeCount) {
    long long recorded = recordedSignature();
    ASSERT_GT(recorded, 0) << "tests/data/bench_signature.txt holds no node count";
    ScratchDir away("signature");
    int status = -1;
    std::string report = runEngine("", {"bench"}, away.path, 300000, &status);
    EXPECT_EQ(status, 0) << report;
    long long nodes = benchNodes(report);
    ASSERT_GT(nodes, 0) << report;
    EXPECT_EQ(nodes, recorded) << "quorvane bench searched " << nodes
                               << " nodes, but tests/data/bench_signature.txt records " << recorded
                               << ". If the change means to alter the search, write " << nodes
                               << " into that file and put \"Bench: " << nodes << "\" in the commit message.";
}
