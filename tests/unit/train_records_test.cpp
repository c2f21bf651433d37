#include <algorithm>
#include <random>
#include "data_filter.h"
#include "manifest.h"
#include "shuffle.h"
#include "train_support.h"

namespace {
bool lessRecord(const TrainingRecord& a, const TrainingRecord& b) {
    uint8_t x[TRAINING_RECORD_BYTES], y[TRAINING_RECORD_BYTES];
    encodeRecord(a, x);
    encodeRecord(b, y);
    return std::lexicographical_compare(x, x + TRAINING_RECORD_BYTES, y, y + TRAINING_RECORD_BYTES);
}

using TrainData = TrainTest;

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
    EXPECT_TRUE(bytes[24] == 0x01 && bytes[25] == 0x80);  // -32767 = 0x8001
}

TEST_F(TrainData, PlacementPacksAllThirtyTwoPieces) {
    TrainingRecord r;
    ASSERT_TRUE(recordFromFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1", 15, RESULT_WIN, r));
    EXPECT_TRUE(popcount(r.occupancy) == 32 && r.sideToMove == BLACK && r.score == 15 && r.result == RESULT_WIN);
    uint8_t board[64];
    unpackPlacement(r, board);
    EXPECT_TRUE(board[0] == WROOK && board[4] == WKING && board[59] == BQUEEN && board[63] == BROOK
                && board[30] == EMPTY);
    EXPECT_EQ(recordFen(r), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b - - 0 1");
    uint8_t crowded[64] = {};
    for (int sq = 0; sq < 33; ++sq) crowded[sq] = WKNIGHT;
    EXPECT_FALSE(packPlacement(crowded, r));
}

TEST_F(TrainData, FileRoundTripAndStreaming) {
    std::vector<TrainingRecord> records = syntheticRecords(10000, 5);
    std::string path = tempFilePath("roundtrip.bin");
    ASSERT_TRUE(writeAllRecords(path, records));
    EXPECT_EQ(std::filesystem::file_size(path), uint64_t(TRAINING_HEADER_BYTES + 10000 * TRAINING_RECORD_BYTES));
    DataReader reader;
    ASSERT_TRUE(openReader(reader, path));
    EXPECT_EQ(reader.count, 10000u);
    std::vector<TrainingRecord> back;
    size_t chunks = 0;
    while (readRecords(reader, back, 3000)) ++chunks;
    closeReader(reader);
    EXPECT_TRUE(chunks == 4u && back == records) << chunks;
    // A writer that never closed leaves count 0 in the header: the file size tells.
    std::fstream(path, std::ios::in | std::ios::out | std::ios::binary).seekp(8).write("\0\0\0\0\0\0\0\0", 8);
    std::filesystem::resize_file(path, TRAINING_HEADER_BYTES + 100 * TRAINING_RECORD_BYTES + 5);
    back.clear();
    ASSERT_TRUE(readAllRecords(path, back));
    ASSERT_EQ(back.size(), 100u);
    EXPECT_EQ(back[99], records[99]);
    std::remove(path.c_str());
}

TEST_F(TrainData, ReaderRejectsOtherFiles) {
    std::string path = tempFilePath("notdata.bin");
    std::ofstream(path) << "this is not training data at all";
    std::vector<TrainingRecord> out;
    std::string error;
    EXPECT_FALSE(readAllRecords(path, out, &error));
    EXPECT_NE(error.find("not a training data file"), std::string::npos);
    EXPECT_FALSE(readAllRecords(tempFilePath("missing.bin"), out, &error));
    std::remove(path.c_str());
}

TEST_F(TrainData, ShufflesArePermutations) {
    std::vector<TrainingRecord> records = syntheticRecords(5000, 9), shuffled = records, again = records;
    shuffleRecords(shuffled, 1);
    EXPECT_NE(shuffled, records);
    shuffleRecords(again, 1);
    EXPECT_EQ(again, shuffled);  // the same seed gives the same order
    std::string in = tempFilePath("shuffle_in.bin"), out = tempFilePath("shuffle_out.bin");
    ASSERT_TRUE(writeAllRecords(in, records));
    ASSERT_TRUE(shuffleFile(in, out, 7, 1024));  // forces several buckets
    std::vector<TrainingRecord> fromFile;
    ASSERT_TRUE(readAllRecords(out, fromFile));
    EXPECT_NE(fromFile, records);
    // Records near each other in the input end up spread over the output.
    auto position = [&](const TrainingRecord& r) {
        return std::find(fromFile.begin(), fromFile.end(), r) - fromFile.begin();
    };
    EXPECT_GT(
        std::abs(position(records[0]) - position(records[1])) + std::abs(position(records[1]) - position(records[2])),
        2);
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
    // fromWhite: score and result from White's view, else the score from the mover's and the result as it stands.
    for (auto [line, fromWhite, score, result, tuningResult] :
         {std::tuple{black + "; -120 ;1-0", false, -120, RESULT_LOSS, "1-0"},
          {white + ";35;0-1", false, 35, RESULT_LOSS, "0-1"},
          {white + ";35;1-0", false, 35, RESULT_WIN, "1-0"},
          {black + ";0;0.5", false, 0, RESULT_DRAW, "1/2-1/2"},
          {black + ";0;1/2-1/2", false, 0, RESULT_DRAW, "1/2-1/2"},
          {black + ";250;1", true, -250, RESULT_WIN, "0-1"}}) {
        TextLineOptions options{.scoreFromWhite = fromWhite, .resultFromWhite = !fromWhite};
        TrainingRecord r;
        ASSERT_TRUE(recordFromTextLine(line, options, r)) << line;
        EXPECT_EQ(r.score, score) << line;
        EXPECT_EQ(r.result, result) << line;
        EXPECT_EQ(tuningLine(r), line.substr(0, line.find(';')) + " c9 \"" + tuningResult + "\";") << line;
    }
    TextLineOptions options;
    TrainingRecord r;
    std::string error;
    for (const std::string& bad :
         {white + ";12", white + ";1x2;1-0", white + ";12;2-0", std::string("4k3/8/8/9/8/8/4P3/4K3 w - - 0 1;12;1-0")})
        EXPECT_FALSE(recordFromTextLine(bad, options, r, &error)) << bad;
    EXPECT_NE(error.find("bad FEN"), std::string::npos);
}

// The data folder's manifest: what survives a write and a read, and what a damaged line does.
TEST(TrainManifest, EntriesSurviveAWriteAndARead) {
    std::vector<ManifestEntry> entries = {
        {"gen4.bin", "data", 3500061, "net3.nnue 1a2b3c", "fae4711", "2026-11-23T11:00:00Z",
         "datagen --out gen4.bin --nodes 2000"},
        {"validation.bin", "validation", 100000, "net3.nnue 1a2b3c", "fae4711", "2026-11-23T11:05:00Z", ""},
        // A tab or newline in a field would split the line: they become blanks.
        {"net4.nnue", "net", 0, "net3.nnue", "fae4711", "2026-11-23T12:00:00Z", "trainer\t--epochs 30\n--lr 0.002"},
    };
    std::string path = tempFilePath("manifest");
    ASSERT_TRUE(writeManifest(path, entries));
    std::vector<ManifestEntry> back;
    std::string error;
    ASSERT_TRUE(readManifest(path, back, &error)) << error;
    std::remove(path.c_str());
    ASSERT_EQ(back.size(), 3u);
    EXPECT_TRUE(back[0].file == "gen4.bin" && back[0].positions == 3500061u && back[1].kind == "validation");
    EXPECT_EQ(back[0].command + "|" + back[1].command + "|" + back[2].command,
              "datagen --out gen4.bin --nodes 2000||trainer --epochs 30 --lr 0.002");
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
    EXPECT_TRUE(entries[0].positions == 30u && entries[0].network == "n2" && entries[1].file == "b.bin");
}

TEST(TrainManifest, DamagedLinesAreRefusedWithTheirNumber) {
    ManifestEntry e;
    std::string error;
    for (const char* bad : {"a.bin\tdata\t12", "a.bin\tdata\t-3\tn\tc\td\tx",
                            "a.bin\tdata\t99999999999999999999\tn\tc\td\tx", "\tdata\t1\tn\tc\td\tx"})
        EXPECT_FALSE(parseManifestLine(bad, e, &error)) << bad;
    ASSERT_TRUE(parseManifestLine("a.bin\tdata\t12\tn\tc\td\t", e, &error)) << error;
    EXPECT_EQ(e.positions, 12u);
    std::string path = tempFilePath("damaged");
    std::ofstream(path) << "file\tkind\tpositions\tnetwork\tcommit\tdate\tcommand\na.bin\tdata\t12\tn\tc\td\tx\n"
                           "b.bin\tdata\ttwelve\tn\tc\td\tx\n";
    std::vector<ManifestEntry> entries;
    EXPECT_FALSE(readManifest(path, entries, &error));
    std::remove(path.c_str());
    EXPECT_NE(error.find("line 3"), std::string::npos) << error;
}

struct TrainFeatures : TrainTest {
    static PositionFeatures of(const std::string& fen) { return extractFeatures(recordOf(fen)); }
    static std::vector<int> sorted(const PositionFeatures& f, int side) {
        std::vector<int> v(f.index[side], f.index[side] + f.count);
        std::sort(v.begin(), v.end());
        return v;
    }
};

// Each perspective sees the board from its own side: the two lists swap with
// the side to move, and differ from each other.
TEST_F(TrainFeatures, SideToMoveComesFirst) {
    PositionFeatures white = of("4k3/8/8/3p4/8/8/8/4K3 w - - 0 1");
    ASSERT_EQ(white.count, 3);
    EXPECT_NE(sorted(white, 0), sorted(white, 1));
    for (int side = 0; side < 2; ++side)
        for (int n = 0; n < white.count; ++n) EXPECT_LT(white.index[side][n], NNUE_FEATURES);
    PositionFeatures black = of("4k3/8/8/3p4/8/8/8/4K3 b - - 0 1");
    EXPECT_TRUE(sorted(black, 0) == sorted(white, 1) && sorted(black, 1) == sorted(white, 0));
}

TEST_F(TrainFeatures, ColourMirrorGivesTheSameInput) {
    PositionFeatures a = of("r3k2r/pp1n1ppp/2p1b3/q7/3P4/2N2N2/PP2QPPP/R3K2R w KQkq - 0 1");
    PositionFeatures b = of("r3k2r/pp2qppp/2n2n2/3p4/Q7/2P1B3/PP1N1PPP/R3K2R b KQkq - 0 1");
    EXPECT_TRUE(sorted(a, 0) == sorted(b, 0) && sorted(a, 1) == sorted(b, 1));
}

// Reflecting a record left to right must give exactly the input of the reflected
// position, kings included, for both perspectives.
TEST_F(TrainFeatures, MirroredRecordIsTheReflectedPosition) {
    const std::pair<const char*, const char*> pairs[] = {
        {"r3k2r/pp1n1ppp/2p1b3/q7/3P4/2N2N2/PP2QPPP/R3K2R w - - 0 1",
         "r2k3r/ppp1n1pp/3b1p2/7q/4P3/2N2N2/PPPQ2PP/R2K3R w - - 0 1"},
        {"8/8/8/8/8/2k5/8/K6q w - - 0 1", "8/8/8/8/8/5k2/8/q6K w - - 0 1"},
    };
    for (auto [fen, reflected] : pairs) {
        PositionFeatures mirrored = extractFeatures(recordOf(fen), true), expected = of(reflected), plain = of(fen);
        ASSERT_EQ(mirrored.count, expected.count);
        EXPECT_TRUE(mirrored.pawns == expected.pawns && mirrored.phase == expected.phase) << fen;
        for (int side = 0; side < 2; ++side) {
            EXPECT_EQ(sorted(mirrored, side), sorted(expected, side)) << fen;
            EXPECT_NE(sorted(mirrored, side), sorted(plain, side)) << fen;
        }
    }
}

// The pawns and phase a record gives scale a raw output to the engine's own
// centipawns, positions with promoted pieces (phase clamped) included.
TEST_F(TrainFeatures, OutputScaleAgreesWithTheEngine) {
    useRandomNet(31);
    for (const char* fen :
         {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", "qqqqk3/8/8/8/8/8/8/QQQQK3 w - - 0 1",
          "4k3/8/8/8/8/8/8/4K3 w - - 0 1", "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 b - - 0 1"}) {
        PositionFeatures f = of(fen);
        EXPECT_TRUE(f.phase >= 0 && f.phase <= 24) << fen;
        TestPosition p(fen);
        EXPECT_EQ(scoreFromRaw(nnueEvaluate(*p, 0), f.pawns, f.phase), networkScore(*p, 0)) << fen;
    }
    EXPECT_EQ(of("4k3/8/8/8/8/8/8/4K3 w - - 0 1").phase, 0);
    EXPECT_EQ(scoreFromRaw(-1000, 16, 24), -scoreFromRaw(1000, 16, 24)) << "truncated toward zero";
}

// Which training positions are kept for the network: those its evaluation would be asked to score.
using TrainFilter = TrainTest;

// The record's balance is the engine's, whichever side is to move and however
// lopsided the material: checked against positions the engine sets up itself.
TEST_F(TrainFilter, BalanceMatchesTheEnginesPathChoice) {
    const char* fens[] = {
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
        "rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1",  // a queen up
        "4k3/8/8/8/8/8/PPP5/4K3 w - - 0 1",                          // three pawns
        "4k3/pp6/8/8/8/8/8/2R1K3 w - - 0 1",                         // rook against two pawns
        "r3k2r/1b3ppp/8/3N4/8/8/5PPP/R3K2R w KQkq - 0 1",
        "8/8/3k4/8/8/4K3/8/7B b - - 0 1",
    };
    for (const char* fen : fens) {
        TestPosition p(fen);
        TrainingRecord r = recordOf(fen);
        EXPECT_EQ(recordBalance(r), egOf(materialBalance(*p))) << fen;
        EXPECT_EQ(withinNetworkRange(r, 0), usesNetwork(materialBalance(*p))) << fen;
    }
}

TEST_F(TrainFilter, MarginWidensTheKeptRange) {
    TrainingRecord even = recordOf("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    TrainingRecord queenUp = recordOf("rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    TrainingRecord queenDown = recordOf("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNB1KBNR w KQkq - 0 1");
    EXPECT_TRUE(withinNetworkRange(even, 0) && !withinNetworkRange(queenUp, 0) && !withinNetworkRange(queenDown, 100));
    EXPECT_TRUE(withinNetworkRange(queenDown, -1));  // a negative margin keeps everything
    // Just past the threshold: out without a margin, in with one that covers it.
    int edge = std::abs(recordBalance(queenUp));
    ASSERT_GT(edge, NETWORK_THRESHOLD);
    EXPECT_FALSE(withinNetworkRange(queenUp, edge - NETWORK_THRESHOLD));
    EXPECT_TRUE(withinNetworkRange(queenUp, edge - NETWORK_THRESHOLD + 1));
}

TEST_F(TrainFilter, KeepsOrderAndCountsWhatWent) {
    std::vector<TrainingRecord> records = syntheticRecords(2000, 9);
    std::vector<TrainingRecord> expected;
    for (const TrainingRecord& r : records)
        if (withinNetworkRange(r, 50)) expected.push_back(r);
    ASSERT_GT(expected.size(), 0u);
    ASSERT_LT(expected.size(), records.size());  // the synthetic set has lopsided positions too
    EXPECT_EQ(keepNetworkPositions(records, 50), 2000 - expected.size());
    EXPECT_TRUE(records == expected);
}
}  // namespace
