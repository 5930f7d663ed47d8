#pragma once

#include <filesystem>
#include <string>

namespace ManagerCore
{

// A database that the product can use, as its descriptor tells it. Paths stand as written, "~" and all.
struct Database {
    std::string id;
    std::string name;
    std::string detail;
    std::string source;
    std::string dest;

    bool operator==(const Database&) const = default;
};

} // namespace ManagerCore
