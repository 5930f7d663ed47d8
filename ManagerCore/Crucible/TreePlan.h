#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace ManagerCore
{

// What an item consists of before it is copied: its folders, each before what it holds, and everything else.
struct TreePlan {
    struct Folder {
        std::string path; // relative to the item, "/" between names, empty for the item itself
        struct stat facts {};
    };
    struct Entry {
        std::size_t folder = 0; // its index among the folders
        std::string name;
        struct stat facts {};
    };
    struct SecondName { // of a file that stands among the entries under its first
        Entry entry;
        std::size_t first = 0; // its index among the entries
    };

    std::vector<Folder> folders; // none when the item is no folder: then it is the only entry
    std::vector<Entry> entries;
    std::vector<SecondName> secondNames;
    std::int64_t bytes = 0; // of data to copy, holes left out

    // Reads the item `name` of the open folder `parent`. On failure one sentence why; `path` is what the item is called
    // in it. What cannot be read is a failure and never left out. Changes nothing.
    static std::expected<TreePlan, std::string>
    read(int parent, const std::string& name, const std::filesystem::path& path);
};

} // namespace ManagerCore
