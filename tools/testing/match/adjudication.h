// Reading engines' scores from their info lines, and deciding games that both
// engines agree are over.
#pragma once

#include <string>
#include <vector>

namespace matchtool {

constexpr int MATE_CENTIPAWNS = 100000;

struct ReportedScore {
    bool found = false;
    bool bound = false;  // lowerbound or upperbound: not the search's verdict
    bool mate = false;
    int value = 0;  // centipawns, or moves to mate (negative: being mated)
    int depth = 0;
};

// The score of one "info" line, whatever the order of its fields. Text after
// "string" is free text and never read as a score.
ReportedScore infoScore(const std::string& line);
// The last exact score among the lines an engine printed for one move.
ReportedScore lastExactScore(const std::vector<std::string>& lines);
// Centipawns from the mover's view, mates as +-MATE_CENTIPAWNS.
int centipawns(const ReportedScore& s);

struct AdjudicationRules {
    int plies = 8;             // consecutive plies (half from each engine) that must agree
    int winCentipawns = 1000;  // both engines see this much for the same side
    int drawCentipawns = 8;    // both engines see no more than this ...
    int drawFromPly = 80;      // ... from this ply of the game on
    int maxPlies = 600;        // a draw when the game reaches this length
};

struct PlyScore {
    bool scored = false;
    int white = 0;  // centipawns from White's view
};

struct Verdict {
    double whiteResult = -1;  // 1, 0.5, 0; -1 while the game goes on
    std::string reason;
};

// `history` holds one entry per ply played so far, the last ply last.
Verdict adjudicate(const std::vector<PlyScore>& history, const AdjudicationRules& rules = {});

}  // namespace matchtool
