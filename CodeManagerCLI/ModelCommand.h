#pragma once

#include <string>
#include <vector>

#include "CodeManagerCLI/Context.h"
#include "CodeManagerCLI/Product.h"

namespace CodeManagerCLI
{

class CommandTree;

namespace ModelCommand
{

// Where the model lies that the product serves; absent is an answer.
int show(const Context& context);

// The models that can be installed from the project's catalog.
int catalog(const Context& context, const std::string& projectDir);

// What the catalog calls the configured model; absent is an answer.
int slug(const Context& context, const Product& product, const std::string& projectDir);

// Installs each of `slugs`, or the configured model when there is none. A failure does not keep the others from being
// installed. With `dryRun` only tells what would be run.
int install(const Context& context,
            const Product& product,
            const std::string& projectDir,
            const std::vector<std::string>& slugs,
            bool dryRun);

// Removes the configured model by the project's script.
int uninstall(const Context& context, const Product& product, const std::string& projectDir, bool dryRun);

void declare(CommandTree& tree);

} // namespace ModelCommand

} // namespace CodeManagerCLI
