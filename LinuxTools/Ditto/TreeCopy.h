#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

#include "LinuxTools/Ditto/EntryCopy.h"
#include "LinuxTools/Ditto/Report.h"
#include "LinuxTools/Shared/Descriptor.h"

namespace LinuxTools
{

// Copies what a folder holds into another, merging with what is there. Goes on after an item that cannot be copied;
// ends early, leaving what is complete, when the volume is full or the user wants it to end. Holds two descriptors for
// each level of folders it is in.
class TreeCopy
{
public:
    // `source` and `destination` are how the two folders are called in sentences.
    TreeCopy(std::filesystem::path source, std::filesystem::path destination, Report& report);

    // `made` tells that the destination is new and takes over the source folder's attributes.
    void copy(Descriptor source, Descriptor destination, bool made);

private:
    struct Level {
        Descriptor source;
        Descriptor destination;
        struct stat from {};
        bool made = false;
        std::string name;
        std::vector<std::string> names;
        std::size_t next = 0;
    };
    struct FirstCopy {
        std::string folder; // relative to the destination
        std::string name;
        struct stat made {};
    };
    using FileIdentity = std::pair<dev_t, ino_t>;

    void enter(Level level);
    void leave();
    void copyEntry(const std::string& name);
    void copyFolder(const std::string& name);
    void copyOther(const std::string& name, const struct stat& from);
    bool linkToFirst(const std::string& name, const struct stat& from);
    void rememberFirst(const std::string& name, const struct stat& from);
    [[nodiscard]] bool isSourceOnTheWay(const struct stat& folder) const;
    [[nodiscard]] std::string relativeFolder() const;
    void take(const EntryCopy::Outcome& outcome, const std::string& name);

    std::filesystem::path source_;
    std::filesystem::path destination_;
    Report& report_;
    std::vector<Level> levels_;
    std::map<FileIdentity, FirstCopy> firstCopies_;
    struct stat destinationRoot_ {};
    bool ended_ = false;
};

} // namespace LinuxTools
