#include "CodeManagerCLI/IdentityCommand.h"

#include <vector>

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Output.h"
#include "CodeManagerCLI/Product.h"
#include "ManagerCore/Foundation/DescriptorFields.h"

namespace CodeManagerCLI::IdentityCommand
{

namespace
{

namespace DescriptorFields = ManagerCore::DescriptorFields;

template <class Record, class Fields> Json jsonOf(const Record& record, const Fields& fields)
{
    Json document = Json::object();
    for (const auto& field : fields) {
        document[std::string(field.name)] = field.list != nullptr ? Json(record.*field.list) : Json(record.*field.text);
    }
    return document;
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
    const Json document {{"identity", jsonOf(product.identity, DescriptorFields::identity)},
                         {"actions", jsonOf(product.actions, DescriptorFields::actions)}};
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
