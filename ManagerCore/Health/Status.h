#pragma once

#include <cstdint>
#include <string>

namespace ManagerCore
{

inline constexpr const char* unknownText = "—";

// A snapshot of the managed product's health, read from its files and processes.
struct Status {
    bool installed = false;
    std::string version = unknownText;
    std::string commit = unknownText; // at most 8 characters
    bool backendRunning = false;
    bool modelPresent = false;
    std::string modelPath; // empty without a model
    std::int64_t modelBytes = 0;
    bool modelCatalogInstalled = false;
    std::string provider = unknownText;

    bool operator==(const Status&) const = default;
};

} // namespace ManagerCore
