// nnue_manifest: keeps the data folder's manifest.
#include <chrono>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>

#include "manifest.h"
#include "training_data.h"

namespace {

int usage() {
    std::cerr << "usage:\n"
                 "  nnue_manifest add DIR FILE KIND [--network N] [--commit C] [--command TEXT]\n"
                 "      records FILE (relative to DIR) with its position count; KIND is data, validation or net\n"
                 "  nnue_manifest files DIR KIND   the files of that kind that are still there, one per line\n"
                 "  nnue_manifest summary DIR      every entry, whether its file is there, and the totals\n";
    return 2;
}

std::string utcNow() {
    std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
    return text;
}

bool load(const std::filesystem::path& dir, std::vector<ManifestEntry>& entries) {
    std::string error;
    if (readManifest((dir / MANIFEST_NAME).string(), entries, &error)) return true;
    std::cerr << error << "\n";
    return false;
}

int add(const std::filesystem::path& dir, int argc, char** argv) {
    if (argc < 5) return usage();
    ManifestEntry e;
    e.file = argv[3];
    e.kind = argv[4];
    if (e.kind != "data" && e.kind != "validation" && e.kind != "net") return usage();
    for (int i = 5; i + 1 < argc; i += 2) {
        std::string name = argv[i];
        if (name == "--network") e.network = argv[i + 1];
        else if (name == "--commit") e.commit = argv[i + 1];
        else if (name == "--command") e.command = argv[i + 1];
        else return usage();
    }
    if ((argc - 5) % 2) return usage();
    std::filesystem::path file = dir / e.file;
    if (!std::filesystem::exists(file)) {
        std::cerr << file.string() << " does not exist\n";
        return 1;
    }
    if (e.kind != "net") {
        DataReader reader;
        std::string error;
        if (!openReader(reader, file.string(), &error)) {
            std::cerr << error << "\n";
            return 1;
        }
        e.positions = reader.count;
        closeReader(reader);
    }
    e.date = utcNow();
    std::vector<ManifestEntry> entries;
    if (!load(dir, entries)) return 1;
    putEntry(entries, e);
    if (!writeManifest((dir / MANIFEST_NAME).string(), entries)) {
        std::cerr << "cannot write the manifest in " << dir.string() << "\n";
        return 1;
    }
    std::cout << e.file << ": " << e.positions << " positions\n";
    return 0;
}

int files(const std::filesystem::path& dir, const std::string& kind) {
    std::vector<ManifestEntry> entries;
    if (!load(dir, entries)) return 1;
    for (const ManifestEntry& e : entries)
        if (e.kind == kind && std::filesystem::exists(dir / e.file)) std::cout << (dir / e.file).string() << "\n";
    return 0;
}

int summary(const std::filesystem::path& dir) {
    std::vector<ManifestEntry> entries;
    if (!load(dir, entries)) return 1;
    std::map<std::string, uint64_t> present, gone;
    for (const ManifestEntry& e : entries) {
        bool there = std::filesystem::exists(dir / e.file);
        (there ? present : gone)[e.kind] += e.positions;
        std::cout << (there ? "  " : "- ") << e.file << "  " << e.kind << "  " << e.positions << " positions  network "
                  << e.network << "  commit " << e.commit << "  " << e.date << "\n";
    }
    for (const auto& [kind, count] : present) std::cout << kind << ": " << count << " positions present\n";
    for (const auto& [kind, count] : gone) std::cout << kind << ": " << count << " positions no longer present\n";
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) return usage();
    std::string command = argv[1];
    std::filesystem::path dir = argv[2];
    if (command == "add") return add(dir, argc, argv);
    if (command == "files" && argc == 4) return files(dir, argv[3]);
    if (command == "summary" && argc == 3) return summary(dir);
    return usage();
}
