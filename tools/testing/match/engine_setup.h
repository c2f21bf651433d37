// Starting a UCI engine for a game: the handshake, the options it offers and
// the options it is sent.
#pragma once

#include <string>
#include <vector>

#include "engine_options.h"
#include "engine_process.h"

namespace matchtool {

struct EngineSetup {
    std::string idName;
    std::vector<UciOption> offered;
    std::vector<OptionSetting> sent;
    std::vector<std::string> notOffered;  // names the user set that the engine does not declare
    std::vector<std::string> replies;     // what the engine printed between the options and "readyok"
};

// Starts the engine command (split at spaces), runs "uci", sends the settings
// and waits for "readyok". False when any step fails or times out.
bool startUciEngine(EngineProcess& e, const std::string& command, const std::vector<OptionSetting>& user,
                    EngineSetup& setup);

// One line describing what the engine received and the defaults that matter
// for a fair match (threads, hash, pondering, its own book).
std::string describeSetup(const std::string& name, const EngineSetup& setup);

}  // namespace matchtool
