#include "LinuxTools/Ditto/TreeCopy.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

#include "LinuxTools/Ditto/Attributes.h"
#include "LinuxTools/Ditto/Interruption.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Platform/Platform.h"

namespace LinuxTools
{

namespace
{

using EntryCopy::Outcome;
using EntryCopy::Trouble;

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

bool isSame(const struct stat& left, const struct stat& right)
{
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

Outcome trouble(Trouble kind, int error) { return {.trouble = kind, .error = error, .attributesUnsupported = false}; }

// Component by component: the whole path may be longer than the system takes at once.
Descriptor openBelow(int root, std::string_view relative)
{
    Descriptor folder(::openat(root, ".", folderFlags));
    for (const std::string_view name : ManagerCore::Text::pieces(relative, '/')) {
        if (folder.isOpen()) {
            folder = Descriptor(::openat(folder.get(), std::string(name).c_str(), folderFlags));
        }
    }
    return folder;
}

} // namespace

TreeCopy::TreeCopy(std::filesystem::path source, std::filesystem::path destination, Report& report)
    : source_(std::move(source))
    , destination_(std::move(destination))
    , report_(report)
{
}

void TreeCopy::copy(Descriptor source, Descriptor destination, bool made)
{
    ::fstat(destination.get(), &destinationRoot_);
    Level root;
    root.source = std::move(source);
    root.destination = std::move(destination);
    root.made = made;
    enter(std::move(root));
    while (!levels_.empty()) {
        Level& level = levels_.back();
        if (ended_ || level.next == level.names.size()) {
            leave();
            continue;
        }
        const std::string name = level.names[level.next++];
        if (Interruption::requested()) {
            take(trouble(Trouble::interrupted, 0), name);
        } else {
            copyEntry(name);
        }
    }
}

void TreeCopy::enter(Level level)
{
    ::fstat(level.source.get(), &level.from);
    const auto collect
        = [&level](std::string_view name, ManagerCore::Platform::FileKind /*kind*/) { level.names.emplace_back(name); };
    const bool complete = ManagerCore::Platform::readFolder(level.source.get(), collect);
    const int error = errno;
    std::ranges::sort(level.names);
    levels_.push_back(std::move(level));
    if (!complete) {
        take(trouble(Trouble::reading, error), {});
    }
}

// The folder's own attributes come last: filling it changes its time, and it may not be writable.
void TreeCopy::leave()
{
    const Level& level = levels_.back();
    if (level.made) {
        const auto kept = Attributes::keep(level.source.get(), level.destination.get(), level.from);
        take({.trouble = kept.error != 0 ? Trouble::attributes : Trouble::none,
              .error = kept.error,
              .attributesUnsupported = kept.unsupported},
             {});
    }
    levels_.pop_back();
}

void TreeCopy::copyEntry(const std::string& name)
{
    struct stat from {};
    if (::fstatat(levels_.back().source.get(), name.c_str(), &from, AT_SYMLINK_NOFOLLOW) != 0) {
        take(trouble(Trouble::reading, errno), name);
    } else if (S_ISDIR(from.st_mode)) {
        copyFolder(name);
    } else {
        copyOther(name, from);
    }
}

void TreeCopy::copyFolder(const std::string& name)
{
    Level level;
    level.name = name;
    level.source = Descriptor(::openat(levels_.back().source.get(), name.c_str(), folderFlags));
    if (!level.source.isOpen()) {
        take(trouble(Trouble::reading, errno), name);
        return;
    }
    const int above = levels_.back().destination.get();
    level.made = ::mkdirat(above, name.c_str(), S_IRWXU) == 0;
    const int error = errno;
    level.destination = Descriptor(::openat(above, name.c_str(), folderFlags));
    if (!level.destination.isOpen()) {
        // A link is in the way like a file: what it leads to lies outside of the destination.
        const int reason = errno == ENOTDIR || errno == ELOOP ? EEXIST : (level.made ? errno : error);
        take(trouble(Trouble::saving, reason), name);
        return;
    }
    struct stat source {};
    struct stat destination {};
    ::fstat(level.source.get(), &source);
    ::fstat(level.destination.get(), &destination);
    if (isSame(source, destinationRoot_) || isSame(source, destination) || isSourceOnTheWay(destination)) {
        report_.add("The folder “" + name + "” couldn’t be copied because it would be copied into itself.");
        return;
    }
    enter(std::move(level));
}

bool TreeCopy::isSourceOnTheWay(const struct stat& folder) const
{
    return std::ranges::any_of(levels_, [&folder](const Level& level) { return isSame(level.from, folder); });
}

void TreeCopy::copyOther(const std::string& name, const struct stat& from)
{
    const Level& level = levels_.back();
    struct stat there {};
    const bool exists = ::fstatat(level.destination.get(), name.c_str(), &there, AT_SYMLINK_NOFOLLOW) == 0;
    if (exists && isSame(from, there)) {
        return; // another name of the source's own file
    }
    if (from.st_nlink > 1 && linkToFirst(name, from)) {
        return;
    }
    const Outcome outcome = EntryCopy::copy(
        {.folder = level.source.get(), .name = name}, {.folder = level.destination.get(), .name = name}, from);
    if (from.st_nlink > 1 && outcome.isCopied()) {
        rememberFirst(name, from);
    }
    take(outcome, name);
}

// False when there is no first copy, or none that a name can be added to.
bool TreeCopy::linkToFirst(const std::string& name, const struct stat& from)
{
    const auto found = firstCopies_.find({from.st_dev, from.st_ino});
    if (found == firstCopies_.end()) {
        return false;
    }
    const FirstCopy& first = found->second;
    const Descriptor folder = openBelow(levels_.front().destination.get(), first.folder);
    struct stat there {};
    if (!folder.isOpen() || ::fstatat(folder.get(), first.name.c_str(), &there, AT_SYMLINK_NOFOLLOW) != 0
        || !isSame(there, first.made)) {
        return false;
    }
    const Outcome outcome = EntryCopy::link({.folder = folder.get(), .name = first.name},
                                            {.folder = levels_.back().destination.get(), .name = name});
    if (outcome.error == EMLINK || outcome.error == EPERM || outcome.error == EXDEV || outcome.error == ENOTSUP) {
        return false;
    }
    take(outcome, name);
    return true;
}

void TreeCopy::rememberFirst(const std::string& name, const struct stat& from)
{
    FirstCopy first {.folder = relativeFolder(), .name = name, .made = {}};
    if (::fstatat(levels_.back().destination.get(), name.c_str(), &first.made, AT_SYMLINK_NOFOLLOW) == 0) {
        firstCopies_.insert_or_assign({from.st_dev, from.st_ino}, std::move(first));
    }
}

std::string TreeCopy::relativeFolder() const
{
    std::string relative;
    for (const Level& level : levels_) {
        relative += relative.empty() ? level.name : "/" + level.name;
    }
    return relative;
}

void TreeCopy::take(const Outcome& outcome, const std::string& name)
{
    if (outcome.trouble == Trouble::none && !outcome.attributesUnsupported) {
        return;
    }
    const auto inTree = [&](const std::filesystem::path& root) {
        const std::filesystem::path folder = root / relativeFolder();
        const std::filesystem::path path = name.empty() ? folder : folder / name;
        return path.has_filename() ? std::filesystem::path(path) : path.parent_path();
    };
    ended_ = !report_.take(outcome, inTree(source_), inTree(destination_)) || ended_;
}

} // namespace LinuxTools
