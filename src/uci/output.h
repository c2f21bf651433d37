// Whole lines to the user interface; safe to call from any thread.
#pragma once

#include <string>

void sendLine(const std::string& line);
