#include "CodeManagerCLI/Product.h"

#include <cstdlib>
#include <filesystem>

#include "CodeManagerCLI/Output.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Platform/Platform.h"

namespace CodeManagerCLI
{

namespace
{

// The descriptor that the user asked for, by option or by environment; an empty value counts.
std::optional<std::string> namedDescriptor(const Context& context)
{
    if (context.identityFile) {
        return context.identityFile;
    }
    const char* named = std::getenv("CM_IDENTITY_TOML");
    return named != nullptr ? std::optional<std::string>(named) : std::nullopt;
}

std::filesystem::path ownDescriptor()
{
    const auto resources = ManagerCore::Platform::resourceFolder();
    return resources ? *resources / "identity.toml" : std::filesystem::path();
}

} // namespace

Product loadProduct(const Context& context)
{
    const auto named = namedDescriptor(context);
    const std::filesystem::path file = named ? ManagerCore::FilePath::fromText(*named) : ownDescriptor();
    const auto identity = ManagerCore::Identity::load(file);
    if (!identity && named) {
        context.output.errorLine("The descriptor could not be read and empty settings are used: " + identity.error());
    }
    return {.identity = identity.value_or(ManagerCore::Identity::empty),
            .actions = ManagerCore::ManagerActions::load(file)};
}

} // namespace CodeManagerCLI
