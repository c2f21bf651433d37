#include "shuffle.h"

#include <algorithm>
#include <cstdio>
#include <random>

void shuffleRecords(std::vector<TrainingRecord>& records, uint64_t seed) {
    std::mt19937_64 rng(seed);
    std::shuffle(records.begin(), records.end(), rng);
}

bool shuffleFile(const std::string& in, const std::string& out, uint64_t seed, size_t maxInMemory, std::string* error) {
    DataReader reader;
    if (!openReader(reader, in, error)) return false;
    maxInMemory = std::max<size_t>(maxInMemory, 1024);
    // Twice as many buckets as strictly needed, so that a bucket's random size rarely overflows memory.
    size_t buckets = size_t(std::min<uint64_t>(1000, 2 * (reader.count / maxInMemory) + 1));
    std::mt19937_64 rng(seed);

    std::vector<std::string> bucketPaths;
    std::vector<DataWriter> writers(buckets);
    bool ok = true;
    for (size_t b = 0; b < buckets; ++b) {
        bucketPaths.push_back(out + ".bucket" + std::to_string(b));
        ok = openWriter(writers[b], bucketPaths.back()) && ok;
    }
    std::vector<TrainingRecord> block;
    while (ok && readRecords(reader, block, 65536)) {
        for (const TrainingRecord& r : block) writeRecord(writers[rng() % buckets], r);
        block.clear();
    }
    closeReader(reader);
    for (DataWriter& w : writers) ok = closeWriter(w) && ok;

    DataWriter writer;
    ok = ok && openWriter(writer, out);
    for (size_t b = 0; ok && b < buckets; ++b) {
        std::vector<TrainingRecord> records;
        ok = readAllRecords(bucketPaths[b], records, error);
        shuffleRecords(records, rng());
        for (const TrainingRecord& r : records) writeRecord(writer, r);
    }
    if (writer.file) ok = closeWriter(writer) && ok;
    for (const std::string& path : bucketPaths) std::remove(path.c_str());
    if (!ok && error && error->empty()) *error = "cannot write " + out;
    return ok;
}
