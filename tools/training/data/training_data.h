// Training positions on disk: a 16-byte file header followed by fixed-size
// 28-byte records, all little-endian.
//
// Header: magic "QVTD", version (uint32), record count (uint64; the reader
// trusts the file size when the count was never patched in, e.g. after a crash).
// Record: occupancy bitboard (8 bytes); the piece codes of the occupied
// squares, lowest square first, two per byte with the low nibble first (16
// bytes, room for 32 pieces); the search score (int16, centipawns, side to
// move's view); the side to move (0 White, 1 Black); the game result from the
// side to move's view (0 loss, 1 draw, 2 win).
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "board/types.h"

constexpr char TRAINING_MAGIC[4] = {'Q', 'V', 'T', 'D'};
constexpr uint32_t TRAINING_VERSION = 1;
constexpr int TRAINING_HEADER_BYTES = 16;
constexpr int TRAINING_RECORD_BYTES = 28;
constexpr int MAX_RECORD_PIECES = 32;

enum GameResult : uint8_t { RESULT_LOSS = 0, RESULT_DRAW = 1, RESULT_WIN = 2 };

struct TrainingRecord {
    Bitboard occupancy = 0;
    uint8_t pieces[MAX_RECORD_PIECES / 2] = {};
    int16_t score = 0;
    uint8_t sideToMove = WHITE;
    uint8_t result = RESULT_DRAW;
};

inline bool operator==(const TrainingRecord& a, const TrainingRecord& b) {
    for (int i = 0; i < MAX_RECORD_PIECES / 2; ++i)
        if (a.pieces[i] != b.pieces[i]) return false;
    return a.occupancy == b.occupancy && a.score == b.score && a.sideToMove == b.sideToMove && a.result == b.result;
}

// Builds the placement part of a record from a mailbox of piece codes. More
// than 32 pieces cannot be stored: false then.
bool packPlacement(const uint8_t board[64], TrainingRecord& r);
// Piece code of the n-th occupied square (n counts from the lowest square).
inline int packedPiece(const TrainingRecord& r, int n) { return (r.pieces[n >> 1] >> ((n & 1) * 4)) & 15; }
void unpackPlacement(const TrainingRecord& r, uint8_t board[64]);

// A game's result for White turned to the view of the side to move.
inline GameResult moverResult(GameResult whiteResult, int sideToMove) {
    return sideToMove == WHITE ? whiteResult : GameResult(RESULT_WIN - whiteResult);
}

// The result as a training target in 0..1 (loss, draw, win = 0, 0.5, 1).
inline float resultValue(const TrainingRecord& r) { return r.result * 0.5f; }

void encodeRecord(const TrainingRecord& r, uint8_t out[TRAINING_RECORD_BYTES]);
TrainingRecord decodeRecord(const uint8_t in[TRAINING_RECORD_BYTES]);

// Appends records to a new file. closeWriter patches the count into the header.
struct DataWriter {
    std::FILE* file = nullptr;
    uint64_t count = 0;
    std::vector<uint8_t> buffer;
};
bool openWriter(DataWriter& w, const std::string& path);
void writeRecord(DataWriter& w, const TrainingRecord& r);
bool closeWriter(DataWriter& w);  // false when something failed to reach the disk

// Reads a file front to back in blocks, so files larger than memory can be streamed.
struct DataReader {
    std::FILE* file = nullptr;
    uint64_t count = 0;  // records in the file
    uint64_t done = 0;   // records handed out so far
    std::vector<uint8_t> buffer;
};
// False with a reason in *error for a missing file, a wrong magic or version.
bool openReader(DataReader& r, const std::string& path, std::string* error = nullptr);
// Appends up to maxRecords records to out; returns how many (0 at the end).
size_t readRecords(DataReader& r, std::vector<TrainingRecord>& out, size_t maxRecords);
void closeReader(DataReader& r);

// Whole-file helpers.
bool readAllRecords(const std::string& path, std::vector<TrainingRecord>& out, std::string* error = nullptr);
bool writeAllRecords(const std::string& path, const std::vector<TrainingRecord>& records);
