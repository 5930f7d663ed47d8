#include "ManagerCore/Foundation/Identity.h"

#include "ManagerCore/Foundation/DescriptorFields.h"
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
    return DescriptorFields::read<Identity>(DescriptorFields::identity, Descriptor::parse(*contents));
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
