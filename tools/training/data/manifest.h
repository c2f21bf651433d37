// The data folder's manifest: one line per file kept there (training data,
// held-out data, networks), saying how many positions it holds and which
// network and engine commit made it, so that a round can be traced and re-made
// after the folder has been thinned out.
//
// The file is tab-separated text with a header line:
//   file  kind  positions  network  commit  date  command
// `file` is relative to the data folder; `kind` is "data", "validation" or "net".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct ManifestEntry {
    std::string file;
    std::string kind;
    uint64_t positions = 0;
    std::string network;  // the network that played the games, or the one a net was trained from
    std::string commit;   // engine commit of the programs that made the file
    std::string date;     // UTC, ISO 8601
    std::string command;  // how the file was made
};

constexpr const char* MANIFEST_NAME = "manifest.tsv";

std::string manifestLine(const ManifestEntry& e);
// False with a reason for a line that has not seven fields or a bad count.
bool parseManifestLine(const std::string& line, ManifestEntry& e, std::string* error = nullptr);

// A missing manifest is an empty one; false with a reason for an unreadable or damaged file.
bool readManifest(const std::string& path, std::vector<ManifestEntry>& entries, std::string* error = nullptr);
// Written to a temporary name and renamed, so an interrupted write keeps the old manifest.
bool writeManifest(const std::string& path, const std::vector<ManifestEntry>& entries);

// Adds the entry, or replaces the one for the same file (a file made again).
void putEntry(std::vector<ManifestEntry>& entries, const ManifestEntry& e);
