#include <cstdio>
#include <sstream>
#include <thread>
#include "board_test_util.h"
#include "uci/output.h"
#include "uci/perft_commands.h"

namespace {
// A report half written by the command thread must not let a search line in
// between its words: "... pv g1f3 g8f6Unknown command" was once seen.
TEST(Output, ReportLinesLeaveWhole) {
    testing::internal::CaptureStdout();
    std::ostream& out = consoleOut();
    out << "Perft results for depth: " << std::flush;
    std::thread search([] { sendLine("bestmove e2e4"); });
    search.join();
    out << 5 << "  20" << std::endl;
    out << "no newline yet" << std::flush;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "bestmove e2e4\nPerft results for depth: 5  20\n");
    out << "\n";
}

TEST(Output, LongInputIsShortenedInMessages) {
    EXPECT_EQ(excerpt("e2e4"), "'e2e4'");
    std::string huge(1 << 20, 'x');
    std::string shown = excerpt(huge);
    EXPECT_LT(shown.size(), 80u);
    EXPECT_NE(shown.find("1048576 characters"), std::string::npos);
    EXPECT_EQ(excerpt(std::string("a\x01\xff"
                                  "b")),
              "'a??b'");
}

using PerftCommands = BoardTest;

// Every number of a perft file is checked before it is used: a depth of 200 once ran past the per-ply records.
TEST_F(PerftCommands, FileNumbersAreValidatedLineByLine) {
    std::string saved = perftFile;
    perftFile = testing::TempDir() + "quorvane-perft-check.txt";
    const std::string kings = "4k3/8/8/8/8/8/8/4K3 w - - 0 1;";
    std::ofstream file(perftFile);
    for (const char* rest : {"200;1", "0;1", "-3;1", "2;many", "2", "2;25;7", "99999999999999999999999;1", "1;5"})
        file << kings << rest << "\n";
    file.close();
    TestPosition t(START_FEN);
    std::ostringstream report;
    EXPECT_EQ(rtestCommand(*t, report), 0);
    std::string text = report.str();
    for (int line = 1; line <= 7; ++line)
        EXPECT_NE(text.find("info string perft file line " + std::to_string(line) + ":"), std::string::npos)
            << line << ": " << text;
    // The good line after the bad ones is still checked.
    EXPECT_NE(text.find("1; 4k3/8/8/8/8/8/8/4K3 w - - 0 1; 1; 5; 5;"), std::string::npos) << text;
    std::ofstream(perftFile) << kings << "5;25;170;1156;7922\n" << kings << "5;25;170;1156;7922;x\n";
    std::ostringstream rfc;
    EXPECT_EQ(rtestRFCCommand(*t, rfc), 0);
    EXPECT_NE(rfc.str().find("info string perft file line 1: expected 7 fields"), std::string::npos) << rfc.str();
    EXPECT_NE(rfc.str().find("info string perft file line 2: field 7 'x'"), std::string::npos) << rfc.str();
    std::remove(perftFile.c_str());
    perftFile = saved;
}
}  // namespace
