// Checkpoints: magic "QVCK", a version, the settings, the epoch count and
// history, Adam's step, then the parameters and both Adam moments as raw
// little-endian floats. Written to a temporary name and renamed, so a crash
// while saving leaves the previous checkpoint intact.
#include <cstdio>
#include <cstring>
#include <string>

#include "training.h"

namespace {

constexpr char CHECKPOINT_MAGIC[4] = {'Q', 'V', 'C', 'K'};
// 3 added the factor rows (a longer parameter array), the schedule and each
// epoch's learning rate; earlier checkpoints do not fit and are refused.
// 4 added the king bucket count after the factoriser flag; a checkpoint of
// version 3 is read as the file's own layout of 64 king blocks.
// 5 added the end of the moving score/result blend; earlier ones keep lambda throughout.
constexpr uint32_t CHECKPOINT_VERSION = 5;
constexpr uint32_t OLDEST_READABLE_VERSION = 3;

template <typename T>
bool put(std::FILE* f, const T& value) {
    return std::fwrite(&value, sizeof value, 1, f) == 1;
}
template <typename T>
bool get(std::FILE* f, T& value) {
    return std::fread(&value, sizeof value, 1, f) == 1;
}
bool putFloats(std::FILE* f, const LargeFloats& v) {
    return std::fwrite(v.data(), sizeof(float), v.size(), f) == v.size();
}
bool getFloats(std::FILE* f, LargeFloats& v) { return std::fread(v.data(), sizeof(float), v.size(), f) == v.size(); }

bool fail(std::string* error, const std::string& why) {
    if (error) *error = why;
    return false;
}

}  // namespace

bool saveCheckpoint(const Trainer& t, const std::string& path) {
    std::string temporary = path + ".tmp";
    std::FILE* f = std::fopen(temporary.c_str(), "wb");
    if (!f) return false;
    const TrainingSettings& s = t.settings;
    bool ok = std::fwrite(CHECKPOINT_MAGIC, 1, 4, f) == 4 && put(f, CHECKPOINT_VERSION) && put(f, uint64_t(PARAM_COUNT))
              && put(f, int32_t(s.batchSize)) && put(f, s.learningRate) && put(f, s.learningRateDecay)
              && put(f, s.lambda) && put(f, s.sigmoidK) && put(f, s.validationFraction) && put(f, s.seed)
              && put(f, uint8_t(s.roundWeights)) && put(f, uint8_t(s.mirror)) && put(f, int32_t(s.warmupSteps))
              && put(f, uint8_t(s.schedule)) && put(f, s.finalRateFraction) && put(f, int32_t(s.totalEpochs))
              && put(f, uint8_t(s.factorised)) && put(f, int32_t(s.kingBuckets)) && put(f, s.lambdaEnd)
              && put(f, int32_t(t.epochsDone)) && put(f, t.adam.step) && put(f, uint32_t(t.history.size()));
    for (const EpochStats& e : t.history)
        ok = ok && put(f, int32_t(e.epoch)) && put(f, e.trainLoss) && put(f, e.validationLoss)
             && put(f, e.positionsPerSecond) && put(f, e.seconds) && put(f, e.learningRate);
    ok = ok && putFloats(f, t.net.params) && putFloats(f, t.adam.m) && putFloats(f, t.adam.v);
    ok = std::fclose(f) == 0 && ok;
    if (!ok) {
        std::remove(temporary.c_str());
        return false;
    }
    return std::rename(temporary.c_str(), path.c_str()) == 0;
}

bool loadCheckpoint(Trainer& t, const std::string& path, std::string* error) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return fail(error, "cannot open " + path);
    char magic[4] = {};
    uint32_t version = 0;
    uint64_t paramCount = 0;
    bool ok = std::fread(magic, 1, 4, f) == 4 && std::memcmp(magic, CHECKPOINT_MAGIC, 4) == 0 && get(f, version)
              && version >= OLDEST_READABLE_VERSION && version <= CHECKPOINT_VERSION && get(f, paramCount)
              && paramCount == PARAM_COUNT;
    if (!ok) {
        std::fclose(f);
        return fail(error, path + " is not a checkpoint of this trainer");
    }
    TrainingSettings& s = t.settings;
    int32_t batch = 0, epochs = 0;
    uint32_t historySize = 0;
    uint8_t roundWeights = 1, mirror = 0, schedule = 0, factorised = 0;
    int32_t warmup = 0, totalEpochs = 0, kingBuckets = FULL_KING_LAYOUT;
    float lambdaEnd = -1.0f;
    ok = get(f, batch) && get(f, s.learningRate) && get(f, s.learningRateDecay) && get(f, s.lambda)
         && get(f, s.sigmoidK) && get(f, s.validationFraction) && get(f, s.seed) && get(f, roundWeights)
         && get(f, mirror) && get(f, warmup) && get(f, schedule) && get(f, s.finalRateFraction) && get(f, totalEpochs)
         && get(f, factorised) && (version < 4 || get(f, kingBuckets)) && (version < 5 || get(f, lambdaEnd))
         && get(f, epochs) && get(f, t.adam.step) && get(f, historySize);
    if (ok && !isKingBucketCount(kingBuckets)) {
        std::fclose(f);
        return fail(error, path + " names " + std::to_string(kingBuckets) + " king buckets, which this trainer lacks");
    }
    s.kingBuckets = kingBuckets;
    s.lambdaEnd = lambdaEnd;
    t.net.kingBuckets = kingBuckets;
    s.schedule = schedule == uint8_t(Schedule::Cosine) ? Schedule::Cosine : Schedule::Exponential;
    s.totalEpochs = totalEpochs;
    s.factorised = factorised != 0;
    t.net.factorised = s.factorised;
    s.batchSize = batch;
    s.roundWeights = roundWeights != 0;
    s.mirror = mirror != 0;
    s.warmupSteps = warmup;
    t.epochsDone = epochs;
    t.history.clear();
    for (uint32_t i = 0; ok && i < historySize; ++i) {
        EpochStats e;
        int32_t epoch = 0;
        ok = get(f, epoch) && get(f, e.trainLoss) && get(f, e.validationLoss) && get(f, e.positionsPerSecond)
             && get(f, e.seconds) && get(f, e.learningRate);
        e.epoch = epoch;
        t.history.push_back(e);
    }
    ok = ok && getFloats(f, t.net.params) && getFloats(f, t.adam.m) && getFloats(f, t.adam.v);
    std::fclose(f);
    return ok || fail(error, path + " ended early");
}
