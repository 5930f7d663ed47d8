#include "CodeManagerCLI/IdentityCommand.h"

#include <vector>

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Output.h"
#include "CodeManagerCLI/Product.h"

namespace CodeManagerCLI::IdentityCommand
{

namespace
{

Json jsonOf(const ManagerCore::Identity& identity)
{
    return {
        {"name", identity.name},
        {"display", identity.display},
        {"bundlePrefix", identity.bundlePrefix},
        {"appPaths", identity.appPaths},
        {"binaries", identity.binaries},
        {"configDirs", identity.configDirs},
        {"modelPaths", identity.modelPaths},
        {"modelLocations", identity.modelLocations},
        {"modelDisplay", identity.modelDisplay},
        {"editorExtensionId", identity.editorExtensionId},
        {"marker", identity.marker},
        {"sweepNames", identity.sweepNames},
        {"sweepDirs", identity.sweepDirs},
    };
}

Json jsonOf(const ManagerCore::ManagerActions& actions)
{
    return {
        {"defaultsPath", actions.defaultsPath},
        {"launchAgent", actions.launchAgent},
        {"serverBin", actions.serverBin},
        {"serverPort", actions.serverPort},
        {"serverLog", actions.serverLog},
        {"modelServed", actions.modelServed},
    };
}

// A list takes a row for each of its elements.
void addRows(std::vector<Row>& rows, const Json& record)
{
    for (const auto& [name, value] : record.items()) {
        if (value.is_string()) {
            rows.push_back({name, value.get<std::string>()});
            continue;
        }
        rows.push_back({name, value.empty() ? "" : value.front().get<std::string>()});
        for (std::size_t index = 1; index < value.size(); ++index) {
            rows.push_back({"", value[index].get<std::string>()});
        }
    }
}

} // namespace

int run(const Context& context)
{
    const Product product = loadProduct(context);
    const Json document {{"identity", jsonOf(product.identity)}, {"actions", jsonOf(product.actions)}};
    if (context.json) {
        context.output.json(document);
        return ExitStatus::done;
    }
    std::vector<Row> rows;
    addRows(rows, document["identity"]);
    addRows(rows, document["actions"]);
    context.output.table(rows);
    return ExitStatus::done;
}

void declare(CommandTree& tree) { tree.noun("identity", "Show the product's descriptor as loaded", &run); }

} // namespace CodeManagerCLI::IdentityCommand
