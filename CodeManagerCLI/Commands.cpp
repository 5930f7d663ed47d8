#include "CodeManagerCLI/Commands.h"

#include <array>

#include "CodeManagerCLI/CompletionCommand.h"
#include "CodeManagerCLI/CrucibleCommand.h"
#include "CodeManagerCLI/DatabaseCommand.h"
#include "CodeManagerCLI/DoctorCommand.h"
#include "CodeManagerCLI/IdentityCommand.h"
#include "CodeManagerCLI/InstallCommand.h"
#include "CodeManagerCLI/ModelCommand.h"
#include "CodeManagerCLI/ScanCommand.h"
#include "CodeManagerCLI/ServiceCommand.h"
#include "CodeManagerCLI/SizeCommand.h"
#include "CodeManagerCLI/StatusCommand.h"
#include "CodeManagerCLI/TrashCommand.h"

namespace CodeManagerCLI
{

void addCommands(CommandTree& tree)
{
    // In the order of the help.
    constexpr std::array declarations {
        &StatusCommand::declare,
        &DoctorCommand::declare,
        &IdentityCommand::declare,
        &ScanCommand::declare,
        &ServiceCommand::declare,
        &ModelCommand::declare,
        &CrucibleCommand::declare,
        &InstallCommand::declare,
        &DatabaseCommand::declare,
        &SizeCommand::declare,
        &TrashCommand::declare,
        &CompletionCommand::declare,
    };
    for (const auto declare : declarations) {
        declare(tree);
    }
}

} // namespace CodeManagerCLI
