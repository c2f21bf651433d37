// Finding the default network when the engine starts: a GUI or match runner
// may start it from any folder, so the file in the working directory is only
// the first place looked at.
#pragma once

#include <string>
#include <string_view>

// The copy of the default network linked into the engine executable (empty
// in programs built without one).
extern std::string_view builtInNetwork;

// Where the default network came from; `path` is empty when none was found.
struct DefaultNetworkSource {
    std::string path;  // the file read, or a description of the built-in copy
    bool builtIn = false;
};

// The folder holding the running executable, with a trailing separator;
// empty when the system cannot tell.
std::string executableDirectory();

// Where an installed engine's network lies, relative to the executable's folder.
inline constexpr const char* INSTALLED_NETWORK_FOLDER = "../share/quorvane/";

// Loads `name` from the working directory, else from `exeDir`, else from
// `exeDir` + INSTALLED_NETWORK_FOLDER, else from the bytes of `builtIn`;
// leaves netLoaded false when all of them fail.
DefaultNetworkSource loadDefaultNetwork(const std::string& name, const std::string& exeDir, std::string_view builtIn);

// The start-up report of where the default network came from, or of its absence.
std::string defaultNetworkLine(const std::string& name, const DefaultNetworkSource& source);
