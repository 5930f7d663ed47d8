#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The rules by which paths are read, followed and compared, once for everything. Paths hold bytes as the file system
// gives them; nothing here throws. Any thread.
namespace ManagerCore::FilePath
{

// The place a text names: absolute against the working directory, without trailing or doubled slashes, "." and ".."
// kept. An empty text, or one with a zero byte (no file can bear it), gives the empty path, where nothing exists.
std::filesystem::path fromText(std::string_view text);

// The rule for every configured path: "~" is the home folder, "~/rest" lies in it, anything else is a path as written.
std::filesystem::path expandHome(std::string_view text);

// The wider rule of the operating system: as above, and "~user" and "~user/rest" through the passwd entry. An unknown
// user is left as written.
std::filesystem::path expandTilde(std::string_view text);

// `base` with `relative` appended as one text: slashes squeezed, nothing resolved, a leading slash in `relative` does
// not start over. With a zero byte in `relative` the empty path.
std::filesystem::path appending(const std::filesystem::path& base, std::string_view relative);

// Whether something exists there, links followed: a dangling link does not exist, a link to a folder is a folder.
bool exists(const std::filesystem::path& path);
bool isFolder(const std::filesystem::path& path);

// Whether a link stands there, dangling or not.
bool isLink(const std::filesystem::path& path);

// Where the link at `path` leads, read once: an absolute destination as it is, a relative one appended to the link's
// folder, not standardised. Absent for anything that is not a link or cannot be read.
std::optional<std::filesystem::path> linkDestination(const std::filesystem::path& path);

// The same, with anything that is not a link mapping to itself.
std::filesystem::path linkTarget(const std::filesystem::path& path);

// Where the link at `path` leads, a relative destination as `sameWithoutDots` gives it. A link at the destination stays
// one.
std::filesystem::path resolvedLinkTarget(const std::filesystem::path& path);

// The same item by a path without "." and "..": by its names alone where that leads to the same item, else with the
// links before them resolved. A path whose folder does not exist stays as it is.
std::filesystem::path sameWithoutDots(const std::filesystem::path& path);

// Without ".", ".." and doubled slashes; links are resolved first when there is a "..". On macOS a leading /private is
// dropped where the short form exists.
std::filesystem::path standardised(const std::filesystem::path& path);

// Every link resolved, then standardised. All or nothing: when a component is missing only standardised.
std::filesystem::path resolved(const std::filesystem::path& path);

// "/" is its own last component and its own parent.
std::string lastComponent(const std::filesystem::path& path);
std::filesystem::path parent(const std::filesystem::path& path);

// The root as "/", then each name. No empty components.
std::vector<std::string> components(const std::filesystem::path& path);

// Whether a folder of this name is a package, shown to people as one file: decided by its extension.
bool isPackageName(std::string_view name);

} // namespace ManagerCore::FilePath
