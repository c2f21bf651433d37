// The engine's UCI options: the values the other subsystems read, the
// declarations printed for "uci" and the "setoption" command that changes them.
#pragma once

#include <istream>
#include <string>
#include <vector>

extern int optionHash;  // MiB
extern int optionThreads;
extern int optionMoveOverhead;  // ms
extern bool optionPonder;
extern int optionSyzygyProbeDepth;
extern std::string optionSyzygyPath;
extern int optionNumaNode;  // 0 = automatic, 1..4 a fixed node
extern int optionMultiPv;   // principal variations searched and reported
extern bool optionShowWdl;  // info lines carry win/draw/loss chances
extern bool optionLimitStrength;
extern int optionElo;  // the rating played at under optionLimitStrength
// UCI_Chess960 lives beside the board code as `chess960`; NetFile as the network path.

// The "option" lines of the "uci" answer, in their order.
std::vector<std::string> optionDeclarations();

// The rest of a "setoption" line: the option's new value, its effect and the
// "info string" reply. Unknown names are ignored.
void setoption(std::istream& args);
