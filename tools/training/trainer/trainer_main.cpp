// nnue_trainer: trains the engine's network from training data files.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>
#include <thread>

#include "curve_svg.h"
#include "data_filter.h"
#include "eval/network.h"
#include "quantise.h"
#include "synthetic.h"
#include "training.h"

namespace {

int usage() {
    std::cerr <<
        "usage:\n"
        "  nnue_trainer train --data FILE [--data FILE ...] --out DIR [options]\n"
        "      --epochs N (20)  --batch N (16384)  --lr X (0.001)\n"
        "      --schedule cosine|exp (cosine: the rate falls along half a cosine to --lr-end times its start\n"
        "        at the last epoch; exp: times --lr-decay per epoch)  --lr-end X (0.01)  --lr-decay X (0.95)\n"
        "      --lambda X (0.75: weight of the search score, the rest on the game result)\n"
        "      --lambda-end X (off: the weight moves in a straight line from --lambda to X at the last epoch)\n"
        "      --k X (173.718 centipawns in sigmoid(score / k))  --validation X (0.02)\n"
        "      --threads N (all cores)  --seed N (1)  --resume CHECKPOINT\n"
        "      --round-weights 0|1 (1: the forward pass reads every weight rounded to the integer\n"
        "        steps of the network file, so the exported net keeps the float net's accuracy)\n"
        "      --warmup N (200 steps over which the learning rate climbs from 0)\n"
        "      --mirror 0|1 (0; 1: half the positions of each epoch are seen reflected left to right)\n"
        "      --factoriser 0|1 (1: train 768 shared piece-square rows beside the king-square blocks,\n"
        "        folded into them on export)\n"
        "      --king-buckets 4|8|16|32|64 (64: every king square its own rows, the file's layout; fewer:\n"
        "        king squares share rows by bucket, reflected left to right, written out to all 64 on export)\n"
        "      --init-net FILE (start from this network file's weights instead of random ones; with king\n"
        "        buckets each bucket starts at the mean of the king squares it covers)\n"
        "      --filter-margin N (100: drop positions whose material balance sends them to the handcrafted\n"
        "        evaluation by more than N centipawns; -1 keeps all)\n"
        "      --validation-data FILE (a held-out file of other games; replaces the random --validation\n"
        "        split; only positions the network scores count)\n"
        "    Writes DIR/checkpoint.bin, DIR/net.nnue, DIR/curve.svg and DIR/log.csv after every epoch.\n"
        "    On --resume the settings stored in the checkpoint are used; --epochs is the total to reach.\n"
        "  nnue_trainer export --checkpoint FILE --out NET\n"
        "  nnue_trainer bench [--positions N (100000)] [--threads N (all cores)] [--batch N (16384)]\n"
        "      [--king-buckets N (also measures one thread with N king buckets)]\n";
    return 2;
}

// Options "--name value"; repeated names collect every value.
std::multimap<std::string, std::string> parseOptions(int argc, char** argv, bool& ok) {
    std::multimap<std::string, std::string> options;
    ok = true;
    for (int i = 2; i < argc; i += 2) {
        std::string name = argv[i];
        if (name.rfind("--", 0) != 0 || i + 1 >= argc) {
            ok = false;
            break;
        }
        options.emplace(name.substr(2), argv[i + 1]);
    }
    return options;
}

std::string option(const std::multimap<std::string, std::string>& o, const std::string& name, const std::string& fallback) {
    auto it = o.find(name);
    return it == o.end() ? fallback : it->second;
}

int defaultThreads() { return std::max(1u, std::thread::hardware_concurrency()); }

std::string describe(const Trainer& t, size_t positions) {
    std::ostringstream d;
    d << "Quorvane network trained by nnue_trainer: " << t.epochsDone << " epochs";
    if (positions) d << " on " << positions << " positions";
    d << ", lambda " << t.settings.lambda;
    if (t.settings.lambdaEnd >= 0) d << " to " << t.settings.lambdaEnd;
    d << ", k " << t.settings.sigmoidK << ", lr " << t.settings.learningRate;
    if (t.settings.schedule == Schedule::Cosine)
        d << " cosine to x" << t.settings.finalRateFraction << " over " << t.settings.totalEpochs << " epochs";
    else
        d << " x" << t.settings.learningRateDecay << " per epoch";
    if (t.settings.factorised) d << ", factorised";
    if (t.settings.kingBuckets != FULL_KING_LAYOUT) d << ", " << t.settings.kingBuckets << " king buckets";
    if (t.settings.mirror) d << ", mirrored";
    return d.str();
}

bool exportTrainer(const Trainer& t, const std::string& path, size_t positions) {
    auto net = newNnueNet();
    quantiseNet(t.net, *net);
    return writeNetFile(path, *net, describe(t, positions));
}

void writeLog(const std::string& path, const std::vector<EpochStats>& history) {
    std::ofstream log(path);
    log << "epoch,train_loss,validation_loss,positions_per_second,seconds,learning_rate\n";
    for (const EpochStats& e : history)
        log << e.epoch << "," << std::setprecision(8) << e.trainLoss << "," << e.validationLoss << ","
            << std::setprecision(6) << e.positionsPerSecond << "," << e.seconds << "," << e.learningRate << "\n";
}

// Continues from a network file: its weights, as the float model they stand for.
bool startFromNetFile(Trainer& t, const std::string& path) {
    if (!loadNetFile(path) || !netLoaded) {
        std::cerr << "cannot read network file " << path << "\n";
        return false;
    }
    bool factorised = t.net.factorised;
    dequantiseNet(nnue, t.net);
    t.net.factorised = factorised;
    shareKingBuckets(t.net, t.settings.kingBuckets);
    std::cout << "starting from the weights of " << path
              << (t.settings.kingBuckets == FULL_KING_LAYOUT ? "" : ", each king bucket at the mean of its squares")
              << std::endl;
    return true;
}

int train(const std::multimap<std::string, std::string>& o) {
    std::string outDir = option(o, "out", "");
    if (outDir.empty() || o.count("data") == 0) return usage();
    std::filesystem::create_directories(outDir);

    Trainer t;
    int threads = std::stoi(option(o, "threads", std::to_string(defaultThreads())));
    std::string resume = option(o, "resume", "");
    if (!resume.empty()) {
        std::string error;
        if (!loadCheckpoint(t, resume, &error)) {
            std::cerr << error << "\n";
            return 1;
        }
        t.threads = std::max(1, threads);
        std::cout << "resuming after epoch " << t.epochsDone << "\n";
    } else {
        TrainingSettings s;
        s.batchSize = std::stoi(option(o, "batch", "16384"));
        s.learningRate = std::stof(option(o, "lr", "0.001"));
        s.learningRateDecay = std::stof(option(o, "lr-decay", "0.95"));
        std::string schedule = option(o, "schedule", "cosine");
        if (schedule != "cosine" && schedule != "exp") return usage();
        s.schedule = schedule == "cosine" ? Schedule::Cosine : Schedule::Exponential;
        s.finalRateFraction = std::stof(option(o, "lr-end", "0.01"));
        s.totalEpochs = std::stoi(option(o, "epochs", "20"));
        s.factorised = option(o, "factoriser", "1") != "0";
        s.kingBuckets = std::stoi(option(o, "king-buckets", std::to_string(FULL_KING_LAYOUT)));
        if (!isKingBucketCount(s.kingBuckets)) {
            std::cerr << "--king-buckets takes 4, 8, 16, 32 or 64 (64: every king square its own rows)\n";
            return 2;
        }
        s.lambda = std::stof(option(o, "lambda", "0.75"));
        s.lambdaEnd = std::stof(option(o, "lambda-end", "-1"));
        s.sigmoidK = std::stof(option(o, "k", std::to_string(DEFAULT_SIGMOID_K)));
        s.validationFraction = std::stod(option(o, "validation", "0.02"));
        s.seed = std::stoull(option(o, "seed", "1"));
        s.roundWeights = option(o, "round-weights", "1") != "0";
        s.mirror = option(o, "mirror", "0") != "0";
        s.warmupSteps = std::stoi(option(o, "warmup", "200"));
        if (s.mirror && s.kingBuckets != FULL_KING_LAYOUT)
            std::cout << "note: --mirror changes nothing with king buckets, which are symmetric already\n";
        initTrainer(t, s, threads);
        std::string initNet = option(o, "init-net", "");
        if (!initNet.empty() && !startFromNetFile(t, initNet)) return 1;
    }
    int epochs = std::stoi(option(o, "epochs", "20"));

    std::vector<TrainingRecord> all;
    for (auto [it, end] = o.equal_range("data"); it != end; ++it) {
        std::string error;
        if (!readAllRecords(it->second, all, &error)) {
            std::cerr << error << "\n";
            return 1;
        }
    }
    size_t positions = all.size();
    int margin = std::stoi(option(o, "filter-margin", std::to_string(DEFAULT_FILTER_MARGIN)));
    size_t dropped = keepNetworkPositions(all, margin);
    std::vector<TrainingRecord> trainSet, validation;
    std::string validationFile = option(o, "validation-data", "");
    if (validationFile.empty()) {
        splitValidation(all, t.settings.validationFraction, t.settings.seed, trainSet, validation);
    } else {
        std::string error;
        if (!readAllRecords(validationFile, validation, &error)) {
            std::cerr << error << "\n";
            return 1;
        }
        trainSet = std::move(all);
    }
    // The held-out loss counts only what the network will be asked to score.
    keepNetworkPositions(validation, 0);
    std::cout << positions << " positions read, " << dropped << " left to the handcrafted evaluation, "
              << trainSet.size() << " training positions, " << validation.size() << " held out"
              << (validationFile.empty() ? "" : " (" + validationFile + ")") << ", " << t.threads << " threads"
              << std::endl;
    if (trainSet.empty()) {
        std::cerr << "no positions left to train on\n";
        return 1;
    }
    if (t.epochsDone == 0)  // where the run starts from: a continued network's own loss
        std::cout << "validation before training " << std::fixed << std::setprecision(6)
                  << meanLoss(modelView(t), validation, t.settings, t.threads) << std::defaultfloat << std::endl;

    while (t.epochsDone < epochs) {
        auto lastReport = std::chrono::steady_clock::now();
        auto progress = [&](size_t done, size_t total, double loss) {
            auto now = std::chrono::steady_clock::now();
            if (now - lastReport < std::chrono::seconds(10) || done == total) return;
            lastReport = now;
            std::cerr << "  epoch " << t.epochsDone + 1 << ": " << done * 100 / total << "% done, loss so far "
                      << std::fixed << std::setprecision(6) << loss << std::defaultfloat << std::endl;
        };
        EpochStats e = trainEpoch(t, trainSet, validation, progress);
        std::cout << "epoch " << e.epoch << "  loss " << std::fixed << std::setprecision(6) << e.trainLoss
                  << "  validation " << e.validationLoss << "  " << std::setprecision(0) << e.positionsPerSecond
                  << " positions/s  " << std::setprecision(1) << e.seconds << " s" << std::defaultfloat << std::endl;
        bool ok = saveCheckpoint(t, outDir + "/checkpoint.bin") && exportTrainer(t, outDir + "/net.nnue", positions) &&
                  writeCurveSvg(outDir + "/curve.svg", t.history);
        writeLog(outDir + "/log.csv", t.history);
        if (!ok) {
            std::cerr << "cannot write into " << outDir << "\n";
            return 1;
        }
    }
    return 0;
}

int exportCommand(const std::multimap<std::string, std::string>& o) {
    std::string checkpoint = option(o, "checkpoint", ""), out = option(o, "out", "");
    if (checkpoint.empty() || out.empty()) return usage();
    Trainer t;
    std::string error;
    if (!loadCheckpoint(t, checkpoint, &error)) {
        std::cerr << error << "\n";
        return 1;
    }
    if (!exportTrainer(t, out, 0)) {
        std::cerr << "cannot write " << out << "\n";
        return 1;
    }
    std::cout << "wrote " << out << "\n";
    return 0;
}

double benchmarkTraining(const std::vector<TrainingRecord>& data, int threads, int batch,
                         int kingBuckets = FULL_KING_LAYOUT) {
    Trainer t;
    TrainingSettings s;
    s.batchSize = batch;
    s.kingBuckets = kingBuckets;
    initTrainer(t, s, threads);
    std::vector<uint32_t> order(data.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = uint32_t(i);
    trainBatch(t, data, order, 0, std::min<size_t>(batch, data.size()));  // warms up the work space
    auto start = std::chrono::steady_clock::now();
    for (size_t begin = 0; begin < data.size(); begin += size_t(batch))
        trainBatch(t, data, order, begin, std::min(data.size(), begin + size_t(batch)));
    return double(data.size()) / std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

int bench(const std::multimap<std::string, std::string>& o) {
    size_t positions = std::stoull(option(o, "positions", "100000"));
    int threads = std::stoi(option(o, "threads", std::to_string(defaultThreads())));
    int batch = std::stoi(option(o, "batch", "16384"));
    int kingBuckets = std::stoi(option(o, "king-buckets", std::to_string(FULL_KING_LAYOUT)));
    if (!isKingBucketCount(kingBuckets)) return usage();
    std::vector<TrainingRecord> data = syntheticRecords(positions, 7);
    FloatNet net;
    initRandomNet(net, 1);
    auto start = std::chrono::steady_clock::now();
    meanLoss(viewOf(net), data, TrainingSettings{}, 1);
    double forwardRate = double(positions) / std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    double one = benchmarkTraining(data, 1, batch);
    std::cout << std::fixed << std::setprecision(0) << "forward only, 1 thread: " << forwardRate << " positions/s\n"
              << "training, 1 thread:     " << one << " positions/s (" << std::setprecision(2)
              << one / forwardRate << " of forward-only)\n";
    if (kingBuckets != FULL_KING_LAYOUT) {
        double bucketed = benchmarkTraining(data, 1, batch, kingBuckets);
        std::cout << std::setprecision(0) << "training, 1 thread, " << kingBuckets << " king buckets: " << bucketed
                  << " positions/s (" << std::setprecision(2) << bucketed / one << "x all 64 king squares)\n";
    }
    if (threads > 1) {
        double many = benchmarkTraining(data, threads, batch);
        std::cout << std::setprecision(0) << "training, " << threads << " threads:    " << many << " positions/s, "
                  << many / threads << " per thread (" << std::setprecision(2) << many / one
                  << "x one thread)\n";
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) return usage();
    std::string command = argv[1];
    bool ok = true;
    auto options = parseOptions(argc, argv, ok);
    if (!ok) return usage();
    try {
        if (command == "train") return train(options);
        if (command == "export") return exportCommand(options);
        if (command == "bench") return bench(options);
    } catch (const std::exception& e) {
        std::cerr << "bad option value: " << e.what() << "\n";
        return 2;
    }
    return usage();
}
