#include "eval/default_network.h"

#include <istream>
#include <streambuf>

#include "eval/network.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#include <climits>
#endif

std::string_view builtInNetwork;

namespace {

// Lets the file reader take the built-in bytes in place, without a copy.
struct ReadOnlyBuffer : std::streambuf {
    explicit ReadOnlyBuffer(std::string_view bytes) {
        char* start = const_cast<char*>(bytes.data());
        setg(start, start, start + bytes.size());
    }
};

}  // namespace

std::string executableDirectory() {
    std::string path;
#ifdef _WIN32
    char buffer[MAX_PATH + 1];
    DWORD length = GetModuleFileNameA(nullptr, buffer, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return "";
    path.assign(buffer, length);
    size_t cut = path.find_last_of("\\/");
#else
    char buffer[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (length <= 0) return "";
    path.assign(buffer, size_t(length));
    size_t cut = path.rfind('/');
#endif
    if (cut == std::string::npos) return "";
    return path.substr(0, cut + 1);
}

DefaultNetworkSource loadDefaultNetwork(const std::string& name, const std::string& exeDir, std::string_view builtIn) {
    if (loadNetFile(name) && netLoaded) return {name, false};
    if (!exeDir.empty()) {
        if (loadNetFile(exeDir + name) && netLoaded) return {exeDir + name, false};
        // An installed engine (bin/quorvane) keeps its network in share/quorvane/.
        std::string installed = exeDir + INSTALLED_NETWORK_FOLDER + name;
        if (loadNetFile(installed) && netLoaded) return {installed, false};
    }
    if (!builtIn.empty()) {
        ReadOnlyBuffer buffer(builtIn);
        std::istream in(&buffer);
        loadNet(in);
        if (netLoaded) return {name + " (the copy built into the engine)", true};
    }
    netLoaded = false;
    return {};
}

std::string defaultNetworkLine(const std::string& name, const DefaultNetworkSource& source) {
    if (source.path.empty()) return netMissingLine(name, false);
    return "info string NetFile used : " + source.path;
}
