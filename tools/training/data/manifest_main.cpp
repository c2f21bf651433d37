// nnue_manifest: keeps the data folder's manifest.
#include <chrono>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>

#include <CLI/CLI.hpp>

#include "command_line.h"
#include "manifest.h"
#include "training_data.h"

namespace {

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

int add(const std::filesystem::path& dir, ManifestEntry e) {
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

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Keeps the data folder's manifest.", "nnue_manifest"};
    prepareCommandLine(app);
    app.require_subcommand(1);
    std::string dir, kind;
    ManifestEntry entry;

    CLI::App* addApp = app.add_subcommand(
        "add", "records FILE (relative to DIR) with its position count; KIND is data, validation or net");
    addApp->add_option("DIR", dir, "the data folder")->required();
    addApp->add_option("FILE", entry.file, "the file, relative to DIR")->required();
    addApp->add_option("KIND", entry.kind, "data, validation or net")
        ->required()
        ->check(CLI::IsMember({"data", "validation", "net"}));
    addApp->add_option("--network", entry.network, "the network that made the file");
    addApp->add_option("--commit", entry.commit, "the engine's commit");
    addApp->add_option("--command", entry.command, "TEXT: the command that made it");

    CLI::App* filesApp = app.add_subcommand("files", "the files of that kind that are still there, one per line");
    filesApp->add_option("DIR", dir, "the data folder")->required();
    filesApp->add_option("KIND", kind, "data, validation or net")->required();

    CLI::App* summaryApp = app.add_subcommand("summary", "every entry, whether its file is there, and the totals");
    summaryApp->add_option("DIR", dir, "the data folder")->required();

    if (auto status = parseCommandLine(app, argc, argv)) return *status;
    if (*addApp) return add(dir, entry);
    if (*filesApp) return files(dir, kind);
    return summary(dir);
}
