#pragma once

#include <array>
#include <cstdint>
#include <dirent.h>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>

#include <spawn.h>

#include "ManagerCore/Platform/UniqueFd.h"

// The platform interface. CMake selects the implementation. Everything here may be called from any thread and never
// throws.
namespace ManagerCore::Platform
{

// The user's home folder, looked up once per process and kept. macOS: CFFIXED_USER_HOME, else the passwd entry, else
// HOME. Linux: HOME, else the passwd entry. "/" where none of these names one.
std::filesystem::path homeFolder();

// Call first in main, before any thread starts. Removes an empty HOME, which libraries and children would read
// differently than `homeFolder`, and raises a soft limit of open files below 1024 to that.
void prepareProcess();

// The home folder in the passwd entry of `user`; absent for an unknown user.
std::optional<std::filesystem::path> homeFolderOf(const std::string& user);

// The per-user folders for caches ("C") and temporary files ("T"), read from the environment at each call.
struct TemporaryFolders {
    std::filesystem::path caches;
    std::filesystem::path temporary;
    bool shared = false; // other users' entries may lie there too: only own entries count
};
TemporaryFolders temporaryFolders();

// The path as the system's own messages give it. macOS: without a leading /private where the short form exists. Linux:
// the path itself.
std::filesystem::path shortForm(const std::filesystem::path& given);

// The system tools behind the launch agent and the folder copy. Where the system has none, the ones that ship with
// the program; where those are missing too, the system's own place, so that running it reports it as missing.
std::filesystem::path launchctl();
std::filesystem::path ditto();

// The running program: the application bundle on macOS when it lies in one, else the executable.
std::filesystem::path application();

// The folder of the program's resources (identity.toml, databases); absent when there is none.
std::optional<std::filesystem::path> resourceFolder();

struct Volume {
    std::filesystem::path mountPoint;
    std::string name;
    bool isRoot = false; // the file system at "/"
};
// The volume that holds `path`, links followed. Absent when nothing exists there or the system does not tell.
std::optional<Volume> volumeOf(const std::filesystem::path& path);

// Moves the item itself, never a link's target, to the user's Trash, to the volume's own for another volume.
// Absent on success; on failure one sentence why, and the item stays where it was.
std::optional<std::string> moveToTrash(const std::filesystem::path& path);

// The file's blocks in bytes. Less than the length for a file with holes.
inline std::int64_t bytesInBlocks(const struct stat& info) { return static_cast<std::int64_t>(info.st_blocks) * 512; }

// The space that the regular file occupies, in bytes. Linux: at most its length in whole blocks, because ext4 counts
// blocks of its extent tree and xfs space reserved beyond the end, which differ between two good copies. macOS: all its
// blocks, which include those of the resource fork; the length does not.
std::int64_t allocatedSize(const struct stat& info);

enum class FileKind : std::uint8_t { folder, file, link, other, unknown };
using OnFolderEntry = std::function<void(std::string_view name, FileKind kind)>;

// Owns the descriptor of an open folder and reads its entries.
class FolderReader
{
public:
    explicit FolderReader(UniqueFd folder);
    ~FolderReader();
    FolderReader(const FolderReader&) = delete;
    FolderReader& operator=(const FolderReader&) = delete;

    // For calls relative to the folder, also while its entries are read. -1 when it is not open.
    [[nodiscard]] int fd() const { return fd_; }

    // Calls `entry` for every entry but "." and "..", in the file system's order. The name is valid during the call.
    // Call once. False with errno when the folder is not open or reading fails midway.
    bool read(const OnFolderEntry& entry);

private:
    int fd_ = -1;
    DIR* stream_ = nullptr; // owns the descriptor once reading has begun
};

// The same for a folder whose descriptor stays the caller's.
bool readFolder(int folder, const OnFolderEntry& entry);

// Opens the folder at the relative `path` under the open folder `root` without following any link on the way.
// -1 with errno when it cannot be opened.
int openFolderAt(int root, const char* path);

// Gives the calling thread, until it ends, a descriptor table of its own that holds the standard streams and `kept`
// alone, so that opening and closing takes no lock shared with other threads. Does nothing where the system cannot.
void unshareDescriptorTable(int kept);

// Lowers the calling thread's priority until it ends, so that a busy worker does not delay the interface. Threads and,
// on Linux, child processes that it starts inherit the priority: start no children from it.
void lowerThreadPriority();

// A pipe whose ends are close-on-exec. False with errno when none can be had.
bool makePipe(std::array<UniqueFd, 2>& ends);

// Makes the child begin in `folder`. Returns 0 or an errno.
int setWorkingFolder(posix_spawn_file_actions_t& actions, const std::filesystem::path& folder);

// Platform's part of a child's start: what keeps it from inheriting more than its three standard streams.
// Returns 0 or an errno.
int restrictInheritance(posix_spawnattr_t& attributes, posix_spawn_file_actions_t& actions);

// A descriptor that polls readable once the child has ended; not open when the system has none. Does not reap the
// child.
UniqueFd exitDescriptor(pid_t child);

} // namespace ManagerCore::Platform
