// Every position of the reference list probes to the reference WDL and DTZ.
#include <gtest/gtest.h>

#include <cstdlib>

#include "board/movegen.h"
#include "tablebase/probe.h"
#include "tb_support.h"

namespace {

bool isCheckmate(Position& p) {
    return p.plyStates[0].inCheck && generateLegal(0, p) == p.plyStates[0].moveStart;
}

// Every line of the reference list beside the tables of `dir`.
void checkReferenceList(const std::string& dir, size_t expectedLines, int expectedMates) {
    initBoardTables();
    ASSERT_TRUE(initTablebases(dir));
    std::vector<ExpectedProbe> cases = readExpectedProbes(dir);
    ASSERT_EQ(cases.size(), expectedLines);
    int wrongWdl = 0, wrongDtz = 0, mates = 0;
    for (const ExpectedProbe& e : cases) {
        TestPosition p(e.fen);
        ASSERT_TRUE(p.ok) << e.fen;
        int wdl = probeWdlValue(*p);
        int dtz = probeDtzValue(*p);
        // The list calls a checkmated side to move a "Win" at distance 0; it
        // has lost, and the probe must say so to the search.
        if (isCheckmate(*p)) {
            EXPECT_EQ(wdl, -2) << e.fen;
            EXPECT_EQ(dtz, 0) << e.fen;
            ++mates;
            continue;
        }
        if (wdl != e.wdl) {
            ++wrongWdl;
            ADD_FAILURE() << e.fen << " wdl " << wdl << " expected " << e.wdl;
        }
        if (dtz == TB_FAILED || std::abs(dtz) != e.dtz) {
            ++wrongDtz;
            ADD_FAILURE() << e.fen << " dtz " << dtz << " expected " << e.dtz;
        }
        if (wrongWdl + wrongDtz > 40) break;
        // The search's code is the same value shifted.
        EXPECT_EQ(probeWdl(*p), e.wdl + 2);
    }
    EXPECT_EQ(mates, expectedMates);
    EXPECT_EQ(wrongWdl, 0);
    EXPECT_EQ(wrongDtz, 0);
    initTablebases("");
}

} // namespace

TEST(TbExpected, EveryKeptReferencePositionMatches) { checkReferenceList(SYZYGY_DIR, 2100, 1); }

// The whole list, with the 5-piece tables.
TEST(TbExpected, EverySharedReferencePositionMatches) {
    SKIP_WITHOUT_SHARED_DATA("syzygy/expected.txt");
    checkReferenceList(sharedSyzygyDir(), 2500, 3);
}
