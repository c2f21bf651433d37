// The search threads of the process, the boss first, as the root search and
// its reports read them; setThreadCount (threads.h) fills and empties it.
#pragma once

#include <cstdint>
#include <vector>

#include "search/worker.h"

extern std::vector<worker*> pool;

// Nodes and tablebase hits of the current search, summed over all threads.
uint64_t totalNodes();
uint64_t totalTbHits();
