#include "engine_options.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace matchtool {

namespace {

std::string join(const std::vector<std::string>& w, size_t from, size_t to) {
    std::string out;
    for (size_t i = from; i < to && i < w.size(); ++i) out += (out.empty() ? "" : " ") + w[i];
    return out;
}

}  // namespace

std::vector<std::string> splitWords(const std::string& s) {
    std::istringstream in(s);
    std::vector<std::string> out;
    for (std::string w; in >> w;) out.push_back(w);
    return out;
}

bool sameOptionName(const std::string& a, const std::string& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(x) == std::tolower(y);
           });
}

const UciOption* findOption(const std::vector<UciOption>& offered, const std::string& name) {
    for (const auto& o : offered)
        if (sameOptionName(o.name, name)) return &o;
    return nullptr;
}

OptionSetting parseSetting(const std::string& text) {
    size_t eq = text.find('=');
    if (eq == std::string::npos) return {text, ""};
    return {text.substr(0, eq), text.substr(eq + 1)};
}

bool parseOptionLine(const std::string& line, UciOption& out) {
    auto w = splitWords(line);
    if (w.size() < 4 || w[0] != "option" || w[1] != "name") return false;
    auto find = [&](const std::string& key, size_t from) {
        for (size_t i = from; i < w.size(); ++i)
            if (w[i] == key) return i;
        return w.size();
    };
    size_t type = find("type", 2);
    if (type >= w.size() - 1) return false;
    out = {join(w, 2, type), w[type + 1], ""};
    size_t def = find("default", type + 2);
    if (def < w.size()) {
        size_t end = def + 1;
        while (end < w.size() && w[end] != "min" && w[end] != "max" && w[end] != "var") ++end;
        out.defaultValue = join(w, def + 1, end);
    }
    return !out.name.empty();
}

std::vector<OptionSetting> settingsToSend(const std::vector<UciOption>& offered,
                                          const std::vector<OptionSetting>& user) {
    std::vector<OptionSetting> out;
    auto userSet = [&](const std::string& name) {
        return std::any_of(user.begin(), user.end(),
                           [&](const OptionSetting& s) { return sameOptionName(s.name, name); });
    };
    for (const auto& [name, value] : {OptionSetting{"Threads", "1"}, OptionSetting{"Ponder", "false"}})
        if (const UciOption* o = findOption(offered, name); o && !userSet(name)) out.push_back({o->name, value});
    out.insert(out.end(), user.begin(), user.end());
    return out;
}

}  // namespace matchtool
