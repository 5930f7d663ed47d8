#include "ManagerCore/Inventory/FolderSweep.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <functional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"
#include "ManagerCore/Platform/Platform.h"
#include "ManagerCore/Platform/UniqueFd.h"

namespace ManagerCore::FolderSweep
{

namespace
{

using Belongs = std::function<bool(std::string_view name)>;

struct Place {
    const char* folder;
    ArtifactCategory category;
};

constexpr std::array<Place, 6> libraryPlaces {{
    {.folder = "Caches", .category = ArtifactCategory::caches},
    {.folder = "HTTPStorages", .category = ArtifactCategory::httpStorage},
    {.folder = "WebKit", .category = ArtifactCategory::httpStorage},
    {.folder = "Preferences", .category = ArtifactCategory::preferences},
    {.folder = "Saved Application State", .category = ArtifactCategory::savedState},
    {.folder = "LaunchAgents", .category = ArtifactCategory::launchAgents},
}};

constexpr std::array<const char*, 5> editorFolders {".vscode", ".cursor", ".windsurf", ".vscode-oss", ".vscodium"};

bool nameBelongs(const Identity& identity, std::string_view name)
{
    return (!identity.bundlePrefix.empty() && Text::startsWith(name, identity.bundlePrefix))
        || Text::equals(name, identity.name) || Text::startsWith(name, identity.name + ".");
}

std::vector<FoundItem> entriesOf(const std::filesystem::path& folder, ArtifactCategory category, const Belongs& belongs)
{
    std::vector<FoundItem> entries;
    const Platform::UniqueFd opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened.isOpen()) {
        return entries;
    }
    const bool whole = Platform::readFolder(opened.get(), [&](std::string_view name, Platform::FileKind) {
        if (belongs(name)) {
            entries.push_back({.url = FilePath::appending(folder, name), .category = category});
        }
    });
    if (!whole) {
        entries.clear();
    }
    return entries;
}

void append(std::vector<FoundItem>& all, std::vector<FoundItem> more)
{
    std::ranges::move(more, std::back_inserter(all));
}

bool isOwn(const FoundItem& item)
{
    struct stat status {};
    return ::lstat(item.url.c_str(), &status) == 0 && status.st_uid == ::getuid();
}

} // namespace

std::vector<FoundItem> library(const Identity& identity)
{
    const auto belongs = [&identity](std::string_view name) { return nameBelongs(identity, name); };
    std::vector<FoundItem> found;
    for (const Place& place : libraryPlaces) {
        const auto folder = FilePath::expandHome(std::string("~/Library/") + place.folder);
        append(found, entriesOf(folder, place.category, belongs));
    }
    return found;
}

std::vector<FoundItem> temporaryFolders(const Identity& identity)
{
    const auto belongs = [&identity](std::string_view name) { return nameBelongs(identity, name); };
    const Platform::TemporaryFolders folders = Platform::temporaryFolders();
    std::vector<FoundItem> found;
    for (const auto& folder : {folders.caches, folders.temporary}) {
        append(found, entriesOf(folder, ArtifactCategory::containers, belongs));
    }
    if (folders.shared) {
        std::erase_if(found, [](const FoundItem& item) { return !isOwn(item); });
    }
    return found;
}

std::vector<FoundItem> editorExtensions(const Identity& identity)
{
    std::vector<FoundItem> found;
    if (identity.editorExtensionId.empty()) {
        return found;
    }
    const auto belongs
        = [&identity](std::string_view name) { return Text::contains(name, identity.editorExtensionId); };
    for (const char* editor : editorFolders) {
        const auto folder = FilePath::expandHome(std::string("~/") + editor + "/extensions");
        append(found, entriesOf(folder, ArtifactCategory::editorExtensions, belongs));
    }
    return found;
}

} // namespace ManagerCore::FolderSweep
