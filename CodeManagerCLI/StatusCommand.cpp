#include "CodeManagerCLI/StatusCommand.h"

#include <vector>

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Output.h"
#include "CodeManagerCLI/Product.h"
#include "ManagerCore/Foundation/Size.h"
#include "ManagerCore/Health/StatusProbe.h"

namespace CodeManagerCLI::StatusCommand
{

namespace
{

using ManagerCore::ManagerActions;
using ManagerCore::Status;

Json jsonOf(const Status& status)
{
    return {
        {"installed", status.installed},
        {"version", status.version},
        {"commit", status.commit},
        {"backendRunning", status.backendRunning},
        {"modelPresent", status.modelPresent},
        {"modelPath", status.modelPath},
        {"modelBytes", status.modelBytes},
        {"modelCatalogInstalled", status.modelCatalogInstalled},
        {"provider", status.provider},
    };
}

Tone toneOf(bool good) { return good ? Tone::good : Tone::bad; }

Row backendRow(const Status& status, const ManagerActions& actions)
{
    const std::string running = "running " + actions.launchAgent + ":" + actions.serverPort;
    return {"Backend", status.backendRunning ? running : "stopped", toneOf(status.backendRunning)};
}

Row modelRow(const Status& status)
{
    const std::string present = "present " + ManagerCore::Size::human(status.modelBytes);
    return {"Model", status.modelPresent ? present : "absent", toneOf(status.modelPresent)};
}

std::vector<Row> rowsOf(const Status& status, const ManagerActions& actions)
{
    std::vector<Row> rows {
        {"Status", status.installed ? "Installed" : "Not installed", toneOf(status.installed)},
        {"Version", status.version + " (" + status.commit + ")"},
        backendRow(status, actions),
        modelRow(status),
    };
    if (status.modelPresent) {
        rows.push_back({"", status.modelPath});
    }
    rows.push_back({"Provider", status.provider});
    return rows;
}

} // namespace

int run(const Context& context)
{
    const Product product = loadProduct(context);
    const Status status = ManagerCore::StatusProbe::gather(product.identity, product.actions);
    if (context.json) {
        context.output.json(jsonOf(status));
    } else {
        context.output.table(rowsOf(status, product.actions));
    }
    return ExitStatus::done;
}

void declare(CommandTree& tree)
{
    tree.noun("status", "Show whether the product is installed, running and has its model", &run);
}

} // namespace CodeManagerCLI::StatusCommand
