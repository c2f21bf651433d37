#include <gtest/gtest.h>
#include <unistd.h>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>
#include "test_data.h"
#include "uci/output.h"

namespace {
// Points standard output at a file for the lifetime of the record.
struct CapturedStdout {
    std::string path = testing::TempDir() + "quorvane-output-test.txt";
    int saved = -1;
    CapturedStdout() {
        std::fflush(stdout);
        saved = dup(1);
        FILE* f = std::fopen(path.c_str(), "w");
        dup2(fileno(f), 1);
        std::fclose(f);
    }
    std::string text() {
        std::fflush(stdout);
        return fileBytes(path);
    }
    ~CapturedStdout() {
        std::fflush(stdout);
        dup2(saved, 1);
        close(saved);
        std::remove(path.c_str());
    }
};

// A report half written by the command thread must not let a search line in
// between its words: "... pv g1f3 g8f6Unknown command" was once seen.
TEST(Output, ReportLinesLeaveWhole) {
    CapturedStdout capture;
    std::ostream& out = consoleOut();
    out << "Perft results for depth: " << std::flush;
    std::thread search([] { sendLine("bestmove e2e4"); });
    search.join();
    out << 5 << "  20" << std::endl;
    out << "no newline yet" << std::flush;
    EXPECT_EQ(capture.text(), "bestmove e2e4\nPerft results for depth: 5  20\n");
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
