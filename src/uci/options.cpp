#include "uci/options.h"

#include <algorithm>
#include <stdexcept>

#include "board/position.h"
#include "eval/network.h"
#include "search/strength.h"
#include "search/threads.h"
#include "search/tt.h"
#include "tablebase/registry.h"
#include "uci/output.h"

namespace {

enum class OptionType { SPIN, CHECK, STRING, BUTTON };

// An option as the "uci" answer declares it. Check options are off by default
// and string options "<empty>"; a button has no value, only its action.
struct OptionSpec {
    const char* name;
    OptionType type;
    int defaultValue = 0;  // spin options
    int min = 0, max = 0;
};

constexpr const char* EMPTY_TEXT = "<empty>";

constexpr OptionSpec HASH{"Hash", OptionType::SPIN, 256, 1, 262144};
constexpr OptionSpec THREADS{"Threads", OptionType::SPIN, 1, 1, 256};
constexpr OptionSpec MOVE_OVERHEAD{"MoveOverhead", OptionType::SPIN, 100, 1, 60000};
constexpr OptionSpec PONDER{"Ponder", OptionType::CHECK};
constexpr OptionSpec SYZYGY_PROBE_DEPTH{"SyzygyProbeDepth", OptionType::SPIN, 0, 0, 127};
constexpr OptionSpec SYZYGY_PATH{"SyzygyPath", OptionType::STRING};
constexpr OptionSpec NET_FILE{"NetFile", OptionType::STRING};
constexpr OptionSpec NUMA_NODE{"WindowsNumaNode", OptionType::SPIN, 0, 0, 4};
constexpr OptionSpec CHESS960{"UCI_Chess960", OptionType::CHECK};
constexpr OptionSpec MULTI_PV{"MultiPV", OptionType::SPIN, 1, 1, 256};
constexpr OptionSpec CLEAR_HASH{"Clear Hash", OptionType::BUTTON};
constexpr OptionSpec SHOW_WDL{"UCI_ShowWDL", OptionType::CHECK};
constexpr OptionSpec LIMIT_STRENGTH{"UCI_LimitStrength", OptionType::CHECK};
constexpr OptionSpec ELO{"UCI_Elo", OptionType::SPIN, STRENGTH_ELO_DEFAULT, STRENGTH_ELO_MIN, STRENGTH_ELO_MAX};

}  // namespace

int optionHash = HASH.defaultValue;
int optionThreads = THREADS.defaultValue;
int optionMoveOverhead = MOVE_OVERHEAD.defaultValue;
bool optionPonder = false;
int optionSyzygyProbeDepth = SYZYGY_PROBE_DEPTH.defaultValue;
std::string optionSyzygyPath = EMPTY_TEXT;
int optionNumaNode = NUMA_NODE.defaultValue;
int optionMultiPv = MULTI_PV.defaultValue;
bool optionShowWdl = false;
bool optionLimitStrength = false;
int optionElo = ELO.defaultValue;

