#include "CodeManagerCLI/ModelCommand.h"

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Output.h"
#include "CodeManagerCLI/Product.h"
#include "ManagerCore/Models/ModelPath.h"

namespace CodeManagerCLI::ModelCommand
{

int show(const Context& context)
{
    const Product product = loadProduct(context);
    const auto model = ManagerCore::ModelPath::resolve(product.identity, product.actions);
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

void declare(CommandTree& tree)
{
    CLI::App& model = tree.noun("model", "Look after the product's model");
    tree.verb(model, "show", "Show where the served model lies", &show);
}

} // namespace CodeManagerCLI::ModelCommand
