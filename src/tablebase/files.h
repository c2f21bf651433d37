// Table files: the directory list, opening, size checks and read-only mapping
// with the operating system's own calls.
#pragma once

#include <cstdint>
#include <string>

struct TbMapping;

#ifdef _WIN32
using TbFile = void*;  // a HANDLE
#else
using TbFile = int;  // a file descriptor
#endif
extern const TbFile INVALID_TB_FILE;

// Replaces the directory list with the ';'-separated directories of `path`
// (empty pieces are skipped).
void setTableDirectories(const std::string& path);
void clearTableDirectories();

// Opens directory + separator + name + extension for reading, trying the
// directories in order; INVALID_TB_FILE when none has the file.
TbFile openTableFile(const std::string& name, const std::string& extension);
void closeTableFile(TbFile file);

// Whether the file of a table exists and has a plausible size (16 more than a
// multiple of 64 bytes). A file of the wrong size is reported as incomplete.
bool tableFileIsUsable(const std::string& name, const std::string& extension);

// Maps the whole file read-only into `m`. A failure of the system calls is
// reported and ends the process; false only when the file cannot be opened.
bool mapTableFile(const std::string& name, const std::string& extension, TbMapping& m);
void unmapTableFile(TbMapping& m);
