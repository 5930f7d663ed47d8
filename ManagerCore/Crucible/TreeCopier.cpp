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
using Platform::UniqueFd;

constexpr unsigned filesAtOnce = 2;
constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

bool isSame(const struct stat& left, const struct stat& right)
{
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

UniqueFd openFolder(const fs::path& path) { return UniqueFd(::open(path.c_str(), folderFlags)); }

// The folder, or the nearest one above it that exists.
UniqueFd openNearest(fs::path path)
{
    UniqueFd folder = openFolder(path);
    while (!folder.isOpen() && (errno == ENOENT || errno == ENOTDIR) && path != path.parent_path()) {
        path = path.parent_path();
        folder = openFolder(path);
    }
    return folder;
}

// Whether the folder is the one with these facts or lies in it.
bool liesIn(const UniqueFd& folder, const struct stat& outer)
{
    struct stat here {};
    UniqueFd current(::openat(folder.get(), ".", folderFlags));
    while (current.isOpen() && ::fstat(current.get(), &here) == 0) {
        if (isSame(here, outer)) {
            return true;
        }
        struct stat above {};
        UniqueFd next(::openat(current.get(), "..", folderFlags));
        if (!next.isOpen() || ::fstat(next.get(), &above) != 0 || isSame(above, here)) {
            return false;
        }
        current = std::move(next);
    }
    return false;
}

// Not to wait should a named pipe have taken the file's place.
UniqueFd openFile(int folder, const std::string& name)
{
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    return UniqueFd(::openat(folder, name.c_str(), flags));
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

// Whether a call that returned `result` did what the volume can do: some have no owners, modes or times of their own.
bool isDone(int result) { return result == 0 || errno == EPERM || errno == ENOTSUP; }

// Owner, mode, times and flags of an open copy. 0 or an errno.
int copyInfo(int copy, const struct stat& from)
{
    if (::fchown(copy, from.st_uid, from.st_gid) != 0 && ::fchown(copy, static_cast<uid_t>(-1), from.st_gid) != 0) {
        // The user's own then.
    }
    struct stat made {};
    if (::fstat(copy, &made) != 0) {
        return errno;
    }
    const auto times = Copying::timesOf(from);
    if (!isDone(::fchmod(copy, modeFor(from, made))) || !isDone(::futimens(copy, times.data()))) {
        return errno;
    }
    Copying::copyFlags(copy, from);
    return 0;
}

// Why an entry could not be made in the open folder. Some file systems report a name that they refuse as ENOENT.
std::string making(int error, int folder, const fs::path& path)
{
    struct stat info {};
    if (error == ENOENT && ::fstat(folder, &info) == 0 && info.st_nlink == 0) {
        return ErrorText::missing(path.parent_path()); // removed meanwhile
    }
    return error == EINVAL || error == EILSEQ || error == ENOENT ? ErrorText::refusedName(path)
                                                                 : ErrorText::saving(error, path);
}

// The bytes that a user may still write.
std::uint64_t roomOn(const struct statvfs& volume)
{
    return static_cast<std::uint64_t>(volume.f_frsize != 0 ? volume.f_frsize : volume.f_bsize) * volume.f_bavail;
}

// Whether the volume of the open folder has no room for any attribute.
bool isFull(int folder)
{
    constexpr std::uint64_t largestAttribute = std::uint64_t {64} << 10;
    struct statvfs volume {};
    return ::fstatvfs(folder, &volume) != 0 || roomOn(volume) <= largestAttribute
        || (volume.f_files > 0 && volume.f_favail == 0);
}

// Some file systems report an attribute that is too large as a full volume.
std::string copying(const Copying::AttributeError& error, int folder, const fs::path& path)
{
    const bool full = error.error == EDQUOT || (error.error == ENOSPC && isFull(folder));
    return full || error.name.empty() ? ErrorText::saving(error.error, path)
                                      : ErrorText::attribute(error.error, path, error.name);
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
        finishFolders();
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
        UniqueFd source;
        UniqueFd destination;
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
            if (path.empty()) {
                makeRoot();
            } else {
                makeFolderIn(above, name, pathOfFolder(copier_.destination_, index));
            }
        }
    }

    bool makeFolder(int place, const std::string& name, const fs::path& path)
    {
        const bool made = ::mkdirat(place, name.c_str(), S_IRWXU) == 0;
        if (!made) {
            fail(making(errno, place, path));
        }
        return made;
    }

    void makeRoot()
    {
        if (!makeFolder(destinationParent_.get(), destinationName_, copier_.destination_)) {
            return;
        }
        destinationRoot_.reset(Platform::openFolderAt(destinationParent_.get(), destinationName_.c_str()));
        if (!destinationRoot_.isOpen()) {
            fail(ErrorText::saving(errno, copier_.destination_));
        }
        sourceRoot_.reset(Platform::openFolderAt(copier_.sourceParent_.get(), copier_.name_.c_str()));
        if (!sourceRoot_.isOpen()) {
            fail(ErrorText::reading(errno, copier_.source_));
        }
    }

    void makeFolderIn(const std::string& above, const std::string& name, const fs::path& path)
    {
        if (!madeIn_.isOpen() || madeInPath_ != above) {
            madeIn_.reset(TreeWalk::openBelow(destinationRoot_.get(), above));
            madeInPath_ = above;
        }
        if (!madeIn_.isOpen()) {
            fail(ErrorText::saving(errno, path));
            return;
        }
        makeFolder(madeIn_.get(), name, path);
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
        folder.source.reset(TreeWalk::openBelow(sourceRoot, relative));
        if (!folder.source.isOpen()) {
            fail(ErrorText::reading(errno, sourceOf(entry).parent_path()));
            return false;
        }
        folder.destination.reset(TreeWalk::openBelow(destinationRoot, relative));
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
        const UniqueFd source = openFile(folder.source.get(), entry.name);
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
        const UniqueFd copy(made.descriptor);
        if (!copy.isOpen()) {
            fail(making(errno, folder.destination.get(), copyOf(entry)));
            return;
        }
        if (tryClone && !made.cloned) {
            cannotClone_ = true; // nor can the next file be, most likely
        }
        if (fill(entry, source.get(), made, copier, facts)) {
            finish(entry, source.get(), made, folder, facts);
        }
    }

    bool fill(const TreePlan::Entry& entry,
              int source,
              const Copying::NewFile& made,
              FileCopier& copier,
              const struct stat& facts)
    {
        if (made.cloned) {
            return report(std::min<std::int64_t>(facts.st_size, Platform::bytesInBlocks(facts)), entry);
        }
        const auto outcome
            = copier.copy(source, made.descriptor, facts, [&](std::int64_t count) { return report(count, entry); });
        switch (outcome.error) {
        case FileCopier::Error::reading:
            fail(ErrorText::reading(outcome.code, sourceOf(entry)));
            break;
        case FileCopier::Error::writing:
            fail(ErrorText::saving(outcome.code, copyOf(entry)));
            break;
        case FileCopier::Error::changed:
            fail(changedSentence(sourceOf(entry)));
            break;
        case FileCopier::Error::none:
        case FileCopier::Error::stopped:
            break;
        }
        return outcome.error == FileCopier::Error::none;
    }

    // Copies what a file has beside its contents and waits for the disk.
    void finish(const TreePlan::Entry& entry,
                int source,
                const Copying::NewFile& made,
                const Pair& folder,
                const struct stat& facts)
    {
        if (!made.hasAttributes) {
            const auto attributes = Copying::copyAttributes(source, made.descriptor);
            if (attributes.error != 0) {
                fail(copying(attributes, folder.destination.get(), copyOf(entry)));
                return;
            }
        }
        int error = copyInfo(made.descriptor, facts);
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
            fail(making(errno, folder.destination.get(), copyOf(entry)));
            return;
        }
        finishUnopened(entry, folder);
    }

    void copyPipe(const TreePlan::Entry& entry, const Pair& folder)
    {
        if (::mkfifoat(folder.destination.get(), copyName(entry).c_str(), S_IRUSR | S_IWUSR) != 0) {
            fail(making(errno, folder.destination.get(), copyOf(entry)));
            return;
        }
        finishUnopened(entry, folder);
    }

    // The same for links and named pipes, which are never opened.
    void finishUnopened(const TreePlan::Entry& entry, const Pair& folder)
    {
        const int place = folder.destination.get();
        const char* name = copyName(entry).c_str();
        const auto& facts = entry.facts;
        if (::fchownat(place, name, facts.st_uid, facts.st_gid, AT_SYMLINK_NOFOLLOW) != 0) {
            // The user's own then.
        }
        const auto times = Copying::timesOf(facts);
        const bool hasMode = !S_ISLNK(facts.st_mode);
        if ((hasMode && !isDone(::fchmodat(place, name, facts.st_mode & 0777U, 0)))
            || !isDone(::utimensat(place, name, times.data(), AT_SYMLINK_NOFOLLOW))) {
            fail(ErrorText::saving(errno, copyOf(entry)));
            return;
        }
        const auto attributes = Copying::copyAttributesAt(folder.source.get(), entry.name.c_str(), place, name);
        if (attributes.error != 0) {
            fail(copying(attributes, place, copyOf(entry)));
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
            const UniqueFd firstFolder(TreeWalk::openBelow(destinationRoot_.get(), plan_.folders[first.folder].path));
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
    void finishFolders()
    {
        for (std::size_t index = plan_.folders.size(); index-- > 0 && goesOn();) {
            const TreePlan::Folder& folder = plan_.folders[index];
            const UniqueFd source(TreeWalk::openBelow(sourceRoot_.get(), folder.path));
            if (!source.isOpen()) {
                fail(ErrorText::reading(errno, pathOfFolder(copier_.source_, index)));
                return;
            }
            const UniqueFd copy(TreeWalk::openBelow(destinationRoot_.get(), folder.path));
            if (!copy.isOpen()) {
                fail(ErrorText::saving(errno, pathOfFolder(copier_.destination_, index)));
                return;
            }
            finishFolder(source.get(), copy.get(), index);
        }
    }

    void finishFolder(int source, int copy, std::size_t index)
    {
        const fs::path path = pathOfFolder(copier_.destination_, index);
        if (const auto attributes = Copying::copyAttributes(source, copy); attributes.error != 0) {
            fail(copying(attributes, copy, path));
        } else if (const int error = copyInfo(copy, plan_.folders[index].facts); error != 0) {
            fail(ErrorText::saving(error, path));
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
    UniqueFd destinationParent_;
    UniqueFd destinationRoot_; // of a folder, as sourceRoot_
    UniqueFd sourceRoot_;
    UniqueFd madeIn_; // the folder that was last made in
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
    const UniqueFd place = openNearest(destination_.parent_path());
    struct statvfs volume {};
    if (!place.isOpen() || ::fstatvfs(place.get(), &volume) != 0) {
        return ErrorText::saving(errno, destination_);
    }
    if (!plan_.folders.empty() && liesIn(place, plan_.folders.front().facts)) {
        return "The folder “" + name_ + "” couldn’t be copied into itself.";
    }
    const bool fits = static_cast<std::uint64_t>(plan_.bytes) <= roomOn(volume);
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
    UniqueFd above(::openat(sourceParent_.get(), ".", folderFlags));
    if (!plan_.folders.empty()) {
        const std::string& relative = plan_.folders[largest->folder].path;
        above = UniqueFd(TreeWalk::openBelow(sourceParent_.get(), relative.empty() ? name_ : name_ + "/" + relative));
    }
    const UniqueFd file = above.isOpen() ? openFile(above.get(), largest->name) : UniqueFd();
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
