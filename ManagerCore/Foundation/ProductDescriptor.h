#pragma once

#include <filesystem>
#include <optional>

namespace ManagerCore::ProductDescriptor
{

// The descriptor file of the managed product: the one that CM_IDENTITY_TOML names, whether it exists or not (an empty
// value counts too), else the program's own identity.toml; absent when it has none. Any thread.
std::optional<std::filesystem::path> location();

} // namespace ManagerCore::ProductDescriptor
