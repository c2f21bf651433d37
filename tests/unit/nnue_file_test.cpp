// Network files: read whatever the length of their description, truncated and missing; and where the default network is
// found at start-up: the working directory, then the executable's folder, then the copy built into the engine.
#include <cstring>
#include "eval/default_network.h"
#include "eval_helpers.h"
#include "test_data.h"

namespace {
namespace fs = std::filesystem;

constexpr uintmax_t NET_BYTES = 25184056;

// A scratch folder, and the random network last written.
struct NetFiles : ::testing::Test {
    ScratchDir scratch{"net_files"};
    const fs::path dir = scratch.path;
    std::unique_ptr<NnueNet> written = std::make_unique<NnueNet>();
    // A random network's file bytes.
    std::string netBytes(uint64_t seed, const std::string& description = "default") {
        fillRandomNet(*written, seed);
        std::ostringstream out(std::ios::binary);
        EXPECT_TRUE(writeNet(out, *written, description));
        return out.str();
    }
    fs::path writeFile(const fs::path& file, const std::string& bytes) {
        std::ofstream(file, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
        return file;
    }
    fs::path writeRandomNet(const std::string& name, uint64_t seed, const std::string& description = "") {
        return writeFile(dir / name, netBytes(seed, description));
    }
    std::string printed;  // what the last load printed
    DefaultNetworkSource load(const std::string& name, const std::string& exeDir, std::string_view builtIn) {
        std::memset(&nnue, 0, sizeof nnue);
        testing::internal::CaptureStdout();
        DefaultNetworkSource source = loadDefaultNetwork(name, exeDir, builtIn);
        printed = testing::internal::GetCapturedStdout();
        return source;
    }
};
using NetFile = NetFiles;
using DefaultNetwork = NetFiles;

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
    std::string bytes = netBytes(60, "x");
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

TEST_F(DefaultNetwork, TheExecutablesFolderComesBeforeTheBuiltInCopy) {
    writeFile(dir / "beside.nnue", netBytes(81));
    std::string builtIn = netBytes(82);
    DefaultNetworkSource source = load("beside.nnue", dir.string() + "/", builtIn);
    EXPECT_TRUE(netLoaded && !source.builtIn);
    EXPECT_EQ(source.path, dir.string() + "/beside.nnue");
    EXPECT_EQ(printed, "Net read\n");  // the failed look in the working directory prints nothing
    fillRandomNet(*written, 81);
    EXPECT_EQ(0, std::memcmp(&nnue, written.get(), sizeof nnue));
    EXPECT_EQ(defaultNetworkLine("beside.nnue", source), "info string NetFile used : " + source.path);
}

// An installed engine: bin/quorvane with its network in share/quorvane/. A
// file beside the executable still comes first.
TEST_F(DefaultNetwork, AnInstalledEngineFindsItsNetworkInTheShareFolder) {
    fs::create_directories(dir / "bin");
    fs::create_directories(dir / "share" / "quorvane");
    writeFile(dir / "share" / "quorvane" / "installed.nnue", netBytes(84));
    std::string builtIn = netBytes(85), exeDir = (dir / "bin").string() + "/";
    DefaultNetworkSource source = load("installed.nnue", exeDir, builtIn);
    EXPECT_TRUE(netLoaded && !source.builtIn);
    EXPECT_EQ(source.path, exeDir + "../share/quorvane/installed.nnue");
    fillRandomNet(*written, 84);
    EXPECT_EQ(0, std::memcmp(&nnue, written.get(), sizeof nnue));
    writeFile(dir / "bin" / "installed.nnue", netBytes(86));
    source = load("installed.nnue", exeDir, builtIn);
    EXPECT_EQ(source.path, exeDir + "installed.nnue");
}

TEST_F(DefaultNetwork, TheBuiltInCopyIsTheLastResort) {
    std::string builtIn = netBytes(83);
    DefaultNetworkSource source = load("absent.nnue", dir.string() + "/", builtIn);
    EXPECT_TRUE(netLoaded && source.builtIn);
    EXPECT_EQ(printed, "Net read\n");
    EXPECT_EQ(0, std::memcmp(&nnue, written.get(), sizeof nnue));
    EXPECT_EQ(defaultNetworkLine("absent.nnue", source),
              "info string NetFile used : absent.nnue (the copy built into the engine)");
}

TEST_F(DefaultNetwork, WithNothingAnywhereTheFailureLineIsPrinted) {
    DefaultNetworkSource source = load("absent.nnue", dir.string() + "/", {});
    EXPECT_FALSE(netLoaded);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(defaultNetworkLine("absent.nnue", source),
              "info string NetFile not found/correct: absent.nnue. Unable to calculate the best move for a position.");
    // No folder known for the executable either.
    load("absent.nnue", "", {});
    EXPECT_FALSE(netLoaded);
}

TEST_F(DefaultNetwork, TheExecutablesFolderIsAbsoluteAndHoldsTheTestProgram) {
    std::string folder = executableDirectory();
    ASSERT_FALSE(folder.empty());
    EXPECT_TRUE(folder.back() == '/' && fs::path(folder).is_absolute()) << folder;
    EXPECT_TRUE(fs::exists(fs::path(folder) / "unit_tests"));
}
}  // namespace
