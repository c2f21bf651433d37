#include "training_data.h"

#include <algorithm>
#include <cstring>

namespace {

void put16(uint8_t* p, uint16_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
}
void put32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = uint8_t(v >> (8 * i));
}
void put64(uint8_t* p, uint64_t v) {
    for (int i = 0; i < 8; ++i) p[i] = uint8_t(v >> (8 * i));
}
uint16_t get16(const uint8_t* p) { return uint16_t(p[0] | p[1] << 8); }
uint32_t get32(const uint8_t* p) {
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i) v = v << 8 | p[i];
    return v;
}
uint64_t get64(const uint8_t* p) {
    uint64_t v = 0;
    for (int i = 7; i >= 0; --i) v = v << 8 | p[i];
    return v;
}

void encodeHeader(uint8_t out[TRAINING_HEADER_BYTES], uint64_t count) {
    std::memcpy(out, TRAINING_MAGIC, 4);
    put32(out + 4, TRAINING_VERSION);
    put64(out + 8, count);
}

constexpr size_t BLOCK_RECORDS = 4096;

bool setError(std::string* error, const std::string& why) {
    if (error) *error = why;
    return false;
}

}  // namespace

bool packPlacement(const uint8_t board[64], TrainingRecord& r) {
    r.occupancy = 0;
    std::memset(r.pieces, 0, sizeof r.pieces);
    int n = 0;
    for (int sq = 0; sq < 64; ++sq) {
        if (!board[sq]) continue;
        if (n == MAX_RECORD_PIECES) return false;
        r.occupancy |= bit(sq);
        r.pieces[n >> 1] |= uint8_t((board[sq] & 15) << ((n & 1) * 4));
        ++n;
    }
    return true;
}

void unpackPlacement(const TrainingRecord& r, uint8_t board[64]) {
    std::memset(board, 0, 64);
    Bitboard occ = r.occupancy;
    for (int n = 0; occ; ++n) board[popLsb(occ)] = uint8_t(packedPiece(r, n));
}

void encodeRecord(const TrainingRecord& r, uint8_t out[TRAINING_RECORD_BYTES]) {
    put64(out, r.occupancy);
    std::memcpy(out + 8, r.pieces, 16);
    put16(out + 24, uint16_t(r.score));
    out[26] = r.sideToMove;
    out[27] = r.result;
}

TrainingRecord decodeRecord(const uint8_t in[TRAINING_RECORD_BYTES]) {
    TrainingRecord r;
    r.occupancy = get64(in);
    std::memcpy(r.pieces, in + 8, 16);
    r.score = int16_t(get16(in + 24));
    r.sideToMove = in[26];
    r.result = in[27];
    return r;
}

bool openWriter(DataWriter& w, const std::string& path) {
    w.file = std::fopen(path.c_str(), "wb");
    w.count = 0;
    w.buffer.clear();
    if (!w.file) return false;
    uint8_t header[TRAINING_HEADER_BYTES];
    encodeHeader(header, 0);
    return std::fwrite(header, 1, sizeof header, w.file) == sizeof header;
}

void writeRecord(DataWriter& w, const TrainingRecord& r) {
    size_t at = w.buffer.size();
    w.buffer.resize(at + TRAINING_RECORD_BYTES);
    encodeRecord(r, w.buffer.data() + at);
    ++w.count;
    if (w.buffer.size() >= BLOCK_RECORDS * TRAINING_RECORD_BYTES) {
        std::fwrite(w.buffer.data(), 1, w.buffer.size(), w.file);
        w.buffer.clear();
    }
}

bool closeWriter(DataWriter& w) {
    if (!w.file) return false;
    bool ok = std::fwrite(w.buffer.data(), 1, w.buffer.size(), w.file) == w.buffer.size();
    w.buffer.clear();
    uint8_t header[TRAINING_HEADER_BYTES];
    encodeHeader(header, w.count);
    ok = ok && std::fseek(w.file, 0, SEEK_SET) == 0 && std::fwrite(header, 1, sizeof header, w.file) == sizeof header;
    ok = std::fclose(w.file) == 0 && ok;
    w.file = nullptr;
    return ok;
}

bool openReader(DataReader& r, const std::string& path, std::string* error) {
    r = DataReader{};
    r.file = std::fopen(path.c_str(), "rb");
    if (!r.file) return setError(error, "cannot open " + path);
    uint8_t header[TRAINING_HEADER_BYTES];
    if (std::fread(header, 1, sizeof header, r.file) != sizeof header || std::memcmp(header, TRAINING_MAGIC, 4) != 0) {
        closeReader(r);
        return setError(error, path + " is not a training data file");
    }
    if (get32(header + 4) != TRAINING_VERSION) {
        closeReader(r);
        return setError(error, path + " has an unknown training data version");
    }
    std::fseek(r.file, 0, SEEK_END);
    long size = std::ftell(r.file);
    std::fseek(r.file, TRAINING_HEADER_BYTES, SEEK_SET);
    uint64_t available = uint64_t(size - TRAINING_HEADER_BYTES) / TRAINING_RECORD_BYTES;
    uint64_t stated = get64(header + 8);
    r.count = stated && stated <= available ? stated : available;
    return true;
}

size_t readRecords(DataReader& r, std::vector<TrainingRecord>& out, size_t maxRecords) {
    if (!r.file) return 0;
    size_t wanted = size_t(std::min<uint64_t>(maxRecords, r.count - r.done));
    size_t got = 0;
    while (got < wanted) {
        size_t block = std::min(wanted - got, BLOCK_RECORDS);
        r.buffer.resize(block * TRAINING_RECORD_BYTES);
        size_t read = std::fread(r.buffer.data(), TRAINING_RECORD_BYTES, block, r.file);
        for (size_t i = 0; i < read; ++i) out.push_back(decodeRecord(r.buffer.data() + i * TRAINING_RECORD_BYTES));
        got += read;
        if (read < block) break;
    }
    r.done += got;
    return got;
}

void closeReader(DataReader& r) {
    if (r.file) std::fclose(r.file);
    r.file = nullptr;
}

bool readAllRecords(const std::string& path, std::vector<TrainingRecord>& out, std::string* error) {
    DataReader reader;
    if (!openReader(reader, path, error)) return false;
    out.reserve(out.size() + reader.count);
    while (readRecords(reader, out, size_t(1) << 20)) {}
    bool complete = reader.done == reader.count;
    closeReader(reader);
    return complete || setError(error, path + " ended early");
}

bool writeAllRecords(const std::string& path, const std::vector<TrainingRecord>& records) {
    DataWriter writer;
    if (!openWriter(writer, path)) return false;
    for (const TrainingRecord& r : records) writeRecord(writer, r);
    return closeWriter(writer);
}
