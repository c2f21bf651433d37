#include <sstream>
#include "search_support.h"

namespace {
uint64_t bucketCount() { return tt.mask + 1; }
// Keys that land in bucket 0 of the current table.
uint64_t keyInBucketZero(uint64_t n) { return (n + 1) * (tt.mask + 1); }
class TranspositionTableTest : public ::testing::Test {
protected:
    void SetUp() override {
        initSearchTables();
        resize(1);
    }
    void TearDown() override { resize(1); }
};

TEST_F(TranspositionTableTest, SizesToThePowerOfTwoAtOrAboveTheRequest) {
    for (auto [megabytes, buckets] : {std::pair{1, 16384u}, {2, 32768u}, {3, 65536u}, {5, 131072u}, {0, 16384u}}) {
        resize(megabytes);
        EXPECT_EQ(bucketCount(), buckets) << megabytes << " MiB asked for";
    }
}

TEST_F(TranspositionTableTest, ProbeFindsOnlyTheStoredKey) {
    Move m = makeMove(12, 28, FLAG_DOUBLE);
    store(0x1234567890abcdefull, m, -57, 9, EXACT, 3);
    HashEntry e = probe(0x1234567890abcdefull);
    EXPECT_TRUE(entryMove(e) == m && entryScore(e) == -57 && entryDepth(e) == 9 && entryBound(e) == EXACT);
    EXPECT_EQ(probe(0x1234567890abcdefull ^ (1ull << 40)), 0u);  // same bucket, other key
}

TEST_F(TranspositionTableTest, SamePositionIsAlwaysOverwrittenEvenByAShallowerEntry) {
    uint64_t key = keyInBucketZero(7);
    store(key, makeMove(1, 2), 100, 40, EXACT, 0);
    store(key, makeMove(3, 4), 5, 1, UPPER, 0);
    HashEntry e = probe(key);
    EXPECT_TRUE(entryMove(e) == makeMove(3, 4) && entryDepth(e) == 1 && entryBound(e) == UPPER);
    EXPECT_EQ(std::count(tt.buckets[0].keys, tt.buckets[0].keys + 4, key), 1);
}

TEST_F(TranspositionTableTest, FullBucketLosesItsLeastValuableSlot) {
    // Depths 8, 3 (exact: 3 + 1), 3, 9: slot 2 has the smallest value.
    store(keyInBucketZero(0), 0, 0, 8, LOWER, 0);
    store(keyInBucketZero(1), 0, 0, 3, EXACT, 0);
    store(keyInBucketZero(2), 0, 0, 3, LOWER, 0);
    store(keyInBucketZero(3), 0, 0, 9, UPPER, 0);
    store(keyInBucketZero(4), 0, 0, 20, LOWER, 0);
    EXPECT_NE(probe(keyInBucketZero(1)), 0u);
    EXPECT_EQ(probe(keyInBucketZero(2)), 0u);
    EXPECT_NE(probe(keyInBucketZero(4)), 0u);
    EXPECT_EQ(tt.buckets[0].keys[2], keyInBucketZero(4));
}

TEST_F(TranspositionTableTest, EqualValuesReplaceTheLowestSlot) {
    for (uint64_t i = 0; i < 4; ++i) store(keyInBucketZero(i), 0, 0, 5, LOWER, 0);
    store(keyInBucketZero(9), 0, 0, 5, LOWER, 0);
    EXPECT_EQ(tt.buckets[0].keys[0], keyInBucketZero(9));
}

TEST_F(TranspositionTableTest, OldDeepEntriesLoseToCurrentShallowOnes) {
    clear();
    newSearch();  // age 0
    store(keyInBucketZero(0), 0, 0, 60, LOWER, 0);
    for (int i = 0; i < 16; ++i) newSearch();  // age 16
    EXPECT_EQ(tt.age, 16);
    for (uint64_t i = 1; i < 4; ++i) store(keyInBucketZero(i), 0, 0, 0, LOWER, 0);
    store(keyInBucketZero(5), 0, 0, 0, LOWER, 0);
    // 60 - 4 * 16 = -4 is below 0: the old entry goes.
    EXPECT_EQ(probe(keyInBucketZero(0)), 0u);
    EXPECT_NE(probe(keyInBucketZero(5)), 0u);
    EXPECT_EQ(entryAge(probe(keyInBucketZero(5))), 16);
}

TEST_F(TranspositionTableTest, AgeStartsAtZeroAfterAClearAndWrapsAtSixtyFour) {
    for (int i = 0; i < 70; ++i) newSearch();
    EXPECT_EQ(tt.age, (69 & 63));
    clear();
    newSearch();
    EXPECT_EQ(tt.age, 0);
}

TEST_F(TranspositionTableTest, MateScoresAreStoredRelativeToTheNode) {
    uint64_t key = 0xfeedfacecafebeefull;
    store(key, 0, 31900, 4, EXACT, 5);
    EXPECT_EQ(entryScore(probe(key)), 31905);
    EXPECT_EQ(scoreFromTable(entryScore(probe(key)), 7), 31898);
    store(key, 0, -31900, 4, EXACT, 5);
    EXPECT_EQ(entryScore(probe(key)), -31905);
    EXPECT_EQ(scoreFromTable(-31905, 7), -31898);
    store(key, 0, 31871, 4, EXACT, 5);  // not a mate score
    EXPECT_EQ(entryScore(probe(key)), 31871);
}

TEST_F(TranspositionTableTest, ParallelClearCoversEveryBucketOnce) {
    for (uint64_t count : {16384ull, 32768ull, 1ull << 20}) {
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
}

TEST_F(TranspositionTableTest, ClearEmptiesEverySlotAndTheSpareBucket) {
    for (uint64_t i = 0; i <= tt.mask + 1; ++i) tt.buckets[i].entries[i & 3] = ~0ull;
    clear();
    bool allZero = true;
    for (uint64_t i = 0; i <= tt.mask + 1; ++i)
        for (int s = 0; s < 4; ++s) allZero &= tt.buckets[i].entries[s] == 0 && tt.buckets[i].keys[s] == 0;
    EXPECT_TRUE(allZero);
}

// The empty table's statistics are checked byte for byte in UciOptions.HashStatisticsOfAnEmptyTable.
TEST_F(TranspositionTableTest, StatisticsCountBoundsAgesAndDepths) {
    clear();
    newSearch();
    store(keyInBucketZero(0), makeMove(1, 2), 0, 3, EXACT, 0);
    store(keyInBucketZero(1), 0, 0, 3, LOWER, 0);
    std::ostringstream out;
    printStatistics(out);
    for (const char* line : {"Used entries 2\n", "Type of entries UPPER - LOWER - EXACT 0\t - 0\t - 1\t - 1\n",
                             "Percentage of entries UPPER - LOWER - EXACT 0\t - 0\t - 50\n", "Number of Hashmoves 1\n"})
        EXPECT_NE(out.str().find(line), std::string::npos) << line;
}
} // namespace
