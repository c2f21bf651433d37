// wdl_fit: counts game results by material and score in training data, fits
// the win/draw/loss model of the info lines, and prints what the engine's
// model says.
#include <CLI/CLI.hpp>

#include <fstream>
#include <iostream>
#include <sstream>

#include "command_line.h"
#include "search/wdl.h"
#include "wdl_fit.h"

namespace {

using namespace wdlfit;

bool readFile(const std::string& path, std::string& text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream s;
    s << in.rdbuf();
    text = s.str();
    return true;
}

int count(const std::vector<std::string>& files, const std::string& out) {
    WdlHistogram h;
    std::vector<std::string> comments{"wdl_fit count: game results by material (pawn 1, minor 3, rook 5, queen 9) and",
                                      "search score (side to move's view, steps of 5, clamped to 2000) from:"};
    for (const std::string& path : files) {
        std::string error;
        uint64_t before = 0, after = 0;
        for (const auto& [key, c] : h) before += c.total();
        if (!countDataFile(path, h, &error)) {
            std::cerr << path << ": " << error << "\n";
            return 1;
        }
        for (const auto& [key, c] : h) after += c.total();
        std::string name = path.substr(path.find_last_of('/') + 1);
        comments.push_back("  " + name + ": " + std::to_string(after - before) + " positions");
    }
    std::ofstream(out, std::ios::binary) << histogramText(h, comments);
    return 0;
}

int fit(const std::string& histogram, const std::string& header, bool check, uint64_t minPositions) {
    std::string text, error;
    WdlHistogram h;
    if (!readFile(histogram, text) || !parseHistogram(text, h, &error)) {
        std::cerr << histogram << ": " << (error.empty() ? "cannot be read" : error) << "\n";
        return 1;
    }
    std::string command = "build/wdl_fit fit " + histogram + " --header " + header;
    std::string written = modelHeader(fitModel(h, minPositions), command);
    if (!check) {
        std::ofstream(header, std::ios::binary) << written;
        std::cout << written;
        return 0;
    }
    std::string present;
    if (readFile(header, present) && present == written) return 0;
    std::cerr << header << " is not what the fit gives; run " << command << "\n";
    return 1;
}

void table() {
    const int scores[] = {0, 50, 100, 200, 300, 500};
    std::cout << "| material \\ score |";
    for (int s : scores) std::cout << " " << s << " |";
    std::cout << "\n|---|";
    for (size_t i = 0; i < std::size(scores); ++i) std::cout << "---|";
    std::cout << "\n";
    auto percent = [](int perMille) { return std::to_string((perMille + 5) / 10); };
    for (int material : {78, 60, 40, 25, 12}) {
        std::cout << "| " << material << " |";
        for (int s : scores) {
            WdlChances c = wdlOfScore(s, material);
            std::cout << " " << percent(c.win) << "/" << percent(c.draw) << "/" << percent(c.loss) << " |";
        }
        std::cout << "\n";
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Fits the win/draw/loss model of the engine's info lines to self-play games.", "wdl_fit"};
    prepareCommandLine(app);
    app.require_subcommand(1);

    CLI::App* countCommand = app.add_subcommand("count", "count results by material and score in training data");
    std::vector<std::string> files;
    std::string out = "tools/training/wdl/histogram.txt";
    countCommand->add_option("files", files, "training-data files")->required();
    countCommand->add_option("--out", out, "the histogram to write");

    CLI::App* fitCommand = app.add_subcommand("fit", "fit the model to a histogram and write the engine's header");
    std::string histogram = "tools/training/wdl/histogram.txt", header = "src/search/wdl_params.h";
    bool check = false;
    uint64_t minPositions = 2000;
    fitCommand->add_option("histogram", histogram, "the counts");
    fitCommand->add_option("--header", header, "the engine's header");
    fitCommand->add_flag("--check", check, "only compare the header with the fit; exit 1 when they differ");
    fitCommand->add_option("--min-positions", minPositions, "materials with fewer positions are left out");

    app.add_subcommand("table", "the engine's chances (win/draw/loss in %) for a few scores and materials");
    if (auto status = parseCommandLine(app, argc, argv)) return *status;

    if (countCommand->parsed()) return count(files, out);
    if (fitCommand->parsed()) return fit(histogram, header, check, minPositions);
    table();
    return 0;
}
