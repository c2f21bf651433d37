// Mini-batch training of the float network with Adam, on several threads.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "float_net.h"
#include "parallel.h"
#include "training_data.h"

// 400 / ln 10: sigmoid(score / K) is then the usual logistic in which +400 centipawns
// means odds of 10 to 1, and a 100 centipawn edge scores about 64%.
constexpr float DEFAULT_SIGMOID_K = 173.718f;

// How the learning rate moves from its start to its end over the run.
enum class Schedule : uint8_t {
    Exponential = 0,  // times learningRateDecay per epoch, never ending
    Cosine = 1,       // half a cosine from learningRate down to finalRateFraction of it at totalEpochs
};

struct TrainingSettings {
    int batchSize = 16384;
    float learningRate = 1e-3f;       // at the first epoch
    float learningRateDecay = 0.95f;  // factor per epoch (exponential schedule)
    Schedule schedule = Schedule::Cosine;
    float finalRateFraction = 0.01f;  // cosine: the rate at the end, as a share of the start
    int totalEpochs = 20;             // cosine: the epoch at whose end the rate reaches its end value
    float lambda = 0.75f;             // weight of the search score in the target, the rest on the game result
    // Below zero: lambda throughout. Otherwise the weight moves in a straight line from
    // lambda at the start to this at totalEpochs. Validation keeps lambda, so runs compare.
    float lambdaEnd = -1.0f;
    float sigmoidK = DEFAULT_SIGMOID_K;
    double validationFraction = 0.02;
    uint64_t seed = 1;
    bool roundWeights = true;  // train through the weights rounded as the network file holds them
    // Adam moves every weight by about the learning rate from the first step on;
    // all L1_INPUTS inputs moved alike push the first dense layer out of its clipping window,
    // where nothing learns any more. The rate climbs linearly over these steps.
    int warmupSteps = 200;
    bool mirror = false;                 // every other epoch, each position is seen reflected left to right
    bool factorised = true;              // train the shared piece-square rows beside the king-square blocks
    int kingBuckets = FULL_KING_LAYOUT;  // king blocks trained (king_buckets.h); 64 is the file's layout
};

struct EpochStats {
    int epoch = 0;
    double trainLoss = 0;
    double validationLoss = 0;
    double positionsPerSecond = 0;
    double seconds = 0;
    double learningRate = 0;  // at the epoch's last step, before Adam's bias correction
};

struct AdamState {
    LargeFloats m = LargeFloats(PARAM_COUNT);
    LargeFloats v = LargeFloats(PARAM_COUNT);
    int64_t step = 0;
};

struct Trainer {
    TrainingSettings settings;
    FloatNet net;
    AdamState adam;
    int epochsDone = 0;
    std::vector<EpochStats> history;
    int threads = 1;
    // Work space, not saved.
    double epochFraction = 0;     // share of the current epoch done, for the schedule
    LargeFloats transformerGrad;  // rows of the features met in a batch, zero elsewhere
    std::vector<uint8_t> touched;
    std::vector<Sample> samples;
    std::vector<float> accGrads;
    std::vector<float> roundedDense;
};

// A fresh trainer with a randomly initialised network.
void initTrainer(Trainer& t, const TrainingSettings& settings, int threads);

// Whether the record at this index is seen reflected in the trainer's current
// epoch: half the records each epoch, the other half the next.
bool seenMirrored(const Trainer& t, uint32_t recordIndex);

// The learning rate of the schedule after `epochs` epochs (fractions allowed),
// before the warm-up and Adam's bias correction.
double scheduledRate(const TrainingSettings& s, double epochs);

// The search score's weight in the training target after `epochs` epochs.
float scheduledLambda(const TrainingSettings& s, double epochs);

// The float model as training sees it. With settings.roundWeights every weight
// and bias is read rounded to the integer steps of the network file (the dense
// part from a copy refreshed here, the transformer rows as they are summed);
// the gradients still go to the unrounded values.
NetView modelView(Trainer& t);

// The network input of a record with the blended target.
Sample makeSample(const TrainingRecord& r, float lambda, float k, bool mirrored = false);
float blendedTarget(const TrainingRecord& r, float lambda, float k);

// One Adam step on the records data[order[begin..end)]; returns their mean loss before the step.
double trainBatch(Trainer& t, const std::vector<TrainingRecord>& data, const std::vector<uint32_t>& order, size_t begin,
                  size_t end);

// Mean loss over records without changing anything.
double meanLoss(const NetView& net, const std::vector<TrainingRecord>& data, const TrainingSettings& settings,
                int threads);

// Told after each batch how many positions of the epoch are done and their mean loss so far.
using EpochProgress = std::function<void(size_t done, size_t total, double meanLoss)>;

// One pass over the training records in a fresh random order, then the validation loss.
EpochStats trainEpoch(Trainer& t, const std::vector<TrainingRecord>& train,
                      const std::vector<TrainingRecord>& validation, const EpochProgress& progress = nullptr);

// Splits records (consumed) into a training and a held-out set, the same way for the same seed.
void splitValidation(std::vector<TrainingRecord>& all, double fraction, uint64_t seed,
                     std::vector<TrainingRecord>& train, std::vector<TrainingRecord>& validation);

// Trainer state on disk, to resume after a stop.
bool saveCheckpoint(const Trainer& t, const std::string& path);
bool loadCheckpoint(Trainer& t, const std::string& path, std::string* error = nullptr);
