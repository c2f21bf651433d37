// Start-up sequence and the command loop.
#pragma once

#include <string>

// Runs one command line; returns false when the program should end.
bool executeCommand(const std::string& line);

// Everything before the loop: banner, tables, keys, hash table, network,
// start position, search threads, output buffering.
void startUp();
void shutDown();

int runEngine(int argc, char** argv);
