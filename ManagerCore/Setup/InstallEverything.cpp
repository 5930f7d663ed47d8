#include "ManagerCore/Setup/InstallEverything.h"

#include <algorithm>
#include <utility>

#include "ManagerCore/Health/Service.h"
#include "ManagerCore/Installers/ConfigSeeder.h"
#include "ManagerCore/Installers/DesktopInstaller.h"
#include "ManagerCore/Installers/EngineInstaller.h"
#include "ManagerCore/Installers/Installer.h"
#include "ManagerCore/Models/ModelInstaller.h"
#include "ManagerCore/Setup/InstallTexts.h"

namespace ManagerCore::InstallEverything
{

namespace
{

Outcome ended(Proc::Out out, std::string closing)
{
    Outcome outcome;
    outcome.shown = InstallTexts::shown(out);
    outcome.out = std::move(out);
    outcome.closing = std::move(closing);
    outcome.failed = true;
    outcome.ends = true;
    return outcome;
}

// Of a step that the others need.
Outcome needed(Proc::Out out)
{
    if (!out.ok()) {
        std::string closing = "\n✗ failed (exit " + std::to_string(out.code) + ") — stopping.\n";
        return ended(std::move(out), std::move(closing));
    }
    Outcome outcome;
    outcome.shown = InstallTexts::shown(out);
    outcome.out = std::move(out);
    return outcome;
}

// What the product prints at its first run is of no interest unless that fails; the model step tells what is missing.
Outcome seed(const Plan& plan, Proc::Watcher* watcher)
{
    Outcome outcome;
    outcome.out = ConfigSeeder::seed(plan.identity, watcher);
    if (!outcome.out.ok()) {
        outcome.shown = InstallTexts::shown(outcome.out);
    }
    return outcome;
}

Outcome installModel(const Plan& plan, Proc::Watcher* watcher)
{
    const std::string& defaultsPath = plan.actions.defaultsPath;
    if (defaultsPath.empty()) {
        Outcome outcome = ended({.code = 1, .stdout = {}, .stderr = {}},
                                "no defaults_path configured for " + plan.identity.display + " — stopping.");
        outcome.out.stderr = outcome.closing;
        return outcome;
    }
    return needed(ModelInstaller::installConfiguredModel(plan.projectDir, defaultsPath, watcher));
}

Outcome startService(const std::string& label)
{
    Outcome outcome;
    if (label.empty()) {
        outcome.closing = "no launch_agent configured — skipping.";
    } else if (Service::running(label)) {
        outcome.closing = "already running.";
    } else {
        outcome.out = Service::start(label);
        outcome.failed = !outcome.out.ok();
        outcome.closing = outcome.failed
            ? "✗ service start failed (exit " + std::to_string(outcome.out.code) + "): " + outcome.out.stderr
            : "✓ service started.";
    }
    return outcome;
}

} // namespace

std::vector<Step> steps(const Plan& plan)
{
    std::vector<Step> all {Step::cli, Step::seed, Step::model, Step::engine};
    if (plan.desktop) {
        all.push_back(Step::desktop);
    }
    all.push_back(Step::service);
    return all;
}

std::size_t total(const Plan& plan) { return steps(plan).size() - 1; }

std::size_t number(const Plan& plan, Step step)
{
    std::vector<Step> counted = steps(plan);
    std::erase(counted, Step::seed);
    const auto found = std::ranges::find(counted, step);
    return found == counted.end() ? 0 : static_cast<std::size_t>(found - counted.begin()) + 1;
}

std::string doing(Step step)
{
    switch (step) {
    case Step::cli:
        return "Installing the CLI…";
    case Step::seed:
        return {};
    case Step::model:
        return "Installing the model…";
    case Step::engine:
        return "Installing the local engine…";
    case Step::desktop:
        return "Installing the desktop app…";
    case Step::service:
        break;
    }
    return "Starting the service…";
}

std::string opening(const Plan& plan, Step step)
{
    const std::size_t which = number(plan, step);
    return which == 0 ? std::string() : InstallTexts::progress(which, total(plan), doing(step));
}

bool isShown(Step step) { return step != Step::seed && step != Step::service; }

Outcome perform(const Plan& plan, Step step, Proc::Watcher* watcher)
{
    if (watcher != nullptr && watcher->stopRequested()) {
        return needed({.code = -1, .stdout = {}, .stderr = "The installation was stopped."});
    }
    switch (step) {
    case Step::cli:
        return needed(Installer::run(plan.projectDir, watcher));
    case Step::seed:
        return seed(plan, watcher);
    case Step::model:
        return installModel(plan, watcher);
    case Step::engine:
        return needed(EngineInstaller::run(plan.projectDir, watcher));
    case Step::desktop:
        return needed(DesktopInstaller::run(plan.projectDir, watcher));
    case Step::service:
        break;
    }
    return startService(plan.actions.launchAgent);
}

} // namespace ManagerCore::InstallEverything
