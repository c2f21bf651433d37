// The "texel" command: fits the handcrafted evaluation's tables to the
// network's judgement of the positions in a tuning file.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "board/position.h"

struct TuneParam {
    std::string name;  // printable name, with its dimension for tables
    int kind;          // printing layout, see printParam
    combEval* values;
    int count;
    int step;
    bool active;
    bool fixedEdgeRanks;  // pawn piece-square block: its first and last rank never change
};

struct TuningRecord {
    uint8_t board[64];
    uint8_t castling;
    uint8_t epSquare;
    uint8_t sideToMove;
    double target;
    double second;
};

extern double texelK;  // scaling of the logistic, found by findK

// Reads a tuning file line into its position text and result text ("1-0" and the like).
void splitTuningLine(const std::string& line, std::string& position, std::string& result);

// Loads the tuning file; false when it cannot be opened. Keeps only the
// positions the network may judge (see the command's description).
bool loadTuningFile(const std::string& path, std::vector<TuningRecord>& records);
// One record's target, or false when the position is dropped.
bool makeRecord(Position& p, TuningRecord& record);

std::vector<TuneParam> buildParameterList();
void printParam(std::ostream& out, const TuneParam& param);
void printParameters(std::ostream& out, const std::vector<TuneParam>& params);

double sigmoid(double score, double k);

// Mean squared error of the current tables over the records, summed by
// `workers` threads (at least 1).
double tuningError(const std::vector<TuningRecord>& records, int workers);

void runTexel(std::ostream& out, const std::string& path);
