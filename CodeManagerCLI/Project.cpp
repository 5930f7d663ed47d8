#include "CodeManagerCLI/Project.h"

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Product.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/ProjectDir.h"

namespace CodeManagerCLI::Project
{

Option add(CommandTree& tree, CLI::App& command)
{
    return tree.value(command, "--project", ValueType::folder, "The product's source project, not the remembered one");
}

std::string named(const Option& option) { return ManagerCore::FilePath::fromText(option->value_or("")).string(); }

std::string folder(const Option& option, const Product& product)
{
    return *option ? named(option) : ManagerCore::ProjectDir::peekProjectDir(product.identity.name);
}

} // namespace CodeManagerCLI::Project
