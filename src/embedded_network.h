// The default network built into the engine executable (empty when the build had none).
#pragma once

#include <string_view>

std::string_view embeddedNetwork();
