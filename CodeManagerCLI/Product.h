#pragma once

#include <filesystem>
#include <optional>

#include "CodeManagerCLI/Context.h"
#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/ManagerActions.h"

namespace CodeManagerCLI
{

// The managed product as its descriptor tells it.
struct Product {
    ManagerCore::Identity identity;
    ManagerCore::ManagerActions actions;
};

// The descriptor that --identity names, else CM_IDENTITY_TOML, else the program's own; absent where it has none.
std::optional<std::filesystem::path> descriptorFile(const Context& context);

// Reads that descriptor. One that cannot be read gives the empty records; where the user named it, one sentence on the
// standard error says so.
Product loadProduct(const Context& context);

} // namespace CodeManagerCLI
