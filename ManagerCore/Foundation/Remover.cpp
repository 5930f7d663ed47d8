#include "ManagerCore/Foundation/Remover.h"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Platform/ErrorText.h"
#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore::Remover
{

namespace
{

bool isDots(const std::filesystem::path& name) { return name == "." || name == ".."; }

std::filesystem::path withoutSlash(const std::filesystem::path& path)
{
    return path.has_filename() || !path.has_relative_path() ? path : withoutSlash(path.parent_path());
}

// The same item by a path without dots. The Trash of macOS removes them by their names alone, which behind a link would
// lead to another item; here the folder's links are resolved first, never the item's own.
std::filesystem::path withoutDots(const std::filesystem::path& path)
{
    return std::ranges::none_of(path, isDots) ? path : FilePath::resolved(path.parent_path()) / path.filename();
}

Result trashOne(const std::filesystem::path& path)
{
    // Checked before the dots go: without them a path through a missing folder could name something else.
    std::optional<std::string> error = check(path);
    if (!error) {
        error = Platform::moveToTrash(withoutDots(withoutSlash(path)));
    }
    return {.path = path.string(), .trashed = !error, .error = error};
}

} // namespace

std::optional<std::string> check(const std::filesystem::path& path)
{
    const std::filesystem::path item = withoutSlash(path);
    if (isDots(item.filename())) {
        return Platform::ErrorText::untrashable(item, "the path must end in the folder’s own name");
    }
    struct stat status {};
    return ::lstat(item.c_str(), &status) == 0 ? std::nullopt
                                               : std::optional(Platform::ErrorText::trashing(errno, item));
}

std::vector<Result> trash(const std::vector<std::filesystem::path>& paths)
{
    std::vector<Result> results;
    results.reserve(paths.size());
    std::ranges::transform(paths, std::back_inserter(results), trashOne);
    return results;
}

} // namespace ManagerCore::Remover
