#include "CodeManagerCLI/Product.h"

#include <cstdlib>

#include "CodeManagerCLI/Output.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/ProductDescriptor.h"

namespace CodeManagerCLI
{

std::optional<std::filesystem::path> descriptorFile(const Context& context)
{
    return context.identityFile ? std::optional(ManagerCore::FilePath::fromText(*context.identityFile))
                                : ManagerCore::ProductDescriptor::location();
}

Product loadProduct(const Context& context)
{
    const std::filesystem::path file = descriptorFile(context).value_or(std::filesystem::path());
    const bool named = context.identityFile || std::getenv("CM_IDENTITY_TOML") != nullptr;
    const auto identity = ManagerCore::Identity::load(file);
    if (!identity && named) {
        context.output.errorLine("The descriptor could not be read and empty settings are used: " + identity.error());
    }
    return {.identity = identity.value_or(ManagerCore::Identity::empty),
            .actions = ManagerCore::ManagerActions::load(file)};
}

} // namespace CodeManagerCLI
