#include "CodeManagerCLI/Foretold.h"

#include <optional>
#include <utility>

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/ScriptRun.h"
#include "ManagerCore/Health/Service.h"
#include "ManagerCore/Installers/ConfigSeeder.h"
#include "ManagerCore/Installers/DesktopInstaller.h"
#include "ManagerCore/Installers/EngineInstaller.h"
#include "ManagerCore/Installers/Installer.h"
#include "ManagerCore/Models/ModelInstaller.h"
#include "ManagerCore/Models/ModelPath.h"

namespace CodeManagerCLI::Foretold
{

using namespace ManagerCore;

namespace
{

Out would(std::string text) { return {.code = 0, .stdout = std::move(text), .stderr = {}}; }

Out service(const std::string& label)
{
    if (label.empty()) {
        return would("no launch_agent configured — skipping.");
    }
    return would(Service::running(label) ? "already running."
                                         : "Would start " + label + " from " + Service::plistPath(label) + ".");
}

Out modelOf(const InstallEverything::Plan& plan)
{
    const std::string& defaultsPath = plan.actions.defaultsPath;
    if (defaultsPath.empty()) {
        return refusal("no defaults_path configured for " + plan.identity.display + " — stopping.");
    }
    // The product may only configure one once it is installed.
    return ModelPath::configuredModel(defaultsPath) ? configuredModel(plan.projectDir, defaultsPath)
                                                    : would("Would install the model that is then configured.");
}

Out stepOf(const InstallEverything::Plan& plan, InstallEverything::Step step)
{
    using InstallEverything::Step;
    switch (step) {
    case Step::cli:
        return build(plan.projectDir);
    case Step::seed:
        return would({});
    case Step::model:
        return modelOf(plan);
    case Step::engine:
        return engine(plan.projectDir);
    case Step::desktop:
        return desktop(plan.projectDir);
    case Step::service:
        break;
    }
    return service(plan.actions.launchAgent);
}

} // namespace

Out build(const std::string& dir)
{
    if (Installer::has(dir, "build.command")) {
        return would("Would run " + dir + "/build.command.");
    }
    if (Installer::has(dir, "install.command")) {
        return would("Would run cargo build --release in " + dir + ", then " + dir + "/install.command.");
    }
    return refusal("no build.command or install.command in " + dir);
}

Out engine(const std::string& projectDir)
{
    const auto dir = EngineInstaller::engineDir(projectDir);
    return dir ? build(*dir) : refusal("no mlx-vantor project found next to " + projectDir);
}

Out desktop(const std::string& projectDir)
{
    const auto dir = DesktopInstaller::desktopDir(projectDir);
    return dir ? build(*dir) : refusal("no desktop/build.command found under " + projectDir);
}

Out model(const std::string& slug, const std::string& projectDir)
{
    const std::string dir = ModelInstaller::installModelsDir(projectDir);
    return Installer::has(dir, "install-one-model.command")
        ? would("Would run " + dir + "/install-one-model.command " + slug)
        : refusal("no install-one-model.command under " + dir);
}

Out configuredModel(const std::string& projectDir, const std::string& defaultsPath)
{
    const auto slug = ModelInstaller::resolvedSlug(projectDir, defaultsPath);
    return slug ? model(*slug, projectDir)
                : refusal("no mlx.model configured in " + defaultsPath + ", or no catalog match");
}

Out uninstallConfiguredModel(const std::string& projectDir, const std::string& defaultsPath)
{
    const auto configured = ModelPath::configuredModel(defaultsPath);
    const auto slug = ModelInstaller::resolvedSlug(projectDir, defaultsPath);
    if (slug) {
        return would("Would run " + ModelInstaller::installModelsDir(projectDir) + "/uninstall-model.command " + *slug);
    }
    return refusal(configured ? "no catalog entry found for model '" + *configured + "'"
                              : "no mlx.model configured in " + defaultsPath);
}

Out seed(const Identity& identity)
{
    const auto binary = identity.installedExecutable();
    return binary ? would("Would run " + binary->string() + " --version")
                  : refusal("no installed binary found to seed config from");
}

Remover::Result trash(const std::filesystem::path& path)
{
    return {.path = path.string(), .trashed = false, .error = Remover::check(path)};
}

Out everything(const InstallEverything::Plan& plan)
{
    std::string text;
    for (const auto step : InstallEverything::steps(plan)) {
        text += InstallEverything::opening(plan, step);
        Out out = stepOf(plan, step);
        text += out.stdout;
        if (!out.ok()) {
            out.stdout = std::move(text);
            return out;
        }
        text += text.ends_with('\n') ? "" : "\n";
    }
    return would(std::move(text));
}

int report(const Context& context, const Out& out)
{
    if (context.json) {
        context.output.json(jsonOf(out, true));
    } else {
        context.output.lines(out.stdout);
        if (!out.ok()) {
            context.output.errorLines(out.stderr);
        }
    }
    return out.ok() ? ExitStatus::done : ExitStatus::failed;
}

} // namespace CodeManagerCLI::Foretold
