// The "go" command, which reads the limits and starts the search, and the
// commands that act on a running search.
#pragma once

#include <istream>

void go(std::istream& args);
void stopCommand();
void ponderhitCommand();
void newGameCommand();
