#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

#include <spawn.h>

#include "ManagerCore/Platform/UniqueFd.h"

// What every platform owes the rest of the core. One set of sources stands behind it, chosen by CMake.
// Everything here may be called from any thread and never throws.
namespace ManagerCore::Platform
{

// The user's home folder, looked up once per process and kept.
// macOS: CFFIXED_USER_HOME, else the passwd entry. Linux: HOME, else the passwd entry.
std::filesystem::path homeFolder();

// For a program's first lines, before it has other threads: takes away what libraries and children would understand
// otherwise than `homeFolder` does.
void settleHome();

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

enum class FileKind : std::uint8_t { folder, file, link, other, unknown };
// Hands every entry of an open folder but "." and ".." to `entry`, in the file system's order. The name is only valid
// during the call. False when reading fails midway; what was handed over until then stands.
bool readFolder(int folder, const std::function<void(std::string_view name, FileKind kind)>& entry);

// Opens the folder at the relative `path` under the open folder `root` without following any link on the way.
// -1 with errno when it cannot be opened.
int openFolderAt(int root, const char* path);

// How often the calling thread has waited for anything but a processor; absent where the system does not tell.
std::optional<long> timesWaited();

// Gives the calling thread, until it ends, a table of descriptors of its own that holds the standard streams and `kept`
// alone. What it opens and uses then takes no lock that other threads take. Does nothing where the system cannot.
void ownDescriptors(int kept);

// From now on the calling thread, a worker that nobody waits for by the millisecond, leaves the processor to threads
// that somebody does wait for. What it starts inherits that on Linux, so it must not start children.
void yieldToOthers();

// A pipe whose ends no other child process inherits. False with errno when none can be had.
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
