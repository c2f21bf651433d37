// Converts text lines "FEN;score;result" into a training data file.
#include <fstream>
#include <iostream>
#include <string>

#include "position_record.h"

namespace {

int usage() {
    std::cerr << "usage: nnue_convert [--white-scores] [--mover-results] INPUT.txt OUTPUT.bin\n"
                 "  Each line is FEN;score;result. The score is in centipawns from the side to move's\n"
                 "  view (from White's with --white-scores); the result (1-0, 0-1, 1/2-1/2, 1, 0.5, 0)\n"
                 "  is White's (the side to move's with --mover-results). Bad lines are reported and skipped.\n";
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    TextLineOptions options;
    std::string paths[2];
    int pathCount = 0;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--white-scores") options.scoreFromWhite = true;
        else if (arg == "--mover-results") options.resultFromWhite = false;
        else if (arg.rfind("--", 0) == 0 || pathCount == 2) return usage();
        else paths[pathCount++] = arg;
    }
    if (pathCount != 2) return usage();

    initRecordTables();
    std::ifstream in(paths[0]);
    if (!in) {
        std::cerr << "cannot open " << paths[0] << "\n";
        return 1;
    }
    DataWriter writer;
    if (!openWriter(writer, paths[1])) {
        std::cerr << "cannot create " << paths[1] << "\n";
        return 1;
    }
    std::string line, error;
    long lineNumber = 0, skipped = 0;
    while (std::getline(in, line)) {
        ++lineNumber;
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        TrainingRecord r;
        if (recordFromTextLine(line, options, r, &error)) {
            writeRecord(writer, r);
        } else {
            if (++skipped <= 20) std::cerr << paths[0] << ":" << lineNumber << ": " << error << "\n";
        }
    }
    uint64_t written = writer.count;
    if (!closeWriter(writer)) {
        std::cerr << "writing " << paths[1] << " failed\n";
        return 1;
    }
    std::cout << written << " positions written, " << skipped << " lines skipped\n";
    return 0;
}
