// The registry: file lookup over several directories, size and magic checks,
// the hash of material keys, the largest table and re-initialisation.
#include "tablebase/probe.h"
#include "tb_support.h"

namespace fs = std::filesystem;

namespace {
// Replaces the directory entry first: it may be a link to a shared table, which must never be written through.
void writeBytes(const fs::path& file, const std::string& bytes) {
    fs::remove(file);
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), std::streamsize(bytes.size()));
}

// A scratch directory per test, removed afterwards.
struct TbRegistry : ::testing::Test {
    ScratchDir scratch{std::string("tb_") + ::testing::UnitTest::GetInstance()->current_test_info()->name()};
    const fs::path root = scratch.path;
    void SetUp() override { initBoardTables(); }
    void TearDown() override { initTablebases("<empty>"); }
    fs::path dir(const std::string& name) {
        fs::create_directories(root / name);
        return root / name;
    }
    // A private copy (never a link: the scratch files get rewritten).
    void copyTable(const std::string& file, const fs::path& to) {
        writeBytes(to / file, fileBytes(fs::path(SYZYGY_DIR) / file));
    }
};

const char* KQVK_WIN = "8/8/8/1K6/4k3/8/8/2Q5 w - - 0 1";  // from the reference list: a win in 13 plies
}  // namespace
TEST_F(TbRegistry, KeptTablesAreAllRegisteredAndHashedOnceOrTwice) {
    int files = 0, dtz = 0;
    size_t largestName = 0;
    for (const auto& entry : fs::directory_iterator(SYZYGY_DIR)) {
        files += entry.path().extension() == ".rtbw";
        dtz += entry.path().extension() == ".rtbz";
        if (entry.path().extension() == ".rtbw")
            largestName = std::max(largestName, entry.path().stem().string().size());
    }
    ASSERT_TRUE(initTablebases(SYZYGY_DIR));
    EXPECT_TRUE(registeredTableCount() == files && registeredDtzCount() == dtz && registeredDtmCount() == 0) << files;
    EXPECT_EQ(largestTablebase(), int(largestName) - 1);  // the name has a 'v' besides its pieces
    TbTable *krkr = lookup(materialKeyOfName("KRvKR", false)), *kqkr = lookup(materialKeyOfName("KQvKR", false));
    ASSERT_TRUE(krkr && kqkr);
    EXPECT_TRUE(krkr->symmetric && hashEntriesFor(krkr) == 1);
    EXPECT_TRUE(!kqkr->symmetric && hashEntriesFor(kqkr) == 2 && kqkr->pieceCount == 4);
    EXPECT_EQ(lookup(materialKeyOfName("KQvKR", true)), kqkr);
    // The table layout of each file (pieces, pawns, the leading side) is checked by probing: TbExpected.
    EXPECT_EQ(lookup(materialKeyOfName("KQQvKQ", false)), nullptr);  // not among the shared files
}

TEST_F(TbRegistry, AnEmptyPathOrAFolderWithoutTablesUnregistersEverything) {
    for (std::string path : {std::string("<empty>"), std::string(), dir("nothing").string()}) {
        ASSERT_TRUE(initTablebases(SYZYGY_DIR));
        TestPosition p(KQVK_WIN);
        ASSERT_EQ(probeWdl(*p), 4);
        EXPECT_TRUE(initTablebases(path));
        EXPECT_TRUE(largestTablebase() == 0 && registeredTableCount() == 0
                    && !lookup(materialKeyOfName("KQvK", false)));
        EXPECT_EQ(probeWdl(*p), -1);
    }
}

TEST_F(TbRegistry, FileOnlyInTheSecondDirectoryIsFound) {
    fs::path first = dir("first"), second = dir("second");
    copyTable("KRvK.rtbw", first);
    copyTable("KQvK.rtbw", second);
    copyTable("KQvK.rtbz", second);
    ASSERT_TRUE(initTablebases(first.string() + ";;" + second.string() + ";"));
    EXPECT_TRUE(registeredTableCount() == 2 && registeredDtzCount() == 1 && largestTablebase() == 3);
    TbTable *kqk = lookup(materialKeyOfName("KQvK", false)), *krk = lookup(materialKeyOfName("KRvK", false));
    ASSERT_TRUE(kqk && krk);
    EXPECT_TRUE(kqk->hasDtz && !krk->hasDtz);
    TestPosition p(KQVK_WIN);
    EXPECT_TRUE(probeWdlValue(*p) == 2 && probeDtzValue(*p) == 13);
}

