#pragma once

#include <filesystem>
#include <string>

#include "CodeManagerCLI/Context.h"
#include "ManagerCore/Foundation/Identity.h"
#include "ManagerCore/Foundation/Proc.h"
#include "ManagerCore/Foundation/Remover.h"
#include "ManagerCore/Setup/InstallEverything.h"

// What --dry-run tells of the commands that run scripts: a result as the run itself would give it, with what would be
// run as its standard output, or with what is missing. Nothing is run, nothing written.
namespace CodeManagerCLI::Foretold
{

using ManagerCore::Proc::Out;

Out build(const std::string& dir);
Out engine(const std::string& projectDir);
Out desktop(const std::string& projectDir);
Out model(const std::string& slug, const std::string& projectDir);
Out configuredModel(const std::string& projectDir, const std::string& defaultsPath);
Out uninstallConfiguredModel(const std::string& projectDir, const std::string& defaultsPath);
Out seed(const ManagerCore::Identity& identity);
// What moving the item to the Trash would come to, as far as looking at it tells.
ManagerCore::Remover::Result trash(const std::filesystem::path& path);
Out everything(const ManagerCore::InstallEverything::Plan& plan);

// Prints it and gives the exit status.
int report(const Context& context, const Out& out);

} // namespace CodeManagerCLI::Foretold
