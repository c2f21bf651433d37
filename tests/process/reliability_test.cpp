// Commands that arrive while a search runs, limits of the system, and odd values a GUI or a person may send.
#include "search_session.h"

namespace {
// "rtest" resizes the table for every line; a search still probing it once crashed the engine.
TEST(Reliability, PerftChecksDuringASearchStopItFirst) {
    EngineSession s;
    std::ofstream(s.dir + "/perftFRC.txt")
        << "4k3/8/8/8/8/8/8/4K3 w - - 0 1;3;170\n4k3/8/8/8/8/8/8/4K3 w - - 0 1;2;25\n";
    s.send("setoption name Threads value 2");
    for (const char* go : {"go infinite", "go depth 30", "go ponder", "go infinite", "go ponder"}) {
        s.send(go);
        s.send(s.engine.transcript.size() % 2 ? "rtest" : "rtestRFC");
        auto lines = s.until("Results of the perft checks", 20000);
        // The search answered before the check began.
        EXPECT_GT(countPrefix(lines, "bestmove"), 0) << go;
    }
    s.ready();
}

TEST(Reliability, HashstatsAndEvilDuringASearch) {
    EngineSession s;
    s.send("setoption name Hash value 16");
    s.send("setoption name Threads value 3");
    s.send("go infinite");
    for (int i = 0; i < 3; ++i) {
        s.send("hashstats");
        s.send("evil");
        s.send("showboard");
    }
    s.send("stop");
    EXPECT_GE(countPrefix(s.untilBestMove(60000), "Evaluation : "), 3);
}

// A memory limit leaves room for a few dozen threads only: the engine takes what it gets, says so, and goes on playing.
TEST(Reliability, RefusedThreadsFallBackToFewer) {
#ifdef QUORVANE_SANITIZED
    GTEST_SKIP() << "sanitizer builds reserve more address space than the limit allows";
#endif
    ScratchDir dir("threads");
    writeZeroNetwork(dir.path + "/220321-307.nnue");
    EngineProcess e;
    ASSERT_TRUE(
        startProgram(e, {"/bin/sh", "-c", std::string("ulimit -v 900000; exec '") + ENGINE_PATH + "'"}, dir.path));
    send(e, "setoption name Hash value 1");
    send(e, "setoption name Threads value 256");
    bool found = false;
    auto lines = readUntil(
        e, [](const std::string& l) { return startsWith(l, "info string Number of threads set to : "); }, 30000,
        &found);
    ASSERT_TRUE(found);
    EXPECT_GT(countPrefix(lines, "info string Only "), 0) << lines.back();
    for (const char* go : {"go depth 3", "ucinewgame\ngo depth 2"}) {
        send(e, go);
        readUntil(
            e, [](const std::string& l) { return startsWith(l, "bestmove"); }, 30000, &found);
        EXPECT_TRUE(found) << go;
    }
    send(e, "quit");
    EXPECT_EQ(waitExit(e, 30000), 0);
}

// Each odd value gets a short note and a search a GUI author would expect.
TEST(Reliability, OddGoValuesAreReportedAndAnswered) {
    EngineSession s;
    for (auto [go, note, maxMs] : {
             // note "": none expected
             std::tuple{"go depth 0", "info string go: depth 0 is searched as depth 1", 3000},
             {"go movetime 0", "info string go: movetime 0 is searched as 1 ms", 3000},
             {"go movetime -20", "info string go: movetime -20 is searched as 1 ms", 3000},
             {"go nodes -1", "info string go: nodes -1 is searched as 1 node", 3000},
             {"go nodes 0", "info string go: nodes 0 is searched as 1 node", 3000},
             {"go depth abc movetime 200", "info string go: depth 'abc' is not a whole number, ignored", 3000},
             {"go mate -2 depth 2", "info string go: mate -2 is ignored", 3000},
             {"go wtime -50 btime -50", "", 3000},
             {"go depth", "info string go: depth needs a number, ignored", -1},
         }) {
        std::vector<std::string> lines;
        if (maxMs < 0) {
            s.send(go);
            s.send("stop");
            lines = s.untilBestMove();
        } else {
            long ms = s.millisUntilBestMove(go, &lines);
            EXPECT_LT(ms, maxMs) << go;
        }
        if (*note) EXPECT_TRUE(hasLine(lines, note)) << go;
        else EXPECT_EQ(countPrefix(lines, "info string"), 0) << go;
    }
}

TEST(Reliability, SearchMovesRestrictTheRoot) {
    EngineSession s;
    std::vector<std::string> lines;
    s.millisUntilBestMove("go depth 4 searchmoves a2a3 h2h4", &lines);
    std::string best = lines.back();
    EXPECT_TRUE(startsWith(best, "bestmove a2a3") || startsWith(best, "bestmove h2h4")) << best;
    // One listed move is still searched to the depth asked for.
    s.send("position fen 4k3/8/8/8/8/8/8/R3K3 w - - 0 1");
    s.millisUntilBestMove("go searchmoves e1d1 zz9 depth 6", &lines);
    EXPECT_EQ(lines.back().substr(0, 13), "bestmove e1d1");
    EXPECT_TRUE(hasLine(lines, "info string go: searchmoves 'zz9' is not a legal move, ignored"));
    EXPECT_GE(fieldOf(withPrefix(lines, "info score").back(), "depth"), 5);
    // No legal move listed, or none at all: every move is searched, and the depth after them is still read.
    for (const char* go : {"go searchmoves e2e5 h1h8 depth 3", "go depth 3 searchmoves"}) {
        s.millisUntilBestMove(go, &lines);
        EXPECT_TRUE(hasLine(lines, "info string go: searchmoves names no legal move, all moves are searched")) << go;
        EXPECT_EQ(fieldOf(withPrefix(lines, "info score").back(), "depth"), 2) << go;
    }
}

TEST(Reliability, RepliesNameWhatWasDoneAndStayShort) {
    EngineSession s;
    bool found = false;
    std::vector<std::string> lines;
#ifndef QUORVANE_SANITIZED  // their allocators end the process on a request this large
    // The largest table the machine allows (half its memory) is zeroed before the reply: seconds on an idle
    // machine, most of a minute on a busy one.
    s.send("setoption name Hash value 262144");
    lines = s.until("info string Size of Hashtable set to : ", 180000, &found);
    ASSERT_TRUE(found);
    // Where memory ran short the reply names the size obtained, as the warning before it does.
    std::string got = lines.back().substr(std::string("info string Size of Hashtable set to : ").size());
    if (got != "262144") {
        EXPECT_EQ(lines[lines.size() - 2], "info string Not enough memory, hash table has " + got + " MB");
    }
    s.send("setoption name Hash value 16");
#endif
    s.send("position startpos moves e2e4 " + std::string(1 << 20, 'x'));
    s.send("position fen 4k3/8/8/8/8/8/8/4K2R w KQkq - 0 1");
    lines = s.ready(60000);
    auto notes = withPrefix(lines, "info string");
    ASSERT_GE(notes.size(), 2u);
    for (const auto& l : notes) EXPECT_LT(l.size(), 200u);
    EXPECT_TRUE(hasLine(lines, "info string castling rights kQq dropped: no king and rook stand ready for them"));
}
}  // namespace