TEST_F(TbRegistry, TruncatedFilesAreReportedAndSkipped) {
    fs::path d = dir("tables");
    std::string wdl = fileBytes(fs::path(SYZYGY_DIR) / "KRvK.rtbw");
    writeBytes(d / "KRvK.rtbw", wdl.substr(0, wdl.size() - 1));
    copyTable("KQvK.rtbw", d);
    std::string dtz = fileBytes(fs::path(SYZYGY_DIR) / "KQvK.rtbz");
    writeBytes(d / "KQvK.rtbz", dtz.substr(0, dtz.size() - 16));
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    ASSERT_TRUE(initTablebases(d.string()));
    std::string out = ::testing::internal::GetCapturedStdout();
    // Names are tried queen before rook.
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Incomplete tablebase file KQvK.rtbz\nIncomplete tablebase file KRvK.rtbw\n");
    EXPECT_EQ(out,
              "info string Incomplete tablebase file KQvK.rtbz\ninfo string Incomplete tablebase file KRvK.rtbw\n");
    EXPECT_EQ(lookup(materialKeyOfName("KRvK", false)), nullptr);
    TbTable* kqk = lookup(materialKeyOfName("KQvK", false));
    ASSERT_NE(kqk, nullptr);
    EXPECT_TRUE(!kqk->hasDtz && registeredTableCount() == 1);
    TestPosition p(KQVK_WIN);
    EXPECT_TRUE(probeWdlValue(*p) == 2 && probeDtzValue(*p) == TB_FAILED);  // no usable distance file
}

TEST_F(TbRegistry, WrongMagicIsReportedAtTheFirstProbeOnly) {
    fs::path d = dir("tables");
    std::string bytes = fileBytes(fs::path(SYZYGY_DIR) / "KQvK.rtbw");
    bytes[0] ^= 0x55;
    writeBytes(d / "KQvK.rtbw", bytes);
    copyTable("KQvK.rtbz", d);
    ::testing::internal::CaptureStderr();
    ASSERT_TRUE(initTablebases(d.string()));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    ASSERT_NE(lookup(materialKeyOfName("KQvK", false)), nullptr);
    TestPosition p(KQVK_WIN);
    ::testing::internal::CaptureStderr();
    EXPECT_TRUE(probeWdl(*p) == -1 && probeWdl(*p) == -1);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Corrupted table.\n");
    // A distance file with a WDL magic is refused as well.
    writeBytes(d / "KQvK.rtbz", fileBytes(fs::path(SYZYGY_DIR) / "KRvK.rtbw"));
    copyTable("KQvK.rtbw", d);
    ::testing::internal::CaptureStderr();
    ASSERT_TRUE(initTablebases(d.string()));
    EXPECT_TRUE(probeWdl(*p) == 4 && probeDtzValue(*p) == TB_FAILED);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Corrupted table.\n");
}

TEST_F(TbRegistry, ReinitialisationDropsOldMappings) {
    fs::path d = dir("tables");
    std::string bytes = fileBytes(fs::path(SYZYGY_DIR) / "KQvK.rtbw");
    bytes[3] = 0;
    writeBytes(d / "KQvK.rtbw", bytes);
    TestPosition p(KQVK_WIN);
    ASSERT_TRUE(initTablebases(SYZYGY_DIR));
    EXPECT_EQ(probeWdl(*p), 4);  // mapped from the shared directory
    ::testing::internal::CaptureStderr();
    ASSERT_TRUE(initTablebases(d.string()));
    EXPECT_EQ(probeWdl(*p), -1);  // the damaged copy is mapped now
    ::testing::internal::GetCapturedStderr();
    ASSERT_TRUE(initTablebases(SYZYGY_DIR));
    EXPECT_EQ(probeWdl(*p), 4);  // and the failure is forgotten
}

TEST_F(TbRegistry, LargestCountsPieces) {
    fs::path d = dir("tables");
    copyTable("KPvK.rtbw", d);
    ASSERT_TRUE(initTablebases(d.string()));
    EXPECT_EQ(largestTablebase(), 3);
    // Registration reads only the size: 16 more than a multiple of 64.
    writeBytes(d / "KQRvKR.rtbw", std::string(80, '\0'));
    ASSERT_TRUE(initTablebases(d.string()));
    EXPECT_EQ(largestTablebase(), 5);
    // Positions beyond the largest table are refused without searching.
    EXPECT_EQ(probeWdl(*TestPosition("8/8/8/8/8/8/PPPPPPPP/K6k w - - 0 1")), -1);
}
