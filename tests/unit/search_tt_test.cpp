#include <sstream>
#include "search_support.h"

namespace {
// Distinct keys that share one bucket of the current table.
uint64_t sameBucket(uint64_t n) { return (n + 1) * (tt.mask + 1); }
bool found(uint64_t key) { return probe(key) != 0; }
struct TranspositionTableTest : ::testing::Test {
    void SetUp() override {
        initSearchTables();
        resize(1);
        newSearch();
    }
    void TearDown() override { resize(1); }
};

TEST_F(TranspositionTableTest, SizesToThePowerOfTwoAtOrAboveTheRequest) {
    for (auto [megabytes, buckets] : {std::pair{1, 16384u}, {2, 32768u}, {3, 65536u}, {5, 131072u}, {0, 16384u}}) {
        resize(megabytes);
        EXPECT_EQ(tt.mask + 1, buckets) << megabytes << " MiB asked for";
    }
}

TEST_F(TranspositionTableTest, ProbeReturnsTheLatestStoreOfItsKeyOnly) {
    uint64_t key = 0x1234567890abcdefull;
    Move m = makeMove(12, 28, FLAG_DOUBLE);
    store(key, m, -57, 9, EXACT, 3);
    HashEntry e = probe(key);
    EXPECT_TRUE(entryMove(e) == m && entryScore(e) == -57 && entryDepth(e) == 9 && entryBound(e) == EXACT);
    EXPECT_FALSE(found(key ^ (1ull << 40)));  // same bucket, other key
    // The same position is overwritten even by a shallower entry, and holds one place only:
    // three more keys of its bucket all fit beside it.
    store(key, makeMove(3, 4), 5, 1, UPPER, 0);
    e = probe(key);
    EXPECT_TRUE(entryMove(e) == makeMove(3, 4) && entryDepth(e) == 1 && entryBound(e) == UPPER);
    for (uint64_t i = 1; i <= 3; ++i) store(key ^ i << 40, 0, 0, 50, LOWER, 0);
    for (uint64_t i = 0; i <= 3; ++i) EXPECT_TRUE(found(key ^ i << 40)) << i;
}

TEST_F(TranspositionTableTest, AFullBucketLosesItsShallowestEntryAndAnExactBoundCountsAPly) {
    // Depths 8, 3 exact, 3, 9: the plain depth 3 goes.
    const std::pair<int, int> entries[] = {{8, LOWER}, {3, EXACT}, {3, LOWER}, {9, UPPER}};
    for (uint64_t i = 0; i < 4; ++i) store(sameBucket(i), 0, 0, entries[i].first, entries[i].second, 0);
    store(sameBucket(4), 0, 0, 1, LOWER, 0);
    for (uint64_t i = 0; i <= 4; ++i) EXPECT_EQ(found(sameBucket(i)), i != 2) << i;
    // Equal entries: exactly one of them makes room.
    clear();
    for (uint64_t i = 0; i < 5; ++i) store(sameBucket(i), 0, 0, 5, LOWER, 0);
    int kept = 0;
    for (uint64_t i = 0; i < 4; ++i) kept += found(sameBucket(i));
    EXPECT_EQ(kept, 3);
    EXPECT_TRUE(found(sameBucket(4)));
}

TEST_F(TranspositionTableTest, EntriesOfOldSearchesLoseFourPliesOfWorthPerSearch) {
    clear();
    newSearch();
    store(sameBucket(0), 0, 0, 60, LOWER, 0);  // worth 60 - 4 * 16 = -4 sixteen searches on
    store(sameBucket(1), 0, 0, 70, LOWER, 0);  // worth 6
    for (int i = 0; i < 16; ++i) newSearch();
    for (uint64_t i = 2; i < 4; ++i) store(sameBucket(i), 0, 0, 0, LOWER, 0);
    store(sameBucket(5), 0, 0, 0, LOWER, 0);
    EXPECT_FALSE(found(sameBucket(0)));
    EXPECT_TRUE(found(sameBucket(1)) && found(sameBucket(2)) && found(sameBucket(3)));
    EXPECT_EQ(entryAge(probe(sameBucket(5))), 16);
    // The age wraps at 64 and starts again at 0 after a clear.
    for (int i = 0; i < 53; ++i) newSearch();
    store(sameBucket(6), 0, 0, 0, LOWER, 0);
    EXPECT_EQ(entryAge(probe(sameBucket(6))), 69 & 63);
    clear();
    newSearch();
    store(sameBucket(6), 0, 0, 0, LOWER, 0);
    EXPECT_EQ(entryAge(probe(sameBucket(6))), 0);
}

TEST_F(TranspositionTableTest, MateScoresKeepTheirDistanceFromTheNode) {
    uint64_t key = 0xfeedfacecafebeefull;
    // Found at ply 5, read back at ply 7: the mate lies two plies further from the root.
    for (auto [stored, readBack] : {std::pair{mateIn(100), mateIn(102)},
                                    {matedIn(100), matedIn(102)},
                                    {LARGEST_PLAIN_SCORE, LARGEST_PLAIN_SCORE},
                                    {-LARGEST_PLAIN_SCORE, -LARGEST_PLAIN_SCORE}}) {
        store(key, 0, stored, 4, EXACT, 5);
        EXPECT_EQ(scoreFromTable(entryScore(probe(key)), 5), stored);
        EXPECT_EQ(scoreFromTable(entryScore(probe(key)), 7), readBack);
    }
}

TEST_F(TranspositionTableTest, ParallelClearCoversEveryBucketOnce) {
    for (uint64_t count : {16384ull, 32768ull, 1ull << 20})
        for (int workers = 1; workers <= 7; ++workers) {
            uint64_t next = 0;
            for (int i = 0; i < workers; ++i) {
                uint64_t first, length;
                clearRange(count, i, workers, first, length);
                EXPECT_EQ(first, next) << count << " buckets, worker " << i << " of " << workers;
                next = first + length;
            }
            EXPECT_EQ(next, count + 1) << "the spare bucket is cleared too";
        }
}

TEST_F(TranspositionTableTest, ClearForgetsEveryEntry) {
    auto kept = [] {
        uint64_t n = 0;
        for (uint64_t i = 0; i <= tt.mask; ++i) n += found(i * 0x9e3779b97f4a7c15ull);
        return n;
    };
    for (uint64_t i = 0; i <= tt.mask; ++i) store(i * 0x9e3779b97f4a7c15ull, 0, 0, 1, LOWER, 0);
    EXPECT_GT(kept(), tt.mask / 2);
    clear();
    EXPECT_EQ(kept(), 0u);
}

// The empty table's statistics are checked byte for byte in UciOptions.HashStatisticsOfAClearedTable.
TEST_F(TranspositionTableTest, StatisticsCountBoundsAgesAndDepths) {
    clear();
    newSearch();
    store(sameBucket(0), makeMove(1, 2), 0, 3, EXACT, 0);
    store(sameBucket(1), 0, 0, 3, LOWER, 0);
    std::ostringstream out;
    printStatistics(out);
    for (const char* line : {"Used entries 2\n", "Type of entries UPPER - LOWER - EXACT 0\t - 0\t - 1\t - 1\n",
                             "Percentage of entries UPPER - LOWER - EXACT 0\t - 0\t - 50\n", "Number of Hashmoves 1\n"})
        EXPECT_NE(out.str().find(line), std::string::npos) << line;
}
}  // namespace
