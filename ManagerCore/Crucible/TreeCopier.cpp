#include "ManagerCore/Crucible/TreeCopier.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "ManagerCore/Crucible/FileCopier.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Parallel.h"
#include "ManagerCore/Foundation/TreeWalk.h"
#include "ManagerCore/Platform/Copying.h"
#include "ManagerCore/Platform/ErrorText.h"
#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore
{

namespace
{

namespace fs = std::filesystem;
namespace Copying = Platform::Copying;
namespace ErrorText = Platform::ErrorText;

constexpr unsigned filesAtOnce = 2;
constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

bool isSame(const struct stat& left, const struct stat& right)
{
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

OpenDescriptor openFolder(const fs::path& path) { return OpenDescriptor(::open(path.c_str(), folderFlags)); }

// The folder, or the nearest one above it that exists.
OpenDescriptor openNearest(fs::path path)
{
    OpenDescriptor folder = openFolder(path);
    while (!folder.isOpen() && (errno == ENOENT || errno == ENOTDIR) && path != path.parent_path()) {
        path = path.parent_path();
        folder = openFolder(path);
    }
    return folder;
}

// Whether the folder is the one with these facts or lies in it.
bool liesIn(const OpenDescriptor& folder, const struct stat& outer)
{
    struct stat here {};
    OpenDescriptor current(::openat(folder.get(), ".", folderFlags));
    while (current.isOpen() && ::fstat(current.get(), &here) == 0) {
        if (isSame(here, outer)) {
            return true;
        }
        struct stat above {};
        OpenDescriptor next(::openat(current.get(), "..", folderFlags));
        if (!next.isOpen() || ::fstat(next.get(), &above) != 0 || isSame(above, here)) {
            return false;
        }
        current = std::move(next);
    }
    return false;
}

// Not to wait should a named pipe have taken the file's place.
OpenDescriptor openFile(int folder, const std::string& name)
{
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    return OpenDescriptor(::openat(folder, name.c_str(), flags));
}

std::string changedSentence(const fs::path& path)
{
    return "The file “" + FilePath::lastComponent(path) + "” was changed while it was copied.";
}

// The mode that the copy may have: set-user and set-group bits belong to their owner.
mode_t modeFor(const struct stat& from, const struct stat& made)
{
    mode_t mode = from.st_mode & 07777U;
    if (made.st_uid != from.st_uid) {
        mode &= ~static_cast<mode_t>(S_ISUID);
    }
    if (made.st_gid != from.st_gid) {
        mode &= ~static_cast<mode_t>(S_ISGID);
    }
    return mode;
}

// Volumes without owners or modes of their own refuse to change them; contents are what counts there.
bool isRefusedByVolume(int error) { return error == EPERM || error == ENOTSUP; }

// Owner, mode and times of an open copy. 0 or an errno.
int keepFacts(int copy, const struct stat& from)
{
    if (::fchown(copy, from.st_uid, from.st_gid) != 0 && ::fchown(copy, static_cast<uid_t>(-1), from.st_gid) != 0) {
        // The user's own then.
    }
    struct stat made {};
    if (::fstat(copy, &made) != 0) {
        return errno;
    }
    if (::fchmod(copy, modeFor(from, made)) != 0 && !isRefusedByVolume(errno)) {
        return errno;
    }
    const auto times = Copying::timesOf(from);
    return ::futimens(copy, times.data()) != 0 && !isRefusedByVolume(errno) ? errno : 0;
}

} // namespace

// One copy under way: what its threads share.
class TreeCopier::Work
{
public:
    Work(const TreeCopier& copier, Watcher* watcher)
        : copier_(copier)
        , plan_(copier.plan_)
        , watcher_(watcher)
        , destinationName_(FilePath::lastComponent(copier.destination_))
    {
    }

    std::optional<std::string> run(struct stat& made)
    {
        destinationParent_ = openFolder(copier_.destination_.parent_path());
        if (!destinationParent_.isOpen()) {
            return ErrorText::saving(errno, copier_.destination_);
        }
        makeFolders();
        copyEntries();
        addSecondNames();
        dressFolders();
        flush();
        if (error_) {
            return error_;
        }
        if (::fstatat(destinationParent_.get(), destinationName_.c_str(), &made, AT_SYMLINK_NOFOLLOW) != 0) {
            return ErrorText::saving(errno, copier_.destination_);
        }
        return std::nullopt;
    }

private:
    // A folder on both sides, open.
    struct Pair {
        std::size_t index = SIZE_MAX;
        OpenDescriptor source;
        OpenDescriptor destination;
    };

    [[nodiscard]] bool isFolder() const { return !plan_.folders.empty(); }

    [[nodiscard]] fs::path pathOf(const fs::path& root, const TreePlan::Entry& entry) const
    {
        return isFolder() ? pathOfFolder(root, entry.folder) / entry.name : root;
    }

    [[nodiscard]] fs::path pathOfFolder(const fs::path& root, std::size_t index) const
    {
        const std::string& relative = plan_.folders[index].path;
        return relative.empty() ? root : root / relative;
    }

    [[nodiscard]] fs::path sourceOf(const TreePlan::Entry& entry) const { return pathOf(copier_.source_, entry); }
    [[nodiscard]] fs::path copyOf(const TreePlan::Entry& entry) const { return pathOf(copier_.destination_, entry); }

    // What the entry is called in its folder over there.
    [[nodiscard]] const std::string& copyName(const TreePlan::Entry& entry) const
    {
        return isFolder() ? entry.name : destinationName_;
    }

    // The first sentence is the one that counts.
    void fail(std::string sentence)
    {
        const std::lock_guard lock(mutex_);
        if (!error_) {
            error_ = std::move(sentence);
        }
        ended_ = true;
    }

    bool goesOn()
    {
        if (watcher_ != nullptr && watcher_->stopRequested()) {
            fail(stopped);
        }
        return !ended_;
    }

    bool report(std::int64_t bytes, const TreePlan::Entry& entry)
    {
        if (watcher_ != nullptr && watcher_->onProgress_) {
            const std::lock_guard lock(progressMutex_);
            bytesDone_ += bytes;
            watcher_->onProgress_({.bytesDone = bytesDone_, .bytesTotal = plan_.bytes, .file = sourceOf(entry)});
        }
        return goesOn();
    }

    void makeFolders()
    {
        for (std::size_t index = 0; index < plan_.folders.size() && goesOn(); index++) {
            const std::string& path = plan_.folders[index].path;
            const std::size_t slash = path.rfind('/');
            const std::string above = slash == std::string::npos ? std::string() : path.substr(0, slash);
            const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
            const bool made = path.empty() ? makeRoot() : makeFolderIn(above, name);
            if (!made) {
                fail(ErrorText::saving(errno, pathOfFolder(copier_.destination_, index)));
            }
        }
    }

    bool makeRoot()
    {
        if (::mkdirat(destinationParent_.get(), destinationName_.c_str(), S_IRWXU) != 0) {
            return false;
        }
        destinationRoot_ = OpenDescriptor(Platform::openFolderAt(destinationParent_.get(), destinationName_.c_str()));
        sourceRoot_ = OpenDescriptor(Platform::openFolderAt(copier_.sourceParent_.get(), copier_.name_.c_str()));
        return destinationRoot_.isOpen() && sourceRoot_.isOpen();
    }

    bool makeFolderIn(const std::string& above, const std::string& name)
    {
        if (!madeIn_.isOpen() || madeInPath_ != above) {
            madeIn_ = OpenDescriptor(TreeWalk::openBelow(destinationRoot_.get(), above));
            madeInPath_ = above;
        }
        return madeIn_.isOpen() && ::mkdirat(madeIn_.get(), name.c_str(), S_IRWXU) == 0;
    }

    void copyEntries()
    {
        struct Lane {
            FileCopier copier;
            Pair folder;
        };
        std::array<Lane, filesAtOnce> lanes;
        Parallel::forEach(plan_.entries.size(), filesAtOnce, [this, &lanes](std::size_t index, unsigned lane) {
            if (goesOn()) {
                copyEntry(plan_.entries[index], lanes.at(lane).folder, lanes.at(lane).copier);
            }
        });
    }

    // Opens the entry's folder on both sides, unless it is the one that is open already.
    bool enter(const TreePlan::Entry& entry, Pair& folder)
    {
        if (folder.index == entry.folder) {
            return true;
        }
        const int sourceRoot = isFolder() ? sourceRoot_.get() : copier_.sourceParent_.get();
        const int destinationRoot = isFolder() ? destinationRoot_.get() : destinationParent_.get();
        const std::string relative = isFolder() ? plan_.folders[entry.folder].path : std::string();
        folder.index = SIZE_MAX;
        folder.source = OpenDescriptor(TreeWalk::openBelow(sourceRoot, relative));
        if (!folder.source.isOpen()) {
            fail(ErrorText::reading(errno, sourceOf(entry).parent_path()));
            return false;
        }
        folder.destination = OpenDescriptor(TreeWalk::openBelow(destinationRoot, relative));
        if (!folder.destination.isOpen()) {
            fail(ErrorText::saving(errno, copyOf(entry).parent_path()));
            return false;
        }
        folder.index = entry.folder;
        return true;
    }

    void copyEntry(const TreePlan::Entry& entry, Pair& folder, FileCopier& copier)
    {
        if (!enter(entry, folder)) {
            return;
        }
        switch (entry.facts.st_mode & S_IFMT) {
        case S_IFREG:
            copyFile(entry, folder, copier);
            break;
        case S_IFLNK:
            copyLink(entry, folder);
            break;
        default:
            copyPipe(entry, folder);
            break;
        }
        report(0, entry);
    }

    void copyFile(const TreePlan::Entry& entry, const Pair& folder, FileCopier& copier)
    {
        const OpenDescriptor source = openFile(folder.source.get(), entry.name);
        struct stat facts {};
        if (!source.isOpen() || ::fstat(source.get(), &facts) != 0) {
            fail(ErrorText::reading(errno, sourceOf(entry)));
            return;
        }
        if (!Copying::unchanged(entry.facts, facts)) {
            fail(changedSentence(sourceOf(entry)));
            return;
        }
        const bool tryClone = facts.st_size > 0 && !cannotClone_;
        const Copying::NewFile made
            = Copying::makeFile(source.get(), folder.destination.get(), copyName(entry).c_str(), tryClone);
        const OpenDescriptor copy(made.descriptor);
        if (!copy.isOpen()) {
            fail(ErrorText::saving(errno, copyOf(entry)));
            return;
        }
        if (tryClone && !made.cloned) {
            cannotClone_ = true; // nor can the next file be, most likely
        }
        if (fill(entry, source.get(), made, copier, facts)) {
            dress(entry, source.get(), made, facts);
        }
    }

    bool fill(const TreePlan::Entry& entry,
              int source,
              const Copying::NewFile& made,
              FileCopier& copier,
              const struct stat& facts)
    {
        if (made.cloned) {
            return report(std::min<std::int64_t>(facts.st_size, facts.st_blocks * 512), entry);
        }
        const auto outcome
            = copier.copy(source, made.descriptor, facts, [&](std::int64_t count) { return report(count, entry); });
        switch (outcome.trouble) {
        case FileCopier::Trouble::reading:
            fail(ErrorText::reading(outcome.error, sourceOf(entry)));
            break;
        case FileCopier::Trouble::writing:
            fail(ErrorText::saving(outcome.error, copyOf(entry)));
            break;
        case FileCopier::Trouble::changed:
            fail(changedSentence(sourceOf(entry)));
            break;
        case FileCopier::Trouble::none:
        case FileCopier::Trouble::stopped:
            break;
        }
        return outcome.trouble == FileCopier::Trouble::none;
    }

    void dress(const TreePlan::Entry& entry, int source, const Copying::NewFile& made, const struct stat& facts)
    {
        int error = made.dressed ? 0 : Copying::keepExtended(source, made.descriptor);
        if (error == 0) {
            error = keepFacts(made.descriptor, facts);
        }
        if (error == 0) {
            error = Copying::flushFile(made.descriptor, made.cloned ? 0 : facts.st_size);
        }
        if (error != 0) {
            fail(ErrorText::saving(error, copyOf(entry)));
        }
    }

    void copyLink(const TreePlan::Entry& entry, const Pair& folder)
    {
        std::string target(PATH_MAX, '\0');
        const ssize_t size = ::readlinkat(folder.source.get(), entry.name.c_str(), target.data(), target.size());
        if (size <= 0 || static_cast<std::size_t>(size) >= target.size()) {
            fail(ErrorText::reading(size < 0 ? errno : ENAMETOOLONG, sourceOf(entry)));
            return;
        }
        target.resize(static_cast<std::size_t>(size));
        if (::symlinkat(target.c_str(), folder.destination.get(), copyName(entry).c_str()) != 0) {
            fail(ErrorText::saving(errno, copyOf(entry)));
            return;
        }
        dressUnopened(entry, folder);
    }

    void copyPipe(const TreePlan::Entry& entry, const Pair& folder)
    {
        if (::mkfifoat(folder.destination.get(), copyName(entry).c_str(), S_IRUSR | S_IWUSR) != 0) {
            fail(ErrorText::saving(errno, copyOf(entry)));
            return;
        }
        dressUnopened(entry, folder);
    }

    // Links and named pipes are never opened.
    void dressUnopened(const TreePlan::Entry& entry, const Pair& folder)
    {
        const int place = folder.destination.get();
        const char* name = copyName(entry).c_str();
        const auto& facts = entry.facts;
        if (::fchownat(place, name, facts.st_uid, facts.st_gid, AT_SYMLINK_NOFOLLOW) != 0) {
            // The user's own then.
        }
        int error = 0;
        if (S_ISLNK(facts.st_mode)) {
            error = Copying::keepExtendedOfLink(folder.source.get(), entry.name.c_str(), place, name);
        } else if (::fchmodat(place, name, facts.st_mode & 0777U, 0) != 0 && !isRefusedByVolume(errno)) {
            error = errno;
        }
        const auto times = Copying::timesOf(facts);
        if (error == 0 && ::utimensat(place, name, times.data(), AT_SYMLINK_NOFOLLOW) != 0
            && !isRefusedByVolume(errno)) {
            error = errno;
        }
        if (error != 0) {
            fail(ErrorText::saving(error, copyOf(entry)));
        }
    }

    void addSecondNames()
    {
        FileCopier copier;
        Pair folder;
        for (const TreePlan::SecondName& second : plan_.secondNames) {
            const TreePlan::Entry& first = plan_.entries[second.first];
            if (!goesOn() || !enter(second.entry, folder)) {
                return;
            }
            const OpenDescriptor firstFolder(
                TreeWalk::openBelow(destinationRoot_.get(), plan_.folders[first.folder].path));
            const char* name = second.entry.name.c_str();
            if (firstFolder.isOpen()
                && ::linkat(firstFolder.get(), first.name.c_str(), folder.destination.get(), name, 0) == 0) {
                continue;
            }
            // Not every volume has them, and not as many: the contents count.
            copyEntry(second.entry, folder, copier);
        }
    }

    // Last, since filling a folder changes its times and it may not be writable; what lies deepest first.
    void dressFolders()
    {
        for (std::size_t index = plan_.folders.size(); index-- > 0 && goesOn();) {
            const TreePlan::Folder& folder = plan_.folders[index];
            const OpenDescriptor source(TreeWalk::openBelow(sourceRoot_.get(), folder.path));
            if (!source.isOpen()) {
                fail(ErrorText::reading(errno, pathOfFolder(copier_.source_, index)));
                return;
            }
            const OpenDescriptor copy(TreeWalk::openBelow(destinationRoot_.get(), folder.path));
            int error = copy.isOpen() ? Copying::keepExtended(source.get(), copy.get()) : errno;
            if (error == 0) {
                error = keepFacts(copy.get(), folder.facts);
            }
            if (error != 0) {
                fail(ErrorText::saving(error, pathOfFolder(copier_.destination_, index)));
            }
        }
    }

    void flush()
    {
        if (goesOn()) {
            if (const int error = Copying::flushVolume(destinationParent_.get()); error != 0) {
                fail(ErrorText::saving(error, copier_.destination_));
            }
        }
    }

    const TreeCopier& copier_;
    const TreePlan& plan_;
    Watcher* watcher_;
    std::string destinationName_;
    OpenDescriptor destinationParent_;
    OpenDescriptor destinationRoot_; // of a folder, as sourceRoot_
    OpenDescriptor sourceRoot_;
    OpenDescriptor madeIn_; // the folder that was last made in
    std::string madeInPath_;
    std::mutex mutex_;
    std::optional<std::string> error_;
    std::atomic<bool> ended_ = false;
    std::atomic<bool> cannotClone_ = false;
    std::mutex progressMutex_;
    std::int64_t bytesDone_ = 0;
};

TreeCopier::TreeCopier(fs::path source, fs::path destination)
    : source_(std::move(source))
    , destination_(std::move(destination))
    , name_(FilePath::lastComponent(source_))
{
}

std::expected<TreeCopier, std::string> TreeCopier::prepare(const fs::path& source, const fs::path& destination)
{
    TreeCopier copier(source, destination);
    copier.sourceParent_ = openFolder(source.parent_path());
    if (!copier.sourceParent_.isOpen()) {
        return std::unexpected(ErrorText::reading(errno, source));
    }
    auto plan = TreePlan::read(copier.sourceParent_.get(), copier.name_, source);
    if (!plan) {
        return std::unexpected(std::move(plan.error()));
    }
    copier.plan_ = std::move(*plan);
    if (auto refusal = copier.refusal()) {
        return std::unexpected(std::move(*refusal));
    }
    return copier;
}

std::optional<std::string> TreeCopier::refusal() const
{
    const OpenDescriptor place = openNearest(destination_.parent_path());
    struct statvfs volume {};
    if (!place.isOpen() || ::fstatvfs(place.get(), &volume) != 0) {
        return ErrorText::saving(errno, destination_);
    }
    if (!plan_.folders.empty() && liesIn(place, plan_.folders.front().facts)) {
        return "The folder “" + name_ + "” couldn’t be copied into itself.";
    }
    const auto unit = static_cast<std::uint64_t>(volume.f_frsize != 0 ? volume.f_frsize : volume.f_bsize);
    const bool fits = static_cast<std::uint64_t>(plan_.bytes) / std::max<std::uint64_t>(unit, 1)
        <= static_cast<std::uint64_t>(volume.f_bavail);
    return fits || wouldBeCloned(place.get()) ? std::nullopt : std::optional(ErrorText::saving(ENOSPC, destination_));
}

// A clone takes no room. The largest file tells for all.
bool TreeCopier::wouldBeCloned(int folder) const
{
    const auto largest = std::ranges::max_element(plan_.entries, {}, [](const TreePlan::Entry& entry) {
        return S_ISREG(entry.facts.st_mode) ? entry.facts.st_size : off_t {-1};
    });
    if (largest == plan_.entries.end() || !S_ISREG(largest->facts.st_mode)) {
        return false;
    }
    OpenDescriptor above(::openat(sourceParent_.get(), ".", folderFlags));
    if (!plan_.folders.empty()) {
        const std::string& relative = plan_.folders[largest->folder].path;
        above = OpenDescriptor(
            TreeWalk::openBelow(sourceParent_.get(), relative.empty() ? name_ : name_ + "/" + relative));
    }
    const OpenDescriptor file = above.isOpen() ? openFile(above.get(), largest->name) : OpenDescriptor();
    return file.isOpen() && Copying::canClone(file.get(), folder);
}

std::optional<std::string> TreeCopier::copy(Watcher* watcher) { return Work(*this, watcher).run(made_); }

std::optional<std::string> TreeCopier::difference() const
{
    struct stat now {};
    if (::lstat(destination_.c_str(), &now) != 0) {
        return ErrorText::saving(errno, destination_);
    }
    if (!isSame(now, made_)) {
        return "“" + FilePath::lastComponent(destination_) + "” is no longer the copy that was made.";
    }
    const auto plan = TreePlan::read(sourceParent_.get(), name_, source_);
    if (!plan) {
        return plan.error();
    }
    struct stat there {};
    struct stat held {};
    const bool sameItem = ::lstat(source_.c_str(), &there) == 0
        && ::fstatat(sourceParent_.get(), name_.c_str(), &held, AT_SYMLINK_NOFOLLOW) == 0 && isSame(there, held);
    const auto unchanged
        = [](const auto& before, const auto& after) { return Copying::unchanged(before.facts, after.facts); };
    const auto secondUnchanged = [](const TreePlan::SecondName& before, const TreePlan::SecondName& after) {
        return Copying::unchanged(before.entry.facts, after.entry.facts) && before.entry.name == after.entry.name;
    };
    const bool same = sameItem && std::ranges::equal(plan_.folders, plan->folders, unchanged)
        && std::ranges::equal(plan_.entries, plan->entries, unchanged)
        && std::ranges::equal(plan_.secondNames, plan->secondNames, secondUnchanged);
    return same ? std::nullopt : std::optional(changedSentence(source_));
}

} // namespace ManagerCore
