#include "ManagerCore/Inventory/FoundItem.h"

#include "ManagerCore/Foundation/FilePath.h"
#include "ManagerCore/Foundation/Size.h"

namespace ManagerCore
{

std::string FoundItem::name() const { return FilePath::lastComponent(url); }

std::string FoundItem::humanSize() const { return Size::human(sizeBytes); }

} // namespace ManagerCore

std::size_t std::hash<ManagerCore::FoundItem>::operator()(const ManagerCore::FoundItem& item) const noexcept
{
    const auto mix = [](std::size_t seed, std::size_t value) {
        return seed ^ (value + 0x9e3779b97f4a7c15U + (seed << 6U) + (seed >> 2U));
    };
    std::size_t seed = std::hash<std::string> {}(item.url.native());
    seed = mix(seed, std::hash<std::string_view> {}(ManagerCore::title(item.category)));
    return mix(seed, std::hash<std::int64_t> {}(item.sizeBytes));
}
