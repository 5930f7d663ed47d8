#include "CodeManagerCLI/SizeCommand.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Output.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Size.h"

namespace CodeManagerCLI::SizeCommand
{

namespace
{

struct Measured {
    std::string typed;
    std::string path; // absolute
    std::int64_t bytes = 0;
    std::string human;
};

Measured measure(const std::string& typed)
{
    const auto path = ManagerCore::FilePath::fromText(typed);
    const std::int64_t bytes = ManagerCore::Size::of(path);
    return {.typed = typed, .path = path.string(), .bytes = bytes, .human = ManagerCore::Size::human(bytes)};
}

void print(Output& output, const std::vector<Measured>& items)
{
    std::size_t width = 0;
    for (const Measured& item : items) {
        width = std::max(width, item.human.size());
    }
    for (const Measured& item : items) {
        output.line(std::string(width - item.human.size(), ' ') + item.human + "  " + item.typed);
    }
}

void printJson(Output& output, const std::vector<Measured>& items)
{
    Json list = Json::array();
    for (const Measured& item : items) {
        list.push_back({{"path", item.path}, {"bytes", item.bytes}, {"human", item.human}});
    }
    output.json(list);
}

} // namespace

int run(const Context& context, const std::vector<std::string>& paths)
{
    std::vector<Measured> items;
    std::ranges::transform(paths, std::back_inserter(items), measure);
    if (context.json) {
        printJson(context.output, items);
    } else {
        print(context.output, items);
    }
    return ExitStatus::done;
}

void declare(CommandTree& tree)
{
    CLI::App& command = tree.noun("size", "Measure what files and folders occupy on disk");
    const auto paths = tree.paths(command, "A file or folder");
    tree.setAction(command, [paths](const Context& context) { return run(context, *paths); });
}

} // namespace CodeManagerCLI::SizeCommand
