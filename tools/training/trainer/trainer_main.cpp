// nnue_trainer: trains the engine's network from training data files.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <thread>

#include <CLI/CLI.hpp>

#include "command_line.h"
#include "curve_svg.h"
#include "data_filter.h"
#include "eval/network.h"
#include "quantise.h"
#include "synthetic.h"
#include "training.h"

namespace {

int defaultThreads() { return std::max(1u, std::thread::hardware_concurrency()); }

// The command line of "train"; TrainingSettings holds the defaults of the
// settings a checkpoint keeps.
struct TrainOptions {
    std::vector<std::string> data;
    std::string out, resume, initNet, validationFile;
    int threads = defaultThreads();
    int epochs = 20;  // on --resume, the total to reach
    std::string schedule = "cosine";
    int filterMargin = DEFAULT_FILTER_MARGIN;
    TrainingSettings settings;
};

struct BenchOptions {
    size_t positions = 100000;
    int threads = defaultThreads();
    int batch = 16384;
    int kingBuckets = FULL_KING_LAYOUT;
};

std::string describe(const Trainer& t, size_t positions) {
    std::ostringstream d;
    d << "Quorvane network trained by nnue_trainer: " << t.epochsDone << " epochs";
    if (positions) d << " on " << positions << " positions";
    d << ", lambda " << t.settings.lambda;
    if (t.settings.lambdaEnd >= 0) d << " to " << t.settings.lambdaEnd;
    d << ", k " << t.settings.sigmoidK << ", lr " << t.settings.learningRate;
    if (t.settings.schedule == Schedule::Cosine)
        d << " cosine to x" << t.settings.finalRateFraction << " over " << t.settings.totalEpochs << " epochs";
    else d << " x" << t.settings.learningRateDecay << " per epoch";
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

int train(const TrainOptions& o) {
    const std::string& outDir = o.out;
    std::filesystem::create_directories(outDir);

    Trainer t;
    if (!o.resume.empty()) {
        std::string error;
        if (!loadCheckpoint(t, o.resume, &error)) {
            std::cerr << error << "\n";
            return 1;
        }
        t.threads = std::max(1, o.threads);
        std::cout << "resuming after epoch " << t.epochsDone << "\n";
    } else {
        TrainingSettings s = o.settings;
        s.schedule = o.schedule == "cosine" ? Schedule::Cosine : Schedule::Exponential;
        s.totalEpochs = o.epochs;
        if (s.mirror && s.kingBuckets != FULL_KING_LAYOUT)
            std::cout << "note: --mirror changes nothing with king buckets, which are symmetric already\n";
        initTrainer(t, s, o.threads);
        if (!o.initNet.empty() && !startFromNetFile(t, o.initNet)) return 1;
    }
    int epochs = o.epochs;

    std::vector<TrainingRecord> all;
    for (const std::string& file : o.data) {
        std::string error;
        if (!readAllRecords(file, all, &error)) {
            std::cerr << error << "\n";
            return 1;
        }
    }
    size_t positions = all.size();
    size_t dropped = keepNetworkPositions(all, o.filterMargin);
    std::vector<TrainingRecord> trainSet, validation;
    const std::string& validationFile = o.validationFile;
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
        bool ok = saveCheckpoint(t, outDir + "/checkpoint.bin") && exportTrainer(t, outDir + "/net.nnue", positions)
                  && writeCurveSvg(outDir + "/curve.svg", t.history);
        writeLog(outDir + "/log.csv", t.history);
        if (!ok) {
            std::cerr << "cannot write into " << outDir << "\n";
            return 1;
        }
    }
    return 0;
}

int exportCommand(const std::string& checkpoint, const std::string& out) {
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

int bench(const BenchOptions& o) {
    size_t positions = o.positions;
    int threads = o.threads, batch = o.batch, kingBuckets = o.kingBuckets;
    std::vector<TrainingRecord> data = syntheticRecords(positions, 7);
    FloatNet net;
    initRandomNet(net, 1);
    auto start = std::chrono::steady_clock::now();
    meanLoss(viewOf(net), data, TrainingSettings{}, 1);
    double forwardRate =
        double(positions) / std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    double one = benchmarkTraining(data, 1, batch);
    std::cout << std::fixed << std::setprecision(0) << "forward only, 1 thread: " << forwardRate << " positions/s\n"
              << "training, 1 thread:     " << one << " positions/s (" << std::setprecision(2) << one / forwardRate
              << " of forward-only)\n";
    if (kingBuckets != FULL_KING_LAYOUT) {
        double bucketed = benchmarkTraining(data, 1, batch, kingBuckets);
        std::cout << std::setprecision(0) << "training, 1 thread, " << kingBuckets << " king buckets: " << bucketed
                  << " positions/s (" << std::setprecision(2) << bucketed / one << "x all 64 king squares)\n";
    }
    if (threads > 1) {
        double many = benchmarkTraining(data, threads, batch);
        std::cout << std::setprecision(0) << "training, " << threads << " threads:    " << many << " positions/s, "
                  << many / threads << " per thread (" << std::setprecision(2) << many / one << "x one thread)\n";
    }
    return 0;
}

// The king bucket counts the trainer knows, for --king-buckets.
CLI::IsMember kingBucketCounts() {
    std::vector<int> counts;
    for (int n = 1; n <= FULL_KING_LAYOUT; ++n)
        if (isKingBucketCount(n)) counts.push_back(n);
    return CLI::IsMember(counts);
}

void declareTrain(CLI::App& app, TrainOptions& o) {
    TrainingSettings& s = o.settings;
    CLI::App* train = app.add_subcommand("train",
                                         "train a network; writes DIR/checkpoint.bin, DIR/net.nnue, "
                                         "DIR/curve.svg and DIR/log.csv after every epoch");
    train->add_option("--data", o.data, "training data file; repeatable")->required()->allow_extra_args(false);
    train->add_option("--out", o.out, "DIR for the checkpoint, the network and the logs")->required();
    train->add_option("--epochs", o.epochs, "epochs to train (on --resume: the total to reach)");
    train->add_option("--batch", s.batchSize, "positions per step");
    train->add_option("--lr", s.learningRate, "learning rate at the start");
    train
        ->add_option("--schedule", o.schedule,
                     "cosine: the rate falls along half a cosine to --lr-end times its start at the last epoch; "
                     "exp: times --lr-decay per epoch")
        ->check(CLI::IsMember({"cosine", "exp"}));
    train->add_option("--lr-end", s.finalRateFraction, "cosine: the last epoch's rate, as a share of the start");
    train->add_option("--lr-decay", s.learningRateDecay, "exp: the rate's factor per epoch");
    train->add_option("--lambda", s.lambda, "weight of the search score, the rest on the game result");
    train
        ->add_option("--lambda-end", s.lambdaEnd,
                     "the weight moves in a straight line from --lambda to this at the last epoch")
        ->default_str("off");
    train->add_option("--k", s.sigmoidK, "centipawns in sigmoid(score / k)");
    train->add_option("--validation", s.validationFraction, "share of the positions held out at random");
    train->add_option("--threads", o.threads, "threads")->default_str("all cores");
    train->add_option("--seed", s.seed, "seed of the weights, the split and the order");
    train->add_option("--resume", o.resume, "CHECKPOINT to continue; the settings stored in it are used");
    train->add_option("--round-weights", s.roundWeights,
                      "0|1: 1: the forward pass reads every weight rounded to the integer steps of the network file, "
                      "so the exported net keeps the float net's accuracy");
    train->add_option("--warmup", s.warmupSteps, "steps over which the learning rate climbs from 0");
    train->add_option("--mirror", s.mirror,
                      "0|1: 1: half the positions of each epoch are seen reflected left to right");
    train->add_option("--factoriser", s.factorised,
                      "0|1: 1: train 768 shared piece-square rows beside the king-square blocks, folded into them "
                      "on export");
    train
        ->add_option("--king-buckets", s.kingBuckets,
                     "64: every king square its own rows, the file's layout; fewer: king squares share rows by "
                     "bucket, reflected left to right, written out to all 64 on export")
        ->check(kingBucketCounts());
    train->add_option("--init-net", o.initNet,
                      "FILE: start from this network file's weights instead of random ones; with king buckets each "
                      "bucket starts at the mean of the king squares it covers");
    train->add_option("--filter-margin", o.filterMargin,
                      "drop positions whose material balance sends them to the handcrafted evaluation by more than "
                      "this many centipawns; -1 keeps all");
    train->add_option("--validation-data", o.validationFile,
                      "FILE: a held-out file of other games; replaces the random --validation split; only positions "
                      "the network scores count");
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Trains the engine's network from training data files.", "nnue_trainer"};
    prepareCommandLine(app);
    app.require_subcommand(1);
    TrainOptions trainOptions;
    declareTrain(app, trainOptions);

    std::string checkpoint, net;
    CLI::App* exportApp = app.add_subcommand("export", "write the network of a checkpoint");
    exportApp->add_option("--checkpoint", checkpoint, "FILE")->required();
    exportApp->add_option("--out", net, "NET file to write")->required();

    BenchOptions benchOptions;
    CLI::App* benchApp = app.add_subcommand("bench", "training speed on made-up positions");
    benchApp->add_option("--positions", benchOptions.positions, "positions");
    benchApp->add_option("--threads", benchOptions.threads, "threads")->default_str("all cores");
    benchApp->add_option("--batch", benchOptions.batch, "positions per step");
    benchApp
        ->add_option("--king-buckets", benchOptions.kingBuckets, "also measures one thread with this many king buckets")
        ->check(kingBucketCounts());

    if (auto status = parseCommandLine(app, argc, argv)) return *status;
    if (*exportApp) return exportCommand(checkpoint, net);
    if (*benchApp) return bench(benchOptions);
    return train(trainOptions);
}
