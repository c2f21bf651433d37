// Reading the Syzygy table format: the headers after the magic number, the
// position index of a table and the decompression of one stored value.
#pragma once

#include <cstdint>
#include <vector>

// One compressed sub-table: the values of one side to move (and, with pawns,
// one file of the leading pawn), stored as Huffman-coded symbols in blocks.
struct PairsData {
    const uint8_t* indexTable;  // 6 bytes per entry: first block (le32), offset in it (le16)
    const uint8_t* sizeTable;   // le16 per block: number of values in it minus one
    const uint8_t* blocks;
    const uint8_t* symbolPatterns;       // 3 bytes per symbol: two 12-bit halves or a value
    const uint8_t* lengthOffsets;        // le16 per code length, from the shortest
    std::vector<uint64_t> base;          // smallest left-aligned code of each length
    std::vector<uint16_t> symbolLength;  // values a symbol expands to, minus one
    uint8_t blockBits;
    uint8_t indexBits;
    uint8_t minLength;
    uint8_t flags;  // first header byte; for DTZ: side, maps, plies or moves
    bool constant;  // every position has the same value
    uint8_t constantValue;
};

// How the positions of one side (and pawn file) are numbered.
struct TbSideData {
    uint8_t pieces[8];     // order of the pieces: kind in bits 0-2, bit 3 for Black
    uint8_t groupSize[8];  // at the start of each group: how many pieces it holds
    uint64_t factor[8];    // weight of each group in the index
    uint64_t size;         // number of indices
    PairsData pairs;
};

struct TbTableData {
    TbSideData side[4][2];  // [file of the leading pawn][side]; pawnless tables use file 0
    int sides;              // 2 when both sides to move are stored
    const uint8_t* map;     // DTZ only: value maps, found from mapOffset
    uint32_t mapOffset[4][4];
    bool wideMap[4];  // 16-bit map entries
};

// What the registry knows of a table before reading its file.
struct TbShape {
    int pieceCount;
    bool hasPawns;
    int pawnCount[2];  // leading colour, other colour
    bool twoKings;
};

// Builds the index tables; called once before any table is read.
void initIndexTables();

// Reads the header of a mapped WDL or DTZ file into `out`; false when the
// layout does not fit the file.
bool readWdlHeader(TbTableData& out, const uint8_t* file, uint64_t size, const TbShape& shape);
bool readDtzHeader(TbTableData& out, const uint8_t* file, uint64_t size, const TbShape& shape);

// The stored value at an index (a WDL value plus 2, or a DTZ map entry).
int decompressValue(const PairsData& d, uint64_t index);

// The index of the pieces on squares sq[0..n) given in the order of
// side.pieces. The squares are transformed in place.
uint64_t pawnlessIndex(const TbSideData& side, int* sq, int n, bool twoKings);
uint64_t pawnIndex(const TbSideData& side, int* sq, int n, const int pawnCount[2]);

// Moves the leading pawn that numbers the table to sq[0] and returns its
// file folded onto a-d (0..3).
int leadingPawnFile(int* sq, int leadCount);
