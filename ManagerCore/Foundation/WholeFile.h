#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

// Files that other programs may read at any time: written whole or not at all. Nothing here throws. Any thread.
namespace ManagerCore::WholeFile
{

// Puts `bytes` under `file` whole or not at all, in place of what stood there, durable before it shows. Written beside
// it under a hidden name of its own (`.NAME.new`), which a killed writer may leave behind and the next one takes over;
// two writers of one file at a time are the caller's to keep apart. Absent on success, else one sentence why not.
std::optional<std::string> write(const std::filesystem::path& file, std::string_view bytes, mode_t mode);

// Creates `file`, durable. Whatever exists there, a dangling link included, stays and is an error. Absent on success,
// else one sentence why not, and no file is left; a killed writer leaves the beginning of one.
std::optional<std::string> writeNew(const std::filesystem::path& file, std::string_view bytes, mode_t mode);

// Creates the folder and those above it, each with `mode`. Absent on success, else one sentence why not.
std::optional<std::string> makeFolders(const std::filesystem::path& folder, mode_t mode);

// Where `write` writes before it renames.
std::filesystem::path besideName(const std::filesystem::path& file);

} // namespace ManagerCore::WholeFile
