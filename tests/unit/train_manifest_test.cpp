// The data folder's manifest: what survives a write and a read, and what a
// damaged line does.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <unistd.h>

#include "manifest.h"

namespace {

std::string scratchPath(const char* name) {
    return (std::filesystem::temp_directory_path() / (std::string("quorvane_") + name + "_" + std::to_string(::getpid())))
        .string();
}

TEST(TrainManifest, EntriesSurviveAWriteAndARead) {
    std::vector<ManifestEntry> entries = {
        {"gen4.bin", "data", 3500061, "net3.nnue 1a2b3c", "fae4711", "2026-11-23T11:00:00Z",
         "datagen --out gen4.bin --nodes 2000"},
        {"validation.bin", "validation", 100000, "net3.nnue 1a2b3c", "fae4711", "2026-11-23T11:05:00Z", ""},
        // A tab or newline in a field would split the line: they become blanks.
        {"net4.nnue", "net", 0, "net3.nnue", "fae4711", "2026-11-23T12:00:00Z", "trainer\t--epochs 30\n--lr 0.002"},
    };
    std::string path = scratchPath("manifest");
    ASSERT_TRUE(writeManifest(path, entries));
    std::vector<ManifestEntry> back;
    std::string error;
    ASSERT_TRUE(readManifest(path, back, &error)) << error;
    std::remove(path.c_str());
    ASSERT_EQ(back.size(), 3u);
    EXPECT_EQ(back[0].file, "gen4.bin");
    EXPECT_EQ(back[0].positions, 3500061u);
    EXPECT_EQ(back[0].command, "datagen --out gen4.bin --nodes 2000");
    EXPECT_EQ(back[1].kind, "validation");
    EXPECT_EQ(back[1].command, "");
    EXPECT_EQ(back[2].command, "trainer --epochs 30 --lr 0.002");

    // A missing manifest is an empty folder, not an error.
    ASSERT_TRUE(readManifest(path, back, &error));
    EXPECT_TRUE(back.empty());
}

TEST(TrainManifest, AFileMadeAgainReplacesItsEntry) {
    std::vector<ManifestEntry> entries;
    putEntry(entries, {"a.bin", "data", 10, "n1", "c1", "d1", "x"});
    putEntry(entries, {"b.bin", "data", 20, "n1", "c1", "d1", "y"});
    putEntry(entries, {"a.bin", "data", 30, "n2", "c2", "d2", "z"});
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].positions, 30u);
    EXPECT_EQ(entries[0].network, "n2");
    EXPECT_EQ(entries[1].file, "b.bin");
}

TEST(TrainManifest, DamagedLinesAreRefusedWithTheirNumber) {
    ManifestEntry e;
    std::string error;
    EXPECT_FALSE(parseManifestLine("a.bin\tdata\t12", e, &error));
    EXPECT_FALSE(parseManifestLine("a.bin\tdata\t-3\tn\tc\td\tx", e, &error));
    EXPECT_FALSE(parseManifestLine("a.bin\tdata\t99999999999999999999\tn\tc\td\tx", e, &error));
    EXPECT_FALSE(parseManifestLine("\tdata\t1\tn\tc\td\tx", e, &error));
    ASSERT_TRUE(parseManifestLine("a.bin\tdata\t12\tn\tc\td\t", e, &error)) << error;
    EXPECT_EQ(e.positions, 12u);

    std::string path = scratchPath("damaged");
    {
        std::ofstream out(path);
        out << "file\tkind\tpositions\tnetwork\tcommit\tdate\tcommand\n"
            << "a.bin\tdata\t12\tn\tc\td\tx\n"
            << "b.bin\tdata\ttwelve\tn\tc\td\tx\n";
    }
    std::vector<ManifestEntry> entries;
    EXPECT_FALSE(readManifest(path, entries, &error));
    std::remove(path.c_str());
    EXPECT_NE(error.find("line 3"), std::string::npos) << error;
}

} // namespace
