#include "uci/options.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "board/position.h"
#include "eval/network.h"
#include "search/threads.h"
#include "search/tt.h"
#include "tablebase/registry.h"
#include "uci/output.h"
#include "uci/setoption.h"

int optionHash = 256;
int optionThreads = 1;
int optionMoveOverhead = 100;
bool optionPonder = false;
int optionSyzygyProbeDepth = 0;
std::string optionSyzygyPath = "<empty>";
int optionNumaNode = 0;

const char* const OPTION_LINES[] = {
    "option name Threads type spin default 1 min 1 max 256",
    "option name Hash type spin default 256 min 1 max 262144",
    "option name Ponder type check default false",
    "option name MoveOverhead type spin default 100 min 1 max 60000",
    "option name SyzygyPath type string default <empty>",
    "option name SyzygyProbeDepth type spin default 0 min 0 max 127",
    "option name WindowsNumaNode type spin default 0 min 0 max 4",
    "option name NetFile type string default <empty>",
    "option name UCI_Chess960 type check default false",
};

namespace {

int clampTo(int value, int low, int high) { return value < low ? low : value > high ? high : value; }

// A whole-number value as std::stoi reads it: leading digits count, the rest is ignored.
bool readNumber(const std::string& value, int& out) {
    try {
        out = std::stoi(value);
        return true;
    } catch (const std::invalid_argument&) {
        sendLine("info string invalid stoi argument: " + excerpt(value) + " is not a number, option unchanged");
    } catch (const std::out_of_range&) {
        sendLine("info string stoi argument out of range: " + excerpt(value) + ", option unchanged");
    }
    return false;
}

} // namespace

void setoption(std::istream& args) {
    std::string token, name, value;
    args >> token;  // "name"
    while (args >> token && token != "value") name += (name.empty() ? "" : " ") + token;
    while (args >> token) value += (value.empty() ? "" : " ") + token;

    int number = 0;
    if (name == "Hash") {
        if (!readNumber(value, number)) return;
        int wanted = clampTo(number, 1, 262144);
        // The reply names the value asked for unless memory ran short; then the size obtained.
        optionHash = std::min(wanted, resize(wanted));
        sendLine("info string Size of Hashtable set to : " + std::to_string(optionHash));
    } else if (name == "Threads") {
        if (!readNumber(value, number)) return;
        optionThreads = setThreadCount(clampTo(number, 1, 256));
        sendLine("info string Number of threads set to : " + std::to_string(optionThreads));
    } else if (name == "MoveOverhead") {
        if (!readNumber(value, number)) return;
        optionMoveOverhead = clampTo(number, 1, 60000);
        sendLine("info string MoveOverhead set to : " + std::to_string(optionMoveOverhead));
    } else if (name == "Ponder") {
        optionPonder = value == "true";
        sendLine(std::string("info string Ponder set to : ") + (optionPonder ? "1" : "0"));
    } else if (name == "SyzygyProbeDepth") {
        if (!readNumber(value, number)) return;
        optionSyzygyProbeDepth = clampTo(number, 0, 127);
        sendLine("info string SyzygyProbeDepth set to: " + std::to_string(optionSyzygyProbeDepth));
    } else if (name == "SyzygyPath") {
        optionSyzygyPath = value;
        bool ok = initTablebases(value);
        if (ok && largestTablebase() > 0) sendLine("info string Syzygy tablebases used from directory : " + value);
        else sendLine("info string No Syzygy tablebases found in directory :" + value);
    } else if (name == "NetFile") {
        netFile = value;
        if (value.empty() || value == "<empty>") return;
        loadNetFile(value);
        if (netLoaded) sendLine("info string NetFile used : " + value);
        else sendLine(netMissingLine(value, false));
    } else if (name == "WindowsNumaNode") {
        if (!readNumber(value, number)) return;
        number = clampTo(number, 0, 4);
        if (number != optionNumaNode) {
            optionNumaNode = number;
            optionThreads = setThreadCount(optionThreads);
        }
        sendLine("info string WindowsNumaNode set to: " + std::to_string(optionNumaNode));
    } else if (name == "UCI_Chess960") {
        chess960 = value == "true";
        sendLine(std::string("info string UCI_Chess960 set to : ") + (chess960 ? "1" : "0"));
    }
}
