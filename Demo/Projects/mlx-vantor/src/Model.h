#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Vantor
{

// A model's folder as it was when the server started.
struct Model {
    std::string folder; // every link resolved
    std::string name; // publisher and model
    unsigned files = 0; // of weights
    std::uint64_t bytes = 0; // in them
};

// Absent when the folder cannot be read or holds no config.json or no weights.
std::optional<Model> readModel(const std::string& path);

} // namespace Vantor
