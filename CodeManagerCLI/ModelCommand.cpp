#include "CodeManagerCLI/ModelCommand.h"

#include <algorithm>
#include <utility>

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Foretold.h"
#include "CodeManagerCLI/Output.h"
#include "CodeManagerCLI/Project.h"
#include "CodeManagerCLI/ScriptRun.h"
#include "ManagerCore/Models/ModelBundleCheck.h"
#include "ManagerCore/Models/ModelCatalog.h"
#include "ManagerCore/Models/ModelInstaller.h"
#include "ManagerCore/Models/ModelInstallerRun.h"
#include "ManagerCore/Models/ModelPath.h"
#include "ManagerCore/Setup/InstallTexts.h"

namespace CodeManagerCLI::ModelCommand
{

namespace
{

using namespace ManagerCore;
using Proc::Out;

// Why nothing can be done; empty when it can.
std::string obstacle(const Product& product, const std::string& projectDir, bool configured)
{
    if (projectDir.empty()) {
        return InstallTexts::locateProjectFirst();
    }
    return configured && product.actions.defaultsPath.empty() ? InstallTexts::noDefaultsPath(product.identity)
                                                              : std::string();
}

int refuse(const Context& context, const std::string& sentence, bool asList)
{
    if (context.json) {
        const Json document = jsonOf(refusal(sentence), false);
        context.output.json(asList ? Json::array({document}) : document);
    } else {
        context.output.errorLine(sentence);
    }
    return ExitStatus::failed;
}

// Several at once are told as the window tells them.
std::vector<Out> installEach(ScriptRun& run, const std::string& projectDir, const std::vector<std::string>& slugs)
{
    std::vector<Out> results;
    const bool several = slugs.size() > 1;
    if (several) {
        run.say(InstallTexts::installingModels(slugs.size()));
    }
    for (const std::string& each : slugs) {
        if (several) {
            run.say(InstallTexts::progress(results.size() + 1, slugs.size(), "Installing " + each + "…"));
        }
        results.push_back(ModelInstallerRun::install(each, projectDir, run.watcher()));
        run.finish(results.back());
        run.complain(InstallTexts::ending(results.back()));
    }
    if (several) {
        const auto good = static_cast<std::size_t>(std::ranges::count_if(results, &Out::ok));
        run.say("\n" + InstallTexts::installedOf(good, slugs.size()));
    }
    return results;
}

std::vector<Out> installConfigured(ScriptRun& run, const Product& product, const std::string& projectDir)
{
    std::vector<Out> results;
    results.push_back(ModelInstaller::installConfiguredModel(projectDir, product.actions.defaultsPath, run.watcher()));
    run.finish(results.back());
    run.complain(InstallTexts::ending(results.back()));
    return results;
}

std::vector<Out> foretold(const Product& product, const std::string& projectDir, const std::vector<std::string>& slugs)
{
    std::vector<Out> results;
    results.reserve(slugs.size() + 1);
    for (const std::string& each : slugs) {
        results.push_back(Foretold::model(each, projectDir));
    }
    if (slugs.empty()) {
        results.push_back(Foretold::configuredModel(projectDir, product.actions.defaultsPath));
    }
    return results;
}

void print(const Context& context, const std::vector<Out>& results, bool dryRun)
{
    if (context.json) {
        Json document = Json::array();
        for (const Out& out : results) {
            document.push_back(jsonOf(out, dryRun));
        }
        context.output.json(document);
    } else if (dryRun) {
        for (const Out& out : results) {
            Foretold::report(context, out);
        }
    }
}

} // namespace

int show(const Context& context)
{
    const Product product = loadProduct(context);
    const auto model = ModelPath::resolve(product.identity, product.actions);
    if (context.json) {
        context.output.json(model ? Json {{"url", model->url.string()}, {"catalogInstalled", model->catalogInstalled}}
                                  : Json(nullptr));
    } else if (model) {
        context.output.table(
            {{"Path", model->url.string()}, {"From the catalog", model->catalogInstalled ? "yes" : "no"}});
    } else {
        context.output.line("absent");
    }
    return ExitStatus::done;
}

int catalog(const Context& context, const std::string& projectDir)
{
    const std::string dir = ModelInstaller::installModelsDir(projectDir);
    const std::vector<CatalogModel> models = ModelCatalog::scan(dir);
    Json document = Json::array();
    for (const CatalogModel& model : models) {
        const bool bundled = ModelBundleCheck::isBundled(model.repo, dir);
        if (context.json) {
            document.push_back({{"slug", model.slug},
                                {"name", model.name},
                                {"repo", model.repo},
                                {"size", model.size},
                                {"bundled", bundled}});
            continue;
        }
        context.output.heading(model.name);
        context.output.table({{"  slug", model.slug},
                              {"  repo", model.repo},
                              {"  size", model.size},
                              {"  weights", bundled ? "bundled" : "downloads"}});
    }
    if (context.json) {
        context.output.json(document);
    } else if (models.empty()) {
        context.output.line(projectDir.empty() ? InstallTexts::locateProjectFirst() : "No models in " + dir + ".");
    }
    return ExitStatus::done;
}

int slug(const Context& context, const Product& product, const std::string& projectDir)
{
    const auto found = ModelInstaller::resolvedSlug(projectDir, product.actions.defaultsPath);
    if (context.json) {
        context.output.json(found ? Json {{"slug", *found}} : Json(nullptr));
    } else {
        context.output.line(found.value_or("absent"));
    }
    return ExitStatus::done;
}

int install(const Context& context,
            const Product& product,
            const std::string& projectDir,
            const std::vector<std::string>& slugs,
            bool dryRun)
{
    if (const std::string sentence = obstacle(product, projectDir, slugs.empty()); !sentence.empty()) {
        return refuse(context, sentence, true);
    }
    ScriptRun run(context);
    std::vector<Out> results;
    if (dryRun) {
        results = foretold(product, projectDir, slugs);
    } else {
        results = slugs.empty() ? installConfigured(run, product, projectDir) : installEach(run, projectDir, slugs);
    }
    print(context, results, dryRun);
    return std::ranges::all_of(results, &Out::ok) ? ExitStatus::done : ExitStatus::failed;
}

int uninstall(const Context& context, const Product& product, const std::string& projectDir, bool dryRun)
{
    if (const std::string sentence = obstacle(product, projectDir, true); !sentence.empty()) {
        return refuse(context, sentence, false);
    }
    const std::string& defaultsPath = product.actions.defaultsPath;
    if (dryRun) {
        return Foretold::report(context, Foretold::uninstallConfiguredModel(projectDir, defaultsPath));
    }
    ScriptRun run(context);
    const Out out = ModelInstaller::uninstallConfiguredModel(projectDir, defaultsPath, run.watcher());
    if (context.json) {
        context.output.json(jsonOf(out, false));
        return out.ok() ? ExitStatus::done : ExitStatus::failed;
    }
    run.finish(out);
    out.ok() ? run.say(InstallTexts::removalEnding(out)) : run.complain(InstallTexts::removalEnding(out));
    return out.ok() ? ExitStatus::done : ExitStatus::failed;
}

void declare(CommandTree& tree)
{
    CLI::App& model = tree.noun("model", "Look after the product's model");
    tree.verb(model, "show", "Show where the served model lies", &show);

    CLI::App& catalogCommand = tree.verb(model, "catalog", "List the models that can be installed");
    const auto catalogProject = Project::add(tree, catalogCommand);
    tree.setAction(catalogCommand, [catalogProject](const Context& context) {
        return catalog(context, Project::folder(catalogProject, loadProduct(context)));
    });

    CLI::App& slugCommand = tree.verb(model, "slug", "Tell what the catalog calls the configured model");
    const auto slugProject = Project::add(tree, slugCommand);
    tree.setAction(slugCommand, [slugProject](const Context& context) {
        const Product product = loadProduct(context);
        return slug(context, product, Project::folder(slugProject, product));
    });

    CLI::App& installCommand = tree.verb(model, "install", "Install models of the catalog, or the configured one");
    const auto slugs = tree.take(
        installCommand, {.name = "SLUG", .type = "SLUG", .summary = "A model of the catalog", .several = true});
    const auto installProject = Project::add(tree, installCommand);
    const auto installDryRun = addDryRun(installCommand);
    tree.setAction(installCommand, [slugs, installProject, installDryRun](const Context& context) {
        const Product product = loadProduct(context);
        return install(context, product, Project::folder(installProject, product), *slugs, *installDryRun);
    });

    CLI::App& uninstallCommand = tree.verb(model, "uninstall", "Remove the configured model by the project's script");
    const auto uninstallProject = Project::add(tree, uninstallCommand);
    const auto uninstallDryRun = addDryRun(uninstallCommand);
    tree.setAction(uninstallCommand, [uninstallProject, uninstallDryRun](const Context& context) {
        const Product product = loadProduct(context);
        return uninstall(context, product, Project::folder(uninstallProject, product), *uninstallDryRun);
    });
}

} // namespace CodeManagerCLI::ModelCommand
