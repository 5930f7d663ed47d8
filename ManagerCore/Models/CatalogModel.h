#pragma once

#include <string>

namespace ManagerCore
{

// A model that the catalog offers.
struct CatalogModel {
    std::string slug; // its folder below the catalog; its identity
    std::string name;
    std::string repo; // may be empty
    std::string size; // for people, free in form; may be empty

    [[nodiscard]] const std::string& id() const { return slug; }
    bool operator==(const CatalogModel&) const = default;
};

} // namespace ManagerCore
