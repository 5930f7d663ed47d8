#include "ManagerCore/Foundation/PropertyList.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <plist/plist.h>

namespace ManagerCore::PropertyList
{

namespace
{

// libplist recurses into what it reads and into what it frees: what would exhaust the stack is refused beforehand. In
// the binary form depth is bounded by size alone, a level takes some six bytes.
constexpr std::size_t xmlLimit = std::size_t {16} << 20;
constexpr std::size_t binaryLimit = std::size_t {32} << 10;
constexpr std::size_t depthLimit = 128;

bool isNestedTooDeep(std::string_view xml)
{
    std::size_t depth = 0;
    for (std::size_t at = xml.find('<'); at != std::string_view::npos; at = xml.find('<', at + 1)) {
        const std::string_view tag = xml.substr(at + 1);
        if (tag.starts_with("array") || tag.starts_with("dict")) {
            depth++;
        } else if (tag.starts_with("/array") || tag.starts_with("/dict")) {
            depth -= std::min<std::size_t>(depth, 1);
        }
        if (depth > depthLimit) {
            return true;
        }
    }
    return false;
}

} // namespace

void Release::operator()(void* root) const { plist_free(root); }

Tree parse(std::string_view bytes)
{
    plist_t root = nullptr;
    const auto size = static_cast<std::uint32_t>(std::min(bytes.size(), xmlLimit));
    if (plist_is_binary(bytes.data(), size) != 0) {
        if (bytes.size() <= binaryLimit) {
            plist_from_bin(bytes.data(), size, &root);
        }
    } else if (!bytes.empty() && bytes.size() <= xmlLimit && !isNestedTooDeep(bytes)) {
        plist_from_xml(bytes.data(), size, &root);
    }
    return Tree(root);
}

} // namespace ManagerCore::PropertyList
