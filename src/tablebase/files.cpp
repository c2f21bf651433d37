#include "tablebase/files.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "tablebase/registry.h"
#include "uci/output.h"

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#endif

namespace {

std::vector<std::string> directories;

#ifdef _WIN32
const char SEPARATOR = '\\';
#else
const char SEPARATOR = '/';
#endif

[[noreturn]] void failToMap(const std::string& name, const std::string& extension) {
    std::fprintf(stderr, "Could not map %s%s into memory.\n", name.c_str(), extension.c_str());
    std::exit(1);
}

bool fileSize(TbFile file, uint64_t* size) {
#ifdef _WIN32
    LARGE_INTEGER bytes;
    if (!GetFileSizeEx(file, &bytes)) return false;
    *size = uint64_t(bytes.QuadPart);
#else
    struct stat info;
    if (fstat(file, &info) != 0) return false;
    *size = uint64_t(info.st_size);
#endif
    return true;
}

}  // namespace

#ifdef _WIN32
const TbFile INVALID_TB_FILE = INVALID_HANDLE_VALUE;
#else
const TbFile INVALID_TB_FILE = -1;
#endif

void setTableDirectories(const std::string& path) {
    directories.clear();
    size_t start = 0;
    while (start <= path.size()) {
        size_t end = path.find(';', start);
        if (end == std::string::npos) end = path.size();
        if (end > start) directories.push_back(path.substr(start, end - start));
        start = end + 1;
    }
}

void clearTableDirectories() { directories.clear(); }

TbFile openTableFile(const std::string& name, const std::string& extension) {
    for (const std::string& dir : directories) {
        std::string full = dir + SEPARATOR + name + extension;
#ifdef _WIN32
        HANDLE file = CreateFileA(full.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
#else
        int file = open(full.c_str(), O_RDONLY | O_CLOEXEC);
#endif
        if (file != INVALID_TB_FILE) return file;
    }
    return INVALID_TB_FILE;
}

void closeTableFile(TbFile file) {
#ifdef _WIN32
    CloseHandle(file);
#else
    close(file);
#endif
}

bool tableFileIsUsable(const std::string& name, const std::string& extension) {
    TbFile file = openTableFile(name, extension);
    if (file == INVALID_TB_FILE) return false;
    uint64_t size = 0;
    bool ok = fileSize(file, &size) && size % 64 == 16;
    closeTableFile(file);
    if (!ok) {
        const char* bare = extension.c_str() + (extension[0] == '.' ? 1 : 0);
        std::fprintf(stderr, "Incomplete tablebase file %s.%s\n", name.c_str(), bare);
        sendLine("info string Incomplete tablebase file " + name + "." + bare);
    }
    return ok;
}

bool mapTableFile(const std::string& name, const std::string& extension, TbMapping& m) {
    TbFile file = openTableFile(name, extension);
    if (file == INVALID_TB_FILE) return false;
#ifdef _WIN32
    DWORD high = 0;
    DWORD low = GetFileSize(file, &high);
    HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READONLY, high, low, nullptr);
    if (!mapping) {
        std::fprintf(stderr, "CreateFileMapping() failed, error = %lu.\n", (unsigned long)GetLastError());
        failToMap(name, extension);
    }
    void* view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0);
    if (!view) {
        std::fprintf(stderr, "MapViewOfFile() failed, error = %lu.\n", (unsigned long)GetLastError());
        failToMap(name, extension);
    }
    CloseHandle(file);
    m.handle = mapping;
    m.view = static_cast<const uint8_t*>(view);
    m.size = (uint64_t(high) << 32) | low;
#else
    uint64_t size = 0;
    if (!fileSize(file, &size) || size == 0) {
        std::fprintf(stderr, "CreateFileMapping() failed, error = %lu.\n", (unsigned long)errno);
        failToMap(name, extension);
    }
    void* view = mmap(nullptr, size, PROT_READ, MAP_SHARED, file, 0);
    if (view == MAP_FAILED) {
        std::fprintf(stderr, "MapViewOfFile() failed, error = %lu.\n", (unsigned long)errno);
        failToMap(name, extension);
    }
    madvise(view, size, MADV_RANDOM);
    if (close(file) != 0) std::fprintf(stderr, "CloseHandle failed, error code %lu\n", (unsigned long)errno);
    m.handle = nullptr;
    m.view = static_cast<const uint8_t*>(view);
    m.size = size;
#endif
    return true;
}

void unmapTableFile(TbMapping& m) {
    if (!m.view) return;
#ifdef _WIN32
    if (!UnmapViewOfFile(m.view)) std::fprintf(stderr, "unmap failed, error code %lu\n", (unsigned long)GetLastError());
    if (!CloseHandle(m.handle))
        std::fprintf(stderr, "CloseHandle failed, error code %lu\n", (unsigned long)GetLastError());
#else
    if (munmap(const_cast<uint8_t*>(m.view), m.size) != 0)
        std::fprintf(stderr, "unmap failed, error code %lu\n", (unsigned long)errno);
#endif
    m.view = nullptr;
    m.handle = nullptr;
    m.size = 0;
}
