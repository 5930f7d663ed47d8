#include "CodeManagerCLI/ServiceCommand.h"

#include <string>

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Output.h"
#include "CodeManagerCLI/Product.h"
#include "ManagerCore/Health/Service.h"

namespace CodeManagerCLI::ServiceCommand
{

namespace
{

using ManagerCore::Proc::Out;

std::string wordOf(Operation operation)
{
    switch (operation) {
    case Operation::start:
        return "Start";
    case Operation::stop:
        return "Stop";
    case Operation::restart:
        break;
    }
    return "Restart";
}

std::string noAgent(const Product& product)
{
    return "No launch_agent configured for " + product.identity.display + ".";
}

Out perform(Operation operation, const std::string& label)
{
    switch (operation) {
    case Operation::start:
        return ManagerCore::Service::start(label);
    case Operation::stop:
        return ManagerCore::Service::stop(label);
    case Operation::restart:
        break;
    }
    return ManagerCore::Service::restart(label);
}

std::string foretold(Operation operation, const std::string& label)
{
    switch (operation) {
    case Operation::start:
        return "Would start " + label + " from " + ManagerCore::Service::plistPath(label) + ".";
    case Operation::stop:
        return "Would stop " + label + ".";
    case Operation::restart:
        break;
    }
    return "Would restart " + label + ".";
}

Out resultOf(const Product& product, Operation operation, bool dryRun)
{
    const std::string& label = product.actions.launchAgent;
    if (label.empty()) {
        return {.code = ExitStatus::failed, .stdout = {}, .stderr = noAgent(product)};
    }
    if (dryRun) {
        return {.code = 0, .stdout = foretold(operation, label), .stderr = {}};
    }
    return perform(operation, label);
}

void printJson(Output& output, const Out& out, bool dryRun)
{
    Json document {{"code", out.code}, {"stdout", out.stdout}, {"stderr", out.stderr}};
    if (dryRun) {
        document["dryRun"] = true;
    }
    output.json(document);
}

} // namespace

int run(const Context& context, Operation operation, bool dryRun)
{
    const Product product = loadProduct(context);
    const Out out = resultOf(product, operation, dryRun);
    if (context.json) {
        printJson(context.output, out, dryRun);
    } else if (product.actions.launchAgent.empty()) {
        context.output.errorLine(out.stderr);
    } else if (!out.ok()) {
        context.output.errorLines(wordOf(operation) + " failed (" + std::to_string(out.code) + ")\n" + out.stderr);
    } else {
        context.output.line(dryRun ? out.stdout : wordOf(operation) + ": ok");
    }
    return out.ok() ? ExitStatus::done : ExitStatus::failed;
}

int status(const Context& context)
{
    const Product product = loadProduct(context);
    const auto& actions = product.actions;
    const bool running = ManagerCore::Service::running(actions.launchAgent);
    if (context.json) {
        context.output.json({{"running", running}});
    } else {
        context.output.line(running ? "running " + actions.launchAgent + ":" + actions.serverPort : "stopped");
    }
    return running ? ExitStatus::done : ExitStatus::notRunning;
}

int plist(const Context& context)
{
    const Product product = loadProduct(context);
    const std::string& label = product.actions.launchAgent;
    const std::string path = label.empty() ? std::string() : ManagerCore::Service::plistPath(label);
    if (context.json) {
        context.output.json({{"path", label.empty() ? Json(nullptr) : Json(path)}});
    } else if (label.empty()) {
        context.output.errorLine(noAgent(product));
    } else {
        context.output.line(path);
    }
    return ExitStatus::done;
}

void declare(CommandTree& tree)
{
    CLI::App& service = tree.noun("service", "Control the backend's launch agent");
    tree.verb(service, "status", "Tell whether the backend is running", &status);
    const auto declareOperation = [&](const std::string& name, const std::string& summary, Operation operation) {
        CLI::App& command = tree.verb(service, name, summary);
        const auto dryRun = addDryRun(command);
        tree.setAction(command,
                       [operation, dryRun](const Context& context) { return run(context, operation, *dryRun); });
    };
    declareOperation("start", "Load the agent and start the backend", Operation::start);
    declareOperation("stop", "Stop the backend and unload the agent", Operation::stop);
    declareOperation("restart", "Stop the running backend and start it again", Operation::restart);
    tree.verb(service, "plist", "Print where the agent's property list belongs", &plist);
}

} // namespace CodeManagerCLI::ServiceCommand
