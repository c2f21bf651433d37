// The registry of Syzygy tables found in the SyzygyPath directories.
#pragma once

#include <string>

// (Re)initialises from a ';'-separated list of directories.
bool initTablebases(const std::string& path);
// The largest piece count among the registered tables, 0 when none.
int largestTablebase();
