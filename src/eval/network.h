// The network file: one process-wide set of weights read from disk.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "eval/net_layout.h"

extern bool netLoaded;
extern std::string netFile;  // path of the network file
extern const char* DEFAULT_NET_FILE;

// Reads the whole layout from a binary stream, prints "Net read", sets netLoaded.
bool loadNet(std::istream& in);

// Opens `path` and loads it; false when the file cannot be opened.
bool loadNetFile(const std::string& path);

// The line printed when no usable network is loaded.
std::string netMissingLine(const std::string& path, bool forPosition);
