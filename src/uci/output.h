// Every line the engine prints goes out whole through one lock, so that the
// search threads' lines and the command thread's never mix inside a line.
#pragma once

#include <ostream>
#include <string>

// One whole line to the user interface; safe to call from any thread.
void sendLine(const std::string& line);

// A stream for multi-line text (the developer commands' reports). Each thread
// has its own; a line leaves through sendLine once its newline is written, so
// an unfinished line is never flushed on its own.
std::ostream& consoleOut();

// A shortened copy of text taken from the input, for messages: a megabyte of
// garbage is named by its first characters only.
std::string excerpt(const std::string& text, size_t keep = 40);
