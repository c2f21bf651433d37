#include "manifest.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace {

constexpr const char* HEADER = "file\tkind\tpositions\tnetwork\tcommit\tdate\tcommand";

// Fields are single-line and tab-free by construction.
std::string clean(std::string s) {
    std::replace_if(
        s.begin(), s.end(), [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
    return s;
}

bool fail(std::string* error, const std::string& why) {
    if (error) *error = why;
    return false;
}

}  // namespace

std::string manifestLine(const ManifestEntry& e) {
    return clean(e.file) + '\t' + clean(e.kind) + '\t' + std::to_string(e.positions) + '\t' + clean(e.network) + '\t'
           + clean(e.commit) + '\t' + clean(e.date) + '\t' + clean(e.command);
}

bool parseManifestLine(const std::string& line, ManifestEntry& e, std::string* error) {
    std::vector<std::string> fields;
    std::string field;
    std::istringstream in(line);
    while (std::getline(in, field, '\t')) fields.push_back(field);
    if (!line.empty() && line.back() == '\t') fields.emplace_back();
    if (fields.size() != 7) return fail(error, "expected 7 tab-separated fields: " + line);
    const std::string& count = fields[2];
    if (count.empty() || count.size() > 19 || !std::all_of(count.begin(), count.end(), ::isdigit))
        return fail(error, "bad position count '" + count + "'");
    if (fields[0].empty()) return fail(error, "no file name: " + line);
    e = ManifestEntry{fields[0], fields[1], std::stoull(count), fields[3], fields[4], fields[5], fields[6]};
    return true;
}

bool readManifest(const std::string& path, std::vector<ManifestEntry>& entries, std::string* error) {
    entries.clear();
    std::ifstream in(path);
    if (!in) return true;
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || (number == 1 && line == HEADER)) continue;
        ManifestEntry e;
        std::string why;
        if (!parseManifestLine(line, e, &why))
            return fail(error, path + " line " + std::to_string(number) + ": " + why);
        putEntry(entries, e);
    }
    return true;
}

bool writeManifest(const std::string& path, const std::vector<ManifestEntry>& entries) {
    std::string temporary = path + ".tmp";
    {
        std::ofstream out(temporary, std::ios::trunc);
        out << HEADER << '\n';
        for (const ManifestEntry& e : entries) out << manifestLine(e) << '\n';
        if (!out.flush()) return false;
    }
    return std::rename(temporary.c_str(), path.c_str()) == 0;
}

void putEntry(std::vector<ManifestEntry>& entries, const ManifestEntry& e) {
    for (ManifestEntry& old : entries)
        if (old.file == e.file) {
            old = e;
            return;
        }
    entries.push_back(e);
}
