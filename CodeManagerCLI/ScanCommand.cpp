#include "CodeManagerCLI/ScanCommand.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "CodeManagerCLI/CommandTree.h"
#include "CodeManagerCLI/Output.h"
#include "CodeManagerCLI/Product.h"
#include "ManagerCore/Foundation/Size.h"
#include "ManagerCore/Inventory/Scanner.h"

namespace CodeManagerCLI::ScanCommand
{

namespace
{

using ManagerCore::ArtifactCategory;
using ManagerCore::FoundItem;

// The items of one category, or all of them, under one title.
struct Group {
    std::string title;
    std::vector<const FoundItem*> items;
    std::int64_t bytes = 0;

    void add(const FoundItem& item)
    {
        items.push_back(&item);
        bytes += item.sizeBytes;
    }
    [[nodiscard]] std::string heading() const { return title + " · " + std::to_string(items.size()); }
    [[nodiscard]] std::string size() const { return ManagerCore::Size::human(bytes); }
};

// One for each category that has items; items keep their order.
std::vector<Group> groupsOf(const std::vector<FoundItem>& items)
{
    std::vector<Group> groups;
    for (const ArtifactCategory category : ManagerCore::allArtifactCategories) {
        Group group {.title = std::string(title(category))};
        for (const FoundItem& item : items) {
            if (item.category == category) {
                group.add(item);
            }
        }
        if (!group.items.empty()) {
            groups.push_back(std::move(group));
        }
    }
    return groups;
}

Group totalOf(const std::vector<FoundItem>& items)
{
    Group total {.title = "Total"};
    for (const FoundItem& item : items) {
        total.add(item);
    }
    return total;
}

// The width of the column of sizes.
std::size_t sizeWidth(const std::vector<Group>& groups)
{
    std::size_t width = 0;
    for (const Group& group : groups) {
        width = std::max(width, group.size().size());
        for (const FoundItem* item : group.items) {
            width = std::max(width, item->humanSize().size());
        }
    }
    return width;
}

void print(Output& output, const std::vector<FoundItem>& items)
{
    const std::vector<Group> groups = groupsOf(items);
    const Group total = totalOf(items);
    const std::size_t width = std::max(sizeWidth(groups), total.size().size());
    const auto aligned = [width](const std::string& size) { return std::string(width - size.size(), ' ') + size; };
    for (const Group& group : groups) {
        output.heading(aligned(group.size()) + "  " + group.heading());
        for (const FoundItem* item : group.items) {
            output.line(aligned(item->humanSize()) + "    " + item->path());
        }
        output.line("");
    }
    output.heading(aligned(total.size()) + "  " + total.heading());
}

void printJson(Output& output, const std::vector<FoundItem>& items)
{
    Json list = Json::array();
    for (const FoundItem& item : items) {
        list.push_back({{"path", item.path()},
                        {"name", item.name()},
                        {"category", title(item.category)},
                        {"sizeBytes", item.sizeBytes},
                        {"humanSize", item.humanSize()}});
    }
    output.json(list);
}

} // namespace

int run(const Context& context)
{
    const Product product = loadProduct(context);
    const std::vector<FoundItem> items = ManagerCore::Scanner::scan(product.identity);
    if (context.json) {
        printJson(context.output, items);
    } else if (items.empty()) {
        context.output.line("Nothing installed for " + product.identity.name);
    } else {
        print(context.output, items);
    }
    return ExitStatus::done;
}

void declare(CommandTree& tree) { tree.noun("scan", "List everything that the product has put on this machine", &run); }

} // namespace CodeManagerCLI::ScanCommand
