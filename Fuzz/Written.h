#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

// Records written as descriptor files, for targets that read them again.
namespace Fuzz::Written
{

inline std::string line(std::string_view key, std::string_view value)
{
    return std::string(key) + " = \"" + std::string(value) + "\"\n";
}

inline std::string line(std::string_view key, const std::vector<std::string>& elements)
{
    std::string text = std::string(key) + " = [";
    for (const std::string& element : elements) {
        text += "\"" + element + "\", ";
    }
    return text + "]\n";
}

// Whether the lines keep apart: a bracket opens a list that runs on, wherever it stands.
inline bool isPlain(std::string_view text, std::size_t lists = 0)
{
    return static_cast<std::size_t>(std::ranges::count(text, '[')) == lists
        && static_cast<std::size_t>(std::ranges::count(text, ']')) == lists;
}

} // namespace Fuzz::Written
