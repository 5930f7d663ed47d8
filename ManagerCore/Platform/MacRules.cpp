#include "ManagerCore/Platform/MacRules.h"

#include <string_view>

#include "ManagerCore/Platform/Posix.h"

namespace ManagerCore::Platform::MacRules
{

using std::filesystem::path;

path shortForm(const path& given)
{
    constexpr std::string_view prefix = "/private";
    const std::string& whole = given.native();
    for (const std::string_view folder : {"/private/tmp", "/private/var", "/private/etc"}) {
        const bool inside = whole.starts_with(folder) && (whole.size() == folder.size() || whole[folder.size()] == '/');
        if (inside && Posix::exists(whole.substr(prefix.size()))) {
            return whole.substr(prefix.size());
        }
    }
    return given;
}

TemporaryFolders temporaryFolders(const std::optional<path>& ofUser)
{
    if (!ofUser) {
        return {.caches = "/tmp", .temporary = "/tmp", .shared = true};
    }
    const path temporary = Posix::absoluteFolder(*ofUser);
    return {.caches = temporary.parent_path() / "C", .temporary = temporary};
}

std::optional<Volume> volumeAt(const std::string& mountPoint, const NameAt& nameAt)
{
    constexpr std::string_view suffix = " - Data";
    const bool isData = mountPoint == "/System/Volumes/Data";
    std::string name = isData ? nameAt("/") : std::string();
    if (name.empty()) {
        name = nameAt(mountPoint);
    }
    if (isData && name.ends_with(suffix)) {
        name.resize(name.size() - suffix.size());
    }
    return name.empty()
        ? std::nullopt
        : std::optional(Volume {.mountPoint = mountPoint, .name = name, .isRoot = isData || mountPoint == "/"});
}

} // namespace ManagerCore::Platform::MacRules
