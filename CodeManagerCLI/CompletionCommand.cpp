#include "CodeManagerCLI/CompletionCommand.h"

#include <string>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/CompletionScripts.h"
#include "CodeManagerCLI/Output.h"

namespace CodeManagerCLI::CompletionCommand
{

namespace
{

std::string scriptFor(Shell shell, const CLI::App& root)
{
    switch (shell) {
    case Shell::bash:
        return CompletionScripts::bash(root);
    case Shell::zsh:
        return CompletionScripts::zsh(root);
    case Shell::fish:
        break;
    }
    return CompletionScripts::fish(root);
}

} // namespace

int run(const Context& context, const CommandTree& tree, Shell shell)
{
    if (context.json) {
        throw UsageError {"A completion script has no JSON form.", fullName(tree.selected())};
    }
    context.output.lines(scriptFor(shell, tree.root()));
    return ExitStatus::done;
}

void declare(CommandTree& tree)
{
    CLI::App& completion = tree.noun("completion", "Print a completion script for a shell");
    const auto declareShell = [&](const std::string& name, Shell shell) {
        tree.verb(completion, name, "Print the script for " + name, [&tree, shell](const Context& context) {
            return run(context, tree, shell);
        });
    };
    declareShell("bash", Shell::bash);
    declareShell("zsh", Shell::zsh);
    declareShell("fish", Shell::fish);
}

} // namespace CodeManagerCLI::CompletionCommand
