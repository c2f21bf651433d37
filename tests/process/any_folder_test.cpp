// The engine as users start it: by absolute path from a folder that has nothing of the project in it.
#include <regex>
#include "engine_under_test.h"

TEST(AnyFolder, PlaysAGameStartedFromAnUnrelatedFolder) {
    ScratchDir away("away");
    EngineProcess e;
    ASSERT_TRUE(startEngine(e, {}, away.path));
    send(e, "uci");
    bool found = false;
    readUntilLine(e, "uciok", 20000, &found);
    ASSERT_TRUE(found);
    send(e, "ucinewgame");
    std::string moves;
    const std::regex bestmove("^bestmove ([a-h][1-8][a-h][1-8][nbrq]?)( ponder [a-h][1-8][a-h][1-8][nbrq]?)?$");
    for (int ply = 0; ply < 8; ++ply) {
        send(e, "position startpos" + (moves.empty() ? "" : " moves" + moves));
        send(e, ply % 2 ? "go nodes 3000" : "go depth 5");
        auto lines = readUntil(
            e, [](const std::string& l) { return startsWith(l, "bestmove"); }, 30000, &found);
        ASSERT_TRUE(found) << "ply " << ply;
        for (const std::string& l : lines) EXPECT_FALSE(startsWith(l, "info string NetFile not found")) << l;
        std::smatch m;
        ASSERT_TRUE(std::regex_match(lines.back(), m, bestmove)) << lines.back();
        moves += ' ';
        moves += m[1].str();
    }
    send(e, "quit");
    EXPECT_EQ(waitExit(e, 10000), 0);
}
