#include "uci/go.h"

#include "eval/network.h"
#include "search/tt.h"
#include "uci/output.h"
#include "uci/position_command.h"

void go(std::istream&) {
    if (!netLoaded) {
        sendLine(netMissingLine(netFile, true));
        return;
    }
    sendLine("info string searching is not available in this build");
}

void stopCommand() {}
void ponderhitCommand() {}

void newGameCommand() {
    clear();
    gameMoveCount = 0;
    for (int i = 0; i < 1024; ++i) mainPosition.keyHistory[i] = 0;
}
