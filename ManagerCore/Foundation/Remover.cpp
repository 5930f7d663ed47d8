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

// The same item by a path without dots. The Trash removes them by their names alone, which behind a link would lead to
// another item; here the folder's links are resolved first, never the item's own.
std::filesystem::path withoutDots(const std::filesystem::path& path)
{
    if (std::ranges::none_of(path, isDots)) {
        return path;
    }
    return isDots(path.filename()) ? FilePath::resolved(path)
                                   : FilePath::resolved(path.parent_path()) / path.filename();
}

Result trashOne(const std::filesystem::path& path)
{
    // Looked at before the dots go: without them a path through a missing folder could name something else.
    struct stat facts {};
    const std::optional<std::string> error = ::lstat(path.c_str(), &facts) == 0
        ? Platform::moveToTrash(withoutDots(path))
        : Platform::ErrorText::trashing(errno, path);
    return {.path = path.string(), .trashed = !error, .error = error};
}

} // namespace

std::vector<Result> trash(const std::vector<std::filesystem::path>& paths)
{
    std::vector<Result> results;
    results.reserve(paths.size());
    std::ranges::transform(paths, std::back_inserter(results), trashOne);
    return results;
}

} // namespace ManagerCore::Remover
