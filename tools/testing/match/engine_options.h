// UCI option declarations and the settings a match sends. Unless the user
// says otherwise every engine gets one thread and pondering off, because the
// runner never ponders and an engine's own thread default (often one per
// core) would make concurrent games compete for cores.
#pragma once

#include <string>
#include <vector>

namespace matchtool {

struct UciOption {
    std::string name, type, defaultValue;
};

struct OptionSetting {
    std::string name, value;
};

// The blank-separated words of a line (an option declaration, a command line).
std::vector<std::string> splitWords(const std::string& s);
// "Name=Value" as given on the command line.
OptionSetting parseSetting(const std::string& text);
// One "option name ... type ... default ..." declaration; false for other lines.
bool parseOptionLine(const std::string& line, UciOption& out);
// UCI option names compare without case.
bool sameOptionName(const std::string& a, const std::string& b);
// The declared option of that name, or null.
const UciOption* findOption(const std::vector<UciOption>& offered, const std::string& name);
// The user's settings plus Threads=1 and Ponder=false where the engine offers
// them and the user did not set them.
std::vector<OptionSetting> settingsToSend(const std::vector<UciOption>& offered,
                                          const std::vector<OptionSetting>& user);

}  // namespace matchtool
