#include <set>
#include "train_support.h"

namespace {
using TrainQuantise = TrainTest;

TEST_F(TrainQuantise, ScalesRoundingAndClipping) {
    FloatNet net;
    float* p = net.params.data();
    p[FT_WEIGHTS + 5 * FT_OUTPUTS + 3] = 0.1f;  // rounds to nearest
    p[FT_BIAS + 7] = -1.0f;
    p[L1_WEIGHTS + 300 * L1_OUTPUTS + 4] = -0.75f;  // input 300, neuron 4
    p[L1_WEIGHTS + 1 * L1_OUTPUTS + 2] = 5.0f;      // beyond int8: saturates
    p[L1_BIAS + 4] = 0.25f;
    p[L2_WEIGHTS + 3 * L2_OUTPUTS + 9] = 1.5f;
    p[OUT_WEIGHTS + 6] = -0.5f;
    p[OUT_BIAS] = 2.0f;
    auto q = quantised(net);
    // Hidden biases get half of the shift's divisor (WEIGHT_ONE) added, which l1Bias[0] holds alone;
    // a weight beyond int8 saturates.
    const int A = int(ACTIVATION_ONE), W = int(WEIGHT_ONE), R = int(RAW_PER_UNIT);
    EXPECT_EQ((std::vector<int>{q->transformerWeights[5 * NNUE_HIDDEN + 3], q->transformerBias[7],
                                q->l1Weights[4 * NNUE_INPUTS + 300], q->l1Weights[2 * NNUE_INPUTS + 1], q->l1Bias[4],
                                q->l1Bias[0], q->l2Weights[9 * NNUE_L1 + 3], q->outputWeights[6], q->outputBias}),
              (std::vector<int>{(A + 5) / 10, -A, -3 * W / 4, 127, R / 4 + W / 2, W / 2, 3 * W / 2, -W / 2, 2 * R}));
}

TEST_F(TrainQuantise, ExportLoadsIntoTheEngineUnchanged) {
    FloatNet net;
    initRandomNet(net, 11);
    auto q = quantised(net);
    std::string description = "test network, description of odd length";
    std::stringstream file;
    ASSERT_TRUE(writeNet(file, *q, description));
    EXPECT_EQ(file.str().size(), 25184056u + description.size());
    EngineNetwork restoreAfterwards(*q);  // the engine's weights are process-wide
    std::memset(&nnue, 0, sizeof nnue);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(loadNet(file));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Net read\n");
    EXPECT_EQ(std::memcmp(&nnue, q.get(), sizeof nnue), 0);
    // Reading the integers back as floats and quantising again changes nothing.
    FloatNet back;
    dequantiseNet(*q, back);
    auto again = quantised(back);
    EXPECT_EQ(std::memcmp(again.get(), q.get(), sizeof(NnueNet)), 0);
}

// With weights that the integer types hold exactly, the two inferences differ
// only by the rounding of the hidden activations to steps of 1/127.
TEST_F(TrainQuantise, IntegerInferenceFollowsTheFloatNet) {
    FloatNet random;
    initRandomNet(random, 5);
    // Larger layer weights, so that the scores reach some hundreds of centipawns.
    for (size_t i = L1_WEIGHTS; i < PARAM_COUNT; ++i) random.params[i] *= 4.0f;
    clipDense(random);
    auto q = quantised(random);
    FloatNet exact;
    dequantiseNet(*q, exact);
    std::vector<TrainingRecord> records = syntheticRecords(2000, 1);
    EngineNetwork engine(*q);
    NetComparison c = compareFloatAndEngine(viewOf(exact), records, 2);
    EXPECT_EQ(c.positions, 2000u);
    EXPECT_GT(c.meanAbsFloatError, 100.0);  // the scores are not all near zero
    EXPECT_TRUE(c.meanAbsDifference < 2.0 && c.maxAbsDifference < 12.0)
        << c.meanAbsDifference << " " << c.maxAbsDifference;
}

// A factorised net, once trained, has factor rows of its own; the file the
// engine reads must hold exactly the model with those rows folded in.
TEST_F(TrainQuantise, FactorRowsFoldIntoTheExportedNet) {
    std::vector<TrainingRecord> data = syntheticRecords(400, 11);
    const TrainingSettings s{.warmupSteps = 0};
    Trainer t;
    initTrainer(t, s, 2);
    ASSERT_TRUE(t.net.factorised);
    trainSteps(t, data, 40);
    size_t factorStart = FT_WEIGHTS + size_t(FT_INPUTS) * FT_OUTPUTS, nonZero = 0;
    for (size_t i = factorStart; i < FT_BIAS; ++i) nonZero += t.net.params[i] != 0.0f;
    ASSERT_GT(nonZero, 1000u);
    // Training this short leaves them small; make them count, so that any part of
    // the export that skipped them would show.
    for (size_t i = factorStart; i < FT_BIAS; ++i) t.net.params[i] += 0.1f * std::sin(0.37f * float(i));
    FloatNet folded;
    folded.params = t.net.params;
    folded.factorised = true;
    foldFactors(folded);
    folded.factorised = false;
    for (size_t i = factorStart; i < FT_BIAS; ++i) ASSERT_EQ(folded.params[i], 0.0f);
    // The same function in floating point...
    Activations a;
    for (size_t i = 0; i < 50; ++i) {
        Sample sample = makeSample(data[i], s.lambda, s.sigmoidK);
        float withFactors = forward(t.net, sample, a);
        EXPECT_NEAR(withFactors, forward(folded, sample, a), 1e-3f * (1.0f + std::abs(withFactors))) << i;
    }
    // ...the same integer file...
    auto fromFactors = quantised(t.net), fromFolded = quantised(folded);
    EXPECT_EQ(std::memcmp(fromFactors.get(), fromFolded.get(), sizeof(NnueNet)), 0);
    // ...and the engine's inference of it follows the model as training sees it.
    EngineNetwork engine(*fromFactors);
    NetComparison c = compareFloatAndEngine(modelView(t), data, 2);
    EXPECT_EQ(c.positions, data.size());
    EXPECT_LT(c.meanAbsDifference, 1.5);
    NetView withoutFactors = modelView(t);  // the factor rows carry real weight: leaving them out shows
    withoutFactors.factorised = false;
    EXPECT_GT(compareFloatAndEngine(withoutFactors, data, 2).meanAbsDifference, 10.0);
    // Reading the file back starts a trainer at the same function, factor rows empty.
    FloatNet restarted;
    dequantiseNet(*fromFactors, restarted);
    for (size_t i = factorStart; i < FT_BIAS; ++i) ASSERT_EQ(restarted.params[i], 0.0f);
    auto again = quantised(restarted);
    EXPECT_EQ(std::memcmp(fromFactors.get(), again.get(), sizeof(NnueNet)), 0);
}

using TrainKingBuckets = TrainTest;

constexpr int BUCKET_COUNTS[] = {4, 8, 16, 32};
// Openings and endgames from real games, the kings on every file.
std::vector<TrainingRecord> gamePositions() {
    std::vector<TrainingRecord> out;
    TrainingRecord r;
    for (const char* book : {"books/UHO_4060_v3.epd", "books/endgames.epd"})
        for (const std::string& fen : bookFens(book))
            if (recordFromFen(fen, 0, RESULT_DRAW, r)) out.push_back(r);
    return out;
}

int kingFile(const TrainingRecord& r, int colour) {
    Bitboard occ = r.occupancy;
    for (int n = 0; occ; ++n) {
        int sq = popLsb(occ);
        if (packedPiece(r, n) == 2 * KING + colour) return sq & 7;
    }
    return -1;
}

// A net whose every part carries weight: trained a little, with factor rows and bucket rows pushed away from where a
// short run leaves them, so that a row read in the wrong place shows in the scores.
void trainSomeSteps(Trainer& t, int kingBuckets) {
    std::vector<TrainingRecord> data = syntheticRecords(400, 11);
    initTrainer(t, TrainingSettings{.warmupSteps = 0, .kingBuckets = kingBuckets}, 2);
    trainSteps(t, data, 30);
    for (size_t i = FT_WEIGHTS; i < FT_BIAS; ++i)
        if (t.net.params[i] != 0.0f) t.net.params[i] += 0.05f * std::sin(0.37f * float(i));
}

TEST_F(TrainKingBuckets, MapsReflectTheBoardAndUseEveryBucket) {
    for (int buckets : BUCKET_COUNTS) {
        std::set<int> rows;
        for (int feature = 0; feature < FT_INPUTS; ++feature) {
            int row = transformerRowOf(buckets, feature);
            ASSERT_LT(row, ownTransformerRows(buckets)) << buckets;
            rows.insert(row);
            int king = feature / PIECE_SQUARE_ROWS, pieceSquare = feature % PIECE_SQUARE_ROWS;
            int reflected = (king ^ 7) * PIECE_SQUARE_ROWS + (pieceSquare ^ 7);
            ASSERT_EQ(transformerRowOf(buckets, reflected), row) << buckets << " " << feature;
            ASSERT_TRUE((king & 7) >= 4 || row % PIECE_SQUARE_ROWS == pieceSquare) << buckets << " " << feature;
        }
        EXPECT_EQ(int(rows.size()), ownTransformerRows(buckets)) << buckets;  // no bucket left empty
    }
    // Rank 1 (the back rank, as each side sees it) is never lumped with the rest of the board.
    int e1 = 4 * PIECE_SQUARE_ROWS, e8 = 60 * PIECE_SQUARE_ROWS;
    for (int buckets : BUCKET_COUNTS)
        EXPECT_NE(transformerRowOf(buckets, e1), transformerRowOf(buckets, e8)) << buckets;
    EXPECT_EQ(transformerRowOf(FULL_KING_LAYOUT, 12345), 12345);
}

// The float model of a bucketed net scores a position and its reflection alike, whichever side of the board the kings
// stand on; the file's own layout, with the same weights, does not.
TEST_F(TrainKingBuckets, ReflectedPositionScoresTheSame) {
    std::vector<TrainingRecord> records = gamePositions();
    auto randomNet = [](FloatNet& net, int kingBuckets) {
        net.kingBuckets = kingBuckets;
        initRandomNet(net, 9);
        net.factorised = true;
        for (size_t i = FT_INPUTS * size_t(FT_OUTPUTS); i < FT_BIAS; ++i) net.params[i] = 0.03f * std::sin(float(i));
        for (size_t i = L1_WEIGHTS; i < PARAM_COUNT; ++i) net.params[i] *= 4.0f;  // scores of some hundreds
        clipDense(net);
    };
    FloatNet net, full;
    randomNet(net, 8);
    randomNet(full, FULL_KING_LAYOUT);
    Activations a;
    int kingsRight = 0, kingsLeft = 0;
    double spread = 0, fullLayoutDifference = 0;
    for (const TrainingRecord& r : records) {
        int file = kingFile(r, r.sideToMove);
        (file >= 4 ? kingsRight : kingsLeft) += 1;
        Sample original = makeSample(r, 0.75f, DEFAULT_SIGMOID_K),
               reflected = makeSample(r, 0.75f, DEFAULT_SIGMOID_K, true);
        float score = forward(net, original, a);
        EXPECT_NEAR(forward(net, reflected, a), score, 1e-3f * (1.0f + std::abs(score))) << recordFen(r);
        spread += std::abs(score);
        fullLayoutDifference += std::abs(forward(full, original, a) - forward(full, reflected, a));
    }
    EXPECT_TRUE(kingsRight > 100 && kingsLeft > 100) << kingsRight << " " << kingsLeft;
    EXPECT_GT(spread / double(records.size()), 50.0);
    EXPECT_GT(fullLayoutDifference / double(records.size()), 10.0);
}

// Export writes every bucket row into each king square it covers (reflected where it reflects), so the engine, reading
// the file through its own accumulators and kernel, scores real positions as the float model does.
TEST_F(TrainKingBuckets, ExportedFileScoresLikeTheFloatModel) {
    std::vector<TrainingRecord> records = gamePositions();
    ASSERT_GT(records.size(), 800u);
    for (int buckets : {4, 16}) {
        Trainer t;
        trainSomeSteps(t, buckets);
        for (size_t i = size_t(ownTransformerRows(buckets)) * FT_OUTPUTS; i < size_t(FT_INPUTS) * FT_OUTPUTS; ++i)
            ASSERT_EQ(t.net.params[i], 0.0f) << "rows beyond the buckets stay unused";
        auto q = quantised(t.net);
        EngineNetwork engine(*q);
        NetComparison c = compareFloatAndEngine(modelView(t), records, 2);
        EXPECT_EQ(c.positions, records.size());
        EXPECT_GT(c.meanAbsFloatError, 30.0) << buckets;  // the scores are not all near zero
        EXPECT_LT(c.meanAbsDifference, 1.5) << buckets;
        NetView unshared = modelView(t);  // the same weights read as 64 king blocks differ plainly
        unshared.kingBuckets = FULL_KING_LAYOUT;
        EXPECT_GT(compareFloatAndEngine(unshared, records, 2).meanAbsDifference, 10.0) << buckets;
        // Starting a bucketed run from that file averages each bucket's king squares,
        // which all hold the same weights: the same net, and the same file again.
        FloatNet restarted;
        dequantiseNet(*q, restarted);
        shareKingBuckets(restarted, buckets);
        EXPECT_EQ(restarted.kingBuckets, buckets);
        auto again = quantised(restarted);
        EXPECT_EQ(std::memcmp(q.get(), again.get(), sizeof(NnueNet)), 0) << buckets;
    }
}

// A checkpoint keeps the bucket count; one written before the count existed is read as the file's own layout.
TEST_F(TrainKingBuckets, CheckpointsKeepTheBucketCount) {
    Trainer t;
    trainSomeSteps(t, 8);
    std::string path = tempFilePath("king_buckets.ckpt");
    ASSERT_TRUE(saveCheckpoint(t, path));
    Trainer back;
    ASSERT_TRUE(loadCheckpoint(back, path));
    EXPECT_TRUE(back.settings.kingBuckets == 8 && back.net.kingBuckets == 8 && back.net.params == t.net.params);
    // The older layout: version 3, neither the bucket count after the factoriser
    // flag nor the blend's end (version 5) after that.
    const size_t countAt = 68;
    std::string bytes = fileBytes(path), old = path + ".v3";
    int32_t stored = 0;
    std::memcpy(&stored, bytes.data() + countAt, 4);
    ASSERT_EQ(stored, 8) << "the bucket count sits right after the factoriser flag";
    uint32_t version = 3;
    std::memcpy(bytes.data() + 4, &version, 4);
    bytes.erase(countAt, 4 + sizeof(float));
    std::ofstream(old, std::ios::binary) << bytes;
    std::remove(path.c_str());
    Trainer older;
    std::string error;
    EXPECT_TRUE(loadCheckpoint(older, old, &error)) << error;
    std::remove(old.c_str());
    EXPECT_TRUE(older.settings.kingBuckets == FULL_KING_LAYOUT && older.net.kingBuckets == FULL_KING_LAYOUT);
    EXPECT_TRUE(older.epochsDone == t.epochsDone && older.net.params == t.net.params);
}
}  // namespace
