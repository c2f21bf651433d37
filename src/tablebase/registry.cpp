#include "tablebase/registry.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

#include "tablebase/files.h"

namespace {

// Material key constants by colour and kind (1 pawn .. 5 queen).
const uint64_t MATERIAL_PRIMES[2][6] = {
    {0, 17008651141875982339ull, 15202887380319082783ull, 12311744257139811149ull, 10979190538029446137ull,
     11811845319353239651ull},
    {0, 11695583624105689831ull, 13469005675588064321ull, 15394650811035483107ull, 18264461213049635989ull,
     15484752644942473553ull},
};

const uint32_t MAGIC[3] = {0x5D23E871, 0x88AC504B, 0xA50C66D7};
const char* const EXTENSION[3] = {".rtbw", ".rtbm", ".rtbz"};

struct HashSlot {
    uint64_t key;
    TbTable* table;
};

TbTable* pieceTables = nullptr;
TbTable* pawnTables = nullptr;
int pieceTableCount = 0;
int pawnTableCount = 0;
HashSlot hashSlots[TB_HASH_SLOTS];
int tablesFound = 0, dtzFound = 0, dtmFound = 0;
int largest = 0, largestWithDtm = 0;
bool indexTablesBuilt = false;
std::mutex mappingMutex;

int kindOfLetter(char c) {
    switch (c) {
    case 'P': return 1;
    case 'N': return 2;
    case 'B': return 3;
    case 'R': return 4;
    case 'Q': return 5;
    default: return 0;
    }
}

void countPieces(const char* name, int counts[2][7]) {
    std::memset(counts, 0, sizeof(int) * 14);
    int colour = 0;
    for (const char* c = name; *c; ++c) {
        if (*c == 'v') colour = 1;
        else if (*c == 'K') counts[colour][6]++;
        else counts[colour][kindOfLetter(*c)]++;
    }
}

void enterIntoHash(uint64_t key, TbTable* table) {
    int slot = int(key >> 52);
    while (hashSlots[slot].table) slot = (slot + 1) & (TB_HASH_SLOTS - 1);
    hashSlots[slot] = HashSlot{key, table};
}

void registerTable(const char* name) {
    if (!tableFileIsUsable(name, ".rtbw")) return;
    int counts[2][7];
    countPieces(name, counts);
    bool hasPawns = counts[0][1] + counts[1][1] > 0;
    TbTable& t = hasPawns ? pawnTables[pawnTableCount++] : pieceTables[pieceTableCount++];

    std::snprintf(t.name, sizeof t.name, "%s", name);
    t.key = materialKeyOfName(name, false);
    uint64_t mirrored = materialKeyOfName(name, true);
    t.pieceCount = uint8_t(std::strlen(name) - 1);
    t.symmetric = mirrored == t.key;
    t.hasPawns = hasPawns;
    t.hasDtm = tableFileIsUsable(name, ".rtbm");
    t.hasDtz = tableFileIsUsable(name, ".rtbz");
    if (hasPawns) {
        int white = counts[0][1], black = counts[1][1];
        bool blackLeads = black > 0 && (white == 0 || black < white);
        t.pawnCount[0] = uint8_t(blackLeads ? black : white);
        t.pawnCount[1] = uint8_t(blackLeads ? white : black);
        t.twoKings = false;
    } else {
        int single = 0;
        for (int c = 0; c < 2; ++c)
            for (int k = 1; k <= 6; ++k) single += counts[c][k] == 1;
        t.twoKings = single == 2;
        t.pawnCount[0] = t.pawnCount[1] = 0;
    }
    for (TbMapping& m : t.file) {
        m.handle = nullptr;
        m.view = nullptr;
        m.size = 0;
        m.ready.store(false, std::memory_order_relaxed);
        m.failed.store(false, std::memory_order_relaxed);
    }

    ++tablesFound;
    if (t.hasDtz) ++dtzFound;
    if (t.hasDtm) ++dtmFound;
    if (t.pieceCount > largest) largest = t.pieceCount;
    if (t.hasDtm && t.pieceCount > largestWithDtm) largestWithDtm = t.pieceCount;

    enterIntoHash(t.key, &t);
    if (!t.symmetric) enterIntoHash(mirrored, &t);
}

// Every name of up to seven pieces, each combination once: within a side the
// letters never rise in the order Q R B N P, and with as many pieces on both
// sides the second side is not the stronger.
void registerAllNames() {
    const char L[] = "QRBNP";
    char name[16];
    for (int i = 0; i < 5; ++i) {
        std::snprintf(name, sizeof name, "K%cvK", L[i]);
        registerTable(name);
    }
    for (int i = 0; i < 5; ++i)
        for (int j = i; j < 5; ++j) {
            std::snprintf(name, sizeof name, "K%cvK%c", L[i], L[j]);
            registerTable(name);
        }
    for (int i = 0; i < 5; ++i)
        for (int j = i; j < 5; ++j) {
            std::snprintf(name, sizeof name, "K%c%cvK", L[i], L[j]);
            registerTable(name);
        }
    for (int i = 0; i < 5; ++i)
        for (int j = i; j < 5; ++j)
            for (int k = 0; k < 5; ++k) {
                std::snprintf(name, sizeof name, "K%c%cvK%c", L[i], L[j], L[k]);
                registerTable(name);
            }
    for (int i = 0; i < 5; ++i)
        for (int j = i; j < 5; ++j)
            for (int k = j; k < 5; ++k) {
                std::snprintf(name, sizeof name, "K%c%c%cvK", L[i], L[j], L[k]);
                registerTable(name);
            }
    for (int i = 0; i < 5; ++i)
        for (int j = i; j < 5; ++j)
            for (int k = i; k < 5; ++k)
                for (int l = (i == k) ? j : k; l < 5; ++l) {
                    std::snprintf(name, sizeof name, "K%c%cvK%c%c", L[i], L[j], L[k], L[l]);
                    registerTable(name);
                }
    for (int i = 0; i < 5; ++i)
        for (int j = i; j < 5; ++j)
            for (int k = j; k < 5; ++k)
                for (int l = 0; l < 5; ++l) {
                    std::snprintf(name, sizeof name, "K%c%c%cvK%c", L[i], L[j], L[k], L[l]);
                    registerTable(name);
                }
    for (int i = 0; i < 5; ++i)
        for (int j = i; j < 5; ++j)
            for (int k = j; k < 5; ++k)
                for (int l = k; l < 5; ++l) {
                    std::snprintf(name, sizeof name, "K%c%c%c%cvK", L[i], L[j], L[k], L[l]);
                    registerTable(name);
                }
    for (int i = 0; i < 5; ++i)
        for (int j = i; j < 5; ++j)
            for (int k = j; k < 5; ++k)
                for (int l = k; l < 5; ++l)
                    for (int m = l; m < 5; ++m) {
                        std::snprintf(name, sizeof name, "K%c%c%c%c%cvK", L[i], L[j], L[k], L[l], L[m]);
                        registerTable(name);
                    }
    for (int i = 0; i < 5; ++i)
        for (int j = i; j < 5; ++j)
            for (int k = j; k < 5; ++k)
                for (int l = k; l < 5; ++l)
                    for (int m = 0; m < 5; ++m) {
                        std::snprintf(name, sizeof name, "K%c%c%c%cvK%c", L[i], L[j], L[k], L[l], L[m]);
                        registerTable(name);
                    }
    for (int i = 0; i < 5; ++i)
        for (int j = i; j < 5; ++j)
            for (int k = j; k < 5; ++k)
                for (int l = 0; l < 5; ++l)
                    for (int m = l; m < 5; ++m) {
                        std::snprintf(name, sizeof name, "K%c%c%cvK%c%c", L[i], L[j], L[k], L[l], L[m]);
                        registerTable(name);
                    }
}

void unregisterAll() {
    clearTableDirectories();
    for (int pass = 0; pass < 2; ++pass) {
        TbTable* tables = pass ? pawnTables : pieceTables;
        int count = pass ? pawnTableCount : pieceTableCount;
        for (int i = 0; i < count; ++i)
            for (TbMapping& m : tables[i].file) {
                unmapTableFile(m);
                m.ready.store(false, std::memory_order_relaxed);
                m.failed.store(false, std::memory_order_relaxed);
            }
    }
    pieceTableCount = pawnTableCount = 0;
    tablesFound = dtzFound = dtmFound = 0;
    largest = largestWithDtm = 0;
    std::memset(hashSlots, 0, sizeof hashSlots);
}

}  // namespace

