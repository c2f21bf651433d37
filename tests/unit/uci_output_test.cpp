#include <gtest/gtest.h>
#include <thread>
#include "uci/output.h"

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
}  // namespace
