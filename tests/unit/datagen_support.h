// Shared set-up for the data generator tests: board tables, the handcrafted
// evaluation only (no network file needed), temporary files and small books.
#pragma once
#include "generator.h"
#include "position_record.h"
#include "search/reductions.h"
#include "test_data.h"
#include "test_position.h"

inline std::string datagenTempPath(const std::string& name) { return tempFilePath("datagen_" + name); }

// A book file of the given lines, removed when the test ends.
struct TempBook {
    std::string path;
    TempBook(const std::string& name, const std::vector<std::string>& lines) : path(datagenTempPath(name)) {
        std::ofstream out(path);
        for (const std::string& l : lines) out << l << "\n";
    }
    ~TempBook() { std::filesystem::remove(path); }
};

// Middlegame openings with material for both sides (lines of the kind the real book holds).
inline const std::vector<std::string> MIDDLEGAME_BOOK = {
    "r1bq1rk1/ppp2ppp/5n2/2bp4/2NPP3/2P5/PP3PPP/RNBQK2R w KQ d6 0 9",
    "r2q1rk1/ppp1ppbp/2np1npB/8/2PP4/2N2P2/PP1Q1PPP/R3KB1R w KQ - 6 9",
    "rn1q1rk1/1bp1ppbp/p2p1np1/1p6/3PP3/2PB1N2/PP1NQPPP/R1B2RK1 w - - 0 9",
    "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3",
};

struct DatagenTest : ::testing::Test {
    void SetUp() override {
        initBoardTables();
        initReductions();
        initRecordTables();
        handcraftedOnly = true;
    }
    void TearDown() override { handcraftedOnly = false; }
};

// The same, with one game searcher opened for each test.
struct DatagenSearcherTest : DatagenTest {
    void SetUp() override {
        DatagenTest::SetUp();
        datagen::openSearcher(searcher, 1);
    }
    void TearDown() override {
        datagen::closeSearcher(searcher);
        DatagenTest::TearDown();
    }
    datagen::GameSearcher searcher;
};