uint64_t materialKey(const int counts[2][7]) {
    uint64_t key = 0;
    for (int c = 0; c < 2; ++c)
        for (int k = 1; k <= 5; ++k) key += uint64_t(counts[c][k]) * MATERIAL_PRIMES[c][k];
    return key;
}

uint64_t materialKeyOfName(const char* name, bool mirrored) {
    int counts[2][7];
    countPieces(name, counts);
    if (mirrored)
        for (int k = 0; k < 7; ++k) std::swap(counts[0][k], counts[1][k]);
    return materialKey(counts);
}

bool initTablebases(const std::string& path) {
    if (!indexTablesBuilt) {
        initIndexTables();
        indexTablesBuilt = true;
    }
    unregisterAll();
    if (path.empty() || path == "<empty>") return true;
    setTableDirectories(path);

    if (!pieceTables) pieceTables = new (std::nothrow) TbTable[PIECE_TABLE_SLOTS];
    if (!pawnTables) pawnTables = new (std::nothrow) TbTable[PAWN_TABLE_SLOTS];
    if (!pieceTables || !pawnTables) {
        std::fprintf(stderr, "Out of memory.\n");
        std::exit(1);
    }
    std::memset(hashSlots, 0, sizeof hashSlots);
    registerAllNames();
    return true;
}

