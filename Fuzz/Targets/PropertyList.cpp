#include "ManagerCore/Foundation/PropertyList.h"

#include <cstdint>
#include <cstdlib>
#include <memory>

#include <plist/plist.h>

#include "Fuzz/Target.h"
#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Models/ModelPath.h"
#include "ManagerCore/Platform/Platform.h"

namespace
{

namespace PropertyList = ManagerCore::PropertyList;
using Fuzz::require;

// Goes everywhere a reader could and gives the number of parts.
std::size_t partsOf(plist_t node, std::size_t depth)
{
    require(depth < 200, "Property lists that nest too deep are refused.");
    std::size_t parts = 1;
    if (plist_get_node_type(node) == PLIST_ARRAY) {
        for (std::uint32_t index = 0; index < plist_array_get_size(node); index++) {
            parts += partsOf(plist_array_get_item(node, index), depth + 1);
        }
    } else if (plist_get_node_type(node) == PLIST_DICT) {
        plist_dict_iter iterator = nullptr;
        plist_dict_new_iter(node, &iterator);
        const std::unique_ptr<void, decltype(&std::free)> release(iterator, &std::free);
        plist_t value = node;
        while (value != nullptr) {
            value = nullptr;
            plist_dict_next_item(node, iterator, nullptr, &value);
            parts += value != nullptr ? partsOf(value, depth + 1) : 0;
        }
    }
    return parts;
}

// The status asks the backend's agent for its model.
void checkModelOfAgent(std::string_view input)
{
    Fuzz::put(ManagerCore::Platform::homeFolder() / "Library/LaunchAgents/agent.plist", input);
    const auto model = ManagerCore::ModelPath::resolve({}, {.launchAgent = "agent"});
    if (model) {
        require(ManagerCore::FilePath::exists(model->url), "A model that is told exists.");
        require(!model->catalogInstalled, "An agent’s model comes from no catalog.");
    }
}

void runPropertyList(std::string_view input)
{
    if (const PropertyList::Tree tree = PropertyList::parse(input)) {
        require(partsOf(tree.get(), 0) <= (std::size_t {1} << 16U), "Property lists with too many parts are refused.");
    }
    checkModelOfAgent(input);
}

const Fuzz::Registration propertyListTarget("property-list", &runPropertyList);

} // namespace
