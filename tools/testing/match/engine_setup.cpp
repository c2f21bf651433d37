#include "engine_setup.h"

#include <algorithm>

namespace matchtool {

bool startUciEngine(EngineProcess& e, const std::string& command, const std::vector<OptionSetting>& user,
                    EngineSetup& setup) {
    if (!startProgram(e, splitWords(command))) return false;
    send(e, "uci");
    bool ok = false;
    auto lines = readUntilLine(e, "uciok", 10000, &ok);
    if (!ok) return false;
    setup = {};
    for (const auto& line : lines) {
        UciOption o;
        if (parseOptionLine(line, o)) setup.offered.push_back(o);
        else if (startsWith(line, "id name ")) setup.idName = line.substr(8);
    }
    setup.sent = settingsToSend(setup.offered, user);
    for (const auto& s : setup.sent) {
        if (!findOption(setup.offered, s.name)) setup.notOffered.push_back(s.name);
        send(e, "setoption name " + s.name + (s.value.empty() ? "" : " value " + s.value));
    }
    send(e, "isready");
    setup.replies = readUntilLine(e, "readyok", 20000, &ok);
    if (ok) setup.replies.pop_back();
    return ok;
}

std::string describeSetup(const std::string& name, const EngineSetup& setup) {
    std::string out = name + (setup.idName.empty() ? "" : " (" + setup.idName + ")") + ": sent";
    if (setup.sent.empty()) out += " nothing";
    for (const auto& s : setup.sent) {
        out += " " + s.name + "=" + s.value;
        if (const UciOption* o = findOption(setup.offered, s.name)) out += " [default " + o->defaultValue + "]";
        else out += " [not offered]";
    }
    std::string kept;
    for (const char* key : {"Threads", "Hash", "Ponder", "OwnBook"}) {
        const UciOption* o = findOption(setup.offered, key);
        bool sent = std::any_of(setup.sent.begin(), setup.sent.end(),
                                [&](const OptionSetting& s) { return sameOptionName(s.name, key); });
        if (o && !sent) kept += " " + o->name + "=" + o->defaultValue;
    }
    if (!kept.empty()) out += "; left at default:" + kept;
    for (const auto& r : setup.replies) out += "; replied \"" + r + "\"";
    return out;
}

}  // namespace matchtool