int largestTablebase() { return largest > largestWithDtm ? largest : largestWithDtm; }

TbTable* lookup(uint64_t key) {
    for (int slot = int(key >> 52);; slot = (slot + 1) & (TB_HASH_SLOTS - 1)) {
        const HashSlot& s = hashSlots[slot];
        if (!s.table) return nullptr;
        if (s.key == key) return s.table;
    }
}

bool mapTable(TbTable& table, TbType type) {
    TbMapping& m = table.file[type];
    if (m.ready.load(std::memory_order_acquire)) return true;
    if (m.failed.load(std::memory_order_acquire)) return false;
    std::lock_guard<std::mutex> lock(mappingMutex);
    if (m.ready.load(std::memory_order_relaxed)) return true;
    if (m.failed.load(std::memory_order_relaxed)) return false;
    if (type == TB_DTZ && !table.hasDtz) return false;
    if (type == TB_DTM && !table.hasDtm) return false;

    if (!mapTableFile(table.name, EXTENSION[type], m)) {
        m.failed.store(true, std::memory_order_release);
        return false;
    }
    uint32_t magic = m.size >= 4 ? uint32_t(m.view[0]) | uint32_t(m.view[1]) << 8 | uint32_t(m.view[2]) << 16
                                       | uint32_t(m.view[3]) << 24
                                 : 0;
    bool ok = magic == MAGIC[type];
    if (ok && type != TB_DTM) {
        TbShape shape{table.pieceCount, table.hasPawns, {table.pawnCount[0], table.pawnCount[1]}, table.twoKings};
        ok = m.size >= 16
             && (type == TB_WDL ? readWdlHeader(table.wdl, m.view, m.size, shape)
                                : readDtzHeader(table.dtz, m.view, m.size, shape));
    }
    if (!ok) {
        std::fprintf(stderr, "Corrupted table.\n");
        unmapTableFile(m);
        m.failed.store(true, std::memory_order_release);
        return false;
    }
    m.ready.store(true, std::memory_order_release);
    return true;
}

int registeredTableCount() { return tablesFound; }
int registeredDtzCount() { return dtzFound; }
int registeredDtmCount() { return dtmFound; }

int hashEntriesFor(const TbTable* table) {
    int n = 0;
    for (const HashSlot& s : hashSlots) n += s.table == table;
    return n;
}