namespace {

// What a change does. `value` is the spin value held to its range, or 1 and 0
// for a check option; the result is the value the reply names.
int setHash(const std::string&, int megabytes) {
    // The reply names the value asked for unless memory ran short; then the size obtained.
    optionHash = std::min(megabytes, resize(megabytes));
    return optionHash;
}
int setThreads(const std::string&, int count) { return optionThreads = setThreadCount(count); }
int setMoveOverhead(const std::string&, int ms) { return optionMoveOverhead = ms; }
int setPonder(const std::string&, int on) { return optionPonder = on; }
int setSyzygyProbeDepth(const std::string&, int plies) { return optionSyzygyProbeDepth = plies; }
int setNumaNode(const std::string&, int node) {
    if (node != optionNumaNode) {
        optionNumaNode = node;
        optionThreads = setThreadCount(optionThreads);
    }
    return optionNumaNode;
}
int setChess960(const std::string&, int on) { return chess960 = on; }
int setMultiPv(const std::string&, int lines) { return optionMultiPv = lines; }
int setShowWdl(const std::string&, int on) { return optionShowWdl = on; }
int setLimitStrength(const std::string&, int on) { return optionLimitStrength = on; }
int setElo(const std::string&, int elo) { return optionElo = elo; }
int pressClearHash(const std::string&, int) {
    clearSearchMemory();
    sendLine("info string Hash cleared");
    return 0;
}

int setSyzygyPath(const std::string& path, int) {
    optionSyzygyPath = path;
    bool ok = initTablebases(path);
    if (ok && largestTablebase() > 0) sendLine("info string Syzygy tablebases used from directory : " + path);
    else sendLine("info string No Syzygy tablebases found in directory :" + path);
    return 0;
}

int setNetFile(const std::string& path, int) {
    netFile = path;
    if (path.empty() || path == EMPTY_TEXT) return 0;
    loadNetFile(path);
    if (netLoaded) sendLine("info string NetFile used : " + path);
    else sendLine(netMissingLine(path, false));
    return 0;
}

struct OptionEntry {
    const OptionSpec& spec;
    const char* reply;  // followed by the value stored; null where the change replies itself
    int (*apply)(const std::string& text, int value);
};

// In the order of the "uci" answer.
const OptionEntry OPTIONS[] = {
    {THREADS, "info string Number of threads set to : ", setThreads},
    {HASH, "info string Size of Hashtable set to : ", setHash},
    {PONDER, "info string Ponder set to : ", setPonder},
    {MOVE_OVERHEAD, "info string MoveOverhead set to : ", setMoveOverhead},
    {SYZYGY_PATH, nullptr, setSyzygyPath},
    {SYZYGY_PROBE_DEPTH, "info string SyzygyProbeDepth set to: ", setSyzygyProbeDepth},
    {NUMA_NODE, "info string WindowsNumaNode set to: ", setNumaNode},
    {NET_FILE, nullptr, setNetFile},
    {CHESS960, "info string UCI_Chess960 set to : ", setChess960},
    {MULTI_PV, "info string MultiPV set to : ", setMultiPv},
    {CLEAR_HASH, nullptr, pressClearHash},
    {SHOW_WDL, "info string UCI_ShowWDL set to : ", setShowWdl},
    {LIMIT_STRENGTH, "info string UCI_LimitStrength set to : ", setLimitStrength},
    {ELO, "info string UCI_Elo set to : ", setElo},
};

std::string declarationLine(const OptionSpec& o) {
    std::string line = std::string("option name ") + o.name + " type ";
    switch (o.type) {
    case OptionType::SPIN:
        return line + "spin default " + std::to_string(o.defaultValue) + " min " + std::to_string(o.min) + " max "
               + std::to_string(o.max);
    case OptionType::CHECK: return line + "check default false";
    case OptionType::BUTTON: return line + "button";
    default: return line + "string default " + EMPTY_TEXT;
    }
}

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

}  // namespace

std::vector<std::string> optionDeclarations() {
    std::vector<std::string> lines;
    for (const OptionEntry& o : OPTIONS) lines.push_back(declarationLine(o.spec));
    return lines;
}

void setoption(std::istream& args) {
    std::string token, name, value;
    args >> token;  // "name"
    while (args >> token && token != "value") name += (name.empty() ? "" : " ") + token;
    while (args >> token) value += (value.empty() ? "" : " ") + token;

    const OptionEntry* entry = nullptr;
    for (const OptionEntry& o : OPTIONS)
        if (name == o.spec.name) entry = &o;
    if (!entry) return;
    int number = 0;
    if (entry->spec.type == OptionType::SPIN) {
        if (!readNumber(value, number)) return;
        number = std::clamp(number, entry->spec.min, entry->spec.max);
    } else if (entry->spec.type == OptionType::CHECK) {
        number = value == "true" ? 1 : 0;
    }
    int stored = entry->apply(value, number);
    if (entry->reply) sendLine(entry->reply + std::to_string(stored));
}
