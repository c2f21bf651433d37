// Starting a UCI engine for a game: the handshake, the options it offers and
// the options it is sent. Unless the user says otherwise every engine gets one
// thread and pondering off, because the runner never ponders and an engine's
// own thread default (often one per core) would make games compete for cores.
#pragma once

#include <string>
#include <vector>

#include "engine_process.h"

struct UciOption {
    std::string name, type, defaultValue;
};

struct OptionSetting {
    std::string name, value;
};

struct EngineSetup {
    std::string idName;
    std::vector<UciOption> offered;
    std::vector<OptionSetting> sent;
    std::vector<std::string> notOffered;  // names the user set that the engine does not declare
    std::vector<std::string> replies;     // what the engine printed between the options and "readyok"
};

// "Name=Value" as given on the command line.
OptionSetting parseSetting(const std::string& text);
// One "option name ... type ... default ..." declaration; false for other lines.
bool parseOptionLine(const std::string& line, UciOption& out);
// The user's settings plus Threads=1 and Ponder=false where the engine offers
// them and the user did not set them (names compare without case, as in UCI).
std::vector<OptionSetting> settingsToSend(const std::vector<UciOption>& offered, const std::vector<OptionSetting>& user);

// Starts the engine command (split at spaces), runs "uci", sends the settings
// and waits for "readyok". False when any step fails or times out.
bool startUciEngine(EngineProcess& e, const std::string& command, const std::vector<OptionSetting>& user, EngineSetup& setup);

// One line describing what the engine received and the defaults that matter
// for a fair match (threads, hash, pondering, its own book).
std::string describeSetup(const std::string& name, const EngineSetup& setup);
