#include <cstdio>
#include <cstring>
#include "eval_helpers.h"
#include "test_data.h"
#include "tune/texel.h"

namespace {
struct Texel : ::testing::Test {
    static void SetUpTestSuite() { initBoardTables(); }
    void SetUp() override { savedLoaded = netLoaded; }
    void TearDown() override { netLoaded = savedLoaded; }
    bool savedLoaded = false;
    std::string writeFile(const std::string& text) {
        std::string path = ::testing::TempDir() + "/tuning.epd";
        std::ofstream(path) << text;
        return path;
    }
};

TEST_F(Texel, LineSplitting) {
    std::string position, result;
    splitTuningLine("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - c9 \"1-0\";", position, result);
    EXPECT_TRUE(position == "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -" && result == "1-0") << position;
    splitTuningLine("4k3/8/8/8/8/8/8/4K3 b - - c9 \"1/2-1/2\";", position, result);
    EXPECT_EQ(result, "1/2");
    splitTuningLine("4k3/8/8/8/8/8/8/4K3 b - -", position, result);
    EXPECT_TRUE(position == "4k3/8/8/8/8/8/8/4K3 b - -" && result.empty()) << position;
}

TEST_F(Texel, LoadingFilter) {
    const std::string lines =
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - c9 \"1-0\";\n"
        "4k3/8/8/8/8/8/8/3QK3 w - - c9 \"1-0\";\n"      // a queen up: |balance| >= 600
        "4k3/8/8/8/8/8/8/3NK3 w - - c9 \"1/2-1/2\";\n"  // a knight up: kept
        "not a position c9 \"0-1\";\n";
    std::string path = writeFile(lines);
    std::vector<TuningRecord> records;
    netLoaded = false;
    ASSERT_TRUE(loadTuningFile(path, records));
    EXPECT_TRUE(records.empty());
    // Other tests may have loaded a network; with every weight zero the network's output is 0 and every target 0.5.
    auto zero = std::make_unique<NnueNet>();
    std::memset(static_cast<void*>(zero.get()), 0, sizeof(NnueNet));
    EngineNetwork engine(*zero);
    ASSERT_TRUE(loadTuningFile(path, records));
    ASSERT_EQ(records.size(), 2u);
    EXPECT_TRUE(records[0].target == 0.5 && records[1].target == 0.5 && records[1].board[3] == WKNIGHT);
    EXPECT_FALSE(loadTuningFile(path + ".missing", records));
}

TEST_F(Texel, PerfectTargetsGiveZeroErrorWithAnyNumberOfWorkers) {
    TestPosition p;
    std::vector<TuningRecord> records;
    netLoaded = true;
    for (const std::string& fen : bookFens("books/endgames.epd")) {
        if (records.size() == 400) break;
        if (!p.set(fen)) continue;
        TuningRecord r;
        if (!makeRecord(*p, r)) continue;
        int score = evaluate(0, *p);
        if (p->sideToMove == BLACK) score = -score;
        r.target = sigmoid(score, texelK);
        records.push_back(r);
    }
    ASSERT_GT(records.size(), 100u);
    EXPECT_TRUE(tuningError(records, 1) == 0.0 && tuningError(records, 3) == 0.0);
    // Moving the targets gives the same mean error however the records are split.
    for (auto& r : records) r.target = r.target > 0.5 ? 1.0 : 0.0;
    double one = tuningError(records, 1);
    EXPECT_GT(one, 0.0);
    for (int workers : {2, 5}) EXPECT_NEAR(tuningError(records, workers), one, 1e-12) << workers;
}

TEST_F(Texel, PrintedTableForms) {
    combEval values[3] = {X(1, -2), X(-30, 40), X(500, 600)};
    auto print = [&](int kind, int count, const char* name) {
        std::ostringstream out;
        printParam(out, TuneParam{name, kind, values, count, 1, true, false});
        return out.str();
    };
    EXPECT_EQ(print(11, 1, "isolatedPawn"), "TCONST combEval isolatedPawn = X(   1,  -2);\n");
    EXPECT_EQ(print(5, 2, "t[3]"), "TCONST combEval t[3] = { X(   0,   0), X(   1,  -2), X( -30,  40)};\n");
    EXPECT_EQ(print(6, 2, "t[4]"), "TCONST combEval t[4] = { X(   0,   0), X(   1,  -2), X( -30,  40), X( 0, 0) };\n");
    EXPECT_EQ(print(7, 1, "t[4]"), "TCONST combEval t[4] = { X(   0,   0),  X(   0,   0), X(   1,  -2), X( 0, 0) };\n");
    EXPECT_EQ(print(8, 1, "t[2]"), "TCONST combEval t[2] = { 0, X(   1,  -2)};\n");
    EXPECT_EQ(print(9, 3, "materialValue[6]"),
              "TCONST combEval materialValue[6] = { X(  82,  94), X(   1,  -2), X( -30,  40), X( 500, 600), X(12000, "
              "12000) };\n");
    EXPECT_EQ(print(10, 2, "pieceSquareScore[0]"), "{X(   1,  -2), X( -30,  40)},\n");
    EXPECT_EQ(print(11, 3, "t[3]"), "TCONST combEval t[3] = {X(   1,  -2), X( -30,  40), X( 500, 600),\n};\n");
}

TEST_F(Texel, ParameterListCoversTheHandcraftedTables) {
    auto params = buildParameterList();
    int squareBlocks = 0, material = 0;
    for (const auto& p : params) {
        if (p.kind == 10) ++squareBlocks;
        material += p.kind == 9;
        if (p.kind == 9) {
            EXPECT_EQ(p.count, 4);
        }
        EXPECT_GT(p.step, 0);
    }
    EXPECT_TRUE(squareBlocks == 6 && material == 1 && params.size() > 20u) << squareBlocks << " " << material;
    std::ostringstream out;
    printParameters(out, params);
    EXPECT_NE(out.str().find("TCONST combEval pieceSquareScore[6][NOFSQUARES] = \n{\n"), std::string::npos);
}
}  // namespace
