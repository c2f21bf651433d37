#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <unistd.h>

#include "position_record.h"
#include "shuffle.h"
#include "synthetic.h"
#include "training_data.h"

namespace {

std::string tempPath(const std::string& name) {
    return (std::filesystem::temp_directory_path() / ("quorvane_train_" + std::to_string(::getpid()) + "_" + name)).string();
}

bool lessRecord(const TrainingRecord& a, const TrainingRecord& b) {
    uint8_t x[TRAINING_RECORD_BYTES], y[TRAINING_RECORD_BYTES];
    encodeRecord(a, x);
    encodeRecord(b, y);
    return std::lexicographical_compare(x, x + TRAINING_RECORD_BYTES, y, y + TRAINING_RECORD_BYTES);
}

class TrainData : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initRecordTables(); }
};

TEST_F(TrainData, RecordBytesRoundTrip) {
    std::vector<TrainingRecord> records = syntheticRecords(200, 3);
    records[0].score = -32767;
    records[1].score = 32767;
    records[2].result = RESULT_LOSS;
    for (const TrainingRecord& r : records) {
        uint8_t bytes[TRAINING_RECORD_BYTES];
        encodeRecord(r, bytes);
        EXPECT_EQ(decodeRecord(bytes), r);
    }
    // The layout is fixed little-endian whatever the machine.
    uint8_t bytes[TRAINING_RECORD_BYTES];
    TrainingRecord r = records[0];
    encodeRecord(r, bytes);
    EXPECT_EQ(bytes[0], uint8_t(r.occupancy));
    EXPECT_EQ(bytes[24], 0x01);  // -32767 = 0x8001
    EXPECT_EQ(bytes[25], 0x80);
}

