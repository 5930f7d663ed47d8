#include "ManagerCore/Foundation/ProductDescriptor.h"

#include <cstdlib>

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Platform/Platform.h"

namespace ManagerCore::ProductDescriptor
{

std::optional<std::filesystem::path> location()
{
    if (const char* named = std::getenv("CM_IDENTITY_TOML"); named != nullptr) {
        return FilePath::fromText(named);
    }
    const auto resources = Platform::resourceFolder();
    if (!resources || !FilePath::exists(*resources / "identity.toml")) {
        return std::nullopt;
    }
    return *resources / "identity.toml";
}

} // namespace ManagerCore::ProductDescriptor
