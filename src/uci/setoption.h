// The "setoption" command and the option declarations printed for "uci".
#pragma once

#include <istream>

extern const char* const OPTION_LINES[9];

void setoption(std::istream& args);
