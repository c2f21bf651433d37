// Shuffling training data, in memory or file to file with bounded memory.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "training_data.h"

void shuffleRecords(std::vector<TrainingRecord>& records, uint64_t seed);

// Writes the records of `in` to `out` in a uniformly random order while
// holding at most about maxInMemory records: every record is first dealt to a
// random one of several temporary bucket files next to `out`, then each bucket
// is shuffled in memory and appended. `in` and `out` must differ.
bool shuffleFile(const std::string& in, const std::string& out, uint64_t seed, size_t maxInMemory,
                 std::string* error = nullptr);
