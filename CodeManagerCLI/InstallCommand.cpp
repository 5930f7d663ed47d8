#include "CodeManagerCLI/InstallCommand.h"

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Foretold.h"
#include "CodeManagerCLI/Output.h"
#include "CodeManagerCLI/Project.h"
#include "CodeManagerCLI/ScriptRun.h"
#include "ManagerCore/Installers/ConfigSeeder.h"
#include "ManagerCore/Installers/DesktopInstaller.h"
#include "ManagerCore/Installers/EngineInstaller.h"
#include "ManagerCore/Installers/Installer.h"
#include "ManagerCore/Setup/InstallEverything.h"
#include "ManagerCore/Setup/InstallTexts.h"

namespace CodeManagerCLI::InstallCommand
{

namespace
{

using namespace ManagerCore;
using Proc::Out;

Out perform(Part part, const std::string& projectDir, Proc::Watcher* watcher)
{
    switch (part) {
    case Part::cli:
        return Installer::run(projectDir, watcher);
    case Part::engine:
        return EngineInstaller::run(projectDir, watcher);
    case Part::desktop:
        break;
    }
    return DesktopInstaller::run(projectDir, watcher);
}

Out foretold(Part part, const std::string& projectDir)
{
    switch (part) {
    case Part::cli:
        return Foretold::build(projectDir);
    case Part::engine:
        return Foretold::engine(projectDir);
    case Part::desktop:
        break;
    }
    return Foretold::desktop(projectDir);
}

int refuse(const Context& context, const std::string& sentence)
{
    if (context.json) {
        context.output.json(jsonOf(refusal(sentence), false));
    } else {
        context.output.errorLine(sentence);
    }
    return ExitStatus::failed;
}

// Performs the steps and gives the whole as one result: the console's text, and the failing child's code and error.
Out performAll(const InstallEverything::Plan& plan, ScriptRun& run)
{
    Out whole;
    for (const auto step : InstallEverything::steps(plan)) {
        const std::string opening = InstallEverything::opening(plan, step);
        run.say(opening);
        const bool shown = InstallEverything::isShown(step);
        const InstallEverything::Outcome outcome
            = InstallEverything::perform(plan, step, shown ? run.watcher() : nullptr);
        whole.stdout += opening + outcome.text();
        if (!shown) {
            run.complain(outcome.shown);
        } else if (outcome.closing.empty() || outcome.out.stderr != outcome.closing) {
            run.finish(outcome.out); // a refusal that is also the closing is said once
        }
        if (outcome.failed) {
            run.complain(outcome.closing);
            whole.code = outcome.out.code;
            whole.stderr = outcome.out.stderr;
        } else {
            run.say(outcome.closing);
        }
        if (outcome.ends) {
            break;
        }
    }
    return whole;
}

void declarePart(CommandTree& tree, CLI::App& install, const std::string& name, const std::string& summary, Part part)
{
    CLI::App& command = tree.verb(install, name, summary);
    const auto project = Project::add(tree, command);
    const auto dryRun = addDryRun(command);
    tree.setAction(command, [part, project, dryRun](const Context& context) {
        return run(context, part, Project::folder(project, loadProduct(context)), *dryRun);
    });
}

} // namespace

int run(const Context& context, Part part, const std::string& projectDir, bool dryRun)
{
    if (projectDir.empty()) {
        return refuse(context, InstallTexts::locateProjectFirst());
    }
    if (dryRun) {
        return Foretold::report(context, foretold(part, projectDir));
    }
    ScriptRun scripts(context);
    return report(context, scripts, perform(part, projectDir, scripts.watcher()));
}

int runEverything(
    const Context& context, const Product& product, const std::string& projectDir, bool desktop, bool dryRun)
{
    if (projectDir.empty()) {
        return refuse(context, InstallTexts::locateProjectFirst());
    }
    const InstallEverything::Plan plan {
        .identity = product.identity, .actions = product.actions, .projectDir = projectDir, .desktop = desktop};
    if (dryRun) {
        return Foretold::report(context, Foretold::everything(plan));
    }
    ScriptRun scripts(context);
    const Out whole = performAll(plan, scripts);
    if (context.json) {
        context.output.json(jsonOf(whole, false));
    }
    return whole.ok() ? ExitStatus::done : ExitStatus::failed;
}

int seed(const Context& context, bool dryRun)
{
    const Product product = loadProduct(context);
    if (dryRun) {
        return Foretold::report(context, Foretold::seed(product.identity));
    }
    ScriptRun scripts(context);
    return report(context, scripts, ConfigSeeder::seed(product.identity, scripts.watcher()));
}

void declare(CommandTree& tree)
{
    CLI::App& install = tree.noun("install", "Build and install the product from its source project");
    declarePart(tree, install, "cli", "Install the command-line product", Part::cli);
    declarePart(tree, install, "engine", "Install the local engine", Part::engine);
    declarePart(tree, install, "desktop", "Install the desktop application", Part::desktop);

    CLI::App& everything = tree.verb(install, "everything", "Install all of it, its model too, and start the backend");
    const auto withoutDesktop = addFlag(everything, "--no-desktop", "Leave out the desktop application");
    const auto project = Project::add(tree, everything);
    const auto dryRun = addDryRun(everything);
    tree.setAction(everything, [withoutDesktop, project, dryRun](const Context& context) {
        const Product product = loadProduct(context);
        return runEverything(context, product, Project::folder(project, product), !*withoutDesktop, *dryRun);
    });

    CLI::App& seedCommand = tree.noun("seed", "Let the installed product write its configuration");
    const auto seedDryRun = addDryRun(seedCommand);
    tree.setAction(seedCommand, [seedDryRun](const Context& context) { return seed(context, *seedDryRun); });
}

} // namespace CodeManagerCLI::InstallCommand
