#include "CodeManagerCLI/CommandLine.h"

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Commands.h"
#include "CodeManagerCLI/Help.h"
#include "CodeManagerCLI/Output.h"

namespace CodeManagerCLI
{

int runCommandLine(const std::vector<std::string>& arguments, Output& output)
{
    CommandTree tree;
    addCommands(tree);
    try {
        tree.parse(arguments);
        return tree.run(output);
    } catch (const CLI::CallForHelp&) {
        output.lines(Help::of(tree.selected()));
        return ExitStatus::done;
    } catch (const CLI::CallForVersion& version) {
        output.line(version.what());
        return ExitStatus::done;
    } catch (const UsageError& error) {
        output.errorLine(error.sentence);
        output.errorLine("See “" + error.command + " --help”.");
        return ExitStatus::wrongUsage;
    }
}

} // namespace CodeManagerCLI