TEST_F(TrainData, PlacementPacksAllThirtyTwoPieces) {
    TrainingRecord r;
    ASSERT_TRUE(recordFromFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1", 15, RESULT_WIN, r));
    EXPECT_EQ(popcount(r.occupancy), 32);
    EXPECT_EQ(r.sideToMove, BLACK);
    EXPECT_EQ(r.score, 15);
    EXPECT_EQ(r.result, RESULT_WIN);
    uint8_t board[64];
    unpackPlacement(r, board);
    EXPECT_EQ(board[0], WROOK);
    EXPECT_EQ(board[4], WKING);
    EXPECT_EQ(board[59], BQUEEN);
    EXPECT_EQ(board[63], BROOK);
    EXPECT_EQ(board[30], EMPTY);
    EXPECT_EQ(recordFen(r), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b - - 0 1");

    uint8_t crowded[64] = {};
    for (int sq = 0; sq < 33; ++sq) crowded[sq] = WKNIGHT;
    EXPECT_FALSE(packPlacement(crowded, r));
}

TEST_F(TrainData, FileRoundTripAndStreaming) {
    std::vector<TrainingRecord> records = syntheticRecords(10000, 5);
    std::string path = tempPath("roundtrip.bin");
    ASSERT_TRUE(writeAllRecords(path, records));
    EXPECT_EQ(std::filesystem::file_size(path), uint64_t(TRAINING_HEADER_BYTES + 10000 * TRAINING_RECORD_BYTES));

    DataReader reader;
    ASSERT_TRUE(openReader(reader, path));
    EXPECT_EQ(reader.count, 10000u);
    std::vector<TrainingRecord> back;
    size_t chunks = 0;
    while (readRecords(reader, back, 3000)) ++chunks;
    closeReader(reader);
    EXPECT_EQ(chunks, 4u);
    EXPECT_EQ(back, records);

    // A writer that never closed leaves count 0 in the header: the file size tells.
    std::fstream patch(path, std::ios::in | std::ios::out | std::ios::binary);
    patch.seekp(8);
    patch.write("\0\0\0\0\0\0\0\0", 8);
    patch.close();
    std::filesystem::resize_file(path, TRAINING_HEADER_BYTES + 100 * TRAINING_RECORD_BYTES + 5);
    back.clear();
    ASSERT_TRUE(readAllRecords(path, back));
    ASSERT_EQ(back.size(), 100u);
    EXPECT_EQ(back[99], records[99]);
    std::remove(path.c_str());
}

TEST_F(TrainData, ReaderRejectsOtherFiles) {
    std::string path = tempPath("notdata.bin");
    std::ofstream(path) << "this is not training data at all";
    std::vector<TrainingRecord> out;
    std::string error;
    EXPECT_FALSE(readAllRecords(path, out, &error));
    EXPECT_NE(error.find("not a training data file"), std::string::npos);
    EXPECT_FALSE(readAllRecords(tempPath("missing.bin"), out, &error));
    std::remove(path.c_str());
}

TEST_F(TrainData, ShufflesArePermutations) {
    std::vector<TrainingRecord> records = syntheticRecords(5000, 9);
    std::vector<TrainingRecord> shuffled = records;
    shuffleRecords(shuffled, 1);
    EXPECT_NE(shuffled, records);
    std::vector<TrainingRecord> again = records;
    shuffleRecords(again, 1);
    EXPECT_EQ(again, shuffled);  // the same seed gives the same order

    std::string in = tempPath("shuffle_in.bin"), out = tempPath("shuffle_out.bin");
    ASSERT_TRUE(writeAllRecords(in, records));
    ASSERT_TRUE(shuffleFile(in, out, 7, 1024));  // forces several buckets
    std::vector<TrainingRecord> fromFile;
    ASSERT_TRUE(readAllRecords(out, fromFile));
    EXPECT_NE(fromFile, records);
    // Records near each other in the input end up spread over the output.
    auto position = [&](const TrainingRecord& r) { return std::find(fromFile.begin(), fromFile.end(), r) - fromFile.begin(); };
    EXPECT_GT(std::abs(position(records[0]) - position(records[1])) + std::abs(position(records[1]) - position(records[2])), 2);
    std::sort(fromFile.begin(), fromFile.end(), lessRecord);
    std::sort(records.begin(), records.end(), lessRecord);
    EXPECT_EQ(fromFile, records);
    EXPECT_FALSE(std::filesystem::exists(out + ".bucket0"));
    std::remove(in.c_str());
    std::remove(out.c_str());
}

// Text lines give scores and results from a stated side; records keep them from
// the mover's, and a tuning line written from a record gives back White's result.
TEST_F(TrainData, TextLinesTurnResultsToTheMoverAndTuningLinesBackToWhite) {
    const std::string white = "4k3/8/8/8/8/8/4P3/4K3 w - - 0 1", black = "4k3/8/8/8/8/8/4P3/4K3 b - - 0 1";
    struct Case {
        std::string line;
        bool fromWhite;  // score and result from White's view, else score from the mover's and result as it stands
        int score;
        GameResult result;
        const char* tuningResult;
    };
    const Case cases[] = {
        {black + "; -120 ;1-0", false, -120, RESULT_LOSS, "1-0"},
        {white + ";35;0-1", false, 35, RESULT_LOSS, "0-1"},
        {white + ";35;1-0", false, 35, RESULT_WIN, "1-0"},
        {black + ";0;0.5", false, 0, RESULT_DRAW, "1/2-1/2"},
        {black + ";0;1/2-1/2", false, 0, RESULT_DRAW, "1/2-1/2"},
        {black + ";250;1", true, -250, RESULT_WIN, "0-1"},
    };
    for (const Case& c : cases) {
        TextLineOptions options;
        options.scoreFromWhite = c.fromWhite;
        options.resultFromWhite = !c.fromWhite;
        TrainingRecord r;
        ASSERT_TRUE(recordFromTextLine(c.line, options, r)) << c.line;
        EXPECT_EQ(r.score, c.score) << c.line;
        EXPECT_EQ(r.result, c.result) << c.line;
        EXPECT_EQ(tuningLine(r), c.line.substr(0, c.line.find(';')) + " c9 \"" + c.tuningResult + "\";") << c.line;
    }
    TextLineOptions options;
    TrainingRecord r;
    std::string error;
    for (const std::string& bad : {white + ";12", white + ";1x2;1-0", white + ";12;2-0",
                                   std::string("4k3/8/8/9/8/8/4P3/4K3 w - - 0 1;12;1-0")})
        EXPECT_FALSE(recordFromTextLine(bad, options, r, &error)) << bad;
    EXPECT_NE(error.find("bad FEN"), std::string::npos);
}

} // namespace
