// The engine's UCI options, read by the other subsystems.
#pragma once

#include <string>

extern int optionHash;             // MiB
extern int optionThreads;
extern int optionMoveOverhead;     // ms
extern bool optionPonder;
extern int optionSyzygyProbeDepth;
extern std::string optionSyzygyPath;
extern int optionNumaNode;         // 0 = automatic, 1..4 a fixed node
// UCI_Chess960 lives beside the board code as `chess960`; NetFile as the network path.
