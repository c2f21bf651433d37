// The search entry the generator's game threads use (a search on the calling
// thread with its own stop flag, table and node budget), and the quiescence
// fix that long self-play runs found.
#include "datagen_support.h"

#include "search/control.h"
#include "search/search.h"
#include "search/threads.h"
#include "selfplay.h"

using namespace datagen;

namespace {

class DatagenSearch : public DatagenSearcherTest {
protected:
    uint64_t usedBuckets() const {
        uint64_t used = 0;
        for (uint64_t i = 0; i <= searcher.table.mask; ++i) used += searcher.table.buckets[i].keys[0] != 0;
        return used;
    }
};

TEST_F(DatagenSearch, StopsAtItsOwnBudgetAndLeavesTheSharedFlagsAlone) {
    TestPosition root("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3");
    stopFlag.set();  // a stop meant for the pool's search does not end this one
    timeUpFlag.set(false);
    for (uint64_t budget : {1000u, 3000u, 12000u}) {
        SoloSearchResult r = searchToNodes(*searcher.searcher, *root, budget);
        EXPECT_NE(r.move, NO_MOVE);
        EXPECT_GE(r.nodes, budget);
        EXPECT_LT(r.nodes, budget + budget / 20 + 50) << "the budget is checked where it runs out";
        EXPECT_GE(r.depth, 1);
        EXPECT_LT(std::abs(r.score), 300);
    }
    EXPECT_TRUE(stopFlag.get());
    EXPECT_FALSE(timeUpFlag.get()) << "no clock is read";
    stopFlag.set(false);
    EXPECT_GT(usedBuckets(), 100u) << "the search stored into the thread's own table";
}

TEST_F(DatagenSearch, FindsTheMateAndReportsNoMoveWithoutOne) {
    TestPosition mateInOne("6k1/5ppp/8/8/8/8/5PPP/3R2K1 w - - 0 1");
    SoloSearchResult r = searchToNodes(*searcher.searcher, *mateInOne, 2000);
    EXPECT_EQ(moveTo(r.move), 59);  // Rd8#
    EXPECT_EQ(r.score, MATE - 1);
    TestPosition mated("3R2k1/5ppp/8/8/8/8/5PPP/6K1 b - - 1 1");
    EXPECT_EQ(searchToNodes(*searcher.searcher, *mated, 2000).move, NO_MOVE);
}

// Far below the horizon a check is no longer answered with evasions, but the
// node keeps its check flag: a re-search of the same node must see the check
// again, or its captures could leave the king attacked.
TEST_F(DatagenSearch, QuiescenceKeepsTheCheckFlagOfAnIgnoredCheck) {
    TestPosition root("4k3/8/8/3p4/8/2N5/4r3/4K3 w - - 0 1");
    ASSERT_TRUE(root->plyStates[0].inCheck);
    worker& w = *searcher.searcher;
    copyRootPosition(w.position, *root);
    w.pos = &w.position;
    int first = qsearch(w, 0, -14, -INFINITE_SCORE, INFINITE_SCORE);
    EXPECT_TRUE(w.position.plyStates[0].inCheck);
    int again = qsearch(w, 0, -14, -INFINITE_SCORE, INFINITE_SCORE);
    EXPECT_EQ(first, again);
    EXPECT_TRUE(positionIsConsistent(w.position, 0));
}

} // namespace
