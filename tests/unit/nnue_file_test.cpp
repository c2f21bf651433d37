// Reading network files: any description length, truncated and missing files.
#include <cstdio>
#include <cstring>
#include "eval_helpers.h"
#include "test_data.h"

namespace {
namespace fs = std::filesystem;

constexpr uintmax_t NET_BYTES = 25184056;

// A scratch folder, and the last random network written into it.
struct NetFile : ::testing::Test {
    ScratchDir scratch{"net_files"};
    const fs::path dir = scratch.path;
    std::unique_ptr<NnueNet> written = std::make_unique<NnueNet>();
    fs::path writeRandomNet(const std::string& name, uint64_t seed, const std::string& description = "") {
        fillRandomNet(*written, seed);
        std::ofstream out(dir / name, std::ios::binary);
        EXPECT_TRUE(writeNet(out, *written, description));
        return dir / name;
    }
};

std::string loadCapturingOutput(const std::string& path, bool* opened) {
    testing::internal::CaptureStdout();
    *opened = loadNetFile(path);
    return testing::internal::GetCapturedStdout();
}

// Loads `file` over a cleared network: a file that opens is always "read".
void expectRead(const fs::path& file) {
    std::memset(&nnue, 0, sizeof nnue);
    bool opened = false;
    EXPECT_EQ("Net read\n", loadCapturingOutput(file.string(), &opened));
    EXPECT_TRUE(opened && netLoaded);
}

TEST_F(NetFile, AnyDescriptionLengthLoads) {
    uint64_t seed = 50;
    for (size_t length : {0u, 1u, 3u, 4u, 255u, 4099u}) {
        std::string description(length, 'd');
        if (length) description[0] = '\0';  // the text is skipped, whatever it holds
        fs::path file = writeRandomNet("net.nnue", ++seed, description);
        EXPECT_EQ(NET_BYTES + length, fs::file_size(file));
        expectRead(file);
        EXPECT_EQ(0, std::memcmp(&nnue, written.get(), sizeof nnue)) << "description length " << length;
    }
}

TEST_F(NetFile, LoadNetReportsAStreamThatRanOut) {
    fillRandomNet(*written, 60);
    std::stringstream whole;
    writeNet(whole, *written, "x");
    std::string bytes = whole.str();
    std::istringstream complete(bytes), extra(bytes + "trailing bytes are not read");
    testing::internal::CaptureStdout();
    EXPECT_TRUE(loadNet(complete));
    EXPECT_TRUE(loadNet(extra));
    std::istringstream shortened(bytes.substr(0, bytes.size() - 1));
    EXPECT_FALSE(loadNet(shortened));
    EXPECT_TRUE(netLoaded);
    EXPECT_EQ("Net read\nNet read\nNet read\n", testing::internal::GetCapturedStdout());
}

TEST_F(NetFile, TruncatedFileStillCountsAsRead) {
    fs::path file = writeRandomNet("short.nnue", 61);
    fs::resize_file(file, 12 + 4 + 2 * NNUE_HIDDEN + 1000);  // the transformer weights break off
    expectRead(file);
    EXPECT_EQ(0, std::memcmp(nnue.transformerBias, written->transformerBias, sizeof nnue.transformerBias));
    EXPECT_EQ(0, nnue.outputBias);  // blocks after the break keep their old contents
}

TEST_F(NetFile, MissingFileIsReported) {
    netLoaded = true;
    std::string path = (dir / "absent.nnue").string();
    bool opened = true;
    std::string out = loadCapturingOutput(path, &opened);
    EXPECT_TRUE(!opened && !netLoaded && out.empty()) << out;
    EXPECT_EQ("info string NetFile not found/correct: " + path + ". Unable to calculate the best move for a position.",
              netMissingLine(path, false));
    EXPECT_EQ(0u, netMissingLine(path, true).find("info string NetFile not found/correct: " + path));
}

TEST_F(NetFile, LoadingForgetsCachedScores) {
    TestPosition p("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3");
    fs::path first = writeRandomNet("a.nnue", 70), second = writeRandomNet("b.nnue", 71);
    bool opened;
    loadCapturingOutput(first.string(), &opened);
    int before = evaluate(0, *p);
    loadCapturingOutput(second.string(), &opened);
    p->acc[0].computed = 0;  // the search starts every root afresh
    int after = evaluate(0, *p);
    loadCapturingOutput(first.string(), &opened);
    p->acc[0].computed = 0;
    EXPECT_NE(before, after);
    EXPECT_EQ(before, evaluate(0, *p));
}
}  // namespace
