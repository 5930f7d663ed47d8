#include "ManagerCore/Foundation/Identity.h"

#include "ManagerCore/Foundation/Descriptor.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Text.h"

namespace ManagerCore
{

const Identity Identity::empty {};

std::expected<Identity, std::string> Identity::load(const std::filesystem::path& file)
{
    const auto contents = Text::readFile(file);
    if (!contents) {
        return std::unexpected(contents.error());
    }
    const Descriptor::Map map = Descriptor::parse(*contents);
    return Identity {
        .name = Descriptor::text("name", map, empty.name),
        .display = Descriptor::text("display", map, empty.display),
        .bundlePrefix = Descriptor::text("bundle_prefix", map),
        .appPaths = Descriptor::list("app_paths", map),
        .binaries = Descriptor::list("binaries", map),
        .configDirs = Descriptor::list("config_dirs", map),
        .modelPaths = Descriptor::list("model_paths", map),
        .modelLocations = Descriptor::list("model_locations", map),
        .modelDisplay = Descriptor::text("model_display", map, empty.modelDisplay),
        .editorExtensionId = Descriptor::text("editor_extension_id", map),
        .marker = Descriptor::text("identity_marker", map),
        .sweepNames = Descriptor::list("sweep_names", map),
        .sweepDirs = Descriptor::list("sweep_dirs", map),
    };
}

std::optional<std::filesystem::path> Identity::installedExecutable() const
{
    for (const std::string& binary : binaries) {
        if (std::filesystem::path path = FilePath::expandHome(binary); FilePath::exists(path)) {
            return path;
        }
    }
    return std::nullopt;
}

} // namespace ManagerCore
