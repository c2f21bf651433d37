// The registry of Syzygy tables found in the SyzygyPath directories: one
// record per material combination, a hash from material key to record, and
// lazy mapping of the table files.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "tablebase/decode.h"

enum TbType : int { TB_WDL = 0, TB_DTM = 1, TB_DTZ = 2 };

// One mapped file of a table. `handle` is the file mapping object on Windows
// and unused elsewhere; `size` is the mapped length.
struct TbMapping {
    void* handle;
    const uint8_t* view;
    uint64_t size;
    std::atomic<bool> ready;   // set once the file is mapped, checked and decoded
    std::atomic<bool> failed;  // the file was found unusable; not tried again until re-initialisation
};

struct TbTable {
    uint64_t key;
    TbMapping file[3];  // by TbType
    uint8_t pieceCount;
    bool symmetric;
    bool hasPawns;
    bool hasDtm;
    bool hasDtz;
    uint8_t pawnCount[2];  // leading colour, other colour (tables with pawns)
    bool twoKings;         // pawnless: only the kings occur exactly once
    char name[12];
    TbTableData wdl;
    TbTableData dtz;
};

constexpr int PIECE_TABLE_SLOTS = 650;
constexpr int PAWN_TABLE_SLOTS = 861;
constexpr int TB_HASH_SLOTS = 4096;

// (Re)initialises from a ';'-separated list of directories.
bool initTablebases(const std::string& path);
// The largest piece count among the registered tables, 0 when none.
int largestTablebase();

// The table registered for a material key (or its mirror), nullptr when none.
TbTable* lookup(uint64_t key);

// Maps, checks and decodes the file of one type on first use; safe to call
// from several threads at once. False when the table cannot be used.
bool mapTable(TbTable& table, TbType type);

// Material key of a combination: the sum over pieces of a constant per colour
// and kind, kings excluded. counts[colour][type] with type 1 pawn .. 5 queen.
uint64_t materialKey(const int counts[2][7]);
// The key of a table name such as "KQvKR"; `mirrored` swaps the colours.
uint64_t materialKeyOfName(const char* name, bool mirrored);

// For tests and statistics.
int registeredTableCount();
int registeredDtzCount();
int registeredDtmCount();
int hashEntriesFor(const TbTable* table);  // number of hash slots naming the table
