// Where the default network is found at start-up: the working directory, then
// the executable's folder, then the copy built into the engine.
#include <cstring>
#include "eval/default_network.h"
#include "eval_helpers.h"
#include "test_data.h"

namespace {
namespace fs = std::filesystem;

struct DefaultNetwork : ::testing::Test {
    ScratchDir scratch{"default_network"};
    const fs::path dir = scratch.path;
    std::unique_ptr<NnueNet> written = std::make_unique<NnueNet>();
    // A random network's file bytes.
    std::string netBytes(uint64_t seed) {
        fillRandomNet(*written, seed);
        std::ostringstream out(std::ios::binary);
        EXPECT_TRUE(writeNet(out, *written, "default"));
        return out.str();
    }
    void writeFile(const fs::path& file, const std::string& bytes) {
        std::ofstream(file, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
    }
    DefaultNetworkSource load(const std::string& name, const std::string& exeDir, std::string_view builtIn,
                              std::string* printed) {
        std::memset(&nnue, 0, sizeof nnue);
        testing::internal::CaptureStdout();
        DefaultNetworkSource source = loadDefaultNetwork(name, exeDir, builtIn);
        *printed = testing::internal::GetCapturedStdout();
        return source;
    }
};

TEST_F(DefaultNetwork, TheExecutablesFolderComesBeforeTheBuiltInCopy) {
    writeFile(dir / "beside.nnue", netBytes(81));
    std::string builtIn = netBytes(82), printed;
    DefaultNetworkSource source = load("beside.nnue", dir.string() + "/", builtIn, &printed);
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
    std::string builtIn = netBytes(85), printed, exeDir = (dir / "bin").string() + "/";
    DefaultNetworkSource source = load("installed.nnue", exeDir, builtIn, &printed);
    EXPECT_TRUE(netLoaded && !source.builtIn);
    EXPECT_EQ(source.path, exeDir + "../share/quorvane/installed.nnue");
    fillRandomNet(*written, 84);
    EXPECT_EQ(0, std::memcmp(&nnue, written.get(), sizeof nnue));
    writeFile(dir / "bin" / "installed.nnue", netBytes(86));
    source = load("installed.nnue", exeDir, builtIn, &printed);
    EXPECT_EQ(source.path, exeDir + "installed.nnue");
}

TEST_F(DefaultNetwork, TheBuiltInCopyIsTheLastResort) {
    std::string builtIn = netBytes(83), printed;
    DefaultNetworkSource source = load("absent.nnue", dir.string() + "/", builtIn, &printed);
    EXPECT_TRUE(netLoaded && source.builtIn);
    EXPECT_EQ(printed, "Net read\n");
    EXPECT_EQ(0, std::memcmp(&nnue, written.get(), sizeof nnue));
    EXPECT_EQ(defaultNetworkLine("absent.nnue", source),
              "info string NetFile used : absent.nnue (the copy built into the engine)");
}

TEST_F(DefaultNetwork, WithNothingAnywhereTheFailureLineIsPrinted) {
    std::string printed;
    DefaultNetworkSource source = load("absent.nnue", dir.string() + "/", {}, &printed);
    EXPECT_FALSE(netLoaded);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(defaultNetworkLine("absent.nnue", source),
              "info string NetFile not found/correct: absent.nnue. Unable to calculate the best move for a position.");
    // No folder known for the executable either.
    load("absent.nnue", "", {}, &printed);
    EXPECT_FALSE(netLoaded);
}

TEST_F(DefaultNetwork, TheExecutablesFolderIsAbsoluteAndHoldsTheTestProgram) {
    std::string folder = executableDirectory();
    ASSERT_FALSE(folder.empty());
    EXPECT_TRUE(folder.back() == '/' && fs::path(folder).is_absolute()) << folder;
    EXPECT_TRUE(fs::exists(fs::path(folder) / "unit_tests"));
}
}  // namespace
