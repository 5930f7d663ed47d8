#include "ManagerCore/Crucible/CrucibleRoots.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "ManagerCore/Foundation/FilePath.h"

namespace ManagerCore::CrucibleRoots
{

namespace
{

std::filesystem::path fromEnvironment(const char* variable, std::string_view otherwise)
{
    const char* value = std::getenv(variable);
    return FilePath::expandHome(value != nullptr && *value != '\0' ? value : otherwise);
}

} // namespace

std::filesystem::path local() { return fromEnvironment("ZYN_CRUCIBLE_LOCAL", "~/.zyn-crucible"); }

std::filesystem::path canonical() { return fromEnvironment("ZYN_CRUCIBLE_ROOT", "~/.zyn/crucible"); }

std::vector<std::filesystem::path> all()
{
    std::vector<std::filesystem::path> roots;
    for (std::filesystem::path root : {local(), canonical()}) {
        const bool known = std::ranges::any_of(roots, [&root](const std::filesystem::path& kept) {
            return FilePath::standardised(kept) == FilePath::standardised(root);
        });
        if (!known && FilePath::exists(root)) {
            roots.push_back(std::move(root));
        }
    }
    return roots;
}

std::optional<std::filesystem::path> configPath()
{
    for (const std::filesystem::path& root : all()) {
        std::filesystem::path file = FilePath::appending(root, "crucible.toml");
        if (FilePath::exists(file)) {
            return file;
        }
    }
    return std::nullopt;
}

} // namespace ManagerCore::CrucibleRoots
